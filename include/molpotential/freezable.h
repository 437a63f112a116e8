// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzplatform/export.h"

namespace QZMolPotential {

/// Offered beside `QZMolFunc` by functions of many terms that can leave out, for one run, the terms
/// whose atoms are all fixed and which therefore stay constant.
class QZ_API QZFreezable {
 public:
  /// Until the next call or `Setup`, terms whose atoms are all fixed are not computed. `fixed`: one
  /// flag for each atom index, AtomIndexBound() in all (in, not kept); null computes every term
  /// again. Selections that were given with `Set` stay in force. The constant that is left out is
  /// the energy before the call less the energy after it, at the same coordinates. False, with
  /// nothing changed, before `Setup`. The function remembers the two latest arguments, null
  /// included: alternating between them costs next to nothing and allocates nothing.
  virtual bool Freeze(const unsigned char* fixed) = 0;
  virtual ~QZFreezable() = default;

 protected:
  QZFreezable() = default;
  QZFreezable(const QZFreezable&) = default;
  QZFreezable& operator=(const QZFreezable&) = default;
};

}  // namespace QZMolPotential
