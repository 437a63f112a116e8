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

/// How often a function in redundant or delocalised internal coordinates has sought the geometry of
/// its variables, by the way it was found. Each way is tried where the one before it fails.
struct QZBackTransformations {
  /// Damped Newton steps.
  unsigned int newton = 0;
  /// Newton steps along the path of evenly changed coordinates.
  unsigned int geodesic = 0;
  /// One linear step in Cartesian coordinates, which does not quite reach the variables.
  unsigned int cartesian = 0;
  /// None: the nearest geometry known was taken.
  unsigned int held = 0;
};

/// A function of Cartesian coordinates in the variables of any coordinate system, as `QZMappedFunc`
/// tells: gradient, Hessian, scales, the frame of the start, fixed atoms.
/// Cartesian, ZMatrix, Torsion, Redundant and Internal hold any atoms; in RigidBody, Cluster and
/// TorsionRigid a component with a fixed atom stays whole and each other one moves by itself;
/// DegFree holds none.
/// Variables stand in this order: Cartesian and DegFree x, y, z by atom index; RigidBody, Cluster
/// and TorsionRigid component by component, each its torsions in bond order, then w, x, y, z, tx,
/// ty, tz (R(q)(r - c)/|q|² + t with c the component's centre at the start); ZMatrix distance,
/// angle, dihedral of atom after atom, outwards along bonds, where a nearly straight angle at the
/// start becomes two bends and the first three atoms have what overall motion leaves them.
class QZ_API QZCoordinateFunc final : public QZMappedFunc, public QZOpt::QZRestartable {
 public:
  /// With `own` the function is deleted with this object.
  QZCoordinateFunc(QZMolFunc2& f, bool own, QZCoordinates kind);
  /// The same without Hessians.
  QZCoordinateFunc(QZMolFunc1& f, bool own, QZCoordinates kind);
  ~QZCoordinateFunc() override;

  QZCoordinates GetCoordinates() const { return kind_; }
  /// Whether overall translation and rotation are variables in DegFree, ZMatrix, Redundant and
  /// Internal; off, what was there at the start is kept. Takes effect at the next `Setup`. Default:
  /// off only where f is known not to depend on the frame (`QZIsFrameInvariant`).
  void SetOverallMotion(bool on);

  /// Since `SetupConf`, restarts and changes of variables included; all 0 in systems whose
  /// geometries are computed from the variables.
  QZBackTransformations GetBackTransformations() const;

  /// Starts anew at the geometry of `vars`, where that changes the variables (ZMatrix, Redundant,
  /// Internal).
  bool Restart(double* vars) override;
  /// Whether an angle has become straight at `vars`, or is straight no longer (ZMatrix, Redundant,
  /// Internal), or a dihedral's plane is lost.
  bool IsRevisionDue(const double* vars) override;
  /// Starts anew at the geometry of `vars`, with variables of the forms that serve there.
  bool Revise(double* vars, std::vector<QZOpt::QZCurvatureStep>& steps) override;
  /// The same function and fixed atoms in Cartesian coordinates; null for kinds that leave degrees
  /// of freedom out on purpose, and for those that are Cartesian.
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
