// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/normalmodes.h"

#include <gtest/gtest.h>

#include <Eigen/Eigenvalues>
#include <cmath>
#include <numbers>

#include "forcefields/forcefields.h"
#include "molpotential/molpotential.h"
#include "qzchem/qzchem.h"
#include "qzopt/optimizers.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using namespace QZMolPotential;

constexpr double kPi = std::numbers::pi;
// cm⁻¹ of sqrt(kcal/mol/Å²/u): sqrt(4184 J/kcal / 1e-3 kg/mol) 1e10/m / (2 pi c 100 cm/m).
const double kWavenumber = std::sqrt(4.184e6) * 1e10 / (2.0 * kPi * 2.99792458e10);
constexpr double kGas = 1.987204259e-3;  // kcal/mol/K

// 1/2 k (r - r0)² of atoms 0 and 1, and 1/2 pull |x - x0|² of every atom.
class Springs final : public QZMolFunc2 {
 public:
  Springs(double k, double r0, double pull, std::vector<double> at)
      : k_(k), r0_(r0), pull_(pull), at_(std::move(at)) {}
  bool Setup(const QZChem::QZMolBase&) override { return true; }
  QZMolFunc2* CreateCopy() const override { return new Springs(*this); }
  unsigned int NumVar() const override { return static_cast<unsigned int>(at_.size()); }
  double operator()(const double* x) override {
    std::vector<double> unused(NumVar());
    return (*this)(x, unused.data());
  }
  double operator()(const double* x, double* grad) override {
    double d[3];
    for (int i = 0; i < 3; ++i) d[i] = x[3 + i] - x[i];
    const double r = std::hypot(d[0], d[1], d[2]);
    double energy = 0.5 * k_ * (r - r0_) * (r - r0_);
    for (int i = 0; i < 3; ++i) {
      grad[3 + i] += k_ * (r - r0_) * d[i] / r;
      grad[i] -= k_ * (r - r0_) * d[i] / r;
    }
    for (std::size_t i = 0; i < at_.size(); ++i) {
      energy += 0.5 * pull_ * (x[i] - at_[i]) * (x[i] - at_[i]);
      grad[i] += pull_ * (x[i] - at_[i]);
    }
    return energy;
  }
  bool operator()(const double* x, double* hessian, double* grad) override {
    QZOpt::NumericHessian(*this, x, hessian, 1e-4);
    if (grad != nullptr) (*this)(x, grad);
    return true;
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double*) override {
    return QZSystem::QZMakeEmptyIter<QZOpt::QZFComponent>();
  }
  QZSystem::QZIterBase<QZInteraction>* GetInteractions(const QZChem::QZMolBase&,
                                                       const double*,
                                                       unsigned int) const override {
    return QZSystem::QZMakeEmptyIter<QZInteraction>();
  }

 private:
  double k_, r0_, pull_;
  std::vector<double> at_;
};

QZChem::QZGraphMol CarbonMonoxide() {
  QZChem::QZGraphMol mol;
  auto* carbon = mol.AddAtom(6, 0.3, -0.2, 0.5);
  auto* oxygen = mol.AddAtom(8, 0.3 + 0.8, -0.2 + 0.6, 0.5 + 0.5);
  mol.AddBond(carbon, oxygen, 3);
  return mol;
}

TEST(NormalModes, DiatomicHasTheClosedForm) {
  const QZChem::QZGraphMol mol = CarbonMonoxide();
  const std::vector<double> x = TestSupport::Coords(mol);
  const double r = std::sqrt(0.64 + 0.36 + 0.25);
  const double k = 2000.0;
  Springs f(k, r, 0.0, x);
  // Element and isotope masses: the reduced mass moves the frequency.
  for (const double carbon : {0.0, 13.00335}) {
    QZNormalModesOptions options;
    options.masses = {carbon};
    if (carbon > 0.0) {
      // The same through the atom's own isotope.
      QZChem::QZGraphMol labelled = mol;
      labelled.GetAtom(0)->SetIsotope(13);
      EXPECT_NEAR(QZComputeNormalModes(f, labelled, x.data()).frequencies.at(0),
                  QZComputeNormalModes(f, mol, x.data(), options).frequencies.at(0),
                  1e-3);
    }
    const double mass = carbon > 0.0 ? carbon : 12.011;
    const double expected = kWavenumber * std::sqrt(k * (1.0 / mass + 1.0 / 15.999));
    const QZNormalModes modes = QZComputeNormalModes(f, mol, x.data(), options);
    ASSERT_TRUE(modes.valid) << modes.message;
    ASSERT_EQ(modes.frequencies.size(), 1u);
    EXPECT_NEAR(modes.frequencies[0], expected, 1e-4 * expected);
    EXPECT_EQ(modes.numImaginary, 0u);
    // hc/k = 1.438776877 cm K (exact constants since 2019)
    const double quantum = 1.438776877 * modes.frequencies[0];  // K
    EXPECT_NEAR(modes.zeroPointEnergy, 0.5 * kGas * quantum, 1e-7);
    const double u = quantum / 298.15;
    EXPECT_NEAR(modes.freeEnergy, kGas * 298.15 * (0.5 * u + std::log1p(-std::exp(-u))), 1e-7);
    EXPECT_NEAR(modes.entropy, kGas * (u / std::expm1(u) - std::log1p(-std::exp(-u))), 1e-10);
    // The mode is along the bond, the centre of mass at rest.
    const std::vector<double>& mode = modes.modes[0];
    EXPECT_NEAR(std::abs(0.8 * mode[0] + 0.6 * mode[1] + 0.5 * mode[2]) / r,
                15.999 / std::hypot(mass, 15.999),
                1e-5);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(mass * mode[i] + 15.999 * mode[3 + i], 0.0, 1e-6);
  }
  // On a maximum: one imaginary frequency, and nothing counts.
  Springs top(-k, r, 0.0, x);
  const QZNormalModes modes = QZComputeNormalModes(top, mol, x.data());
  EXPECT_EQ(modes.numImaginary, 1u);
  EXPECT_LT(modes.frequencies.at(0), -1000.0);
  EXPECT_EQ(modes.zeroPointEnergy, 0.0);
}

// Held in place, overall motion is six vibrations of their own; a mode below the cut-off counts as
// if it were there.
TEST(NormalModes, KeepsOverallMotionThatTheEnergyResists) {
  const QZChem::QZGraphMol mol = CarbonMonoxide();
  const std::vector<double> x = TestSupport::Coords(mol);
  Springs f(2000.0, std::sqrt(1.25), 5.0, x);
  QZNormalModesOptions options;
  options.masses = {10.0, 10.0};
  const QZNormalModes modes = QZComputeNormalModes(f, mol, x.data(), options);
  ASSERT_EQ(modes.frequencies.size(), 6u);
  for (int i = 0; i < 5; ++i) {
    EXPECT_NEAR(modes.frequencies[i], kWavenumber * std::sqrt(0.5), 1e-2);
  }
  options.lowestFrequency = 100.0;
  const QZNormalModes counted = QZComputeNormalModes(f, mol, x.data(), options);
  EXPECT_LT(counted.entropy, modes.entropy);
  options.lowestFrequency = 1e-3;
  EXPECT_EQ(QZComputeNormalModes(f, mol, x.data(), options).entropy, modes.entropy);
}

struct Relaxed {
  explicit Relaxed(QZChem::QZGraphMol molecule) : mol(std::move(molecule)) {
    EXPECT_TRUE(ff.Setup(mol));
    x = TestSupport::Coords(mol);
    const auto result = QZOpt::QZMinimizer({.gradientTolerance = 1e-7}).Minimize(ff, x.data());
    EXPECT_TRUE(result.converged) << result.message;
    mol.SetCoords(x.data());
  }
  QZChem::QZGraphMol mol;
  QZStandardFF ff{QZForceFieldKind::MMFF94};
  std::vector<double> x;
};

// The definition without our projection: eigenvalues of M^-1/2 H M^-1/2 with H by differences.
std::vector<double> PlainFrequencies(QZMolFunc2& f,
                                     const QZChem::QZMolBase& mol,
                                     const std::vector<double>& x) {
  const auto n = static_cast<Eigen::Index>(x.size());
  std::vector<double> packed(x.size() * (x.size() + 1) / 2, 0.0);
  QZOpt::NumericHessian(f, x.data(), packed.data(), 1e-4);
  Eigen::MatrixXd h(n, n);
  const auto mass = [&](Eigen::Index i) {
    return QZChem::QZGetAtomicMass(
        mol.GetAtom(static_cast<unsigned int>(i / 3))->GetAtomicNumber());
  };
  for (Eigen::Index i = 0, k = 0; i < n; ++i) {
    for (Eigen::Index j = 0; j <= i; ++j, ++k) {
      h(i, j) = h(j, i) = packed[static_cast<std::size_t>(k)] / std::sqrt(mass(i) * mass(j));
    }
  }
  const Eigen::VectorXd values = Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd>(h).eigenvalues();
  std::vector<double> frequencies;
  for (const double value : values) {
    frequencies.push_back(std::copysign(kWavenumber * std::sqrt(std::abs(value)), value));
  }
  return frequencies;
}

TEST(NormalModesOnMolecules, AgreeWithDifferencesAndDoNotFeelThePlace) {
  const struct {
    QZChem::QZGraphMol mol;
    std::size_t overall;
  } cases[] = {{TestSupport::Water(), 6},
               {TestSupport::FromSmiles("C#C", true), 5},
               {TestSupport::DataMolecule("butane"), 6}};
  for (const auto& [molecule, overall] : cases) {
    Relaxed m(molecule);
    const QZNormalModes modes = QZComputeNormalModes(m.ff, m.mol, m.x.data());
    ASSERT_TRUE(modes.valid) << modes.message;
    ASSERT_EQ(modes.frequencies.size(), m.x.size() - overall);
    EXPECT_EQ(modes.numImaginary, 0u);
    const std::vector<double> plain = PlainFrequencies(m.ff, m.mol, m.x);
    double sum = 0.0;
    for (std::size_t i = 0; i < modes.frequencies.size(); ++i) {
      EXPECT_NEAR(modes.frequencies[i], plain[i + overall], 0.05 + 1e-4 * plain[i + overall]);
      sum += modes.frequencies[i];
    }
    EXPECT_NEAR(modes.zeroPointEnergy, 0.5 * kGas * 1.438776877 * sum, 1e-6);
    // Turned by an angle about (1, 1, 1) and moved far.
    std::vector<double> moved = m.x;
    for (std::size_t a = 0; a < moved.size(); a += 3) {
      const double s = (m.x[a] + m.x[a + 1] + m.x[a + 2]) / 3.0;
      for (std::size_t i = 0; i < 3; ++i) {
        const double across = (m.x[a + (i + 2) % 3] - m.x[a + (i + 1) % 3]) / std::sqrt(3.0);
        moved[a + i] = 50.0 + s + std::cos(0.7) * (m.x[a + i] - s) + std::sin(0.7) * across;
      }
    }
    const QZNormalModes there = QZComputeNormalModes(m.ff, m.mol, moved.data());
    EXPECT_LT(TestSupport::LargestDifference(there.frequencies, modes.frequencies), 0.05);
  }
}

// Over adaptors the modes are those of the motions that are left, and overall motion is left out
// only where it is there.
TEST(NormalModesOnMolecules, AreThoseOfTheMotionsThatAnAdaptorLeaves) {
  Relaxed m(TestSupport::DataMolecule("butane"));
  const std::vector<double> all = QZComputeNormalModes(m.ff, m.mol, m.x.data()).frequencies;

  QZSubsetAdaptor subset(m.ff, /*own=*/false, /*restrictInteractions=*/false);
  subset.Set(TestSupport::AtomsWhere([](unsigned int index) { return index < 8; }), 0x4000);
  ASSERT_TRUE(subset.Setup(m.mol));
  subset.SetupConf(m.x.data());
  const QZNormalModes partial = QZComputeNormalModes(subset, m.mol, m.x.data());
  ASSERT_TRUE(partial.valid) << partial.message;
  ASSERT_EQ(partial.frequencies.size(), m.x.size() - 24);
  for (std::size_t i = 0; i < partial.frequencies.size(); ++i) {
    EXPECT_LE(partial.frequencies[i], all[i + all.size() - partial.frequencies.size()] + 0.1);
    for (std::size_t k = 0; k < 24; ++k) EXPECT_EQ(partial.modes[i][k], 0.0);
  }

  // Degrees of freedom and Z-matrix variables span all vibrations, with overall motion or without.
  for (const auto& [kind, moves] : {std::pair{QZCoordinates::DegFree, false},
                                    {QZCoordinates::DegFree, true},
                                    {QZCoordinates::ZMatrix, false},
                                    {QZCoordinates::ZMatrix, true}}) {
    QZCoordinateFunc f(m.ff, /*own=*/false, kind);
    f.SetOverallMotion(moves);
    ASSERT_TRUE(f.Setup(m.mol) && f.SetupConf(m.x.data()));
    const QZNormalModes modes = QZComputeNormalModes(f, m.mol, m.x.data());
    ASSERT_TRUE(modes.valid) << modes.message;
    ASSERT_EQ(modes.frequencies.size(), all.size()) << QZGetCoordinatesName(kind);
    EXPECT_LT(TestSupport::LargestDifference(modes.frequencies, all), 0.3);
  }
  // A rigid molecule in no field does not vibrate.
  QZCoordinateFunc rigid(m.ff, /*own=*/false, QZCoordinates::RigidBody);
  ASSERT_TRUE(rigid.Setup(m.mol) && rigid.SetupConf(m.x.data()));
  const QZNormalModes none = QZComputeNormalModes(rigid, m.mol, m.x.data());
  EXPECT_TRUE(none.valid && none.frequencies.empty());
  // One torsion, the rest held: sqrt(E'' / sum of m |dx/dv|²), by differences.
  QZCoordinateFunc torsion(m.ff, /*own=*/false, QZCoordinates::Torsion);
  ASSERT_TRUE(torsion.Setup(m.mol) && torsion.SetupConf(m.x.data()));
  ASSERT_EQ(torsion.NumVar(), 1u);
  // In a free molecule it is Rayleigh's quotient of one vibration, which no lowest mode exceeds.
  EXPECT_GE(QZComputeNormalModes(torsion, m.mol, m.x.data()).frequencies.at(0), all.at(0) - 0.1);
  QZNormalModesOptions options;
  options.atomsHeld = true;
  const QZNormalModes turn = QZComputeNormalModes(torsion, m.mol, m.x.data(), options);
  ASSERT_EQ(turn.frequencies.size(), 1u) << turn.message;
  double v;
  torsion.GetVar(&v, m.x.data());
  const double h = 1e-3;
  const double ways[3] = {v - h, v, v + h};
  const double curvature =
      (torsion(&ways[0]) - 2.0 * torsion(&ways[1]) + torsion(&ways[2])) / (h * h);
  std::vector<double> back(m.x.size());
  std::vector<double> forth(m.x.size());
  ASSERT_TRUE(torsion.AdaptVar(back.data(), &ways[0]) && torsion.AdaptVar(forth.data(), &ways[2]));
  double inertia = 0.0;
  for (std::size_t i = 0; i < back.size(); ++i) {
    const double slope = (forth[i] - back[i]) / (2.0 * h);
    const auto* atom = m.mol.GetAtom(static_cast<unsigned int>(i / 3));
    inertia += QZChem::QZGetAtomicMass(atom->GetAtomicNumber()) * slope * slope;
  }
  const double expected = kWavenumber * std::sqrt(curvature / inertia);
  EXPECT_NEAR(turn.frequencies[0], expected, 1e-3 * expected);
}

TEST(NormalModes, AreAnimatedAboutTheirGeometry) {
  const std::vector<double> x{1.0, 2.0, 3.0, -1.0, 0.0, 4.0};
  const std::vector<double> mode{0.0, 0.6, 0.0, 0.0, 0.0, -0.8};
  const auto frames = QZAnimateMode(mode, x.data(), 8, 0.25);
  ASSERT_EQ(frames.size(), 8u);
  EXPECT_EQ(frames[0], x);
  EXPECT_NEAR(frames[2][5], 4.0 - 0.25, 1e-15);  // the atom that moves most, at its furthest
  EXPECT_NEAR(frames[6][1], 2.0 - 0.25 * 0.75, 1e-15);
  EXPECT_TRUE(QZAnimateMode(std::vector<double>(6), x.data()).empty());
}

TEST(NormalModes, SaysWhyNot) {
  QZChem::QZGraphMol mol = CarbonMonoxide();
  const std::vector<double> x = TestSupport::Coords(mol);
  Springs f(2000.0, 1.0, 0.0, x);
  QZNormalModesOptions options;
  options.masses = {12.0, -1.0};
  EXPECT_NE(QZComputeNormalModes(f, mol, x.data(), options).message.find("no mass"),
            std::string::npos);
  mol.AddAtom(1);
  EXPECT_FALSE(QZComputeNormalModes(f, mol, x.data()).valid);
  const std::vector<double> together(6, 0.0);
  EXPECT_FALSE(QZComputeNormalModes(f, CarbonMonoxide(), together.data()).valid);
}

}  // namespace
