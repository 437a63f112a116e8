// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

#include "qzchem/mol.h"

namespace QZChem {

/// `QZMakeCoordinates` without a Warning: "" or why there are none, coordinates then unchanged.
std::string EmbedOne(QZGraphMol& mol);

}  // namespace QZChem
