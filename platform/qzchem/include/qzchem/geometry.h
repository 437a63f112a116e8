// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzchem/mol.h"

namespace QZChem {

/// The distance of two atoms in Å at the molecule's coordinates.
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

/// Moves atoms so that the distance a-b becomes `distance` (Å). The smaller side of the bond moves
/// as a rigid body; when the bond is in a ring, `b` moves together with the groups that are
/// attached to the ring at `b` only. Fails: false, with nothing moved, when a and b are the same
/// atom, are at the same place or do not belong to `mol`, and for a value that is not finite and
/// positive.
QZ_API bool QZSetDistance(QZMolBase& mol, QZAtomBase* a, QZAtomBase* b, double distance);
/// Turns the side of `c` about `b` so that the angle a-b-c becomes `angle` (radians, 0 to pi). When
/// b-c is in a ring and a-b is not, the side of `a` turns instead; when both bonds are in rings,
/// `c` turns together with the groups that are attached at `c` only. A straight angle is bent about
/// some perpendicular axis. `coords` (3 x AtomIndexBound(), out, may be null) receives the
/// resulting coordinates. Fails as `QZSetDistance`, and for a value outside 0 to pi.
QZ_API bool QZSetAngle(
    QZMolBase& mol, QZAtomBase* a, QZAtomBase* b, QZAtomBase* c, double angle, double* coords);
/// Turns the side of `d` about b-c so that the dihedral a-b-c-d becomes `torsion` (radians). Fails
/// as `QZSetDistance`, and when b-c is in a ring or three consecutive atoms are in line.
QZ_API bool QZSetTorsion(
    QZMolBase& mol, QZAtomBase* a, QZAtomBase* b, QZAtomBase* c, QZAtomBase* d, double torsion);

/// The root mean square deviation of two sets of `numPoints` points (`a`, `b`: 3 doubles each, in).
/// With `superpose` it is the least deviation over rigid motions b' = R b + t of `b`, and
/// `rotation` (9 doubles, row-major, out, may be null) and `translation` (3 doubles, out, may be
/// null) receive that R and t; without it they receive the identity. Source: Horn, J. Opt. Soc. Am.
/// A 4, 629 (1987).
QZ_API double QZRMSD(const double* a,
                     const double* b,
                     unsigned int numPoints,
                     bool superpose,
                     double* rotation,
                     double* translation);
/// The root mean square deviation without superposition, each point weighed by its entry in
/// `weights` (numPoints doubles, in; null for equal weights).
QZ_API double QZRMSBetweenPoints(const double* a,
                                 const double* b,
                                 unsigned int numPoints,
                                 double* weights);

}  // namespace QZChem
