// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <span>

#include "qzopt/function.h"

namespace QZChem {
class QZMolBase;
}  // namespace QZChem

namespace QZConstr {

/// Atom indices of an internal coordinate.
template <std::size_t N>
using AtomIndices = std::array<unsigned int, N>;

/// True when the molecule has an atom for each of the indices, each atom counted once, so that a
/// repeated index is never found. Otherwise warns "<what> does not occur in molecule <title>".
bool Occurs(const QZChem::QZMolBase& mol, std::span<const unsigned int> indices, const char* what);

/// The one named term of a restraint, owned by the caller; 0 when `x` is null.
QZSystem::QZIterBase<QZOpt::QZFComponent>* MakeComponent(QZOpt::QZFunc0& func,
                                                         const char* name,
                                                         const double* x);

}  // namespace QZConstr
