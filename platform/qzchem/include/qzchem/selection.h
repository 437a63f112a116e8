// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "qzchem/mol.h"

namespace QZChem {

/// A selection of atoms in words. One object serves many molecules, from several threads; copies
/// share what was parsed.
///
/// - `[#6]C(=O)O`: all atoms that a match of the SMARTS covers.
/// - `atoms 1-20,33`: by number, from `firstNumber`, in the order of the file.
/// - `residue LIG,HEM`: by name, in any case; a name that is a number stands in quotes, "478".
/// - `residue 45:A`: by number (`45-60`, `45B` with insertion code), of a chain or of all.
/// - `chain A,B`: by chain identifier.
/// - `component 2`: connected parts, numbered from 1 in order of their first atoms.
/// - `hydrogens`, `all`.
/// - `within 6 of residue LIG`: atoms no further than 6 Å from any of those selected, these
///   included; `of` takes the one selection that follows, or one in parentheses.
/// - `not`, `and`, `or`, `( )`, in this order of strength.
///
/// Words of the grammar may be written in any case. A SMARTS has no blanks and ends at one, or at a
/// parenthesis that it did not open.
class QZ_API QZSelection {
 public:
  QZSelection();

  /// Parses `text`. `firstNumber`: the number of the first atom in `atoms`, 1 for people or 0 as in
  /// the molecule. Fails: false, `GetError` says what is wrong and at which character; nothing is
  /// selected then.
  bool Init(const std::string& text, unsigned int firstNumber = 0);
  /// The same for a selection followed by up to `maxNumbers` numbers, as in "[!#1] 0.3 10". The
  /// longest selection is taken, what is left must be numbers; a selection that ends in a number is
  /// best put in parentheses: "(residue 45) 0.3 10".
  bool InitWithNumbers(const std::string& text,
                       unsigned int maxNumbers,
                       std::vector<double>& numbers,
                       unsigned int firstNumber = 0);
  bool IsValid() const { return root_ != nullptr; }
  /// Why the last `Init` failed; "" after success.
  const std::string& GetError() const { return error_; }
  /// The selection's text, without numbers behind it.
  const std::string& GetText() const { return text_; }

  /// The indices of the selected atoms, ascending, at the molecule's current coordinates; none is
  /// no failure. Fails: false with a message, `atoms` empty, for atom and component numbers that
  /// the molecule does not have, for residues and chains in a molecule without any, and for a
  /// SMARTS that matches in too many ways.
  bool Select(const QZMolBase& mol, std::vector<unsigned int>& atoms, std::string& error) const;

  struct Node;

 private:
  std::shared_ptr<const Node> root_;
  std::string text_;
  std::string error_ = "No selection";
};

}  // namespace QZChem
