// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <array>
#include <sstream>

#include "core.h"

namespace MolPotentialPython {
namespace {

using QZChem::QZGraphMol;
using QZChem::QZMolFormat;
using QZSystem::QZRange;

MoleculePtr MakeMolecule(QZGraphMol mol) {
  mol.Sweep();
  return std::make_shared<Molecule>(Molecule{std::move(mol)});
}

MoleculePtr FromArrays(const std::vector<unsigned int>& numbers,
                       const Array& coords,
                       const std::vector<std::array<unsigned int, 3>>& bonds,
                       const std::vector<int>& charges,
                       const std::string& title) {
  const double* x = Variables(coords, 3 * numbers.size());
  if (!charges.empty() && charges.size() != numbers.size()) {
    throw InputError("there must be one charge for each atom");
  }
  QZGraphMol mol(static_cast<unsigned int>(numbers.size()));
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    auto* atom = mol.AddAtom(numbers[i], x[3 * i], x[3 * i + 1], x[3 * i + 2]);
    if (!charges.empty()) atom->SetFormalCharge(charges[i]);
  }
  for (const auto& [begin, end, order] : bonds) {
    auto* a = mol.GetAtom(begin);
    auto* b = mol.GetAtom(end);
    if (a == nullptr || b == nullptr || mol.AddBond(a, b, order) == nullptr) {
      throw InputError("there can be no bond of order " + std::to_string(order) +
                       " between atoms " + std::to_string(begin) + " and " + std::to_string(end));
    }
  }
  mol.SetTitle(title.c_str());
  return MakeMolecule(std::move(mol));
}

MoleculePtr FromSmiles(const std::string& smiles) {
  Messages messages;
  QZGraphMol mol;
  const bool good = [&] {
    const py::gil_scoped_release release;
    return QZChem::QZSmilesToMol(mol, smiles.c_str()) && QZChem::QZMakeCoordinates(mol);
  }();
  if (!good) {
    const std::string reason = messages.Take();
    throw InputError("SMILES \"" + smiles +
                     "\": " + (reason.empty() ? "no molecule can be made of it" : reason));
  }
  return MakeMolecule(std::move(mol));
}

Array Coordinates(const Molecule& self) {
  Array result({static_cast<py::ssize_t>(self.mol.NumAtoms()), py::ssize_t{3}});
  self.mol.GetCoords(result.mutable_data());
  return result;
}

py::array_t<int> Numbers(const Molecule& self) {
  py::array_t<int> result(static_cast<py::ssize_t>(self.mol.NumAtoms()));
  int* out = result.mutable_data();
  for (const auto& atom : QZRange(self.mol.GetAtoms())) {
    *out++ = static_cast<int>(atom.GetAtomicNumber());
  }
  return result;
}

py::array_t<int> Charges(const Molecule& self) {
  py::array_t<int> result(static_cast<py::ssize_t>(self.mol.NumAtoms()));
  int* out = result.mutable_data();
  for (const auto& atom : QZRange(self.mol.GetAtoms())) *out++ = atom.GetFormalCharge();
  return result;
}

py::array_t<int> Bonds(const Molecule& self) {
  py::array_t<int> result({static_cast<py::ssize_t>(self.mol.NumBonds()), py::ssize_t{3}});
  int* out = result.mutable_data();
  for (const auto& bond : QZRange(self.mol.GetBonds())) {
    *out++ = static_cast<int>(bond.GetBegin()->GetIndex());
    *out++ = static_cast<int>(bond.GetEnd()->GetIndex());
    *out++ = static_cast<int>(bond.GetOrder());
  }
  return result;
}

py::dict Data(const Molecule& self) {
  py::dict result;
  for (const std::string& tag : QZChem::QZGetSDTags(self.mol)) {
    result[py::str(tag)] = QZChem::QZGetSDData(self.mol, tag);
  }
  return result;
}

bool FindFormat(const std::string& name, QZMolFormat& format) {
  return QZChem::QZFormatFromPath("x." + name, format);
}

/// Records one after the other, of a file or of a text.
class Reader {
 public:
  explicit Reader(std::string text, QZMolFormat format)
      : text_(std::make_unique<std::istringstream>(std::move(text))),
        stream_(std::make_unique<QZChem::qzmolistream>(*text_, format)) {}
  Reader(const std::string& path, const std::string& format) {
    Messages messages;
    if (format.empty()) {
      stream_ = std::make_unique<QZChem::qzmolistream>(path.c_str());
    } else {
      QZMolFormat known{};
      if (!FindFormat(format, known)) throw InputError("there is no format \"" + format + "\"");
      stream_ = std::make_unique<QZChem::qzmolistream>(path.c_str(), known);
    }
    if (!*stream_) {
      const std::string reason = messages.Take();
      throw InputError(path + ": " + (reason.empty() ? "cannot be read" : reason));
    }
  }

  /// (molecule or None, record number, error); raises StopIteration at the end.
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
             : stream_->GetName() + ": record " + std::to_string(info.number) + ": " + info.error);
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

void Write(const std::string& path, const std::vector<MoleculePtr>& mols, bool compress) {
  Messages messages;
  QZMolFormat format{};
  if (!QZChem::QZFormatFromPath(path, format)) {
    throw InputError(path + ": the extension names no format");
  }
  QZChem::qzmolostream out(path.c_str(), format, compress);
  bool good = static_cast<bool>(out);
  for (const MoleculePtr& mol : mols) good = good && QZChem::QZWriteMolecule(out, mol->mol) != 0;
  if (!(out.Close() && good)) {
    const std::string reason = messages.Take();
    throw InputError(path + ": " + (reason.empty() ? "cannot be written" : reason));
  }
}

std::vector<std::vector<unsigned int>> Match(const Molecule& self, const std::string& smarts) {
  QZChem::QZSubSearch search;
  if (!search.Init(smarts.c_str(), false)) {
    throw InputError("SMARTS \"" + smarts + "\": " + search.GetError());
  }
  std::vector<std::vector<unsigned int>> matches;
  for (const auto& match : QZRange(search.Match(self.mol, true))) {
    auto& atoms = matches.emplace_back();
    for (const auto& pair : QZRange(match.GetPairs())) atoms.push_back(pair.target->GetIndex());
  }
  return matches;
}

}  // namespace

void DefineMolecules(py::module_& m) {
  py::class_<Molecule, MoleculePtr>(m, "Molecule")
      .def_static("_from_arrays", &FromArrays)
      .def_static("_from_smiles", &FromSmiles)
      .def("copy", [](const Molecule& self) { return std::make_shared<Molecule>(self); })
      .def("__copy__", [](const Molecule& self) { return std::make_shared<Molecule>(self); })
      .def("__len__", [](const Molecule& self) { return self.mol.NumAtoms(); })
      .def_property(
          "title",
          [](const Molecule& self) { return std::string(self.mol.GetTitle()); },
          [](Molecule& self, const std::string& title) { self.mol.SetTitle(title.c_str()); },
          "The record's title.")
      .def_property(
          "coords",
          &Coordinates,
          [](Molecule& self, const Array& x) {
            self.mol.SetCoords(Variables(x, std::size_t{3} * self.mol.NumAtoms()));
          },
          "Cartesian coordinates, (N, 3) in Å; a new array at each access, assign to change them.")
      .def_property_readonly("numbers", &Numbers, "Atomic numbers, (N,).")
      .def_property_readonly("charges", &Charges, "Formal charges, (N,).")
      .def_property_readonly("bonds", &Bonds, "First atom, second atom, order; (bonds, 3).")
      .def_property_readonly("data", &Data, "The SD data as a dict; `set_data` changes them.")
      .def(
          "set_data",
          [](Molecule& self, const std::string& tag, const std::string& value) {
            if (!QZChem::QZSetSDData(self.mol, tag, value)) {
              throw InputError("\"" + tag + "\" cannot be stored as SD data");
            }
          },
          py::arg("tag"),
          py::arg("value"))
      .def("to_text",
           &ToText,
           py::arg("format") = "sdf",
           "The molecule as a record of a file: sdf, mol2, pdb or xyz.")
      .def("match", &Match, py::arg("smarts"), "Atom indices of every unique match of a SMARTS.");
  py::class_<Reader>(m, "_Reader")
      .def(py::init<const std::string&, const std::string&>())
      .def("__iter__", [](Reader& self) -> Reader& { return self; })
      .def("__next__", &Reader::Next);
  m.def("_read_text", &ReadText);
  m.def("_write", &Write);
}

}  // namespace MolPotentialPython
