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

/// Energy and gradient of a Cartesian function in the variables of an optimiser-variable adaptor:
/// what a minimiser takes. It knows the order in which each adaptor takes the arrays of its
/// gradient call.
///   E(v) = f(x(v)),  ∂E/∂v from the adaptor's `FuncGradToOptGrad`
/// Function and adaptor are not owned, must be set up on the same molecule and outlive this object.
/// Start from `FuncVarToOptVar` (or `GetAdaptedVariables` of the rigid adaptor, whose gradient is
/// the derivative at the reference placement only). Evaluation allocates only where the variables
/// have become more since the last call.
class QZ_API QZOptVarFunc final : public QZOpt::QZFunc1 {
 public:
  QZOptVarFunc(QZOpt::QZFunc1& f, QZZmatAdaptor& a);
  QZOptVarFunc(QZOpt::QZFunc1& f, QZTorsionAdaptor& a);
  QZOptVarFunc(QZOpt::QZFunc1& f, QZRigidAdaptor& a);
  QZOptVarFunc(const QZOptVarFunc& other);
  QZOptVarFunc& operator=(const QZOptVarFunc&) = delete;
  ~QZOptVarFunc() override;

  /// `NumOptVar()` of the adaptor, as it stands.
  unsigned int NumVar() const override { return adaptor_.NumOptVar(); }
  using QZOpt::QZFunc1::operator();
  double operator()(const double* x) override;
  /// `grad` (NumVar() doubles) is **added to**.
  double operator()(const double* x, double* grad) override;
  /// Those of the function, at the coordinates of `x`, or its own answer to null.
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
