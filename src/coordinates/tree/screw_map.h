// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

#include "coordinates/map.h"
#include "coordinates/tree/torsion_forest.h"
#include "kernels/mat3.h"
#include "kernels/vec3.h"

namespace QZMolPotential {

/// What moves in a `ScrewMap`. A unit is a set of atoms, usually a connected component.
struct ScrewLayout {
  enum class Unit {
    Still,  // but for its torsions
    Body,   // translation and rotation, and its torsions
    Free    // the x, y, z of every atom
  };
  static constexpr unsigned int kNone = ~0U;

  TorsionForest forest;  // none in free units
  std::vector<Unit> units;
  std::vector<unsigned int> unitOf;  // per atom index; kNone: a hole, which stays
  bool centred = true;               // bodies turn about their centres, else about the origin
};

/// Rigid bodies, torsions in them and single atoms: every variable but those of single atoms is a
/// screw motion of a set of atoms, ∂x = v + ω x x, and the sets are nested or disjoint.
///   x = R(q) (y - c) + t,  y: turned torsions, c: the unit's centre at the start, or the origin
/// With b outside a (or equal to it), ∂²x/∂a∂b = ω_b x ∂x/∂a; quaternion components of one body add
/// (∂ω_k/∂q_j) x (x - t).
/// Variables, unit by unit: the active torsions (radians) in the forest's order, then w, x, y, z,
/// tx, ty, tz of a body, or x, y, z of each atom by index.
class ScrewMap final : public CoordinateMap {
 public:
  explicit ScrewMap(ScrewLayout layout);

  std::size_t NumVar() const override { return numVar_; }
  std::vector<VariableKind> Kinds() const override;
  bool Start(const double* coords, double* vars) override;
  bool Place(const double* vars, double* coords) override;
  void PullGradient(const double* cartGrad, double* grad) override;
  std::unique_ptr<CoordinateMap> Clone() const override;

 protected:
  void AddCurvature(const double* cartGrad, double* hess) override;

 private:
  struct Body {
    std::size_t var = 0;
    std::size_t atoms = 0;
    Vec3 centre;                  // c
    Vec3 at;                      // t, as placed
    double s = 0.0;               // |q|²
    std::array<double, 4> q{};    // as placed
    std::array<Vec3, 4> omega{};  // of the quaternion components
  };
  struct Axis {
    std::size_t var = 0;
    double reference = 0.0;
    Vec3 at;     // of atom c, as placed
    Vec3 omega;  // unit vector from b to c
  };

  std::size_t numTorsions() const { return layout_.forest.NumTorsions(); }
  std::ptrdiff_t bodySlotOf(std::size_t atom) const;
  double dihedral(const double* coords, std::size_t k) const;
  void placeBodies(const double* vars);
  void findAxes();

  ScrewLayout layout_;
  std::size_t numVar_ = 0;
  std::vector<Axis> axes_;  // per torsion
  std::vector<Body> bodies_;
  std::vector<std::size_t> bodyOf_;    // per unit
  std::vector<std::ptrdiff_t> slot_;   // per atom: its innermost torsion, or numTorsions() + body
  std::vector<unsigned int> carried_;  // atoms with a slot
  std::vector<unsigned int> freeAtoms_;
  std::vector<std::size_t> freeVars_;
  std::vector<double> ref_, coords_;
  std::vector<double> work_;  // 12 a slot
  Vec3 origin_;               // about which moments are summed
};

}  // namespace QZMolPotential
