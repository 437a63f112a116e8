// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/molfunc.h"

namespace QZMolPotential {

/// Offered, beside `QZMolFunc`, by functions that can tell whether moving the whole molecule as a
/// rigid body changes them. Sums and wrappers answer for what they hold.
class QZ_API QZFrameQuery {
 public:
  /// True only when the energy is known not to depend on overall translation and rotation.
  virtual bool IsFrameInvariant() const = 0;
  virtual ~QZFrameQuery();
};

/// The function's own answer; false for one that offers none.
QZ_API bool QZIsFrameInvariant(const QZMolFunc& func);

}  // namespace QZMolPotential
