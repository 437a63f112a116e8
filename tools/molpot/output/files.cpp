// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "output/files.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "input/errors.h"

namespace Molpot {

OutputPath::OutputPath(std::string path)
    : path_(std::move(path)),
      temporary_(path_ == "-" ? path_ : path_ + ".part" + std::to_string(getpid())) {}

OutputPath::~OutputPath() {
  if (!committed_ && !keep_ && !IsStandardOutput()) {
    std::error_code ignored;
    std::filesystem::remove(temporary_, ignored);
  }
}

void OutputPath::Commit() {
  if (IsStandardOutput() || committed_) return;
  std::error_code error;
  std::filesystem::rename(temporary_, path_, error);
  if (error) {
    keep_ = true;
    throw UsageError(path_ + ": " + error.message() + "; the result is in " + temporary_);
  }
  committed_ = true;
}

TextOutput::TextOutput(const std::string& path)
    : path_(path), file_(std::make_unique<std::ofstream>(path_.Temporary(), std::ios::binary)) {
  if (!*file_) throw UsageError(path + ": cannot be written: " + std::strerror(errno));
}

TextOutput::~TextOutput() = default;

void TextOutput::Write(const std::string& text) {
  file_->write(text.data(), static_cast<std::streamsize>(text.size()));
  if (!*file_) {
    path_.Keep();
    throw UsageError(path_.Path() + ": writing failed, what was done is in " + path_.Temporary());
  }
}

void TextOutput::Commit() {
  file_->flush();
  if (!*file_) Write({});
  file_.reset();
  path_.Commit();
}

MolOutput::MolOutput(const std::string& path) : path_(path) {
  QZChem::QZMolFormat format = QZChem::QZMolFormat::SDF;
  if (path_.IsStandardOutput()) {
    stream_ = std::make_unique<QZChem::qzmolostream>(std::cout, format);
    return;
  }
  if (!QZChem::QZFormatFromPath(path, format)) {
    throw UsageError(path + ": the extension names no format (.sdf .mol2 .pdb .xyz, also .gz)");
  }
  stream_ = std::make_unique<QZChem::qzmolostream>(
      path_.Temporary().c_str(), format, /*compress=*/path.ends_with(".gz"));
  if (!*stream_) throw UsageError(path + ": cannot be written: " + std::strerror(errno));
}

void MolOutput::Write(QZChem::QZGraphMol& mol) {
  if (QZChem::QZWriteMolecule(*stream_, mol) == 0) {
    path_.Keep();
    throw UsageError(path_.Path() + ": writing failed, what was done is in " + path_.Temporary());
  }
}

void MolOutput::Commit() {
  if (!stream_->Close()) {
    path_.Keep();
    throw UsageError(path_.Path() + ": writing failed, what was done is in " + path_.Temporary());
  }
  path_.Commit();
}

}  // namespace Molpot
