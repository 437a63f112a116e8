// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "constrained_run.h"
#include "qzopt/hints.h"

namespace QZOpt {
namespace {

constexpr int kMaxOuterIterations = 60;
// The penalty's curvature along a constraint beside that of the energy: the residual shrinks by
// about this factor in an outer iteration.
constexpr double kPenaltyRatio = 10.0;
constexpr double kPenaltyGrowth = 10.0;
constexpr double kLargestPenaltyGrowth = 1e6;
// A residual that shrinks less than this calls for a larger penalty.
constexpr double kSufficientShrinkage = 0.25;
// The inner minimiser's gradient tolerance, beside the gradient at the start and then beside the
// last one.
constexpr double kInnerTolerance = 0.1;
// Pulls are the same within this.
constexpr double kSamePull = 1e-6;
// Constraints of more variables than this stay out of the model: their part of it is dense.
constexpr std::size_t kMostModelled = 60;

// L(x) = E + sum of 1/2 mu_i d_i²,   d_i = what c_i + p_i / mu_i is beyond its bounds
// (Hestenes, J. Optim. Theory Appl. 4, 303 (1969); for bounds Rockafellar, J. Optim. Theory Appl.
// 12, 555 (1973); Nocedal and Wright, Numerical Optimization, 2nd ed., section 17.3). The new p_i
// is mu_i d_i, which is minus the multiplier at the solution.
class AugmentedFunction final : public QZFunc2, public QZHessianModel, public QZRestartable {
 public:
  AugmentedFunction(ConstrainedProblem& problem, ConstrainedRun& run)
      : problem_(problem),
        run_(run),
        model_(dynamic_cast<QZHessianModel*>(&problem.Func())),
        restartable_(dynamic_cast<QZRestartable*>(&problem.Func())),
        pulls_(problem.NumConstraints(), 0.0) {}

  /// Sets the penalties at the problem's latest point.
  void ChoosePenalties();

  unsigned int NumVar() const override { return static_cast<unsigned int>(problem_.NumVar()); }
  double operator()(const double* x) override {
    std::vector<double> unused(NumVar());
    return (*this)(x, unused.data());
  }
  double operator()(const double* x, double* grad) override;
  /// False where the function, or a constraint that acts, has no second derivatives.
  bool operator()(const double* x, double* hessian, double* grad) override;
  QZSystem::QZIterBase<QZFComponent>* GetFComponents(const double*) override {
    return QZSystem::QZMakeEmptyIter<QZFComponent>();
  }

  /// That of the energy, with the penalties that act.
  bool AppendModelHessian(const double* x, std::vector<QZMatrixEntry>& entries) override;

  bool Restart(double* x) override {
    if (restartable_ == nullptr || !restartable_->Restart(x)) return false;
    run_.Renew(x);
    return true;
  }
  bool IsRevisionDue(const double* x) override {
    return restartable_ != nullptr && restartable_->IsRevisionDue(x);
  }
  bool Revise(double* x, std::vector<QZCurvatureStep>& steps) override {
    if (restartable_ == nullptr || !restartable_->Revise(x, steps)) return false;
    run_.Renew(x);
    return true;
  }
  // The whole run falls back, not this function.
  QZFunc1* FallBack(const double*, std::vector<double>&) override { return nullptr; }
  const char* FallBackName() const override { return ""; }
  void ReturnFrom(const double*, double*) override {}

  // At the problem's latest point:
  /// Whether the pull that is taken differs from the last.
  bool TakePull(std::size_t i) {
    const double before = std::exchange(pulls_[i], pull(i));
    return std::abs(pulls_[i] - before) > kSamePull * std::abs(before);
  }
  void RaisePenalty(std::size_t i) { penalties_[i] *= kPenaltyGrowth; }

 private:
  double pull(std::size_t i) const {
    const double mu = penalties_[i];
    return mu * problem_.Constraint(i).Excess(problem_.Value(i) + pulls_[i] / mu);
  }

  ConstrainedProblem& problem_;
  ConstrainedRun& run_;
  QZHessianModel* model_;
  QZRestartable* restartable_;
  std::vector<double> pulls_;      // p_i
  std::vector<double> penalties_;  // mu_i
};

double AugmentedFunction::operator()(const double* x, double* grad) {
  if (!problem_.Evaluate(x)) {
    return problem_.Failed() ? std::numeric_limits<double>::quiet_NaN()
                             : std::numeric_limits<double>::infinity();
  }
  double value = problem_.Energy();
  for (std::size_t j = 0; j < problem_.NumVar(); ++j) grad[j] += problem_.Gradient()[j];
  for (std::size_t i = 0; i < pulls_.size(); ++i) {
    const double slope = pull(i);
    if (slope == 0.0) continue;
    value += 0.5 * slope * slope / penalties_[i];
    const std::vector<double>& row = problem_.Row(i);
    for (std::size_t j = 0; j < row.size(); ++j) grad[j] += slope * row[j];
  }
  return value;
}

// H + sum of (mu_i a_i ⊗ a_i + p_i ∇²c_i) over the constraints that pull.
bool AugmentedFunction::operator()(const double* x, double* hessian, double* grad) {
  auto* const func2 = dynamic_cast<QZFunc2*>(&problem_.Func());
  if (func2 == nullptr || !problem_.Evaluate(x)) return false;
  std::vector<double> sum(NumVar() * (NumVar() + std::size_t{1}) / 2, 0.0);
  if (!(*func2)(x, sum.data(), nullptr)) return false;
  for (std::size_t i = 0; i < pulls_.size(); ++i) {
    const double slope = pull(i);
    if (slope == 0.0) continue;
    const auto* const bent = dynamic_cast<QZConstrHessian*>(problem_.Constraint(i).func);
    if (bent == nullptr || !bent->AddHessian(x, slope, sum.data())) return false;
    const std::vector<double>& row = problem_.Row(i);
    double* next = sum.data();
    for (std::size_t r = 0; r < row.size(); ++r) {
      for (std::size_t c = 0; c <= r; ++c) *next++ += penalties_[i] * row[r] * row[c];
    }
  }
  for (std::size_t k = 0; k < sum.size(); ++k) hessian[k] += sum[k];
  if (grad != nullptr) (*this)(x, grad);
  return true;
}

std::vector<unsigned int> NonZeros(const std::vector<double>& row) {
  std::vector<unsigned int> places;
  for (unsigned int j = 0; j < row.size(); ++j) {
    if (row[j] != 0.0) places.push_back(j);
  }
  return places;
}

bool AugmentedFunction::AppendModelHessian(const double* x, std::vector<QZMatrixEntry>& entries) {
  if (model_ == nullptr || !model_->AppendModelHessian(x, entries)) return false;
  if (!problem_.Evaluate(x)) return true;
  for (std::size_t i = 0; i < pulls_.size(); ++i) {
    if (pull(i) == 0.0) continue;
    const std::vector<double>& row = problem_.Row(i);
    const std::vector<unsigned int> places = NonZeros(row);
    if (places.size() > kMostModelled) continue;
    for (const unsigned int r : places) {
      for (const unsigned int c : places) {
        if (c <= r) entries.push_back({r, c, penalties_[i] * row[r] * row[c]});
      }
    }
  }
  return true;
}

void AugmentedFunction::ChoosePenalties() {
  const std::size_t m = problem_.NumConstraints();
  std::vector<double> curvatures(m, 0.0);
  std::vector<QZMatrixEntry> entries;
  const std::vector<double> x = problem_.X();
  const bool modelled = model_ != nullptr && model_->AppendModelHessian(x.data(), entries);
  for (std::size_t i = 0; i < m; ++i) {
    const std::vector<double>& row = problem_.Row(i);
    double length2 = 0.0;
    for (const double entry : row) length2 += entry * entry;
    double curvature = 0.0;  // aᵀHa / aᵀa
    if (modelled && length2 > 0.0) {
      for (const QZMatrixEntry& e : entries) {
        curvature += (e.row == e.column ? 1.0 : 2.0) * e.value * row[e.row] * row[e.column];
      }
      curvature /= length2;
    } else if (length2 > 0.0) {
      curvature = std::abs(problem_.CurvatureAlong(i));
    }
    const double penalty = length2 > 0.0 ? kPenaltyRatio * curvature / length2 : 0.0;
    penalties_.push_back(std::isfinite(penalty) && penalty > 0.0 ? penalty : kPenaltyRatio);
  }
}

// The inner minimiser's iterations are the run's.
class InnerCheckpoint final : public QZCheckpoint1 {
 public:
  explicit InnerCheckpoint(ConstrainedRun& run) : run_(run) {}
  bool operator()(unsigned int, unsigned int, double, const double*, unsigned int) override {
    return true;
  }
  bool operator()(unsigned int,
                  unsigned int,
                  double,
                  double,
                  const double* x,
                  const double*,
                  unsigned int) override {
    return run_.Take(x);
  }

 private:
  ConstrainedRun& run_;
};

}  // namespace

void ConstrainedRun::SolveAugmented(const std::vector<double>& scales) {
  std::vector<double> x = start();
  if (!problem_.Evaluate(x.data())) {
    message_ = problem_.Failed() ? problem_.Failure() : "the energy is infinite at the start";
    return;
  }
  AugmentedFunction lagrangian(problem_, *this);
  lagrangian.ChoosePenalties();
  std::vector<double> growth(problem_.NumConstraints(), 1.0);
  std::vector<double> previous = problem_.Residuals();
  InnerCheckpoint inner(*this);
  QZOptOptions options;
  options.method = options_.method;
  // The run's own limits are counted by the problem.
  options.maxIterations = options.maxEvaluations = std::numeric_limits<unsigned int>::max();
  options.gradientTolerance =
      std::max(options_.gradientTolerance, kInnerTolerance * RootMeanSquare(problem_.Gradient()));
  for (int outer = 0; outer < kMaxOuterIterations; ++outer) {
    QZMinimizer minimizer(options);
    minimizer.SetScales(scales);
    const QZOptResult part = minimizer.Minimize(lagrangian, x.data(), &inner);
    restarts_ += part.restarts;
    revisions_ += part.revisions;
    method_ = part.method;
    if (Ended() || !problem_.Evaluate(x.data())) return;
    const std::vector<double> residuals = problem_.Residuals();
    bool stuck = true;  // nothing shrinks or changes, and no penalty can grow
    for (std::size_t i = 0; i < previous.size(); ++i) {
      const double c = std::abs(residuals[i]);
      const bool changes = lagrangian.TakePull(i);
      const bool isMet = c <= problem_.Constraint(i).tolerance;
      const bool shrinks = isMet || c <= kSufficientShrinkage * std::abs(previous[i]);
      if (!shrinks && growth[i] < kLargestPenaltyGrowth) {
        growth[i] *= kPenaltyGrowth;
        lagrangian.RaisePenalty(i);
        stuck = false;
      } else if (isMet ? changes : shrinks) {
        stuck = false;
      }
    }
    previous = residuals;
    if (stuck && options.gradientTolerance <= options_.gradientTolerance) return;
    options.gradientTolerance =
        std::max(options_.gradientTolerance, kInnerTolerance * options.gradientTolerance);
  }
}

}  // namespace QZOpt
