// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

#include "qzchem/mol.h"

namespace RDKit {
class RWMol;
}

namespace QZChem {

/// "" or what of a parsed record a molecule of ours cannot hold: queries, and bonds that are not
/// single, double, triple or aromatic.
std::string FaultOf(const RDKit::RWMol& parsed);

// RDKit's parsers, without perception, and writers: "" or the reason of failure.

std::string ParseMolBlock(const std::string& block, QZGraphMol& mol);
std::string ParseMol2Block(const std::string& block, QZGraphMol& mol);
std::string MakeMolBlock(const QZGraphMol& mol, bool v3000, std::string& block);
std::string MakeSmiles(const QZGraphMol& mol, std::string& smiles);

}  // namespace QZChem
