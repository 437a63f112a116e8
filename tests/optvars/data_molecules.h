// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

#include "qzchem/mol.h"

namespace TestOptVars {

/// Every molecule of data/.
std::vector<QZChem::QZGraphMol> DataMolecules();
QZChem::QZGraphMol DataMolecule(const char* name);

/// Largest deviation of two sets of coordinates after superposition, Å RMSD.
double Deviation(const std::vector<double>& a, const std::vector<double>& b);

}  // namespace TestOptVars
