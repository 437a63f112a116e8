// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "input/signed_torsion.h"

#include <cmath>
#include <numbers>

#include "qzchem/qzchem.h"

namespace Molpot {

// With k = 1/2 and a target one radian below, the restraint's gradient (φ - φ0) ∇φ is ∇φ.
SignedTorsionConstraint::SignedTorsionConstraint(const std::array<unsigned int, 4>& atoms,
                                                 std::optional<double> target)
    : atoms_(atoms), given_(target), slope_(0.5, 0.0) {
  slope_.SetTorsion(atoms[0], atoms[1], atoms[2], atoms[3]);
}

bool SignedTorsionConstraint::Setup(const QZChem::QZMolBase& mol) {
  if (!slope_.Setup(mol)) return false;
  const auto atom = [&](std::size_t k) { return mol.GetAtom(atoms_[k]); };
  target_ = given_.value_or(QZChem::QZGetTorsion(mol, atom(0), atom(1), atom(2), atom(3)));
  return true;
}

double SignedTorsionConstraint::angle(const double* x) const {
  using Vector = std::array<double, 3>;
  const auto difference = [&](std::size_t to, std::size_t from) {
    const double* p = x + 3UL * atoms_[to];
    const double* q = x + 3UL * atoms_[from];
    return Vector{p[0] - q[0], p[1] - q[1], p[2] - q[2]};
  };
  const auto dot = [](const Vector& a, const Vector& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
  };
  const auto cross = [](const Vector& a, const Vector& b) {
    return Vector{a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
  };
  const Vector axis = difference(2, 1);
  const Vector n = cross(difference(1, 0), axis);
  const Vector m = cross(axis, difference(3, 2));
  return std::atan2(std::sqrt(dot(axis, axis)) * dot(difference(1, 0), m), dot(n, m));
}

double SignedTorsionConstraint::operator()(const double* x) {
  return std::remainder(angle(x) - target_, 2.0 * std::numbers::pi);
}

double SignedTorsionConstraint::operator()(const double* x, double* grad) {
  slope_.Set_phi0(angle(x) - 1.0);
  slope_(x, grad);
  return (*this)(x);
}

}  // namespace Molpot
