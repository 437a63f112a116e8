// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "output/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <tuple>

#include "input/errors.h"
#include "output/console.h"
#include "output/format.h"
#include "run/interrupt.h"

namespace Molpot {
namespace {

// Where a name leads when its links are followed; what is not there yet may end it.
std::filesystem::path Target(const std::string& path, std::error_code& error) {
  return std::filesystem::weakly_canonical(std::filesystem::absolute(path, error), error);
}

// What makes two names the same file: its device and number, or those of the folder that it will
// be made in with its name.
using Identity = std::tuple<dev_t, ino_t, std::string>;

// Devices may be named as often as one likes.
bool Identify(const struct stat& found, Identity& identity) {
  if (S_ISCHR(found.st_mode)) return false;
  identity = {found.st_dev, found.st_ino, ""};
  return true;
}

bool Identify(int stream, Identity& identity) {
  struct stat found {};
  return fstat(stream, &found) == 0 && Identify(found, identity);
}

bool Identify(const std::string& path, Identity& identity) {
  struct stat found {};
  if (stat(path.c_str(), &found) == 0) return Identify(found, identity);
  std::error_code none;
  const std::filesystem::path target = Target(path, none);
  if (none || stat(target.parent_path().c_str(), &found) != 0) return false;
  identity = {found.st_dev, found.st_ino, target.filename().string()};
  return true;
}

bool IsCompressed(const std::string& path) {
  return path.ends_with(".gz") || path.ends_with(".GZ");
}

[[noreturn]] void Refuse(const std::string& path, const std::string& why) {
  throw UsageError(path + ": cannot be written: " + why);
}

[[noreturn]] void FailedToWrite(const OutputPath& path) {
  throw UsageError((path.IsStandardOutput() ? "standard output" : path.Path()) +
                   ": writing failed" +
                   (errno != 0 ? std::string(": ") + std::strerror(errno) : ""));
}

// Not there yet on any machine that shares the folder: made exclusively, under a random name.
std::string MakeTemporary(const std::string& path, const std::string& target) {
  std::random_device random;
  for (int attempt = 0; attempt < 100; ++attempt) {
    std::string name = target + Format(".part-%08x%08x", random(), random());
    const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (file >= 0) {
      close(file);
      return name;
    }
    if (errno != EEXIST) Refuse(path, std::strerror(errno));
  }
  Refuse(path, "no temporary name is free");
}

}  // namespace

std::string StandardOutputAsDash(const std::string& path) {
  return path == "/dev/stdout" || path == "/dev/fd/1" || path == "/proc/self/fd/1" ? "-" : path;
}

void RequireDistinct(const std::vector<NamedPath>& inputs, const std::vector<NamedPath>& outputs) {
  std::vector<std::pair<Identity, std::string>> taken;
  Identity identity;
  for (const NamedPath& input : inputs) {
    const bool isFile =
        input.path == "-" ? Identify(STDIN_FILENO, identity) : Identify(input.path, identity);
    if (isFile) taken.emplace_back(identity, input.option);
  }
  if (Identify(STDOUT_FILENO, identity)) taken.emplace_back(identity, "standard output");
  const std::string* standard = nullptr;
  for (const NamedPath& output : outputs) {
    if (output.path == "-") {
      if (standard != nullptr) {
        throw UsageError(*standard + " and " + output.option + " both want standard output");
      }
      standard = &output.option;
      continue;
    }
    if (!Identify(output.path, identity)) continue;
    for (const auto& [other, what] : taken) {
      if (other == identity) {
        throw UsageError(output.option + ": " + output.path + " is the same file as " + what);
      }
    }
    taken.emplace_back(identity, output.option);
  }
}

OutputPath::OutputPath(std::string path) : path_(std::move(path)), temporary_(path_) {
  if (IsStandardOutput()) return;
  struct stat found {};
  const bool exists = stat(path_.c_str(), &found) == 0;
  if (exists && S_ISDIR(found.st_mode)) Refuse(path_, "it is a folder");
  if (exists && !S_ISREG(found.st_mode)) return;
  std::error_code error;
  target_ = Target(path_, error).string();
  if (error) Refuse(path_, error.message());
  if (exists) {
    if (access(path_.c_str(), W_OK) != 0) Refuse(path_, std::strerror(errno));
    mode_ = found.st_mode;
    owner_ = found.st_uid;
    group_ = found.st_gid;
  }
  temporary_ = MakeTemporary(path_, target_);
  RememberTemporary(temporary_);
}

OutputPath::~OutputPath() {
  if (committed_ || IsStandardOutput() || IsWrittenThrough()) return;
  ForgetTemporary(temporary_);
  if (keep_) {
    PrintMessage(path_ + (mode_ != 0 ? " is as it was" : " was not made") +
                 "; what was done is in " + temporary_);
    return;
  }
  std::error_code ignored;
  std::filesystem::remove(temporary_, ignored);
}

void OutputPath::Commit() {
  if (IsStandardOutput() || IsWrittenThrough() || committed_) return;
  if (mode_ != 0) {
    // The owner can be kept by root only; else the file becomes the user's.
    if (chown(temporary_.c_str(), owner_, group_) != 0) errno = 0;
    chmod(temporary_.c_str(), mode_ & 07777U);
  }
  if (std::rename(temporary_.c_str(), target_.c_str()) != 0) {
    keep_ = true;
    Refuse(path_, std::strerror(errno));
  }
  ForgetTemporary(temporary_);
  committed_ = true;
}

TextOutput::TextOutput(const std::string& path) : path_(path) {
  if (path_.IsStandardOutput()) return;
  file_ = std::make_unique<std::ofstream>(path_.Temporary(), std::ios::binary);
  if (!*file_) Refuse(path, std::strerror(errno));
}

TextOutput::~TextOutput() = default;

void TextOutput::Write(const std::string& text) {
  if (text.empty()) return;
  errno = 0;
  if (file_ == nullptr) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) FailedToWrite(path_);
    return;
  }
  path_.Keep();
  file_->write(text.data(), static_cast<std::streamsize>(text.size()));
  if (!*file_) FailedToWrite(path_);
}

void TextOutput::Commit() {
  errno = 0;
  if (file_ != nullptr) {
    file_->close();
    if (!*file_) FailedToWrite(path_);
  }
  path_.Commit();
}

MolOutput::MolOutput(const std::string& path) : path_(path) {
  if (path_.IsStandardOutput()) {
    stream_ = std::make_unique<QZChem::qzmolostream>(std::cout, format_);
    return;
  }
  if (!QZChem::QZFormatFromPath(path, format_) && !path_.IsWrittenThrough()) {
    throw UsageError(path +
                     ": the extension names no format (.sdf .mol .mol2 .pdb .xyz, also .gz)");
  }
  stream_ = std::make_unique<QZChem::qzmolostream>(
      path_.Temporary().c_str(), format_, /*compress=*/IsCompressed(path));
  if (!*stream_) Refuse(path, std::strerror(errno));
}

bool MolOutput::Write(QZChem::QZGraphMol& mol) {
  path_.Keep();
  errno = 0;
  if (QZChem::QZWriteMolecule(*stream_, mol) != 0) return true;
  if (*stream_) return false;
  FailedToWrite(path_);
}

void MolOutput::Commit() {
  errno = 0;
  if (!stream_->Close()) FailedToWrite(path_);
  path_.Commit();
}

}  // namespace Molpot
