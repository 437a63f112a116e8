// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/invariance.h"
#include "support/contract.h"

namespace TestSupport {

/// `ProbeFunc` and, with a strength other than 0, a field that draws every atom towards a point of
/// its own: E + strength Σ 0.5 |x_i - p_i|², p_i = (i mod 3, i mod 5, i mod 7) / 2. Says of itself
/// that it does not depend on the frame where there is no field. Evaluation allocates nothing.
class FieldedProbe final : public QZMolPotential::QZMolFunc2,
                           public QZMolPotential::QZFrameQuery,
                           public QZOpt::QZHessianModel {
 public:
  explicit FieldedProbe(double strength = 0.0) : strength_(strength) {}
  bool IsFrameInvariant() const override { return strength_ == 0.0; }
  bool Setup(const QZChem::QZMolBase& mol) override {
    length_ = 3 * mol.AtomIndexBound();
    return probe_.Setup(mol);
  }
  unsigned int NumVar() const override { return length_; }
  using QZMolFunc2::operator();
  double operator()(const double* x) override { return probe_(x) + field(x, nullptr); }
  double operator()(const double* x, double* grad) override {
    return probe_(x, grad) + field(x, grad);
  }
  bool operator()(const double* x, double* hessian, double* grad) override {
    field(x, grad);
    for (std::size_t i = 0; i < length_; ++i) hessian[i * (i + 3) / 2] += strength_;
    return probe_(x, hessian, grad);
  }
  bool AppendModelHessian(const double*, std::vector<QZOpt::QZMatrixEntry>& entries) override {
    for (unsigned int i = 0; i < length_; ++i) entries.push_back({i, i, 2.0 + i % 4});
    for (unsigned int i = 1; i < length_; ++i) entries.push_back({i, i - 1, 0.5});
    return true;
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override {
    return probe_.GetFComponents(x);
  }
  FieldedProbe* CreateCopy() const override { return new FieldedProbe(*this); }

 private:
  double field(const double* x, double* grad) const {
    double energy = 0.0;
    for (unsigned int i = 0; i < length_ && strength_ != 0.0; ++i) {
      const double off = x[i] - 0.5 * (i / 3 % (3 + 2 * (i % 3)));
      energy += 0.5 * strength_ * off * off;
      if (grad != nullptr) grad[i] += strength_ * off;
    }
    return energy;
  }
  ProbeFunc probe_;
  double strength_;
  unsigned int length_ = 0;
};

}  // namespace TestSupport
