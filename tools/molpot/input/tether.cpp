// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// Tethers: atoms near where a reference molecule has theirs.
#include <memory>

#include "constr/constr.h"
#include "input/errors.h"
#include "input/restraints.h"

namespace Molpot {

using QZChem::QZMolBase;

namespace {

constexpr double kStrength = 50.0;  // kcal/mol/Å²

// The molecule of a file, and how others lie on it.
class Reference {
 public:
  Reference(const std::string& path, const std::optional<std::string>& smarts, Parts& parts) {
    QZChem::qzmolistream stream(path.c_str());
    if (!stream || !QZChem::QZReadMolecule(stream, mol_)) {
      parts.Refuse(path + ": cannot be read" +
                   (stream.GetError().empty() ? "" : ": " + stream.GetError()));
    }
    if (!smarts.has_value()) return;
    pattern_ = ParseSmarts(parts.From().Label(), *smarts);
    QZConstr::QZPlaces places;
    std::string error;
    if (!QZConstr::QZFindPlaces(mol_, mol_, *pattern_, places, error)) {
      parts.Refuse("\"" + *smarts + "\" matches nothing in " + path);
    }
  }

  /// Throws RecordError.
  QZConstr::QZPlaces Places(const QZMolBase& mol) const {
    QZConstr::QZPlaces places;
    std::string error;
    if (!(pattern_ != nullptr ? QZConstr::QZFindPlaces(mol_, mol, *pattern_, places, error)
                              : QZConstr::QZFindPlaces(mol_, mol, "", places, error))) {
      throw RecordError(error);
    }
    return places;
  }

 private:
  QZChem::QZGraphMol mol_;
  std::shared_ptr<const QZChem::QZSubSearch> pattern_;  // null: the largest common substructure
};

}  // namespace

void Restraints::addTether(Parts& parts) {
  const std::string path = parts.File("reference");
  const auto reference =
      std::make_shared<const Reference>(path, parts.OptionalText("smarts"), parts);
  files_.push_back(path);
  const double width = parts.NonNegative("width", 0.0);
  const double k = parts.NonNegative("strength", kStrength);
  const double onset = parts.NonNegative("onset", 0.0);
  makers_.push_back([=, origin = parts.From()](const QZMolBase& named,
                                               const QZMolBase& mol,
                                               std::vector<HeldRestraint>& all) {
    QZConstr::QZPlaces pairing;
    try {
      pairing = reference->Places(named);
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
