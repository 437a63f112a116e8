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
#include <sstream>

#include "molpot/program.h"
#include "support/molecules.h"

namespace {

using TestMolpot::Scratch;

struct CsvRow {
  double angle;
  double reached;
  double energy;
};

std::vector<CsvRow> ParseCsv(const std::string& text) {
  std::istringstream in(text);
  std::string line;
  std::getline(in, line);
  std::vector<CsvRow> rows;
  while (std::getline(in, line)) {
    CsvRow& row = rows.emplace_back();
    std::sscanf(line.c_str(), "%lf,%lf,%lf", &row.angle, &row.reached, &row.energy);
  }
  return rows;
}

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
  const auto rows = ParseCsv(scratch.Read("butane.csv"));
  ASSERT_EQ(rows.size(), 13u);
  const auto frames = scratch.Molecules("butane.sdf");
  ASSERT_EQ(frames.size(), rows.size());
  for (std::size_t k = 0; k < rows.size(); ++k) {
    EXPECT_LE(std::abs(std::remainder(rows[k].reached - rows[k].angle, 360.0)), 0.05);
    // From our geometry RDKit only polishes: the same branch, an optimiser and a law of its own.
    scratch.File("frame.sdf", frames[k]);
    const double reference = ConstrainedByRDKit(scratch / "frame.sdf", rows[k].angle);
    EXPECT_NEAR(rows[k].energy, reference, 0.02) << rows[k].angle;
  }
  EXPECT_NEAR(rows.front().energy, rows.back().energy, 1e-3) << "-180 and 180 are one geometry";
  EXPECT_NEAR(rows[4].energy, rows[8].energy, 0.01) << "mirror images at -60 and 60";
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
  EXPECT_NE(result.out.find("no atom is frozen"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("one piece"), std::string::npos) << result.out;
}

TEST(TorsionSpace, MinimisationKeepsBondLengthsAndAngles) {
  const Scratch scratch;
  // XYZ carries more decimals than SDF does.
  const auto result = scratch.Molpot(
      "minimize data/imatinib.sdf -o out.xyz --coordinates torsion --max-iterations 60");
  ASSERT_EQ(result.status, 0) << result.err;
  const auto start = scratch.Molecules("data/imatinib.sdf").at(0);
  const auto end = scratch.Molecules("out.xyz").at(0);
  const auto at = [&end](const QZChem::QZAtomBase& a) { return end.GetAtom(a.GetIndex()); };
  for (const auto& atom : QZSystem::QZRange(start.GetAtoms())) {
    for (auto& a : QZSystem::QZRange(atom.GetNeighbours())) {
      EXPECT_NEAR(QZChem::QZGetDistance(end, at(a), at(atom)),
                  QZChem::QZGetDistance(start, &a, &atom),
                  1e-6);
      for (auto& b : QZSystem::QZRange(atom.GetNeighbours())) {
        if (a.GetIndex() >= b.GetIndex()) continue;
        EXPECT_NEAR(QZChem::QZGetAngle(end, at(a), at(atom), at(b)),
                    QZChem::QZGetAngle(start, &a, &atom, &b),
                    1e-6);
      }
    }
  }
  const auto from = TestSupport::Coords(start);
  const auto to = TestSupport::Coords(end);
  EXPECT_GT(QZChem::QZRMSBetweenPoints(from.data(), to.data(), start.NumAtoms(), nullptr), 0.05)
      << "nothing turned";
}

}  // namespace
