// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/rigid.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>

#include "kernels/rotation.h"
#include "qzchem/mol.h"
#include "qzsystem/error.h"

namespace QZMolPotential {
namespace {

Vec3 Centre(const std::array<double, 7>& variables) {
  return LoadAtom(variables.data() + 4, 0);
}

// The matrix of this adaptor, by rows; not normalised.
Mat3 QuaternionMatrix(const double* q) {
  return Transpose(UnnormalisedRotation(q));
}

// Rodrigues' matrix about the unit vector n, transposed like QuaternionMatrix, with any two numbers
// for cosine and sine.
Mat3 AxisMatrix(const Vec3& n, double c, double s) {
  const double t = 1.0 - c;
  return {{(1.0 - n.x * n.x) * c + n.x * n.x, n.x * n.y * t + n.z * s, n.x * n.z * t - n.y * s},
          {n.x * n.y * t - n.z * s, (1.0 - n.y * n.y) * c + n.y * n.y, n.y * n.z * t + n.x * s},
          {n.x * n.z * t + n.y * s, n.y * n.z * t - n.x * s, (1.0 - n.z * n.z) * c + n.z * n.z}};
}

// The quaternion whose QuaternionMatrix is m, through its trace or the largest diagonal element.
void ToQuaternion(const Mat3& m, double* q) {
  const double trace = m.row0.x + m.row1.y + m.row2.z;
  if (1.0 + trace > 0.0) {
    const double s = 0.5 / std::sqrt(1.0 + trace);
    q[0] = 0.25 / s;
    q[1] = (m.row1.z - m.row2.y) * s;
    q[2] = (m.row2.x - m.row0.z) * s;
    q[3] = (m.row0.y - m.row1.x) * s;
  } else if (m.row0.x >= m.row1.y && m.row0.x >= m.row2.z) {
    const double s = 0.5 / std::sqrt(1.0 + m.row0.x - m.row1.y - m.row2.z);
    q[0] = (m.row1.z - m.row2.y) * s;
    q[1] = 0.25 / s;
    q[2] = (m.row0.y + m.row1.x) * s;
    q[3] = (m.row0.z + m.row2.x) * s;
  } else if (m.row1.y >= m.row2.z) {
    const double s = 0.5 / std::sqrt(1.0 + m.row1.y - m.row0.x - m.row2.z);
    q[0] = (m.row2.x - m.row0.z) * s;
    q[1] = (m.row0.y + m.row1.x) * s;
    q[2] = 0.25 / s;
    q[3] = (m.row1.z + m.row2.y) * s;
  } else {
    const double s = 0.5 / std::sqrt(1.0 + m.row2.z - m.row0.x - m.row1.y);
    q[0] = (m.row0.y - m.row1.x) * s;
    q[1] = (m.row0.z + m.row2.x) * s;
    q[2] = (m.row1.z + m.row2.y) * s;
    q[3] = 0.25 / s;
  }
}

}  // namespace

bool QZRigidAdaptor::Setup(const QZChem::QZMolBase& mol) {
  numAtoms_ = mol.NumAtoms();
  if (numAtoms_ == 0) return false;
  refCoords_.assign(std::size_t{3} * mol.AtomIndexBound(), 0.0);
  mol.GetCoords(refCoords_.data());
  refVariables_ = {1.0};
  StoreAtom(refVariables_.data() + 4, 0, Centroid(refCoords_.data(), numAtoms_));
  variables_ = refVariables_;
  return true;
}

bool QZRigidAdaptor::OptVarToFuncVar(const double* vars, double* coords) {
  std::copy_n(vars, 7, variables_.begin());
  const Vec3 shift = Centre(variables_) - Centre(refVariables_);
  const Mat3 matrix = QuaternionMatrix(vars);
  for (std::size_t i = 0; i < numAtoms_; ++i) {
    StoreAtom(coords, i, matrix * (LoadAtom(refCoords_.data(), i) + shift));
  }
  return true;
}

bool QZRigidAdaptor::FuncVarToOptVar(const double* coords, double* vars) {
  std::fill_n(vars, 7, 0.0);
  if (numAtoms_ == 0) return true;
  const Vec3 centre = Centroid(coords, numAtoms_);
  StoreAtom(vars + 4, 0, centre);
  const Vec3 reference = Centre(refVariables_);
  const Vec3 p = LoadAtom(refCoords_.data(), 0) - reference;
  // The centre is taken off twice, and the reference centre added.
  const Vec3 u = LoadAtom(coords, 0) + (reference - centre) - centre;
  const Vec3 cross = Cross(u, p);
  const Vec3 axis = (1.0 / Norm(cross)) * cross;
  const double lengths = Norm(p) * Norm(u);
  double theta = 0.0;
  if (lengths != 0.0) {
    const double k = Dot(p, u) / lengths;
    if (k <= -1.0) {
      theta = std::numbers::pi;
    } else if (k < 1.0) {
      theta = std::acos(k);
    }
  }
  // The angle itself stands in the place of its cosine; above 1 the sine is not a number.
  ToQuaternion(AxisMatrix(axis, theta, std::sin(std::acos(theta))), vars);
  return true;
}

bool QZRigidAdaptor::FuncGradToOptGrad(const double* cartGrad, double* grad, double* /*unused*/) {
  Vec3 force;
  Mat3 moment;  // Σ g_i ⊗ r_i: the transpose's contraction
  for (std::size_t i = 0; i < numAtoms_; ++i) {
    const Vec3 g = LoadAtom(cartGrad, i);
    const Vec3 r = LoadAtom(refCoords_.data(), i);
    force += g;
    moment.row0 += g.x * r;
    moment.row1 += g.y * r;
    moment.row2 += g.z * r;
  }
  const auto half = HalfQuaternionGradient(moment, variables_.data());
  std::ranges::transform(half, grad, [](double value) { return 2.0 * value; });
  StoreAtom(grad + 4, 0, force);
  return true;
}

bool QZRigidAdaptor::OptGradToFuncGrad(const double* /*optGrad*/, double* /*funcGrad*/) {
  QZSystem::QZThrow.Fatal("Transformation of cg/quat -> xyz gradients not implemented");
  return false;
}

bool QZRigidAdaptor::GetAdaptedVariables(double* vars) const {
  if (vars == nullptr) return false;
  std::ranges::copy(variables_, vars);
  return true;
}

void QZRigidAdaptor::GetAdaptedVariables(const QZChem::QZMolBase& /*mol*/, double* vars) const {
  GetAdaptedVariables(vars);
  std::printf("Quaternions:\n");
  for (std::size_t i = 0; i < 4; ++i) std::printf("[%zu] = %12.5f\n", i, variables_[i]);
  std::printf("Center of geometry:\n");
  for (std::size_t i = 0; i < 3; ++i) std::printf("[%zu] = %12.5f\n", i, variables_[4 + i]);
  std::fflush(stdout);
}

void QZRigidAdaptor::FixAtoms(int*& /*atoms*/) {}

}  // namespace QZMolPotential
