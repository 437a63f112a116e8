// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>

#include "molpotential/freezable.h"
#include "molpotential/invariance.h"
#include "molpotential/molfunc.h"
#include "qzopt/hints.h"

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
/// (kcal/mol, kcal/mol/Å). Every pair of atoms interacts, other molecules of a cluster included,
/// unless a cutoff is set.
///   Terms and selections (the bit of `which` and the predicate that `Set` takes):
///     Stretch 8, bond; Bend 16 and Stretch-Bend 32, pair of bonds in either order;
///     Out-of-Plane 128 and Torsion 64, atom: computed when any atom of the term is accepted;
///     Van der Waals 1 and Electrostatics 4, pair of atoms in either order.
///   Selections and options take effect at the next `Setup`. A term that the force field lacks is
///   0.
/// `Setup` types a molecule once: types and parameters are kept with its topology for every term,
/// copy and thread. Copies: deep, with the bound state, usable on another thread. A copy does not
/// refer to the molecule.
/// Fails: `Setup` false and a warning for a molecule without atoms, hydrogens or 3D coordinates,
/// with chemistry that cannot be perceived, or with an atom (named) that has no type.
/// Cost: O(contributions) per call; holds nothing for a pair of atoms.
/// Source: Halgren, J. Comput. Chem. 17, 490 (1996); 20, 720 (1999); Rappé et al., J. Am. Chem.
/// Soc. 114, 10024 (1992); types, charges and parameters are RDKit's.
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
  /// Bonds, angles, pairs, ... that are computed, after `Setup`.
  std::size_t NumContributions() const;
  /// Electrostatics in a medium of this relative permittivity, with `distanceDependent` one that
  /// grows with the distance, so that the energy falls with its square. Default 1, false. Other
  /// terms remember it only.
  void SetDielectric(double constant, bool distanceDependent = false);
  /// Pairs further apart than `distance` (Å) do not interact; energies fade with two continuous
  /// derivatives, van der Waals over the last `width`, electrostatics over the whole distance. 0:
  /// every pair interacts, the default. Other terms remember it only.
  void SetCutoff(double distance, double width = 2.0);

  using QZMolFunc2::operator();
  unsigned int NumVar() const override;
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;
  /// Both are **added to**; `grad` may be null. Fails: false before `Setup`.
  bool operator()(const double* x, double* hessian, double* grad) override;
  /// One component; its value is 0 for null `x`.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;
  /// The second derivatives as entries of the lower triangle, appended; entries of the same place
  /// are to be summed. Without a cutoff pairs couple all atoms. False before `Setup`.
  bool AppendHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries);
  /// The positive part of the Hessian: the curvature along each stretch, bend, torsion, and along
  /// the distance of pairs where it exceeds 2 kcal/mol/Å², 10 at most. False before `Setup`.
  bool AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) override;
  bool IsFrameInvariant() const override { return true; }
  bool Freeze(const unsigned char* fixed) override;
  /// The contributions, each with its atoms (an angle's centre in the middle, an inversion's
  /// second, a torsion along its bonds), its energy and its parameters, for a `selector` that holds
  /// the term's bit; ~0U is every term. They are those that `Setup` built or, for another molecule
  /// or before `Setup`, would build. Parameters, in Å, radians and kcal/mol:
  ///   stretch r0, k; bend θ0, k, 1 at linear centres; stretch-bend r01, r02, θ0, k1, k2;
  ///   out-of-plane k; torsion V1, V2, V3; van der Waals R*, depth; electrostatics both charges;
  ///   UFF's bend k, order, C0, C1, C2; inversion k, C0, C1, C2; torsion V, order, cos nφ0.
  /// Fails: none, with a warning as `Setup` gives. Cost: some 250 bytes a contribution.
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
  /// With `on`, `Setup` prints every contribution with atoms, energy and parameters as Info.
  void SetVerbose(bool on) override;
  QZForceFieldTerm* CreateCopy() const override;

 private:
  friend class QZStandardFF;
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace QZMolPotential
