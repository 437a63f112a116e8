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

/// How often geometries were sought from variables, by the way they were found: by damped Newton
/// steps; along the path of evenly changed variables; by one linear step in Cartesian coordinates,
/// which misses its aim; or not at all, the nearest known one being taken.
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
  /// The coordinates (out, every entry) of `vars` (in). Where the way back is sought and not
  /// computed, the result is the nearest that could be had. Fails: false, with a reason, only when
  /// there is no finite geometry; `coords` then means nothing.
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

  /// True when the geometry of given variables depends on those placed before. `Place` then moves
  /// the map's state; whoever only looks does so through a `Clone`.
  virtual bool IsPathDependent() const { return false; }
  /// True when a new `Start` at the geometry reached may make variables that serve better.
  virtual bool StartMatters() const { return IsPathDependent(); }
  /// True when other variables serve better at `coords`, to which `vars` lead: an angle has become
  /// straight, or is straight no longer, or a piece has turned far. A `Start` there chooses them.
  virtual bool IsOutdated(const double* /*vars*/, const double* /*coords*/) const { return false; }
  /// Since the map was made; all 0 where geometries are computed and not sought.
  virtual RouteCounts Routes() const { return {}; }
  /// Why the last `Start` or `Place` failed, or ended short of its aim; "" after one that did not.
  const std::string& Reason() const { return reason_; }
  /// Stands where `other` stands, of which this is a `Clone` made since its last `Start`: for
  /// looking at variables again and again without moving `other`. Allocates nothing. Here: nothing,
  /// for maps that have no way behind them.
  virtual void Follow(const CoordinateMap& /*other*/) {}
  /// An independent copy, state included.
  virtual std::unique_ptr<CoordinateMap> Clone() const = 0;

 protected:
  explicit CoordinateMap(std::size_t numCoords);
  /// Work arrays are reserved anew, not copied.
  CoordinateMap(const CoordinateMap& other);
  CoordinateMap& operator=(const CoordinateMap&) = delete;

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

// Makers of maps. Null, with a reason a user understands, for what the system cannot do. The
// molecule is looked at, its coordinates included, and not kept.

/// Bond lengths, angles and dihedrals, more of them than needed, and each fragment's translation
/// and rotation. Variables are those of the moving atoms only, with fixed neighbours as anchors;
/// fixed atoms stay bit for bit. With `overallMotion` off the first fragment's translation and
/// rotation may be left out. Angles and dihedrals may leave their ranges: they are continuous
/// through 0 and ±π. `IsPathDependent()` is true.
std::unique_ptr<CoordinateMap> MakeRedundantMap(const MapRequest& request, std::string& reason);
/// Linear combinations of the redundant ones, as many as there are degrees of freedom.
std::unique_ptr<CoordinateMap> MakeInternalMap(const MapRequest& request, std::string& reason);

}  // namespace QZMolPotential
