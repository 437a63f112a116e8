// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

#include "qzchem/atom.h"

namespace QZChem {

/// What a file of a macromolecule says of an atom beyond its element: the columns of a PDB atom
/// record, or the substructure of a MOL2 file. Names have no blanks around them.
struct QZResidue {
  std::string name;  // "ALA", "LIG"
  int number = 0;    // may be negative
  char insertionCode = ' ';
  std::string chain;      // "" where there is none
  std::string atomName;   // "CA"
  bool isHetero = false;  // from a HETATM record
  double occupancy = 1.0;
  double temperatureFactor = 0.0;  // Å²

  /// True for atoms of one residue.
  bool IsSameResidue(const QZResidue& other) const {
    return number == other.number && insertionCode == other.insertionCode && name == other.name &&
           chain == other.chain;
  }
};

/// The residue of an atom, owned by the atom; null when its record had none. Copies and subsets of
/// molecules keep residues.
QZ_API const QZResidue* QZGetResidue(const QZAtomBase& atom);
QZ_API void QZSetResidue(QZAtomBase& atom, const QZResidue& residue);
/// The residue as messages name it, for example "residue LIG 401 (chain A)"; "" for an atom without
/// a residue.
QZ_API std::string QZDescribeResidue(const QZAtomBase& atom);

}  // namespace QZChem
