// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <limits>
#include <utility>

#include "constr/tether.h"
#include "qzchem/commonsub.h"
#include "qzchem/geometry.h"
#include "qzchem/mol.h"
#include "qzchem/subsearch.h"

namespace QZConstr {
namespace {

constexpr unsigned int kMostSeconds = 30;
// Å RMS: a molecule that lies farther from the reference has not been placed on it.
constexpr double kFar = 3.0;

using Groups = std::vector<std::vector<unsigned int>>;

// All matches of a pattern in a molecule, each as atoms in the order of the pattern.
Groups Matches(const QZChem::QZSubSearch& search, const QZChem::QZMolBase& mol, bool unique) {
  Groups groups;
  for (const auto& match : QZSystem::QZRange(search.Match(mol, unique))) {
    auto& group = groups.emplace_back();
    for (const auto& pair : QZSystem::QZRange(match.GetPairs())) {
      group.push_back(pair.target->GetIndex());
    }
  }
  return groups;
}

std::vector<double> Positions(const QZChem::QZMolBase& mol,
                              const std::vector<unsigned int>& atoms) {
  std::vector<double> positions(3 * atoms.size());
  for (std::size_t k = 0; k < atoms.size(); ++k) {
    mol.GetCoords(mol.GetAtom(atoms[k]), &positions[3 * k]);
  }
  return positions;
}

// Finds the pair of matches with the lowest root mean square deviation and returns that deviation.
double Nearest(const QZChem::QZMolBase& reference,
               const QZChem::QZMolBase& mol,
               const Groups& there,
               const Groups& here,
               bool superpose,
               QZPlaces& places) {
  double lowest = std::numeric_limits<double>::infinity();
  for (const auto& target : there) {
    const std::vector<double> points = Positions(reference, target);
    for (const auto& group : here) {
      const std::vector<double> now = Positions(mol, group);
      const auto count = static_cast<unsigned int>(group.size());
      const double rmsd =
          QZChem::QZRMSD(points.data(), now.data(), count, superpose, nullptr, nullptr);
      if (!(rmsd < lowest)) continue;
      lowest = rmsd;
      places = {group, points};
    }
  }
  return lowest;
}

// `name`: what an error calls the pattern.
bool Find(const QZChem::QZMolBase& reference,
          const QZChem::QZMolBase& mol,
          const QZChem::QZSubSearch& pattern,
          const std::string& name,
          QZPlaces& places,
          std::string& error) {
  const Groups there = Matches(pattern, reference, /*unique=*/true);
  const Groups here = Matches(pattern, mol, /*unique=*/false);
  if (there.empty() || here.empty()) {
    error = name + " matches nothing in the " + (there.empty() ? "reference" : "molecule");
    return false;
  }
  QZPlaces found;
  if (Nearest(reference, mol, there, here, /*superpose=*/false, found) > kFar) {
    Nearest(reference, mol, there, here, /*superpose=*/true, found);
  }
  places = std::move(found);
  return true;
}

}  // namespace

bool QZFindPlaces(const QZChem::QZMolBase& reference,
                  const QZChem::QZMolBase& mol,
                  const std::string& smarts,
                  QZPlaces& places,
                  std::string& error) {
  const std::string pattern =
      smarts.empty() ? QZChem::QZFindCommonSubstructure(reference, mol, kMostSeconds, error)
                     : smarts;
  if (pattern.empty()) return false;
  QZChem::QZSubSearch search;
  if (!search.Init(pattern.c_str(), /*reorder=*/false)) {
    error = "the SMARTS \"" + pattern + "\" does not parse: " + search.GetError();
    return false;
  }
  return Find(reference, mol, search, "\"" + pattern + "\"", places, error);
}

bool QZFindPlaces(const QZChem::QZMolBase& reference,
                  const QZChem::QZMolBase& mol,
                  const QZChem::QZSubSearch& pattern,
                  QZPlaces& places,
                  std::string& error) {
  return Find(reference, mol, pattern, "the SMARTS", places, error);
}

}  // namespace QZConstr
