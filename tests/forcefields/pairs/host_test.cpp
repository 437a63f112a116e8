// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// A ligand in a host against the force field of both as one molecule.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "forcefields/forcefields.h"
#include "support/capture.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace {

using namespace QZMolPotential;
using namespace TestSupport;
using Kind = QZForceFieldKind;
using QZChem::QZGraphMol;
using QZSystem::QZRange;

constexpr Kind kKinds[] = {Kind::MMFF94, Kind::MMFF94s, Kind::UFF};
constexpr unsigned int kSeed = 20261123;

/// Aspirin beside the decapeptide, some atoms in contact.
QZGraphMol Ligand() {
  QZGraphMol ligand = DataMolecule("aspirin");
  std::vector<double> x = Coords(ligand);
  for (std::size_t k = 0; k < x.size(); k += 3) x[k + 1] += 6.5;
  ligand.SetCoords(x.data());
  return ligand;
}

QZHostField FieldOf(const QZGraphMol& host, QZHostOptions options) {
  QZHostField field(options);
  EXPECT_TRUE(field.Setup(host));
  return field;
}

std::vector<unsigned int> AllAtoms(const QZGraphMol& mol) {
  std::vector<unsigned int> all(mol.NumAtoms());
  std::iota(all.begin(), all.end(), 0u);
  return all;
}

// With every atom free and no cutoff host and ligand are one molecule.
TEST(Host, FlexibleThroughoutIsTheForceFieldOfTheWhole) {
  const QZGraphMol host = DataMolecule("decapeptide");
  const QZGraphMol ligand = Ligand();
  std::mt19937 random(kSeed);
  for (const Kind kind : kKinds) {
    QZHostOptions options;
    options.forceField = kind;
    options.cutoff = 0.0;
    options.dielectric = 2.0;
    options.distanceDependent = kind == Kind::MMFF94s;
    const QZHostField field = FieldOf(host, options);
    const QZGraphMol joined = field.Join(ligand, AllAtoms(host));
    QZHostFunc func(field);
    ASSERT_TRUE(func.Setup(joined));
    QZStandardFF whole(kind);
    whole.SetDielectric(options.dielectric, options.distanceDependent);
    ASSERT_TRUE(whole.Setup(joined));
    ASSERT_EQ(func.NumVar(), whole.NumVar());
    const std::vector<double> x = Jittered(Coords(joined), 0.1, random);
    const std::size_t n = x.size();
    std::vector<double> grad(n, 0.0);
    std::vector<double> expected(n, 0.0);
    const double energy = whole(x.data(), expected.data());
    EXPECT_NEAR(func(x.data(), grad.data()), energy, 1e-9 * std::abs(energy));
    EXPECT_NEAR(func(x.data()), energy, 1e-9 * std::abs(energy));
    EXPECT_LE(LargestDifference(grad, expected), 1e-9 * std::abs(energy));
    std::vector<double> hessian(n * (n + 1) / 2, 0.0);
    std::vector<double> wanted(hessian.size(), 0.0);
    std::ranges::fill(grad, 0.0);
    ASSERT_TRUE(func(x.data(), hessian.data(), grad.data()));
    ASSERT_TRUE(whole(x.data(), wanted.data(), nullptr));
    EXPECT_LE(LargestDifference(grad, expected), 1e-9 * std::abs(energy));
    EXPECT_LE(LargestDifference(hessian, wanted), 1e-9 * std::abs(energy));
  }
}

TEST(Host, InteractionIsWhatTheWholeHasBeyondItsParts) {
  const QZGraphMol host = DataMolecule("decapeptide");
  const QZGraphMol ligand = Ligand();
  for (const Kind kind : kKinds) {
    QZHostOptions options;
    options.forceField = kind;
    options.cutoff = 0.0;
    const QZHostField field = FieldOf(host, options);
    QZHostFunc func(field);
    ASSERT_TRUE(func.Setup(ligand));
    EXPECT_TRUE(func.GetFlexibleAtoms().empty());
    const auto energies = func.GetEnergies(Coords(ligand).data());
    const auto energyOf = [kind](const QZGraphMol& mol) {
      QZStandardFF ff(kind);
      EXPECT_TRUE(ff.Setup(mol));
      return ff(Coords(mol).data());
    };
    const double own = energyOf(ligand);
    const double whole = energyOf(field.Join(ligand, AllAtoms(host)));
    EXPECT_NEAR(energies.ligand, own, 1e-9 * std::abs(own));
    EXPECT_NEAR(energies.Interaction(), whole - own - energyOf(host), 1e-8 * std::abs(whole));
    EXPECT_EQ(energies.host, 0.0);
    EXPECT_EQ(energies.electrostatics == 0.0, kind == Kind::UFF);
    EXPECT_NE(energies.vanDerWaals, 0.0);
  }
}

TEST(Host, KeepsTheContractOfAFunctionRigidAndFlexible) {
  const QZGraphMol host = DataMolecule("decapeptide");
  const QZGraphMol ligand = Ligand();
  std::mt19937 random(kSeed);
  for (const Kind kind : {Kind::MMFF94, Kind::UFF}) {
    for (const double cutoff : {0.0, 7.0}) {
      QZHostOptions options;
      options.forceField = kind;
      options.cutoff = cutoff;
      const QZHostField field = FieldOf(host, options);
      const auto near = field.FindNear(ligand, 5.0);
      EXPECT_GT(near.size(), 5u);
      EXPECT_LT(near.size(), host.NumAtoms());
      for (const auto& atoms : {std::vector<unsigned int>(), near}) {
        const QZGraphMol joined = field.Join(ligand, atoms);
        const auto make = [&] { return new QZHostFunc(field); };
        const auto x = Jittered(Coords(joined), 0.05, random);
        EXPECT_EQ(CheckContract(make, joined, x, /*rigidInvariant=*/false), "")
            << int(kind) << " " << cutoff << " " << atoms.size();
      }
    }
  }
}

// What changes when flexible atoms move is what changes in the whole.
TEST(Host, FlexibleAtomsHaveAllTheirTerms) {
  const QZGraphMol host = DataMolecule("decapeptide");
  const QZGraphMol ligand = Ligand();
  QZHostOptions options;
  options.cutoff = 0.0;
  const QZHostField field = FieldOf(host, options);
  QZGraphMol joined = field.Join(ligand, field.FindNear(ligand, 4.0));
  QZHostFunc func(field);
  ASSERT_TRUE(func.Setup(joined));
  QZStandardFF whole(Kind::MMFF94);
  std::mt19937 random(kSeed);
  double before[2] = {};
  for (int i = 0; i < 2; ++i) {
    const auto x = Jittered(Coords(joined), 0.1, random);
    joined.SetCoords(x.data());
    const QZGraphMol all = field.Join(ligand, AllAtoms(host));
    QZGraphMol complex = all;
    std::vector<double> coords = Coords(ligand);
    std::copy_n(x.begin(), coords.size(), coords.begin());
    const auto hostCoords = Coords(field.HostOf(joined));
    coords.insert(coords.end(), hostCoords.begin(), hostCoords.end());
    ASSERT_TRUE(whole.Setup(all));
    const double energies[2] = {func(x.data()), whole(coords.data())};
    if (i == 1) {
      EXPECT_NEAR(energies[0] - before[0], energies[1] - before[1], 1e-9 * std::abs(energies[1]));
    }
    std::ranges::copy(energies, before);
  }
  EXPECT_EQ(QZHostField::LigandOf(joined).NumAtoms(), ligand.NumAtoms());
}

// Alone, joined, bound or not: the interactions of a name add up to the component, and each is
// between atoms of the molecule, or rigid ones of the host, that are where it says.
TEST(Host, InteractionsAddUpToTheComponents) {
  const QZGraphMol host = DataMolecule("decapeptide");
  const QZGraphMol ligand = Ligand();
  for (const Kind kind : kKinds) {
    QZHostOptions options;
    options.forceField = kind;
    options.cutoff = 7.0;
    const QZHostField field = FieldOf(host, options);
    for (const bool isFlexible : {false, true}) {
      const QZGraphMol mol = isFlexible ? field.Join(ligand, field.FindNear(ligand, 3.0)) : ligand;
      std::vector<double> x = Coords(mol);
      for (std::size_t k = 0; k < x.size(); ++k)
        x[k] += 0.03 * std::sin(1.0 + 7.0 * static_cast<double>(k));
      QZHostFunc func(field);
      const QZHostFunc unbound(field);
      ASSERT_TRUE(func.Setup(mol));
      std::map<std::string, double> components;
      for (const auto& term : QZRange(func.GetFComponents(x.data()))) {
        components[term.GetName()] += term.GetValue();
      }
      for (const QZHostFunc* lister : std::initializer_list<const QZHostFunc*>{&func, &unbound}) {
        std::map<std::string, double> sums;
        std::size_t withHost = 0;
        for (const auto& one : QZRange(lister->GetInteractions(mol, x.data(), ~0U))) {
          sums[one.GetName()] += one.GetValues(nullptr);
          for (const auto& atom : QZRange(one.GetAtoms())) {
            if (&atom.GetMol() == &mol) continue;
            ++withHost;
            ASSERT_EQ(&atom.GetMol(), field.GetHost());
          }
        }
        EXPECT_GT(withHost, 100u);
        for (const auto& [name, value] : components) {
          EXPECT_NEAR(sums[name], value, 1e-9 * std::max(1.0, std::abs(value))) << name;
        }
      }
      const auto stretches = QZRange(func.GetInteractions(mol, x.data(), QZCategoryStretch));
      for (const auto& one : stretches) EXPECT_EQ(one.NumAtoms(), 2u);
    }
  }
}

// Pairs of two fixed atoms are left out, all others stay: forces on what is free are the same, and
// energies differ by a constant.
TEST(Host, FreezingLeavesOutPairsOfFixedAtoms) {
  const QZGraphMol host = DataMolecule("decapeptide");
  const QZGraphMol ligand = Ligand();
  std::mt19937 random(kSeed);
  for (const double cutoff : {0.0, 7.0}) {
    QZHostOptions options;
    options.cutoff = cutoff;
    const QZHostField field = FieldOf(host, options);
    const auto near = field.FindNear(ligand, 4.0);
    for (const auto& flexible : {std::vector<unsigned int>(), near}) {
      const QZGraphMol joined = field.Join(ligand, flexible);
      QZHostFunc all(field);
      ASSERT_TRUE(all.Setup(joined));
      QZHostFunc some(all);
      std::vector<unsigned char> fixed(joined.NumAtoms(), 0);
      std::fill_n(fixed.begin(), 13, 1);  // of the ligand
      for (std::size_t i = ligand.NumAtoms(); i < fixed.size(); i += 2) fixed[i] = 1;
      ASSERT_TRUE(some.Freeze(fixed.data()));
      QZHostFunc copy(some);
      std::vector<double> x = Coords(joined);
      double left[2] = {};
      for (double& difference : left) {
        std::vector<double> wanted(x.size(), 0.0);
        std::vector<double> grad(x.size(), 0.0);
        difference = all(x.data(), wanted.data()) - some(x.data(), grad.data());
        EXPECT_EQ(copy(x.data()), some(x.data()));
        for (std::size_t k = 0; k < x.size(); ++k) {
          if (fixed[k / 3]) continue;
          EXPECT_NEAR(grad[k], wanted[k], 1e-9 * (1.0 + std::abs(wanted[k])));
        }
        const auto moved = Jittered(x, 0.05, random);
        for (std::size_t k = 0; k < x.size(); ++k) x[k] = fixed[k / 3] ? x[k] : moved[k];
      }
      EXPECT_NEAR(left[0], left[1], 1e-8 * std::abs(left[0]));
      EXPECT_NE(left[0], 0.0);
      std::ranges::fill(fixed, 1);
      ASSERT_TRUE(some.Freeze(fixed.data()));
      EXPECT_EQ(some.GetEnergies(x.data()).Interaction(), 0.0);
      some.Freeze(nullptr);
      EXPECT_EQ(some(x.data()), all(x.data()));
    }
  }
}

TEST(Host, IsSharedByThreads) {
  const QZGraphMol host = DataMolecule("decapeptide");
  const QZGraphMol ligand = Ligand();
  const QZHostField field = FieldOf(host, {});
  const QZGraphMol joined = field.Join(ligand, field.FindNear(ligand, 3.0));
  std::vector<double> energies(4, 0.0);
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < energies.size(); ++t) {
    threads.emplace_back([&, t] {
      QZHostFunc func(field);
      if (func.Setup(joined)) energies[t] = func(Coords(joined).data());
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_NE(energies[0], 0.0);
  for (const double energy : energies) EXPECT_EQ(energy, energies[0]);
}

TEST(Host, SaysWhatIsMissing) {
  const QZHostField empty;
  QZHostFunc func(empty);
  MessageCapture messages;
  EXPECT_FALSE(func.Setup(Ligand()));
  ASSERT_EQ(messages.Warnings().size(), 1u);
  EXPECT_EQ(func.NumVar(), 0u);
  QZHostField field;
  QZGraphMol untyped = DataMolecule("aspirin");
  untyped.AddAtom(92, 30.0, 0.0, 0.0);
  EXPECT_FALSE(field.Setup(untyped));
  EXPECT_EQ(field.GetHost(), nullptr);
  // Deleting atoms of a joined molecule mixes ligand and host up.
  field = FieldOf(DataMolecule("decapeptide"), {});
  QZGraphMol joined = field.Join(Ligand(), {3, 4, 5, 5, 100000});
  EXPECT_EQ(joined.NumAtoms(), Ligand().NumAtoms() + 3);
  QZHostFunc bound(field);
  EXPECT_TRUE(bound.Setup(joined));
  joined.DeleteAtom(joined.GetAtom(0));
  joined.Sweep();
  EXPECT_FALSE(bound.Setup(joined));
}

}  // namespace
