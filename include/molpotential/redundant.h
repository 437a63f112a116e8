// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <vector>

#include "molpotential/forwarding.h"
#include "molpotential/internalkind.h"

namespace QZMolPotential {

/// Presents a function in redundant internal coordinates: every bond length (Å), every valence
/// angle and every proper dihedral (radians) of the molecule, in this order.
///   q = |x_i - x_j|;  acos of the bond vectors;  acos of the plane normals, unsigned in [0, π]
///   B = dq/dx,  G = (B Bᵀ)⁺ with singular values below 1e-12 dropped
///   gradient  g_q = G B g        step  dx = Bᵀ G (q* - q), repeated
/// Atoms accepted by the predicate given by `Set(atomPredicate, 0x400000)` before `Setup` are
/// frozen: bonds, angles and dihedrals among frozen atoms alone are not variables.
/// With `restrictInteractions`, `Setup` hands the wrapped function the predicates (masks 8, 5, 48,
/// 192, in this order) that keep the interactions of at least one atom that is not frozen.
///
/// What callers rely on:
/// - When a dihedral of a bond is found to be frozen, all later dihedrals of that bond are frozen
/// too; likewise for the angles of a central atom.
/// - Frozen bonds and angles have empty rows in B, frozen dihedrals have rows: frozen atoms may
///   move in a back-transformation.
/// - An angle whose cosine is beyond ±0.999999 has 1e-6 taken off it, so that a straight angle is
///   acos(1e-6 - 1). A dihedral whose cosine is beyond ±(1 - 1e-12) snaps to 0 or π, and has 1e-12
///   taken off where B is formed. Across π dihedral differences are not wrapped.
/// - A dihedral with three atoms in line has value 0 and an empty row.
/// - `GetVar` makes its argument the current coordinates but leaves B and G, which belong to the
///   last `Setup` or the last step of `AdaptVar` that did not converge.
/// - Every `AdaptVar` makes its result the current coordinates.
///
/// Copies: none. `Setup` fails: false, with nothing changed, for an invalid molecule or without a
/// function; false when `Setup` of the wrapped function fails. When the rank of B cannot be
/// determined for more than 1,500 coordinates, each `Setup` gives one Warning; gradients are then
/// computed by iteration and steps are damped.
/// Cost: a sparse factorisation for every new B, about a sixteenth of that for every further
/// product; time and memory are linear in the atoms for chains. Fragments whose null vectors are
/// not only overall motion (usually because of frozen atoms) cost O(n³) up to n = 1,500
/// coordinates. For minimisations use `QZCoordinateFunc` with `QZCoordinates::Redundant`, whose
/// angles are continuous beyond 0 and π. Source: Peng, Ayala, Schlegel & Frisch, J. Comput. Chem.
/// 17, 49 (1996).
class QZ_API QZRedundantInterAdaptor : public QZForwardingAdaptor<QZMolAdaptor> {
 public:
  QZRedundantInterAdaptor();
  QZRedundantInterAdaptor(QZMolFunc1& func, bool own, bool restrictInteractions);
  QZRedundantInterAdaptor(const QZRedundantInterAdaptor&) = delete;
  QZRedundantInterAdaptor& operator=(const QZRedundantInterAdaptor&) = delete;
  ~QZRedundantInterAdaptor() override;

  bool Setup(const QZChem::QZMolBase& mol) override;
  /// Forgets the coordinates but keeps the predicate, and clears the wrapped function.
  void Clear() override;
  /// With bit 0x400000 in `which` the predicate selects the frozen atoms of the next `Setup`;
  /// without it the predicate is passed to the wrapped function. `ClearPredicates` does not clear
  /// the selection of frozen atoms.
  bool Set(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred, unsigned int which) override;
  /// The other selections are not forwarded: false.
  bool Set(const QZSystem::QZUnaryPredicate<QZChem::QZBondBase>& pred, unsigned int which) override;
  bool Set(const QZSystem::QZBinaryPredicate<QZChem::QZAtomBase, QZChem::QZAtomBase>& pred,
           unsigned int which) override;
  bool Set(const QZSystem::QZBinaryPredicate<QZChem::QZBondBase, QZChem::QZBondBase>& pred,
           unsigned int which) override;

  /// How many coordinates are active; 0 before `Setup`.
  unsigned int NumVar() const override;
  /// What the variables are; none before `Setup`.
  std::vector<QZInternalKind> GetKinds() const;
  /// The current coordinates, 3 x AtomIndexBound() doubles, valid until the next `Setup` or
  /// `Clear`; null before `Setup`.
  const double* GetCurrentCoords() const;
  using QZMolAdaptor::GetVar;
  /// `coords`: 3 x AtomIndexBound() doubles. The result is valid until the next `GetVar` or
  /// `Setup`; null before `Setup`.
  const double* GetVar(const double* coords) override;
  /// Coordinates (out) that have the internal coordinates `vars`, searched from the current ones in
  /// at most ten steps; the search ends with a step below 1e-5 Å (Euclidean norm). Bond lengths in
  /// `vars` are taken by their absolute value. Fails: false before `Setup`; false when the search
  /// does not converge, `coords` being the last iterate, or when a step is not finite, which is
  /// then not taken; false with a Warning for variables or current coordinates that are not finite.
  /// When B has to be formed where bonded atoms are in one place, it fails with a Warning too.
  bool AdaptVar(double* coords, const double* vars) const override;
  /// `grad` (NumVar() doubles) is **assigned** from `cartGrad` (3 x AtomIndexBound(), in). Fails:
  /// false before `Setup`; false with a Warning, `grad` not being finite, when B was formed at
  /// coordinates that are not finite or with bonded atoms in one place.
  bool AdaptGrad(double* grad, const double* cartGrad) const;

  using QZForwardingAdaptor<QZMolAdaptor>::operator();
  /// The energy at the coordinates at which `AdaptVar(vars)` ends, converged or not; NaN before
  /// `Setup`.
  double operator()(const double* vars) override;
  /// The same; `grad` is **assigned**.
  double operator()(const double* vars, double* grad) override;

 private:
  struct State;
  void restrict(const QZChem::QZMolBase& mol) const;

  bool restrictInteractions_ = false;
  std::unique_ptr<QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>> frozenPred_;
  std::unique_ptr<State> state_;  // null before Setup
};

}  // namespace QZMolPotential
