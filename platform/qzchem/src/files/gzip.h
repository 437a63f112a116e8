// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <streambuf>
#include <vector>

namespace QZChem {

/// True when the data begin as gzip does; nothing is taken.
bool IsGzip(std::streambuf& in);

/// Decompresses gzip members one after the other. Zeros behind the last are padding, as tapes and
/// some copying programs leave it. Throws std::runtime_error for damaged data.
class GzipReader final : public std::streambuf {
 public:
  /// `in` is not owned.
  explicit GzipReader(std::streambuf& in);
  ~GzipReader() override;

 protected:
  int_type underflow() override;

 private:
  struct Inflater;
  /// False at the end of the data.
  bool refill();
  bool startMember();

  std::streambuf& in_;
  std::unique_ptr<Inflater> inflater_;
  std::vector<char> compressed_;
  std::vector<char> plain_;
  bool isInMember_ = false;
  bool hadMember_ = false;
};

/// Compresses into `out`, which is not owned. What cannot be written is lost and told by `Finish`.
class GzipWriter final : public std::streambuf {
 public:
  explicit GzipWriter(std::streambuf& out);
  ~GzipWriter() override;
  /// Writes what is left and the trailer; false when anything was lost. Nothing may follow.
  bool Finish();

 protected:
  int_type overflow(int_type c) override;
  int sync() override;

 private:
  struct Deflater;
  bool deflateAll(int mode);

  std::streambuf& out_;
  std::unique_ptr<Deflater> deflater_;
  std::vector<char> plain_;
  std::vector<char> compressed_;
  bool hasFailed_ = false;
  bool isFinished_ = false;
};

}  // namespace QZChem
