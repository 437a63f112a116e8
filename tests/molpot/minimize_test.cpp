// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <numbers>
#include <sstream>
#include <tuple>

#include "molpot/program.h"
#include "support/molecules.h"

namespace {

using TestMolpot::Scratch;
using TestSupport::Coords;
using TestSupport::LargestDifference;

std::vector<nlohmann::json> JsonLines(const std::string& text) {
  std::vector<nlohmann::json> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(nlohmann::json::parse(line));
  return lines;
}

TEST(Energy, NamesTheTermsAndTheirSumIsTheEnergy) {
  const auto result = Scratch().Molpot("energy data/aspirin.sdf --json --interactions 2");
  ASSERT_EQ(result.status, 0) << result.err;
  const auto lines = JsonLines(result.out);
  ASSERT_EQ(lines.size(), 1u);
  std::string names;
  double sum = 0.0;
  for (const auto& component : lines[0]["components"]) {
    names += component["name"].get<std::string>() + ";";
    sum += component["energy"].get<double>();
  }
  EXPECT_EQ(names, "Stretch;Bend;Stretch-Bend;Out-of-Plane;Torsion;Van der Waals;Electrostatics;");
  EXPECT_NEAR(sum, lines[0]["energy"].get<double>(), 1e-9);
  const auto& highest = lines[0]["interactions"];
  ASSERT_EQ(highest.size(), 14u);  // two of every term
  for (std::size_t k = 0; k < 14; k += 2) {
    EXPECT_EQ(highest[k]["name"], lines[0]["components"][k / 2]["name"]);
    EXPECT_GE(highest[k]["energy"].get<double>(), highest[k + 1]["energy"].get<double>());
  }
}

TEST(Minimize, KeepsOrderLosesNothingAndReportsBadRecords) {
  const Scratch scratch;
  const std::string garbled = "garbled\n\n\n  2  1 what\nM  END\n$$$$\n";
  scratch.File("mixed.sdf",
               scratch.Read("data/aspirin.sdf") + garbled + scratch.Read("data/caffeine.sdf"));
  const auto result = scratch.Molpot("minimize mixed.sdf -o out.sdf --rejects bad.sdf -j 2 --json");
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
  const auto molecules = scratch.Molecules("out.sdf");
  ASSERT_EQ(molecules.size(), 2u);
  EXPECT_EQ(molecules[0].NumAtoms(), 21u);
  EXPECT_EQ(molecules[1].NumAtoms(), 24u);
  EXPECT_EQ(scratch.Read("bad.sdf"), garbled);
  EXPECT_EQ(scratch.List(), "bad.sdf mixed.sdf out.sdf ");
}

TEST(Minimize, StreamsFromStandardInputToStandardOutput) {
  const Scratch scratch;
  const auto result = scratch.Molpot("minimize - -o -", scratch.Read("data/caffeine.sdf"));
  ASSERT_EQ(result.status, 0) << result.err;
  scratch.File("out.sdf", result.out);
  const auto molecules = scratch.Molecules("out.sdf");
  ASSERT_EQ(molecules.size(), 1u);
  EXPECT_TRUE(QZChem::QZHasSDData(molecules[0], "Energy (kcal/mol)"));
}

// Status 2 for arguments that cannot be used, 1 where a record fails; none of these leaves a file.
TEST(Molpot, SaysWithItsStatusAndInWordsHowItWent) {
  const Scratch scratch;
  scratch.File("empty.sdf", "");
  auto far = scratch.Molecules("data/butane.sdf").at(0);
  const double away[3] = {0.0, 123456.0, 0.0};
  far.SetCoords(far.GetAtom(0), away);
  scratch.File("far.sdf", far);
  const std::string minimize = "minimize data/aspirin.sdf ";
  const std::string scan = "scan data/butane.sdf -o x --torsion ";
  const std::string report = "report data/ibuprofen.sdf --coordinates ";
  const std::tuple<std::string, int, const char*> cases[] = {
      {minimize + "-o out.sdf --no-such-option", 2, "no-such-option"},
      {minimize + "-o out.sdf --freeze [#6", 2, "neither a word"},
      {minimize + "-o out.sdf --restrain '[#6] -1'", 2, "must not be negative"},
      {minimize + "-o out.sdf --restrain '[#6] 1 2 3 4'", 2, "one number too many"},
      {minimize + "-o out.sdf --restrain-torsion '1 2 3 60 5'", 2, "missing"},
      {minimize + "-o out.sdf --restrain-distance '[C:1]C 1.5 5'", 2, "map numbers"},
      {minimize + "-o out.sdf --coordinates degfree --freeze C", 2, "no fixed atoms"},
      {minimize + "-o out.sdf --coordinates subset", 2, "--freeze"},
      {minimize + "-o - --freeze 'atoms 1-99'", 1, "atoms 1-99"},
      {minimize + "-o - --freeze 'residue LIG'", 1, "residue LIG"},
      {minimize + "-o out.sdf --dry-run --move 'atoms 2-3 or (hydrogens and not [OH])'",
       0,
       "atoms 2-3,14-"},
      {"minimize -o out.sdf", 2, "INPUT"},
      {"energy data/butane.sdf --smiles CC", 2, "INPUT"},
      {"energy data/butane.sdf --forcefield uff --partial-charges", 2, "uff has none"},
      {"energy data/butane.sdf --template 'LIG C1CC'", 2, "--template"},
      {minimize + "-o out.sdf --coordinates Torsion --forcefield mmff95", 2, "mmff95"},
      {minimize + "-o out.sdf --freeze '[#6] 0.3 10'", 2, "one number too many"},
      {minimize + "-o out.sdf --freeze ''", 2, "empty"},
      {minimize + "-o ''", 2, "empty"},
      {minimize + "-o out.sdf --gradient-tolerance nan", 2, "positive"},
      {minimize + "-o out.sdf --gradient-tolerance inf", 2, "positive"},
      {minimize + "-o out.sdf --time-limit -1", 2, "positive"},
      {minimize + "-o out.sdf --max-iterations -1", 2, "max-iterations"},
      {minimize + "-o out.sdf --constrain-distance '1 2 -1.5'", 2, "not possible"},
      {minimize + "-o out.sdf --constrain-angle '1 2 3 200'", 2, "not possible"},
      {scan + "'1 2 3 4' --from inf", 2, "finite"},
      {scan + "'1 2 3 4' --to nan", 2, "finite"},
      {"energy far.sdf", 1, "coordinate of"},
      {"energy data/aspirin.sdf --forcefield MMFF94S", 0, "Stretch"},
      {minimize + "-o out.abc", 2, "extension"},
      {minimize + "-o no/such/folder.sdf", 2, "cannot be written"},
      {"minimize data/aspirin.sdf", 2, "-o"},
      {minimize + "-o - --json", 2, "standard output"},
      {"minimize absent.sdf -o out.sdf", 2, "cannot be read"},
      {"energy empty.sdf", 2, "no records"},
      {scan + "'1 2 3 4' --step 0", 2, ""},
      {scan + "'1 2 3'", 2, ""},
      {scan + "'1 2 3 99'", 1, ""},
      {"compare data/butane.sdf --time-limit 1e-9", 1, "time limit"},
      {"check data/butane.sdf --time-limit 1e-9", 1, "time limit of 1e-09 s"},
      {"normal-modes data/butane.sdf --time-limit 1e-9", 1, "time limit"},
      {minimize + "-o - --freeze [Xe]", 1, "matches nothing"},
      {minimize + "-o - --restrain [Xe]", 1, "matches nothing"},
      {minimize + "-o - --restrain-distance '1 900 2.0 5'", 1, "no atom 900"},
      {minimize + "-o out.sdf --dry-run --freeze c", 0, "--freeze \"c\": atoms"},
      {minimize + "-o out.sdf --dry-run --restrain '[#8] 0.5'",
       0,
       "4 atoms of \"[#8]\" within 0.5 Å"},
      {"check data/caffeine.sdf --restrain '[#6] 0.1 5'", 0, "gradient"},
      {"check data/caffeine.sdf --tolerance 1e-15", 1, "gradient"},
      {report + "zmatrix", 0, "Internal Z-matrix coordinates:"},
      {report + "torsion", 0, "Torsion coordinates:"},
      {report + "rigid", 0, "Center of geometry:"},
  };
  for (const auto& [commandLine, status, reason] : cases) {
    const auto result = scratch.Molpot(commandLine);
    EXPECT_EQ(result.status, status) << commandLine;
    EXPECT_NE((result.err + result.out).find(reason), std::string::npos)
        << commandLine << ": \"" << reason << "\" is not in " << result.err;
    EXPECT_EQ(scratch.List(), "empty.sdf far.sdf ") << commandLine;
  }
}

TEST(Minimize, FrozenAtomsStayAndTheEnergyIsThatOfEverything) {
  const Scratch scratch;
  const auto start = scratch.Molecules("data/aspirin.sdf").at(0);
  const auto from = Coords(start);
  QZChem::QZSubSearch search;
  ASSERT_TRUE(search.Init("c", false));
  for (const std::string coordinates : {"subset", "redundant", "internal", "zmatrix"}) {
    SCOPED_TRACE(coordinates);
    const auto result = scratch.Molpot(
        "minimize data/aspirin.sdf -o out.sdf --freeze c --json --max-iterations 40 "
        "--accept-unconverged "
        "--coordinates " +
        coordinates);
    ASSERT_EQ(result.status, 0) << result.err;
    const auto line = JsonLines(result.out).at(0);
    const bool followsTheWay = coordinates == "redundant" || coordinates == "internal";
    ASSERT_EQ(line.contains("back_transformations"), followsTheWay) << line;
    if (followsTheWay) {
      unsigned int found = 0;
      for (const auto& [way, count] : line["back_transformations"].items())
        found += count.get<unsigned int>();
      EXPECT_GE(found, line["evaluations"].get<unsigned int>() - 1) << line;
    }
    const auto to = Coords(scratch.Molecules("out.sdf").at(0));
    for (const auto& match : QZSystem::QZRange(search.Match(start, true))) {
      for (const auto& pair : QZSystem::QZRange(match.GetPairs())) {
        const std::size_t i = 3UL * pair.target->GetIndex();
        const double moved =
            std::hypot(to[i] - from[i], to[i + 1] - from[i + 1], to[i + 2] - from[i + 2]);
        EXPECT_TRUE(moved <= 1e-4) << moved;
      }
    }
    const auto again = scratch.Molpot("energy out.sdf --json");
    EXPECT_NEAR(JsonLines(again.out).at(0)["energy"].get<double>(),
                line["energy"].get<double>(),
                0.02);  // coordinates are written with four decimals
  }
}

TEST(Minimize, RestraintsAndConstraintsReachWhatTheyAskFor) {
  const Scratch scratch;
  const std::tuple<const char*, double, double> cases[] = {
      {"--restrain-torsion '[CH3:1][CH2:2][CH2:3][CH3:4] 90 5000'", 90.0, 0.1},
      {"--restrain-torsion '1 2 3 4 -60 5000'", -60.0, 0.1},
      {"--constrain-torsion '1 2 3 4 -60'", -60.0, 1e-2},
      {"--constrain-torsion '1 2 3 4 100' --constrain-distance '1 2 1.60'", 100.0, 1e-2},
  };
  for (const auto& [options, degrees, tolerance] : cases) {
    SCOPED_TRACE(options);
    const auto result =
        scratch.Molpot(std::string("minimize data/butane.sdf -o out.sdf ") + options);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("-torsion, atoms"), std::string::npos) << result.out;
    const auto m = scratch.Molecules("out.sdf").at(0);
    const double reached =
        QZChem::QZGetTorsion(m, m.GetAtom(0), m.GetAtom(1), m.GetAtom(2), m.GetAtom(3));
    EXPECT_NEAR(reached * 180.0 / std::numbers::pi, degrees, tolerance);
  }
  const auto mol = scratch.Molecules("out.sdf").at(0);
  EXPECT_NEAR(QZChem::QZGetDistance(mol, mol.GetAtom(0), mol.GetAtom(1)), 1.60, 1e-3);
}

TEST(Minimize, ConstraintsHoldInEveryCoordinateSystemAndBesideFrozenAtoms) {
  const Scratch scratch;
  // XYZ carries more decimals than SDF does.
  const auto start = Coords(scratch.Molecules("data/butane.sdf").at(0));
  double free = NAN;
  for (const std::string options : {"--coordinates cartesian",
                                    "--coordinates degfree",
                                    "--coordinates redundant",
                                    "--coordinates internal",
                                    "--coordinates zmatrix",
                                    "--coordinates torsion",
                                    "--freeze 'atoms 1-3'",
                                    "--freeze 'atoms 1-3' --coordinates zmatrix",
                                    "--freeze 'atoms 1-3' --coordinates redundant",
                                    "--move 'atoms 4,12-14' --coordinates internal"}) {
    SCOPED_TRACE(options);
    const auto result = scratch.Molpot(
        "minimize data/butane.sdf -o out.xyz --json --constrain-torsion '1 2 3 4 -75' " + options);
    ASSERT_EQ(result.status, 0) << result.err;
    const auto mol = scratch.Molecules("out.xyz").at(0);
    const double reached =
        QZChem::QZGetTorsion(mol, mol.GetAtom(0), mol.GetAtom(1), mol.GetAtom(2), mol.GetAtom(3));
    EXPECT_NEAR(reached * 180.0 / std::numbers::pi, -75.0, 1e-2);
    if (options.find("atoms") != std::string::npos) {
      const auto end = Coords(mol);
      for (std::size_t i = 0; i < 9; ++i) EXPECT_EQ(end[i], start[i]);
    } else if (options.find("torsion") == std::string::npos) {
      const auto energy = JsonLines(result.out).at(0)["energy"].get<double>();
      if (std::isnan(free)) free = energy;
      EXPECT_NEAR(energy, free, 1e-3);
    }
  }
}

TEST(Minimize, PartialChargesAreInTheColumnOfMol2) {
  const Scratch scratch;
  const auto result =
      scratch.Molpot("minimize data/aspirin.sdf -o out.mol2 --partial-charges --json");
  ASSERT_EQ(result.status, 0) << result.err;
  const auto line = JsonLines(result.out).at(0);
  std::istringstream in(scratch.Read("out.mol2"));
  std::string text;
  while (text != "@<TRIPOS>ATOM" && std::getline(in, text)) {
  }
  for (const auto& charge : line["partial_charges"]) {
    ASSERT_TRUE(std::getline(in, text));
    EXPECT_NEAR(std::stod(text.substr(text.rfind(' '))), charge.get<double>(), 6e-5) << text;
  }
  EXPECT_NE(scratch.Read("out.mol2").find("USER_CHARGES"), std::string::npos);
}

TEST(Minimize, TrajectoryHoldsEveryIterationInCartesianCoordinates) {
  const Scratch scratch;
  for (const std::string coordinates : {"cartesian", "torsion"}) {
    const auto result = scratch.Molpot(
        "minimize data/ibuprofen.sdf -o out.sdf --trajectory path.sdf --max-iterations 10 --json "
        "--accept-unconverged "
        "--coordinates " +
        coordinates);
    ASSERT_EQ(result.status, 0) << result.err;
    const auto frames = scratch.Molecules("path.sdf");
    const auto iterations = JsonLines(result.out).at(0)["iterations"].get<unsigned int>();
    ASSERT_EQ(frames.size(), iterations + 1) << coordinates;
    const auto start = Coords(scratch.Molecules("data/ibuprofen.sdf").at(0));
    const auto last = Coords(scratch.Molecules("out.sdf").at(0));
    EXPECT_LE(LargestDifference(Coords(frames.front()), start), 1e-3);
    EXPECT_LE(LargestDifference(Coords(frames.back()), last), 2e-3);
    EXPECT_EQ(QZChem::QZGetSDData(frames.back(), "Iteration"), std::to_string(iterations));
    EXPECT_STREQ(frames.back().GetTitle(), "ibuprofen");
  }
}

TEST(Minimize, MissingHydrogensAndFlatRecordsFailUnlessTheyAreAdded) {
  const Scratch scratch;
  QZChem::QZGraphMol bare;  // a propane skeleton in three dimensions, and the same flat
  auto* c1 = bare.AddAtom(6, 0.0, 0.0, 0.3);
  auto* c2 = bare.AddAtom(6, 1.5, 0.1, 0.0);
  bare.AddBond(c1, c2);
  bare.AddBond(c2, bare.AddAtom(6, 2.1, 1.4, 0.2));
  scratch.File("bare.sdf", bare);
  std::string flat = scratch.Read("bare.sdf");
  for (const char* z : {"0.3000", "0.2000"}) flat.replace(flat.find(z), 6, "0.0000");
  scratch.File("flat.sdf", flat.replace(flat.find("3D"), 2, "2D"));
  for (const auto& [file, reason] :
       {std::pair{"bare.sdf", "hydrogens are missing"}, std::pair{"flat.sdf", "two-dimensional"}}) {
    const std::string minimize = std::string("minimize -o out.sdf ") + file;
    const auto refused = scratch.Molpot(minimize);
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find(reason), std::string::npos) << refused.err;
    EXPECT_EQ(scratch.Molpot(minimize + " --add-hydrogens").status, 0);
    EXPECT_EQ(scratch.Molecules("out.sdf").at(0).NumAtoms(), 11u);
  }
}

}  // namespace
