// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "run/watch.h"

#include <limits>

#include "output/console.h"
#include "output/format.h"
#include "output/tables.h"
#include "run/interrupt.h"

namespace Molpot {

namespace {

constexpr double kStatusInterval = 1.0;  // seconds

}  // namespace

Watch::Watch(const Task& task,
             const Outcome& outcome,
             const QZMolPotential::QZCoordinateFunc& function)
    : outcome_(outcome), function_(function) {
  if (!task.keepTrajectory || task.normalModes) return;
  frame_ = outcome.mol;
  coords_.resize(std::size_t{3} * frame_.AtomIndexBound());
  stream_ = std::make_unique<QZChem::qzmolostream>(text_, QZChem::QZMolFormat::SDF);
}

bool Watch::operator()(unsigned int iteration,
                       unsigned int numVar,
                       double energy,
                       const double* x,
                       unsigned int state) {
  return (*this)(
      iteration, numVar, energy, std::numeric_limits<double>::quiet_NaN(), x, nullptr, state);
}

bool Watch::operator()(unsigned int iteration,
                       unsigned int /*numVar*/,
                       double energy,
                       double gradientNorm,
                       const double* x,
                       const double* /*grad*/,
                       unsigned int /*state*/) {
  if (stream_ != nullptr) writeFrame(iteration, energy, gradientNorm, x);
  showProgress(iteration, energy, gradientNorm);
  if (IsInterrupted()) reason_ = "interrupted";
  return reason_.empty();
}

std::string Watch::Trajectory() {
  if (stream_ != nullptr) stream_->Close();
  return text_.str();
}

void Watch::writeFrame(unsigned int iteration,
                       double energy,
                       double gradientNorm,
                       const double* x) {
  if (!function_.AdaptVar(coords_.data(), x)) return;
  frame_.SetCoords(coords_.data());
  frame_.SetEnergy(energy);
  QZChem::QZSetSDData(frame_, "Iteration", std::to_string(iteration));
  QZChem::QZSetSDData(frame_, "Energy", FullDigits(energy));
  QZChem::QZSetSDData(frame_, "Gnorm", FullDigits(gradientNorm));
  stream_->Write(frame_);
}

void Watch::showProgress(unsigned int iteration, double energy, double gradientNorm) const {
  if (outcome_.Age() < kStatusInterval || !IsStatusDue(kStatusInterval)) return;
  ShowStatus(RecordName(outcome_) +
             Format(": iteration %u, %.4f kcal/mol, RMS gradient %.1e, %.0f s",
                    iteration,
                    energy,
                    gradientNorm,
                    outcome_.Age()));
}

}  // namespace Molpot
