// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/molfunc.h"

namespace QZMolPotential {

/// Offered beside `QZMolFunc` by functions that can tell whether their energy changes when the
/// whole molecule moves as a rigid body. Sums and wrappers answer for their components.
class QZ_API QZFrameQuery {
 public:
  /// True only when the energy is known not to depend on overall translation and rotation.
  virtual bool IsFrameInvariant() const = 0;
  virtual ~QZFrameQuery();
};

/// The answer of `func` when it is a `QZFrameQuery`, otherwise false.
QZ_API bool QZIsFrameInvariant(const QZMolFunc& func);

}  // namespace QZMolPotential
