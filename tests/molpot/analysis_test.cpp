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

namespace {

using TestMolpot::Data;
using TestMolpot::Molpot;
using TestMolpot::ReadFile;
using TestMolpot::Scratch;

struct CsvRow {
  double angle;
  double reached;
  double energy;
};

std::vector<CsvRow> ReadCsv(const std::string& path) {
  std::istringstream in(ReadFile(path));
  std::string line;
  std::getline(in, line);
  std::vector<CsvRow> rows;
  while (std::getline(in, line)) {
    CsvRow row{};
    std::sscanf(line.c_str(), "%lf,%lf,%lf", &row.angle, &row.reached, &row.energy);
    rows.push_back(row);
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
  const auto result = Molpot({"scan",
                              Data("butane.sdf"),
                              "--torsion",
                              "1 2 3 4",
                              "--from",
                              "-180",
                              "--to",
                              "180",
                              "--step",
                              "30",
                              "-o",
                              scratch / "butane"});
  ASSERT_EQ(result.status, 0) << result.err << result.out;
  const auto rows = ReadCsv(scratch / "butane.csv");
  ASSERT_EQ(rows.size(), 13u);
  const auto frames = TestMolpot::ReadMolecules(scratch / "butane.sdf");
  ASSERT_EQ(frames.size(), rows.size());
  for (std::size_t k = 0; k < rows.size(); ++k) {
    const double off = std::remainder(rows[k].reached - rows[k].angle, 360.0);
    EXPECT_LE(std::abs(off), 0.05) << rows[k].angle;
    // From our geometry RDKit only polishes: the same branch, an optimiser and a law of its own.
    const std::string frame = scratch / "frame.sdf";
    {
      QZChem::qzmolostream stream(frame.c_str());
      QZChem::QZGraphMol mol = frames[k];
      QZChem::QZWriteMolecule(stream, mol);
    }
    EXPECT_NEAR(rows[k].energy, ConstrainedByRDKit(frame, rows[k].angle), 0.02) << rows[k].angle;
  }
  EXPECT_NEAR(rows.front().energy, rows.back().energy, 1e-3) << "-180 and 180 are one geometry";
  EXPECT_NEAR(rows[4].energy, rows[8].energy, 0.01) << "mirror images at -60 and 60";
  EXPECT_NE(ReadFile(scratch / "butane.svg").find("<svg"), std::string::npos);
}

TEST(Scan, RefusesUnusableRangesAndAtoms) {
  const Scratch scratch;
  const std::string prefix = scratch / "x";
  EXPECT_EQ(
      Molpot({"scan", Data("butane.sdf"), "--torsion", "1 2 3 4", "--step", "0", "-o", prefix})
          .status,
      2);
  EXPECT_EQ(Molpot({"scan", Data("butane.sdf"), "--torsion", "1 2 3", "-o", prefix}).status, 2);
  EXPECT_EQ(Molpot({"scan", Data("butane.sdf"), "--torsion", "1 2 3 99", "-o", prefix}).status, 1);
  EXPECT_TRUE(scratch.List().empty());
}

TEST(Check, ForceFieldAndRestraintsPassAndATightToleranceFails) {
  const std::vector<std::string> args = {"check", Data("caffeine.sdf"), "--restrain", "[#6] 0.1 5"};
  const auto good = Molpot(args);
  EXPECT_EQ(good.status, 0) << good.out << good.err;
  EXPECT_NE(good.out.find("gradient"), std::string::npos);
  auto strict = args;
  strict.insert(strict.end(), {"--tolerance", "1e-15"});
  EXPECT_EQ(Molpot(strict).status, 1);
}

TEST(Compare, RunsWhatAppliesAndSaysWhyTheRestDoesNot) {
  const auto result = Molpot({"compare", Data("butane.sdf")});
  ASSERT_EQ(result.status, 0) << result.err;
  for (const char* name : {"cartesian", "degfree", "redundant", "zmatrix", "torsion"}) {
    const auto at = result.out.find(std::string("  ") + name);
    ASSERT_NE(at, std::string::npos) << name;
    EXPECT_EQ(result.out.substr(at, 40).find(": "), std::string::npos) << name << result.out;
  }
  EXPECT_NE(result.out.find("no atom is frozen"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("one piece"), std::string::npos) << result.out;
}

TEST(Report, PrintsTheTablesOfTheOptimiserVariables) {
  for (const auto& [coordinates, heading] : {std::pair{"zmatrix", "Internal Z-matrix coordinates:"},
                                             std::pair{"torsion", "Torsion coordinates:"},
                                             std::pair{"rigid", "Center of geometry:"}}) {
    const auto result = Molpot({"report", Data("ibuprofen.sdf"), "--coordinates", coordinates});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find(heading), std::string::npos) << result.out;
  }
}

TEST(TorsionSpace, MinimisationKeepsBondLengthsAndAngles) {
  const Scratch scratch;
  const auto result = Molpot({"minimize",
                              Data("imatinib.sdf"),
                              "-o",
                              scratch / "out.xyz",
                              "--coordinates",
                              "torsion",
                              "--max-iterations",
                              "60"});
  ASSERT_EQ(result.status, 0) << result.err;
  const auto start = TestMolpot::ReadMolecules(Data("imatinib.sdf")).at(0);
  // XYZ carries more decimals than SDF does.
  const auto end = TestMolpot::ReadMolecules(scratch / "out.xyz").at(0);
  double moved = 0.0;
  for (const auto& bond : QZSystem::QZRange(start.GetBonds())) {
    const unsigned int i = bond.GetBegin()->GetIndex();
    const unsigned int j = bond.GetEnd()->GetIndex();
    EXPECT_NEAR(QZChem::QZGetDistance(end, end.GetAtom(i), end.GetAtom(j)),
                QZChem::QZGetDistance(start, start.GetAtom(i), start.GetAtom(j)),
                1e-6);
    double p[3];
    double q[3];
    start.GetCoords(start.GetAtom(i), p);
    end.GetCoords(end.GetAtom(i), q);
    moved = std::max(moved, std::hypot(p[0] - q[0], p[1] - q[1], p[2] - q[2]));
  }
  for (const auto& atom : QZSystem::QZRange(start.GetAtoms())) {
    for (auto& a : QZSystem::QZRange(atom.GetNeighbours())) {
      for (auto& b : QZSystem::QZRange(atom.GetNeighbours())) {
        if (a.GetIndex() >= b.GetIndex()) continue;
        EXPECT_NEAR(QZChem::QZGetAngle(end,
                                       end.GetAtom(a.GetIndex()),
                                       end.GetAtom(atom.GetIndex()),
                                       end.GetAtom(b.GetIndex())),
                    QZChem::QZGetAngle(start, &a, &atom, &b),
                    1e-6);
      }
    }
  }
  EXPECT_GT(moved, 0.05) << "nothing turned";
}

}  // namespace
