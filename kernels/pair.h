// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "kernels/mat3.h"

namespace QZMolPotential {

/// Two doubles that go through the same arithmetic together, in one vector register. The compiler's
/// own vector type, since Highway (simd.h) has none for the baseline of x86-64 and inline code
/// cannot be chosen at run time; as two plain doubles the dihedral's Hessian takes a tenth longer.
using Pair = double __attribute__((vector_size(16)));

inline BasicVec3<Pair> Both(const Vec3& first, const Vec3& second) {
  return {Pair{first.x, second.x}, Pair{first.y, second.y}, Pair{first.z, second.z}};
}
inline Vec3 First(const BasicVec3<Pair>& v) {
  return {v.x[0], v.y[0], v.z[0]};
}
inline Vec3 Second(const BasicVec3<Pair>& v) {
  return {v.x[1], v.y[1], v.z[1]};
}
inline Mat3 First(const BasicMat3<Pair>& m) {
  return {First(m.row0), First(m.row1), First(m.row2)};
}
inline Mat3 Second(const BasicMat3<Pair>& m) {
  return {Second(m.row0), Second(m.row1), Second(m.row2)};
}
inline Mat3 Sum(const BasicMat3<Pair>& m) {
  return First(m) + Second(m);
}

}  // namespace QZMolPotential
