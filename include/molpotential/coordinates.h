// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "molpotential/mapped.h"
#include "qzopt/hints.h"

namespace QZMolPotential {

/// The variables in which a function of a molecule can be presented.
enum class QZCoordinates {
  Cartesian,    ///< x, y, z of the moving atoms
  DegFree,      ///< x, y, z without the overall motion, in a frame fixed to three atoms
  RigidBody,    ///< quaternion and translation of the whole molecule
  Cluster,      ///< quaternion and translation of each connected component
  Redundant,    ///< all bond lengths, angles and dihedrals
  Internal,     ///< delocalised internal coordinates: combinations of all these, not redundant
  ZMatrix,      ///< for each atom a distance, an angle and a dihedral to earlier atoms
  Torsion,      ///< rotatable torsions
  TorsionRigid  ///< rotatable torsions, quaternion and translation of each component
};

/// "cartesian", "degfree", "rigid", "cluster", "redundant", "internal", "zmatrix", "torsion" or
/// "torsion-rigid".
QZ_API const char* QZGetCoordinatesName(QZCoordinates kind);
/// Finds the kind with a name; "subset" stands for cartesian and "quaternion" for rigid. False for
/// an unknown name.
QZ_API bool QZFindCoordinates(const char* name, QZCoordinates& kind);

/// How often a function in redundant or delocalised internal coordinates has searched for the
/// geometry of its variables, counted by the method that found it. The methods are tried in this
/// order.
struct QZBackTransformations {
  /// Damped Newton steps.
  unsigned int newton = 0;
  /// Newton steps along a path on which the coordinates change evenly from the current to the
  /// wanted values.
  unsigned int geodesic = 0;
  /// One linear step in Cartesian coordinates, whose result does not have exactly the wanted
  /// variables.
  unsigned int cartesian = 0;
  /// No method worked: the nearest geometry known was taken.
  unsigned int held = 0;
};

/// Presents a function of Cartesian coordinates in the variables of any coordinate system.
/// Gradient, Hessian, frame, fixed atoms, ownership, failures and cost are those of `QZMappedFunc`.
/// Fixed atoms: Cartesian, ZMatrix, Torsion, Redundant and Internal can hold any atoms. In
/// RigidBody, Cluster and TorsionRigid a component that contains a fixed atom does not move at all,
/// and every other component moves by itself. DegFree cannot hold atoms. Order of the variables:
/// - Cartesian, DegFree: x, y, z by atom index;
/// - RigidBody, Cluster, TorsionRigid: component by component, in each its torsions in bond order
///   (TorsionRigid), then w, x, y, z, tx, ty, tz of R(q)(r - c)/|q|² + t, R unnormalised and c the
///   centre of the component at the start;
/// - Torsion: the dihedrals in bond order;
/// - ZMatrix: distance, angle and dihedral of atom after atom, outwards along bonds; without
///   overall motion the first three atoms have fewer.
///
/// In ZMatrix, Redundant and Internal an angle that is nearly straight is described by two bends
/// instead, and dihedrals skip its central atom. Which description an angle has is chosen at each
/// start. Minimisers have it chosen again during a run when the angle becomes straight or bends
/// (`IsRevisionDue`, `Revise`); the numbers of variables and scales stay the same, and variables
/// from before no longer belong to the function. In Redundant there are variables for both
/// descriptions; those not in use are 0 and have gradient 0.
/// Internal: a Hessian costs O(n³) for n variables. Source: see `QZZmatAdaptor`, `QZTorAdaptor`,
/// `QZRedundantInterAdaptor` and `QZInternalAdaptor`.
class QZ_API QZCoordinateFunc final : public QZMappedFunc, public QZOpt::QZRestartable {
 public:
  /// With `own` the function is deleted with this object.
  QZCoordinateFunc(QZMolFunc2& f, bool own, QZCoordinates kind);
  /// As above, for a function without a Hessian.
  QZCoordinateFunc(QZMolFunc1& f, bool own, QZCoordinates kind);
  ~QZCoordinateFunc() override;

  QZCoordinates GetCoordinates() const { return kind_; }
  /// Sets whether overall translation and rotation are variables in DegFree, ZMatrix, Redundant and
  /// Internal. If not, the molecule keeps its placement of the start. Takes effect at the next
  /// `Setup`. The default is false if f is known not to depend on the frame (`QZIsFrameInvariant`),
  /// otherwise true.
  void SetOverallMotion(bool on);

  /// Counts since `SetupConf`, over restarts and changes of variables; all 0 for kinds whose
  /// geometries are computed directly from the variables.
  QZBackTransformations GetBackTransformations() const;

  /// Starts again at the geometry of `vars` (in and out). False for kinds whose variables this
  /// would not change; it can change them in ZMatrix, Redundant and Internal.
  bool Restart(double* vars) override;
  /// True when at `vars` an angle has become straight or is no longer straight (ZMatrix, Redundant,
  /// Internal), when the plane of a dihedral is undefined, or when a fragment has turned far from
  /// its reference (Redundant, Internal).
  bool IsRevisionDue(const double* vars) override;
  /// Starts again at the geometry of `vars` (in and out) with the variables that suit it.
  bool Revise(double* vars, std::vector<QZOpt::QZCurvatureStep>& steps) override;
  /// The same function with the same fixed atoms in Cartesian coordinates. Null for kinds that
  /// leave out degrees of freedom on purpose, and for Cartesian itself.
  QZOpt::QZFunc1* FallBack(const double* vars, std::vector<double>& start) override;
  const char* FallBackName() const override;
  void ReturnFrom(const double* fallBackVars, double* vars) override;

 private:
  std::unique_ptr<CoordinateMap> makeMap(const MapRequest& request,
                                         std::string& reason) const override;
  std::string describe() const override;

  QZCoordinates kind_;
  std::unique_ptr<QZCoordinateFunc> fallBack_;
};

}  // namespace QZMolPotential
