// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "platform/records_text.h"
#include "support/molecules.h"

namespace {

using namespace QZChem;
using namespace TestSupport;
using std::numbers::pi;
using Indices = std::vector<unsigned int>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// Bond lengths by bond index, of molecules without holes.
std::vector<double> BondLengths(const QZMolBase& mol) {
  std::vector<double> lengths;
  for (const auto& bond : QZSystem::QZRange(mol.GetBonds())) {
    lengths.push_back(QZGetDistance(mol, bond.GetBegin(), bond.GetEnd()));
  }
  return lengths;
}

void ExpectLengths(const QZMolBase& mol, const std::vector<double>& lengths) {
  const std::vector<double> now = BondLengths(mol);
  for (std::size_t i = 0; i < now.size(); ++i) EXPECT_NEAR(now[i], lengths.at(i), 1e-12) << i;
}

Indices MovedAtoms(const QZMolBase& mol, const std::vector<double>& before) {
  const std::vector<double> after = Coords(mol);
  Indices moved;
  for (unsigned int i = 0; i < mol.NumAtoms(); ++i) {
    if (after[3 * i] != before[3 * i]) moved.push_back(i);
  }
  return moved;
}

// The torsion of the first four atoms.
double Torsion(const QZMolBase& m) {
  return QZGetTorsion(m, m.GetAtom(0), m.GetAtom(1), m.GetAtom(2), m.GetAtom(3));
}
bool SetTorsion(QZMolBase& m, double value) {
  return QZSetTorsion(m, m.GetAtom(0), m.GetAtom(1), m.GetAtom(2), m.GetAtom(3), value);
}

TEST(Geometry, TorsionHasTheIupacSignAndIsReached) {
  QZGraphMol butane = FromSmiles("CCCC", /*embed=*/true);
  const auto lengths = BondLengths(butane);
  for (const double turn : {0.7, -0.7, 3.0, 0.0}) {
    QZGraphMol mol;
    mol.AddAtom(6, 0, 1, 0);
    mol.AddAtom(6, 0, 0, 0);
    mol.AddAtom(6, 1, 0, 0);
    // Seen from atom 1 to 2 (along +x) with atom 0 up, clockwise is towards +z.
    mol.AddAtom(6, 1, std::cos(turn), std::sin(turn));
    EXPECT_NEAR(Torsion(mol), turn, 1e-14);
    EXPECT_NEAR(QZGetAngle(mol, mol.GetAtom(0), mol.GetAtom(1), mol.GetAtom(2)), pi / 2, 1e-14);
    ASSERT_TRUE(SetTorsion(butane, turn));
    EXPECT_NEAR(Torsion(butane), turn, 1e-12);
    ExpectLengths(butane, lengths);
  }
}

TEST(Geometry, SetDistanceMovesTheSmallerSideAndInARingTheLastNamed) {
  QZGraphMol chain = FromSmiles("CCCO", /*embed=*/true);
  std::vector<double> before = Coords(chain);
  auto lengths = BondLengths(chain);
  ASSERT_TRUE(QZSetDistance(chain, chain.GetAtom(3), chain.GetAtom(2), 2.0));
  lengths[2] = 2.0;
  ExpectLengths(chain, lengths);
  EXPECT_EQ(MovedAtoms(chain, before), (Indices{3, 11})) << "the hydroxyl, though named first";

  QZGraphMol ring = FromSmiles("C1CCCCC1", /*embed=*/true);
  before = Coords(ring);
  const auto at = [&ring](unsigned int i) { return ring.GetAtom(i); };
  ASSERT_TRUE(QZSetDistance(ring, at(0), at(1), 1.7));
  EXPECT_NEAR(QZGetDistance(ring, at(0), at(1)), 1.7, 1e-12);
  ASSERT_TRUE(QZSetAngle(ring, at(5), at(0), at(1), 2.1, nullptr));
  EXPECT_NEAR(QZGetAngle(ring, at(5), at(0), at(1)), 2.1, 1e-12);
  EXPECT_EQ(MovedAtoms(ring, before), (Indices{1, 8, 9})) << "with its hydrogens";
  for (unsigned int h : {8U, 9U}) EXPECT_NEAR(QZGetDistance(ring, at(h), at(1)), 1.09, 0.05);
}

TEST(Geometry, SetAngleReachesItsValueAndKeepsEveryOtherBond) {
  for (const char* smiles : {"CC(C)CO", "C1CCCCC1CO", "CC#CC", "C1CC2CC1CC2"}) {
    SCOPED_TRACE(smiles);
    QZGraphMol mol = FromSmiles(smiles, /*embed=*/true);
    for (auto& centre : QZSystem::QZRange(mol.GetAtoms())) {
      for (const auto& first : QZSystem::QZRange(centre.GetBonds())) {
        for (const auto& second : QZSystem::QZRange(centre.GetBonds())) {
          if (&first == &second) continue;
          QZAtomBase* a = first.GetNeighbour(&centre);
          QZAtomBase* b = second.GetNeighbour(&centre);
          const auto lengths = BondLengths(mol);
          ASSERT_TRUE(QZSetAngle(mol, a, &centre, b, 1.8, nullptr));
          EXPECT_NEAR(QZGetAngle(mol, a, &centre, b), 1.8, 1e-10);
          if (!first.IsInRing() || !second.IsInRing()) ExpectLengths(mol, lengths);
        }
      }
    }
  }
  // Straight and folded back, the plane of bending is not given.
  QZGraphMol line = LinearChain(3, 1.2);
  const auto at = [&line](unsigned int i) { return line.GetAtom(i); };
  std::vector<double> coords(9);
  for (const double angle : {2.0, pi, 1.0, 0.0, 0.5}) {
    ASSERT_TRUE(QZSetAngle(line, at(0), at(1), at(2), angle, coords.data()));
    EXPECT_NEAR(QZGetAngle(line, at(0), at(1), at(2)), angle, 1e-7);
    EXPECT_NEAR(QZGetDistance(line, at(1), at(2)), 1.2, 1e-12);
    EXPECT_EQ(coords, Coords(line));
  }
}

TEST(Geometry, ImpossibleRequestsMoveNothing) {
  QZGraphMol mol = WaterDimer();
  const QZGraphMol other = Water();
  const double onTop[3] = {0.0, 0.0, 0.0};
  mol.SetCoords(mol.GetAtom(3), onTop);
  const std::vector<double> before = Coords(mol);
  const auto at = [&mol](unsigned int i) { return mol.GetAtom(i); };
  for (QZAtomBase* end : {at(0), at(3), other.GetAtom(1), static_cast<QZAtomBase*>(nullptr)}) {
    EXPECT_FALSE(QZSetDistance(mol, at(0), end, 1.0)) << "itself, coincident, a stranger and none";
  }
  for (const double bad : {kNaN, kInf, -1.0}) {
    EXPECT_FALSE(QZSetDistance(mol, at(0), at(1), bad));
    EXPECT_FALSE(QZSetAngle(mol, at(1), at(0), at(2), bad, nullptr));
  }
  EXPECT_FALSE(QZSetAngle(mol, at(1), at(0), at(1), 1.0, nullptr));
  EXPECT_FALSE(QZSetAngle(mol, at(1), at(1), at(0), 1.0, nullptr));
  EXPECT_FALSE(QZSetTorsion(mol, at(1), at(0), at(2), at(4), kNaN));
  EXPECT_EQ(Coords(mol), before);
  EXPECT_TRUE(QZSetDistance(mol, at(0), at(4), 5.0)) << "between two molecules";
  EXPECT_NEAR(QZGetDistance(mol, at(0), at(4)), 5.0, 1e-12);
  QZGraphMol ring = FromSmiles("C1CCCCC1", /*embed=*/true);
  QZGraphMol line = LinearChain(4, 1.2);
  EXPECT_TRUE(!SetTorsion(ring, 1.0) && !SetTorsion(line, 1.0));
}

// b' = R b + t, R by rows.
std::vector<double> Moved(const std::vector<double>& b, const double* r, const double* t) {
  std::vector<double> moved(b.size());
  for (std::size_t i = 0; i < b.size(); i += 3) {
    for (std::size_t k = 0; k < 3; ++k) {
      moved[i + k] = r[3 * k] * b[i] + r[3 * k + 1] * b[i + 1] + r[3 * k + 2] * b[i + 2] + t[k];
    }
  }
  return moved;
}

// `x` turned by `angle` about a Cartesian axis.
std::vector<double> Turned(std::vector<double> x, std::size_t axis, double angle) {
  for (std::size_t i = 0; i < x.size(); i += 3) {
    double& u = x[i + (axis + 1) % 3];
    double& v = x[i + (axis + 2) % 3];
    const double u0 = u;
    u = std::cos(angle) * u0 - std::sin(angle) * v;
    v = std::sin(angle) * u0 + std::cos(angle) * v;
  }
  return x;
}

double Determinant(const double* r) {
  return r[0] * (r[4] * r[8] - r[5] * r[7]) - r[1] * (r[3] * r[8] - r[5] * r[6]) +
         r[2] * (r[3] * r[7] - r[4] * r[6]);
}

TEST(RMSD, SuperpositionUndoesARigidMotion) {
  std::mt19937 rng(7);
  const std::vector<double> butane = Jittered(Coords(Butane()), 0.3, rng);
  for (const auto& a : {butane, std::vector<double>{0, 0, 0, 1, 0, 0, 3, 0, 0}}) {
    const auto n = static_cast<unsigned int>(a.size() / 3);
    std::vector<double> b = Turned(Turned(a, 2, 2.5), 0, 1.2);
    for (std::size_t i = 0; i < b.size(); i += 3) b[i] += 100.0;
    double rotation[9];
    double translation[3];
    EXPECT_LT(QZRMSD(a.data(), b.data(), n, true, rotation, translation), 1e-12);
    EXPECT_NEAR(Determinant(rotation), 1.0, 1e-12);
    const std::vector<double> back = Moved(b, rotation, translation);
    for (std::size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(back[i], a[i], 1e-11);
    EXPECT_GT(QZRMSD(a.data(), b.data(), n, false, rotation, nullptr), 90.0);
    EXPECT_EQ(rotation[0], 1.0);
  }
}

// A proper rotation, and no turn of what it gives is better: over rotations the distance has one
// minimum only, its other stationary points are saddles and a maximum. Centroids lie at 0.
TEST(RMSD, OfAMirrorImageIsTheLeastThatRotationsReach) {
  const std::vector<double> a = {2, 1.3, 1, -1, -1, 1.2, -1.4, 1, -1, 0.4, -1.3, -1.2};
  std::vector<double> mirrored = a;
  for (std::size_t i = 0; i < mirrored.size(); i += 3) mirrored[i] = -mirrored[i];
  double rotation[9];
  double translation[3];
  const double best = QZRMSD(a.data(), mirrored.data(), 4, true, rotation, translation);
  EXPECT_NEAR(Determinant(rotation), 1.0, 1e-12);
  EXPECT_GT(best, 0.1);
  const std::vector<double> fitted = Moved(mirrored, rotation, translation);
  EXPECT_NEAR(QZRMSBetweenPoints(a.data(), fitted.data(), 4, nullptr), best, 1e-12);
  for (int turn = 0; turn < 27; ++turn) {  // about 13 axes, and one that is none
    std::vector<double> turned = Turned(fitted, 0, 0.01 * (turn % 3 - 1));
    turned = Turned(turned, 1, 0.01 * (turn / 3 % 3 - 1));
    turned = Turned(turned, 2, 0.01 * (turn / 9 - 1));
    EXPECT_GE(QZRMSBetweenPoints(a.data(), turned.data(), 4, nullptr), best - 1e-12) << turn;
  }
}

TEST(RMSD, SetsOfOnePointOrNoneAndNaNAreFineAndWeightsCount) {
  const std::vector<double> a(6, 0.0);
  const std::vector<double> b = {3, 0, 0, 0, 4, 0};
  double rotation[9];
  double translation[3];
  EXPECT_EQ(QZRMSD(a.data(), b.data(), 1, true, rotation, translation), 0.0);
  EXPECT_EQ(rotation[0], 1.0);
  EXPECT_EQ(translation[0], -3.0);
  EXPECT_EQ(QZRMSD(nullptr, nullptr, 0, true, nullptr, nullptr), 0.0);
  const std::vector<double> broken = {kNaN, 0, 0, 1, 0, 0};
  EXPECT_TRUE(std::isnan(QZRMSD(a.data(), broken.data(), 2, true, nullptr, nullptr)));
  double weights[2] = {3, 1};
  EXPECT_NEAR(QZRMSBetweenPoints(a.data(), b.data(), 2, weights), std::sqrt(43.0 / 4), 1e-14);
}

}  // namespace
