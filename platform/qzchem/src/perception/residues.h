// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "qzchem/mol.h"

namespace QZChem {

/// The atoms of each residue, in order of first appearance; atoms without a residue form one.
std::vector<std::vector<QZAtomBase*>> GroupByResidue(const QZMolBase& mol);

/// The atoms of each connected part.
std::vector<std::vector<QZAtomBase*>> GroupByComponent(const QZMolBase& mol);

/// True for the names of amino acids, nucleotides, water and common ions, whose chemistry is known.
bool IsStandardResidue(std::string_view name);
/// The same without water and ions: residues whose atoms are named by their place.
bool IsPolymerResidue(std::string_view name);

/// Sets bond orders and charges of a standard residue whose bonds are known: those usual in water
/// at pH 7 or, when the residue has hydrogens, those that agree with the hydrogens. False, with
/// nothing changed, when its name or one of its heavy atoms is not known. `note` receives a message
/// for users.
bool AssignStandardResidue(const std::vector<QZAtomBase*>& residue, std::string& note);

/// Marks the atoms of residues (in molecules without residues: of components) in which the bonds
/// leave a valence open: bonds that were found by distances have no orders. A residue with a
/// multiple bond was given orders and is not marked.
void MarkUnknownOrders(QZMolBase& mol);

}  // namespace QZChem
