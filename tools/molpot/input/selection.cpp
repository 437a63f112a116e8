// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "input/selection.h"

#include <algorithm>
#include <charconv>

#include "input/words.h"

namespace Molpot {

namespace {

bool ParseInteger(const std::string& word, unsigned int& value) {
  const char* end = word.data() + word.size();
  const auto [next, status] = std::from_chars(word.data(), end, value);
  return status == std::errc() && next == end;
}

}  // namespace

AtomSelection::AtomSelection(const std::string& option, const std::string& text) : option_(option) {
  if (selection_.Init(text, /*firstNumber=*/1)) return;
  throw UsageError(option + ": " + selection_.GetError());
}

AtomSelection::AtomSelection(const std::string& option,
                             const std::string& text,
                             unsigned int maxNumbers,
                             std::vector<double>& numbers)
    : option_(option) {
  if (selection_.InitWithNumbers(text, maxNumbers, numbers, /*firstNumber=*/1)) return;
  throw UsageError(option + ": " + selection_.GetError());
}

std::vector<unsigned int> AtomSelection::Atoms(const QZChem::QZMolBase& mol) const {
  std::vector<unsigned int> atoms;
  std::string error;
  if (!selection_.Select(mol, atoms, error)) {
    throw RecordError(option_ + ": \"" + Text() + "\": " + error);
  }
  if (atoms.empty()) throw RecordError(option_ + ": \"" + Text() + "\" matches nothing");
  return atoms;
}

std::shared_ptr<const QZChem::QZSubSearch> ParseSmarts(const std::string& option,
                                                       const std::string& smarts) {
  auto search = std::make_shared<QZChem::QZSubSearch>();
  if (!search->Init(smarts.c_str(), /*reorder=*/false)) {
    throw UsageError(option + ": the SMARTS \"" + smarts +
                     "\" does not parse: " + search->GetError());
  }
  return search;
}

std::optional<AtomTuple> AtomTuple::TakeBefore(std::size_t behind,
                                               const std::string& option,
                                               std::vector<std::string>& words) {
  unsigned int number = 0;
  std::shared_ptr<const QZChem::QZSubSearch> pattern;
  if (words.size() == behind + 1 && !ParseInteger(words.front(), number)) {
    pattern = ParseSmarts(option, words.front());
  }
  for (const unsigned int count : {2U, 3U, 4U}) {
    if (pattern == nullptr && words.size() == count + behind) {
      return AtomTuple(option, count, words);
    }
    if (pattern != nullptr && pattern->HasMaps(count)) {
      AtomTuple tuple(count, words.front(), pattern);
      words.erase(words.begin());
      return tuple;
    }
  }
  return std::nullopt;
}

AtomTuple::AtomTuple(const std::string& option, unsigned int count, std::vector<std::string>& words)
    : count_(count) {
  if (words.empty()) throw UsageError(option + ": atoms are missing");
  unsigned int number = 0;
  if (!ParseInteger(words.front(), number)) {
    text_ = words.front();
    pattern_ = ParseSmarts(option, text_);
    if (!pattern_->HasMaps(count)) {
      throw UsageError(option + ": the SMARTS \"" + text_ + "\" must mark " +
                       std::to_string(count) + " atoms with the map numbers 1 to " +
                       std::to_string(count));
    }
    words.erase(words.begin());
    return;
  }
  for (unsigned int k = 0; k < count; ++k) {
    if (k >= words.size() || !ParseInteger(words[k], number) || number == 0) {
      throw UsageError(option + ": " + std::to_string(count) +
                       " atom numbers are needed, counted from 1");
    }
    if (std::ranges::find(numbers_, number - 1) != numbers_.end()) {
      throw UsageError(option + ": atom " + words[k] + " is named twice");
    }
    numbers_.push_back(number - 1);
    text_ += (k > 0 ? " " : "") + words[k];
  }
  words.erase(words.begin(), words.begin() + count);
}

std::vector<std::vector<unsigned int>> AtomTuple::Resolve(const QZChem::QZMolBase& mol) const {
  if (pattern_ != nullptr) {
    std::vector<std::vector<unsigned int>> groups;
    std::string error;
    if (!pattern_->MatchMapped(mol, count_, groups, error)) throw RecordError(error);
    if (groups.empty()) throw RecordError("\"" + text_ + "\" matches nothing");
    return groups;
  }
  for (const unsigned int index : numbers_) {
    if (mol.GetAtom(index) == nullptr) {
      throw RecordError("there is no atom " + std::to_string(index + 1) + ", the molecule has " +
                        std::to_string(mol.NumAtoms()));
    }
  }
  return {numbers_};
}

}  // namespace Molpot
