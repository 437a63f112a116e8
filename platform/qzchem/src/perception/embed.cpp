// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <GraphMol/DistGeomHelpers/Embedder.h>
#include <GraphMol/MolOps.h>
#include <GraphMol/RWMol.h>

#include <exception>

#include "perception/drawing.h"
#include "qzchem/io.h"
#include "qzsystem/error.h"
#include "perception/rdkit_bridge.h"
#include "files/records.h"

namespace QZChem {

bool QZMakeCoordinates(QZGraphMol& mol) {
  constexpr int kSeed = 20260101;  // fixed, so that a run can be repeated
  QZRDKitMol converted = QZToRDKit(mol, true);
  if (!converted.error.empty()) {
    QZSystem::QZThrow.Warning("No coordinates can be made: %s", converted.error.c_str());
    return false;
  }
  try {
    switch (GetDimension(mol)) {
      case Dimension::Two:
        AssignDrawnStereo(mol, *converted.mol);
        break;
      case Dimension::Three:
        RDKit::MolOps::assignStereochemistryFrom3D(*converted.mol);
        break;
      case Dimension::Unknown:
        break;
    }
    RDKit::DGeomHelpers::EmbedParameters parameters = RDKit::DGeomHelpers::ETKDGv3;
    parameters.randomSeed = kSeed;
    int conformer = RDKit::DGeomHelpers::EmbedMolecule(*converted.mol, parameters);
    if (conformer < 0) {
      parameters.useRandomCoords = true;
      conformer = RDKit::DGeomHelpers::EmbedMolecule(*converted.mol, parameters);
    }
    if (conformer < 0) {
      QZSystem::QZThrow.Warning("No coordinates can be made for molecule %s", mol.GetTitle());
      return false;
    }
    const auto& positions = converted.mol->getConformer(conformer).getPositions();
    for (std::size_t i = 0; i < positions.size(); ++i) {
      const double xyz[3] = {positions[i].x, positions[i].y, positions[i].z};
      mol.SetCoords(mol.GetAtom(converted.atomIndices[i]), xyz);
    }
    SetDimension(mol, Dimension::Three);
    return true;
  } catch (const std::exception& error) {
    QZSystem::QZThrow.Warning("No coordinates can be made: %s", error.what());
    return false;
  }
}

}  // namespace QZChem
