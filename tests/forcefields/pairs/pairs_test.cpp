// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// The loops over pairs against a plain loop over the published formulas, on every instruction set
// that the processor has.
#include <gtest/gtest.h>
#include <hwy/highway.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <vector>

#include "pairs/evaluator.h"
#include "support/allocations.h"

namespace QZMolPotential {
namespace {

using Reals = std::vector<double>;

constexpr PairTerms kBoth;
constexpr PairTerms kVdw{true, false};
constexpr PairTerms kEle{false, true};

struct System {
  PairInput input;
  Reals x;
};

/// Atoms on a jittered lattice of 2.2 Å, indices with holes, some pairs special.
System MakeSystem(std::size_t n, unsigned int seed, double mobileShare = 1.0) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  System system;
  PairInput& input = system.input;
  input.numTypes = 5;
  input.table.resize(25);
  for (std::size_t i = 0; i < 5; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      input.table[i * 5 + j] =
          input.table[j * 5 + i] = {2.5 + 2.0 * unit(random), 0.01 + 0.1 * unit(random)};
    }
  }
  const auto side = static_cast<std::size_t>(std::ceil(std::cbrt(static_cast<double>(n))));
  unsigned int index = 0;
  for (std::size_t i = 0; i < n; ++i) {
    if (i % 7 == 3) ++index;
    input.atoms.push_back(index++);
    input.types.push_back(static_cast<std::uint16_t>(unit(random) * 5.0));
    input.charges.push_back(unit(random) < 0.1 ? 0.0 : unit(random) - 0.5);
    input.mobile.push_back(unit(random) < mobileShare ? 1 : 0);
  }
  input.indexBound = index + 2;
  system.x.assign(3 * input.indexBound, 0.0);
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t cell[] = {i % side, i / side % side, i / side / side};
    for (std::size_t k = 0; k < 3; ++k) {
      system.x[3 * input.atoms[i] + k] = 2.2 * (static_cast<double>(cell[k]) + 0.5 * unit(random));
    }
    const auto number = static_cast<unsigned int>(i);
    if (number > 0) input.excluded.push_back({number, number - 1});
    if (number > 2) input.oneFour.push_back({number - 3, number});
    if (number > 20 && number % 5 == 0) input.oneFour.push_back({number - 1, number});
  }
  if (mobileShare == 1.0) input.mobile.clear();
  return system;
}

/// The formulas, pair by pair; gradients by differences of the energy are left to the caller.
PairEnergies Plain(const PairInput& input, const Reals& x, PairTerms terms) {
  std::set<std::pair<unsigned int, unsigned int>> excluded;
  std::set<std::pair<unsigned int, unsigned int>> oneFour;
  for (auto [a, b] : input.excluded) excluded.insert(std::minmax(a, b));
  for (auto [a, b] : input.oneFour) oneFour.insert(std::minmax(a, b));
  PairEnergies sum;
  const auto mobile = [&](std::size_t i) { return input.mobile.empty() || input.mobile[i] != 0; };
  for (unsigned int i = 0; i < input.NumAtoms(); ++i) {
    for (unsigned int j = i + 1; j < input.NumAtoms(); ++j) {
      if (input.withinMobile ? !mobile(i) && !mobile(j) : mobile(i) == mobile(j)) continue;
      if (excluded.contains({i, j}) || (input.accepts && !input.accepts(i, j))) continue;
      double square = 0.0;
      for (std::size_t k = 0; k < 3; ++k) {
        square += std::pow(x[3 * input.atoms[i] + k] - x[3 * input.atoms[j] + k], 2);
      }
      const double r = std::sqrt(square);
      const auto fading = [](double t) {
        return t < 0.0 ? 1.0 : t < 1.0 ? 1.0 - t * t * t * (10.0 - 15.0 * t + 6.0 * t * t) : 0.0;
      };
      const PairCutoff& cut = input.cutoff;
      const bool isCut = cut.distance > 0.0;
      const double fade = isCut ? fading((r - cut.distance) / cut.width + 1.0) : 1.0;
      const double eleFade = isCut ? fading(r / cut.distance) : 1.0;
      const PairParameters p = input.table[input.types[i] * input.numTypes + input.types[j]];
      if (terms.vanDerWaals && input.potential == PairPotential::LennardJones) {
        const double s = std::pow(p.distance / r, 6);
        sum.vanDerWaals += fade * p.depth * (s * s - 2.0 * s);
      } else if (terms.vanDerWaals) {
        const double q = r / p.distance;
        sum.vanDerWaals += fade * p.depth * std::pow(1.07 / (q + 0.07), 7) *
                           (1.12 / (std::pow(q, 7) + 0.12) - 2.0);
      }
      if (terms.electrostatics) {
        const double power = std::pow(r + 0.05, input.distanceDependent ? 2 : 1);
        sum.electrostatics += eleFade * 332.0716 * input.charges[i] * input.charges[j] /
                              (input.dielectric * power) * (oneFour.contains({i, j}) ? 0.75 : 1.0);
      }
    }
  }
  return sum;
}

bool Close(double a, double b, double tolerance, double scale) {
  return std::abs(a - b) <= tolerance * std::max(1.0, scale);
}

std::vector<std::int64_t> Targets() {
  std::vector<std::int64_t> targets;
  const std::int64_t all = hwy::SupportedTargets();
  for (const std::int64_t target : {HWY_EMU128, HWY_SSSE3, HWY_AVX2, HWY_AVX3}) {
    if ((all & target) != 0) targets.push_back(target);
  }
  return targets;
}

/// Calls work(target) with the loops restricted to one instruction set at a time.
template <class Work>
void OnEachTarget(Work work) {
  for (const std::int64_t target : Targets()) {
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    work(hwy::TargetName(target));
  }
  hwy::SetSupportedTargetsForTest(0);
  hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

/// Systems that differ in what a loop may get wrong, with the terms that are asked for.
struct Case {
  const char* name;
  System system;
  PairTerms terms;
};
std::vector<Case> Cases() {
  std::vector<Case> cases;
  const auto add = [&](const char* name, System system, PairTerms terms = kBoth) -> System& {
    cases.push_back({name, std::move(system), terms});
    return cases.back().system;
  };
  add("all pairs", MakeSystem(61, 1));
  add("van der Waals alone", MakeSystem(23, 2), kVdw);
  add("electrostatics alone", MakeSystem(24, 3), kEle);
  add("two atoms", MakeSystem(3, 4));
  System& distance = add("1/r^2", MakeSystem(40, 5));
  distance.input.distanceDependent = true;
  distance.input.dielectric = 4.0;
  add("12-6", MakeSystem(45, 6), kVdw).input.potential = PairPotential::LennardJones;
  add("fixed atoms", MakeSystem(70, 7, 0.3));
  add("between groups", MakeSystem(70, 8, 0.4)).input.withinMobile = false;
  add("chosen pairs", MakeSystem(50, 9)).input.accepts = [](unsigned int i, unsigned int j) {
    return i % 4 != 1 && (i * j) % 3 != 0;
  };
  const PairCutoff cut{7.0, 2.5, 0.8};
  add("cutoff", MakeSystem(300, 10)).input.cutoff = cut;
  add("cutoff, fixed atoms", MakeSystem(400, 11, 0.1)).input.cutoff = cut;
  System& groups = add("cutoff, between groups", MakeSystem(300, 12, 0.2));
  groups.input.cutoff = cut;
  groups.input.withinMobile = false;
  System& twelveSix = add("cutoff, 12-6", MakeSystem(200, 13), kVdw);
  twelveSix.input.potential = PairPotential::LennardJones;
  twelveSix.input.cutoff = cut;
  return cases;
}

double Largest(const Reals& values) {
  double largest = 0.0;
  for (const double value : values) largest = std::max(largest, std::abs(value));
  return largest;
}

TEST(Pairs, EnergiesAreThoseOfAPlainLoopOnEveryInstructionSet) {
  ASSERT_FALSE(Targets().empty());
  for (const Case& c : Cases()) {
    const PairEnergies expected = Plain(c.system.input, c.system.x, c.terms);
    OnEachTarget([&](const char* target) {
      PairEvaluator evaluator(c.system.input);
      Reals grad(c.system.x.size(), 0.0);
      for (const PairEnergies& e : {evaluator.Energy(c.system.x.data(), c.terms),
                                    evaluator.Gradient(c.system.x.data(), c.terms, grad.data())}) {
        EXPECT_TRUE(Close(e.vanDerWaals, expected.vanDerWaals, 1e-11, std::abs(e.vanDerWaals)))
            << c.name << " " << target << " " << e.vanDerWaals << " " << expected.vanDerWaals;
        EXPECT_TRUE(
            Close(e.electrostatics, expected.electrostatics, 1e-11, std::abs(e.electrostatics)))
            << c.name << " " << target << " " << e.electrostatics;
      }
    });
  }
}

TEST(Pairs, GradientsAndHessiansAreThoseOfTheEnergy) {
  for (const Case& c : Cases()) {
    const Reals& x = c.system.x;
    const std::size_t n = x.size();
    OnEachTarget([&](const char* target) {
      PairEvaluator evaluator(c.system.input);
      Reals grad(n, 1.0);
      Reals again(n, 1.0);
      Reals hessian(n * (n + 1) / 2, 0.5);
      Reals blocks(n * (n + 1) / 2, 0.5);
      evaluator.Gradient(x.data(), c.terms, grad.data());
      evaluator.Hessian(x.data(), c.terms, hessian.data(), again.data());
      const auto add = [&](unsigned int i, unsigned int j, const double* h) {
        constexpr std::size_t kPlace[3][3] = {{0, 1, 2}, {1, 3, 4}, {2, 4, 5}};
        for (std::size_t r = 0; r < 3; ++r) {
          for (std::size_t s = 0; s < 3; ++s) {
            const std::size_t row = 3 * i + r;
            const std::size_t column = 3 * j + s;
            if (i == j && column > row) continue;
            const std::size_t high = std::max(row, column);
            blocks[high * (high + 1) / 2 + std::min(row, column)] += h[kPlace[r][s]];
          }
        }
      };
      evaluator.HessianBlocks(x.data(), c.terms, add, nullptr);
      const double scale = Largest(grad);
      for (std::size_t k = 0; k < n; ++k) {
        ASSERT_TRUE(Close(grad[k], again[k], 1e-12, scale)) << c.name << " " << target;
      }
      for (std::size_t k = 0; k < hessian.size(); ++k) {
        ASSERT_TRUE(Close(hessian[k], blocks[k], 1e-12, scale)) << c.name << " " << target;
      }
      // Along random directions: slopes and curvatures by differences.
      std::mt19937 random(99);
      std::normal_distribution<double> normal;
      for (int trial = 0; trial < 3; ++trial) {
        constexpr double kStep = 1e-5;
        Reals along(n);
        for (double& value : along) value = normal(random) / std::sqrt(static_cast<double>(n));
        Reals up = x;
        Reals down = x;
        for (std::size_t k = 0; k < n; ++k) {
          up[k] += kStep * along[k];
          down[k] -= kStep * along[k];
        }
        Reals gradUp(n, 0.0);
        Reals gradDown(n, 0.0);
        const double high = evaluator.Gradient(up.data(), c.terms, gradUp.data()).Sum();
        const double low = evaluator.Gradient(down.data(), c.terms, gradDown.data()).Sum();
        double slope = 0.0;
        for (std::size_t k = 0; k < n; ++k) slope += (grad[k] - 1.0) * along[k];
        EXPECT_TRUE(Close(slope, (high - low) / (2.0 * kStep), 1e-7, scale))
            << c.name << " " << target << " " << slope;
        const auto isMobile = [&](std::size_t number) {
          return c.system.input.mobile.empty() || c.system.input.mobile[number] != 0;
        };
        for (std::size_t number = 0; number < c.system.input.NumAtoms(); ++number) {
          if (!isMobile(number) && number % 5 != 0) continue;
          for (std::size_t k = 0; k < 3; ++k) {
            const std::size_t row = 3 * c.system.input.atoms[number] + k;
            double product = 0.0;
            for (std::size_t s = 0; s < n; ++s) {
              const std::size_t top = std::max(row, s);
              product += (hessian[top * (top + 1) / 2 + std::min(row, s)] - 0.5) * along[s];
            }
            EXPECT_TRUE(
                Close(product, (gradUp[row] - gradDown[row]) / (2.0 * kStep), 1e-6, 10.0 * scale))
                << c.name << " " << target << " " << product;
          }
        }
      }
    });
  }
}

TEST(Pairs, CountsAndListingsCoverThePairsThatAreComputed) {
  for (const Case& c : Cases()) {
    const PairEvaluator evaluator(c.system.input);
    PairEnergies sum;
    std::size_t pairs = 0;
    std::size_t charged = 0;
    evaluator.ForEachPair(
        c.system.x.data(), c.terms, [&](unsigned int i, unsigned int j, PairEnergies e) {
          EXPECT_LT(i, j);
          ++pairs;
          if (c.system.input.charges[i] * c.system.input.charges[j] != 0.0) ++charged;
          sum.vanDerWaals += e.vanDerWaals;
          sum.electrostatics += e.electrostatics;
        });
    const PairEnergies expected = Plain(c.system.input, c.system.x, c.terms);
    EXPECT_TRUE(Close(sum.Sum(), expected.Sum(), 1e-10, std::abs(expected.Sum()))) << c.name;
    EXPECT_EQ(evaluator.NumPairs(kVdw), pairs) << c.name;
    EXPECT_EQ(evaluator.NumPairs(kEle), charged) << c.name;
  }
}

// Atoms that wander, fixed ones included, are followed: lists are renewed, and only then.
TEST(Pairs, NeighbourListsFollowTheAtoms) {
  for (const double mobileShare : {1.0, 0.1}) {
    System system = MakeSystem(350, 21, mobileShare);
    system.input.cutoff = {6.0, 1.5, 1.0};
    PairEvaluator evaluator(system.input);
    PairEvaluator copy = evaluator;
    std::mt19937 random(5);
    std::normal_distribution<double> step(0.0, 0.06);
    constexpr int kSteps = 60;
    for (int i = 0; i < kSteps; ++i) {
      Reals grad(system.x.size(), 0.0);
      const PairEnergies e = evaluator.Gradient(system.x.data(), kBoth, grad.data());
      const PairEnergies expected = Plain(system.input, system.x, kBoth);
      ASSERT_TRUE(Close(e.Sum(), expected.Sum(), 1e-11, std::abs(expected.Sum()))) << i;
      for (double& value : system.x) value += step(random);
    }
    EXPECT_GT(evaluator.NumListings(), 2u);
    EXPECT_LT(evaluator.NumListings(), static_cast<std::size_t>(kSteps) / 2);
    EXPECT_EQ(copy.NumListings(), 0u);
  }
}

// Atoms far from all others neither cost memory nor disturb the cells.
TEST(Pairs, ScatteredAtomsAreListed) {
  System system = MakeSystem(200, 31);
  system.input.cutoff = {6.0, 2.0, 1.0};
  for (std::size_t i = 0; i < 200; i += 20) system.x[3 * system.input.atoms[i]] += 1e5 * double(i);
  const PairEnergies expected = Plain(system.input, system.x, kBoth);
  PairEvaluator evaluator(system.input);
  EXPECT_TRUE(Close(evaluator.Energy(system.x.data(), kBoth).Sum(), expected.Sum(), 1e-11, 1e3));
}

TEST(Pairs, CoordinatesThatAreNotNumbersShowInTheEnergy) {
  for (const Case& c : Cases()) {
    OnEachTarget([&](const char* target) {
      PairEvaluator evaluator(c.system.input);
      const double before = evaluator.Energy(c.system.x.data(), c.terms).Sum();
      Reals x = c.system.x;
      x[3 * c.system.input.atoms[2] + 1] = std::numeric_limits<double>::quiet_NaN();
      Reals grad(x.size(), 0.0);
      EXPECT_TRUE(std::isnan(evaluator.Energy(x.data(), c.terms).Sum())) << c.name << target;
      EXPECT_TRUE(std::isnan(evaluator.Gradient(x.data(), c.terms, grad.data()).Sum()))
          << c.name << target;
      EXPECT_EQ(evaluator.Energy(c.system.x.data(), c.terms).Sum(), before) << c.name << target;
    });
  }
}

// The first call makes room; with a cutoff so do new lists.
TEST(Pairs, EvaluationAllocatesNothing) {
  for (const Case& c : Cases()) {
    PairEvaluator evaluator(c.system.input);
    const double* x = c.system.x.data();
    Reals grad(c.system.x.size(), 0.0);
    Reals hessian(grad.size() * (grad.size() + 1) / 2, 0.0);
    const auto all = [&] {
      evaluator.Energy(x, c.terms);
      evaluator.Gradient(x, c.terms, grad.data());
      evaluator.Hessian(x, c.terms, hessian.data(), grad.data());
    };
    all();
    EXPECT_EQ(TestSupport::AllocationsOf(all), 0) << c.name;
  }
}

TEST(Pairs, AtomsAtOnePlaceArePushedApart) {
  for (const auto potential : {PairPotential::Buffered147, PairPotential::LennardJones}) {
    System system = MakeSystem(12, 41);
    PairInput& input = system.input;
    input.potential = potential;
    const PairTerms terms = potential == PairPotential::LennardJones ? kVdw : kBoth;
    // 2 and 9 interact, 5 and 4 are excluded.
    std::copy_n(&system.x[3 * input.atoms[2]], 3, &system.x[3 * input.atoms[9]]);
    std::copy_n(&system.x[3 * input.atoms[5]], 3, &system.x[3 * input.atoms[4]]);
    input.charges[2] = input.charges[9] = 0.3;
    OnEachTarget([&](const char* target) {
      PairEvaluator evaluator(input);
      Reals grad(system.x.size(), 0.0);
      Reals hessian(grad.size() * (grad.size() + 1) / 2, 0.0);
      EXPECT_TRUE(std::isfinite(evaluator.Energy(system.x.data(), terms).Sum())) << target;
      EXPECT_TRUE(std::isfinite(
          evaluator.Hessian(system.x.data(), terms, hessian.data(), grad.data()).Sum()));
      EXPECT_TRUE(std::isfinite(Largest(hessian))) << target;
      // What remains of the two atoms' gradients is their push.
      Reals without(grad.size(), 0.0);
      PairInput apart = input;
      apart.excluded.push_back({2, 9});
      PairEvaluator(apart).Gradient(system.x.data(), terms, without.data());
      const PairParameters p = input.table[input.types[2] * input.numTypes + input.types[9]];
      const double push =
          potential == PairPotential::LennardJones ? 100.0 : 0.01 * p.distance + 0.02;
      for (std::size_t k = 0; k < 3; ++k) {
        const std::size_t a = 3 * input.atoms[2] + k;
        const std::size_t b = 3 * input.atoms[9] + k;
        EXPECT_NEAR(grad[a] - without[a], push, 1e-9) << target;
        EXPECT_NEAR(grad[b] - without[b], -push, 1e-9) << target;
      }
    });
  }
}

}  // namespace
}  // namespace QZMolPotential
