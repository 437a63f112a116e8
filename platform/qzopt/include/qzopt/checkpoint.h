// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzplatform/export.h"

namespace QZOpt {

/// Called by an optimiser once per iteration. False asks the optimiser to stop.
class QZ_API QZCheckpoint0 {
 public:
  virtual bool operator()(unsigned int iteration,
                          unsigned int numVar,
                          double energy,
                          const double* x,
                          unsigned int state) = 0;
  virtual ~QZCheckpoint0();
};

/// The report with gradient: `x` and `grad` hold numVar doubles each and may be null.
class QZ_API QZCheckpoint1 : public virtual QZCheckpoint0 {
 public:
  using QZCheckpoint0::operator();
  virtual bool operator()(unsigned int iteration,
                          unsigned int numVar,
                          double energy,
                          double gradientNorm,
                          const double* x,
                          const double* grad,
                          unsigned int state) = 0;
};

}  // namespace QZOpt
