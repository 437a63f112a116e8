// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzchem/mol.h"

namespace QZChem {

/// Distance in Å between two atoms at the molecule's coordinates.
QZ_API double QZGetDistance(const QZMolBase& mol, const QZAtomBase* a, const QZAtomBase* b);
/// The angle a-b-c in radians, 0 to pi.
QZ_API double QZGetAngle(const QZMolBase& mol,
                         const QZAtomBase* a,
                         const QZAtomBase* b,
                         const QZAtomBase* c);
/// The dihedral a-b-c-d in radians, -pi to pi, with the IUPAC sign: positive when, looking from b
/// to c, the bond c-d is turned clockwise from a-b.
QZ_API double QZGetTorsion(const QZMolBase& mol,
                           const QZAtomBase* a,
                           const QZAtomBase* b,
                           const QZAtomBase* c,
                           const QZAtomBase* d);

/// Moves atoms so that a-b takes `distance` (Å): the smaller side of the bond moves as a rigid
/// body; in a ring `b` moves with the groups that hang on it alone. Fails: false with nothing moved
/// for the same, coincident or unknown atoms and for a value that is not finite and positive.
QZ_API bool QZSetDistance(QZMolBase& mol, QZAtomBase* a, QZAtomBase* b, double distance);
/// Turns the side of `c` about `b` so that a-b-c takes `angle` (radians, 0 to pi); where b-c is in
/// a ring and a-b is not, the side of `a`; where both are, `c` with the groups that hang on it
/// alone. A straight angle bends about any perpendicular axis. `coords` (3 x AtomIndexBound(), may
/// be null) receives the resulting coordinates. Fails as `QZSetDistance`, and for a value outside 0
/// to pi.
QZ_API bool QZSetAngle(
    QZMolBase& mol, QZAtomBase* a, QZAtomBase* b, QZAtomBase* c, double angle, double* coords);
/// Turns the side of `d` about b-c so that the dihedral takes `torsion` (radians). Fails: false
/// with nothing moved also when b-c is in a ring or three of the atoms are in line.
QZ_API bool QZSetTorsion(
    QZMolBase& mol, QZAtomBase* a, QZAtomBase* b, QZAtomBase* c, QZAtomBase* d, double torsion);

/// Root mean square deviation in Å between two sets of `numPoints` points (3 doubles each).
/// `superpose`: the least one over rigid motions of `b`; `rotation` (9 doubles, row-major, may be
/// null) and `translation` (3, may be null) then receive the motion b' = R b + t that reaches it,
/// otherwise the identity. Source: Horn, J. Opt. Soc. Am. A 4, 629 (1987).
QZ_API double QZRMSD(const double* a,
                     const double* b,
                     unsigned int numPoints,
                     bool superpose,
                     double* rotation,
                     double* translation);
/// The same without superposition; `weights` (numPoints, may be null for ones) weigh the points.
QZ_API double QZRMSBetweenPoints(const double* a,
                                 const double* b,
                                 unsigned int numPoints,
                                 double* weights);

}  // namespace QZChem
