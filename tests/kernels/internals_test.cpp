// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numbers>
#include <random>
#include <vector>

#include "kernels/angle.h"
#include "kernels/dihedral_hessian.h"
#include "kernels/distance.h"
#include "kernels/out_of_plane.h"
#include "kernels/rotation.h"
#include "kernels/screw.h"

namespace {

using namespace QZMolPotential;
using Reals = std::vector<double>;
constexpr double kPi = std::numbers::pi;

struct Entry {
  unsigned int row;
  unsigned int column;
  double value;
};

// Value, gradient and Hessian of one function of one internal coordinate of six atoms; the sink is
// any of the three.
struct Term {
  const char* name;
  std::function<double(const double*)> value;
  std::function<void(PackedSink&, double*, const double*)> packed;
  std::function<void(BlockHessian&, double*, const double*)> blocked;
  std::function<void(EntrySink<Entry>&, double*, const double*)> entries;
};

template <class Value, class Add>
Term MakeTerm(const char* name, Value value, Add add) {
  return {name, value, add, add, add};
}

// f(q) = sin(1.3 q) + q²/4, with f' and f''.
double F(double q) {
  return std::sin(1.3 * q) + q * q / 4;
}
double F1(double q) {
  return 1.3 * std::cos(1.3 * q) + q / 2;
}
double F2(double q) {
  return -1.69 * std::sin(1.3 * q) + 0.5;
}

Vec3 At(const double* x, unsigned int i) {
  return LoadAtom(x, i);
}
// Atoms that are neither neighbours nor in order, so that both triangles are met.
VectorAngle AngleOf(const double* x) {
  return {At(x, 5) - At(x, 1), At(x, 2) - At(x, 1)};
}
DihedralCosine DihedralOf(const double* x) {
  return {At(x, 3), At(x, 5), At(x, 0), At(x, 2)};
}
OutOfPlane OutOf(const double* x) {
  return {At(x, 4), At(x, 2), At(x, 5), At(x, 0)};
}

const std::vector<Term>& Terms() {
  static const std::vector<Term> terms{
      MakeTerm(
          "distance",
          [](const double* x) { return F(PointDistance(At(x, 1), At(x, 4)).r); },
          [](auto& sink, double* g, const double* x) {
            const PointDistance d(At(x, 1), At(x, 4));
            AddDistanceDerivatives(sink, g, {1, 4}, d, F1(d.r), F2(d.r));
          }),
      MakeTerm(
          "angle",
          [](const double* x) { return F(AngleOf(x).Angle()); },
          [](auto& sink, double* g, const double* x) {
            const VectorAngle a = AngleOf(x);
            const double q = a.Angle();
            AddAngleDerivatives(sink, g, {5, 1, 2}, a, F1(q), F2(q));
          }),
      MakeTerm(
          "cosine of an angle",
          [](const double* x) { return F(AngleOf(x).cosine); },
          [](auto& sink, double* g, const double* x) {
            const VectorAngle a = AngleOf(x);
            AddAngleCosineDerivatives(sink, g, {5, 1, 2}, a, F1(a.cosine), F2(a.cosine));
          }),
      MakeTerm(
          "dihedral",
          [](const double* x) { return F(DihedralOf(x).SignedAngle()); },
          [](auto& sink, double* g, const double* x) {
            const DihedralCosine d = DihedralOf(x);
            const double q = d.SignedAngle();
            AddDihedralDerivatives(sink, g, {3, 5, 0, 2}, d, F1(q), F2(q));
          }),
      MakeTerm(
          "cosine of a dihedral",
          [](const double* x) { return F(DihedralOf(x).cosine); },
          [](auto& sink, double* g, const double* x) {
            const DihedralCosine d = DihedralOf(x);
            AddDihedralCosineDerivatives(sink, g, {3, 5, 0, 2}, d, F1(d.cosine), F2(d.cosine));
          }),
      MakeTerm(
          "out of plane",
          [](const double* x) { return F(OutOf(x).Angle()); },
          [](auto& sink, double* g, const double* x) {
            const OutOfPlane o = OutOf(x);
            const double q = o.Angle();
            AddOutOfPlaneDerivatives(sink, g, {4, 2, 5, 0}, o, F1(q), F2(q));
          })};
  return terms;
}

constexpr std::size_t kVars = 18;

Reals Packed(const Term& term, const Reals& x, Reals* gradient = nullptr) {
  Reals hessian(PackedSize(kVars), 0.0);
  PackedSink sink(hessian.data());
  term.packed(sink, gradient != nullptr ? gradient->data() : nullptr, x.data());
  return hessian;
}
Reals Gradient(const Term& term, const Reals& x) {
  Reals gradient(kVars, 0.0);
  Packed(term, x, &gradient);
  return gradient;
}

void ExpectNear(double got, double want, double tolerance, const std::string& what) {
  EXPECT_TRUE(std::abs(got - want) <= tolerance * (1.0 + std::abs(want)))
      << what << ": " << got << ", not " << want;
}

// Fourth-order differences: the gradient of the value, the Hessian of the gradient.
void ExpectDerivatives(const Term& term, const Reals& at, double step, double tolerance) {
  SCOPED_TRACE(term.name);
  Reals gradient(kVars, 0.0);
  const Reals hessian = Packed(term, at, &gradient);
  for (std::size_t i = 0; i < kVars; ++i) {
    const auto moved = [&](double h) {
      Reals x = at;
      x[i] += h;
      return x;
    };
    const auto difference = [&](auto f) {
      return (8.0 * (f(step) - f(-step)) - (f(2.0 * step) - f(-2.0 * step))) / (12.0 * step);
    };
    ExpectNear(gradient[i],
               difference([&](double h) { return term.value(moved(h).data()); }),
               tolerance,
               "gradient " + std::to_string(i));
    for (std::size_t j = 0; j <= i; ++j) {
      ExpectNear(hessian[PackedIndex(i, j)],
                 difference([&](double h) { return Gradient(term, moved(h))[j]; }),
                 tolerance,
                 "Hessian " + std::to_string(i) + ", " + std::to_string(j));
    }
  }
}

TEST(InternalCoordinates, DerivativesOfAnyFunctionAgreeWithDifferences) {
  std::mt19937 rng(71);
  std::uniform_real_distribution<double> place(-1.7, 1.7);
  for (int trial = 0; trial < 40; ++trial) {
    SCOPED_TRACE("seed 71, trial " + std::to_string(trial));
    Reals x(kVars);
    for (double& value : x) value = place(rng);
    // Where normals or sines are short, differences are worth little.
    if (AngleOf(x.data()).sine < 0.3 || OutOf(x.data()).toNormal.sine < 0.3) continue;
    if (DihedralOf(x.data()).product < 1.0 || std::abs(DihedralOf(x.data()).cosine) > 0.99)
      continue;
    if (PointDistance(At(x.data(), 1), At(x.data(), 4)).r < 0.5) continue;
    for (const Term& term : Terms()) ExpectDerivatives(term, x, 1e-3, 2e-6);
  }
}

TEST(InternalCoordinates, EverySinkReceivesTheSame) {
  std::mt19937 rng(72);
  std::uniform_real_distribution<double> place(-1.7, 1.7);
  Reals x(kVars);
  for (double& value : x) value = place(rng);
  BlockHessian blocks;
  std::vector<BlockHessian::AtomPair> pairs;
  for (unsigned int i = 0; i < 6; ++i) {
    for (unsigned int j = 0; j < 6; ++j) pairs.emplace_back(i, j);
  }
  blocks.SetPattern(6, pairs);
  EXPECT_EQ(blocks.NumPairs(), 15U);
  Reals expected(PackedSize(kVars), 0.0);
  std::vector<Entry> entries;
  EntrySink<Entry> sparse(entries);
  for (const Term& term : Terms()) {
    const Reals one = Packed(term, x);
    for (std::size_t k = 0; k < one.size(); ++k) expected[k] += one[k];
    term.blocked(blocks, nullptr, x.data());
    term.entries(sparse, nullptr, x.data());
  }
  Reals fromBlocks(expected.size(), 0.0);
  blocks.AddTo(PackedSink(fromBlocks.data()));
  Reals fromEntries(expected.size(), 0.0);
  for (const Entry& e : entries) {
    ASSERT_LE(e.column, e.row);
    fromEntries[PackedIndex(e.row, e.column)] += e.value;
  }
  Reals product(kVars, 0.0);
  blocks.Multiply(x.data(), product.data());
  for (std::size_t i = 0; i < kVars; ++i) {
    double sum = 0.0;
    for (std::size_t j = 0; j < kVars; ++j) {
      sum += expected[PackedIndex(std::max(i, j), std::min(i, j))] * x[j];
    }
    ExpectNear(product[i], sum, 1e-13, "H v");
  }
  for (std::size_t k = 0; k < expected.size(); ++k) {
    ExpectNear(fromBlocks[k], expected[k], 1e-13, "blocks");
    ExpectNear(fromEntries[k], expected[k], 1e-13, "entries");
  }
}

// In line and a hair off it: what is regular agrees with differences, what is flat there has the
// curvature of the bend, and nothing is ever not finite.
TEST(InternalCoordinates, StraightAnglesAreDefined) {
  for (const double end : {1.0, -1.0}) {
    for (const double off : {0.0, 1e-13, 1e-9, 1e-5}) {
      SCOPED_TRACE(std::to_string(end) + " off " + std::to_string(off));
      Reals x(kVars, 0.0);
      StoreAtom(x.data(), 5, {1.1, 0.0, 0.0});
      StoreAtom(x.data(), 2, {end * 1.4, off, 0.0});
      ExpectDerivatives(Terms()[2], x, 1e-3, 1e-6);
      const VectorAngle angle = AngleOf(x.data());
      EXPECT_NEAR(angle.Angle(), end > 0.0 ? off / 1.4 : kPi - off / 1.4, 1e-15);
      // E = 2 (θ - θ0)² with θ0 in line: the curvature per squared bend of the vertex is
      // 4 (1/1.1 ± 1/1.4)² across the line and 0 along it.
      Reals hessian(PackedSize(kVars), 0.0);
      Reals gradient(kVars, 0.0);
      PackedSink sink(hessian.data());
      const double q = angle.Angle() - (end > 0.0 ? 0.0 : kPi);
      AddAngleDerivatives(sink, gradient.data(), {5, 1, 2}, angle, 4.0 * q, 4.0);
      const double bend = 4.0 * std::pow(1.0 / 1.1 - end / 1.4, 2);
      ExpectNear(hessian[PackedIndex(4, 4)], bend, 1e-4, "yy");
      ExpectNear(hessian[PackedIndex(5, 5)], bend, 1e-4, "zz");
      ExpectNear(hessian[PackedIndex(3, 3)], 0.0, 1e-4, "xx");
      for (const double g : gradient) EXPECT_TRUE(std::abs(g) <= 1e-4);
    }
  }
}

TEST(InternalCoordinates, AtomsInLineHaveADihedralOfZeroAndNoDerivatives) {
  const std::vector<Reals> lines{{0, 0, 0, -1, -1, 1, -2, -2, 2, -2.5, -2, 2},
                                 {0, 0, 0, 1, 1, -1, 2, 2, -2, 2.5, 2, -2},
                                 {0, 1, 0, 0, 0, 0, 1, 0, 0, 2, 0, 0},
                                 {-1, 0, 0, 0, 0, 0, 1, 0, 0, 2, 0, 0}};
  for (const Reals& p : lines) {
    const DihedralCosine d(
        LoadAtom(p.data(), 0), LoadAtom(p.data(), 1), LoadAtom(p.data(), 2), LoadAtom(p.data(), 3));
    EXPECT_EQ(d.SignedAngle(), 0.0);
    Reals gradient(12, 0.0);
    Reals hessian(PackedSize(12), 0.0);
    PackedSink sink(hessian.data());
    AddDihedralDerivatives(sink, gradient.data(), {0, 1, 2, 3}, d, 1.0, 1.0);
    AddDihedralCosineDerivatives(sink, gradient.data(), {0, 1, 2, 3}, d, 1.0, 1.0);
    EXPECT_EQ(gradient, Reals(12, 0.0));
    EXPECT_EQ(hessian, Reals(PackedSize(12), 0.0));
  }
}

TEST(InternalCoordinates, TransIsPlusPi) {
  std::mt19937 rng(73);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  for (int trial = 0; trial < 2000; ++trial) {
    // Planar trans atoms turned anywhere: the sine is but rounding, of either sign.
    const double q[4] = {uniform(rng), uniform(rng), uniform(rng), uniform(rng)};
    const Mat3 turn = Rotation(q);
    const DihedralCosine d(turn * Vec3{-0.5, 1.0, 0.0},
                           turn * Vec3{},
                           turn * Vec3{1.5, 0.0, 0.0},
                           turn * Vec3{2.0, -1.0, 0.0});
    ASSERT_GT(d.SignedAngle(), 3.14) << trial;
    ASSERT_LE(d.SignedAngle(), kPi);
  }
}

// Two nested turns of some atoms, by differences of the turns themselves.
TEST(AtomMoments, GiveBothDerivativesOfNestedTurns) {
  std::mt19937 rng(74);
  std::uniform_real_distribution<double> uniform(-2.0, 2.0);
  const auto vector = [&] { return Vec3{uniform(rng), uniform(rng), uniform(rng)}; };
  const Vec3 outer = Normalised(vector());
  const Vec3 inner = Normalised(vector());
  const Vec3 outerAt = vector();
  const Vec3 innerAt = vector();
  const Vec3 origin = vector();
  AtomMoments moments;
  double slope = 0.0;
  double twice = 0.0;
  double mixed = 0.0;
  for (int atom = 0; atom < 5; ++atom) {
    const Vec3 x = vector();
    const Vec3 g = vector();
    moments.Add(x - origin, g);
    constexpr double h = 1e-3;
    const auto at = [&](double v, double w) {
      const Vec3 turned = innerAt + AxisRotation(inner, w)(x - innerAt);
      return Dot(g, outerAt + AxisRotation(outer, v)(turned - outerAt));
    };
    slope += (at(0, h) - at(0, -h)) / (2 * h);
    twice += (at(0, h) - 2 * at(0, 0) + at(0, -h)) / (h * h);
    mixed += (at(h, h) - at(h, -h) - at(-h, h) + at(-h, -h)) / (4 * h * h);
  }
  const AtomMoments about = moments.About(innerAt - origin);
  EXPECT_NEAR(Dot(inner, about.Torque()), slope, 1e-4);
  EXPECT_NEAR(Dot(inner, about.Curl(inner)), twice, 1e-4);
  EXPECT_NEAR(Dot(outer, about.Curl(inner)), mixed, 1e-4);
}

}  // namespace
