// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

#include "qzchem/mol.h"

namespace QZChem {

/// A SMARTS of the largest connected substructure of heavy atoms that two molecules share, by
/// elements and bond orders, aromatic bonds being alike; rings are shared whole or not at all.
/// Charges do not count. Fails: "" with the reason in `error`, also when `seconds` do not suffice.
QZ_API std::string QZFindCommonSubstructure(const QZMolBase& a,
                                            const QZMolBase& b,
                                            unsigned int seconds,
                                            std::string& error);

}  // namespace QZChem
