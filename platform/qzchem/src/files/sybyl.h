// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

#include "qzchem/atom.h"

namespace QZChem {

/// The atom type of the MOL2 format, from bond orders, neighbours and aromaticity.
std::string SybylType(const QZAtomBase& atom);

}  // namespace QZChem
