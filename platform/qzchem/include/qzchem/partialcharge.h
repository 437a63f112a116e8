// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <optional>

#include "qzchem/atom.h"

namespace QZChem {

/// The partial charge of an atom, in elementary charges; empty when none was set. When every atom
/// of a molecule has one, MOL2 output holds the partial charges in place of the formal ones. Copies
/// and subsets of molecules keep partial charges.
QZ_API std::optional<double> QZGetPartialCharge(const QZAtomBase& atom);
QZ_API void QZSetPartialCharge(QZAtomBase& atom, double charge);

}  // namespace QZChem
