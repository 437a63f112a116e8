// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

#include "molpotential/freezable.h"
#include "qzopt/function.h"
#include "qzopt/hints.h"

namespace QZMolPotential {

/// Appends the terms of `func` at `x`, values times `scale`; a null iterator counts as no terms.
inline void AppendComponents(std::vector<QZOpt::QZFComponent>& terms,
                             QZOpt::QZFunc0& func,
                             const double* x,
                             double scale = 1.0) {
  for (const auto& term : QZSystem::QZRange(func.GetFComponents(x))) {
    terms.emplace_back(term.GetName(), scale * term.GetValue());
  }
}

/// Appends the model Hessian of `func`; false when it has none.
inline bool AppendModel(QZOpt::QZFunc0& func,
                        const double* x,
                        std::vector<QZOpt::QZMatrixEntry>& entries) {
  auto* model = dynamic_cast<QZOpt::QZHessianModel*>(&func);
  return model != nullptr && model->AppendModelHessian(x, entries);
}

/// `QZFreezable::Freeze` of `func`; false when it is not freezable.
inline bool FreezeTerms(QZOpt::QZFunc0& func, const unsigned char* fixed) {
  auto* freezable = dynamic_cast<QZFreezable*>(&func);
  return freezable != nullptr && freezable->Freeze(fixed);
}

}  // namespace QZMolPotential
