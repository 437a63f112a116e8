// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <deque>
#include <istream>
#include <string>

namespace QZChem {

/// The longest record that is read, in bytes. A record without an end by then is cut, so that
/// memory stays bounded for any input.
inline constexpr std::size_t kMaxRecordBytes = std::size_t{256} << 20;

/// Lines of a stream as they stand, their ends included, with any number of lines put back.
class LineSource {
 public:
  explicit LineSource(std::istream& in) : in_(in) {}

  /// False at the end. Lines beyond `kMaxRecordBytes` come in pieces.
  bool Read(std::string& line);
  void Unread(std::string line) { pending_.push_front(std::move(line)); }
  /// Why reading ended before the end of the data; "" when it did not.
  const std::string& GetError() const { return error_; }

 private:
  std::istream& in_;
  std::deque<std::string> pending_;
  std::string error_;
};

/// The line without blanks and line end behind it.
std::string_view TrimmedRight(std::string_view line);
/// The same, also without blanks before it.
std::string_view Trimmed(std::string_view line);
/// A text with every CR LF as LF.
std::string WithUnixLineEnds(const std::string& text);

}  // namespace QZChem
