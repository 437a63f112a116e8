// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <nlopt.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "constrained_run.h"

namespace QZOpt {
namespace {

struct Context {
  ConstrainedRun& run;
  nlopt_opt solver;
};

// A quadratic subproblem without a solution sends the solver to variables that are not finite.
bool IsUsable(const double* x, unsigned int n) {
  return std::all_of(x, x + n, [](double value) { return std::isfinite(value); });
}

double Objective(unsigned int n, const double* x, double* grad, void* data) {
  auto& context = *static_cast<Context*>(data);
  ConstrainedProblem& problem = context.run.Problem();
  if (!IsUsable(x, n)) {
    nlopt_force_stop(context.solver);
    return std::numeric_limits<double>::max();
  }
  // The solver asks for a gradient once per iteration, at the point its line search accepted.
  const bool goOn = grad != nullptr ? context.run.Iterate(x) : problem.Evaluate(x);
  if (!goOn) nlopt_force_stop(context.solver);
  if (problem.X().empty()) return std::numeric_limits<double>::max();
  if (grad != nullptr) std::copy_n(problem.Gradient().data(), n, grad);
  return problem.Energy();
}

void Constraints(
    unsigned int m, double* result, unsigned int n, const double* x, double* grad, void* data) {
  auto& context = *static_cast<Context*>(data);
  ConstrainedProblem& problem = context.run.Problem();
  if (!IsUsable(x, n) || !problem.Evaluate(x)) nlopt_force_stop(context.solver);
  for (unsigned int i = 0; i < m; ++i) {
    result[i] = problem.Residuals()[i];
    if (grad != nullptr) std::copy_n(problem.Row(i).data(), n, grad + std::size_t{i} * n);
  }
}

}  // namespace

void ConstrainedRun::SolveQuadratic() {
  const auto n = static_cast<unsigned int>(problem_.NumVar());
  const auto m = static_cast<unsigned int>(problem_.NumConstraints());
  const std::unique_ptr<nlopt_opt_s, decltype(&nlopt_destroy)> solver(
      nlopt_create(NLOPT_LD_SLSQP, n), &nlopt_destroy);
  if (solver == nullptr) return;
  Context context{*this, solver.get()};
  std::vector<double> tolerances(m);
  for (unsigned int i = 0; i < m; ++i) tolerances[i] = problem_.Tolerance(i);
  nlopt_set_min_objective(solver.get(), &Objective, &context);
  nlopt_add_equality_mconstraint(solver.get(), m, &Constraints, &context, tolerances.data());
  std::vector<double> x = start();
  double energy;
  // The stopping test is ours: no tolerance of the solver's is set, and its verdict is not asked.
  nlopt_optimize(solver.get(), x.data(), &energy);
}

}  // namespace QZOpt
