// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "quasi_newton.h"

#include <ceres/gradient_problem.h>
#include <ceres/gradient_problem_solver.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "kernels/packed.h"

namespace QZOpt {
namespace {

// Without a model, up to this size every step of the history is kept, without scaling: the steps
// are those of dense BFGS from the unit matrix, for less (0.7 ms an iteration instead of 3.5 at 450
// variables, where Ceres' update of the dense matrix makes many passes over it). Beyond, a shorter
// history and scaling by an approximate eigenvalue.
constexpr std::size_t kLargestFullHistory = 1500;
constexpr int kFullHistory = 2000;
constexpr int kShortHistory = 300;
// Iterations between models. bench/README.md tells how the number was chosen.
constexpr unsigned int kModelLife = 20;
// A carried-over Hessian is a dense matrix: none beyond so many variables, and of so many steps.
constexpr std::size_t kLargestCarried = 1500;
constexpr std::size_t kMostCarriedSteps = 30;
// A step whose product with the change of the gradient is below this part of their lengths' tells
// nothing of a positive curvature.
constexpr double kLeastCurvature = 1e-8;
// Attempts from the best point with a fresh Hessian after the line search broke down.
constexpr int kMaxRestarts = 5;

// The latest evaluations: the point that a line search accepts is nearly always among them.
class RecentPoints {
 public:
  Point& Next() { return points_[next_++ % points_.size()]; }
  const Point* Find(const std::vector<double>& x) const {
    for (const Point& point : points_) {
      if (point.x == x) return &point;
    }
    return nullptr;
  }

 private:
  std::array<Point, 4> points_;
  std::size_t next_ = 0;
};

// The BFGS matrix (packed) that follows from the metric by the steps.
std::vector<double> UpdatedMatrix(const Metric& metric,
                                  std::size_t numVar,
                                  const std::vector<QZCurvatureStep>& steps) {
  const auto n = static_cast<Eigen::Index>(numVar);
  Eigen::MatrixXd b = Eigen::MatrixXd::Zero(n, n);
  metric.AddTo(1.0, b);
  b.triangularView<Eigen::StrictlyUpper>() = b.transpose();
  for (const QZCurvatureStep& step : steps) {
    const Eigen::Map<const Eigen::VectorXd> s(step.move.data(), n);
    const Eigen::Map<const Eigen::VectorXd> y(step.change.data(), n);
    const double product = s.dot(y);
    if (!(product > kLeastCurvature * s.norm() * y.norm())) continue;
    const Eigen::VectorXd bs = b * s;
    b.noalias() += y * (y.transpose() / product);
    b.noalias() -= bs * (bs.transpose() / s.dot(bs));
  }
  std::vector<double> packed;
  packed.reserve(QZMolPotential::PackedSize(numVar));
  for (Eigen::Index row = 0; row < n; ++row) {
    for (Eigen::Index column = 0; column <= row; ++column) packed.push_back(b(row, column));
  }
  return packed;
}

// The function that Ceres evaluates, and the callback after each of its iterations. Ceres sees
//   z = sqrt(s) y,   E' = s E,
// in which a Hessian equal to the metric is still the unit matrix. The factor s has two purposes.
// It sets the length of the first step, for which Ceres multiplies the gradient by at most 1 / max
// |dE'/dz|. And it makes small gradients large: Ceres ignores a step if the product of dz and the
// change of dE'/dz is below 1e-14.
class Search final : public ceres::IterationCallback {
 public:
  Search(RunState& state, Metric& metric, QZHessianModel* model)
      : state_(state),
        metric_(metric),
        model_(model),
        n_(state.Func().NumVar()),
        z_(n_),
        latestZ_(n_),
        x_(n_),
        gradY_(n_) {}

  void Run();
  bool Evaluate(const double* z, double* energy, double* grad);
  ceres::CallbackReturnType operator()(const ceres::IterationSummary& summary) override;

 private:
  void solve();
  void setOrigin();
  bool takeModel() { return metric_.TakeModel(model_, state_.Current().x.data()); }
  bool revise();
  bool keepsSteps() const { return state_.IsRevisable() && n_ <= kLargestCarried; }
  void keepStep(const Point& from);
  void toX(const double* z);
  const Point* pointAt(const std::vector<double>& x);
  double fineEnergy(const Point& point) const;

  RunState& state_;
  Metric& metric_;
  QZHessianModel* model_;
  std::size_t n_;
  std::vector<double> z_;
  std::vector<double> latestZ_;  // whose point x_ is
  std::vector<double> x_;
  std::vector<double> gradY_;
  RecentPoints recent_;
  Point origin_;
  bool fine_ = false;         // energies differ by rounding alone
  double fineBase_ = 0.0;     // the fine energy of the latest iterate
  double energyScale_ = 1.0;  // s
  double lengthScale_ = 1.0;  // sqrt(s)
  bool hasModel_ = false;
  unsigned int modelAge_ = 0;
  bool modelDue_ = false;
  bool revisionDue_ = false;
  std::vector<QZCurvatureStep> steps_;  // the latest, where they may be wanted
};

class CeresFunction final : public ceres::FirstOrderFunction {
 public:
  CeresFunction(Search& search, std::size_t n) : search_(search), n_(static_cast<int>(n)) {}
  bool Evaluate(const double* z, double* energy, double* grad) const override {
    return search_.Evaluate(z, energy, grad);
  }
  int NumParameters() const override { return n_; }

 private:
  Search& search_;
  int n_;
};

// Ceres often asks again for the z of its latest evaluation; x_ is then still right.
void Search::toX(const double* z) {
  if (std::equal(latestZ_.begin(), latestZ_.end(), z)) return;
  std::copy_n(z, n_, latestZ_.begin());
  for (std::size_t i = 0; i < n_; ++i) gradY_[i] = z[i] / lengthScale_;
  metric_.StepFrom(gradY_.data(), x_.data());
  for (std::size_t i = 0; i < n_; ++i) x_[i] += origin_.x[i];
}

// The point at `x`, evaluated unless it is known; null when it cannot be.
const Point* Search::pointAt(const std::vector<double>& x) {
  if (x == origin_.x) return &origin_;
  if (const Point* known = recent_.Find(x)) return known;
  Point& point = recent_.Next();
  point.x.clear();  // no point until it is evaluated
  point.grad.resize(n_);
  if (!state_.Func().Evaluate(x.data(), &point.energy, point.grad.data())) return nullptr;
  point.x = x;
  return &point;
}

// Close to a minimum the rounding of the energy is larger than the gain of a step. The energy is
// then replaced by the trapezoidal rule from the iterate k to a point of its line search,
//   E(x) = E_k + 1/2 (g_k + g)·(x - x_k),
// which differs from the energy in the third order of the step and has a far smaller rounding
// error.
double Search::fineEnergy(const Point& point) const {
  const Point& from = state_.Current();
  double sum = 0.0;
  for (std::size_t i = 0; i < n_; ++i) {
    sum += (from.grad[i] + point.grad[i]) * (point.x[i] - from.x[i]);
  }
  return fineBase_ + 0.5 * sum;
}

bool Search::Evaluate(const double* z, double* energy, double* grad) {
  toX(z);
  // A step that rounding leaves at the iterate it starts from is too short to tell anything by.
  if (x_ == state_.Current().x && !std::equal(z_.begin(), z_.end(), z)) return false;
  const Point* point = pointAt(x_);
  if (point == nullptr) return false;
  const double gain = origin_.energy - point->energy;
  if (fine_ && gain < 0.0 && !state_.IsWithinRounding(gain)) return false;
  *energy = energyScale_ * (fine_ ? fineEnergy(*point) : point->energy);
  if (grad != nullptr) {
    metric_.GradientOverY(point->grad.data(), grad);
    for (std::size_t i = 0; i < n_; ++i) grad[i] *= lengthScale_;
  }
  return true;
}

ceres::CallbackReturnType Search::operator()(const ceres::IterationSummary& summary) {
  if (summary.iteration == 0) return ceres::SOLVER_CONTINUE;  // the origin is an iterate already
  toX(z_.data());
  const Point* point = pointAt(x_);
  if (point == nullptr) return ceres::SOLVER_ABORT;
  if (fine_) fineBase_ = fineEnergy(*point);
  Point before;
  if (keepsSteps()) before = state_.Current();
  if (!state_.Iterate(*point)) return ceres::SOLVER_TERMINATE_SUCCESSFULLY;
  ++modelAge_;
  modelDue_ = hasModel_ && modelAge_ >= kModelLife;
  if (keepsSteps()) keepStep(before);
  revisionDue_ = state_.IsRevisionDue();
  return modelDue_ || revisionDue_ ? ceres::SOLVER_TERMINATE_SUCCESSFULLY : ceres::SOLVER_CONTINUE;
}

void Search::keepStep(const Point& from) {
  if (steps_.size() == kMostCarriedSteps) steps_.erase(steps_.begin());
  const Point& to = state_.Current();
  QZCurvatureStep step{to.x, to.grad};
  for (std::size_t i = 0; i < n_; ++i) {
    step.move[i] -= from.x[i];
    step.change[i] -= from.grad[i];
  }
  steps_.push_back(std::move(step));
}

// Lets the function choose other variables at the current point, and converts what is known of the
// Hessian. False: the run ended.
bool Search::revise() {
  if (!state_.Revise(steps_)) return false;
  recent_ = {};
  hasModel_ = takeModel();
  if (!hasModel_) metric_.DropMatrix();
  if (!steps_.empty()) metric_.TakeMatrix(UpdatedMatrix(metric_, n_, steps_));
  return true;
}

// Sets z = 0 at the current point, and s there: the first step of the run changes no variable by
// more than its scale, later ones are the metric's own.
void Search::setOrigin() {
  origin_ = state_.Current();
  std::ranges::fill(z_, 0.0);
  std::ranges::fill(latestZ_, std::numeric_limits<double>::quiet_NaN());
  energyScale_ = lengthScale_ = 1.0;
  fineBase_ = 0.0;
  metric_.GradientOverY(origin_.grad.data(), gradY_.data());
  double largest = 0.0;
  for (const double g : gradY_) largest = std::max(largest, std::abs(g));
  metric_.StepFrom(gradY_.data(), x_.data());
  double step = 1.0;
  for (std::size_t i = 0; i < n_; ++i) {
    if (std::abs(x_[i]) * step > metric_.Scale(i)) step = metric_.Scale(i) / std::abs(x_[i]);
  }
  if (largest > 0.0) lengthScale_ = 1.0 / (step * largest);
  energyScale_ = lengthScale_ * lengthScale_;
}

void Search::solve() {
  ceres::GradientProblemSolver::Options options;
  options.line_search_type = ceres::WOLFE;
  const bool small = n_ <= kLargestFullHistory;
  options.line_search_direction_type = ceres::LBFGS;
  options.max_lbfgs_rank = small ? kFullHistory : kShortHistory;
  if (hasModel_) options.max_lbfgs_rank = static_cast<int>(kModelLife);
  options.use_approximate_eigenvalue_bfgs_scaling = !small && metric_.IsDiagonal();
  options.function_tolerance = 0.0;
  options.gradient_tolerance = 0.0;
  options.parameter_tolerance = 0.0;
  options.max_num_iterations = std::numeric_limits<int>::max();
  options.max_solver_time_in_seconds = std::numeric_limits<double>::max();
  options.logging_type = ceres::SILENT;
  options.update_state_every_iteration = true;
  options.callbacks.push_back(this);
  ceres::GradientProblem problem(new CeresFunction(*this, n_));
  ceres::GradientProblemSolver::Summary summary;
  ceres::Solve(options, problem, z_.data(), &summary);
}

void Search::Run() {
  hasModel_ = takeModel();
  int attempt = 0;
  while (!state_.Ended()) {
    const unsigned int before = state_.Func().Limits().Iterations();
    modelDue_ = revisionDue_ = false;
    setOrigin();
    solve();
    if (state_.Ended() || state_.Func().Failed() || state_.Func().Stopped() != nullptr) return;
    if (revisionDue_) {
      if (!revise()) return;
      continue;
    }
    if (!modelDue_) {
      steps_.clear();
      // The line search broke down.
      const bool gained = state_.Func().Limits().Iterations() > before;
      if ((!gained && fine_) || attempt == kMaxRestarts) return;
      ++attempt;
      const double was = origin_.energy;
      state_.ReturnToBest();
      fine_ = fine_ || state_.IsWithinRounding(was - state_.Current().energy) || !gained;
      metric_.DropMatrix();
    }
    modelAge_ = 0;
    takeModel();
  }
}

}  // namespace

void RunQuasiNewton(RunState& state, Metric& metric, QZHessianModel* model) {
  Search(state, metric, model).Run();
}

}  // namespace QZOpt
