// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>
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
  std::shared_ptr<const QZChem::QZSubSearch> pattern_;
};

}  // namespace Molpot
