// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "multipliers.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

namespace QZOpt {
namespace {

using Indices = std::vector<Eigen::Index>;

// A descent along a bound's normal below this part of the gradient is rounding.
constexpr double kNoDescent = 1e-12;

// Least squares over the columns in use; the others are 0. Rank-revealing, since normals may depend
// on one another.
Eigen::VectorXd SolveWith(const Eigen::MatrixXd& columns,
                          const Indices& used,
                          const Eigen::VectorXd& gradient) {
  Eigen::VectorXd solution = Eigen::VectorXd::Zero(columns.cols());
  if (used.empty()) return solution;
  const Eigen::MatrixXd chosen = columns(Eigen::all, used);
  const Eigen::VectorXd part = chosen.completeOrthogonalDecomposition().solve(gradient);
  solution(used) = part;
  return solution;
}

}  // namespace

MultiplierFit FitMultipliers(const std::vector<double>& gradient,
                             const std::vector<std::vector<double>>& normals,
                             const std::vector<MultiplierSign>& signs) {
  const auto n = static_cast<Eigen::Index>(gradient.size());
  const auto m = static_cast<Eigen::Index>(normals.size());
  const Eigen::Map<const Eigen::VectorXd> g(gradient.data(), n);
  // Columns of length 1, turned so that every bounded multiplier is sought at or above 0.
  Eigen::MatrixXd columns = Eigen::MatrixXd::Zero(n, m);
  Eigen::VectorXd toMultiplier = Eigen::VectorXd::Zero(m);
  Indices used;
  Indices waiting;
  for (Eigen::Index i = 0; i < m; ++i) {
    const auto k = static_cast<std::size_t>(i);
    const Eigen::Map<const Eigen::VectorXd> normal(normals[k].data(), n);
    const double length = normal.norm();
    if (!(length > 0.0) || signs[k] == MultiplierSign::Zero) continue;
    toMultiplier[i] = (signs[k] == MultiplierSign::NotPositive ? -1.0 : 1.0) / length;
    columns.col(i) = normal * toMultiplier[i];
    (signs[k] == MultiplierSign::Any ? used : waiting).push_back(i);
  }
  const std::size_t numFree = used.size();
  Eigen::VectorXd solution = SolveWith(columns, used, g);
  for (Eigen::Index round = 0; round < 3 * m && !waiting.empty(); ++round) {
    const Eigen::VectorXd remainder = g - columns * solution;
    const auto next = std::ranges::max_element(
        waiting, {}, [&](Eigen::Index i) { return columns.col(i).dot(remainder); });
    if (!(columns.col(*next).dot(remainder) > kNoDescent * g.norm())) break;
    used.push_back(*next);
    waiting.erase(next);
    for (;;) {
      const Eigen::VectorXd trial = SolveWith(columns, used, g);
      // As far towards it as the signs allow, and without those that end at 0.
      double part = 1.0;
      for (std::size_t k = numFree; k < used.size(); ++k) {
        const double from = solution[used[k]];
        const double to = trial[used[k]];
        if (to < 0.0) part = std::min(part, from / (from - to));
      }
      solution += part * (trial - solution);
      if (part >= 1.0) break;
      for (std::size_t k = used.size(); k-- > numFree;) {
        if (solution[used[k]] > 0.0 && trial[used[k]] >= 0.0) continue;
        if (solution[used[k]] > 1e-14 * solution.cwiseAbs().maxCoeff()) continue;
        solution[used[k]] = 0.0;
        waiting.push_back(used[k]);
        used.erase(used.begin() + static_cast<std::ptrdiff_t>(k));
      }
      if (used.size() == numFree) break;
    }
  }
  MultiplierFit fit;
  const Eigen::VectorXd remainder = g - columns * solution;
  fit.remainder.assign(remainder.data(), remainder.data() + n);
  const Eigen::VectorXd multipliers = solution.cwiseProduct(toMultiplier);
  fit.multipliers.assign(multipliers.data(), multipliers.data() + m);
  return fit;
}

}  // namespace QZOpt
