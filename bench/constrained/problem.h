// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <vector>

#include "qzopt/qzopt.h"

/// An internal coordinate held in [lower, upper].
struct Hold {
  std::vector<unsigned int> atoms;
  double lower;
  double upper;
};

/// A constrained minimisation with what is needed to judge where a solver stands: every solver is
/// stopped at the first point that meets the same test.
class Problem {
 public:
  static constexpr double kTolerance = 1e-6;  // of the constraints
  static constexpr double kGradient = 1e-4;   // of the projected gradient

  Problem(QZOpt::QZFunc1& energy, std::vector<double> start, std::vector<Hold> holds);

  std::size_t NumVar() const { return start_.size(); }
  std::size_t NumHolds() const { return holds_.size(); }
  const std::vector<double>& Start() const { return start_; }
  const Hold& GetHold(std::size_t i) const { return holds_[i]; }
  bool IsEquality(std::size_t i) const { return holds_[i].lower == holds_[i].upper; }

  /// Energy, gradient, values and rows at `x`; repeated for the same `x` it costs nothing.
  void Evaluate(const double* x);
  double Energy() const { return energyAt_; }
  const std::vector<double>& Gradient() const { return gradient_; }
  /// The coordinate less its target, or less its lower bound, continuous through ±180°.
  double Value(std::size_t i) const { return values_[i]; }
  const std::vector<double>& Row(std::size_t i) const { return rows_[i]; }
  /// The Hessian of  factor E + sum of weights_i c_i, packed, by differences of gradients for the
  /// constraints.
  void Hessian(const double* x, double factor, const double* weights, std::vector<double>& packed);

  /// Whether a solution has been met at an evaluation.
  bool IsSolved() const { return solved_; }
  unsigned int Evaluations() const { return evaluations_; }
  unsigned int Hessians() const { return hessians_; }
  void CountHessians(unsigned int more) { hessians_ += more; }
  double BestEnergy() const { return solvedEnergy_; }
  void Restart();

 private:
  void judge();

  QZOpt::QZFunc1& energy_;
  std::vector<double> start_;
  std::vector<Hold> holds_;
  std::vector<double> x_;
  double energyAt_ = 0.0;
  std::vector<double> gradient_;
  std::vector<double> values_;
  std::vector<std::vector<double>> rows_;
  bool solved_ = false;
  double solvedEnergy_ = 0.0;
  unsigned int evaluations_ = 0;
  unsigned int hessians_ = 0;
};

void SolveSlsqp(Problem& problem);
void SolveNloptAugmented(Problem& problem);
void SolveIpopt(Problem& problem, bool exactHessian);
