// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <vector>

#include "forcefields/host.h"
#include "forcefields/standard.h"
#include "perception/perception.h"

namespace QZMolPotential {

/// What functions in one host share. Immutable.
struct QZHostField::Data {
  QZChem::QZGraphMol mol;
  std::vector<double> coords;  // by atom index
  std::shared_ptr<const Perception> perception;
  QZStandardFF forceField;  // set up on `mol`; evaluated through copies only
};

/// Kept with a joined molecule: where its host atoms begin and which they are.
struct HostAtoms {
  unsigned int ligandBound = 0;
  std::vector<unsigned int> atoms;  // the host's indices
  /// The ligand that was joined, kept with its types and parameters.
  std::shared_ptr<const QZChem::QZGraphMol> ligand;
};
unsigned int HostAtomsTag();

/// The ligand of a joined molecule at its coordinates: the one that was joined, or where it has
/// been edited since a new one.
QZChem::QZGraphMol PerceivedLigandOf(const QZChem::QZMolBase& joined, const HostAtoms& atoms);

}  // namespace QZMolPotential
