// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "input/internal_constraint.h"

#include <array>
#include <cmath>
#include <numbers>

#include "qzchem/qzchem.h"

namespace Molpot {
namespace {

using Vector = std::array<double, 3>;

// Below this, directions and planes are made of rounding errors.
constexpr double kSmallest = 1.0e-8;

double Dot(const Vector& a, const Vector& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

double Length(const Vector& a) {
  return std::sqrt(Dot(a, a));
}

Vector Cross(const Vector& a, const Vector& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

Vector Difference(const double* to, const double* from) {
  return {to[0] - from[0], to[1] - from[1], to[2] - from[2]};
}

void Add(double* grad, double factor, const Vector& v) {
  if (grad == nullptr) return;
  for (int k = 0; k < 3; ++k) grad[k] += factor * v[k];
}

// r = |b - a|;  ∂r/∂b = (b - a) / r.
double Distance(const double* a, const double* b, double* ga, double* gb) {
  const Vector u = Difference(b, a);
  const double r = Length(u);
  if (r < kSmallest) return r;
  Add(gb, 1.0 / r, u);
  Add(ga, -1.0 / r, u);
  return r;
}

// θ between u = a - b and v = c - b;  ∂θ/∂a = n × u / |u|²,  ∂θ/∂c = v × n / |v|²  with the unit
// vector n along v × u.
double Angle(
    const double* a, const double* b, const double* c, double* ga, double* gb, double* gc) {
  const Vector u = Difference(a, b);
  const Vector v = Difference(c, b);
  const Vector n = Cross(v, u);
  const double area = Length(n);
  const double theta = std::atan2(area, Dot(u, v));
  if (area < kSmallest) return theta;
  const double fu = 1.0 / (Dot(u, u) * area);
  const double fv = 1.0 / (Dot(v, v) * area);
  Add(ga, fu, Cross(n, u));
  Add(gb, -fu, Cross(n, u));
  Add(gc, fv, Cross(v, n));
  Add(gb, -fv, Cross(v, n));
  return theta;
}

// φ of a-b-c-d, IUPAC sign. Gradient: Blondel and Karplus, J. Comput. Chem. 17, 1132 (1996), with
// f = a - b, g = b - c, h = d - c, A = f × g, B = h × g.
double Dihedral(const std::array<const double*, 4>& p, const std::array<double*, 4>& grad) {
  const Vector f = Difference(p[0], p[1]);
  const Vector g = Difference(p[1], p[2]);
  const Vector h = Difference(p[3], p[2]);
  const Vector a = Cross(f, g);
  const Vector b = Cross(h, g);
  const double axis = Length(g);
  const double aa = Dot(a, a);
  const double bb = Dot(b, b);
  if (std::sqrt(aa) < kSmallest || std::sqrt(bb) < kSmallest) return 0.0;
  const double alongA = Dot(f, g) / (aa * axis);
  const double alongB = Dot(h, g) / (bb * axis);
  Add(grad[0], -axis / aa, a);
  Add(grad[1], axis / aa + alongA, a);
  Add(grad[1], -alongB, b);
  Add(grad[2], -alongA, a);
  Add(grad[2], alongB - axis / bb, b);
  Add(grad[3], axis / bb, b);
  return std::atan2(Dot(Cross(b, a), g) / axis, Dot(a, b));
}

}  // namespace

InternalConstraint::InternalConstraint(std::vector<unsigned int> atoms,
                                       std::optional<double> target)
    : atoms_(std::move(atoms)), given_(target) {}

bool InternalConstraint::Setup(const QZChem::QZMolBase& mol) {
  for (const unsigned int index : atoms_) {
    if (mol.GetAtom(index) == nullptr) return false;
  }
  std::vector<double> coords(std::size_t{3} * mol.AtomIndexBound());
  mol.GetCoords(coords.data());
  target_ = given_.value_or(Measure(coords.data()));
  return true;
}

double InternalConstraint::evaluate(const double* x, double* grad) const {
  std::array<const double*, 4> p{};
  std::array<double*, 4> g{};
  for (std::size_t k = 0; k < atoms_.size(); ++k) {
    p[k] = x + std::size_t{3} * atoms_[k];
    if (grad != nullptr) g[k] = grad + std::size_t{3} * atoms_[k];
  }
  if (atoms_.size() == 2) return Distance(p[0], p[1], g[0], g[1]);
  if (atoms_.size() == 3) return Angle(p[0], p[1], p[2], g[0], g[1], g[2]);
  return Dihedral(p, g);
}

double InternalConstraint::Measure(const double* x) const {
  return evaluate(x, nullptr);
}

double InternalConstraint::operator()(const double* x) {
  return (*this)(x, nullptr);
}

double InternalConstraint::operator()(const double* x, double* grad) {
  const double difference = evaluate(x, grad) - target_;
  return atoms_.size() == 4 ? std::remainder(difference, 2.0 * std::numbers::pi) : difference;
}

double MeasureInternal(const QZChem::QZMolBase& mol, const std::vector<unsigned int>& atoms) {
  std::vector<double> coords(std::size_t{3} * mol.AtomIndexBound());
  mol.GetCoords(coords.data());
  const double value = InternalConstraint(atoms, std::nullopt).Measure(coords.data());
  return atoms.size() == 2 ? value : value * 180.0 / std::numbers::pi;
}

}  // namespace Molpot
