// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

#include "qzchem/atom.h"

namespace QZChem {

/// What a file of a macromolecule tells of an atom beside its element: the columns of PDB's atom
/// records, or those of MOL2's substructures. Names are without blanks around them.
struct QZResidue {
  std::string name;  // "ALA", "LIG"
  int number = 0;    // may be negative
  char insertionCode = ' ';
  std::string chain;      // "" where there is none
  std::string atomName;   // "CA"
  bool isHetero = false;  // from a HETATM record
  double occupancy = 1.0;
  double temperatureFactor = 0.0;

  /// True for atoms of one residue.
  bool IsSameResidue(const QZResidue& other) const {
    return number == other.number && insertionCode == other.insertionCode && name == other.name &&
           chain == other.chain;
  }
};

/// The residue of an atom; null where its record had none. Copies and subsets of molecules keep it.
QZ_API const QZResidue* QZGetResidue(const QZAtomBase& atom);
QZ_API void QZSetResidue(QZAtomBase& atom, const QZResidue& residue);
/// "residue LIG 401 (chain A)" as in messages; "" for an atom without a residue.
QZ_API std::string QZDescribeResidue(const QZAtomBase& atom);

}  // namespace QZChem
