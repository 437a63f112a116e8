// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string_view>

namespace QZChem {

inline constexpr unsigned int kMaxAtomicNumber = 118;

/// The atomic number of a symbol in any case, D and T being hydrogen; 0 for anything else.
unsigned int AtomicNumberOf(std::string_view symbol);
/// 2 for D and 3 for T in any case, 0 for anything else.
unsigned int IsotopeOf(std::string_view symbol);
/// Å; the last tabulated value for elements beyond the table, 0 for a dummy atom.
double CovalentRadius(unsigned int atomicNumber);

}  // namespace QZChem
