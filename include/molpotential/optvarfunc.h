// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <vector>

#include "molpotential/rigid.h"
#include "molpotential/torsion.h"
#include "molpotential/zmatrix.h"
#include "qzopt/function.h"

namespace QZMolPotential {

class Evaluation;

/// A function f of Cartesian coordinates x in the variables v of an optimiser-variable adaptor, in
/// the form that minimisers take:
///   E(v) = f(x(v)),  ∂E/∂v from the adaptor's `FuncGradToOptGrad`
/// It passes the arrays of `FuncGradToOptGrad` in the order that each adaptor asks for. Function
/// and adaptor are not owned, must be set up on the same molecule and must outlive this object.
/// Copies refer to the same function and adaptor. A minimisation starts from the variables of
/// `FuncVarToOptVar`, or of `GetAdaptedVariables` for the rigid adaptor, whose gradient is the
/// derivative at the reference placement only. Evaluation allocates only when the number of
/// variables has grown since the last call.
class QZ_API QZOptVarFunc final : public QZOpt::QZFunc1 {
 public:
  QZOptVarFunc(QZOpt::QZFunc1& f, QZZmatAdaptor& a);
  QZOptVarFunc(QZOpt::QZFunc1& f, QZTorsionAdaptor& a);
  QZOptVarFunc(QZOpt::QZFunc1& f, QZRigidAdaptor& a);
  QZOptVarFunc(const QZOptVarFunc& other);
  QZOptVarFunc& operator=(const QZOptVarFunc&) = delete;
  ~QZOptVarFunc() override;

  /// The current `NumOptVar()` of the adaptor.
  unsigned int NumVar() const override { return adaptor_.NumOptVar(); }
  using QZOpt::QZFunc1::operator();
  double operator()(const double* x) override;
  /// `grad` (NumVar() doubles) is **added to**.
  double operator()(const double* x, double* grad) override;
  /// The components of the function at the coordinates of `x`; `x` may be null if the function
  /// accepts null.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;

 private:
  enum class Order { CoordsGradOut, GradOutCoords };

  QZOptVarFunc(QZOpt::QZFunc1& f, QZFixMolAdaptor1& a, Order order);
  Evaluation& work();

  QZOpt::QZFunc1& function_;
  QZFixMolAdaptor1& adaptor_;
  Order order_;
  std::vector<double> optGrad_;
  std::unique_ptr<Evaluation> work_;
};

}  // namespace QZMolPotential
