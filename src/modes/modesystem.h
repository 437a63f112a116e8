// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <Eigen/Core>
#include <string>
#include <vector>

#include "molpotential/molfunc.h"

namespace QZMolPotential {

/// A molecule's small motions in mass-weighted normal variables c, in which the kinetic energy is
/// |dc/dt|²/2: displacements of the atoms are M^-1/2 W c with orthonormal columns of W.
struct ModeSystem {
  std::string fault;          // empty: the rest is there
  Eigen::MatrixXd motions;    // W, 3 x AtomIndexBound() rows
  Eigen::MatrixXd hessian;    // over c, kcal/mol/Å²/u
  Eigen::VectorXd gradient;   // over c, kcal/mol/Å/u^1/2
  double gradientNorm = 0.0;  // over the function's variables, root mean square
};

/// `masses`: one for each atom index (u), 0 for holes. `x`: Cartesian coordinates. Without
/// `atomsHeld`, overall motion is added to variables that do not contain it, if the energy does not
/// depend on it.
ModeSystem MakeModeSystem(QZMolFunc2& f,
                          const std::vector<double>& masses,
                          const double* x,
                          bool atomsHeld);

/// The overall translations and rotations as orthonormal columns of mass-weighted displacements,
/// with the moment of inertia of each rotation (u Å²; 0 for a translation).
struct OverallMotion {
  Eigen::MatrixXd columns;
  Eigen::VectorXd moments;
};

/// Five for atoms in line, three for one atom.
OverallMotion MakeOverallMotion(const std::vector<double>& masses, const double* x);

/// The overall motions that the variables of the system contain and that do not change the energy,
/// as orthonormal columns over c.
Eigen::MatrixXd FreeMotions(const ModeSystem& system, const OverallMotion& overall);

}  // namespace QZMolPotential
