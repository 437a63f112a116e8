// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <limits>
#include <string>
#include <vector>

#include "guarded_function.h"
#include "qzopt/checkpoint.h"
#include "qzopt/hints.h"

namespace QZOpt {

/// The state of a minimisation that all methods share: the latest iterate, the tests and the report
/// after each iteration, and how the run ended. Several methods may work on it one after the other:
/// each goes on from `Current()`, and returns without ending the run when it finds no further step.
class RunState {
 public:
  /// Nothing is owned. With `continues`, the start is known to the checkpoint already.
  RunState(GuardedFunction& func,
           const QZOptOptions& options,
           QZCheckpoint1* checkpoint,
           bool continues)
      : func_(func),
        options_(options),
        checkpoint_(checkpoint),
        continues_(continues),
        revisable_(dynamic_cast<QZRestartable*>(&func.Func())) {}

  GuardedFunction& Func() { return func_; }
  /// Evaluates the start and takes it as iteration 0, unless it cannot be evaluated.
  void Start(const double* x);
  /// Takes `point` as the next iterate. False: the run has ended.
  bool Iterate(Point point);
  bool IsRevisable() const { return revisable_ != nullptr; }
  /// Whether the function wants its variables chosen anew at the current point.
  bool IsRevisionDue() const {
    return revisable_ != nullptr && revisable_->IsRevisionDue(current_.x.data());
  }
  /// Lets the function choose other variables; `steps` as for `QZRestartable::Revise`. False: the
  /// run has ended. A function that changes nothing is not asked again.
  bool Revise(std::vector<QZCurvatureStep>& steps);
  unsigned int Revisions() const { return revisions_; }
  /// Goes back to the best point seen, if that is not the current one.
  void ReturnToBest();
  /// Ends the run with `message` because no step was found, or with the message of the function's
  /// failure or of the limit that was reached.
  void End(const std::string& message);
  /// Reports the end where `End` settled it, unless nothing was reported before.
  void ReportEnd();

  bool Ended() const { return ended_; }
  bool HasStarted() const { return !current_.x.empty(); }
  bool Converged() const { return converged_; }
  /// True when a limit, the checkpoint or the energy test stopped the run.
  bool WasStopped() const { return stopped_; }
  const Point& Current() const { return current_; }
  double GradientNorm() const { return gradientNorm_; }
  const std::string& Message() const { return message_; }
  /// Whether this change of the energy may be rounding alone.
  bool IsWithinRounding(double energyChange) const;

 private:
  bool judgeGradient();
  void judge();
  void reportIterate();
  bool report(unsigned int state);

  GuardedFunction& func_;
  const QZOptOptions& options_;
  QZCheckpoint1* checkpoint_;
  bool continues_;
  QZRestartable* revisable_;  // null: not, or no longer
  unsigned int revisions_ = 0;
  Point current_;
  double previousEnergy_ = std::numeric_limits<double>::infinity();
  double gradientNorm_ = std::numeric_limits<double>::quiet_NaN();
  bool ended_ = false;
  bool reported_ = false;  // the end
  bool stopped_ = false;
  bool converged_ = false;
  std::string message_;
};

}  // namespace QZOpt
