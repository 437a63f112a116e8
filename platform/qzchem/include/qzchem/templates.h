// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>

#include "qzchem/mol.h"

namespace QZChem {

/// True when all bond orders are known: given by the record, known from the name of the residue, or
/// certain because the bonds fill every valence. False when bonds were found by distances and leave
/// a valence open, as for PDB residues other than amino acids, nucleotides, water and ions, and for
/// most molecules read from XYZ. Such a molecule gets no hydrogens and no force field until a
/// template gives the orders.
QZ_API bool QZHasBondOrders(const QZMolBase& mol);

/// What a molecule lacks to be complete: "" when its bond orders are known and no hydrogens are
/// missing, otherwise the first atom at fault and what was expected there, for example "atom 5 (C,
/// residue LIG 401 (chain A)): the bond orders of its residue are not known, a template gives them"
/// or "atom 3 (N): 2 hydrogens are missing (it has 1 bond of 3)". Atoms count from 1.
QZ_API std::string QZFindMissing(const QZMolBase& mol);

/// Template molecules, not copyable: their bond orders and charges are transferred to residues, or
/// whole molecules, whose bonds are known without their orders.
class QZ_API QZTemplates {
 public:
  QZTemplates();
  QZTemplates(const QZTemplates&) = delete;
  QZTemplates& operator=(const QZTemplates&) = delete;
  ~QZTemplates();

  /// Adds a template for the residues with the name `residue`. The name "" stands for every
  /// residue, and every molecule without residues, that no other template fits. Fails: false, with
  /// the reason in `error`.
  bool AddSmiles(const std::string& residue, const std::string& smiles, std::string& error);
  /// Adds every record of a file as a template; the title of a record is the name of the residue.
  /// The record of a file that holds only one is also used for residues of any name. Fails: false,
  /// with the reason in `error`.
  bool AddFile(const std::string& path, std::string& error);
  bool IsEmpty() const;

  /// Gives orders and charges to the bonds and atoms of `mol` that lack them. A template fits a
  /// residue when the elements and bonds of their heavy atoms agree; where the residue is bonded to
  /// another one, the template may have atoms more. If the template fits in several ways, the way
  /// is taken that agrees best with the hydrogens that are present, and then with the bond lengths.
  /// When a residue has hydrogens, they decide its protonation: nitrogen with a proton more than in
  /// the template becomes positive, oxygen or sulfur with a proton less becomes negative. No atom
  /// is added or moved: `QZAddHydrogens` adds hydrogens afterwards, except to a molecule from XYZ,
  /// which must have them all. Fails: false, with the residue and the reason in `error` and `mol`
  /// unchanged.
  bool Apply(QZGraphMol& mol, std::string& error) const;

 private:
  struct Data;
  std::unique_ptr<Data> data_;
};

}  // namespace QZChem
