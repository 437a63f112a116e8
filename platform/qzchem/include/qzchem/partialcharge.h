// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <optional>

#include "qzchem/atom.h"

namespace QZChem {

/// The partial charge (elementary charges) that was given to an atom; none where none was. MOL2
/// output holds partial charges when every atom has one, in place of formal charges. Copies and
/// subsets of molecules keep it.
QZ_API std::optional<double> QZGetPartialCharge(const QZAtomBase& atom);
QZ_API void QZSetPartialCharge(QZAtomBase& atom, double charge);

}  // namespace QZChem
