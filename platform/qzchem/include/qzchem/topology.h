// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzchem/mol.h"
#include "qzsystem/predicate.h"

namespace QZChem {

/// The symbol of an element, "*" for 0 and for numbers beyond the table.
QZ_API const char* QZGetAtomicSymbol(unsigned int atomicNumber);
/// The name of the tag under which rotor data of a molecule is stored.
QZ_API const char* QZRotorTag();

/// The atoms reachable from `root` without passing through `exclude`: `root` first, breadth first,
/// `exclude` not included. `flags` is reserved, pass 0. Owned by the caller.
QZ_API QZSystem::QZIterBase<QZAtomBase>* QZGetSubtree(const QZAtomBase* root,
                                                      const QZAtomBase* exclude,
                                                      unsigned int flags);
/// The side of `bond` with fewer atoms (the end atom's side on a tie), the bond's atom of that side
/// first; the other bond atom is not included. Owned by the caller.
QZ_API QZSystem::QZIterBase<QZAtomBase>* QZGetSmallestSubtree(const QZBondBase* bond,
                                                              unsigned int flags);
/// The same for the atoms that `pred` accepts: only these are counted to find the smaller side, and
/// only these are returned.
QZ_API QZSystem::QZIterBase<QZAtomBase>* QZGetSmallestSubtree(
    const QZBondBase* bond, const QZSystem::QZUnaryPredicate<QZAtomBase>& pred, unsigned int flags);

/// Numbers the connected components 1, 2, … in order of their first atom and returns their count;
/// `parts` takes AtomIndexBound() numbers, 0 in holes.
QZ_API unsigned int QZDetermineComponents(const QZMolBase& mol, unsigned int* parts);

/// Appends to `dst` the atoms of `src` that `pred` accepts, in index order, and the bonds between
/// them, with coordinates, charges and tagged data. `dst` takes the title of `src` when it has
/// none. `adjustHydrogens`: cut bonds are capped with hydrogens. `keepMapIndex`: false clears the
/// atom-map numbers of the copies. `atomMap` / `bondMap` (may be null): AtomIndexBound() /
/// BondIndexBound() pointers of `src`, the copy of each or null. Fails: false when no atom was
/// taken.
QZ_API bool QZSubsetMol(QZMolBase& dst,
                        const QZMolBase& src,
                        const QZSystem::QZUnaryPredicate<QZAtomBase>& pred,
                        bool adjustHydrogens,
                        bool keepMapIndex,
                        QZAtomBase** atomMap,
                        QZBondBase** bondMap);

}  // namespace QZChem
