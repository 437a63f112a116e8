// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>

#include "qzchem/mol.h"

namespace QZChem {

/// True for bonds whose orders the record gave, that are known from the residue's name or that fill
/// all valences. False where bonds were found by distances and leave a valence open: residues of
/// PDB other than amino acids, nucleotides, water and ions, and most of what XYZ holds. Hydrogens
/// are not added to such a molecule, and no force field can be built for it, until a template gives
/// the orders.
QZ_API bool QZHasBondOrders(const QZMolBase& mol);

/// "" for a molecule whose bond orders are known and that lacks no hydrogens; else the first atom
/// at fault and what was expected there, for example "atom 5 (C, residue LIG 401 (chain A)): the
/// bond orders of its residue are not known, a template gives them" or "atom 3 (N): 2 hydrogens are
/// missing (it has 1 bond of 3)". Atoms count from 1.
QZ_API std::string QZFindMissing(const QZMolBase& mol);

/// Molecules whose bond orders and charges are given to residues, or to whole molecules, that have
/// atoms and bonds without orders.
class QZ_API QZTemplates {
 public:
  QZTemplates();
  QZTemplates(const QZTemplates&) = delete;
  QZTemplates& operator=(const QZTemplates&) = delete;
  ~QZTemplates();

  /// A template for the residues of a name; name "" for every residue, or molecule without
  /// residues, that no other template fits. Fails: false, with the reason in `error`.
  bool AddSmiles(const std::string& residue, const std::string& smiles, std::string& error);
  /// Every record of a file, its title being the residue's name; a file of one record also serves
  /// for residues of any name.
  bool AddFile(const std::string& path, std::string& error);
  bool IsEmpty() const;

  /// Gives orders and charges to what lacks them. A template fits a residue when the elements and
  /// bonds of their heavy atoms agree, but for atoms of the template where the residue is bonded to
  /// another one. Of the ways to lay it on, the one is taken that agrees best with the hydrogens
  /// that are there, and then with the bond lengths. Where a residue has hydrogens, nitrogen takes
  /// a positive and oxygen and sulfur a negative charge for a proton more or less than the
  /// template's. Nothing is added or moved: `QZAddHydrogens` places hydrogens afterwards, which in
  /// a molecule from XYZ must all be there. Fails: false with the residue and reason in `error`,
  /// `mol` unchanged.
  bool Apply(QZGraphMol& mol, std::string& error) const;

 private:
  struct Data;
  std::unique_ptr<Data> data_;
};

}  // namespace QZChem
