// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzsystem/annotation.h"

#include <algorithm>

namespace QZSystem {

QZAnnotation QZAnnotateArrow(const char* title,
                             float* from,
                             float* to,
                             float shaftFraction,
                             float shaftRadius,
                             float headRadius,
                             float tipRadius) {
  QZAnnotation arrow;
  arrow.SetTitle(title);
  arrow.isArrow_ = true;
  std::copy_n(from, 3, arrow.from_.begin());
  std::copy_n(to, 3, arrow.to_.begin());
  arrow.shape_ = {shaftFraction, shaftRadius, headRadius, tipRadius};
  return arrow;
}

}  // namespace QZSystem
