// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <vector>

#include "molpotential/freezable.h"
#include "molpotential/invariance.h"
#include "qzopt/hints.h"

namespace QZMolPotential {

/// The sum of other functions of the same variables, in the order they were pushed:
///   E(x) = sum of member(x), gradient likewise; 0 without members.
/// The members are not owned: the caller sets them up and keeps them alive. All must have the same
/// number of variables; NumVar() is that of the first one and is not compared with the others.
/// Abstract: a derived class supplies `CreateCopy`.
/// **A member that reports fewer variables than it reads makes the arrays too short**: a
/// `QZDihedralQuadPenalty` reports 12 but writes by atom index. If a function of the whole molecule
/// is pushed first, the caller's arrays and those of this class are long enough. **The gradient
/// call overwrites `grad`** and `Setup` answers false without doing anything: callers rely on both.
/// Copies: share the members. Cost: every gradient call allocates an array of NumVar() doubles,
/// which is kept until the next one.
class QZ_API QZMolContainerFunc : public virtual QZMolFunc1,
                                  public QZFrameQuery,
                                  public QZFreezable,
                                  public QZOpt::QZHessianModel {
 public:
  QZMolContainerFunc() = default;
  QZMolContainerFunc(const QZMolContainerFunc& other);
  QZMolContainerFunc(QZMolContainerFunc&& other) noexcept;
  QZMolContainerFunc& operator=(const QZMolContainerFunc& other);
  QZMolContainerFunc& operator=(QZMolContainerFunc&& other) noexcept;
  ~QZMolContainerFunc() override = default;

  /// Appends `func` (not owned; null is ignored). The first push since construction or `clear`
  /// sets NumVar().
  void push(QZMolFunc1* func);
  /// Forgets the members; NumVar() stays until the next `push`.
  void clear();

  using QZMolFunc1::operator();
  unsigned int NumVar() const override { return numVar_; }
  double operator()(const double* x) override;
  /// Clears the NumVar() entries of `grad`, then adds each member's gradient.
  double operator()(const double* x, double* grad) override;
  /// The members' terms one after the other; a member without terms contributes nothing.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;
  /// False: the members are set up by the caller.
  bool Setup(const QZChem::QZMolBase& mol) override;
  /// True when every member says so.
  bool IsFrameInvariant() const override;
  /// Passes the flags to every member that is a `QZFreezable`; false when none accepted.
  bool Freeze(const unsigned char* fixed) override;
  /// The sum of the models of those members that have one; false when none has.
  bool AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) override;

 private:
  unsigned int numVar_ = 0;
  unsigned int pushCount_ = 0;
  std::vector<QZMolFunc1*> members_;
  std::unique_ptr<double[]> scratch_;
};

}  // namespace QZMolPotential
