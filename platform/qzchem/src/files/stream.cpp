// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <boost/iostreams/device/file.hpp>
#include <boost/iostreams/filter/gzip.hpp>
#include <boost/iostreams/filtering_stream.hpp>
#include <cctype>
#include <exception>
#include <filesystem>
#include <fstream>
#include <istream>
#include <ostream>
#include <string_view>

#include "files/line_source.h"
#include "qzchem/io.h"
#include "qzsystem/error.h"
#include "files/record_text.h"
#include "files/records.h"

namespace QZChem {

using QZSystem::QZThrow;

namespace {

std::string LowerCase(std::string_view text) {
  std::string result(text);
  std::ranges::transform(
      result, result.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return result;
}

bool IsCompressed(const std::string& path) {
  return LowerCase(path).ends_with(".gz");
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
  } else {
    return false;
  }
  return true;
}

// --- qzmolostream

struct qzmolostream::Data {
  QZMolFormat format = QZMolFormat::SDF;
  std::ofstream file;
  std::unique_ptr<boost::iostreams::filtering_ostream> compressor;  // into `file`
  std::ostream* out = nullptr;                                      // null: not open
  bool hasFailed = false;

  void Open(const char* path, bool compress) {
    file.open(path, std::ios::binary | std::ios::trunc);
    if (!file) return;
    out = &file;
    if (!compress) return;
    compressor = std::make_unique<boost::iostreams::filtering_ostream>();
    compressor->push(boost::iostreams::gzip_compressor());
    compressor->push(file);
    out = compressor.get();
  }
};

qzmolostream::qzmolostream(std::ostream& out, QZMolFormat format)
    : data_(std::make_unique<Data>()) {
  data_->format = format;
  data_->out = &out;
}

qzmolostream::qzmolostream(const char* path) : data_(std::make_unique<Data>()) {
  if (path != nullptr && QZFormatFromPath(path, data_->format)) {
    data_->Open(path, IsCompressed(path));
  }
}

qzmolostream::qzmolostream(const char* path, QZMolFormat format, bool compress)
    : data_(std::make_unique<Data>()) {
  data_->format = format;
  if (path != nullptr) data_->Open(path, compress);
}

qzmolostream::~qzmolostream() {
  qzmolostream::Close();
}

qzmolostream::operator bool() const {
  return data_->out != nullptr && !data_->hasFailed && static_cast<bool>(*data_->out);
}

bool qzmolostream::Write(const QZGraphMol& mol) {
  if (!*this) return false;
  const std::string error = WriteRecord(data_->format, mol, *data_->out);
  if (!error.empty()) {
    QZThrow.Warning("Molecule \"%s\" is not written: %s", mol.GetTitle(), error.c_str());
    return false;
  }
  return static_cast<bool>(*data_->out);
}

bool qzmolostream::Close() {
  if (data_->out == nullptr) return !data_->hasFailed;
  data_->out->flush();
  data_->hasFailed = data_->hasFailed || !*data_->out;
  data_->out = nullptr;
  try {
    data_->compressor.reset();  // writes the trailer
  } catch (const std::exception&) {
    data_->hasFailed = true;
  }
  if (data_->file.is_open()) {
    data_->file.close();
    data_->hasFailed = data_->hasFailed || !data_->file;
  }
  return !data_->hasFailed;
}

// --- qzmolistream

struct qzmolistream::Data {
  QZMolFormat format = QZMolFormat::SDF;
  std::string name;
  std::ifstream file;
  std::unique_ptr<boost::iostreams::filtering_istreambuf> decompressor;  // from `file`
  std::unique_ptr<std::istream> decompressed;
  std::unique_ptr<LineSource> lines;  // null: not open
  unsigned int records = 0;
  bool saidConnected = false;
  bool hasEnded = false;

  void Open(const char* path) {
    if (path == nullptr) return;
    name = path;
    // A directory can be opened but not read.
    if (std::error_code error; std::filesystem::is_directory(path, error)) return;
    file.open(path, std::ios::binary);
    if (!file) return;
    if (!IsCompressed(name)) {
      lines = std::make_unique<LineSource>(file);
      return;
    }
    decompressor = std::make_unique<boost::iostreams::filtering_istreambuf>();
    decompressor->push(boost::iostreams::gzip_decompressor());
    decompressor->push(file);
    decompressed = std::make_unique<std::istream>(decompressor.get());
    lines = std::make_unique<LineSource>(*decompressed);
  }
};

qzmolistream::qzmolistream(std::istream& in, QZMolFormat format, const char* name)
    : data_(std::make_unique<Data>()) {
  data_->format = format;
  data_->name = name != nullptr ? name : "input";
  data_->lines = std::make_unique<LineSource>(in);
}

qzmolistream::qzmolistream(const char* path) : data_(std::make_unique<Data>()) {
  if (path != nullptr && QZFormatFromPath(path, data_->format)) data_->Open(path);
}

qzmolistream::qzmolistream(const char* path, QZMolFormat format) : data_(std::make_unique<Data>()) {
  data_->format = format;
  data_->Open(path);
}

qzmolistream::~qzmolistream() = default;

qzmolistream::operator bool() const {
  return data_->lines != nullptr && data_->lines->GetError().empty();
}

const std::string& qzmolistream::GetName() const {
  return data_->name;
}

struct QZRecordReader {
  static bool Next(qzmolistream& in, QZGraphMol& mol, QZRecordInfo& info) {
    qzmolistream::Data& data = *in.data_;
    if (data.lines == nullptr || data.hasEnded) return false;
    info.error.clear();
    const bool hasText = NextRecordText(*data.lines, data.format, info.raw);
    // Data that end too early are told once, with what came before as the record.
    data.hasEnded = !data.lines->GetError().empty();
    if (!hasText && !data.hasEnded) return false;
    info.number = ++data.records;
    info.error = data.lines->GetError();
    if (info.error.empty()) info.error = ReadRecord(data.format, info.raw, mol);
    if (info.error.empty() && data.format == QZMolFormat::XYZ && !data.saidConnected) {
      data.saidConnected = true;
      QZThrow.Warning("%s: XYZ has no bonds; atoms close enough were joined by single bonds",
                      data.name.c_str());
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
