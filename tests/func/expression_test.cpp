// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/expression.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "constr/constr.h"
#include "support/allocations.h"
#include "support/capture.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using namespace TestSupport;
using QZMolPotential::QZExpressionFunc;

double ValueOf(const std::string& text) {
  QZExpressionFunc f(text, {{"k", 3.0}, {"r_0", 1.5}});
  EXPECT_EQ(f.GetError(), "") << text;
  const Reals x(42, 0.0);
  EXPECT_TRUE(f.Setup(Butane()));
  return f(x.data());
}

TEST(Expression, Arithmetic) {
  const std::vector<std::pair<const char*, double>> cases{
      {"1 + 2*3 - 4/8", 6.5},
      {"-2^2", -4.0},
      {"2^3^2", 512.0},
      {"2**-1 ^ 2", 0.5},
      {"--3 - -1", 4.0},
      {"(1+2)*(3-1)/4", 1.5},
      {"2 * k - r_0*pi/pi", 4.5},
      {".5e1 + 1E-1", 5.1},
      {"sqrt(16)+exp(0)+log(1)+abs(-2)", 7.0},
      {"sin(pi/2) + cos(pi) + tan(0)", 0.0},
      {"min(3, 1, 2) + max(k, 2, -7)", 4.0},
      {"(-2)^3 + 0^0 + x(3)", -7.0},
  };
  for (const auto& [text, value] : cases) EXPECT_NEAR(ValueOf(text), value, 1e-14) << text;
}

TEST(Expression, DerivativesAndContract) {
  std::mt19937 rng(91);
  const auto mol = Butane();
  const std::map<std::string, double> constants{{"k", 3.0}, {"r0", 1.45}};
  for (const char* text :
       {"k*(distance(0,1)-r0)^2 + 2*angle(0,1,2)*dihedral(3,2,1,0)",
        "exp(-distance(0,9)/2) * sin(distance(1,9)) / (1 + angle(5,2,9)^2)",
        "log(distance(3,8))^3 - sqrt(distance(0,13)) * tan(angle(0,1,5)/4)",
        "distance(0,4)^(distance(1,7)/3) + 2^angle(1,2,3) + cos(3*dihedral(0,1,2,3))",
        "max(distance(0,1), 5*distance(2,3)) + min(angle(0,1,2), 9) - abs(-angle(9,2,3))",
        "-distance(0,2)**-2 / distance(1,3) - 4"}) {
    const Reals x = Jittered(Coords(mol), 0.15, rng);
    const auto make = [&] { return new QZExpressionFunc(text, constants); };
    EXPECT_EQ(CheckContract(make, mol, x), "") << text << ", seed 91";
    QZExpressionFunc f(text, constants);
    EXPECT_TRUE(f.IsFrameInvariant() && f.Setup(mol));
    Reals grad(x.size());
    Reals hessian(x.size() * (x.size() + 1) / 2);
    const auto use = [&] {
      f(x.data());
      f(x.data(), grad.data());
      f(x.data(), hessian.data(), grad.data());
    };
    EXPECT_EQ(AllocationsOf(use), 0) << text;
  }
  const auto placed = [] { return new QZExpressionFunc("(x(2)*y(14) - z(2)^2)^2", {}, 1); };
  EXPECT_EQ(CheckContract(placed, mol, Coords(mol), /*rigidInvariant=*/false), "");
  EXPECT_FALSE(std::unique_ptr<QZExpressionFunc>(placed())->IsFrameInvariant());
}

// A term written as an expression is the class that has it built in.
TEST(Expression, EqualsTheBuiltInPenalty) {
  std::mt19937 rng(92);
  const auto mol = Butane();
  const Reals x = Jittered(Coords(mol), 0.3, rng);
  QZExpressionFunc f("30*(distance(2,14) - 1.3)^2", {}, /*atomsFrom=*/1);
  QZConstr::QZDistanceQuadPenalty g(*mol.GetAtom(1), *mol.GetAtom(13), 1.3, 30.0);
  ASSERT_TRUE(f.Setup(mol) && g.Setup(mol));
  Reals hf(42 * 43 / 2, 0.0);
  Reals hg(hf.size(), 0.0);
  Reals df(42, 0.0);
  Reals dg(42, 0.0);
  EXPECT_TRUE(f(x.data(), hf.data(), df.data()) && g(x.data(), hg.data(), dg.data()));
  EXPECT_NEAR(f(x.data()), g(x.data()), 1e-12);
  EXPECT_LE(LargestDifference(df, dg), 1e-12);
  EXPECT_LE(LargestDifference(hf, hg), 1e-11);
}

TEST(Expression, ErrorsTellWhereAndWhy) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"", "position 1: expected a value, found the end"},
      {"1 +", "position 4: expected a value, found the end"},
      {"2 * (3 + 1", "position 11: expected ')'"},
      {"1 2", "position 3: expected an operator or the end"},
      {"3 $ 4", "position 3: expected an operator or the end"},
      {"foo + 1", "position 1: unknown name 'foo'"},
      {"2*foo(1)", "position 3: unknown function 'foo'"},
      {"distance(1)", "position 11: expected ','"},
      {"distance(1, 1)", "position 14: the same atom twice"},
      {"angle(1, 2.5, 3)", "position 11: expected ','"},
      {"x(-1)", "position 3: expected an atom's number"},
      {"x(99999999999)", "position 3: expected an atom's number"},
      {"distance(0, 1)", "position 10: atoms count from 1"},
      {"min(1)", "position 6: expected ','"},
      {"1e999", "position 1: not a number"},
      {"* 2", "position 1: expected a value, found '*'"},
      {std::string(5000, '('), "position 201: nested too deeply"},
      {std::string(5000, '-') + "1", "position 201: nested too deeply"},
  };
  for (const auto& [text, error] : cases) {
    QZExpressionFunc f(text, {}, 1);
    EXPECT_EQ(f.GetError(), error) << text;
    MessageCapture messages;
    EXPECT_FALSE(f.Setup(Butane()));
    EXPECT_EQ(messages.Warnings().size(), 1U);
  }
  QZExpressionFunc missing("distance(3, 14)");
  MessageCapture messages;
  EXPECT_TRUE(missing.GetError().empty() && !missing.Setup(Butane()));
  EXPECT_EQ(messages.Warnings().size(), 1U);
  EXPECT_NE(QZExpressionFunc("1", {}, 2).GetError(), "");
}

}  // namespace
