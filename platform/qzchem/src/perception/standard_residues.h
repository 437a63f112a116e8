// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace QZChem {

/// The chemistry of a residue by the names of its atoms, as the macromolecular databases name them.
struct StandardResidue {
  enum class Kind { Polymer, Solvent, Ion };

  bool HasAtom(std::string_view atom) const;
  /// Every way to draw it, as words "CG=OD1" (double bond) and "OD2-" (charge), the usual one in
  /// water at pH 7 first. `isLast`: with the second oxygen of a chain's end.
  std::vector<std::string> States(bool isLast) const;

  std::string_view name;
  Kind kind;
  std::string_view atoms;   // heavy ones, blank-separated; others may be absent: `optional`
  std::string_view states;  // separated by "|"
  std::string_view optional = "";
  int charge = 0;  // of an ion
  bool isAminoAcid = false;
};

/// Null for another name.
const StandardResidue* FindStandardResidue(std::string_view name);

}  // namespace QZChem
