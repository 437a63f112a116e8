// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <vector>

#include "molpotential/forwarding.h"
#include "qzopt/hints.h"

namespace QZMolPotential {

/// The variables in which a function of a molecule can be presented.
enum class QZCoordinates {
  Cartesian,    ///< x, y, z of the moving atoms
  DegFree,      ///< the same in a frame fixed to three atoms, less what only places the molecule
  RigidBody,    ///< quaternion and translation of the whole molecule
  Cluster,      ///< the same of each connected component
  Redundant,    ///< all bond lengths, angles and dihedrals
  Internal,     ///< as many combinations of these as there are degrees of freedom
  ZMatrix,      ///< for each atom a distance, an angle and a dihedral to atoms before it
  Torsion,      ///< rotatable torsions
  TorsionRigid  ///< rotatable torsions, quaternion and translation of each component
};

/// "cartesian", "degfree", "rigid", "cluster", "redundant", "internal", "zmatrix", "torsion" or
/// "torsion-rigid".
QZ_API const char* QZGetCoordinatesName(QZCoordinates kind);
/// The kind of that name; "subset" is cartesian and "quaternion" rigid. False for an unknown name.
QZ_API bool QZFindCoordinates(const char* name, QZCoordinates& kind);

/// Presents a function of Cartesian coordinates in other variables, with gradient and Hessian.
///   E(v) = f(x(v));   gradient Jᵀg;   Hessian JᵀHJ + Σ g_i ∂²x_i/∂v∂v,   J = ∂x/∂v
/// Protocol: `SetFixed` and `SetOverallMotion`, `Setup(mol)`, `SetupConf(x)` with the coordinates
/// to start from, `GetVar` for the start variables, evaluations, `AdaptVar` for the way back.
///
/// Coordinates that come out are in the frame of those given to `SetupConf`, in every kind, and
/// fixed atoms keep theirs bit for bit. Cartesian, ZMatrix and Torsion hold any atoms; in
/// RigidBody, Cluster and TorsionRigid a component with a fixed atom stays whole and each other one
/// moves by itself; DegFree holds none. Lengths in Å, angles in radians.
/// Variables stand in this order: Cartesian and DegFree x, y, z by atom index; RigidBody, Cluster
/// and TorsionRigid component by component, each its torsions in bond order, then w, x, y, z, tx,
/// ty, tz (R(q)(r - c)/|q|² + t with c the component's centre at the start); ZMatrix distance,
/// angle, dihedral of atom after atom, outwards along bonds, where a nearly straight angle at the
/// start becomes two bends and the first three atoms have what overall motion leaves them.
///
/// Owns: the function, with `own`. Copies: none (`CreateCopy` is null).
/// Fails: `Setup` and `SetupConf` are false, with a Warning that names the reason, for what a kind
/// cannot do; an energy is NaN before `SetupConf` and where variables have no finite geometry, and
/// nothing is added then; the Hessian call is false too over a function without one.
/// Cost beside that of f: O(N) an energy or gradient, O(N²) a Hessian; holds a packed Hessian of
/// all coordinates, untouched before the first Hessian call. Evaluation allocates nothing.
class QZ_API QZCoordinateFunc final : public QZForwardingAdaptor<QZMolAdaptor2>,
                                      public QZOpt::QZHessianModel,
                                      public QZOpt::QZRestartable {
 public:
  /// With `own` the function is deleted with this object.
  QZCoordinateFunc(QZMolFunc2& f, bool own, QZCoordinates kind);
  /// The same without Hessians.
  QZCoordinateFunc(QZMolFunc1& f, bool own, QZCoordinates kind);
  QZCoordinateFunc(const QZCoordinateFunc&) = delete;
  QZCoordinateFunc& operator=(const QZCoordinateFunc&) = delete;
  ~QZCoordinateFunc() override;

  QZCoordinates GetCoordinates() const;
  /// The atoms that do not move; a copy of the predicate is kept. Takes effect at the next `Setup`.
  /// A predicate that accepts none is as if never given; one that accepts all leaves no variables.
  void SetFixed(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& fixed);
  /// Whether overall translation and rotation are variables in DegFree, ZMatrix, Redundant and
  /// Internal; off, what was there at the start is kept. Takes effect at the next `Setup`. Default:
  /// off only where f is known not to depend on the frame (`QZIsFrameInvariant`).
  void SetOverallMotion(bool on);
  /// One positive number a variable, for `QZMinimizer::SetScales`: 1/√k of typical force constants.
  /// All 1 where the variables are all Cartesian.
  std::vector<double> GetScales() const;

  /// The new function has no Hessian, even where it is a `QZMolFunc2`.
  bool SetMolFunc(QZMolFunc1& func, bool own) override;
  bool SetMolFunc2(QZMolFunc2& func, bool own) override;
  /// Sets up the function on `mol`, which must outlive the binding, and starts at its coordinates.
  bool Setup(const QZChem::QZMolBase& mol) override;
  /// `coords` (3 x AtomIndexBound(), in) become the start, for the function as well.
  bool SetupConf(const double* coords) override;
  void Clear() override;

  unsigned int NumVar() const override;
  using QZMolAdaptor2::GetVar;
  /// The variables of `coords`, which become the start unless they are it already. Null before
  /// `Setup` and where the kind cannot describe them. Valid until the next call.
  const double* GetVar(const double* coords) override;
  /// The coordinates (3 x AtomIndexBound(), out) of `vars`. Moves nothing: looking at a run never
  /// changes it. In redundant coordinates, where geometries depend on the way that led to them,
  /// those of the start, of the latest eight evaluations and of the lowest energy are remembered,
  /// and others are sought from the current ones. Fails: false before `Setup` and where there is no
  /// finite geometry.
  bool AdaptVar(double* coords, const double* vars) const override;
  /// **Adds** Jᵀg at `vars` to `grad` (NumVar()); `cartGrad`: g (3 x AtomIndexBound(), in). False
  /// as for `AdaptVar`.
  bool AdaptGrad(double* grad, const double* cartGrad, const double* vars) const;

  using QZForwardingAdaptor<QZMolAdaptor2>::operator();
  double operator()(const double* vars) override;
  /// `grad` is **added to**.
  double operator()(const double* vars, double* grad) override;
  /// Both are **added to**; `grad` may be null.
  bool operator()(const double* vars, double* hess, double* grad) override;
  /// Those of the function at the coordinates of `vars`, or its own answer to null.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* vars) override;

  /// JᵀMJ of the function's model, where it has one.
  bool AppendModelHessian(const double* vars, std::vector<QZOpt::QZMatrixEntry>& entries) override;
  /// Starts anew at the geometry of `vars`, where that changes the variables (ZMatrix, Redundant).
  bool Restart(double* vars) override;
  /// The same function and fixed atoms in Cartesian coordinates; null for kinds that leave degrees
  /// of freedom out on purpose.
  QZOpt::QZFunc1* FallBack(const double* vars, std::vector<double>& start) override;
  const char* FallBackName() const override;
  void ReturnFrom(const double* fallBackVars, double* vars) override;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace QZMolPotential
