// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzplatform/export.h"

namespace QZMolPotential {

/// Offered, beside `QZMolFunc`, by functions of many terms that can leave out, for one run, those
/// that cannot change since none of their atoms moves.
class QZ_API QZFreezable {
 public:
  /// From now until the next call or `Setup`, terms whose atoms are all fixed are not computed.
  /// `fixed`: a flag for every atom index (AtomIndexBound() in all); null: every term again.
  /// Selections given with `Set` stay as they are. At the same coordinates, the energy before less
  /// that after is the constant that was left out. False, with nothing changed: not set up.
  /// What follows from the flags is kept until `Setup`: to go back and forth between the latest two
  /// answers, null among them, costs next to nothing and allocates nothing.
  virtual bool Freeze(const unsigned char* fixed) = 0;
  virtual ~QZFreezable() = default;

 protected:
  QZFreezable() = default;
  QZFreezable(const QZFreezable&) = default;
  QZFreezable& operator=(const QZFreezable&) = default;
};

}  // namespace QZMolPotential
