// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <cmath>
#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "newton.h"
#include "quasi_newton.h"
#include "qzopt/optimizers.h"
#include "returning_checkpoint.h"

namespace QZOpt {
namespace {

// Up to so many variables `QZOptMethod::Auto` tries Newton's method where quasi-Newton is stuck;
// bench/README.md tells why not before.
constexpr std::size_t kLargestForNewton = 600;
// A restart that gains less energy than this and leaves more of the gradient gains nothing.
constexpr double kWorthwhile = 1e-6;
constexpr double kWorthwhilePart = 0.5;

constexpr const char* kNoStep = "stopped: no step along the gradient lowers the energy";

// One call of `QZMinimizer::Minimize`: runs from starts that follow one another.
class Minimisation {
 public:
  Minimisation(const QZOptOptions& options, const std::vector<double>& scales)
      : options_(options), scales_(scales), limits_(options) {}

  QZOptResult Run(QZFunc1& f, double* x, QZCheckpoint1* checkpoint);

 private:
  void descend(RunState& state, const std::vector<double>& scales);
  void quasiNewton(RunState& state, Metric& metric);
  void newton(RunState& state, Metric& metric);
  void fallBack(QZRestartable& func, double* x, std::size_t numVar, QZCheckpoint1* checkpoint);
  void take(const RunState& state);

  const QZOptOptions& options_;
  const std::vector<double>& scales_;
  RunLimits limits_;
  QZOptResult result_;
};

void Minimisation::quasiNewton(RunState& state, Metric& metric) {
  if (state.Ended()) return;
  const unsigned int before = limits_.Iterations();
  RunQuasiNewton(state, metric, dynamic_cast<QZHessianModel*>(&state.Func().Func()));
  if (limits_.Iterations() > before) result_.method = QZOptMethod::QuasiNewton;
}

void Minimisation::newton(RunState& state, Metric& metric) {
  if (state.Ended() || !state.Func().HasHessian()) return;
  const unsigned int before = limits_.Iterations();
  RunNewton(state, metric, dynamic_cast<QZHessianModel*>(&state.Func().Func()));
  if (limits_.Iterations() > before) result_.method = QZOptMethod::Newton;
}

void Minimisation::descend(RunState& state, const std::vector<double>& scales) {
  const std::size_t n = state.Func().NumVar();
  Metric metric(n, scales);
  switch (options_.method) {
    case QZOptMethod::QuasiNewton:
      quasiNewton(state, metric);
      break;
    case QZOptMethod::Newton:
      newton(state, metric);
      quasiNewton(state, metric);
      break;
    case QZOptMethod::Auto:
      quasiNewton(state, metric);
      if (n > kLargestForNewton) break;
      newton(state, metric);
      quasiNewton(state, metric);
      break;
  }
  state.End(kNoStep);
}

void Minimisation::take(const RunState& state) {
  result_.converged = state.Converged();
  result_.energy = state.Current().energy;
  result_.gradientNorm = state.GradientNorm();
  result_.message = state.Message();
}

// Goes on in the variables of the fall-back from `x`, which receives the result.
void Minimisation::fallBack(QZRestartable& func,
                            double* x,
                            std::size_t numVar,
                            QZCheckpoint1* checkpoint) {
  std::vector<double> start;
  QZFunc1* other = func.FallBack(x, start);
  if (other == nullptr || other->NumVar() == 0 || start.size() != other->NumVar()) return;
  std::optional<ReturningCheckpoint> returning;
  if (checkpoint != nullptr) returning.emplace(func, numVar, *checkpoint);
  GuardedFunction guarded(*other, limits_);
  RunState state(guarded, options_, returning ? &*returning : nullptr, /*continues=*/true);
  state.Start(start.data());
  if (!state.HasStarted()) return;
  const std::string why = result_.message;
  descend(state, {});
  state.ReportEnd();
  take(state);
  result_.fellBack = true;
  result_.message += std::string(", in ") + func.FallBackName() + " after " + why;
  func.ReturnFrom(state.Current().x.data(), x);
}

QZOptResult Minimisation::Run(QZFunc1& f, double* x, QZCheckpoint1* checkpoint) {
  auto* restartable = dynamic_cast<QZRestartable*>(&f);
  const std::size_t n = f.NumVar();
  for (;;) {
    GuardedFunction guarded(f, limits_);
    RunState state(guarded, options_, checkpoint, /*continues=*/result_.restarts > 0);
    state.Start(x);
    if (state.HasStarted()) descend(state, scales_);
    result_.revisions += state.Revisions();
    const double before = result_.energy;
    const double gradientBefore = result_.gradientNorm;
    const bool isFirst = result_.restarts == 0;
    // After a revision `x` means nothing any more.
    const bool isBetter =
        isFirst || state.Converged() || state.Revisions() > 0 || state.Current().energy < before;
    if (isBetter) {
      take(state);
      if (state.HasStarted()) std::ranges::copy(state.Current().x, x);
    }
    const bool isStuck = state.HasStarted() && !state.Converged() && !state.WasStopped();
    const bool gained = isFirst || before - result_.energy > kWorthwhile ||
                        result_.gradientNorm < kWorthwhilePart * gradientBefore;
    if (restartable != nullptr && isStuck) {
      if (gained && restartable->Restart(x)) {
        ++result_.restarts;
        continue;
      }
      fallBack(*restartable, x, n, checkpoint);
    }
    if (result_.fellBack) break;
    if (isBetter) {
      state.ReportEnd();
    } else if (checkpoint != nullptr) {
      // Starting afresh gained nothing: `x` and the result stay as they were before.
      (*checkpoint)(limits_.Iterations(),
                    static_cast<unsigned int>(n),
                    result_.energy,
                    result_.gradientNorm,
                    x,
                    nullptr,
                    1);
    }
    break;
  }
  result_.iterations = limits_.Iterations();
  result_.evaluations = limits_.Evaluations();
  return result_;
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

QZOptResult Refused(const char* message) {
  QZOptResult result;
  result.message = message;
  return result;
}

}  // namespace

QZMinimizer::QZMinimizer(QZOptOptions options) : options_(options) {}

QZOptResult QZMinimizer::Minimize(QZFunc1& f, double* x, QZCheckpoint1* checkpoint) {
  if (f.NumVar() == 0) return WithoutVariables(f, x);
  if (!FitsScales(scales_, f.NumVar())) return Refused(kWrongScales);
  if (options_.method == QZOptMethod::Newton && dynamic_cast<QZFunc2*>(&f) == nullptr) {
    return Refused("Newton's method needs a function with a Hessian");
  }
  return Minimisation(options_, scales_).Run(f, x, checkpoint);
}

}  // namespace QZOpt
