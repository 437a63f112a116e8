// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "coordinates/map.h"
#include "kernels/mat3.h"
#include "kernels/vec3.h"

namespace QZMolPotential {

/// A frame of a molecule's own: y = axes (x - origin).
struct OwnFrame {
  Vec3 origin;
  Mat3 axes{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}};  // rows: the unit vectors of y in x

  Vec3 Inside(const Vec3& x) const { return axes * (x - origin); }
  Vec3 Outside(const Vec3& y) const { return Transpose(axes) * y + origin; }
};

/// Cartesian coordinates y in a frame of the molecule's own, linear in them: x = axesᵀ y + origin.
/// An atom is at the origin, a second one on x, a third in the xy plane. Without overall motion the
/// six coordinates that are zero there stay so and are no variables; with it all are.
class FrameMap final : public CoordinateMap {
 public:
  enum class Frame {
    /// The first three atoms that are apart and not in line at `Start`; geometries stay where they
    /// were.
    Kept,
    /// The first three atoms, in line or not, and geometries come out in the frame, also before the
    /// first `Start`. The second atom is turned onto x about z, unless it is within 1e-6 Å of that
    /// axis, then about y; the third one about x, to positive y, except where its y is within
    /// 1e-6 Å of zero: then y becomes what z was, sign included. Callers rely on it. Two atoms in
    /// one place: not a number.
    Standard
  };
  /// `atoms`: those that move, at least one; others, holes, stay.
  FrameMap(std::size_t atomIndexBound,
           std::vector<unsigned int> atoms,
           bool overallMotion,
           Frame frame = Frame::Kept);

  std::size_t NumVar() const override { return kept_.size(); }
  std::vector<VariableKind> Kinds() const override;
  bool Start(const double* coords, double* vars) override;
  bool Place(const double* vars, double* coords) override;
  void PullGradient(const double* cartGrad, double* grad) override;
  std::unique_ptr<CoordinateMap> Clone() const override;

 private:
  void orient(const double* coords);
  void keepAllBut(std::size_t second, std::size_t third);

  std::vector<unsigned int> atoms_;
  bool overallMotion_;
  Frame kind_;
  std::vector<std::size_t> kept_;  // entries of y, 3 an atom of `atoms_`, that are variables
  OwnFrame frame_;
  std::vector<double> ref_;
  std::vector<double> inside_;  // y
  std::vector<double> turned_;  // a gradient in y
};

}  // namespace QZMolPotential
