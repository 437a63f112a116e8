// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "perception/cross.h"

#include <ForceField/MMFF/Nonbonded.h>
#include <ForceField/MMFF/Params.h>
#include <GraphMol/ForceFieldHelpers/MMFF/AtomTyper.h>

#include <cmath>

#include "perception/perception.h"

namespace QZMolPotential {
namespace {

namespace MMFF = ForceFields::MMFF;

/// MMFF94's types by row of a molecule's table.
std::vector<unsigned int> MmffTypes(const Perception& perception) {
  std::vector<unsigned int> types(perception.pairs.numTypes, 0);
  for (std::size_t i = 0; i < perception.pairs.NumAtoms(); ++i) {
    types[perception.pairs.types[i]] = perception.mmff->types[perception.pairs.atoms[i]];
  }
  return types;
}

PairParameters MmffPair(unsigned int first, unsigned int second) {
  const auto* const all = RDKit::MMFF::DefaultParameters::getMMFFVdW();
  const MMFF::MMFFVdW* const a = (*all)(first);
  const MMFF::MMFFVdW* const b = (*all)(second);
  if (a == nullptr || b == nullptr) return {1.0, 0.0};
  PairParameters pair;
  pair.distance = MMFF::Utils::calcUnscaledVdWMinimum(all, a, b);
  pair.depth = MMFF::Utils::calcUnscaledVdWWellDepth(pair.distance, a, b);
  MMFF::Utils::scaleVdWParams(pair.distance, pair.depth, all, a, b);
  return pair;
}

// UFF's pairs are geometric means of what two equal atoms have.
PairParameters UffPair(const PairParameters& first, const PairParameters& second) {
  return {std::sqrt(first.distance * second.distance), std::sqrt(first.depth * second.depth)};
}

}  // namespace

PairInput PairsBetween(const Perception& moving, const Perception& other, QZForceFieldKind kind) {
  const PairInput& a = moving.pairs;
  const PairInput& b = other.pairs;
  PairInput input;
  input.indexBound = a.indexBound + b.indexBound;
  input.atoms = a.atoms;
  for (const unsigned int atom : b.atoms) input.atoms.push_back(a.indexBound + atom);
  input.types = a.types;
  for (const std::uint16_t type : b.types) {
    input.types.push_back(static_cast<std::uint16_t>(a.numTypes + type));
  }
  input.charges = a.charges;
  input.charges.insert(input.charges.end(), b.charges.begin(), b.charges.end());
  input.mobile.assign(a.NumAtoms(), 1);
  input.mobile.resize(a.NumAtoms() + b.NumAtoms(), 0);
  input.withinMobile = false;
  input.potential = a.potential;

  const std::size_t n = a.numTypes + b.numTypes;
  input.numTypes = n;
  input.table.assign(n * n, {1.0, 0.0});
  const bool isUff = kind == QZForceFieldKind::UFF;
  const auto typesA = isUff ? std::vector<unsigned int>() : MmffTypes(moving);
  const auto typesB = isUff ? std::vector<unsigned int>() : MmffTypes(other);
  for (std::size_t i = 0; i < a.numTypes; ++i) {
    for (std::size_t j = 0; j < b.numTypes; ++j) {
      const PairParameters pair =
          isUff ? UffPair(a.table[i * a.numTypes + i], b.table[j * b.numTypes + j])
                : MmffPair(typesA[i], typesB[j]);
      input.table[i * n + a.numTypes + j] = input.table[(a.numTypes + j) * n + i] = pair;
    }
  }
  return input;
}

}  // namespace QZMolPotential
