// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <istream>
#include <ostream>
#include <string_view>

#include "files/gzip.h"
#include "files/line_source.h"
#include "files/record_text.h"
#include "files/records.h"
#include "qzchem/io.h"
#include "qzsystem/error.h"

namespace QZChem {

using QZSystem::QZThrow;

namespace {

std::string LowerCase(std::string_view text) {
  std::string result(text);
  std::ranges::transform(
      result, result.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return result;
}

constexpr const char* kUnknownExtension = "the extension names no format";

bool IsCompressed(const std::string& path) {
  return LowerCase(path).ends_with(".gz");
}

// errno of the call before, in words.
std::string SystemReason() {
  return errno != 0 ? std::strerror(errno) : "it cannot be opened";
}

}  // namespace

bool QZFormatFromPath(const std::string& path, QZMolFormat& format) {
  std::string name = LowerCase(path);
  if (name.ends_with(".gz")) name.resize(name.size() - 3);
  const std::string extension = std::filesystem::path(name).extension().string();
  if (extension == ".sdf" || extension == ".sd" || extension == ".mol") {
    format = QZMolFormat::SDF;
  } else if (extension == ".mol2") {
    format = QZMolFormat::MOL2;
  } else if (extension == ".pdb" || extension == ".ent") {
    format = QZMolFormat::PDB;
  } else if (extension == ".xyz") {
    format = QZMolFormat::XYZ;
  } else if (extension == ".smi" || extension == ".smiles") {
    format = QZMolFormat::SMILES;
  } else {
    return false;
  }
  return true;
}

struct qzmolostream::Data {
  QZMolFormat format = QZMolFormat::SDF;
  std::string path;
  std::ofstream file;
  std::unique_ptr<GzipWriter> compressor;  // into `file`
  std::unique_ptr<std::ostream> compressed;
  std::ostream* out = nullptr;  // null: not open
  bool hasFailed = false;
  std::string error;

  void Open(const char* name, bool compress) {
    path = name;
    errno = 0;
    file.open(name, std::ios::binary | std::ios::trunc);
    if (!file) {
      error = SystemReason();
      return;
    }
    out = &file;
    if (!compress) return;
    compressor = std::make_unique<GzipWriter>(*file.rdbuf());
    compressed = std::make_unique<std::ostream>(compressor.get());
    out = compressed.get();
  }
};

qzmolostream::qzmolostream(std::ostream& out, QZMolFormat format)
    : data_(std::make_unique<Data>()) {
  data_->format = format;
  data_->out = &out;
}

qzmolostream::qzmolostream(const char* path) : data_(std::make_unique<Data>()) {
  if (path == nullptr || !QZFormatFromPath(path, data_->format)) {
    data_->error = kUnknownExtension;
  } else {
    data_->Open(path, IsCompressed(path));
  }
}

qzmolostream::qzmolostream(const char* path, QZMolFormat format, bool compress)
    : data_(std::make_unique<Data>()) {
  data_->format = format;
  if (path != nullptr) data_->Open(path, compress);
}

qzmolostream::~qzmolostream() {
  if (data_->out == nullptr || qzmolostream::Close() || data_->path.empty()) return;
  QZThrow.Warning("%s: writing failed, the file is not complete", data_->path.c_str());
}

qzmolostream::operator bool() const {
  return data_->out != nullptr && !data_->hasFailed && static_cast<bool>(*data_->out);
}

const std::string& qzmolostream::GetError() const {
  return data_->error;
}

bool qzmolostream::Write(const QZGraphMol& mol) {
  if (!*this) {
    data_->error =
        data_->out == nullptr ? "the output is not open" : "the output cannot be written";
    return false;
  }
  std::string note;
  data_->error = WriteRecord(data_->format, mol, *data_->out, note);
  if (data_->error.empty() && !*data_->out) data_->error = "the output cannot be written";
  if (!data_->error.empty()) {
    QZThrow.Warning("Molecule \"%s\" is not written: %s", mol.GetTitle(), data_->error.c_str());
    return false;
  }
  if (!note.empty()) QZThrow.Warning("Molecule \"%s\": %s", mol.GetTitle(), note.c_str());
  return true;
}

bool qzmolostream::Close() {
  if (data_->out == nullptr) return !data_->hasFailed;
  if (data_->compressor == nullptr) data_->out->flush();
  data_->hasFailed = data_->hasFailed || !*data_->out;
  data_->out = nullptr;
  if (data_->compressor != nullptr && !data_->compressor->Finish()) data_->hasFailed = true;
  if (data_->file.is_open()) {
    data_->file.close();
    data_->hasFailed = data_->hasFailed || !data_->file;
  }
  return !data_->hasFailed;
}

struct qzmolistream::Data {
  RecordFormat format;
  std::string name;
  std::ifstream file;
  std::istream* source = nullptr;            // null: not open
  std::unique_ptr<GzipReader> decompressor;  // from `source`
  std::unique_ptr<std::istream> decompressed;
  std::unique_ptr<LineSource> lines;  // null: nothing was read yet
  std::string error;
  unsigned int records = 0;
  bool saidConnected = false;
  bool hasEnded = false;

  void Open(const char* path) {
    name = path;
    // A directory can be opened but not read.
    if (std::error_code ignored; std::filesystem::is_directory(path, ignored)) {
      error = "is a directory";
      return;
    }
    errno = 0;
    file.open(path, std::ios::binary);
    if (file) {
      source = &file;
    } else {
      error = SystemReason();
    }
  }
  // At the first record, since looking at a terminal or pipe waits for it.
  void Start() {
    if (lines != nullptr || source == nullptr) return;
    std::istream* in = source;
    try {
      if (source->rdbuf() != nullptr && IsGzip(*source->rdbuf())) {
        decompressor = std::make_unique<GzipReader>(*source->rdbuf());
        decompressed = std::make_unique<std::istream>(decompressor.get());
        in = decompressed.get();
      }
    } catch (const std::exception&) {
      // A stream that cannot be read says so at its first line.
    }
    lines = std::make_unique<LineSource>(*in);
  }
};

qzmolistream::qzmolistream(std::istream& in, QZMolFormat format, const char* name)
    : data_(std::make_unique<Data>()) {
  data_->format.kind = format;
  data_->name = name != nullptr ? name : "input";
  data_->source = &in;
}

qzmolistream::qzmolistream(const char* path) : data_(std::make_unique<Data>()) {
  if (path == nullptr || !QZFormatFromPath(path, data_->format.kind)) {
    data_->name = path != nullptr ? path : "";
    data_->error = kUnknownExtension;
    if (std::error_code ignored; path != nullptr && std::filesystem::is_directory(path, ignored)) {
      data_->error = "is a directory";
    }
  } else {
    data_->Open(path);
  }
}

qzmolistream::qzmolistream(const char* path, QZMolFormat format) : data_(std::make_unique<Data>()) {
  data_->format.kind = format;
  if (path != nullptr) data_->Open(path);
}

qzmolistream::~qzmolistream() = default;

qzmolistream::operator bool() const {
  return data_->source != nullptr && GetError().empty();
}

const std::string& qzmolistream::GetName() const {
  return data_->name;
}

std::string qzmolistream::GetError() const {
  return data_->lines != nullptr ? data_->lines->GetError() : data_->error;
}

void qzmolistream::SetModel(unsigned int model) {
  data_->format.model = model;
}

void qzmolistream::SetAlternateLocation(char location) {
  data_->format.alternate = location;
}

void qzmolistream::SetMakeCoordinates(bool make) {
  data_->format.makeCoordinates = make;
}

struct QZRecordReader {
  static bool Next(qzmolistream& in, QZGraphMol& mol, QZRecordInfo& info) {
    qzmolistream::Data& data = *in.data_;
    data.Start();
    if (data.lines == nullptr || data.hasEnded) return false;
    info.error.clear();
    info.note.clear();
    const bool hasText = NextRecordText(*data.lines, data.format, info.raw);
    // Data that end too early are told once, with what came before as the record.
    data.hasEnded = !data.lines->GetError().empty();
    if (!hasText && !data.hasEnded) return false;
    info.number = ++data.records;
    info.error = data.lines->GetError();
    if (!info.error.empty()) return true;
    info.error = ReadRecord(data.format, info.raw, mol, info.note);
    if (info.error.empty() && data.format.kind == QZMolFormat::XYZ && !data.saidConnected) {
      data.saidConnected = true;
      info.note = "XYZ has no bonds; atoms close enough were joined by single bonds";
    }
    if (info.error.empty() && !info.note.empty()) {
      QZThrow.Warning("%s, record %u: %s", data.name.c_str(), info.number, info.note.c_str());
    }
    return true;
  }
};

bool QZNextRecord(qzmolistream& in, QZGraphMol& mol, QZRecordInfo& info) {
  return QZRecordReader::Next(in, mol, info);
}

bool QZReadMolecule(qzmolistream& in, QZGraphMol& mol) {
  QZRecordInfo info;
  while (QZNextRecord(in, mol, info)) {
    if (info.error.empty()) return true;
    QZThrow.Warning("%s, record %u: %s", in.GetName().c_str(), info.number, info.error.c_str());
  }
  return false;
}

unsigned int QZWriteMolecule(qzmolostream& out, QZGraphMol& mol) {
  return out.Write(mol) ? 1 : 0;
}

}  // namespace QZChem
