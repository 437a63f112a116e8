// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <sstream>

#include "core.h"

namespace MolPotentialPython {
namespace {

using QZChem::QZGraphMol;
using QZChem::QZMolFormat;

bool FindFormat(const std::string& name, QZMolFormat& format) {
  return QZChem::QZFormatFromPath("x." + name, format);
}

/// Records one after the other, of a file or of a text.
class Reader {
 public:
  explicit Reader(std::string text, QZMolFormat format)
      : text_(std::make_unique<std::istringstream>(std::move(text))),
        stream_(std::make_unique<QZChem::qzmolistream>(*text_, format)) {}
  Reader(const std::string& path,
         const std::string& format,
         unsigned int model,
         const std::string& alternateLocation) {
    Messages messages;
    if (format.empty()) {
      stream_ = std::make_unique<QZChem::qzmolistream>(path.c_str());
    } else {
      QZMolFormat known{};
      if (!FindFormat(format, known)) throw InputError("there is no format \"" + format + "\"");
      stream_ = std::make_unique<QZChem::qzmolistream>(path.c_str(), known);
    }
    if (!*stream_) {
      throw InputError(path + ": " + stream_->GetError());
    }
    stream_->SetModel(model);
    if (alternateLocation.size() > 1) throw InputError("an alternate location is one letter");
    if (!alternateLocation.empty()) stream_->SetAlternateLocation(alternateLocation.front());
  }

  /// (molecule or None, record number, error, text); raises StopIteration at the end.
  py::tuple Next() {
    QZGraphMol mol;
    QZChem::QZRecordInfo info;
    if (!Unlocked([&] { return QZChem::QZNextRecord(*stream_, mol, info); })) {
      throw py::stop_iteration();
    }
    const bool good = info.error.empty();
    return py::make_tuple(
        good ? py::cast(MakeMolecule(std::move(mol))) : py::none(),
        info.number,
        good ? ""
             : stream_->GetName() + ": record " + std::to_string(info.number) + ": " + info.error,
        good ? py::object(py::str()) : py::object(py::bytes(info.raw)));
  }

 private:
  std::unique_ptr<std::istringstream> text_;
  std::unique_ptr<QZChem::qzmolistream> stream_;
};

std::unique_ptr<Reader> ReadText(std::string text, const std::string& format) {
  QZMolFormat known{};
  if (!FindFormat(format, known)) throw InputError("there is no format \"" + format + "\"");
  return std::make_unique<Reader>(std::move(text), known);
}

std::string ToText(const Molecule& self, const std::string& format) {
  QZMolFormat known{};
  if (!FindFormat(format, known)) throw InputError("there is no format \"" + format + "\"");
  std::ostringstream text;
  QZChem::qzmolostream out(text, known);
  if (!(out.Write(self.mol) && out.Close())) throw InputError("the molecule cannot be written");
  return std::move(text).str();
}

/// Writes molecules one after the other.
class Writer {
 public:
  Writer(const std::string& path, bool compress) : path_(path) {
    QZMolFormat format{};
    if (!QZChem::QZFormatFromPath(path, format)) {
      throw InputError(path + ": the extension names no format");
    }
    Messages messages;
    stream_ = std::make_unique<QZChem::qzmolostream>(path.c_str(), format, compress);
    if (!*stream_) fail("cannot be written");
  }
  void Write(const Molecule& mol) {
    if (stream_ == nullptr) throw InputError(path_ + ": is closed");
    if (!Unlocked([&] { return stream_->Write(mol.mol); })) fail("cannot be written");
  }
  void Close() {
    if (stream_ == nullptr) return;
    const bool good = Unlocked([&] { return stream_->Close(); });
    if (!good) fail("cannot be completed");
    stream_.reset();
  }

 private:
  [[noreturn]] void fail(const char* otherwise) const {
    const std::string& reason = stream_->GetError();
    throw InputError(path_ + ": " + (reason.empty() ? otherwise : reason));
  }
  std::string path_;
  std::unique_ptr<QZChem::qzmolostream> stream_;
};

}  // namespace

void DefineFiles(py::module_& m, MoleculeClass& molecule) {
  molecule.def("to_text",
               &ToText,
               py::arg("format") = "sdf",
               "The molecule as a record of a file: \"sdf\", \"mol2\", \"pdb\" or \"xyz\".");
  py::class_<Reader>(m, "_Reader")
      .def(py::init<const std::string&, const std::string&, unsigned int, const std::string&>())
      .def("__iter__", [](Reader& self) -> Reader& { return self; })
      .def("__next__", &Reader::Next);
  m.def("_read_text", &ReadText);
  py::class_<Writer>(m, "_Writer")
      .def(py::init<const std::string&, bool>())
      .def("write", &Writer::Write)
      .def("close", &Writer::Close);
}

}  // namespace MolPotentialPython
