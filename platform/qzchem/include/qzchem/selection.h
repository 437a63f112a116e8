// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "qzchem/mol.h"

namespace QZChem {

/// A selection of atoms by a text. One object may be used for many molecules and by several threads
/// at a time. Copies share the parsed text.
///
/// - `[#6]C(=O)O`: all atoms that a match of the SMARTS covers.
/// - `atoms 1-20,33`: by number, from `firstNumber`, in the order of the file.
/// - `residue LIG,HEM`: by name, in any case; a name that is a number stands in quotes, "478".
/// - `residue 45:A`: by number (`45-60`, `45B` with insertion code), of a chain or of all.
/// - `chain A,B`: by chain identifier.
/// - `component 2`: connected parts, numbered from 1 in order of their first atoms.
/// - `hydrogens`, `all`.
/// - `within 6 of residue LIG`: the atoms selected by what follows `of` (one selection, or several
/// in parentheses) and all atoms within 6 Å of any of them.
/// - `not`, `and`, `or` and parentheses; `not` binds most strongly, then `and`, then `or`.
///
/// The words may be written in upper or lower case. A SMARTS contains no blanks; it ends at a blank
/// or at a closing parenthesis that it did not open.
class QZ_API QZSelection {
 public:
  QZSelection();

  /// Parses `text`. `firstNumber`: the number of the first atom in `atoms`, 1 for people or 0 as in
  /// the molecule. Fails: false, `GetError` says what is wrong and at which character; nothing is
  /// selected then.
  bool Init(const std::string& text, unsigned int firstNumber = 0);
  /// The same for a selection followed by up to `maxNumbers` numbers, as in "[!#1] 0.3 10";
  /// `numbers` (out) receives them. As much of the text as possible is taken as the selection, and
  /// the rest must be numbers; a selection that ends in a number is best put in parentheses:
  /// "(residue 45) 0.3 10".
  bool InitWithNumbers(const std::string& text,
                       unsigned int maxNumbers,
                       std::vector<double>& numbers,
                       unsigned int firstNumber = 0);
  bool IsValid() const { return root_ != nullptr; }
  /// Why the last `Init` failed; "" after success.
  const std::string& GetError() const { return error_; }
  /// The selection's text, without numbers behind it.
  const std::string& GetText() const { return text_; }

  /// Writes the indices of the selected atoms, ascending, to `atoms`. Distances are those of the
  /// molecule's current coordinates. Selecting no atom is not a failure. Fails: false with a
  /// message in `error`, and `atoms` empty, for atom and component numbers that the molecule does
  /// not have, for residues and chains when the molecule has none, and for a SMARTS that matches in
  /// more ways than `QZSubSearch::kMaxMatches`.
  bool Select(const QZMolBase& mol, std::vector<unsigned int>& atoms, std::string& error) const;

  struct Node;

 private:
  std::shared_ptr<const Node> root_;
  std::string text_;
  std::string error_ = "No selection";
};

}  // namespace QZChem
