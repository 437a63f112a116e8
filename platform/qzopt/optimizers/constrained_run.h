// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <limits>
#include <string>
#include <vector>

#include "constrained_problem.h"
#include "qzopt/optimizers.h"

namespace QZOpt {

/// One constrained minimisation: the test and report after each iteration, whatever the method,
/// and the best point so far. A method ends with an empty message when it can go no further.
class ConstrainedRun {
 public:
  /// With `continues`, the start is known to the checkpoint already.
  ConstrainedRun(ConstrainedProblem& problem,
                 const QZOptOptions& options,
                 QZCheckpoint1* checkpoint,
                 const double* x,
                 bool continues = false)
      : problem_(problem),
        options_(options),
        checkpoint_(checkpoint),
        x_(x, x + problem.NumVar()),
        continues_(continues) {}

  /// Augmented Lagrangian around the quasi-Newton minimiser from the best point.
  void SolveAugmented(const std::vector<double>& scales);
  bool Ended() const { return !message_.empty(); }
  /// Writes the message of a run that ended or got stuck, and copies the result into `x`.
  QZOptResult Finish(double* x);
  /// At the result; NaN where there is none.
  std::vector<double> Residuals() const { return orNan(best_.residuals); }
  std::vector<double> Multipliers() const { return orNan(best_.multipliers); }

  /// Takes `x` as the next iterate. False: the run ends there.
  bool Take(const double* x);
  /// To be called when the function has chosen other variables; `x` is the point reached in them.
  void Renew(const double* x);
  bool HasPoint() const { return !best_.residuals.empty(); }
  const std::vector<double>& Reached() const { return best_.x; }
  /// True when the run ended because no step could be found, not because it was stopped.
  bool IsStuck() const { return HasPoint() && !converged_ && !stopped_; }
  /// Why it ended.
  std::string Explain() const;
  unsigned int Restarts() const { return restarts_; }
  unsigned int Revisions() const { return revisions_; }

 private:
  struct Iterate {
    std::vector<double> x;
    std::vector<double> gradient;  // projected
    std::vector<double> residuals;
    std::vector<double> multipliers;
    double energy = std::numeric_limits<double>::quiet_NaN();
    double gradientNorm = std::numeric_limits<double>::quiet_NaN();
    double violation = std::numeric_limits<double>::infinity();
  };
  Iterate iterateHere();
  std::vector<double> orNan(const std::vector<double>& values) const;
  std::size_t worstConstraint(const std::vector<double>& residuals) const;
  double violation(const std::vector<double>& residuals) const;
  void judge(const Iterate& point);
  bool report(const Iterate& point, unsigned int state);
  bool improves(const Iterate& point) const;
  const std::vector<double>& start() const { return best_.x.empty() ? x_ : best_.x; }

  ConstrainedProblem& problem_;
  const QZOptOptions& options_;
  QZCheckpoint1* checkpoint_;
  std::vector<double> x_;  // the start
  bool continues_;
  Iterate best_;
  std::vector<double> latest_;
  double previousEnergy_ = std::numeric_limits<double>::infinity();
  bool started_ = false;
  bool converged_ = false;
  bool stopped_ = false;  // by a limit, the checkpoint, the energy test
  unsigned int restarts_ = 0;
  unsigned int revisions_ = 0;
  QZOptMethod method_ = QZOptMethod::QuasiNewton;
  bool reported_ = false;  // the end is known to the checkpoint
  std::string message_;
};

}  // namespace QZOpt
