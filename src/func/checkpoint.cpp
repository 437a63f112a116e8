// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/checkpoint.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>

#include "qzsystem/annotation.h"
#include "qzsystem/data.h"
#include "qzsystem/error.h"

namespace QZMolPotential {
namespace {

using QZSystem::QZThrow;

constexpr const char* kGradientTag = "visibility mimic";

std::string Exponential(double value) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.2e", value);
  return text.data();
}

QZSystem::QZAnnotation GradientArrow(const double* xyz,
                                     const double* grad,
                                     float tolerance,
                                     float scale) {
  std::array<float, 3> from{};
  std::array<float, 3> to{};
  bool withinTolerance = true;
  for (std::size_t k = 0; k < 3; ++k) {
    const auto component = static_cast<float>(-grad[k]);
    withinTolerance = withinTolerance && component >= -tolerance && component <= tolerance;
    from[k] = static_cast<float>(xyz[k]);
    to[k] = from[k] + scale * component;
  }
  QZSystem::QZAnnotation arrow =
      QZSystem::QZAnnotateArrow("grad", from.data(), to.data(), 0.9F, 0.04F, 0.08F, 0.01F);
  return arrow.SetColor(withinTolerance ? QZSystem::QZBlue : QZSystem::QZRed);
}

// True when an array that was reported with `numVar` variables has the three entries of atom
// `index`. A function of all atoms reports 3 x NumAtoms() variables, but its arrays are by atom
// index, holes included.
bool Covers(unsigned int numVar, std::size_t index, const QZChem::QZMolBase& mol) {
  return numVar == 3 * mol.NumAtoms() || 3 * index + 3 <= numVar;
}

}  // namespace

QZMolCoordGradFileCP::QZMolCoordGradFileCP(QZChem::qzmolostream& stream,
                                           const QZChem::QZMolBase& mol)
    : stream_(&stream), molecule_(mol) {}

QZMolCoordGradFileCP::~QZMolCoordGradFileCP() = default;

bool QZMolCoordGradFileCP::operator()(unsigned int iteration,
                                      unsigned int numVar,
                                      double energy,
                                      double gnorm,
                                      const double* coords,
                                      const double* grad,
                                      unsigned int state) {
  if (writeGrad_ && grad != nullptr) annotateGradient(grad, numVar);
  lastGnorm_ = gnorm;
  if (sdData_) QZChem::QZSetSDData(molecule_, "Gnorm", Exponential(gnorm));
  return (*this)(iteration, numVar, energy, coords, state);
}

bool QZMolCoordGradFileCP::operator()(unsigned int iteration,
                                      unsigned int numVar,
                                      double energy,
                                      const double* coords,
                                      unsigned int state) {
  const auto signedIteration = static_cast<int>(iteration);
  if (verbose_) printProgress(iteration, energy, state);
  if (sdData_) {
    QZChem::QZSetSDData(molecule_, "Iteration", std::to_string(signedIteration));
    QZChem::QZSetSDData(molecule_, "Energy", Exponential(energy));
  }
  if (numVar != 3 * molecule_.NumAtoms()) {
    QZThrow.Warning("Incompatible checkpoint use & checkpoint construction");
  }
  if (coords != nullptr) {
    for (const auto& atom : QZSystem::QZRange(molecule_.GetAtoms())) {
      const std::size_t index = atom.GetIndex();
      if (Covers(numVar, index, molecule_)) molecule_.SetCoords(&atom, coords + 3 * index);
    }
  }
  const double norm = lastGnorm_ == kNoNorm ? molecule_.GetEnergy() : lastGnorm_;
  lastGnorm_ = kNoNorm;
  std::array<char, 96> title{};
  // The width-2 conversion without decimals is part of the title that callers read.
  std::snprintf(title.data(), title.size(), "%d, %.2e, %2.e", signedIteration, energy, norm);
  molecule_.SetTitle(title.data());
  QZChem::QZWriteMolecule(*stream_, molecule_);
  return true;
}

void QZMolCoordGradFileCP::annotateGradient(const double* grad, unsigned int numVar) {
  molecule_.DeleteData(kGradientTag);
  QZSystem::QZAnnotation arrows;
  arrows.SetTitle("grads");
  for (const auto& atom : QZSystem::QZRange(molecule_.GetAtoms())) {
    const std::size_t index = atom.GetIndex();
    if ((atom.GetAtomicNumber() == 1 && !hydrogenGrad_) || !Covers(numVar, index, molecule_))
      continue;
    std::array<double, 3> xyz{};
    molecule_.GetCoords(&atom, xyz.data());
    arrows.AddChild(
        GradientArrow(xyz.data(), grad + 3 * index, gradTolerance_, gradToAngstromScale_));
  }
  molecule_.SetData(QZSystem::QZGetTag(kGradientTag), arrows);
}

void QZMolCoordGradFileCP::printProgress(unsigned int iteration,
                                         double energy,
                                         unsigned int state) {
  const auto signedIteration = static_cast<int>(iteration);
  const auto signedState = static_cast<int>(state);
  if (lastGnorm_ == kNoNorm) {
    if (headerPending_) QZThrow.Info("Iteration\tEnergy\tState");
    QZThrow.Info("%d\t%.2e\t%d", signedIteration, energy, signedState);
    return;
  }
  if (headerPending_) {
    headerPending_ = false;
    QZThrow.Info("Iteration  \tEnergy   \tGNorm   \tState");
    QZThrow.Info("========== \t=========\t========\t======");
  }
  QZThrow.Info("%9d\t%.2e\t%.2e\t%d", signedIteration, energy, lastGnorm_, signedState);
}

}  // namespace QZMolPotential
