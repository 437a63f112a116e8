// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "run/vibrations.h"

#include <cmath>
#include <numbers>
#include <sstream>

#include "input/errors.h"
#include "output/format.h"
#include "qzchem/qzchem.h"
#include "run/coordinates.h"
#include "run/minimise.h"

namespace Molpot {
namespace {

// kcal/mol/Å: what four decimals of a minimum's coordinates leave of the gradient.
constexpr double kSmallGradient = 0.1;
constexpr int kFrames = 20;
// Å, of the atom that moves most.
constexpr double kAmplitude = 0.5;

std::string Animation(const QZChem::QZGraphMol& mol, const QZMolPotential::QZNormalModes& modes) {
  std::ostringstream text;
  QZChem::qzmolostream stream(text, QZChem::QZMolFormat::SDF);
  QZChem::QZGraphMol frame = mol;
  std::vector<double> rest(std::size_t{3} * mol.AtomIndexBound());
  mol.GetCoords(rest.data());
  for (std::size_t k = 0; k < modes.modes.size(); ++k) {
    const std::vector<double>& mode = modes.modes[k];
    double largest = 0.0;
    for (std::size_t i = 0; i + 2 < mode.size(); i += 3) {
      largest = std::max(largest, std::hypot(mode[i], mode[i + 1], mode[i + 2]));
    }
    QZChem::QZSetSDData(frame, "Mode", std::to_string(k + 1));
    QZChem::QZSetSDData(frame, "Frequency (cm-1)", FullDigits(modes.frequencies[k]));
    for (int phase = 0; phase < kFrames; ++phase) {
      const double step = kAmplitude / largest * std::sin(2.0 * std::numbers::pi * phase / kFrames);
      std::vector<double> coords = rest;
      for (std::size_t i = 0; i < coords.size(); ++i) coords[i] += step * mode[i];
      frame.SetCoords(coords.data());
      stream.Write(frame);
    }
  }
  stream.Close();
  return text.str();
}

}  // namespace

void AnalyseModes(const Task& task, Energy& energy, Outcome& outcome) {
  const auto kind = task.coordinates.value_or(QZMolPotential::QZCoordinates::Cartesian);
  const auto function =
      Present(energy.Function(), outcome.mol, kind, FrozenAtoms(task, outcome.Named()));
  std::vector<double> coords(std::size_t{3} * outcome.mol.AtomIndexBound());
  outcome.mol.GetCoords(coords.data());
  outcome.modes =
      QZMolPotential::QZComputeNormalModes(*function, outcome.mol, coords.data(), task.modes);
  if (!outcome.modes.valid) throw RecordError(outcome.modes.message);
  if (!task.minimise && outcome.modes.gradientNorm > kSmallGradient) {
    throw RecordError(
        Format("the RMS gradient is %.3g: frequencies mean nothing there, minimise "
               "first (without --as-is)",
               outcome.modes.gradientNorm));
  }
  if (task.keepTrajectory) outcome.trajectory = Animation(outcome.mol, outcome.modes);
}

}  // namespace Molpot
