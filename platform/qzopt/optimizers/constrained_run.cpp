// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "constrained_run.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

namespace QZOpt {
namespace {

std::string DescribeViolation(std::size_t constraint, double residual, double tolerance) {
  char text[120];
  std::snprintf(text,
                sizeof text,
                "constraint %zu is not met: residual %.3g, tolerance %.3g",
                constraint + 1,
                residual,
                tolerance);
  return text;
}

}  // namespace

bool ConstrainedRun::Take(const double* x) {
  if (Ended()) return false;
  // A run within the run starts from the latest iterate, and reports its end again.
  if (!latest_.empty() && std::equal(latest_.begin(), latest_.end(), x)) return true;
  if (!problem_.Evaluate(x)) {
    message_ = problem_.Failed()               ? problem_.Failure()
               : problem_.Stopped() != nullptr ? problem_.Stopped()
                                               : "the energy is infinite";
    stopped_ = !problem_.Failed() && problem_.Stopped() != nullptr;
    return false;
  }
  if (started_) problem_.Limits().CountIteration();
  const Iterate point = iterateHere();
  latest_ = point.x;
  judge(point);
  const bool isKnown = !started_ && continues_;
  started_ = true;
  previousEnergy_ = point.energy;
  if (converged_ || improves(point)) best_ = point;
  // An end elsewhere than at the best point is reported when the run finishes.
  reported_ = Ended() && best_.x == point.x;
  if (isKnown && !reported_) return !Ended();
  if (!report(point, reported_ ? 1 : 0) && !Ended()) {
    message_ = "stopped by the checkpoint";
    stopped_ = reported_ = true;
  }
  return !Ended();
}

ConstrainedRun::Iterate ConstrainedRun::iterateHere() {
  MultiplierFit fit = problem_.Multipliers();
  Iterate point;
  point.x = problem_.X();
  point.gradient = std::move(fit.remainder);
  point.multipliers = std::move(fit.multipliers);
  point.residuals = problem_.Residuals();
  point.energy = problem_.Energy();
  point.gradientNorm = RootMeanSquare(point.gradient);
  point.violation = violation(point.residuals);
  return point;
}

void ConstrainedRun::Renew(const double* x) {
  problem_.Forget();
  latest_.clear();
  x_.assign(x, x + problem_.NumVar());
  best_ = {};
  if (problem_.Evaluate(x)) best_ = iterateHere();
}

void ConstrainedRun::judge(const Iterate& point) {
  const bool met = point.violation <= 1.0;
  if (met && point.gradientNorm <= options_.gradientTolerance) {
    converged_ = true;
    message_ = "converged: the gradient is below the tolerance and the constraints are met";
  } else if (const char* limit = problem_.Limits().ReachedAtIteration()) {
    message_ = limit;
    stopped_ = true;
  } else if (met && started_ && options_.energyTolerance > 0.0 &&
             std::abs(point.energy - previousEnergy_) < options_.energyTolerance) {
    message_ = "stopped: the energy changes by less than the tolerance";
    stopped_ = true;
  }
}

bool ConstrainedRun::improves(const Iterate& point) const {
  const double violation = std::max(point.violation, 1.0);
  const double bestViolation = std::max(best_.violation, 1.0);
  if (best_.x.empty() || violation != bestViolation) return !(violation > bestViolation);
  return point.energy < best_.energy;
}

bool ConstrainedRun::report(const Iterate& point, unsigned int state) {
  return checkpoint_ == nullptr || (*checkpoint_)(problem_.Limits().Iterations(),
                                                  static_cast<unsigned int>(point.x.size()),
                                                  point.energy,
                                                  point.gradientNorm,
                                                  point.x.data(),
                                                  point.gradient.data(),
                                                  state);
}

std::vector<double> ConstrainedRun::orNan(const std::vector<double>& values) const {
  if (!values.empty()) return values;
  return std::vector<double>(problem_.NumConstraints(), std::numeric_limits<double>::quiet_NaN());
}

// Residuals beside their tolerances.
std::size_t ConstrainedRun::worstConstraint(const std::vector<double>& residuals) const {
  const auto size = [&](std::size_t i) {
    return std::abs(residuals[i]) / problem_.Constraint(i).tolerance;
  };
  std::size_t worst = 0;
  for (std::size_t i = 1; i < residuals.size(); ++i) {
    if (size(i) > size(worst)) worst = i;
  }
  return worst;
}

double ConstrainedRun::violation(const std::vector<double>& residuals) const {
  const std::size_t worst = worstConstraint(residuals);
  return std::abs(residuals[worst]) / problem_.Constraint(worst).tolerance;
}

std::string ConstrainedRun::Explain() const {
  if (problem_.Failed()) return problem_.Failure();
  std::string why = message_.empty() ? "stopped: no further progress" : message_;
  if (!converged_ && best_.violation > 1.0 && HasPoint()) {
    const std::size_t worst = worstConstraint(best_.residuals);
    why += "; " +
           DescribeViolation(worst, best_.residuals[worst], problem_.Constraint(worst).tolerance);
  }
  return why;
}

QZOptResult ConstrainedRun::Finish(double* x) {
  if (best_.x.empty()) {
    best_.x = x_;
  } else if (!reported_) {
    report(best_, 1);
  }
  std::ranges::copy(best_.x, x);
  QZOptResult result;
  result.converged = converged_;
  result.iterations = problem_.Limits().Iterations();
  result.evaluations = problem_.Limits().Evaluations();
  result.energy = best_.energy;
  result.gradientNorm = best_.gradientNorm;
  result.message = Explain();
  result.restarts = restarts_;
  result.revisions = revisions_;
  result.method = method_;
  return result;
}

}  // namespace QZOpt
