// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

#include "qzchem/mol.h"

namespace QZChem {

/// A molecule with explicit hydrogens and without coordinates: "" or why there is none.
std::string ParseSmiles(const std::string& smiles, QZGraphMol& mol);

}  // namespace QZChem
