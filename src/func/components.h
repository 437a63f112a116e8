// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

#include "qzopt/function.h"

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

}  // namespace QZMolPotential
