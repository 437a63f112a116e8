// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause

// What restraints, sums and wrappers tell a minimiser, and that evaluation takes no memory.
#include <Eigen/Dense>
#include <functional>
#include <numeric>

#include "constr/constr_support.h"
#include "support/allocations.h"

namespace {

using namespace TestSupport;
using namespace QZConstr;
using namespace QZMolPotential;
using Func = std::unique_ptr<QZMolFunc1>;

class Sum final : public QZMolContainerFunc {
 public:
  Sum* CreateCopy() const override { return nullptr; }
};

struct Kind {
  const char* name;
  std::function<QZMolFunc1*()> make;
  bool invariant;
};

std::vector<Kind> Kinds(const QZChem::QZMolBase& m) {
  const auto at = [&m](unsigned int i) -> const QZChem::QZAtomBase& { return Atom(m, i); };
  return {
      {"distance", [=] { return new QZDistanceQuadPenalty(at(0), at(5), 1.0, 9.0); }, true},
      {"short", [=] { return new QZDistanceQuadPenalty(at(0), at(5), 9.0, 9.0); }, true},
      {"band", [=] { return new QZDistLimitPenalty(at(1), at(9), 0.1, 0.2, 4.0); }, true},
      {"cosine",
       [=] { return new QZDihedralQuadPenalty(at(0), at(1), at(2), at(3), 1.0, 5.0); },
       true},
      {"torsion", [] { return new QZTorsionAngleRestraint(3.0, 1.0); }, true},
      {"pattern", [] { return new QZTorsionHarmConstr("[C:1][C:2][C:3][C:4]", 3.0, 1.0); }, true},
      {"spring", [] { return new QZHarmonicPotential(2.0, 0.0); }, false},
      {"cubic", [] { return new QZPowerPotential(0.05, 2.0, 3.0); }, false}};
}

Eigen::MatrixXd Model(QZOpt::QZHessianModel& f, const Reals& x) {
  std::vector<QZOpt::QZMatrixEntry> entries;
  EXPECT_TRUE(f.AppendModelHessian(x.data(), entries));
  const auto n = static_cast<Eigen::Index>(x.size());
  Eigen::MatrixXd h = Eigen::MatrixXd::Zero(n, n);
  for (const auto& e : entries) {
    EXPECT_LE(e.column, e.row);
    h(e.row, e.column) += e.value;
    if (e.row != e.column) h(e.column, e.row) += e.value;
  }
  return h;
}

Eigen::MatrixXd Differences(QZMolFunc1& f, const Reals& x) {
  const auto n = static_cast<Eigen::Index>(x.size());
  Eigen::MatrixXd h(n, n);
  for (Eigen::Index i = 0; i < n; ++i) {
    for (const double side : {1.0, -1.0}) {
      Reals moved = x;
      moved[static_cast<std::size_t>(i)] += side * 1e-5;
      Eigen::VectorXd g = Eigen::VectorXd::Zero(n);
      f(moved.data(), g.data());
      if (side > 0.0) {
        h.col(i) = g / 2e-5;
      } else {
        h.col(i) -= g / 2e-5;
      }
    }
  }
  return h;
}

TEST(Hints, ModelsArePositiveAndNoLessThanTheHessian) {
  std::mt19937 rng(5501);
  const auto mol = Butane();
  for (const Kind& kind : Kinds(mol)) {
    SCOPED_TRACE(kind.name);
    const Func f(kind.make());
    ASSERT_TRUE(f->Setup(mol));
    EXPECT_EQ(QZIsFrameInvariant(*f), kind.invariant);
    const Reals x = Jittered(Coords(mol), 0.2, rng);
    const Eigen::MatrixXd model = Model(dynamic_cast<QZOpt::QZHessianModel&>(*f), x);
    const Eigen::MatrixXd hessian = Differences(*f, x);
    const auto least = [](const Eigen::MatrixXd& h) {
      return Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd>(h).eigenvalues()(0);
    };
    EXPECT_GE(least(model), -1e-9);
    EXPECT_GT(model.trace(), 0.1);
    const std::string name = kind.name;
    // Distances and positions: the model is the Hessian's positive part.
    if (name == "distance" || name == "band" || name == "spring" || name == "cubic") {
      EXPECT_LE((model - hessian).norm(), 1e-5 * hessian.norm());
    } else if (name == "short") {
      EXPECT_GE(least(model - hessian), -1e-5);
    }
  }
}

TEST(Hints, SumsAndWrappersAnswerForWhatTheyHold) {
  std::mt19937 rng(5502);
  const auto mol = Butane();
  const Reals x = Jittered(Coords(mol), 0.2, rng);
  ProbeFunc silent;  // offers no hint
  QZGenericFF2 field;
  EXPECT_TRUE(QZIsFrameInvariant(field));
  std::vector<QZOpt::QZMatrixEntry> none;
  EXPECT_FALSE(field.AppendModelHessian(x.data(), none));
  Sum container;
  QZDistanceQuadPenalty distance(Atom(mol, 0), Atom(mol, 5), 1.0, 9.0);
  QZHarmonicPotential spring(2.0, 0.0);
  ASSERT_TRUE(distance.Setup(mol) && spring.Setup(mol) && silent.Setup(mol));
  const Eigen::MatrixXd one = Model(distance, x);
  field.Add(static_cast<QZMolFunc2&>(distance), /*own=*/false);
  container.push(&distance);
  QZScaledMolFunc scaled(static_cast<QZMolFunc1&>(field), 2.5, /*own=*/false);
  QZScaledMolFunc negative(field, -1.0, /*own=*/false);
  QZNumericMolFunc2 numeric(container, /*own=*/false);
  EXPECT_TRUE(QZIsFrameInvariant(scaled) && QZIsFrameInvariant(numeric));
  EXPECT_LE((Model(scaled, x) - 2.5 * one).norm(), 1e-12 * one.norm());
  EXPECT_EQ((Model(numeric, x) - one).norm(), 0.0);
  EXPECT_FALSE(negative.AppendModelHessian(x.data(), none));
  field.Add(spring, /*own=*/false);
  container.push(&silent);
  EXPECT_FALSE(QZIsFrameInvariant(field) || QZIsFrameInvariant(scaled));
  EXPECT_FALSE(QZIsFrameInvariant(numeric));
  EXPECT_LE((Model(field, x) - one - Model(spring, x)).norm(), 1e-12 * one.norm());
  EXPECT_EQ((Model(container, x) - one).norm(), 0.0);
  EXPECT_TRUE(none.empty());
}

TEST(Evaluation, AllocatesNothing) {
  const auto mol = Butane();
  const Reals x = Coords(mol);
  Reals grad(x.size());
  Reals hessian(x.size() * (x.size() + 1) / 2);
  QZGenericFF2 field;
  std::vector<Func> held;
  for (const Kind& kind : Kinds(mol)) {
    held.emplace_back(kind.make());
    if (auto* f2 = dynamic_cast<QZMolFunc2*>(held.back().get())) field.Add(*f2, /*own=*/false);
  }
  held.push_back(std::make_unique<QZScaledMolFunc>(field, 0.5, /*own=*/false));
  for (const Func& f : held) {
    ASSERT_TRUE(f->Setup(mol));
    auto* f2 = dynamic_cast<QZMolFunc2*>(f.get());
    EXPECT_EQ(AllocationsOf([&] {
                (*f)(x.data());
                (*f)(x.data(), grad.data());
                if (f2 != nullptr) (*f2)(x.data(), hessian.data(), grad.data());
              }),
              0);
  }
  std::vector<std::unique_ptr<QZMolConstr>> constraints;
  constraints.push_back(std::make_unique<QZDistanceConstr>(Atom(mol, 0), Atom(mol, 1)));
  constraints.push_back(std::make_unique<QZAngleConstr>(Atom(mol, 0), Atom(mol, 1), Atom(mol, 2)));
  constraints.push_back(
      std::make_unique<QZDihedralConstr>(Atom(mol, 0), Atom(mol, 1), Atom(mol, 2), Atom(mol, 3)));
  for (const auto& c : constraints) {
    ASSERT_TRUE(c->Setup(mol));
    EXPECT_EQ(AllocationsOf([&] { (*c)(x.data(), grad.data()); }), 0);
  }
  EXPECT_GT(AllocationsOf([] { Reals some(10); }), 0);  // the counter works
}

}  // namespace
