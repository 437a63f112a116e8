// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "molpotential/molpotential.h"
#include "qzchem/qzchem.h"
#include "run/task.h"

namespace Molpot {

/// Accompanies the minimisation of one record: keeps its trajectory, shows its progress, and ends
/// it on a signal.
class Watch final : public QZOpt::QZCheckpoint1 {
 public:
  Watch(const Task& task, const Outcome& outcome, const QZMolPotential::QZCoordinateFunc& function);
  bool operator()(unsigned int iteration,
                  unsigned int numVar,
                  double energy,
                  const double* x,
                  unsigned int state) override;
  bool operator()(unsigned int iteration,
                  unsigned int numVar,
                  double energy,
                  double gradientNorm,
                  const double* x,
                  const double* grad,
                  unsigned int state) override;
  /// Why it ended the run; empty when it did not.
  const std::string& Reason() const { return reason_; }
  /// SDF: one record an iteration, in Cartesian coordinates; empty when none is kept.
  std::string Trajectory();

 private:
  void writeFrame(unsigned int iteration, double energy, double gradientNorm, const double* x);
  void showProgress(unsigned int iteration, double energy, double gradientNorm) const;

  const Outcome& outcome_;
  const QZMolPotential::QZCoordinateFunc& function_;
  std::vector<double> coords_;
  std::string reason_;
  QZChem::QZGraphMol frame_;
  std::ostringstream text_;
  std::unique_ptr<QZChem::qzmolostream> stream_;
};

}  // namespace Molpot
