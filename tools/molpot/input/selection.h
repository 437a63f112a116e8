// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "input/errors.h"
#include "qzchem/qzchem.h"

namespace Molpot {

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

}  // namespace Molpot
