// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "input/errors.h"
#include "qzchem/qzchem.h"

namespace Molpot {

/// Atoms named in the words of `QZChem::QZSelection`, numbers counting from 1. Usable from several
/// threads.
class AtomSelection {
 public:
  /// Throws UsageError, naming `option`, when the text does not parse.
  AtomSelection(const std::string& option, const std::string& text);
  /// The same with up to `maxNumbers` numbers behind it.
  AtomSelection(const std::string& option,
                const std::string& text,
                unsigned int maxNumbers,
                std::vector<double>& numbers);
  const std::string& Text() const { return selection_.GetText(); }
  /// Indices of the selected atoms, ascending. Throws RecordError when there are none.
  std::vector<unsigned int> Atoms(const QZChem::QZMolBase& mol) const;

 private:
  std::string option_;
  QZChem::QZSelection selection_;
};

/// The pattern of a SMARTS, parsed here once and for all. Throws UsageError, naming `option`.
std::shared_ptr<const QZChem::QZSubSearch> ParseSmarts(const std::string& option,
                                                       const std::string& smarts);

/// A group of atoms named on the command line: 1-based numbers as in the file, or a SMARTS with map
/// numbers 1, 2, … in their place, which names one group a match.
class AtomTuple {
 public:
  /// Takes the leading words of `words` that name `count` atoms and removes them. Throws
  /// UsageError.
  AtomTuple(const std::string& option, unsigned int count, std::vector<std::string>& words);
  /// The same of two to four atoms, as many as the pattern marks or as there are numbers before the
  /// last `behind` words. Nothing where the words fit neither.
  static std::optional<AtomTuple> TakeBefore(std::size_t behind,
                                             const std::string& option,
                                             std::vector<std::string>& words);
  unsigned int Count() const { return count_; }
  /// 0-based indices, one group or several. Throws RecordError when an atom does not exist or
  /// nothing matches.
  std::vector<std::vector<unsigned int>> Resolve(const QZChem::QZMolBase& mol) const;
  const std::string& Text() const { return text_; }

 private:
  AtomTuple(unsigned int count,
            std::string text,
            std::shared_ptr<const QZChem::QZSubSearch> pattern)
      : text_(std::move(text)), count_(count), pattern_(std::move(pattern)) {}

  std::string text_;
  unsigned int count_;
  std::vector<unsigned int> numbers_;  // 0-based; empty when a pattern is used
  std::shared_ptr<const QZChem::QZSubSearch> pattern_;
};

}  // namespace Molpot
