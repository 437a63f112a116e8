// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>

#include "molpotential/molfunc.h"

namespace QZMolPotential {

enum class QZForceFieldKind { MMFF94, MMFF94s, UFF };

/// The terms a force field is made of. UFF has neither stretch-bend nor electrostatics.
enum class QZForceFieldTermKind {
  Stretch,
  Bend,
  StretchBend,
  OutOfPlane,
  Torsion,
  VanDerWaals,
  Electrostatics
};

/// "MMFF94", "MMFF94s" or "UFF".
QZ_API const char* QZGetForceFieldName(QZForceFieldKind kind);
/// The kind of that name, upper or lower case; false for an unknown name.
QZ_API bool QZFindForceField(const char* name, QZForceFieldKind& kind);

/// One energy term of MMFF94, MMFF94s or UFF, of all Cartesian coordinates of a molecule
/// (kcal/mol, kcal/mol/Å). Every pair of atoms interacts, other molecules of a cluster included;
/// there are no cutoffs.
///   Terms and selections (the bit of `which` and the predicate that `Set` takes):
///     Stretch 8, bond; Bend 16 and Stretch-Bend 32, pair of bonds in either order;
///     Out-of-Plane 128 and Torsion 64, atom: computed when any atom of the term is accepted;
///     Van der Waals 1 and Electrostatics 4, pair of atoms in either order.
///   Selections take effect at the next `Setup`. A term that the force field lacks is 0.
/// Copies: deep, with the bound state, usable on another thread; the first evaluation of a copy
/// allocates its distance table. A copy does not refer to the molecule.
/// Fails: `Setup` false and a warning for a molecule without atoms, hydrogens or 3D coordinates,
/// with chemistry that cannot be perceived, or with an atom (named) that has no type.
/// Cost: O(contributions) per call, holds an N x N / 2 table of distances and 40 bytes per pair.
/// Source: Halgren, J. Comput. Chem. 17, 490 (1996); 20, 720 (1999); Rappé et al., J. Am. Chem.
/// Soc. 114, 10024 (1992); evaluated by RDKit.
class QZ_API QZForceFieldTerm final : public QZMolFunc2 {
 public:
  QZForceFieldTerm(QZForceFieldKind kind, QZForceFieldTermKind term);
  QZForceFieldTerm(const QZForceFieldTerm& other);
  QZForceFieldTerm& operator=(const QZForceFieldTerm& other);
  ~QZForceFieldTerm() override;

  /// The name of its component: "Stretch", "Bend", "Stretch-Bend", "Out-of-Plane" (UFF:
  /// "Inversion"), "Torsion", "Van der Waals" or "Electrostatics".
  const char* GetName() const;
  QZForceFieldKind GetForceField() const;
  QZForceFieldTermKind GetTerm() const;
  /// Bonds, angles, pairs, ... that are computed, after `Setup`.
  std::size_t NumContributions() const;

  using QZMolFunc2::operator();
  unsigned int NumVar() const override;
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;
  /// Both are **added to**; `grad` may be null. Fails: false before `Setup`.
  bool operator()(const double* x, double* hessian, double* grad) override;
  /// One component; its value is 0 for null `x`.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;
  /// The contributions, each with its atoms (an angle's centre in the middle, a torsion along its
  /// bonds; UFF's torsions and inversions in index order) and without further numbers, for a
  /// `selector` that holds the term's bit; ~0U is every term. They are those that a `Setup` with
  /// `mol` would compute, at `coords`. Fails: none, with a warning as `Setup` gives. Cost: a
  /// `Setup` and some 250 bytes a contribution.
  QZSystem::QZIterBase<QZInteraction>* GetInteractions(const QZChem::QZMolBase& mol,
                                                       const double* coords,
                                                       unsigned int selector) const override;
  bool Setup(const QZChem::QZMolBase& mol) override;
  void Clear() override;
  bool Set(const QZSystem::QZBinaryPredicate<QZChem::QZBondBase, QZChem::QZBondBase>& pred,
           unsigned int which) override;
  bool Set(const QZSystem::QZBinaryPredicate<QZChem::QZAtomBase, QZChem::QZAtomBase>& pred,
           unsigned int which) override;
  bool Set(const QZSystem::QZUnaryPredicate<QZChem::QZBondBase>& pred, unsigned int which) override;
  bool Set(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred, unsigned int which) override;
  void ClearPredicates() override;
  QZForceFieldTerm* CreateCopy() const override;

 private:
  friend class QZStandardFF;
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace QZMolPotential
