// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>

#include "molpotential/freezable.h"
#include "molpotential/invariance.h"
#include "molpotential/molfunc.h"
#include "qzopt/hints.h"

namespace QZMolPotential {

/// The force fields.
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
/// Finds the kind with a name, in upper or lower case; false for an unknown name.
QZ_API bool QZFindForceField(const char* name, QZForceFieldKind& kind);

/// One energy term of MMFF94, MMFF94s or UFF, a function of the Cartesian coordinates of a molecule
/// (kcal/mol, kcal/mol/Å). r is in Å, angles are in radians, force constants in kcal/mol with Å and
/// radians. MMFF94 and MMFF94s:
///   Stretch         E = k/2 Δ² (1 - 2Δ + 7/3 Δ²)              Δ = r - r0
///   Bend            E = k/2 Δ² (1 + c Δ)                      Δ = θ - θ0, c = -0.4 per radian
///                   E = k (1 + cos θ)                         linear centre
///   Stretch-Bend    E = (k1 (r1 - r01) + k2 (r2 - r02)) (θ - θ0)
///   Out-of-Plane    E = k/2 χ²                                χ: Wilson angle of a bond
///   Torsion         E = V1/2 (1 + cos φ) + V2/2 (1 - cos 2φ) + V3/2 (1 + cos 3φ)
///   Van der Waals   E = ε (1.07/(ρ + 0.07))⁷ (1.12/(ρ⁷ + 0.12) - 2)   ρ = r/R*
///   Electrostatics  E = 332.0716 s q1 q2/(D (r + 0.05)ⁿ)    n = 1, 2; s = 0.75 if 1-4
/// UFF:
///   Stretch         E = k/2 (r - r0)²
///   Bend            E = k (C0 + C1 cos θ + C2 cos 2θ)         general centre
///                   E = k (1 + cos θ)                         order 1
///                   E = k (1 - cos nθ)/n²                     order n = 2, 3, 4
///   Inversion       E = k (C0 + C1 cos χ + C2 cos 2χ)
///   Torsion         E = V/2 (1 - cos nφ0 cos nφ)
///   Van der Waals   E = D ((x/r)¹² - 2 (x/r)⁶)
/// Pairs interact when they are more than two bonds apart or in different molecules, at any
/// distance unless a cutoff is set.
/// Degenerate: straight angles and dihedrals with three atoms in line have a finite energy and
/// gradient 0 where the formula has a kink. Two atoms at one place have a finite van der Waals and
/// electrostatic energy and gradient.
/// Selections, by the bit of `which` and the predicate that `Set` takes: Stretch 8, bond; Bend 16
/// and Stretch-Bend 32, pair of bonds in either order; Out-of-Plane 128 and Torsion 64, atom (any
/// atom of the term); Van der Waals 1 and Electrostatics 4, pair of atoms in either order.
/// Selections and options take effect at the next `Setup`. A term that the force field lacks is 0.
/// `Setup` types a molecule once: types and parameters are kept with the molecule's topology for
/// every term, copy and thread. Copies: deep, bound as the original, usable on another thread, and
/// independent of the molecule.
/// Fails: `Setup` is false with a Warning for a molecule that has no atoms, lacks hydrogens or 3D
/// coordinates, whose chemistry cannot be perceived, or that has an atom without a type, which is
/// named.
/// Cost: O(contributions) per call; nothing is held for a pair of atoms.
/// Source: Halgren, J. Comput. Chem. 17, 490, 520, 553 and 616 (1996); MMFF94s: 20, 720 (1999);
/// UFF: Rappé et al., J. Am. Chem. Soc. 114, 10024 (1992). Types, charges and parameters are
/// RDKit's.
class QZ_API QZForceFieldTerm final : public QZMolFunc2,
                                      public QZFreezable,
                                      public QZFrameQuery,
                                      public QZOpt::QZHessianModel {
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
  /// The number of bonds, angles, pairs or other contributions that are computed; 0 before `Setup`.
  std::size_t NumContributions() const;
  /// Sets the relative permittivity D of electrostatics, 1 by default. With `distanceDependent` it
  /// is D times the distance, so that the energy falls with the square of the distance (n = 2).
  /// Only electrostatics use it.
  void SetDielectric(double constant, bool distanceDependent = false);
  /// Sets a cutoff: pairs further apart than `distance` (Å) do not interact. The energy is
  /// multiplied by S = 1 - t³ (10 - 15 t + 6 t²), which has two continuous derivatives; t rises
  /// from 0 to 1 over the last `width` before the cutoff for van der Waals, over the whole distance
  /// for electrostatics. 0, the default, means no cutoff. Only terms of pairs use it.
  void SetCutoff(double distance, double width = 2.0);

  using QZMolFunc2::operator();
  unsigned int NumVar() const override;
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;
  /// Both are **added to**; `grad` may be null. Fails: false before `Setup`.
  bool operator()(const double* x, double* hessian, double* grad) override;
  /// One component; its value is 0 for null `x`.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;
  /// Appends the Hessian as entries of its lower triangle; entries with the same row and column are
  /// to be summed. Without a cutoff pairs couple all atoms. False before `Setup`.
  bool AppendHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries);
  /// The positive part of the Hessian: the curvature along each stretch, bend, out-of-plane angle
  /// and torsion where it is positive, and along the distance of a pair where it exceeds 2
  /// kcal/mol/Å², cut to 10. False before `Setup`.
  bool AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) override;
  bool IsFrameInvariant() const override { return true; }
  bool Freeze(const unsigned char* fixed) override;
  /// The contributions, for a `selector` that contains the bit of the term (~0U contains all). Each
  /// has its atoms (the centre of an angle in the middle, that of an inversion second, a torsion
  /// along its bonds), its energy and its parameters. They are the contributions that `Setup` has
  /// built; before `Setup`, and for another molecule, those that it would build. Parameters, in Å,
  /// radians and kcal/mol:
  ///   stretch r0, k; bend θ0, k, 1 at linear centres; stretch-bend r01, r02, θ0, k1, k2;
  ///   out-of-plane k; torsion V1, V2, V3; van der Waals R*, depth; electrostatics both charges;
  ///   UFF's bend k, order, C0, C1, C2; inversion k, C0, C1, C2; torsion V, order, cos nφ0.
  /// Fails: an empty iterator, with a Warning as for `Setup`. Cost: some 250 bytes a contribution.
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
  /// With `on`, `Setup` reports every contribution with its atoms, energy and parameters at Info
  /// level.
  void SetVerbose(bool on) override;
  QZForceFieldTerm* CreateCopy() const override;

 private:
  friend class QZStandardFF;
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace QZMolPotential
