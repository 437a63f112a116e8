// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "kernels/vec3.h"
#include "qzchem/mol.h"

namespace QZChem {

struct QZTopology;

/// Everything a molecule holds. Atoms and bonds point here, so that a move of the molecule leaves
/// them valid; `owner` follows the move.
struct QZMolImpl {
  explicit QZMolImpl(QZMolBase* mol) : owner(mol) {}
  /// Deep copy, holes included; the topology cache is shared since it refers to indices only.
  QZMolImpl(const QZMolImpl& other, QZMolBase* mol);

  QZAtomBase* AddAtom(unsigned int atomicNumber, const double* xyz);
  QZBondBase* AddBond(QZAtomBase* begin, QZAtomBase* end, unsigned int order);
  bool DeleteAtom(const QZAtomBase* atom);
  bool DeleteBond(const QZBondBase* bond);
  void Sweep();
  bool Owns(const QZAtomBase* atom) const;
  bool Owns(const QZBondBase* bond) const;
  /// Appends a copy of an atom of any molecule, tagged data included, without its bonds.
  QZAtomBase* AddCopy(const QZAtomBase& source, const double* xyz);
  /// Appends a copy of a bond between two unbonded atoms of this molecule.
  QZBondBase* AddCopy(const QZBondBase& source, QZAtomBase* begin, QZAtomBase* end);

  /// What is perceived from atoms and bonds, computed at the first call after an edit.
  std::shared_ptr<const QZTopology> Topology() const;
  void InvalidateTopology();
  /// What has been perceived of it in the course of the edits that are done.
  void SetTopology(std::shared_ptr<const QZTopology> topology);

  QZMolBase* owner;
  std::vector<std::unique_ptr<QZAtomBase>> atoms;  // null: a hole
  std::vector<std::unique_ptr<QZBondBase>> bonds;  // null: a hole
  std::vector<double> coords;                      // 3 per atom index, zero in holes
  unsigned int numAtoms = 0;
  unsigned int numBonds = 0;
  std::string title;
  double energy = 0.0;
  std::vector<std::pair<std::string, std::string>> sdData;

 private:
  QZAtomBase* append(std::unique_ptr<QZAtomBase> atom, const double* xyz);
  QZBondBase* append(std::unique_ptr<QZBondBase> bond, QZAtomBase* begin, QZAtomBase* end);

  mutable std::mutex topologyMutex_;
  mutable std::shared_ptr<const QZTopology> topology_;
};

/// The way from public objects to their data, for the sources of this library.
struct QZMolAccess {
  static QZMolImpl& Impl(QZMolBase& mol) { return *mol.impl_; }
  static const QZMolImpl& Impl(const QZMolBase& mol) { return *mol.impl_; }
  static const QZMolImpl& Impl(const QZAtomBase& atom) { return *atom.mol_; }
  static const std::vector<QZBondBase*>& Bonds(const QZAtomBase& atom) { return atom.bonds_; }
  /// True for an atom whose bonds were found by distances, so that their orders are not known.
  static bool HasUnknownOrders(const QZAtomBase& atom) { return atom.hasUnknownOrders_; }
  static void SetUnknownOrders(QZAtomBase& atom, bool unknown) { atom.hasUnknownOrders_ = unknown; }
};

/// Where an atom of `mol` is (Å).
inline QZMolPotential::Vec3 Position(const QZMolImpl& mol, const QZAtomBase* atom) {
  return QZMolPotential::LoadAtom(mol.coords.data(), atom->GetIndex());
}

}  // namespace QZChem
