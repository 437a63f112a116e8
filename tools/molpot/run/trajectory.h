// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "molpotential/molpotential.h"
#include "run/coordinates.h"

namespace Molpot {

/// Writes every iteration in Cartesian coordinates, whatever the variables are.
class TrajectoryWriter final : public QZOpt::QZCheckpoint1 {
 public:
  TrajectoryWriter(Variables& variables, const QZChem::QZMolBase& mol)
      : variables_(variables), stream_(text_, QZChem::QZMolFormat::SDF), writer_(stream_, mol) {
    writer_.SetVerbose(false);
    writer_.SetWriteGrad(false);
  }
  /// The next run's iteration 0 is this one, and written already.
  void ContinueFrom(unsigned int iteration) { offset_ = iteration; }
  using QZOpt::QZCheckpoint1::operator();
  bool operator()(unsigned int iteration,
                  unsigned int /*numVar*/,
                  double energy,
                  const double* x,
                  unsigned int state) override {
    if (iteration == 0 && offset_ > 0) return true;
    const std::vector<double> coords = variables_.Cartesian(x);
    return writer_(iteration + offset_,
                   static_cast<unsigned int>(coords.size()),
                   energy,
                   coords.data(),
                   state);
  }
  bool operator()(unsigned int iteration,
                  unsigned int /*numVar*/,
                  double energy,
                  double gradientNorm,
                  const double* x,
                  const double* /*grad*/,
                  unsigned int state) override {
    if (iteration == 0 && offset_ > 0) return true;
    const std::vector<double> coords = variables_.Cartesian(x);
    return writer_(iteration + offset_,
                   static_cast<unsigned int>(coords.size()),
                   energy,
                   gradientNorm,
                   coords.data(),
                   nullptr,
                   state);
  }
  std::string Text() {
    stream_.Close();
    return text_.str();
  }

 private:
  Variables& variables_;
  unsigned int offset_ = 0;
  std::ostringstream text_;
  QZChem::qzmolostream stream_;
  QZMolPotential::QZMolCoordGradFileCP writer_;
};

}  // namespace Molpot
