// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <IpStdCInterface.h>
#include <nlopt.h>

#include <algorithm>
#include <cmath>

#include "problem.h"

namespace {

constexpr int kMostEvaluations = 3000;
constexpr double kMostSeconds = 3.0;
constexpr double kMostSecondsOfUpdates = 0.1;

struct NloptContext {
  Problem& problem;
  nlopt_opt solver;
  std::vector<std::size_t> equalities;
  std::vector<std::size_t> bounds;  // each is two inequalities
};

double Objective(unsigned int n, const double* x, double* grad, void* data) {
  auto& context = *static_cast<NloptContext*>(data);
  context.problem.Evaluate(x);
  if (context.problem.IsSolved()) nlopt_force_stop(context.solver);
  if (grad != nullptr) std::copy_n(context.problem.Gradient().data(), n, grad);
  return context.problem.Energy();
}

void Equalities(
    unsigned int m, double* result, unsigned int n, const double* x, double* grad, void* data) {
  auto& context = *static_cast<NloptContext*>(data);
  context.problem.Evaluate(x);
  for (unsigned int k = 0; k < m; ++k) {
    const std::size_t i = context.equalities[k];
    result[k] = context.problem.Value(i);
    if (grad != nullptr) std::copy_n(context.problem.Row(i).data(), n, grad + std::size_t{k} * n);
  }
}

// lower - q <= 0 and q - upper <= 0
void Inequalities(
    unsigned int m, double* result, unsigned int n, const double* x, double* grad, void* data) {
  auto& context = *static_cast<NloptContext*>(data);
  context.problem.Evaluate(x);
  for (unsigned int k = 0; k < m; ++k) {
    const std::size_t i = context.bounds[k / 2];
    const Hold& hold = context.problem.GetHold(i);
    const double sign = k % 2 == 0 ? -1.0 : 1.0;
    const double value = context.problem.Value(i);
    result[k] = k % 2 == 0 ? -value : value - (hold.upper - hold.lower);
    if (grad == nullptr) continue;
    for (unsigned int j = 0; j < n; ++j) {
      grad[std::size_t{k} * n + j] = sign * context.problem.Row(i)[j];
    }
  }
}

void SolveNlopt(Problem& problem, nlopt_algorithm algorithm) {
  const auto n = static_cast<unsigned int>(problem.NumVar());
  NloptContext context{problem, nlopt_create(algorithm, n), {}, {}};
  for (std::size_t i = 0; i < problem.NumHolds(); ++i) {
    (problem.IsEquality(i) ? context.equalities : context.bounds).push_back(i);
  }
  nlopt_set_min_objective(context.solver, &Objective, &context);
  const std::vector<double> tolerances(2 * problem.NumHolds(), Problem::kTolerance);
  if (!context.equalities.empty()) {
    nlopt_add_equality_mconstraint(context.solver,
                                   static_cast<unsigned int>(context.equalities.size()),
                                   &Equalities,
                                   &context,
                                   tolerances.data());
  }
  if (!context.bounds.empty()) {
    nlopt_add_inequality_mconstraint(context.solver,
                                     static_cast<unsigned int>(2 * context.bounds.size()),
                                     &Inequalities,
                                     &context,
                                     tolerances.data());
  }
  nlopt_set_maxeval(context.solver, kMostEvaluations);
  nlopt_set_maxtime(context.solver, kMostSeconds);
  if (algorithm == NLOPT_AUGLAG) {
    nlopt_opt inner = nlopt_create(NLOPT_LD_LBFGS, n);
    nlopt_set_ftol_rel(inner, 1e-10);
    nlopt_set_maxeval(inner, 1000);
    nlopt_set_local_optimizer(context.solver, inner);
    nlopt_destroy(inner);
  }
  std::vector<double> x = problem.Start();
  double energy;
  nlopt_optimize(context.solver, x.data(), &energy);
  nlopt_destroy(context.solver);
}

Problem& ProblemOf(UserDataPtr data) {
  return *static_cast<Problem*>(data);
}

Bool EvalF(Index, Number* x, Bool, Number* value, UserDataPtr data) {
  ProblemOf(data).Evaluate(x);
  *value = ProblemOf(data).Energy();
  return std::isfinite(*value) ? TRUE : FALSE;
}

Bool EvalGradF(Index n, Number* x, Bool, Number* grad, UserDataPtr data) {
  ProblemOf(data).Evaluate(x);
  std::copy_n(ProblemOf(data).Gradient().data(), n, grad);
  return TRUE;
}

Bool EvalG(Index, Number* x, Bool, Index m, Number* g, UserDataPtr data) {
  ProblemOf(data).Evaluate(x);
  for (Index i = 0; i < m; ++i) g[i] = ProblemOf(data).Value(static_cast<std::size_t>(i));
  return TRUE;
}

Bool EvalJacG(Index n,
              Number* x,
              Bool,
              Index m,
              Index,
              Index* rows,
              Index* columns,
              Number* values,
              UserDataPtr data) {
  Problem& problem = ProblemOf(data);
  if (values == nullptr) {
    for (Index i = 0; i < m * n; ++i) {
      rows[i] = i / n;
      columns[i] = i % n;
    }
    return TRUE;
  }
  problem.Evaluate(x);
  for (Index i = 0; i < m; ++i) {
    std::copy_n(problem.Row(static_cast<std::size_t>(i)).data(), n, values + i * n);
  }
  return TRUE;
}

Bool EvalH(Index n,
           Number* x,
           Bool,
           Number factor,
           Index,
           Number* lambda,
           Bool,
           Index count,
           Index* rows,
           Index* columns,
           Number* values,
           UserDataPtr data) {
  if (values == nullptr) {
    Index next = 0;
    for (Index r = 0; r < n; ++r) {
      for (Index c = 0; c <= r; ++c, ++next) {
        rows[next] = r;
        columns[next] = c;
      }
    }
    return TRUE;
  }
  std::vector<double> packed;
  ProblemOf(data).Hessian(x, factor, lambda, packed);
  std::copy_n(packed.data(), count, values);
  return TRUE;
}

Bool Intermediate(Index,
                  Index,
                  Number,
                  Number,
                  Number,
                  Number,
                  Number,
                  Number,
                  Number,
                  Number,
                  Index,
                  UserDataPtr data) {
  return ProblemOf(data).IsSolved() || ProblemOf(data).Evaluations() > kMostEvaluations ? FALSE
                                                                                        : TRUE;
}

}  // namespace

void SolveSlsqp(Problem& problem) {
  SolveNlopt(problem, NLOPT_LD_SLSQP);
}

void SolveNloptAugmented(Problem& problem) {
  SolveNlopt(problem, NLOPT_AUGLAG);
}

void SolveIpopt(Problem& problem, bool exactHessian) {
  const auto n = static_cast<Index>(problem.NumVar());
  const auto m = static_cast<Index>(problem.NumHolds());
  std::vector<Number> low(problem.NumVar(), -2e19);
  std::vector<Number> high(problem.NumVar(), 2e19);
  std::vector<Number> lower(problem.NumHolds(), 0.0);
  std::vector<Number> upper;
  for (std::size_t i = 0; i < problem.NumHolds(); ++i) {
    upper.push_back(problem.GetHold(i).upper - problem.GetHold(i).lower);
  }
  IpoptProblem solver = CreateIpoptProblem(n,
                                           low.data(),
                                           high.data(),
                                           m,
                                           lower.data(),
                                           upper.data(),
                                           n * m,
                                           n * (n + 1) / 2,
                                           0,
                                           &EvalF,
                                           &EvalG,
                                           &EvalGradF,
                                           &EvalJacG,
                                           &EvalH);
  const auto set = [&](const char* key, const char* value) {
    AddIpoptStrOption(solver, const_cast<char*>(key), const_cast<char*>(value));
  };
  set("sb", "yes");
  set("hessian_approximation", exactHessian ? "exact" : "limited-memory");
  set("nlp_scaling_method", "none");
  AddIpoptIntOption(solver, const_cast<char*>("print_level"), 0);
  AddIpoptIntOption(solver, const_cast<char*>("max_iter"), kMostEvaluations);
  AddIpoptIntOption(solver, const_cast<char*>("limited_memory_max_history"), 40);
  AddIpoptNumOption(solver, const_cast<char*>("tol"), 1e-9);
  AddIpoptNumOption(solver,
                    const_cast<char*>("max_cpu_time"),
                    exactHessian ? kMostSeconds : kMostSecondsOfUpdates);
  SetIntermediateCallback(solver, &Intermediate);
  std::vector<Number> x = problem.Start();
  Number energy;
  IpoptSolve(solver, x.data(), nullptr, &energy, nullptr, nullptr, nullptr, &problem);
  FreeIpoptProblem(solver);
}
