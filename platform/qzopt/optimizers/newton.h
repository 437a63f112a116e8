// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "metric.h"
#include "run_state.h"

namespace QZOpt {

/// Newton steps in a trust region of the metric until the run ends, no step lowers the energy any
/// more, or the function has no Hessian. `model` (may be null) renews the metric with the Hessian.
void RunNewton(RunState& state, Metric& metric, QZHessianModel* model);

}  // namespace QZOpt
