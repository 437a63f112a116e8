// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "input/selection.h"

#include <algorithm>
#include <charconv>
#include <set>

#include "input/words.h"

namespace Molpot {

using QZSystem::QZRange;

namespace {

// Map numbers of the pattern's atoms, read from the text: a colon and digits before a bracket ends.
std::vector<unsigned int> MapNumbers(const std::string& smarts) {
  std::vector<unsigned int> maps;
  for (std::size_t i = 0; i < smarts.size(); ++i) {
    if (smarts[i] != ':') continue;
    unsigned int map = 0;
    const char* end = smarts.data() + smarts.size();
    const auto [next, status] = std::from_chars(smarts.data() + i + 1, end, map);
    if (status == std::errc() && next != end && *next == ']' && map > 0) maps.push_back(map);
  }
  return maps;
}

bool ParseInteger(const std::string& word, unsigned int& value) {
  const char* end = word.data() + word.size();
  const auto [next, status] = std::from_chars(word.data(), end, value);
  return status == std::errc() && next == end;
}

}  // namespace

Pattern::Pattern(const std::string& option, const std::string& smarts) : text_(smarts) {
  auto search = std::make_shared<QZChem::QZSubSearch>();
  if (!search->Init(smarts.c_str(), false)) {
    throw UsageError(option + ": the SMARTS \"" + smarts +
                     "\" does not parse: " + search->GetError());
  }
  search_ = std::move(search);
}

std::vector<unsigned int> Pattern::Atoms(const QZChem::QZMolBase& mol) const {
  std::set<unsigned int> atoms;
  for (const auto& match : QZRange(search_->Match(mol, true))) {
    for (const auto& pair : QZRange(match.GetPairs())) atoms.insert(pair.target->GetIndex());
  }
  return {atoms.begin(), atoms.end()};
}

bool Pattern::HasMaps(unsigned int count) const {
  std::vector<unsigned int> maps = MapNumbers(text_);
  std::ranges::sort(maps);
  if (maps.size() != count) return false;
  for (unsigned int k = 0; k < count; ++k) {
    if (maps[k] != k + 1) return false;
  }
  return true;
}

std::vector<std::vector<unsigned int>> Pattern::Mapped(const QZChem::QZMolBase& mol,
                                                       unsigned int count) const {
  std::vector<std::vector<unsigned int>> groups;
  for (const auto& match : QZRange(search_->Match(mol, true))) {
    std::vector<unsigned int> group(count);
    for (const auto& pair : QZRange(match.GetPairs())) {
      const unsigned int map = pair.pattern->GetMapIndex();
      if (map >= 1 && map <= count) group[map - 1] = pair.target->GetIndex();
    }
    groups.push_back(std::move(group));
  }
  return groups;
}

AtomTuple::AtomTuple(const std::string& option, unsigned int count, std::vector<std::string>& words)
    : count_(count) {
  if (words.empty()) throw UsageError(option + ": atoms are missing");
  unsigned int number = 0;
  if (!ParseInteger(words.front(), number)) {
    text_ = words.front();
    pattern_ = std::make_shared<const Pattern>(option, text_);
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
    auto groups = pattern_->Mapped(mol, count_);
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
