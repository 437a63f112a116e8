// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cmath>
#include <numbers>
#include <vector>

#include "qzchem/qzchem.h"
#include "qzopt/qzopt.h"

namespace TestSupport {

/// A distance, angle or signed dihedral (2 to 4 atoms, by index; Å, radians).
inline double Internal(const double* x, const std::vector<unsigned int>& atoms) {
  struct Vector {
    double x, y, z;
    double Dot(const Vector& v) const { return x * v.x + y * v.y + z * v.z; }
    Vector Cross(const Vector& v) const {
      return {y * v.z - z * v.y, z * v.x - x * v.z, x * v.y - y * v.x};
    }
  };
  const auto bond = [&](std::size_t i) {
    const double* a = x + 3 * atoms[i];
    const double* b = x + 3 * atoms[i + 1];
    return Vector{b[0] - a[0], b[1] - a[1], b[2] - a[2]};
  };
  const Vector u = bond(0);
  if (atoms.size() == 2) return std::sqrt(u.Dot(u));
  const Vector v = bond(1);
  const Vector m = u.Cross(v);
  if (atoms.size() == 3) return std::numbers::pi - std::atan2(std::sqrt(m.Dot(m)), u.Dot(v));
  const Vector n = v.Cross(bond(2));
  return std::atan2(m.Cross(n).Dot(v) / std::sqrt(v.Dot(v)), m.Dot(n));
}

/// Adds dq/dx of an internal coordinate (the 3 components of each of its atoms in turn), by central
/// differences.
inline std::vector<double> InternalGradient(const double* x,
                                            const std::vector<unsigned int>& atoms) {
  constexpr double kStep = 1e-5;
  std::vector<double> local;
  std::vector<unsigned int> order;
  for (const unsigned int atom : atoms) {
    local.insert(local.end(), x + 3 * atom, x + 3 * atom + 3);
    order.push_back(static_cast<unsigned int>(order.size()));
  }
  std::vector<double> gradient(local.size());
  for (std::size_t i = 0; i < local.size(); ++i) {
    const double at = local[i];
    local[i] = at + kStep;
    const double up = Internal(local.data(), order);
    local[i] = at - kStep;
    const double down = Internal(local.data(), order);
    local[i] = at;
    gradient[i] = std::remainder(up - down, 2.0 * std::numbers::pi) / (2.0 * kStep);
  }
  return gradient;
}

/// A function with the model Hessian  sum of k ∇q ∇qᵀ  over the bonds, angles and dihedrals of a
/// molecule (Lindh et al., Chem. Phys. Lett. 241, 423 (1995), with one k a kind).
class InternalModelled : public virtual QZOpt::QZFunc1, public QZOpt::QZHessianModel {
 public:
  InternalModelled(QZOpt::QZFunc1& f, const QZChem::QZMolBase& mol) : f_(f) {
    for (auto& atom : QZSystem::QZRange(mol.GetAtoms())) walk(atom, {atom.GetIndex()});
  }
  unsigned int NumVar() const override { return f_.NumVar(); }
  double operator()(const double* x) override { return f_(x); }
  double operator()(const double* x, double* grad) override {
    ++evaluations;
    return f_(x, grad);
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override {
    return f_.GetFComponents(x);
  }
  bool AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) override {
    if (hide) return false;
    ++models;
    for (const auto& atoms : internals_) {
      if (isIllDefined(x, atoms)) continue;
      const double k = kForce[atoms.size() - 2];
      const std::vector<double> b = InternalGradient(x, atoms);
      for (unsigned int i = 0; i < b.size(); ++i) {
        for (unsigned int j = 0; j < b.size(); ++j) {
          const unsigned int row = 3 * atoms[i / 3] + i % 3;
          const unsigned int column = 3 * atoms[j / 3] + j % 3;
          if (column <= row) entries.push_back({row, column, k * b[i] * b[j]});
        }
      }
    }
    return true;
  }
  unsigned int evaluations = 0;
  unsigned int models = 0;
  bool hide = false;  // the model

 private:
  // kcal/mol/Å², kcal/mol/rad², kcal/mol/rad²
  static constexpr double kForce[3] = {700.0, 120.0, 5.0};

  // A dihedral through a nearly straight angle turns by large amounts for small moves.
  static bool isIllDefined(const double* x, const std::vector<unsigned int>& atoms) {
    constexpr double kStraight = 2.9;  // 166 degrees
    return atoms.size() == 4 && (Internal(x, {atoms[0], atoms[1], atoms[2]}) > kStraight ||
                                 Internal(x, {atoms[1], atoms[2], atoms[3]}) > kStraight);
  }
  void walk(const QZChem::QZAtomBase& at, std::vector<unsigned int> path) {
    for (auto& next : QZSystem::QZRange(at.GetNeighbours())) {
      const unsigned int index = next.GetIndex();
      if (path.size() > 1 && index == path[path.size() - 2]) continue;
      if (index == path.front()) continue;
      std::vector<unsigned int> longer = path;
      longer.push_back(index);
      if (index < path.front()) internals_.push_back(longer);
      if (longer.size() < 4) walk(next, std::move(longer));
    }
  }

  QZOpt::QZFunc1& f_;
  std::vector<std::vector<unsigned int>> internals_;
};

/// With a Hessian: the function's own, or by differences.
class InternalModelled2 : public InternalModelled, public QZOpt::QZFunc2 {
 public:
  InternalModelled2(QZOpt::QZFunc1& f, const QZChem::QZMolBase& mol)
      : InternalModelled(f, mol), own_(dynamic_cast<QZOpt::QZFunc2*>(&f)) {}
  using InternalModelled::operator();
  bool operator()(const double* x, double* hessian, double* grad) override {
    ++hessians;
    if (own_ != nullptr) return (*own_)(x, hessian, grad);
    QZOpt::NumericHessian(*this, x, hessian, 1e-4);
    evaluations -= 2 * NumVar();
    if (grad != nullptr) (*this)(x, grad);
    return true;
  }
  unsigned int hessians = 0;

 private:
  QZOpt::QZFunc2* own_;
};

}  // namespace TestSupport
