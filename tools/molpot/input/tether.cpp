// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// Tethers: atoms near where a reference molecule has theirs.
#include <limits>
#include <memory>

#include "constr/constr.h"
#include "input/errors.h"
#include "input/restraints.h"

namespace Molpot {

using QZChem::QZMolBase;

namespace {

constexpr double kStrength = 50.0;  // kcal/mol/Å²
constexpr unsigned int kMostSeconds = 30;
// Å RMS: a molecule that lies farther from the reference has not been placed on it.
constexpr double kFar = 3.0;

// The ways in which a pattern lies on a molecule, atoms in the pattern's order.
std::vector<AtomGroup> Matches(const QZChem::QZSubSearch& search,
                               const QZMolBase& mol,
                               bool unique) {
  std::vector<AtomGroup> groups;
  for (const auto& match : QZSystem::QZRange(search.Match(mol, unique))) {
    auto& group = groups.emplace_back();
    for (const auto& pair : QZSystem::QZRange(match.GetPairs())) {
      group.push_back(pair.target->GetIndex());
    }
  }
  return groups;
}

struct Pairing {
  AtomGroup atoms;
  std::vector<double> points;  // of the reference, three doubles an atom
};

class Reference {
 public:
  Reference(const std::string& path, std::optional<std::string> smarts, Parts& parts)
      : smarts_(std::move(smarts)) {
    QZChem::qzmolistream stream(path.c_str());
    if (!stream || !QZChem::QZReadMolecule(stream, mol_)) {
      parts.Refuse(path + ": cannot be read" +
                   (stream.GetError().empty() ? "" : ": " + stream.GetError()));
    }
    if (!smarts_.has_value()) return;
    std::string error;
    if (!init(*smarts_, search_, error)) parts.Refuse(error);
    if (Matches(search_, mol_, /*unique=*/true).empty()) {
      parts.Refuse("\"" + *smarts_ + "\" matches nothing in " + path);
    }
  }

  /// How atoms of `mol` correspond to places of the reference: of symmetric matches the nearest,
  /// or for a molecule that lies elsewhere the one that superposes best. Throws RecordError.
  Pairing Pair(const QZMolBase& mol) const {
    if (smarts_.has_value()) return pair(search_, mol);
    std::string error;
    const std::string common = QZChem::QZFindCommonSubstructure(mol_, mol, kMostSeconds, error);
    QZChem::QZSubSearch search;
    if (common.empty() || !init(common, search, error)) throw RecordError(error);
    return pair(search, mol);
  }

 private:
  static bool init(const std::string& smarts, QZChem::QZSubSearch& search, std::string& error) {
    if (search.Init(smarts.c_str(), /*reorder=*/false)) return true;
    error = "the SMARTS \"" + smarts + "\" does not parse: " + search.GetError();
    return false;
  }

  Pairing pair(const QZChem::QZSubSearch& search, const QZMolBase& mol) const {
    const std::vector<AtomGroup> groups = Matches(search, mol, /*unique=*/false);
    if (groups.empty()) throw RecordError("the SMARTS matches nothing");
    Pairing nearest = best(search, groups, mol, /*superpose=*/false);
    const auto count = static_cast<unsigned int>(nearest.atoms.size());
    const double rmsd = QZChem::QZRMSD(nearest.points.data(),
                                       Positions(mol, nearest.atoms).data(),
                                       count,
                                       /*superpose=*/false,
                                       nullptr,
                                       nullptr);
    return rmsd <= kFar ? nearest : best(search, groups, mol, /*superpose=*/true);
  }

  Pairing best(const QZChem::QZSubSearch& search,
               const std::vector<AtomGroup>& groups,
               const QZMolBase& mol,
               bool superpose) const {
    double lowest = std::numeric_limits<double>::infinity();
    Pairing result;
    for (const AtomGroup& there : Matches(search, mol_, /*unique=*/true)) {
      const std::vector<double> points = Positions(mol_, there);
      for (const AtomGroup& group : groups) {
        const double rmsd = QZChem::QZRMSD(points.data(),
                                           Positions(mol, group).data(),
                                           static_cast<unsigned int>(group.size()),
                                           superpose,
                                           nullptr,
                                           nullptr);
        if (!(rmsd < lowest)) continue;
        lowest = rmsd;
        result = {group, points};
      }
    }
    return result;
  }

  QZChem::QZGraphMol mol_;
  std::optional<std::string> smarts_;
  QZChem::QZSubSearch search_;
};

}  // namespace

void Restraints::addTether(Parts& parts) {
  const std::string path = parts.File("reference");
  std::optional<std::string> smarts = parts.OptionalText("smarts");
  const auto reference = std::make_shared<const Reference>(path, std::move(smarts), parts);
  files_.push_back(path);
  const double width = parts.NonNegative("width", 0.0);
  const double k = parts.NonNegative("strength", kStrength);
  const double onset = parts.NonNegative("onset", 0.0);
  makers_.push_back([=, origin = parts.From()](const QZMolBase& named,
                                               const QZMolBase& mol,
                                               std::vector<HeldRestraint>& all) {
    Pairing pairing;
    try {
      pairing = reference->Pair(named);
    } catch (const RecordError& error) {
      throw RecordError(origin.Label() + ": " + error.what());
    }
    auto function = std::make_unique<QZConstr::QZTetherRestraint>(k, width);
    function->SetOnset(onset);
    for (std::size_t n = 0; n < pairing.atoms.size(); ++n) {
      const double* p = &pairing.points[3 * n];
      function->AddTarget(pairing.atoms[n], p[0], p[1], p[2]);
    }
    HeldRestraint held =
        HoldPlaces(origin,
                   std::to_string(pairing.atoms.size()) + " atoms within " + Number(width) +
                       " Å of the reference: " + AtomNames(pairing.atoms),
                   pairing.atoms,
                   pairing.points,
                   width);
    held.function = std::move(function);
    SetUpAndKeep(std::move(held), mol, all);
  });
}

}  // namespace Molpot
