// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

namespace QZOpt {

/// Which sign a constraint's multiplier may have: either for an equality, one of them for a bound
/// that is reached, none for a bound that is not.
enum class MultiplierSign { Any, NotNegative, NotPositive, Zero };

/// The multipliers λ of the given signs that leave least of  r = g - sum of λ_i a_i.
struct MultiplierFit {
  std::vector<double> multipliers;
  std::vector<double> remainder;  // r
};

/// `normals`: the a_i, each as long as `gradient`. They may depend on one another: then one of the
/// least sets is given. Method: Lawson and Hanson, Solving Least Squares Problems (1974), chapter
/// 23. Cost: some m factorisations of an n x m matrix where bounds are reached, one otherwise.
MultiplierFit FitMultipliers(const std::vector<double>& gradient,
                             const std::vector<std::vector<double>>& normals,
                             const std::vector<MultiplierSign>& signs);

}  // namespace QZOpt
