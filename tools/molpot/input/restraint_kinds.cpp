// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "input/errors.h"
#include "input/restraints.h"

namespace Molpot {

const std::vector<RestraintKind>& RestraintKinds() {
  static const std::vector<RestraintKind> kinds = {
      {"restrain",
       "\"SELECTION [width [strength [onset]]]\": hold atoms, selected as for --freeze, near their "
       "start; width in Å (default 0), strength in kcal/mol/Å² (default 50); with an onset the "
       "curvature rises from 0 over so many Å beyond the width",
       false,
       &Restraints::addPositional},
      {"restrain-torsion",
       "\"i j k l degrees k [width [onset]]\": k (φ - φ0)², the angle with its sign, k in "
       "kcal/mol/rad²; nothing within width, onset as above, degrees. Atom numbers count from 1; "
       "here and below a SMARTS with map numbers 1, 2, ... may stand in their place",
       false,
       &Restraints::addTorsion},
      {"restrain-distance",
       "\"i j distance k\": k (r - r0)², Å and kcal/mol/Å²",
       false,
       &Restraints::addDistance},
      {"distance-band",
       "\"i j low high k [onset]\": k times the squared excess outside low to high, Å and "
       "kcal/mol/Å²",
       false,
       &Restraints::addDistanceBand},
      {"wall",
       "\"sphere x y z radius k [onset]\" or \"box x1 y1 z1 x2 y2 z2 k [onset]\": k times the "
       "squared excess beyond the wall, Å and kcal/mol/Å²",
       false,
       &Restraints::addWall},
      {"tether",
       "\"REFERENCE [SMARTS] [width [strength [onset]]]\": hold atoms near where the molecule of a "
       "file has them: those that a SMARTS matches, or the largest common substructure; numbers "
       "as for --restrain",
       false,
       &Restraints::addTether},
      {"expression",
       "\"FORMULA [; name = number ...]\": an energy in kcal/mol, such as "
       "\"k*(distance(1,2)-r0)^2; k "
       "= 10; r0 = 1.5\", of distance (Å), angle, dihedral (radians), x, y and z of atoms from 1",
       false,
       &Restraints::addExpression},
      {"hold-torsions",
       "k: every rotatable bond's torsion as it is, k (φ - φ0)², kcal/mol/rad²",
       false,
       &Restraints::addHeldTorsions},
      {"constrain-distance",
       "\"i j [value]\" or \"i j low high\": keep a distance at a value, or within a range, in Å "
       "(default: as it is)",
       true,
       &Restraints::addDistanceConstraint},
      {"constrain-angle",
       "\"i j k [degrees]\" or \"i j k low high\": keep an angle (default: as it is)",
       true,
       &Restraints::addAngleConstraint},
      {"constrain-torsion",
       "\"i j k l [degrees]\" or \"i j k l low high\": keep a torsion, with its sign (default: as "
       "it is)",
       true,
       &Restraints::addTorsionConstraint},
  };
  return kinds;
}

void Restraints::Add(const RestraintKind& kind, const std::string& argument) {
  WordParts parts(std::string("--") + kind.name, argument);
  (this->*kind.add)(parts);
  parts.End();
  origins_.push_back(parts.From());
}

namespace {

nlohmann::json Parse(const std::string& path) {
  std::ifstream file(path);
  if (!file || std::filesystem::is_directory(path)) {
    throw UsageError("--restraints: " + path + ": cannot be read");
  }
  try {
    return nlohmann::json::parse(file);
  } catch (const nlohmann::json::exception& error) {
    // Without the library's own number of the error.
    const std::string text = error.what();
    const std::size_t at = text.find("] ");
    throw UsageError("--restraints: " + path + ": " +
                     (at == std::string::npos ? text : text.substr(at + 2)));
  }
}

}  // namespace

void Restraints::AddFile(const std::string& path, bool constraints) {
  const nlohmann::json file = Parse(path);
  files_.push_back(path);
  const bool isObject = file.is_object() && file.contains("restraints");
  const nlohmann::json& entries = isObject ? file["restraints"] : file;
  if (!entries.is_array()) {
    throw UsageError("--restraints: " + path +
                     ": an array of restraints is needed, or an object with one as \"restraints\"");
  }
  const std::string folder = std::filesystem::path(path).parent_path().string();
  unsigned int number = 0;
  for (const nlohmann::json& entry : entries) {
    std::string name = path + ": entry " + std::to_string(++number);
    if (!entry.is_object()) throw UsageError(name + ": an object is needed");
    const std::string kindName = entry.contains("kind") && entry["kind"].is_string()
                                     ? entry["kind"].get<std::string>()
                                     : std::string();
    const auto& kinds = RestraintKinds();
    const auto kind = std::ranges::find(kinds, kindName, &RestraintKind::name);
    if (kind == kinds.end()) {
      std::string known;
      for (const RestraintKind& one : kinds) known.append(" ").append(one.name);
      throw UsageError(name.append(": \"kind\" must be one of").append(known));
    }
    name += " (" + kindName + ")";
    if (kind->isConstraint && !constraints) {
      throw UsageError(name + ": this command takes no constraints");
    }
    JsonParts parts(name, entry, folder);
    (this->*kind->add)(parts);
    parts.End();
    origins_.push_back(parts.From());
  }
}

}  // namespace Molpot
