// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

#include "qzchem/mol.h"

namespace QZChem {

// RDKit's parsers, without perception, and writers: "" or the reason of failure.

std::string ParseMolBlock(const std::string& block, QZGraphMol& mol);
std::string ParseMol2Block(const std::string& block, QZGraphMol& mol);
std::string ParsePdbBlock(const std::string& block, QZGraphMol& mol);
std::string MakeMolBlock(const QZGraphMol& mol, bool v3000, std::string& block);
std::string MakePdbBlock(const QZGraphMol& mol, std::string& block);

}  // namespace QZChem
