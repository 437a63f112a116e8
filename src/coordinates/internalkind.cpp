// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/internalkind.h"

#include <algorithm>
#include <cmath>

namespace QZMolPotential {

namespace {

double forceConstant(QZInternalKind kind) {
  switch (kind) {
    case QZInternalKind::Bond:
      return 700.0;
    case QZInternalKind::Angle:
      return 150.0;
    case QZInternalKind::Dihedral:
      return 15.0;
  }
  return 1.0;
}

}  // namespace

std::vector<double> QZInternalScales(const std::vector<QZInternalKind>& kinds) {
  std::vector<double> scales(kinds.size());
  std::ranges::transform(kinds, scales.begin(), [](QZInternalKind kind) {
    return 1.0 / std::sqrt(forceConstant(kind));
  });
  return scales;
}

}  // namespace QZMolPotential
