// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qzchem/selection.h"

namespace QZChem {

/// One node of a parsed selection.
struct QZSelection::Node {
  /// By atom index: 1 for a selected atom; holes are never selected.
  using Marks = std::vector<char>;

  virtual ~Node() = default;
  /// "" or why there is no selection. `marks` comes with zeros.
  virtual std::string Mark(const QZMolBase& mol, Marks& marks) const = 0;
};

using SelectionNode = std::shared_ptr<const QZSelection::Node>;

/// Numbers from `first` to `last`, with an insertion code or a blank for any.
struct NumberRange {
  long long first;
  long long last;
  char insertionCode = ' ';
};

SelectionNode SelectAll();
SelectionNode SelectHydrogens();
/// Numbers count from `firstNumber`.
SelectionNode SelectAtoms(std::vector<NumberRange> ranges, unsigned int firstNumber);
SelectionNode SelectComponents(std::vector<NumberRange> ranges);
SelectionNode SelectChains(std::vector<std::string> names);
SelectionNode SelectResidueNames(std::vector<std::string> names);
/// `chain` "" is any.
SelectionNode SelectResidueNumbers(std::vector<NumberRange> ranges, std::string chain);
SelectionNode SelectWithin(double distance, SelectionNode of);
SelectionNode SelectNot(SelectionNode of);
SelectionNode SelectBoth(SelectionNode a, SelectionNode b);
SelectionNode SelectEither(SelectionNode a, SelectionNode b);
/// Null with `error` set when the pattern does not parse.
SelectionNode SelectSmarts(const std::string& smarts, std::string& error);

}  // namespace QZChem
