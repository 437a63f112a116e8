// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <ForceField/ForceField.h>
#include <GraphMol/FileParsers/FileParsers.h>
#include <GraphMol/ForceFieldHelpers/MMFF/AtomTyper.h>
#include <GraphMol/ForceFieldHelpers/MMFF/Builder.h>
#include <gtest/gtest.h>

#include <Eigen/Eigenvalues>
#include <cmath>
#include <memory>
#include <random>
#include <thread>

#include "forcefields/forcefields.h"
#include "molpotential/molpotential.h"
#include "qzchem/qzchem.h"
#include "support/allocations.h"
#include "support/capture.h"
#include "support/contract.h"
#include "support/molecules.h"
#include "support/records_text.h"

namespace {

using namespace QZMolPotential;
using namespace TestSupport;
using Kind = QZForceFieldKind;
using Term = QZForceFieldTermKind;
using Entries = std::vector<QZOpt::QZMatrixEntry>;

constexpr Kind kMmff[] = {Kind::MMFF94, Kind::MMFF94s};
constexpr unsigned int kSeed = 20261123;

// RDKit's field of all pairs and the terms wanted.
struct Reference {
  Reference(const QZChem::QZGraphMol& mol,
            Kind kind,
            const std::function<void(RDKit::MMFF::MMFFMolProperties&)>& choose)
      : rdkit(RDKit::MolBlockToMol(Written(mol), /*sanitize=*/true, /*removeHs=*/false)) {
    RDKit::MMFF::MMFFMolProperties types(*rdkit, QZGetForceFieldName(kind));
    choose(types);
    field.reset(RDKit::MMFF::constructForceField(*rdkit, &types, 1000.0, -1, false));
    field->initialize();
  }
  std::unique_ptr<RDKit::RWMol> rdkit;
  std::unique_ptr<ForceFields::ForceField> field;
};

void ExpectSame(QZMolFunc1& f, Reference& reference, std::vector<double> x) {
  std::vector<double> expected(x.size(), 0.0);
  const double energy = reference.field->calcEnergy(x.data());
  reference.field->calcGrad(x.data(), expected.data());
  std::vector<double> g(x.size(), 0.0);
  EXPECT_NEAR(f(x.data(), g.data()), energy, 1e-9 * std::max(1.0, std::abs(energy)));
  for (std::size_t i = 0; i < g.size(); ++i) {
    ASSERT_NEAR(g[i], expected[i], 1e-8 * std::max(1.0, std::abs(expected[i]))) << i;
  }
}

TEST(Mmff, EveryTermIsRDKits) {
  std::mt19937 rng(kSeed);
  for (const auto& mol : DataMolecules()) {
    for (Kind kind : kMmff) {
      for (int term = 0; term < 7; ++term) {
        SCOPED_TRACE(std::string(mol.GetTitle()) + " " + std::to_string(term));
        Reference reference(mol, kind, [term](auto& types) {
          types.setMMFFBondTerm(term == 0);
          types.setMMFFAngleTerm(term == 1);
          types.setMMFFStretchBendTerm(term == 2);
          types.setMMFFOopTerm(term == 3);
          types.setMMFFTorsionTerm(term == 4);
          types.setMMFFVdWTerm(term == 5);
          types.setMMFFEleTerm(term == 6);
        });
        QZForceFieldTerm ours(kind, static_cast<Term>(term));
        ASSERT_TRUE(ours.Setup(mol));
        ExpectSame(ours, reference, Jittered(Coords(mol), 0.1, rng));
      }
    }
  }
}

TEST(Mmff, DielectricAndCutoffAreOptions) {
  const auto mol = DataMolecule("penicillin_g");
  const auto x = Coords(mol);
  QZStandardFF ff(Kind::MMFF94);
  for (const bool byDistance : {false, true}) {
    Reference reference(mol, Kind::MMFF94, [&](auto& types) {
      types.setMMFFDielectricConstant(4.0);
      types.setMMFFDielectricModel(byDistance ? RDKit::MMFF::DISTANCE : RDKit::MMFF::CONSTANT);
    });
    ff.SetDielectric(4.0, byDistance);
    ASSERT_TRUE(ff.Setup(mol));
    ExpectSame(ff, reference, x);
  }
  const double all = ff(x.data());
  // Electrostatics fades from 0 on, by the cube of the distance over the cutoff.
  ff.SetCutoff(1e4);
  ASSERT_TRUE(ff.Setup(mol));
  EXPECT_NEAR(ff(x.data()), all, 1e-6);
  ff.SetCutoff(6.0, 2.0);
  ASSERT_TRUE(ff.Setup(mol));
  EXPECT_GT(std::abs(ff(x.data()) - all), 1e-3);
  EXPECT_EQ(CheckDerivatives(ff, x, 2e-6), "");
  double charge = 0.0;
  for (const double q : ff.GetPartialCharges()) charge += q;
  EXPECT_NEAR(charge, 0.0, 1e-9);
}

// Propyne with its carbons exactly in line, formaldehyde exactly flat, and both just off it.
TEST(Mmff, StraightAndFlatGroupsHaveDerivatives) {
  for (const double off : {0.0, 1e-9, 1e-4}) {
    auto propyne = FromSmiles("CC#C", /*embed=*/true);
    std::vector<double> x = Coords(propyne);
    const double line[] = {0.0, 1.46, 2.66, 3.72};
    const unsigned int carbonsAndH[] = {0, 1, 2, 6};
    const double shift[] = {x[0], x[1], x[2]};
    const double axis[] = {x[3] - x[0], x[4] - x[1], x[5] - x[2]};
    const double length = std::hypot(axis[0], axis[1], axis[2]);
    for (int a = 0; a < 4; ++a) {
      for (unsigned int k = 0; k < 3; ++k) {
        x[3 * carbonsAndH[a] + k] = shift[k] + line[a] * axis[k] / length;
      }
    }
    x[6] += off;
    for (const Term term : {Term::Bend, Term::StretchBend, Term::Torsion}) {
      QZForceFieldTerm f(Kind::MMFF94, term);
      ASSERT_TRUE(f.Setup(propyne));
      EXPECT_EQ(CheckDerivatives(f, x), "") << off;
    }
    auto formaldehyde = FromSmiles("C=O", /*embed=*/true);
    const std::vector<double> flat = {0, 0, 0, 1.2, 0, 0, -0.6, 0.9, off, -0.6, -0.9, 0};
    formaldehyde.SetCoords(Coords(formaldehyde).data());
    QZForceFieldTerm f(Kind::MMFF94, Term::OutOfPlane);
    ASSERT_TRUE(f.Setup(formaldehyde));
    EXPECT_EQ(CheckDerivatives(f, flat), "") << off;
  }
}

// Water with its atoms in line or in one place has a kink there; values stay finite.
TEST(Mmff, KinksStayFinite) {
  const auto aspirin = DataMolecule("aspirin");
  std::vector<double> x = Coords(aspirin);
  std::vector<double> flattened(x.size(), 0.0);
  for (std::size_t i = 0; i < x.size(); i += 3) flattened[i] = 0.3 * static_cast<double>(i);
  std::vector<double> coincident(x);
  std::copy_n(x.begin(), 3, coincident.begin() + 3);
  for (const auto& at : {flattened, coincident}) {
    for (int term = 0; term < 7; ++term) {
      QZForceFieldTerm f(Kind::MMFF94, static_cast<Term>(term));
      ASSERT_TRUE(f.Setup(aspirin));
      std::vector<double> g(x.size(), 0.0);
      std::vector<double> h(x.size() * (x.size() + 1) / 2, 0.0);
      EXPECT_TRUE(std::isfinite(f(at.data(), g.data()))) << term;
      EXPECT_TRUE(f(at.data(), h.data(), g.data()));
      for (const double value : g) ASSERT_TRUE(std::isfinite(value)) << term;
      for (const double value : h) ASSERT_TRUE(std::isfinite(value)) << term;
    }
  }
  x[4] = std::nan("");
  for (int term = 0; term < 7; ++term) {
    QZForceFieldTerm f(Kind::MMFF94, static_cast<Term>(term));
    ASSERT_TRUE(f.Setup(aspirin));
    EXPECT_TRUE(std::isnan(f(x.data()))) << term;
  }
}

Eigen::MatrixXd Dense(const Entries& entries, Eigen::Index n) {
  Eigen::MatrixXd m = Eigen::MatrixXd::Zero(n, n);
  for (const auto& e : entries) {
    EXPECT_LE(e.column, e.row);
    m(e.row, e.column) += e.value;
    if (e.row != e.column) m(e.column, e.row) += e.value;
  }
  return m;
}

TEST(Mmff, EntriesAreTheHessianAndTheModelIsItsPositivePart) {
  const auto mol = DataMolecule("cyanoalkyne");
  std::mt19937 rng(kSeed);
  const auto x = Jittered(Coords(mol), 0.1, rng);
  QZStandardFF ff(Kind::MMFF94);
  ASSERT_TRUE(ff.Setup(mol));
  const auto n = static_cast<Eigen::Index>(x.size());
  std::vector<double> h(x.size() * (x.size() + 1) / 2, 0.0);
  ASSERT_TRUE(ff(x.data(), h.data(), nullptr));
  Entries entries;
  ASSERT_TRUE(ff.AppendHessian(x.data(), entries));
  const Eigen::MatrixXd hessian = Dense(entries, n);
  for (Eigen::Index r = 0, k = 0; r < n; ++r) {
    for (Eigen::Index c = 0; c <= r; ++c, ++k) {
      ASSERT_NEAR(hessian(r, c), h[static_cast<std::size_t>(k)], 1e-8);
    }
  }
  entries.clear();
  ASSERT_TRUE(ff.AppendModelHessian(x.data(), entries));
  const Eigen::MatrixXd model = Dense(entries, n);
  const Eigen::VectorXd values =
      Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd>(model).eigenvalues();
  EXPECT_GE(values[0], -1e-9 * values[n - 1]);
  // Along the stiffest direction the model is the Hessian, but for a few percent.
  const Eigen::VectorXd stiff =
      Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd>(hessian).eigenvectors().col(n - 1);
  const double curvature = stiff.dot(hessian * stiff);
  EXPECT_NEAR(stiff.dot(model * stiff), curvature, 0.1 * curvature);
  EXPECT_TRUE(QZIsFrameInvariant(ff));
}

// Two ions: the model is the curvature along their distance where that is stiff, but no more than
// 10, otherwise nothing.
TEST(Mmff, ModelOfAContactIsItsCurvature) {
  QZChem::QZGraphMol salt;
  salt.AddAtom(11, 0.0, 0.0, 0.0)->SetFormalCharge(1);
  salt.AddAtom(17, 2.5, 0.0, 0.0)->SetFormalCharge(-1);
  QZStandardFF ff(Kind::MMFF94);
  ASSERT_TRUE(ff.Setup(salt));
  const auto energyAt = [&](double r) {
    const std::vector<double> x{0.0, 0.0, 0.0, r, 0.0, 0.0};
    return ff(x.data());
  };
  for (const double r : {2.2, 2.5, 3.0, 3.5}) {
    constexpr double kStep = 1e-3;
    const double curvature =
        (energyAt(r + kStep) - 2.0 * energyAt(r) + energyAt(r - kStep)) / (kStep * kStep);
    Entries entries;
    const std::vector<double> x{0.0, 0.0, 0.0, r, 0.0, 0.0};
    ASSERT_TRUE(ff.AppendModelHessian(x.data(), entries));
    Eigen::MatrixXd expected = Eigen::MatrixXd::Zero(6, 6);
    if (curvature > 2.0) {
      expected(0, 0) = expected(3, 3) = std::min(curvature, 10.0);
      expected(0, 3) = expected(3, 0) = -expected(0, 0);
    }
    EXPECT_EQ(curvature > 2.0, r < 3.2) << curvature;
    EXPECT_LE((Dense(entries, 6) - expected).cwiseAbs().maxCoeff(), 1e-4 * std::abs(curvature));
  }
}

// Frozen, it is what a subset adaptor's predicates make of it, and the caller's selections stay.
TEST(Mmff, FreezingLeavesOutWhatCannotChange) {
  const auto mol = DataMolecule("imatinib");
  const auto x = Coords(mol);
  std::vector<unsigned char> fixed(mol.AtomIndexBound());
  for (unsigned int i = 0; i < fixed.size(); ++i) fixed[i] = i % 3 != 0;
  for (const bool selected : {false, true}) {
    QZStandardFF ff(Kind::MMFF94);
    QZStandardFF reference(Kind::MMFF94);
    if (selected) {
      const auto chosen = AtomsWhere([](unsigned int i) { return i < 40; });
      ASSERT_TRUE(ff.Set(QZChem::QZUnaryToBinaryOr<QZChem::QZAtomBase>(chosen), 5));
      ASSERT_TRUE(ff.Set(chosen, 192));
    }
    EXPECT_FALSE(ff.Freeze(fixed.data()));
    ASSERT_TRUE(ff.Setup(mol));
    std::vector<double> whole(x.size(), 0.0);
    const double before = ff(x.data(), whole.data());
    ASSERT_TRUE(ff.Freeze(fixed.data()));
    std::vector<double> some(x.size(), 0.0);
    const double constant = before - ff(x.data(), some.data());
    EXPECT_GT(std::abs(constant), 1e-3);
    std::vector<double> y(x);
    for (std::size_t atom = 0; atom < fixed.size(); ++atom) {
      if (fixed[atom] != 0) continue;
      for (std::size_t k = 3 * atom; k < 3 * atom + 3; ++k) {
        EXPECT_NEAR(some[k], whole[k], 1e-9 * std::max(1.0, std::abs(whole[k])));
        y[k] += 0.02;
      }
    }
    const std::unique_ptr<QZStandardFF> copy(ff.CreateCopy());
    const double moved = ff(y.data());
    EXPECT_EQ((*copy)(y.data()), moved);
    std::size_t contributions = 0;
    for (const auto& i : QZSystem::QZRange(ff.GetInteractions(mol, x.data(), ~0U))) {
      bool moves = false;
      for (const auto& atom : QZSystem::QZRange(i.GetAtoms())) {
        moves = moves || fixed[atom.GetIndex()] == 0;
      }
      EXPECT_TRUE(moves);
      ++contributions;
    }
    EXPECT_GT(contributions, 0u);
    ASSERT_TRUE(ff.Freeze(nullptr));
    EXPECT_NEAR(ff(y.data()), moved + constant, 1e-9 * std::abs(moved));
    EXPECT_NEAR(ff(x.data()), before, 1e-10);
  }
}

// Terms that the sum computes together part when one of them is bound to something else.
TEST(Mmff, TheSumIsThatOfItsComponentsWhateverBecomesOfThem) {
  const auto mol = DataMolecule("penicillin_g");
  const auto x = Coords(mol);
  const auto expectSum = [&](QZStandardFF& ff) {
    double sum = 0.0;
    std::vector<double> expected(x.size(), 0.0);
    for (QZMolFunc2* term : ff.QZGenericFFImpl2::GetComponentPotentials()) {
      sum += (*term)(x.data(), expected.data());
    }
    std::vector<double> g(x.size(), 0.0);
    EXPECT_NEAR(ff(x.data(), g.data()), sum, 1e-10 * std::abs(sum));
    EXPECT_NEAR(ff(x.data()), sum, 1e-10 * std::abs(sum));
    EXPECT_LT(LargestDifference(g, expected), 1e-9);
  };
  QZStandardFF ff(Kind::MMFF94);
  ASSERT_TRUE(ff.Setup(mol));
  expectSum(ff);
  const auto terms = ff.QZGenericFFImpl2::GetComponentPotentials();
  const auto few = AtomsWhere([](unsigned int i) { return i < 9; });
  for (const std::size_t which : {2, 6}) {
    QZMolFunc2& term = *terms[which];
    term.Set(QZChem::QZUnaryToBinaryOr<QZChem::QZAtomBase>(few), 4);
    term.Set(QZChem::QZUnaryToBinaryOr<QZChem::QZBondBase>(BondPred(few)), 32);
    ASSERT_TRUE(term.Setup(mol));
    expectSum(ff);
  }
  ASSERT_TRUE(ff.Setup(mol));
  expectSum(ff);
  QZStandardFF copy(ff);
  ASSERT_TRUE(ff.Remove(*terms[5]) && ff.Remove(*terms[1]));
  expectSum(ff);
  expectSum(copy);
}

TEST(Mmff, EvaluationAllocatesNothingAndBindingAgainPerceivesNothing) {
  auto mol = DataMolecule("imatinib");
  std::vector<double> x = Coords(mol);
  std::vector<double> g(x.size(), 0.0);
  std::vector<double> h(x.size() * (x.size() + 1) / 2, 0.0);
  unsigned long count = QZChem::QZCountPerceptions();
  const unsigned long conversions = QZChem::QZCountConversions();
  QZStandardFF ff(Kind::MMFF94);
  ASSERT_TRUE(ff.Setup(mol));
  EXPECT_EQ(QZChem::QZCountPerceptions() - count, 1u);
  ff(x.data(), h.data(), g.data());
  const unsigned long before = Allocations();
  ff(x.data());
  ff(x.data(), g.data());
  ff(x.data(), h.data(), g.data());
  EXPECT_EQ(Allocations() - before, 0u);

  count = QZChem::QZCountPerceptions();
  QZForceFieldTerm term(Kind::MMFF94, Term::Torsion);
  QZChem::QZSubSearch search;
  ASSERT_TRUE(search.Init("c1ccccc1", false));
  std::vector<double> moved(x);
  moved[0] += 0.1;
  mol.SetCoords(moved.data());
  const QZChem::QZGraphMol copy(mol);
  EXPECT_TRUE(ff.Setup(mol) && ff.Setup(copy) && term.Setup(mol));
  delete search.Match(copy, true);
  delete ff.GetInteractions(mol, x.data(), ~0U);
  EXPECT_TRUE(QZMMFFParams().HasParams(mol));
  EXPECT_EQ(QZChem::QZCountPerceptions(), count);
  EXPECT_EQ(QZChem::QZCountConversions() - conversions, 1u);
  // Charges change types.
  mol.GetAtom(0)->SetFormalCharge(1);
  QZMMFFParams().HasParams(mol);
  EXPECT_GT(QZChem::QZCountPerceptions(), count);
  EXPECT_TRUE(QZMMFFParams().HasParams(copy));

  // Threads that bind at once wait for one perception.
  const auto fresh = DataMolecule("caffeine");
  count = QZChem::QZCountPerceptions();
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&fresh] { EXPECT_TRUE(QZStandardFF(Kind::MMFF94).Setup(fresh)); });
    }
  }
  EXPECT_EQ(QZChem::QZCountPerceptions() - count, 1u);
}

// A caller's own sum over the records is the force field's term.
TEST(Mmff, ParametersAreThoseOfTheTerms) {
  const auto mol = DataMolecule("aspirin");
  const auto x = Coords(mol);
  const QZMMFFParams params;
  QZInteractParams p;
  double stretch = 0.0;
  for (const auto& bond : QZSystem::QZRange(mol.GetBonds())) {
    ASSERT_TRUE(params.GetBondParams(p, &bond));
    const double d = QZChem::QZGetDistance(mol, bond.GetBegin(), bond.GetEnd()) - p[0];
    stretch += 0.5 * p[1] * d * d * (1.0 - 2.0 * d + 7.0 / 3.0 * d * d);
  }
  QZForceFieldTerm term(Kind::MMFF94, Term::Stretch);
  ASSERT_TRUE(term.Setup(mol));
  EXPECT_NEAR(stretch, term(x.data()), 1e-9);

  // Every interaction's parameters are found by its atoms, in either direction.
  QZStandardFF ff(Kind::MMFF94);
  ASSERT_TRUE(ff.Setup(mol));
  std::size_t seen = 0;
  for (const auto& i : QZSystem::QZRange(ff.GetInteractions(mol, x.data(), ~0U))) {
    std::vector<const QZChem::QZAtomBase*> a;
    for (const auto& atom : QZSystem::QZRange(i.GetAtoms())) a.push_back(&atom);
    std::vector<double> values(i.NumValues());
    i.GetValues(values.data());
    const std::string name = i.GetName();
    p = QZInteractParams();
    bool found = name == "Stretch";
    unsigned int first = 0;
    if (name == "Bend") found = params.GetAngleParams(p, a[2], a[1], a[0]);
    if (name == "Stretch-Bend") found = params.GetStretchBendParams(p, a[0], a[1], a[2]);
    if (name == "Torsion") found = params.GetTorsionParams(p, a[3], a[2], a[1], a[0]);
    if (name == "Out-of-Plane") {
      found = params.GetOutOfPlaneParams(p, a[0], a[1], a[2], a[3]);
      first = 1;
    }
    if (name == "Van der Waals") found = params.GetVdwParams(p, a[0], a[1]);
    if (name == "Electrostatics") found = params.GetElectrostaticParams(p, a[0], a[1]);
    ASSERT_TRUE(found) << name;
    if (name == "Stretch") continue;
    for (std::size_t k = 0; k < values.size(); ++k) {
      EXPECT_EQ(p[first + static_cast<unsigned int>(k)], values[k]) << name;
    }
    ++seen;
  }
  EXPECT_GT(seen, 300u);
  const auto atom = [&](unsigned int i) { return mol.GetAtom(i); };
  EXPECT_FALSE(params.GetVdwParams(p, atom(0), atom(1)));
  EXPECT_FALSE(params.GetAngleParams(p, atom(0), atom(8), atom(3)));
  EXPECT_FALSE(params.GetBondParams(p, nullptr));
  EXPECT_FALSE(params.GetVdwParams(p, atom(0), DataMolecule("butane").GetAtom(0)));
  EXPECT_FALSE(QZMMFFParams(Kind::UFF).HasParams(mol));
  EXPECT_GT(params.GetAtomType(atom(0)), 0u);

  auto butane = DataMolecule("butane");
  ResetBondsAnglesAtFFEquilibriumParams(butane, params, /*resetAngles=*/true);
  for (const auto& bond : QZSystem::QZRange(butane.GetBonds())) {
    ASSERT_TRUE(params.GetBondParams(p, &bond));
    EXPECT_NEAR(QZChem::QZGetDistance(butane, bond.GetBegin(), bond.GetEnd()), p[0], 1e-9);
  }
}

TEST(Mmff, VerboseSetupPrintsEveryContribution) {
  const auto mol = DataMolecule("butane");
  MessageCapture capture;
  QZForceFieldTerm term(Kind::MMFF94, Term::Torsion);
  term.SetVerbose(true);
  ASSERT_TRUE(term.Setup(mol));
  const auto lines = capture.At(QZSystem::QZErrorLevel::Info);
  ASSERT_EQ(lines.size(), term.NumContributions());
  double sum = 0.0;
  for (const auto& line : lines) sum += std::stod(line.substr(std::string("Torsion ").size()));
  EXPECT_NEAR(sum, term(Coords(mol).data()), 1e-4);
}

}  // namespace
