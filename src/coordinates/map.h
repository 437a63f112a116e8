// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qzopt/hints.h"

namespace QZChem {
class QZMolBase;
}

namespace QZMolPotential {

/// What a variable measures, which decides its scale. Lengths and translations are in Å, angles
/// and dihedrals in radians; a rotation is one of a body's quaternion components or angles.
enum class VariableKind { Cartesian, Length, Angle, Dihedral, Translation, Rotation };

/// How often geometries were searched for given variables, counted by the method that found them:
/// damped Newton steps; Newton steps along a path of evenly changing variables; one linear step in
/// Cartesian coordinates, which does not reach the variables exactly; or none, so that the nearest
/// known geometry was taken (`held`).
struct RouteCounts {
  unsigned int newton = 0;
  unsigned int geodesic = 0;
  unsigned int cartesian = 0;
  unsigned int held = 0;
};

/// A coordinate system: Cartesian coordinates x (3 x atom-index bound doubles, holes included) as a
/// function of variables v, with first and second derivatives. Public adaptors and
/// `QZCoordinateFunc` are faces of it.
///
/// `Start` first; then `Place`, and after it, for the same variables, any of the `Pull` calls,
/// which use what `Place` has left in the object. None of these allocates but the first `Start`
/// and, without `ReserveHessian`, the first `PullHessian`.
class CoordinateMap {
 public:
  virtual ~CoordinateMap();

  /// Length of Cartesian vectors.
  std::size_t NumCoords() const { return numCoords_; }
  /// Number of variables: known once the map is made, the same until the map's end.
  virtual std::size_t NumVar() const = 0;
  virtual std::vector<VariableKind> Kinds() const = 0;

  /// Makes `coords` (in) the reference: what is fixed stays there bit for bit, and coordinates
  /// come out in its frame. `vars` (NumVar(), out) are its variables; `Place` of them gives
  /// `coords` back. Fails: false, with a reason, when the system cannot describe this geometry, or
  /// its coordinates are not finite.
  virtual bool Start(const double* coords, double* vars) = 0;
  /// The coordinates (out, every entry) of `vars` (in). In systems where the coordinates have to be
  /// searched, the result is the nearest geometry that was found. Fails: false, with a reason, only
  /// when there is no finite geometry; `coords` is then undefined.
  virtual bool Place(const double* vars, double* coords) = 0;
  /// **Adds** Jᵀg, J = ∂x/∂v, to `grad` (NumVar()). `cartGrad`: g (in).
  virtual void PullGradient(const double* cartGrad, double* grad) = 0;
  /// **Adds** JᵀHJ + Σ g_i ∂²x_i/∂v∂v to the packed `hess`. `cartHess`: H (packed, in). Fails:
  /// false when the memory for it is not to be had; nothing is added. Here: two sweeps of
  /// `PullGradient` over the columns of H, then `AddCurvature`: O(N² + N NumVar()) where a gradient
  /// costs O(N).
  virtual bool PullHessian(const double* cartHess, const double* cartGrad, double* hess);
  /// Reserves the work arrays of `PullHessian`. Their memory is not touched before a Hessian.
  virtual void ReserveHessian();
  /// Appends JᵀMJ, M being the symmetric sum of `cart`, to `entries`. Here through dense matrices,
  /// and false, with nothing appended, beyond a few thousand coordinates. May allocate.
  virtual bool PullModel(const std::vector<QZOpt::QZMatrixEntry>& cart,
                         std::vector<QZOpt::QZMatrixEntry>& entries);

  /// True when the geometry of given variables depends on the variables placed before. `Place` then
  /// changes the state of the map; code that must not change it works with a `Clone`.
  virtual bool IsPathDependent() const { return false; }
  /// True when a new `Start` at the geometry reached may give more suitable variables.
  virtual bool StartMatters() const { return IsPathDependent(); }
  /// True when other variables would be more suitable at `coords`, the geometry of `vars`: an angle
  /// has become straight or is no longer straight, or a piece has turned far. A `Start` there
  /// chooses them.
  virtual bool IsOutdated(const double* /*vars*/, const double* /*coords*/) const { return false; }
  /// Counts since the map was made; all 0 in systems that compute geometries directly.
  virtual RouteCounts Routes() const { return {}; }
  /// Why the last `Start` or `Place` failed or did not reach its variables; "" after success.
  const std::string& Reason() const { return reason_; }
  /// Takes over the state of `other`, of which this must be a `Clone` made since the last `Start`
  /// of `other`. This serves to look at variables repeatedly without changing `other`. Allocates
  /// nothing. The default does nothing, for maps without such state.
  virtual void Follow(const CoordinateMap& /*other*/) {}
  /// An independent copy, state included.
  virtual std::unique_ptr<CoordinateMap> Clone() const = 0;

 protected:
  explicit CoordinateMap(std::size_t numCoords);
  /// Work arrays are reserved anew, not copied.
  CoordinateMap(const CoordinateMap& other);
  CoordinateMap& operator=(const CoordinateMap&) = delete;

  /// Called before the many `PullGradient` of a `PullHessian` or `PullModel` here.
  virtual void prepareManyPulls() {}
  /// **Adds** Σ g_i ∂²x_i/∂v∂v to the packed `hess`; for maps that are content with the
  /// `PullHessian` here. Nothing for linear ones.
  virtual void AddCurvature(const double* cartGrad, double* hess);
  /// The Cartesian coordinates that depend on variables at all; all of them if never called.
  void SetMoving(std::vector<unsigned int> coordinates) { moving_ = std::move(coordinates); }
  /// Whether all of `coords` are finite; leaves the reason where they are not.
  bool CheckFinite(const double* coords);
  void SetReason(std::string reason) { reason_ = std::move(reason); }

 private:
  template <class Element>
  void sandwich(Element element, double* hess);

  std::size_t numCoords_;
  std::string reason_;
  std::vector<unsigned int> moving_;
  std::unique_ptr<double[]> pulled_;  // NumVar() rows of JᵀH, over `moving_`
  std::unique_ptr<double[]> column_;  // NumCoords() and NumVar()
};

/// What a map is asked for.
struct MapRequest {
  const QZChem::QZMolBase* mol = nullptr;
  /// Per atom index, nonzero for an atom that must not move, bit for bit; never empty. Holes count
  /// as fixed: their coordinates are those of `Start`.
  std::vector<unsigned char> fixed;
  bool anyFixed = false;  // an atom, not a hole
  /// Whether the placement of the whole counts: then overall translation and rotation are among the
  /// variables, as far as fixed atoms leave them open; else what was there at `Start` is kept.
  bool overallMotion = true;
};

// Makers of maps. They return null, with a reason for users, when the system cannot describe the
// request. The molecule and its coordinates are read but not kept.

/// Bond lengths, angles and dihedrals, more of them than needed, and each fragment's translation
/// and rotation. Variables are those of the moving atoms only, with fixed neighbours as anchors;
/// fixed atoms stay bit for bit. With `overallMotion` off the first fragment's translation and
/// rotation may be left out. Angles and dihedrals may leave their ranges: they are continuous
/// through 0 and ±π. `IsPathDependent()` is true.
std::unique_ptr<CoordinateMap> MakeRedundantMap(const MapRequest& request, std::string& reason);
/// Linear combinations of the redundant ones, as many as there are degrees of freedom.
std::unique_ptr<CoordinateMap> MakeInternalMap(const MapRequest& request, std::string& reason);

}  // namespace QZMolPotential
