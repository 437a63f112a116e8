// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <ceres/gradient_problem.h>
#include <ceres/gradient_problem_solver.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <limits>
#include <utility>
#include <vector>

#include "guarded_function.h"
#include "qzopt/optimizers.h"

namespace QZOpt {
namespace {

// Up to this size every step of the history is kept, without scaling: the steps are those of dense
// BFGS from the unit matrix, for less (0.7 ms an iteration instead of 3.5 at 450 variables, where
// Ceres' update of the dense matrix makes many passes over it). Beyond, a shorter history and
// scaling by an approximate eigenvalue.
constexpr std::size_t kLargestFullHistory = 1500;
constexpr int kFullHistory = 2000;
constexpr int kShortHistory = 300;
// Attempts from the best point with a fresh Hessian after the line search broke down.
constexpr int kMaxRestarts = 5;

struct Point {
  std::vector<double> x;
  std::vector<double> grad;
  double energy = std::numeric_limits<double>::infinity();
};

// The latest evaluations: the point that a line search accepts is nearly always among them.
class RecentPoints {
 public:
  void Add(const double* x, const double* grad, double energy, std::size_t n) {
    Point& slot = points_[next_++ % points_.size()];
    slot.x.assign(x, x + n);
    slot.grad.assign(grad, grad + n);
    slot.energy = energy;
  }
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

// One minimisation: what Ceres evaluates, and the test and report after each of its iterations.
class Run final : public ceres::IterationCallback {
 public:
  /// `scales`: one a variable.
  Run(GuardedFunction& func,
      const QZOptOptions& options,
      const std::vector<double>& scales,
      const double* x,
      QZCheckpoint1* checkpoint)
      : func_(func),
        options_(options),
        scales_(scales),
        x_(x, x + func.NumVar()),
        checkpoint_(checkpoint) {}

  QZOptResult Minimize();
  const std::vector<double>& X() const { return current_.x; }

  /// At scaled variables, with the gradient over those; `grad` may be null.
  bool Evaluate(const double* scaled, double* energy, double* grad);
  ceres::CallbackReturnType operator()(const ceres::IterationSummary& summary) override;

 private:
  void solve();
  void unscale(const double* scaled) {
    for (std::size_t i = 0; i < x_.size(); ++i) x_[i] = scales_[i] * scaled[i];
  }
  bool accept();
  void judge();
  void end(std::string message) {
    ended_ = true;
    message_ = std::move(message);
  }
  bool report(unsigned int state);
  void breakDown();
  QZOptResult result() const;

  GuardedFunction& func_;
  const QZOptOptions& options_;
  const std::vector<double>& scales_;
  std::vector<double> x_;
  std::vector<double> scaled_;  // x / scale, which Ceres updates
  QZCheckpoint1* checkpoint_;
  RecentPoints recent_;
  std::vector<double> scratchGrad_;
  Point current_;  // the latest accepted point
  double previousEnergy_ = std::numeric_limits<double>::infinity();
  double gradientNorm_ = std::numeric_limits<double>::quiet_NaN();
  unsigned int iterations_ = 0;
  bool started_ = false;
  bool ended_ = false;
  bool converged_ = false;
  std::string message_;
};

class CeresFunction final : public ceres::FirstOrderFunction {
 public:
  CeresFunction(Run& run, std::size_t n) : run_(run), n_(static_cast<int>(n)) {}
  bool Evaluate(const double* x, double* energy, double* grad) const override {
    return run_.Evaluate(x, energy, grad);
  }
  int NumParameters() const override { return n_; }

 private:
  Run& run_;
  int n_;
};

bool Run::Evaluate(const double* scaled, double* energy, double* grad) {
  const std::size_t n = func_.NumVar();
  scratchGrad_.resize(n);
  unscale(scaled);
  if (!func_.Evaluate(x_.data(), energy, scratchGrad_.data())) return false;
  recent_.Add(x_.data(), scratchGrad_.data(), *energy, n);
  if (grad != nullptr) {
    for (std::size_t i = 0; i < n; ++i) grad[i] = scales_[i] * scratchGrad_[i];
  }
  return true;
}

// Takes the solver's variables as the current point, with their gradient.
bool Run::accept() {
  unscale(scaled_.data());
  const Point* known = recent_.Find(x_);
  if (known != nullptr) {
    current_ = *known;
  } else {
    Point point;
    point.x = x_;
    point.grad.resize(x_.size());
    if (!func_.Evaluate(point.x.data(), &point.energy, point.grad.data())) return false;
    current_ = std::move(point);
  }
  gradientNorm_ = RootMeanSquare(current_.grad);
  return true;
}

// Decides whether the run ends at the current point.
void Run::judge() {
  if (gradientNorm_ <= options_.gradientTolerance) {
    converged_ = true;
    end("converged: the gradient is below the tolerance");
  } else if (iterations_ >= options_.maxIterations) {
    end("stopped: the iteration limit is reached");
  } else if (options_.energyTolerance > 0.0 &&
             std::abs(previousEnergy_ - current_.energy) < options_.energyTolerance) {
    end("stopped: the energy changes by less than the tolerance");
  }
}

bool Run::report(unsigned int state) {
  return checkpoint_ == nullptr || (*checkpoint_)(iterations_,
                                                  static_cast<unsigned int>(func_.NumVar()),
                                                  current_.energy,
                                                  gradientNorm_,
                                                  current_.x.data(),
                                                  current_.grad.data(),
                                                  state);
}

ceres::CallbackReturnType Run::operator()(const ceres::IterationSummary& summary) {
  // The start of a restart is the point that was reported last.
  if (summary.iteration == 0 && started_) return ceres::SOLVER_CONTINUE;
  started_ = true;
  if (summary.iteration > 0) ++iterations_;
  previousEnergy_ = current_.energy;
  if (!accept()) return ceres::SOLVER_ABORT;
  judge();
  if (!report(ended_ ? 1 : 0) && !ended_) end("stopped by the checkpoint");
  return ended_ ? ceres::SOLVER_TERMINATE_SUCCESSFULLY : ceres::SOLVER_CONTINUE;
}

void Run::solve() {
  ceres::GradientProblemSolver::Options options;
  options.line_search_type = ceres::WOLFE;
  const bool small = func_.NumVar() <= kLargestFullHistory;
  options.line_search_direction_type = ceres::LBFGS;
  options.max_lbfgs_rank = small ? kFullHistory : kShortHistory;
  options.use_approximate_eigenvalue_bfgs_scaling = !small;
  options.function_tolerance = 0.0;
  options.gradient_tolerance = 0.0;
  options.parameter_tolerance = 0.0;
  options.max_num_iterations = std::numeric_limits<int>::max();
  options.max_solver_time_in_seconds = std::numeric_limits<double>::max();
  options.logging_type = ceres::SILENT;
  options.update_state_every_iteration = true;
  options.callbacks.push_back(this);
  ceres::GradientProblem problem(new CeresFunction(*this, func_.NumVar()));
  ceres::GradientProblemSolver::Summary summary;
  scaled_.resize(x_.size());
  for (std::size_t i = 0; i < x_.size(); ++i) scaled_[i] = x_[i] / scales_[i];
  ceres::Solve(options, problem, scaled_.data(), &summary);
}

// The run ended on a failure: the best point takes the place of the current one.
void Run::breakDown() {
  if (func_.HasBest() && func_.BestEnergy() < current_.energy) {
    current_ = {func_.BestX(), func_.BestGradient(), func_.BestEnergy()};
    gradientNorm_ = RootMeanSquare(current_.grad);
  }
  if (current_.x.empty()) {
    current_ = {x_, {}, std::numeric_limits<double>::quiet_NaN()};
    return;
  }
  converged_ = gradientNorm_ <= options_.gradientTolerance && !func_.Failed();
  report(1);
}

QZOptResult Run::result() const {
  return {converged_, iterations_, func_.Evaluations(), current_.energy, gradientNorm_, message_};
}

QZOptResult Run::Minimize() {
  for (int attempt = 0; !ended_ && !func_.Failed(); ++attempt) {
    const unsigned int iterationsBefore = iterations_;
    solve();
    if (ended_ || func_.Failed()) break;
    if (!started_) {
      end("the energy is infinite at the start");
    } else if (iterations_ == iterationsBefore || attempt == kMaxRestarts) {
      end("stopped: no step along the gradient lowers the energy");
    } else {
      x_ = current_.x;
      continue;
    }
    breakDown();
  }
  if (func_.Failed()) {
    message_ = func_.Failure();
    breakDown();
  }
  return result();
}

QZOptResult WithoutVariables(QZFunc1& f, const double* x) {
  QZOptResult result;
  try {
    result.energy = f(x);
  } catch (const std::exception& error) {
    result.message = std::string("the function failed: ") + error.what();
    return result;
  }
  result.evaluations = 1;
  result.converged = !std::isnan(result.energy);
  result.message = result.converged ? "converged: there are no variables"
                                    : "the energy is not a number at evaluation 1";
  return result;
}

}  // namespace

QZMinimizer::QZMinimizer(QZOptOptions options) : options_(options) {}

QZOptResult QZMinimizer::Minimize(QZFunc1& f, double* x, QZCheckpoint1* checkpoint) {
  if (f.NumVar() == 0) return WithoutVariables(f, x);
  GuardedFunction func(f);
  const std::vector<double> scales = scales_.empty() ? std::vector(func.NumVar(), 1.0) : scales_;
  const auto isScale = [](double scale) { return scale > 0.0 && std::isfinite(scale); };
  if (scales.size() != func.NumVar() || !std::ranges::all_of(scales, isScale)) {
    QZOptResult result;
    result.message = "there must be one positive scale for each variable";
    return result;
  }
  Run run(func, options_, scales, x, checkpoint);
  QZOptResult result = run.Minimize();
  std::ranges::copy(run.X(), x);
  return result;
}

}  // namespace QZOpt
