// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <numbers>
#include <random>
#include <string>

#include "coordinates/exact.h"
#include "molpotential/interadaptor.h"
#include "molpotential/toradaptor.h"
#include "support/capture.h"

namespace {

using namespace TestSupport;
using QZMolPotential::QZFlexibility;
using QZMolPotential::QZInterAdaptor;
using QZMolPotential::QZTorAdaptor;
using QZMolPotential::QZTorQuatAdaptor;
using QZMolPotential::QZTorsionPred1;
using QZMolPotential::QZTorsionPred2;
using QZMolPotential::QZTorsionPred3;

// The atoms of several molecules in one, each `apart` Å along x from the one before.
QZChem::QZGraphMol Together(const std::vector<const char*>& names, double apart) {
  QZChem::QZGraphMol all;
  double shift = 0.0;
  for (const char* name : names) {
    const auto mol = DataMolecule(name);
    const unsigned int first = all.NumAtoms();
    for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
      double p[3];
      mol.GetCoords(&atom, p);
      all.AddAtom(atom.GetAtomicNumber(), p[0] + shift, p[1], p[2]);
    }
    for (const auto& bond : QZSystem::QZRange(mol.GetBonds())) {
      all.AddBond(all.GetAtom(first + bond.GetBegin()->GetIndex()),
                  all.GetAtom(first + bond.GetEnd()->GetIndex()),
                  bond.GetOrder());
    }
    shift += apart;
  }
  return all;
}

unsigned int NumTorsions(const char* name,
                         const QZSystem::QZUnaryPredicate<QZChem::QZBondBase>& rotors) {
  const auto mol = DataMolecule(name);
  FieldedProbe probe;
  QZTorAdaptor f(probe, /*own=*/false);
  f.SetRotors(rotors);
  EXPECT_TRUE(f.Setup(mol));
  return f.NumVar();
}

// Counted by hand: butane's methyls and its middle bond; aspirin's acid hydroxyl, acid, two of the
// ester and its methyl; benzene none.
TEST(TorAdaptor, PredicatesSayWhichBondsTurn) {
  EXPECT_EQ(NumTorsions("butane", QZTorsionPred1()), 3u);
  EXPECT_EQ(NumTorsions("butane", QZTorsionPred2()), 1u);
  EXPECT_EQ(NumTorsions("aspirin", QZTorsionPred1()), 5u);
  EXPECT_EQ(NumTorsions("aspirin", QZTorsionPred2()), 3u);
  EXPECT_EQ(NumTorsions("benzene", QZTorsionPred1()), 0u);
  EXPECT_EQ(NumTorsions("butane", QZTorsionPred3("[CH3][CH2]")), 2u);
  EXPECT_EQ(NumTorsions("butane", QZTorsionPred3("CC[CH2:2][CH3:1]")), 2u);
  EXPECT_EQ(NumTorsions("butane", QZTorsionPred3("CCCC")), 1u) << "the middle two of four";
  EXPECT_EQ(NumTorsions("cyclohexane", QZTorsionPred3("CC")), 0u) << "never in a ring";
  MessageCapture messages;
  EXPECT_EQ(NumTorsions("butane", QZTorsionPred3("C(")), 0u);
  EXPECT_EQ(messages.At(QZSystem::QZErrorLevel::Error).size(), 1u);
}

TEST(TorAdaptor, BothDerivativesHoldWithEveryRotorAndWithFixedAtoms) {
  std::mt19937 rng(21);
  for (const char* name : {"aspirin", "ibuprofen", "imatinib"}) {
    for (const std::vector<unsigned int>& held :
         {std::vector<unsigned int>{}, std::vector<unsigned int>{2, 3}}) {
      SCOPED_TRACE(std::string(name) + ", seed 21, fixed " + std::to_string(held.size()));
      const auto mol = DataMolecule(name);
      FieldedProbe probe(0.01);
      QZTorAdaptor f(probe, /*own=*/false);
      f.SetRotors(QZTorsionPred1());
      f.SetFixed(AtomsWhere([&](unsigned int i) { return std::ranges::count(held, i) > 0; }));
      ExpectExact(f, mol, rng, held);
    }
  }
}

// The values are dihedrals: asking for one gives it, and turns nothing else.
TEST(TorAdaptor, AValueIsTheDihedralOfItsBond) {
  const auto mol = DataMolecule("butane");
  const auto x = Coords(mol);
  FieldedProbe probe;
  QZTorAdaptor f(probe, /*own=*/false);
  ASSERT_TRUE(f.Setup(mol));
  Reals vars = VarsOf(f, x);
  for (const double asked : {-2.9, -0.3, 1.0, 3.0}) {
    vars[0] = asked;
    const Reals moved = CoordsOf(f, vars, x.size());
    EXPECT_NEAR(VarsOf(f, moved)[0], asked, 1e-12);
    VarsOf(f, x);
  }
}

TEST(TorQuatAdaptor, ALigandMovesAndTurnsInAHeldHost) {
  std::mt19937 rng(22);
  const auto mol = Together({"caffeine", "aspirin"}, 6.0);
  const unsigned int host = DataMolecule("caffeine").NumAtoms();
  std::vector<unsigned int> held;
  for (unsigned int i = 0; i < host; ++i) held.push_back(i);
  FieldedProbe probe(0.01);
  QZTorQuatAdaptor f(probe, /*own=*/false);
  f.SetFixed(AtomsWhere([&](unsigned int i) { return i < host; }));
  ASSERT_TRUE(f.Setup(mol));
  EXPECT_EQ(f.NumVar(), 3u + 7u);
  ExpectExact(f, mol, rng, held);
  // The energy does not depend on the quaternion's length, at second order either.
  Reals vars = Jittered(VarsOf(f, Coords(mol)), 0.1, rng);
  Reals hess(f.NumVar() * (f.NumVar() + 1) / 2, 0.0);
  Reals grad(f.NumVar(), 0.0);
  ASSERT_TRUE(f(vars.data(), hess.data(), grad.data()));
  double along = 0.0;
  double bend = 0.0;
  for (unsigned int k = 3; k < 7; ++k) {
    along += grad[k] * vars[k];
    for (unsigned int j = 3; j < 7; ++j) {
      bend += hess[std::max(k, j) * (std::max(k, j) + 1) / 2 + std::min(k, j)] * vars[k] * vars[j];
    }
  }
  EXPECT_NEAR(along, 0.0, 1e-9);
  EXPECT_NEAR(bend, 0.0, 1e-8);
}

TEST(InterAdaptor, EachMoleculeIsAsFlexibleAsItIsTold) {
  std::mt19937 rng(23);
  const auto mol = Together({"benzene", "butane", "aspirin", "benzene"}, 7.0);
  std::vector<unsigned int> first;
  for (unsigned int i = 0; i < 12; ++i) first.push_back(i);
  FieldedProbe probe(0.01);
  QZInterAdaptor f(probe, /*own=*/false);
  ASSERT_TRUE(f.Setup(mol));
  EXPECT_EQ(f.NumVar(), 21u) << "the first is held, the others are rigid";
  ExpectExact(f, mol, rng, first);
  f.SetFlexibility(1, QZFlexibility::Full);
  f.SetFlexibility(2, QZFlexibility::Torsion);
  ASSERT_TRUE(f.Setup(mol));
  EXPECT_EQ(f.NumVar(), 42u + 10u + 7u);
  ExpectExact(f, mol, rng, first);
  f.SetFixed(AtomsWhere([](unsigned int i) { return i == 12 || i == 30; }));
  ASSERT_TRUE(f.Setup(mol));
  EXPECT_EQ(f.NumVar(), 39u + 7u) << "butane's other atoms; aspirin is held";
  first.insert(first.end(), {12, 26, 30, 46});
  ExpectExact(f, mol, rng, first);
  MessageCapture messages;
  f.SetFlexibility(4, QZFlexibility::Full);
  EXPECT_FALSE(f.Setup(mol));
  EXPECT_EQ(messages.Warnings().size(), 1u);
}

}  // namespace
