// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzplatform/export.h"

namespace QZMolPotential {

// Points and vectors are three doubles. Gradients run atom by atom, x, y, z within each; Hessians
// are the packed lower triangle over the same variables, element (r, c), c <= r, at r(r+1)/2 + c.
// Outputs are overwritten, may not be null and may not overlap the inputs. Nothing is allocated.

/// Second derivatives of the cosine of a valence angle A-B-C from u = A - B and v = C - B:
///   cos θ = u·v / (|u||v|).
/// `hessian`: 45 doubles, the packed 9 x 9 over A, B, C (1/Å²).
/// Returns u·v and not the cosine: callers form the cosine themselves and rely on it.
/// No guard against a vector of zero length.
QZ_API double secondCosDer(const double* u, const double* v, double* hessian);

/// Cosine of the dihedral P0-P1-P2-P3 with first and second derivatives from the bond vectors
/// a = P0 - P1, b = P2 - P1, c = P3 - P2:
///   cos φ = N·M / (|N||M|),  N = a x b,  M = c x b.
/// `grad`: 12 doubles (1/Å), four blocks that sum to zero; `hessian`: 78 doubles, the packed 12 x
/// 12 (1/Å²); both over P0 .. P3 and regular at φ = 0 and π. The sign of b matters: with -b only
/// the cosine and the blocks of P0 and P3 are still right. Returns cos φ, clamped to [-1, 1]. Atoms
/// in line (N or M zero) give entries that are not finite: callers avoid that case. Source: Blondel
/// and Karplus, J. Comput. Chem. 17, 1132 (1996).
QZ_API double secondCosDer(
    const double* a, const double* b, const double* c, double* grad, double* hessian);

/// Wilson angle of the bond b-d above the plane a-b-c, b the central atom (radians, [-π/2, π/2]):
///   θ = asin(n·e / (|n||e|)),  n = (a - b) x (c - b),  e = d - b.
/// Positive with d on the side of n. NaN when n or e is zero.
/// Source: Wilson, Decius and Cross, Molecular Vibrations, p. 58 (1955).
QZ_API double QZWilson(const double* a, const double* b, const double* c, const double* d);

/// The same with its gradient: 12 doubles over a, b, c, d (1/Å), the block of b minus the sum of
/// the others. Not finite at ±π/2: no guard.
QZ_API double QZdWilson_dx(
    double* grad, const double* a, const double* b, const double* c, const double* d);

/// The same with gradient and Hessian: 78 doubles, the packed 12 x 12 (1/Å²). Not finite at ±π/2.
QZ_API double QZd2Wilson_dx2(double* grad,
                             double* hessian,
                             const double* a,
                             const double* b,
                             const double* c,
                             const double* d);

/// True when the direction p3 - p1 lies outside the angular sector that p0 - p1 and p2 - p1 span at
/// p1 (all points: 3 doubles, in). p3 - p1 is projected onto the plane of the sector. It is outside
/// when its projection lies on the other side of p0 - p1 than p2 - p1 does, or makes a larger angle
/// with p0 - p1 than p2 - p1 does.
QZ_API bool isOutsideVectors(const double* p0,
                             const double* p1,
                             const double* p2,
                             const double* p3);

}  // namespace QZMolPotential
