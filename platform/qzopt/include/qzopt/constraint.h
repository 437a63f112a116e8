// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzplatform/export.h"

namespace QZOpt {

/// An equality constraint c(x) = 0. The order of the virtual operations is part of the interface.
class QZ_API QZConstrFunc {
 public:
  virtual ~QZConstrFunc();
  virtual unsigned int NumVar() const = 0;
  /// c(x); a gradient is **added into** `grad`.
  virtual double operator()(const double* x, double* grad) = 0;
  virtual double operator()(const double* x) = 0;
};

}  // namespace QZOpt
