// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "input/drive.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>
#include <utility>

#include "input/errors.h"
#include "input/words.h"
#include "output/console.h"

namespace Molpot {
namespace {

constexpr const char* kScan = "--scan";
constexpr double kMostPoints = 100000.0;

}  // namespace

Drive Drive::Parse(const std::string& argument) {
  std::vector<std::string> words = Words(argument);
  std::optional<AtomTuple> atoms = AtomTuple::TakeBefore(3, kScan, words);
  if (!atoms.has_value()) {
    throw UsageError(
        std::string(kScan) +
        ": \"i j [k [l]] from to step\" is needed, or a SMARTS with map numbers in place "
        "of the atoms");
  }
  const unsigned int numAtoms = atoms->Count();
  Drive drive(std::move(*atoms));
  const double from = TakeNumber(kScan, "first value", words);
  const double to = TakeNumber(kScan, "last value", words);
  const double step = TakeNumber(kScan, "step", words);
  ExpectEnd(kScan, words);
  if (numAtoms == 2 && !(from > 0.0)) {
    throw UsageError(std::string(kScan) + ": a distance must be positive");
  }
  if (numAtoms == 3 && !(from >= 0.0 && to <= 180.0)) {
    throw UsageError(std::string(kScan) + ": an angle is from 0 to 180 degrees");
  }
  drive.setTargets(kScan, from, to, step);
  return drive;
}

Drive Drive::Torsion(const std::string& atoms, double from, double to, double step) {
  std::vector<std::string> words = Words(atoms);
  Drive drive(AtomTuple("--torsion", 4, words));
  ExpectEnd("--torsion", words);
  drive.setTargets("--step", from, to, step);
  return drive;
}

void Drive::setTargets(const std::string& option, double from, double to, double step) {
  if (!(step > 0.0) || !(to >= from)) {
    throw UsageError(option + ": the step must be positive and the last value not below the first");
  }
  // A hair above the quotient, so that the last value itself is met despite rounding.
  const double count = std::floor((to - from) / step + 1e-9) + 1.0;
  if (!(count <= kMostPoints)) throw UsageError(option + ": more than 100,000 points");
  for (double k = 0.0; k < count; k += 1.0) targets_.push_back(from + k * step);
}

const char* Drive::Name() const {
  if (atoms_.Count() == 2) return "distance";
  return atoms_.Count() == 3 ? "angle" : "torsion";
}

double Drive::ToLibrary() const {
  return atoms_.Count() == 2 ? 1.0 : std::numbers::pi / 180.0;
}

std::vector<unsigned int> Drive::Resolve(const QZChem::QZMolBase& mol) const {
  const auto groups = atoms_.Resolve(mol);
  if (groups.size() > 1) {
    PrintMessage("\"" + AtomsText() + "\" matches " + std::to_string(groups.size()) +
                 " times, the first is scanned");
  }
  return groups.front();
}

}  // namespace Molpot
