// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "files/line_source.h"

#include <exception>
#include <streambuf>
#include <string_view>

#include "perception/rdkit_log.h"

namespace QZChem {
namespace {

constexpr std::string_view kBlanks = " \t\r\n\f\v";

}  // namespace

bool LineSource::Read(std::string& line) {
  line.clear();
  if (!pending_.empty()) {
    line = std::move(pending_.front());
    pending_.pop_front();
    return true;
  }
  if (!error_.empty() || in_.rdbuf() == nullptr) return false;
  using Traits = std::char_traits<char>;
  try {
    std::streambuf& buffer = *in_.rdbuf();
    while (line.size() < kMaxRecordBytes) {
      const Traits::int_type c = buffer.sbumpc();
      if (Traits::eq_int_type(c, Traits::eof())) break;
      line.push_back(Traits::to_char_type(c));
      if (line.back() == '\n') break;
    }
  } catch (const std::exception& error) {
    error_ = "Reading failed: " + OneLine(error.what());
  }
  return !line.empty();
}

std::string_view TrimmedRight(std::string_view line) {
  return line.substr(0, line.find_last_not_of(kBlanks) + 1);
}

std::string_view Trimmed(std::string_view line) {
  const std::size_t first = line.find_first_not_of(kBlanks);
  return first == std::string_view::npos ? std::string_view() : TrimmedRight(line.substr(first));
}

std::string WithUnixLineEnds(const std::string& text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') continue;
    result.push_back(text[i]);
  }
  return result;
}

}  // namespace QZChem
