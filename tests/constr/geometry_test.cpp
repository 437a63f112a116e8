// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause

// Constraints with true slopes, and restraints to places.
#include <functional>
#include <limits>

#include "constr/constr_support.h"
#include "support/allocations.h"

namespace {

using namespace TestSupport;
using namespace QZMolPotential;
using namespace QZConstr;

// A constraint of full coordinate vectors as a function with a Hessian, for the checker.
class AsFunc final : public QZOpt::QZFunc2 {
 public:
  explicit AsFunc(QZGeometryConstr& c) : c_(c) {}
  using QZFunc2::operator();
  unsigned int NumVar() const override { return c_.NumVar(); }
  double operator()(const double* x) override { return 3.0 * c_(x); }
  double operator()(const double* x, double* grad) override {
    Reals own(c_.NumVar(), 0.0);
    const double value = c_(x, own.data());
    for (std::size_t i = 0; i < own.size(); ++i) grad[i] += 3.0 * own[i];
    return 3.0 * value;
  }
  bool operator()(const double* x, double* hessian, double* grad) override {
    (*this)(x, grad);
    return c_.AddHessian(x, 3.0, hessian);
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double*) override {
    return QZSystem::QZMakeEmptyIter<QZOpt::QZFComponent>();
  }

 private:
  QZGeometryConstr& c_;
};

Reals Turned(const Reals& x) {
  Reals out(x.size());
  for (std::size_t i = 0; i < x.size(); i += 3) {
    out[i] = 3.0 + x[i + 1];
    out[i + 1] = x[i + 2] - 1.0;
    out[i + 2] = x[i];
  }
  return out;
}

TEST(GeometryConstraints, SlopesAndHessiansAreTrue) {
  std::mt19937 rng(5601);
  const auto mol = ButaneWithHole();
  const Reals start = Coords(mol);
  Reals reference;
  for (const unsigned atom : {0U, 3U, 9U, 13U}) {
    reference.insert(reference.end(), &start[3 * atom], &start[3 * atom] + 3);
  }
  QZDihedralAngleConstr dihedral(9, 2, 1, 0);
  QZValenceAngleConstr angle(9, 2, 1);
  QZDistanceDifferenceConstr difference(9, 2, 2, 13);
  QZCentroidDistanceConstr centroids({0, 9, 3}, {13, 2});
  QZPlaneHeightConstr plane(13, 2, 1, 5);
  QZRMSDConstr rmsd({0, 3, 9, 13}, Turned(reference));
  for (QZGeometryConstr* c : std::initializer_list<QZGeometryConstr*>{
           &dihedral, &angle, &difference, &centroids, &plane, &rmsd}) {
    ASSERT_TRUE(c->Setup(mol));
    ASSERT_EQ(c->NumVar(), start.size());
    EXPECT_NEAR((*c)(start.data()), 0.0, 1e-12);
    for (int round = 0; round < 10; ++round) {
      const Reals x = Jittered(start, 0.3, rng);
      AsFunc f(*c);
      QZCheckFunc check;
      const auto found = check.Check(f, x.data());
      EXPECT_TRUE(found.Passes(1e-6))
          << found.gradient.error << ", " << found.hessian.error << ", seed 5601";
      Reals grad(x.size(), 0.0);
      Reals hessian(x.size() * (x.size() + 1) / 2, 0.0);
      const auto use = [&] {
        (*c)(x.data(), grad.data());
        EXPECT_TRUE(c->AddHessian(x.data(), 1.0, hessian.data()));
      };
      EXPECT_EQ(AllocationsOf(use), 0);
      const double target = c->GetTarget();
      EXPECT_NEAR((*c)(Turned(x).data()) + target, (*c)(x.data()) + target, 1e-11);
    }
  }
}

TEST(GeometryConstraints, PlaceMovesWholeSidesWhereItCan) {
  QZValenceAngleConstr angle(0, 1, 2);
  QZDihedralAngleConstr dihedral(0, 1, 2, 3);
  QZCentroidDistanceConstr distance({0}, {1});
  angle.SetTarget(1.7);
  dihedral.SetTarget(-1.0);
  distance.SetTarget(1.9);
  for (QZGeometryConstr* c : {static_cast<QZGeometryConstr*>(&angle),
                              static_cast<QZGeometryConstr*>(&dihedral),
                              static_cast<QZGeometryConstr*>(&distance)}) {
    auto mol = Butane();
    ASSERT_TRUE(c->Setup(mol) && c->Place(mol));
    EXPECT_NEAR((*c)(Coords(mol).data()), 0.0, 1e-9);
  }
  auto mol = Butane();
  const Reals before = Coords(mol);
  QZCentroidDistanceConstr groups({0, 1}, {2});
  ASSERT_TRUE(groups.Setup(mol));
  EXPECT_FALSE(groups.Place(mol));
  EXPECT_EQ(Coords(mol), before);
}

TEST(GeometryConstraints, ClosedFormsTargetsAndRefusals) {
  auto mol = CarbonChain(4);
  // The dihedral passes ±180° without a jump, and tells +φ from -φ.
  QZDihedralAngleConstr dihedral(0, 1, 2, 3);
  dihedral.SetTarget(kPi - 0.1);
  ASSERT_TRUE(dihedral.Setup(mol));
  EXPECT_NEAR(dihedral(Dihedral(kPi - 0.2).data()), -0.1, 1e-14);
  EXPECT_NEAR(dihedral(Dihedral(-kPi + 0.2).data()), 0.3, 1e-14);
  const Reals x{2.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 3.0, 0.0, 5.0, 6.0, -7.0};
  QZPlaneHeightConstr plane(0, 1, 2, 3);
  plane.SetTarget(1.0);
  QZDistanceDifferenceConstr difference(0, 1, 1, 2);
  difference.SetTarget(0.5);
  QZCentroidDistanceConstr centroids({0, 1}, {2});
  centroids.SetTarget(0.0);
  ASSERT_TRUE(plane.Setup(mol) && difference.Setup(mol) && centroids.Setup(mol));
  EXPECT_DOUBLE_EQ(plane(x.data()), -8.0);
  EXPECT_DOUBLE_EQ(difference(x.data()), -1.5);
  EXPECT_DOUBLE_EQ(centroids(x.data()), std::sqrt(10.0));
  // A mirror image cannot be laid over its original; the same thing moved can.
  const Reals mirror{0, 0, 0, 1.5, 0, 0, 0, 1.2, 0, 0.3, 0.4, -1.0};
  Reals image = mirror;
  for (std::size_t k = 2; k < image.size(); k += 3) image[k] = -image[k];
  QZRMSDConstr rmsd({0, 1, 2, 3}, mirror);
  rmsd.SetTarget(0.0);
  ASSERT_TRUE(rmsd.Setup(mol));
  Reals grad(12, 0.0);
  EXPECT_NEAR(rmsd(Turned(mirror).data()), 0.0, 1e-14);
  EXPECT_EQ(rmsd(mirror.data(), grad.data()), 0.0);
  EXPECT_EQ(grad, Reals(12, 0.0));
  EXPECT_GT(rmsd(image.data()), 0.2);

  MessageCapture messages;
  mol.DeleteAtom(mol.GetAtom(3));
  QZDistanceDifferenceConstr same(1, 1, 0, 2);
  QZCentroidDistanceConstr overlap({0, 1}, {1});
  QZCentroidDistanceConstr empty({0, 1}, {});
  QZRMSDConstr shortReference({0, 1}, {0.0, 0.0, 0.0});
  for (QZGeometryConstr* c : std::initializer_list<QZGeometryConstr*>{
           &dihedral, &same, &overlap, &empty, &shortReference}) {
    EXPECT_FALSE(c->Setup(mol));
  }
  EXPECT_EQ(messages.Warnings().size(), 5U);
}

std::vector<std::function<QZMolFunc1*()>> Places(const Reals& start, double onset) {
  return {[=] {
            auto* f = new QZTetherRestraint(7.0, 0.15);
            f->SetOnset(onset);
            for (const unsigned i : {0U, 4U, 13U}) {
              f->AddTarget(i, start[3 * i], start[3 * i + 1] + 0.1, start[3 * i + 2]);
            }
            return f;
          },
          [=] {
            auto* f = new QZSphereWall({0.2, 0.1, 0.0}, 1.6, 5.0);
            f->SetOnset(onset);
            return f;
          },
          [=] {
            auto* f = new QZBoxWall({-0.5, -0.4, -HUGE_VAL}, {0.6, 0.5, 0.3}, 5.0);
            f->SetOnset(onset);
            f->Set(AtomsWhere([](unsigned i) { return i % 2 == 0; }), QZCategoryPositional);
            return f;
          },
          [=] {
            auto* f = new QZHarmonicPotential(6.0, 0.1);
            f->SetOnset(onset);
            return f;
          }};
}

TEST(Places, TethersAndWallsFulfilTheContract) {
  std::mt19937 rng(5602);
  const auto mol = ButaneWithHole();
  const Reals start = Coords(mol);
  for (const double onset : {0.0, 0.3}) {
    for (const auto& make : Places(start, onset)) {
      const Reals x = Jittered(start, 0.3, rng);
      const std::unique_ptr<QZMolFunc1> f(make());
      ASSERT_TRUE(f->Setup(mol));
      EXPECT_GT((*f)(x.data()), 0.01);
      EXPECT_FALSE(QZIsFrameInvariant(*f));
      EXPECT_EQ(CheckContract(make, mol, x, /*rigidInvariant=*/false), "") << "seed 5602";
    }
  }
  QZTetherRestraint missing(1.0);
  missing.AddTarget(7, 0.0, 0.0, 0.0);
  MessageCapture messages;
  EXPECT_FALSE(missing.Setup(mol));
  EXPECT_EQ(messages.Warnings().size(), 1U);
}

// Across the edge of the flat bottom and the end of the onset value, slope and curvature are
// continuous; far out the law is the old one shifted.
TEST(Places, AreTheReferencesWhicheverWayThePatternLies) {
  const auto reference = Butane();
  auto mol = Butane();
  const Reals x = Coords(mol);
  QZPlaces places;
  std::string error;
  ASSERT_TRUE(QZFindPlaces(reference, mol, "CCCC", places, error)) << error;
  ASSERT_EQ(places.atoms.size(), 4u);
  for (std::size_t k = 0; k < 4; ++k) {  // each atom on itself, not on its mirror image
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(places.points[3 * k + i], x[3 * places.atoms[k] + i]);
    }
  }
  // Elsewhere, and by what both have in common.
  Reals moved = Turned(x);
  for (double& value : moved) value += 20.0;
  mol.SetCoords(moved.data());
  QZPlaces common;
  ASSERT_TRUE(QZFindPlaces(reference, mol, "", common, error)) << error;
  EXPECT_EQ(common.atoms.size(), 4u);
  const auto before = common.atoms;
  EXPECT_FALSE(QZFindPlaces(reference, mol, "[Xe]", common, error));
  EXPECT_NE(error.find("matches nothing"), std::string::npos);
  EXPECT_FALSE(QZFindPlaces(reference, mol, "C(", common, error));
  EXPECT_EQ(common.atoms, before);
}

TEST(Onset, HasAContinuousHessian) {
  const auto mol = CarbonChain(4);
  QZDistLimitPenalty band(Atom(mol, 0), Atom(mol, 1), 2.0, 3.0, 10.0);
  EXPECT_FALSE(band.SetOnset(-1.0) || band.SetOnset(std::nan("")));
  ASSERT_TRUE(band.SetOnset(0.25) && band.Setup(mol));
  QZTorsionAngleRestraint torsion(10.0, 3.0);
  EXPECT_FALSE(torsion.SetOnset(HUGE_VAL) || torsion.SetWidth(-0.1));
  ASSERT_TRUE(torsion.SetWidth(0.2) && torsion.SetOnset(0.25) && torsion.Setup(mol));
  struct At {
    double value;
    double norm;  // of the Hessian
  };
  const auto look = [](QZMolFunc2& f, const Reals& x) {
    Reals hessian(78, 0.0);
    EXPECT_TRUE(f(x.data(), hessian.data(), nullptr));
    double sum = 0.0;
    for (const double h : hessian) sum += h * h;
    return At{f(x.data()), std::sqrt(sum)};
  };
  const auto bandAt = [&](double r) { return look(band, {r, 0, 0, 0, 0, 0, 0, 5, 0, 0, 9, 0}); };
  for (const double edge : {2.0, 3.0, 1.75, 3.25}) {
    EXPECT_NEAR(bandAt(edge - 1e-9).norm, bandAt(edge + 1e-9).norm, 1e-5) << edge;
    EXPECT_NEAR(bandAt(edge - 1e-9).value, bandAt(edge + 1e-9).value, 1e-7) << edge;
  }
  EXPECT_EQ(bandAt(2.5).value, 0.0);
  EXPECT_NEAR(bandAt(4.0).value, 10.0 * (1.0 - 0.25 + 0.25 * 0.25 / 3.0), 1e-12);
  const auto torsionAt = [&](double phi) { return look(torsion, Dihedral(phi)); };
  for (const double off : {0.2, 0.45}) {
    for (const double side : {1.0, -1.0}) {
      EXPECT_NEAR(
          torsionAt(3.0 + side * off - 1e-9).norm, torsionAt(3.0 + side * off + 1e-9).norm, 1e-4);
    }
  }
  EXPECT_EQ(torsionAt(3.1).value, 0.0);
  std::mt19937 rng(5603);
  for (int round = 0; round < 20; ++round) {
    const Reals x = Jittered(Dihedral(2.2), 0.2, rng);
    EXPECT_EQ(CheckDerivatives(torsion, x), "") << "seed 5603";
    EXPECT_EQ(CheckDerivatives(band, x), "") << "seed 5603";
  }
}

}  // namespace
