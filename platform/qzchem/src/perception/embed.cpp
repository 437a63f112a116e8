// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <GraphMol/DistGeomHelpers/Embedder.h>
#include <GraphMol/PeriodicTable.h>
#include <GraphMol/RWMol.h>

#include <algorithm>
#include <exception>
#include <limits>
#include <vector>

#include "files/records.h"
#include "perception/embedding.h"
#include "perception/rdkit_bridge.h"
#include "perception/rdkit_log.h"
#include "perception/stereo.h"
#include "qzchem/conformers.h"
#include "qzchem/locale.h"
#include "qzchem/topology.h"
#include "qzsystem/error.h"

namespace QZChem {
namespace {

// Puts the connected parts of a conformer side by side along x, van der Waals surfaces touching at
// most: each was embedded about the origin.
void PlaceSideBySide(const std::vector<unsigned int>& parts,
                     const RDKit::RWMol& mol,
                     RDKit::Conformer& conformer) {
  const unsigned int count = std::ranges::max(parts);
  double next = 0.0;
  for (unsigned int part = 1; part <= count; ++part) {
    double low = std::numeric_limits<double>::max();
    double high = std::numeric_limits<double>::lowest();
    RDGeom::Point3D centre;
    double size = 0.0;
    const auto forEach = [&](auto visit) {
      for (unsigned int i = 0; i < parts.size(); ++i) {
        if (parts[i] == part) visit(i, conformer.getAtomPos(i));
      }
    };
    forEach([&](unsigned int i, const RDGeom::Point3D& place) {
      const double radius = RDKit::PeriodicTable::getTable()->getRvdw(
          static_cast<unsigned int>(mol.getAtomWithIdx(i)->getAtomicNum()));
      low = std::min(low, place.x - radius);
      high = std::max(high, place.x + radius);
      centre += place;
      size += 1.0;
    });
    centre /= size;
    const RDGeom::Point3D shift(next - low, -centre.y, -centre.z);
    forEach([&](unsigned int i, const RDGeom::Point3D& place) {
      conformer.setAtomPos(i, place + shift);
    });
    next += high - low;
  }
}

std::vector<double> CoordsOf(const QZGraphMol& mol,
                             const QZRDKitMol& converted,
                             const RDKit::Conformer& conformer) {
  std::vector<double> coords(3 * std::size_t{mol.AtomIndexBound()});
  for (unsigned int i = 0; i < converted.atomIndices.size(); ++i) {
    const RDGeom::Point3D& place = conformer.getAtomPos(i);
    double* xyz = &coords[std::size_t{3} * converted.atomIndices[i]];
    xyz[0] = place.x;
    xyz[1] = place.y;
    xyz[2] = place.z;
  }
  return coords;
}

// "" or why there are no conformers.
std::string Embed(const QZGraphMol& mol,
                  const QZConformerOptions& options,
                  std::vector<std::vector<double>>& conformers) {
  const QZClassicNumbers numbers;
  QZRDKitMol converted = QZToRDKit(mol, /*coordinates=*/true);
  if (!converted.error.empty()) return converted.error;
  if (mol.NumAtoms() == 0) return "the molecule has no atoms";
  try {
    const Stereo expected = AssignStereo(mol, *converted.mol);
    std::vector<unsigned int> byIndex(mol.AtomIndexBound());
    QZDetermineComponents(mol, byIndex.data());
    std::vector<unsigned int> parts;
    for (const unsigned int index : converted.atomIndices) parts.push_back(byIndex[index]);

    RDKit::DGeomHelpers::EmbedParameters parameters = RDKit::DGeomHelpers::ETKDGv3;
    parameters.randomSeed = static_cast<int>(options.seed);
    parameters.pruneRmsThresh = options.count > 1 ? options.rmsThreshold : -1.0;
    std::string change;
    for (const bool fromRandom : {false, true}) {
      parameters.useRandomCoords = fromRandom;
      RDKit::INT_VECT made;
      RDKit::DGeomHelpers::EmbedMultipleConfs(*converted.mol, made, options.count, parameters);
      for (const int id : made) {
        RDKit::Conformer& conformer = converted.mol->getConformer(id);
        PlaceSideBySide(parts, *converted.mol, conformer);
        const std::string found = FindChange(expected, *converted.mol, conformer);
        if (found.empty()) conformers.push_back(CoordsOf(mol, converted, conformer));
        if (!found.empty()) change = found;
      }
      if (!conformers.empty()) return "";
    }
    return change.empty() ? "no conformation satisfies its distances" : change;
  } catch (const std::exception& error) {
    return InUsersWords(error.what());
  }
}

}  // namespace

std::string EmbedOne(QZGraphMol& mol) {
  std::vector<std::vector<double>> conformers;
  if (std::string error = Embed(mol, {}, conformers); !error.empty()) {
    return "No coordinates can be made: " + error;
  }
  mol.SetCoords(conformers[0].data());
  SetDimension(mol, Dimension::Three);
  return "";
}

bool QZMakeCoordinates(QZGraphMol& mol) {
  const std::string error = EmbedOne(mol);
  if (error.empty()) return true;
  QZSystem::QZThrow.Warning("Molecule \"%s\": %s", mol.GetTitle(), error.c_str());
  return false;
}

bool QZMakeConformers(const QZGraphMol& mol,
                      const QZConformerOptions& options,
                      std::vector<std::vector<double>>& conformers) {
  conformers.clear();
  const std::string error = Embed(mol, options, conformers);
  if (error.empty()) return true;
  QZSystem::QZThrow.Warning(
      "Molecule \"%s\": no conformers can be made: %s", mol.GetTitle(), error.c_str());
  return false;
}

bool QZKeepLargestFragment(QZGraphMol& mol) {
  std::vector<unsigned int> parts(mol.AtomIndexBound());
  const unsigned int count = QZDetermineComponents(mol, parts.data());
  if (count < 2) return false;
  // By heavy atoms, then by all atoms; the first of equals.
  std::vector<std::pair<unsigned int, unsigned int>> sizes(count);
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    auto& [heavy, all] = sizes[parts[atom.GetIndex()] - 1];
    heavy += atom.GetAtomicNumber() != 1 ? 1 : 0;
    ++all;
  }
  const auto largest =
      static_cast<unsigned int>(std::ranges::max_element(sizes) - sizes.begin()) + 1;
  for (unsigned int i = 0; i < parts.size(); ++i) {
    if (parts[i] != 0 && parts[i] != largest) mol.DeleteAtom(mol.GetAtom(i));
  }
  mol.Sweep();
  return true;
}

}  // namespace QZChem
