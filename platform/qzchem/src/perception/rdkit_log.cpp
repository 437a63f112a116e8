// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "perception/rdkit_log.h"

#include <RDGeneral/RDLog.h>

#include <array>
#include <cctype>
#include <memory>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string_view>

namespace QZChem {
namespace {

thread_local std::string* collector = nullptr;

// Unbuffered, so that threads share no state but the stream's.
class CollectingBuffer final : public std::streambuf {
 protected:
  int_type overflow(int_type c) override {
    if (collector != nullptr && c != traits_type::eof()) collector->push_back(static_cast<char>(c));
    return traits_type::not_eof(c);
  }
  std::streamsize xsputn(const char* text, std::streamsize count) override {
    if (collector != nullptr) collector->append(text, static_cast<std::size_t>(count));
    return count;
  }
};

// At load, before there are threads. Logs that the program has set up stay as they are.
bool InstallErrorLog() {
  if (rdErrorLog != nullptr) return false;
  static auto* buffer = new CollectingBuffer;
  static auto* stream = new std::ostream(buffer);
  rdErrorLog = std::make_shared<boost::logging::rdLogger>(stream);
  return true;
}

[[maybe_unused]] const bool installed = InstallErrorLog();

// "[12:34:56] " as RDKit puts before every message.
bool IsTimeStamp(const std::string& text, std::size_t at) {
  constexpr std::size_t kLength = 10;
  return at + kLength <= text.size() && text[at] == '[' && text[at + 3] == ':' &&
         text[at + 6] == ':' && text[at + 9] == ']';
}

}  // namespace

RDKitErrorText::RDKitErrorText() {
  collector = &text_;
}

RDKitErrorText::~RDKitErrorText() {
  collector = nullptr;
}

std::string RDKitErrorText::Get(const std::string& fallback) const {
  std::string text;
  for (std::size_t i = 0; i < text_.size(); ++i) {
    if (IsTimeStamp(text_, i)) {
      i += 9;
    } else {
      text.push_back(text_[i]);
    }
  }
  text = OneLine(text);
  return text.empty() ? fallback : text;
}

std::string OneLine(const std::string& text) {
  std::string line;
  for (const char c : text) {
    const bool isPrintable = std::isprint(static_cast<unsigned char>(c)) != 0 && c != ' ';
    if (isPrintable) {
      line.push_back(c);
    } else if (!line.empty() && line.back() != ' ') {
      line.push_back(' ');
    }
  }
  while (!line.empty() && line.back() == ' ') line.pop_back();
  return line;
}

namespace {

// The words of `text` behind `mark`; "" when it does not occur.
std::string Behind(const std::string& text, std::string_view mark) {
  const std::size_t at = text.find(mark);
  return at == std::string::npos ? "" : text.substr(at + mark.size());
}

// Atom numbers, counted from 0 there and from 1 here.
std::string FromOne(const std::string& numbers) {
  std::istringstream words(numbers);
  std::string result;
  for (unsigned int number = 0; words >> number;) {
    if (!result.empty()) result += ' ';
    result += std::to_string(number + 1);
  }
  return result;
}

}  // namespace

std::string InUsersWords(const std::string& text) {
  std::string line = OneLine(text);
  if (const std::string rest = Behind(line, "valence for atom # "); !rest.empty()) {
    std::istringstream words(rest);
    unsigned int atom = 0;
    std::string element;
    words >> atom >> element;
    if (element.ends_with(',')) element.pop_back();
    return "Atom " + std::to_string(atom + 1) + " (" + element +
           ") has more bonds than its element and charge permit";
  }
  if (const std::string rest = Behind(line, "Unkekulized atoms: "); !rest.empty()) {
    return "The aromatic bonds of atoms " + FromOne(rest) +
           " cannot be drawn as single and double bonds";
  }
  if (const std::string rest = Behind(line, "non-ring atom "); !rest.empty()) {
    return "Atom " + FromOne(rest) + " is aromatic but in no ring";
  }
  constexpr std::array<std::string_view, 8> kInsides = {
      "std::", "Violation", "Invariant", "_pin", "->", "idx", "boost", "getAtomWithIdx"};
  for (const std::string_view word : kInsides) {
    if (line.find(word) != std::string::npos) return "The record contradicts itself";
  }
  return line;
}

}  // namespace QZChem
