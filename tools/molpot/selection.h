// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "qzchem/qzchem.h"

namespace Molpot {

/// Arguments or files that cannot be used: the program ends with status 2.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// One record that cannot be processed: it is reported and counted, the others go on.
struct RecordError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A compiled SMARTS pattern. Copies share it; usable from several threads.
class Pattern {
 public:
  /// Throws UsageError, naming `option`, when the pattern does not parse.
  Pattern(const std::string& option, const std::string& smarts);
  const std::string& Text() const { return text_; }
  /// Indices of all atoms that any match covers, ascending.
  std::vector<unsigned int> Atoms(const QZChem::QZMolBase& mol) const;
  /// For each unique match the atoms mapped 1 to `count`, in the order of their map numbers.
  std::vector<std::vector<unsigned int>> Mapped(const QZChem::QZMolBase& mol,
                                                unsigned int count) const;
  /// True when every map number from 1 to `count` marks exactly one pattern atom, and none beyond.
  bool HasMaps(unsigned int count) const;

 private:
  std::string text_;
  std::shared_ptr<const QZChem::QZSubSearch> search_;
};

/// A group of atoms named on the command line: 1-based numbers as in the file, or a SMARTS with map
/// numbers 1, 2, … in their place, which names one group a match.
class AtomTuple {
 public:
  /// Takes the leading words of `words` that name `count` atoms and removes them. Throws
  /// UsageError.
  AtomTuple(const std::string& option, unsigned int count, std::vector<std::string>& words);
  /// 0-based indices, one group or several. Throws RecordError when an atom does not exist or
  /// nothing matches.
  std::vector<std::vector<unsigned int>> Resolve(const QZChem::QZMolBase& mol) const;
  const std::string& Text() const { return text_; }

 private:
  std::string text_;
  unsigned int count_;
  std::vector<unsigned int> numbers_;  // 0-based; empty when a pattern is used
  std::shared_ptr<const Pattern> pattern_;
};

/// Blank-separated words of one argument.
std::vector<std::string> Words(const std::string& text);
/// Takes the next word as a finite number; `what` stands in the UsageError.
double TakeNumber(const std::string& option, const char* what, std::vector<std::string>& words);
/// Throws UsageError when words are left over.
void ExpectEnd(const std::string& option, const std::vector<std::string>& words);

}  // namespace Molpot
