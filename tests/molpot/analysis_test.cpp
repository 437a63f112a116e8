// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <ForceField/ForceField.h>
#include <ForceField/MMFF/TorsionConstraint.h>
#include <GraphMol/FileParsers/FileParsers.h>
#include <GraphMol/ForceFieldHelpers/MMFF/MMFF.h>
#include <GraphMol/GraphMol.h>
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <tuple>

#include "molpot/program.h"
#include "support/molecules.h"

namespace {

using TestMolpot::Scratch;

// RDKit's own minimum with the first four atoms held at an angle (degrees).
double ConstrainedByRDKit(const std::string& path, double degrees) {
  std::unique_ptr<RDKit::RWMol> mol(RDKit::MolFileToMol(path, true, false));
  RDKit::MMFF::MMFFMolProperties properties(*mol);
  std::unique_ptr<ForceFields::ForceField> field(
      RDKit::MMFF::constructForceField(*mol, &properties, 1e6));
  field->initialize();
  auto* hold = new ForceFields::MMFF::TorsionConstraintContrib(
      field.get(), 0, 1, 2, 3, false, degrees, degrees, 1e4);
  field->contribs().push_back(ForceFields::ContribPtr(hold));
  for (int k = 0; k < 40 && field->minimize(2000, 1e-8, 1e-12) != 0; ++k) {
  }
  std::unique_ptr<ForceFields::ForceField> bare(
      RDKit::MMFF::constructForceField(*mol, &properties, 1e6));
  bare->initialize();
  return bare->calcEnergy();
}

TEST(Scan, RelaxedButaneAgreesWithAnIndependentConstrainedMinimisation) {
  const Scratch scratch;
  const auto result = scratch.Molpot(
      "scan data/butane.sdf --torsion '1 2 3 4' --from -180 --to 180 --step 30 -o butane");
  ASSERT_EQ(result.status, 0) << result.err << result.out;
  const auto frames = scratch.Molecules("butane.sdf");
  ASSERT_EQ(frames.size(), 13u);
  std::istringstream csv(scratch.Read("butane.csv"));
  std::string line;
  std::getline(csv, line);
  double energies[13];
  for (int k = 0; k < 13; ++k) {
    double angle = NAN;
    double reached = NAN;
    std::getline(csv, line);
    std::sscanf(line.c_str(), "%lf,%lf,%lf", &angle, &reached, &energies[k]);
    EXPECT_EQ(angle, 30.0 * k - 180.0);
    EXPECT_LE(std::abs(std::remainder(reached - angle, 360.0)), 0.05);
    // From our geometry RDKit only polishes: the same branch, an optimiser and a law of its own.
    scratch.File("frame.sdf", frames[k]);
    const double reference = ConstrainedByRDKit(scratch / "frame.sdf", angle);
    EXPECT_NEAR(energies[k], reference, 0.02) << angle;
  }
  EXPECT_NEAR(energies[0], energies[12], 1e-3) << "-180 and 180 are one geometry";
  EXPECT_NEAR(energies[4], energies[8], 0.01) << "mirror images at -60 and 60";
  EXPECT_NE(scratch.Read("butane.svg").find("<svg"), std::string::npos);
}

TEST(Compare, RunsWhatAppliesAndSaysWhyTheRestDoesNot) {
  const auto result = Scratch().Molpot("compare data/butane.sdf");
  ASSERT_EQ(result.status, 0) << result.err;
  for (const char* name : {"cartesian", "degfree", "redundant", "zmatrix", "torsion"}) {
    const auto at = result.out.find(std::string("  ") + name);
    ASSERT_NE(at, std::string::npos) << name;
    EXPECT_EQ(result.out.substr(at, 40).find(": "), std::string::npos) << name << result.out;
  }
  EXPECT_NE(result.out.find("give it a restraint"), std::string::npos) << result.out;
}

// What a position is held at is the input's frame in every coordinate system.
TEST(Compare, RestraintsOnPositionsMeanTheSameInEverySystem) {
  const auto result = Scratch().Molpot("compare data/ibuprofen.sdf --restrain '[!#1] 0.3 10'");
  ASSERT_EQ(result.status, 0) << result.err;
  double reference = NAN;
  for (const char* name : {"cartesian", "degfree", "redundant", "internal", "zmatrix"}) {
    const auto at = result.out.find(std::string("  ") + name + " ");
    ASSERT_NE(at, std::string::npos) << result.out;
    double energy = NAN;
    ASSERT_EQ(std::sscanf(result.out.c_str() + at, "%*s %*s %*s %*s %*s %lf", &energy), 1);
    if (std::isnan(reference)) reference = energy;
    EXPECT_NEAR(energy, reference, 0.05) << name;
  }
}

TEST(Scan, RingsDistancesAndMapsAreDrivenAndFailuresToldPointByPoint) {
  const Scratch scratch;
  const auto ring = scratch.Molpot("scan data/cyclohexane.sdf --scan '1 2 3 4 40 60 10' -o ring");
  EXPECT_EQ(ring.status, 0) << ring.out << ring.err;
  const auto map =
      scratch.Molpot("scan data/butane.sdf --scan '1 2 3 4 60 180 60' --scan '1 4 3 4 0.5' -o map");
  std::istringstream csv(scratch.Read("map.csv"));
  std::string line;
  std::getline(csv, line);
  EXPECT_EQ(line.substr(0, 57), "angle1_deg,reached1_deg,distance2_A,reached2_A,energy_kca");
  unsigned int rows = 0;
  bool anyFailed = false;
  for (; std::getline(csv, line); ++rows) {
    double value[4];
    std::sscanf(line.c_str(), "%lf,%lf,%lf,%lf", &value[0], &value[1], &value[2], &value[3]);
    const bool reached = std::abs(std::remainder(value[0] - value[1], 360.0)) < 0.01 &&
                         std::abs(value[2] - value[3]) < 1e-3;
    const bool saysNo = line.find(",no,") != std::string::npos;
    EXPECT_TRUE(reached || saysNo) << line;
    anyFailed = anyFailed || saysNo;
  }
  EXPECT_EQ(rows, 9u);
  EXPECT_EQ(map.status, anyFailed ? 1 : 0);
  EXPECT_NE(scratch.Read("map.svg").find("<svg"), std::string::npos);
}

// A scan holds what minimize holds: every point is a minimum of minimize under the same options.
TEST(Scan, HoldsAtomsAndGeometriesAsMinimizeDoes) {
  const Scratch scratch;
  scratch.File("held.json", R"([{"kind": "constrain-distance", "atoms": "[O:1]=C-[O:2]",
      "value": 2.32}, {"kind": "wall", "shape": "sphere", "centre": [0, 0, 0], "radius": 3, "k": 1}])");
  const std::string held = " --freeze c --restraints held.json --gradient-tolerance 1e-6";
  const auto result = scratch.Molpot(
      "scan data/ibuprofen.sdf --scan '[OX1:1]=[C:2][CH:3][c:4] -100 100 50' -o s" + held);
  ASSERT_EQ(result.status, 0) << result.err << result.out;
  const auto start = scratch.Molecules("data/ibuprofen.sdf").front();
  const auto frames = scratch.Molecules("s.sdf");
  ASSERT_EQ(frames.size(), 5u);
  for (std::size_t k = 0; k < frames.size(); ++k) {
    scratch.File("frame.sdf", frames[k]);
    const double angle = -100.0 + 50.0 * static_cast<double>(k);
    const auto polished = scratch.Molpot(
        "minimize frame.sdf -o min.sdf --json --constrain-torsion '[OX1:1]=[C:2][CH:3][c:4] " +
        std::to_string(angle) + "'" + held);
    ASSERT_EQ(polished.status, 0) << polished.err;
    const double energy = nlohmann::json::parse(polished.out)["energy"];
    EXPECT_NEAR(std::stod(QZGetSDData(frames[k], "Energy (kcal/mol)")), energy, 2e-4) << angle;
    for (const auto& atom : QZSystem::QZRange(start.GetAtoms())) {
      bool isAromatic = false;
      for (const auto& bond : QZSystem::QZRange(atom.GetBonds())) {
        isAromatic = isAromatic || bond.IsAromatic();
      }
      if (!isAromatic) continue;
      double before[3];
      double after[3];
      start.GetCoords(&atom, before);
      frames[k].GetCoords(frames[k].GetAtom(atom.GetIndex()), after);
      EXPECT_TRUE(std::equal(before, before + 3, after)) << atom.GetIndex();
    }
  }
  const std::tuple<const char*, const char*> wrong[] = {
      {"--freeze [#6]", "all its atoms are frozen"},
      {"--constrain-torsion '1 2 3 4 100'", "--constrain-torsion \"1 2 3 4 100\" is missed by"},
      {"--max-iterations 1", "not converged"}};
  for (const auto& [options, reason] : wrong) {
    const auto failed = scratch.Molpot(
        std::string("scan data/butane.sdf --scan '1 2 3 4 60 180 60' -o b ") + options);
    EXPECT_EQ(failed.status, 1) << options;
    EXPECT_NE((failed.out + failed.err).find(reason), std::string::npos) << failed.out;
  }
}

TEST(NormalModes, HaveTheCountThatTheMotionAllowsAndRefuseAGradient) {
  const Scratch scratch;
  const std::tuple<std::string, int, std::size_t> cases[] = {
      {"normal-modes data/butane.sdf --json", 0, 36},
      {"normal-modes data/butane.sdf --json --freeze [#6]", 0, 30},
      {"normal-modes data/butane.sdf --json --coordinates torsion", 0, 1},
      {"normal-modes data/butane.sdf --json --as-is", 1, 0},
  };
  for (const auto& [commandLine, status, count] : cases) {
    SCOPED_TRACE(commandLine);
    const auto result = scratch.Molpot(commandLine);
    ASSERT_EQ(result.status, status) << result.err;
    const auto json = nlohmann::json::parse(result.out);
    EXPECT_EQ(json.contains("error"), status == 1);
    if (status == 1) continue;
    EXPECT_EQ(json["frequencies"].size(), count);
    double sum = 0.0;
    for (const auto& frequency : json["frequencies"]) sum += frequency.get<double>();
    // Half a wave number is 1.429572e-3 kcal/mol.
    EXPECT_EQ(json["imaginary"], 0);
    EXPECT_NEAR(json["zero_point_energy"].get<double>(), 1.429572e-3 * sum, 1e-4);
  }
}

TEST(Check, HessiansHoldInEveryCoordinateSystem) {
  for (const char* name : {"cartesian", "degfree", "redundant", "internal", "zmatrix", "torsion"}) {
    const auto result = Scratch().Molpot(
        std::string("check data/butane.sdf --restrain '[#6] 0.1 5' --coordinates ") + name);
    EXPECT_EQ(result.status, 0) << name << result.out << result.err;
  }
}

TEST(TorsionSpace, MinimisationKeepsBondLengthsAndAngles) {
  const Scratch scratch;
  // XYZ carries more decimals than SDF does.
  const auto result = scratch.Molpot(
      "minimize data/imatinib.sdf -o out.xyz --coordinates torsion --max-iterations 60");
  ASSERT_EQ(result.status, 0) << result.err;
  const auto start = scratch.Molecules("data/imatinib.sdf").at(0);
  const auto end = scratch.Molecules("out.xyz").at(0);
  const auto expectKept = [&](const QZChem::QZAtomBase& a, const QZChem::QZAtomBase& b) {
    const double now =
        QZChem::QZGetDistance(end, end.GetAtom(a.GetIndex()), end.GetAtom(b.GetIndex()));
    EXPECT_NEAR(now, QZChem::QZGetDistance(start, &a, &b), 1e-6);
  };
  for (const auto& atom : QZSystem::QZRange(start.GetAtoms())) {
    for (const auto& a : QZSystem::QZRange(atom.GetNeighbours())) {
      expectKept(a, atom);
      for (const auto& b : QZSystem::QZRange(atom.GetNeighbours())) expectKept(a, b);
    }
  }
  const auto from = TestSupport::Coords(start);
  const auto to = TestSupport::Coords(end);
  EXPECT_GT(QZChem::QZRMSBetweenPoints(from.data(), to.data(), start.NumAtoms(), nullptr), 0.05)
      << "nothing turned";
  // Few variables that turn many atoms: nothing may make them stiffer than the force field does.
  const auto large = scratch.Molpot(
      "minimize data/decapeptide.sdf -o out.xyz --coordinates torsion --max-iterations 300");
  EXPECT_EQ(large.status, 0) << large.err;
}

}  // namespace
