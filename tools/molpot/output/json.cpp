// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "output/json.h"

#include <nlohmann/json.hpp>

namespace Molpot {

namespace {

// What missed its target or bounds, and by how much.
nlohmann::ordered_json Violations(const Outcome& outcome) {
  auto list = nlohmann::ordered_json::array();
  for (const HeldReport& held : outcome.held) {
    if (!held.IsViolated()) continue;
    list.push_back({{"option", held.origin.option},
                    {"argument", held.origin.argument},
                    {"what", held.what},
                    {"reached", held.reached},
                    {"violation", held.beyond},
                    {"unit", held.PlainUnit()}});
  }
  return list;
}

// The variables, and what became of them where they follow the way.
void AddCoordinates(const Outcome& outcome, nlohmann::ordered_json& json) {
  json["coordinates"] = outcome.coordinates;
  json["variables"] = outcome.numVariables;
  json["restarts"] = outcome.optimizer.restarts;
  json["revisions"] = outcome.optimizer.revisions;
  json["fell_back"] = outcome.optimizer.fellBack;
  const auto& routes = outcome.backTransformations;
  if (routes.newton + routes.geodesic + routes.cartesian + routes.held == 0) return;
  json["back_transformations"] = {{"newton", routes.newton},
                                  {"geodesic", routes.geodesic},
                                  {"cartesian", routes.cartesian},
                                  {"held", routes.held}};
}

}  // namespace

std::string JsonLine(const Outcome& outcome, bool minimised) {
  nlohmann::ordered_json json;
  json["record"] = outcome.record;
  json["title"] = outcome.title;
  if (outcome.conformer > 0) json["conformer"] = outcome.conformer;
  if (!outcome.error.empty()) {
    json["error"] = outcome.error;
  } else {
    if (minimised) json["initial_energy"] = outcome.initialEnergy;
    json["energy"] = outcome.energy;
    json["components"] = nlohmann::ordered_json::array();
    for (const Component& component : outcome.components) {
      json["components"].push_back({{"name", component.name}, {"energy", component.energy}});
    }
    for (const Interaction& term : outcome.interactions) {
      json["interactions"].push_back(
          {{"name", term.name}, {"atoms", term.atoms}, {"energy", term.energy}});
    }
    if (minimised) {
      json["gradient_norm"] = outcome.optimizer.gradientNorm;
      json["iterations"] = outcome.optimizer.iterations;
      json["evaluations"] = outcome.optimizer.evaluations;
      for (const auto& [name, method] : MethodNames()) {
        if (method == outcome.optimizer.method) json["method"] = name;
      }
      AddCoordinates(outcome, json);
      json["converged"] = outcome.optimizer.converged;
      json["reason"] = outcome.reason;
    }
    if (!outcome.partialCharges.empty()) json["partial_charges"] = outcome.partialCharges;
    if (outcome.interactionEnergy.has_value()) {
      json["interaction_energy"] = *outcome.interactionEnergy;
    }
    if (outcome.strainEnergy.has_value()) json["strain_energy"] = *outcome.strainEnergy;
    if (outcome.modes.valid) {
      json["frequencies"] = outcome.modes.frequencies;
      json["imaginary"] = outcome.modes.numImaginary;
      json["zero_point_energy"] = outcome.modes.zeroPointEnergy;
      json["entropy"] = outcome.modes.entropy;
      json["free_energy"] = outcome.modes.freeEnergy;
    }
    for (const HeldReport& held : outcome.held) {
      json["restraints"].push_back({{"option", held.origin.option},
                                    {"argument", held.origin.argument},
                                    {"what", held.what},
                                    {"reached", held.reached},
                                    {"unit", held.unit},
                                    {"energy", held.energy}});
    }
    if (!outcome.held.empty()) json["violations"] = Violations(outcome);
  }
  if (!outcome.warnings.empty()) json["warnings"] = outcome.warnings;
  // Titles come from files and need not be UTF-8.
  return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace Molpot
