// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzplatform/export.h"

namespace QZOpt {

/// What an optimiser calls once per iteration. An answer of false asks the optimiser to stop.
class QZ_API QZCheckpoint0 {
 public:
  virtual bool operator()(unsigned int iteration,
                          unsigned int numVar,
                          double energy,
                          const double* x,
                          unsigned int state) = 0;
  virtual ~QZCheckpoint0();
};

/// A checkpoint that is also told the gradient. `x` and `grad` hold numVar doubles each and may be
/// null; `gradientNorm` is the root mean square of the gradient in the minimisers of this library.
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
