// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <numbers>
#include <set>
#include <sstream>

#include "molpot/program.h"

namespace {

using TestMolpot::Data;
using TestMolpot::Molpot;
using TestMolpot::ReadFile;
using TestMolpot::ReadMolecules;
using TestMolpot::Scratch;

std::vector<nlohmann::json> JsonLines(const std::string& text) {
  std::vector<nlohmann::json> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(nlohmann::json::parse(line));
  return lines;
}

double Distance(const QZChem::QZGraphMol& a, const QZChem::QZGraphMol& b, unsigned int i) {
  double p[3];
  double q[3];
  a.GetCoords(a.GetAtom(i), p);
  b.GetCoords(b.GetAtom(i), q);
  return std::hypot(p[0] - q[0], p[1] - q[1], p[2] - q[2]);
}

// A good record, a garbled one, a good one.
std::string MixedRecords() {
  return ReadFile(Data("aspirin.sdf")) + "garbled\n\n\n  2  1 what\nM  END\n$$$$\n" +
         ReadFile(Data("caffeine.sdf"));
}

TEST(Energy, NamesTheTermsAndTheirSumIsTheEnergy) {
  const auto result = Molpot({"energy", Data("aspirin.sdf"), "--json"});
  ASSERT_EQ(result.status, 0) << result.err;
  const auto lines = JsonLines(result.out);
  ASSERT_EQ(lines.size(), 1u);
  std::set<std::string> names;
  double sum = 0.0;
  for (const auto& component : lines[0]["components"]) {
    names.insert(component["name"].get<std::string>());
    sum += component["energy"].get<double>();
  }
  EXPECT_EQ(names,
            (std::set<std::string>{"Stretch",
                                   "Bend",
                                   "Stretch-Bend",
                                   "Out-of-Plane",
                                   "Torsion",
                                   "Van der Waals",
                                   "Electrostatics"}));
  EXPECT_NEAR(sum, lines[0]["energy"].get<double>(), 1e-9);
}

TEST(Minimize, KeepsOrderLosesNothingAndReportsBadRecords) {
  const Scratch scratch;
  const std::string input = scratch.File("mixed.sdf", MixedRecords());
  const auto result = Molpot({"minimize",
                              input,
                              "-o",
                              scratch / "out.sdf",
                              "--rejects",
                              scratch / "bad.sdf",
                              "-j",
                              "2",
                              "--json"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("mixed.sdf: record 2"), std::string::npos) << result.err;
  const auto lines = JsonLines(result.out);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_TRUE(lines[1].contains("error"));
  for (const std::size_t k : {std::size_t{0}, std::size_t{2}}) {
    EXPECT_TRUE(lines[k]["converged"].get<bool>());
    EXPECT_LT(lines[k]["energy"].get<double>(), lines[k]["initial_energy"].get<double>());
    EXPECT_LE(lines[k]["gradient_norm"].get<double>(), 1e-4);
  }
  const auto molecules = ReadMolecules(scratch / "out.sdf");
  ASSERT_EQ(molecules.size(), 2u);
  EXPECT_EQ(molecules[0].NumAtoms(), ReadMolecules(Data("aspirin.sdf")).at(0).NumAtoms());
  EXPECT_EQ(molecules[1].NumAtoms(), ReadMolecules(Data("caffeine.sdf")).at(0).NumAtoms());
  EXPECT_EQ(ReadFile(scratch / "bad.sdf"), "garbled\n\n\n  2  1 what\nM  END\n$$$$\n");
  EXPECT_EQ(scratch.List(), (std::vector<std::string>{"bad.sdf", "mixed.sdf", "out.sdf"}));
}

TEST(Minimize, StreamsFromStandardInputToStandardOutput) {
  const Scratch scratch;
  const auto result = Molpot({"minimize", "-", "-o", "-"}, ReadFile(Data("caffeine.sdf")));
  ASSERT_EQ(result.status, 0) << result.err;
  const auto molecules = ReadMolecules(scratch.File("out.sdf", result.out));
  ASSERT_EQ(molecules.size(), 1u);
  EXPECT_TRUE(QZChem::QZHasSDData(molecules[0], "Energy (kcal/mol)"));
}

TEST(Minimize, UnusableArgumentsEndWithStatusTwoAndAReason) {
  const Scratch scratch;
  const std::string good = Data("aspirin.sdf");
  const std::string out = scratch / "out.sdf";
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"minimize", good, "-o", out, "--no-such-option"}, "no-such-option"},
      {{"minimize", good, "-o", out, "--freeze", "[#6"}, "does not parse"},
      {{"minimize", good, "-o", out, "--restrain", "[#6] -1"}, "must not be negative"},
      {{"minimize", good, "-o", out, "--restrain", "[#6] 1 2 3"}, "left over"},
      {{"minimize", good, "-o", out, "--restrain-torsion", "1 2 3 60 5"}, "missing"},
      {{"minimize", good, "-o", out, "--restrain-distance", "[C:1]C 1.5 5"}, "map numbers"},
      {{"minimize", good, "-o", out, "--coordinates", "quaternion", "--freeze", "C"},
       "cannot hold"},
      {{"minimize", good, "-o", scratch / "out.abc"}, "extension"},
      {{"minimize", good, "-o", scratch / "no/such/folder.sdf"}, "cannot be written"},
      {{"minimize", scratch / "absent.sdf", "-o", out}, "cannot be read"},
      {{"minimize", good}, "-o"},
      {{"minimize", good, "-o", "-", "--json"}, "standard output"},
      {{"energy", scratch.File("empty.sdf", "")}, "no records"},
  };
  for (const auto& [args, reason] : cases) {
    const auto result = Molpot(args);
    EXPECT_EQ(result.status, 2) << reason;
    EXPECT_NE((result.err + result.out).find(reason), std::string::npos)
        << "expected \"" << reason << "\" in: " << result.err;
  }
  EXPECT_EQ(scratch.List(), (std::vector<std::string>{"empty.sdf"})) << "a failed run left files";
}

TEST(Minimize, ASelectionThatMatchesNothingFailsTheRecord) {
  const Scratch scratch;
  for (const char* option : {"--freeze", "--restrain"}) {
    const auto result =
        Molpot({"minimize", Data("aspirin.sdf"), "-o", scratch / "out.sdf", option, "[Xe]"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("matches nothing"), std::string::npos) << result.err;
  }
  const auto number = Molpot({"minimize",
                              Data("aspirin.sdf"),
                              "-o",
                              scratch / "out.sdf",
                              "--restrain-distance",
                              "1 900 2.0 5"});
  EXPECT_EQ(number.status, 1);
  EXPECT_NE(number.err.find("no atom 900"), std::string::npos) << number.err;
}

TEST(Minimize, DryRunListsMatchesAndWritesNothing) {
  const Scratch scratch;
  const auto result = Molpot({"minimize",
                              Data("aspirin.sdf"),
                              "-o",
                              scratch / "out.sdf",
                              "--dry-run",
                              "--freeze",
                              "c",
                              "--restrain",
                              "[#8] 0.5"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("--freeze \"c\": atoms"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("4 atoms of \"[#8]\""), std::string::npos) << result.out;
  EXPECT_TRUE(scratch.List().empty());
}

TEST(Minimize, FrozenAtomsStayAndTheEnergyIsThatOfEverything) {
  const Scratch scratch;
  const auto start = ReadMolecules(Data("aspirin.sdf")).at(0);
  for (const char* coordinates : {"subset", "redundant", "zmatrix"}) {
    const std::string out = scratch / (std::string(coordinates) + ".sdf");
    const auto result = Molpot({"minimize",
                                Data("aspirin.sdf"),
                                "-o",
                                out,
                                "--freeze",
                                "c",
                                "--coordinates",
                                coordinates,
                                "--json",
                                "--max-iterations",
                                "40"});
    ASSERT_EQ(result.status, 0) << coordinates << result.err;
    const auto end = ReadMolecules(out).at(0);
    if (std::string(coordinates) == "subset") {
      QZChem::QZSubSearch search;
      search.Init("c", false);
      for (const auto& match : QZSystem::QZRange(search.Match(start, true))) {
        for (const auto& pair : QZSystem::QZRange(match.GetPairs())) {
          EXPECT_LE(Distance(start, end, pair.target->GetIndex()), 1e-4);
        }
      }
    }
    const auto again = Molpot({"energy", out, "--json"});
    EXPECT_NEAR(JsonLines(again.out).at(0)["energy"].get<double>(),
                JsonLines(result.out).at(0)["energy"].get<double>(),
                0.02)
        << coordinates;  // coordinates are written with four decimals
  }
}

TEST(Minimize, RestraintsAndConstraintsReachWhatTheyAskFor) {
  const Scratch scratch;
  const std::string out = scratch / "out.sdf";
  const auto restrained = Molpot({"minimize",
                                  Data("butane.sdf"),
                                  "-o",
                                  out,
                                  "--restrain-torsion",
                                  "[CH3:1][CH2:2][CH2:3][CH3:4] 90 5000"});
  ASSERT_EQ(restrained.status, 0) << restrained.err;
  EXPECT_NE(restrained.out.find("--restrain-torsion, atoms"), std::string::npos) << restrained.out;
  const auto torsion = [](const QZChem::QZGraphMol& mol) {
    return QZChem::QZGetTorsion(
        mol, mol.GetAtom(0), mol.GetAtom(1), mol.GetAtom(2), mol.GetAtom(3));
  };
  EXPECT_NEAR(std::abs(torsion(ReadMolecules(out).at(0))), std::numbers::pi / 2, 0.01);
  const auto constrained = Molpot({"minimize",
                                   Data("butane.sdf"),
                                   "-o",
                                   out,
                                   "--constrain-torsion",
                                   "1 2 3 4 100",
                                   "--constrain-distance",
                                   "1 2 1.60"});
  ASSERT_EQ(constrained.status, 0) << constrained.err;
  const auto mol = ReadMolecules(out).at(0);
  EXPECT_NEAR(std::abs(torsion(mol)), 100.0 * std::numbers::pi / 180.0, 1e-3);
  EXPECT_NEAR(QZChem::QZGetDistance(mol, mol.GetAtom(0), mol.GetAtom(1)), 1.60, 1e-3);
}

TEST(Minimize, TrajectoryHoldsEveryIterationInCartesianCoordinates) {
  const Scratch scratch;
  for (const char* coordinates : {"cartesian", "torsion"}) {
    const auto result = Molpot({"minimize",
                                Data("ibuprofen.sdf"),
                                "-o",
                                scratch / "out.sdf",
                                "--coordinates",
                                coordinates,
                                "--trajectory",
                                scratch / "path.sdf",
                                "--max-iterations",
                                "10",
                                "--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    const auto frames = ReadMolecules(scratch / "path.sdf");
    const auto iterations = JsonLines(result.out).at(0)["iterations"].get<unsigned int>();
    ASSERT_EQ(frames.size(), iterations + 1) << coordinates;
    EXPECT_LE(Distance(frames.front(), ReadMolecules(Data("ibuprofen.sdf")).at(0), 5), 1e-3);
    const auto last = ReadMolecules(scratch / "out.sdf").at(0);
    for (unsigned int i = 0; i < last.NumAtoms(); ++i) {
      EXPECT_LE(Distance(frames.back(), last, i), 2e-3);
    }
    EXPECT_EQ(QZChem::QZGetSDData(frames.back(), "Iteration"), std::to_string(iterations));
  }
}

TEST(Minimize, MissingHydrogensAndFlatRecordsFailUnlessTheyAreAdded) {
  const Scratch scratch;
  QZChem::QZGraphMol bare;  // a propane skeleton in three dimensions, and the same flat
  auto* c1 = bare.AddAtom(6, 0.0, 0.0, 0.3);
  auto* c2 = bare.AddAtom(6, 1.5, 0.1, 0.0);
  auto* c3 = bare.AddAtom(6, 2.1, 1.4, 0.2);
  bare.AddBond(c1, c2);
  bare.AddBond(c2, c3);
  const std::string input = scratch / "bare.sdf";
  {
    QZChem::qzmolostream stream(input.c_str());
    QZChem::QZWriteMolecule(stream, bare);
  }
  std::string flat = ReadFile(input);
  for (const char* z : {"0.3000", "0.2000"}) flat.replace(flat.find(z), 6, "0.0000");
  flat.replace(flat.find("3D"), 2, "2D");
  for (const auto& [path, reason] :
       {std::pair{input, "hydrogens are missing"},
        std::pair{scratch.File("flat.sdf", flat), "two-dimensional"}}) {
    const auto refused = Molpot({"minimize", path, "-o", scratch / "out.sdf"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find(reason), std::string::npos) << refused.err;
    const auto added = Molpot({"minimize", path, "-o", scratch / "out.sdf", "--add-hydrogens"});
    EXPECT_EQ(added.status, 0) << added.err;
    EXPECT_EQ(ReadMolecules(scratch / "out.sdf").at(0).NumAtoms(), 11u);
  }
}

TEST(Minimize, RefusesARecordWhosePairsWouldNotFitWithTheFigure) {
  const Scratch scratch;
  QZChem::QZGraphMol gas(30000);
  for (int i = 0; i < 30000; ++i) {
    gas.AddAtom(10, 4.0 * (i % 31), 4.0 * (i / 31 % 31), 4.0 * (i / 961));
  }
  const std::string input = scratch / "gas.pdb";
  {
    QZChem::qzmolostream stream(input.c_str());
    ASSERT_NE(QZChem::QZWriteMolecule(stream, gas), 0u);
  }
  const auto result = Molpot({"minimize", input, "-o", scratch / "out.sdf"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("GiB"), std::string::npos) << result.err;
}

TEST(Minimize, AnInterruptKeepsWhatIsDone) {
  const Scratch scratch;
  std::string many;
  for (int k = 0; k < 3000; ++k) many += ReadFile(Data("imatinib.sdf"));
  const std::string input = scratch.File("many.sdf", many);
  const auto result =
      Molpot({"minimize", input, "-o", scratch / "out.sdf"}, {}, /*interruptAfter=*/2.0);
  EXPECT_EQ(result.status, 130);
  EXPECT_NE(result.err.find("interrupted"), std::string::npos) << result.err;
  const auto kept = ReadMolecules(scratch / "out.sdf").size();
  EXPECT_NE(result.err.find("the " + std::to_string(kept) + " records"), std::string::npos)
      << kept << result.err;
  EXPECT_GT(kept, 0u);
  EXPECT_LT(kept, 3000u);
}

}  // namespace
