// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "core.h"

namespace MolPotentialPython {

/// A class that Python code derives from mp.Function.
class UserFunction final : public Function {
 public:
  std::unique_ptr<QZMolPotential::QZMolFunc2> Make(const QZChem::QZGraphMol& mol) override;
  /// Adds to `grad` unless it is null.
  double EnergyAndGradient(const double* x, double* grad, std::size_t n);
  /// False where the class has none. The lower triangle is added to `packed`.
  bool Hessian(const double* x, double* packed, std::size_t n);
};

}  // namespace MolPotentialPython
