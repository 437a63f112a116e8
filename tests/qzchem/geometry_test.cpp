// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "support/molecules.h"
#include "support/records_text.h"

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

using Points = Eigen::Matrix3Xd;
using Rotation = Eigen::Matrix<double, 3, 3, Eigen::RowMajor>;

double Rmsd(const Points& a, const Points& b, Rotation& rotation, Eigen::Vector3d& translation) {
  const auto n = static_cast<unsigned int>(a.cols());
  return QZRMSD(a.data(), b.data(), n, true, rotation.data(), translation.data());
}

TEST(RMSD, SuperpositionUndoesARigidMotion) {
  std::mt19937 rng(7);
  const std::vector<double> butane = Jittered(Coords(Butane()), 0.3, rng);
  for (const auto& x : {butane, std::vector<double>{0, 0, 0, 1, 0, 0, 3, 0, 0}}) {
    const Points a = Eigen::Map<const Points>(x.data(), 3, static_cast<int>(x.size() / 3));
    const Eigen::Matrix3d turn =
        Eigen::Quaterniond(0.3, -0.8, 0.4, 0.2).normalized().toRotationMatrix();
    const Points b = (turn * a).colwise() + Eigen::Vector3d(100.0, 0.0, -3.0);
    Rotation rotation;
    Eigen::Vector3d translation;
    EXPECT_LT(Rmsd(a, b, rotation, translation), 1e-12);
    EXPECT_NEAR(rotation.determinant(), 1.0, 1e-12);
    EXPECT_LT((((rotation * b).colwise() + translation) - a).norm(), 1e-11);
    const auto n = static_cast<unsigned int>(a.cols());
    EXPECT_GT(QZRMSD(a.data(), b.data(), n, false, rotation.data(), nullptr), 90.0);
    EXPECT_EQ(rotation, Rotation(Rotation::Identity()));
  }
}

// A proper rotation, and no turn of what it gives is better: over rotations the distance has one
// minimum only, its other stationary points are saddles and a maximum. Centroids lie at 0.
TEST(RMSD, OfAMirrorImageIsTheLeastThatRotationsReach) {
  Points a(3, 4);
  a << 2, -1, -1.4, 0.4, 1.3, -1, 1, -1.3, 1, 1.2, -1, -1.2;
  const Points mirrored = Eigen::Vector3d(-1.0, 1.0, 1.0).asDiagonal() * a;
  Rotation rotation;
  Eigen::Vector3d translation;
  const double best = Rmsd(a, mirrored, rotation, translation);
  EXPECT_NEAR(rotation.determinant(), 1.0, 1e-12);
  EXPECT_GT(best, 0.1);
  const Points fitted = (rotation * mirrored).colwise() + translation;
  EXPECT_NEAR(QZRMSBetweenPoints(a.data(), fitted.data(), 4, nullptr), best, 1e-12);
  for (int turn = 0; turn < 27; ++turn) {  // about 13 axes, since a saddle may rise along three
    const Eigen::Vector3d about(turn % 3 - 1, turn / 3 % 3 - 1, turn / 9 - 1);
    const Points turned = Eigen::AngleAxisd(0.01, about.normalized()).toRotationMatrix() * fitted;
    if (about.norm() > 0.0) {
      EXPECT_GT(QZRMSBetweenPoints(a.data(), turned.data(), 4, nullptr), best) << turn;
    }
  }
}

}  // namespace
