// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "qzchem/qzchem.h"
#include "support/molecules.h"

namespace {

using namespace QZChem;
using std::numbers::pi;
using TestSupport::Coords;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

std::map<unsigned int, double> BondLengths(const QZMolBase& mol) {
  std::map<unsigned int, double> lengths;
  for (const auto& bond : QZSystem::QZRange(mol.GetBonds())) {
    lengths[bond.GetIndex()] = QZGetDistance(mol, bond.GetBegin(), bond.GetEnd());
  }
  return lengths;
}

QZGraphMol Embedded(const char* smiles) {
  QZGraphMol mol;
  EXPECT_TRUE(QZSmilesToMol(mol, smiles));
  EXPECT_TRUE(QZMakeCoordinates(mol));
  return mol;
}

TEST(Geometry, TorsionHasTheIupacSign) {
  QZGraphMol mol;
  mol.AddAtom(6, 0, 1, 0);
  mol.AddAtom(6, 0, 0, 0);
  mol.AddAtom(6, 1, 0, 0);
  // Seen from b to c (along +x) with a up, clockwise is towards +z.
  mol.AddAtom(6, 1, std::cos(0.7), std::sin(0.7));
  const auto torsion = [&mol] {
    return QZGetTorsion(mol, mol.GetAtom(0), mol.GetAtom(1), mol.GetAtom(2), mol.GetAtom(3));
  };
  EXPECT_NEAR(torsion(), 0.7, 1e-14);
  const double mirrored[3] = {1, std::cos(0.7), -std::sin(0.7)};
  mol.SetCoords(mol.GetAtom(3), mirrored);
  EXPECT_NEAR(torsion(), -0.7, 1e-14);
  EXPECT_NEAR(QZGetAngle(mol, mol.GetAtom(0), mol.GetAtom(1), mol.GetAtom(2)), pi / 2, 1e-14);
}

TEST(Geometry, SetDistanceMovesTheSmallerSideOnly) {
  QZGraphMol mol = Embedded("CCCO");
  const std::vector<double> before = Coords(mol);
  auto lengths = BondLengths(mol);
  // The hydroxyl is named first, and yet it moves.
  ASSERT_TRUE(QZSetDistance(mol, mol.GetAtom(3), mol.GetAtom(2), 2.0));
  lengths[2] = 2.0;
  for (const auto& [bond, length] : BondLengths(mol)) EXPECT_NEAR(length, lengths[bond], 1e-12);
  const std::vector<double> after = Coords(mol);
  for (unsigned int i = 0; i < mol.NumAtoms(); ++i) {
    EXPECT_EQ(after[3 * i] != before[3 * i], i == 3 || i == 11) << "atom " << i;
  }
}

TEST(Geometry, SettersReachTheirValueAndKeepEveryOtherBond) {
  for (const char* smiles : {"CC(C)CO", "C1CCCCC1CO", "CC#CC", "C1CC2CC1CC2"}) {
    SCOPED_TRACE(smiles);
    QZGraphMol mol = Embedded(smiles);
    for (auto& centre : QZSystem::QZRange(mol.GetAtoms())) {
      for (auto& first : QZSystem::QZRange(centre.GetNeighbours())) {
        for (auto& second : QZSystem::QZRange(centre.GetNeighbours())) {
          if (&first == &second) continue;
          const auto isRing = [&centre](const QZAtomBase& end) {
            for (const auto& bond : QZSystem::QZRange(centre.GetBonds())) {
              if (bond.GetNeighbour(&centre) == &end) return bond.IsInRing();
            }
            return false;
          };
          const auto lengths = BondLengths(mol);
          ASSERT_TRUE(QZSetAngle(mol, &first, &centre, &second, 1.8, nullptr));
          EXPECT_NEAR(QZGetAngle(mol, &first, &centre, &second), 1.8, 1e-10);
          if (isRing(first) && isRing(second)) continue;
          for (const auto& [bond, length] : BondLengths(mol)) {
            EXPECT_NEAR(length, lengths.at(bond), 1e-10);
          }
        }
      }
    }
  }
}

TEST(Geometry, InARingTheAtomNamedLastMovesWithItsGroups) {
  QZGraphMol mol = Embedded("C1CCCCC1");
  const std::vector<double> before = Coords(mol);
  QZAtomBase* moved = mol.GetAtom(1);
  ASSERT_TRUE(QZSetDistance(mol, mol.GetAtom(0), moved, 1.7));
  EXPECT_NEAR(QZGetDistance(mol, mol.GetAtom(0), moved), 1.7, 1e-12);
  ASSERT_TRUE(QZSetAngle(mol, mol.GetAtom(5), mol.GetAtom(0), moved, 2.1, nullptr));
  EXPECT_NEAR(QZGetAngle(mol, mol.GetAtom(5), mol.GetAtom(0), moved), 2.1, 1e-12);
  const std::vector<double> after = Coords(mol);
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    bool hangs = &atom == moved;
    if (atom.GetAtomicNumber() == 1) {
      for (const auto& carbon : QZSystem::QZRange(atom.GetNeighbours())) hangs = &carbon == moved;
      if (hangs) {
        EXPECT_NEAR(QZGetDistance(mol, &atom, moved), 1.09, 0.05);
      }
    }
    const unsigned int i = atom.GetIndex();
    EXPECT_EQ(after[3 * i] != before[3 * i], hangs) << "atom " << i;
  }
}

TEST(Geometry, StraightAnglesBendAndAnglesStraighten) {
  QZGraphMol mol = TestSupport::LinearChain(3, 1.2);
  QZAtomBase* a = mol.GetAtom(0);
  QZAtomBase* b = mol.GetAtom(1);
  QZAtomBase* c = mol.GetAtom(2);
  std::vector<double> coords(9);
  for (const double angle : {2.0, pi, 1.0, 0.0, 0.5}) {
    ASSERT_TRUE(QZSetAngle(mol, a, b, c, angle, coords.data()));
    EXPECT_NEAR(QZGetAngle(mol, a, b, c), angle, 1e-7);
    EXPECT_NEAR(QZGetDistance(mol, b, c), 1.2, 1e-12);
    EXPECT_EQ(coords, Coords(mol));
  }
}

TEST(Geometry, SetTorsionTurnsOneSide) {
  QZGraphMol mol = Embedded("CCCC");
  const auto lengths = BondLengths(mol);
  const auto at = [&mol](unsigned int i) { return mol.GetAtom(i); };
  for (const double torsion : {-3.0, -1.0, 0.0, 2.5}) {
    ASSERT_TRUE(QZSetTorsion(mol, at(0), at(1), at(2), at(3), torsion));
    EXPECT_NEAR(QZGetTorsion(mol, at(0), at(1), at(2), at(3)), torsion, 1e-12);
    for (const auto& [bond, length] : BondLengths(mol))
      EXPECT_NEAR(length, lengths.at(bond), 1e-12);
  }
  QZGraphMol ring = Embedded("C1CCCCC1");
  EXPECT_FALSE(
      QZSetTorsion(ring, ring.GetAtom(0), ring.GetAtom(1), ring.GetAtom(2), ring.GetAtom(3), 1.0));
  QZGraphMol line = TestSupport::LinearChain(4, 1.2);
  EXPECT_FALSE(
      QZSetTorsion(line, line.GetAtom(0), line.GetAtom(1), line.GetAtom(2), line.GetAtom(3), 1.0));
}

TEST(Geometry, ImpossibleRequestsMoveNothing) {
  QZGraphMol mol = TestSupport::WaterDimer();
  QZGraphMol other = TestSupport::Water();
  const double onTop[3] = {0.0, 0.0, 0.0};
  mol.SetCoords(mol.GetAtom(3), onTop);
  const std::vector<double> before = Coords(mol);
  const auto at = [&mol](unsigned int i) { return mol.GetAtom(i); };
  EXPECT_FALSE(QZSetDistance(mol, at(0), at(0), 1.0));
  EXPECT_FALSE(QZSetDistance(mol, at(0), at(3), 1.0)) << "coincident";
  EXPECT_FALSE(QZSetDistance(mol, at(0), other.GetAtom(1), 1.0));
  EXPECT_FALSE(QZSetDistance(mol, nullptr, at(1), 1.0));
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

double Determinant(const double* r) {
  return r[0] * (r[4] * r[8] - r[5] * r[7]) - r[1] * (r[3] * r[8] - r[5] * r[6]) +
         r[2] * (r[3] * r[7] - r[4] * r[6]);
}

TEST(RMSD, SuperpositionUndoesARigidMotion) {
  std::mt19937 rng(7);
  const double c = std::cos(2.5);
  const double s = std::sin(2.5);
  const double turn[9] = {c, -s, 0, s, c, 0, 0, 0, 1};
  const double shift[3] = {100, -20, 3};
  std::vector<double> a = TestSupport::Jittered(Coords(TestSupport::Butane()), 0.3, rng);
  const auto n = static_cast<unsigned int>(a.size() / 3);
  const std::vector<double> b = Moved(a, turn, shift);
  double rotation[9];
  double translation[3];
  EXPECT_LT(QZRMSD(a.data(), b.data(), n, true, rotation, translation), 1e-12);
  EXPECT_NEAR(Determinant(rotation), 1.0, 1e-12);
  const std::vector<double> back = Moved(b, rotation, translation);
  for (std::size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(back[i], a[i], 1e-11);
  EXPECT_GT(QZRMSD(a.data(), b.data(), n, false, rotation, nullptr), 90.0);
  EXPECT_EQ(rotation[0], 1.0);
}

// Superposition by trying many rotations about the centroids.
double BestOfRandomRotations(std::vector<double> a, std::vector<double> b, int trials) {
  for (std::vector<double>* set : {&a, &b}) {
    const double n = static_cast<double>(set->size()) / 3.0;
    double centre[3] = {};
    for (std::size_t i = 0; i < set->size(); ++i) centre[i % 3] += (*set)[i] / n;
    for (std::size_t i = 0; i < set->size(); ++i) (*set)[i] -= centre[i % 3];
  }
  std::mt19937 rng(3);
  std::normal_distribution<double> normal;
  const double origin[3] = {};
  double best = kInf;
  for (int trial = 0; trial < trials; ++trial) {
    double q[4] = {normal(rng), normal(rng), normal(rng), normal(rng)};
    const double norm = std::hypot(std::hypot(q[0], q[1]), std::hypot(q[2], q[3]));
    for (double& value : q) value /= norm;
    const auto [w, x, y, z] = q;
    const double r[9] = {1 - 2 * (y * y + z * z),
                         2 * (x * y - w * z),
                         2 * (x * z + w * y),
                         2 * (x * y + w * z),
                         1 - 2 * (x * x + z * z),
                         2 * (y * z - w * x),
                         2 * (x * z - w * y),
                         2 * (y * z + w * x),
                         1 - 2 * (x * x + y * y)};
    const auto n = static_cast<unsigned int>(a.size() / 3);
    best = std::min(best, QZRMSBetweenPoints(a.data(), Moved(b, r, origin).data(), n, nullptr));
  }
  return best;
}

TEST(RMSD, MirrorImageIsNotReachedAndTheRestIsTheBestThereIs) {
  const std::vector<double> a = {1.7, 1, 1, -1, -1, 1, -1, 1, -1, 1, -1, -1, 0, 0, 5};
  std::vector<double> mirrored = a;
  for (std::size_t i = 0; i < mirrored.size(); i += 3) mirrored[i] = -mirrored[i];
  double rotation[9];
  const double best = QZRMSD(a.data(), mirrored.data(), 5, true, rotation, nullptr);
  EXPECT_NEAR(Determinant(rotation), 1.0, 1e-12);
  EXPECT_GT(best, 0.1);
  const double tried = BestOfRandomRotations(a, mirrored, 20000);
  EXPECT_GE(tried, best - 1e-12);
  EXPECT_LT(tried, best + 0.1);
}

TEST(RMSD, DegenerateSetsAreFine) {
  const std::vector<double> line = {0, 0, 0, 1, 0, 0, 3, 0, 0};
  const std::vector<double> turned = {5, 0, 0, 5, 1, 0, 5, 3, 0};
  double rotation[9];
  double translation[3];
  EXPECT_LT(QZRMSD(line.data(), turned.data(), 3, true, rotation, translation), 1e-12);
  EXPECT_NEAR(Determinant(rotation), 1.0, 1e-12);
  EXPECT_EQ(QZRMSD(line.data(), turned.data(), 1, true, rotation, translation), 0.0);
  EXPECT_EQ(rotation[0], 1.0);
  EXPECT_EQ(translation[0], -5.0);
  EXPECT_EQ(QZRMSD(nullptr, nullptr, 0, true, nullptr, nullptr), 0.0);
  const std::vector<double> broken = {kNaN, 0, 0, 1, 0, 0, 3, 0, 0};
  EXPECT_TRUE(std::isnan(QZRMSD(line.data(), broken.data(), 3, true, nullptr, nullptr)));
}

TEST(RMSD, WeightsCount) {
  const std::vector<double> a = {0, 0, 0, 0, 0, 0};
  const std::vector<double> b = {3, 0, 0, 0, 4, 0};
  double weights[2] = {3, 1};
  EXPECT_NEAR(QZRMSBetweenPoints(a.data(), b.data(), 2, weights), std::sqrt(43.0 / 4), 1e-14);
  EXPECT_NEAR(QZRMSBetweenPoints(a.data(), b.data(), 2, nullptr), std::sqrt(12.5), 1e-14);
}

}  // namespace
