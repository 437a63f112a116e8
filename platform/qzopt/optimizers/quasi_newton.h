// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "metric.h"
#include "run_state.h"

namespace QZOpt {

/// Quasi-Newton steps (Ceres) in the metric's variables until the run ends, or no step along the
/// gradient lowers the energy any more. `model` (may be null)
/// renews the metric every so often.
void RunQuasiNewton(RunState& state, Metric& metric, QZHessianModel* model);

}  // namespace QZOpt
