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

/// Masses: one an atom index (u), 0 for holes. `x`: Cartesian coordinates. Without `atomsHeld` what
/// variables without overall motion lack of it is added where the energy does not feel it.
ModeSystem MakeModeSystem(QZMolFunc2& f,
                          const std::vector<double>& masses,
                          const double* x,
                          bool atomsHeld);

/// The overall translations and rotations, as orthonormal columns of mass-weighted displacements,
/// with the moment (u Å²; 0 for a translation) that each turns against.
struct OverallMotion {
  Eigen::MatrixXd columns;
  Eigen::VectorXd moments;
};

/// Five for atoms in line, three for one atom.
OverallMotion MakeOverallMotion(const std::vector<double>& masses, const double* x);

/// Those of the overall motions that the system contains and does not resist, over c: orthonormal
/// columns.
Eigen::MatrixXd FreeMotions(const ModeSystem& system, const OverallMotion& overall);

}  // namespace QZMolPotential
