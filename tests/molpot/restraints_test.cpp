// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <tuple>

#include "molpot/program.h"
#include "support/molecules.h"

namespace {

using nlohmann::json;
using TestMolpot::Scratch;
using TestSupport::Coords;

// What holds a molecule at a place, an expression or a reference, reaches it.
TEST(Restraints, WallsExpressionsTethersAndHeldTorsionsDoWhatTheySay) {
  const Scratch scratch;
  const std::string run = "minimize data/butane.sdf -o out.sdf ";
  const auto distance = [&](unsigned int a, unsigned int b) {
    const auto m = scratch.Molecules("out.sdf").at(0);
    return QZChem::QZGetDistance(m, m.GetAtom(a), m.GetAtom(b));
  };
  ASSERT_EQ(scratch.Molpot(run + "--expression '500*(distance(1,4)-3.2)^2'").status, 0);
  EXPECT_NEAR(distance(0, 3), 3.2, 0.05);
  ASSERT_EQ(scratch.Molpot(run + "--wall 'box -9 -9 -9 9 9 -5 50'").status, 0);
  for (const auto& p : {2, 5, 11, 38}) {
    EXPECT_LT(Coords(scratch.Molecules("out.sdf").at(0))[static_cast<std::size_t>(p)], -4.5);
  }
  scratch.File("reference.sdf", scratch.Molecules("out.sdf").at(0));
  const auto tethered = scratch.Molpot(run + "--tether 'reference.sdf CCCC 0 500'");
  ASSERT_EQ(tethered.status, 0) << tethered.err;
  const auto end = tethered.out.find(" Å away at most");
  ASSERT_NE(end, std::string::npos) << tethered.out;
  const auto begin = tethered.out.rfind(": ", end) + 2;
  EXPECT_LT(std::stod(tethered.out.substr(begin, end - begin)), 0.1);
  const auto held = scratch.Molpot("minimize data/ibuprofen.sdf -o out.sdf --hold-torsions 500");
  ASSERT_EQ(held.status, 0) << held.err;
  EXPECT_NE(held.out.find("--hold-torsions, atoms"), std::string::npos) << held.out;
  const std::tuple<const char*, const char*> refused[] = {
      {"--wall 'cone 1 2 3 4 5'", "sphere or a box"},
      {"--wall 'sphere 0 0 0 -1 5'", "positive"},
      {"--expression 'distance(1,2'", "position"},
      {"--expression 'k*distance(1,2); r=2'", "unknown name 'k'"},
      {"--expression 'k*distance(1,2); k=2; k=3'", "given twice"},
      {"--expression 'k*distance(1,2); k 2'", "\"name = number\" is needed"},
      {"--tether 'absent.sdf C'", "cannot be read"},
      {"--hold-torsions -3", "positive"},
  };
  for (const auto& [options, reason] : refused) {
    const auto result = scratch.Molpot(run + options);
    EXPECT_EQ(result.status, 2) << options;
    EXPECT_NE(result.err.find(reason), std::string::npos) << result.err;
  }
}

const std::string kStart = "minimize butane.sdf -o out.sdf --max-iterations 0 --json ";

// What --json says of the restraints of a molecule as it is.
json AtStart(const Scratch& scratch, const std::string& options) {
  const auto result = scratch.Molpot(kStart + options);
  EXPECT_LE(result.status, 1) << options << result.err;
  return json::parse(result.out)["restraints"];
}

TEST(Restraints, OnsetsRaiseTheCurvatureFromZero) {
  const Scratch scratch;
  scratch.File("butane.sdf", scratch.Read("data/butane.sdf"));
  // k e³/(3w) within the onset w, k (e² - w e + w²/3) beyond, k e² without.
  const auto law = [](double k, double e, double w) {
    if (e <= 0.0) return 0.0;
    return e < w ? k * e * e * e / (3.0 * w) : k * (e * e - w * e + w * w / 3.0);
  };
  const auto m = scratch.Molecules("butane.sdf").at(0);
  const double r = QZChem::QZGetDistance(m, m.GetAtom(0), m.GetAtom(3));
  const double phi =
      QZChem::QZGetTorsion(m, m.GetAtom(0), m.GetAtom(1), m.GetAtom(2), m.GetAtom(3));
  const double degree = std::acos(-1.0) / 180.0;
  const double e = r - 2.9;
  const double turn = std::abs(phi) - 50.0 * degree;
  const std::tuple<std::string, double> cases[] = {
      {"--distance-band '1 4 1 2.9 40'", law(40.0, e, 0.0)},
      {"--distance-band '1 4 1 2.9 40 0.1'", law(40.0, e, 0.1)},
      {"--distance-band '1 4 1 2.9 40 5'", law(40.0, e, 5.0)},
      {"--restrain-torsion '1 2 3 4 0 30 50'", law(30.0, turn, 0.0)},
      {"--restrain-torsion '1 2 3 4 0 30 50 10'", law(30.0, turn, 10.0 * degree)},
      {"--restrain-torsion '1 2 3 4 0 30 50 40'", law(30.0, turn, 40.0 * degree)},
  };
  for (const auto& [options, energy] : cases) {
    EXPECT_GT(energy, 0.0) << "the case is inside";
    EXPECT_NEAR(AtStart(scratch, options).at(0)["energy"].get<double>(), energy, 1e-6) << options;
  }
}

// The program reports what a restraint is off by, of each record and of the run.
TEST(Restraints, ViolationsAreToldByRecordAndByRun) {
  const Scratch scratch;
  scratch.File("two.sdf", scratch.Read("data/butane.sdf") + scratch.Read("data/ibuprofen.sdf"));
  const auto result = scratch.Molpot(
      "minimize two.sdf -o out.sdf --json --distance-band '1 2 1 1.4 9' --distance-band '1 3 1 5 "
      "5'");
  ASSERT_EQ(result.status, 0) << result.err;
  double most = 0.0;
  std::size_t at = 0;
  for (const auto& mol : scratch.Molecules("out.sdf")) {
    const auto line = json::parse(result.out.substr(at, result.out.find('\n', at) - at));
    at = result.out.find('\n', at) + 1;
    ASSERT_EQ(line["violations"].size(), 1u) << line;
    const json& violation = line["violations"][0];
    const double r = QZChem::QZGetDistance(mol, mol.GetAtom(0), mol.GetAtom(1));
    EXPECT_NEAR(violation["violation"].get<double>(), r - 1.4, 2e-4);
    EXPECT_EQ(violation["argument"], "1 2 1 1.4 9");
    most = std::max(most, violation["violation"].get<double>());
  }
  char text[99];
  std::snprintf(text, sizeof text, "\"1 2 1 1.4 9\": 2 records, at most by %.4f Å (record ", most);
  EXPECT_NE(result.err.find(text), std::string::npos) << text << result.err;
}

TEST(Constraints, ThatCannotBeMetAreNamedAndRangesHoldTheirEnds) {
  const Scratch scratch;
  const std::string run = "minimize data/butane.sdf -o out.sdf --json ";
  const auto impossible = scratch.Molpot(
      run +
      "--constrain-angle '1 2 3' --constrain-distance '1 2 1.5' --constrain-distance '1 2 3'");
  EXPECT_EQ(impossible.status, 1);
  const std::string reason = json::parse(impossible.out)["reason"];
  EXPECT_TRUE(reason.starts_with("--constrain-distance \"1 2 ")) << reason;
  EXPECT_NE(reason.find("is missed by 0.75 Å"), std::string::npos) << reason;
  const std::tuple<const char*, double> cases[] = {
      {"--constrain-torsion '1 2 3 4 -50 -20'", -50.0},    // the minimum is at -65
      {"--constrain-torsion '1 2 3 4 170 200'", 170.0},    // through 180
      {"--constrain-torsion '1 2 3 4 -120 -40'", -65.0}};  // idle
  for (const auto& [options, degrees] : cases) {
    const auto result = scratch.Molpot(run + options);
    ASSERT_EQ(result.status, 0) << result.err;
    const auto line = json::parse(result.out);
    EXPECT_NEAR(line["restraints"][0]["reached"].get<double>(), degrees, degrees < -60 ? 3 : 10.1)
        << options;
    EXPECT_EQ(line["violations"].size(), 0u) << line;
  }
}

TEST(Restraints, NumbersAndMappedSmartsNameTheSameAtoms) {
  const Scratch scratch;
  const std::string run = "minimize data/butane.sdf --dry-run --";
  // Ends and middle of the chain, which the pattern finds once.
  const std::string chain = "[CH3:1][CH2:2][CH2:3][CH3:4]";
  const std::tuple<const char*, std::string, std::string, const char*> cases[] = {
      {"restrain-torsion", "1 2 3 4", chain, " 60 5"},
      {"restrain-distance", "1 4", "[CH3:1]CC[CH3:2]", " 3 5"},
      {"distance-band", "1 4", "[CH3:1]CC[CH3:2]", " 2 3 5"},
      {"constrain-distance", "1 4", "[CH3:1]CC[CH3:2]", " 3"},
      {"constrain-angle", "1 2 4", "[CH3:1][CH2:2]C[CH3:3]", ""},
      {"constrain-torsion", "1 2 3 4", chain, " 60"}};
  for (const auto& [option, numbers, smarts, rest] : cases) {
    std::string matched[2];
    for (const bool isPattern : {false, true}) {
      const auto result =
          scratch.Molpot(run + option + " '" + (isPattern ? smarts : numbers) + rest + "'");
      ASSERT_EQ(result.status, 0) << option << result.err;
      matched[isPattern ? 1 : 0] = result.out.substr(result.out.find("\": atoms"));
    }
    EXPECT_EQ(matched[0], matched[1]) << option;
    EXPECT_NE(matched[0].find("atoms " + numbers), std::string::npos) << matched[0];
  }
  const auto none = scratch.Molpot("minimize data/benzene.sdf --dry-run --hold-torsions 5");
  EXPECT_NE(none.out.find("--hold-torsions \"5\": matches nothing"), std::string::npos) << none.out;
}

// The reference's own molecule with its atoms in another order, then one that shares a part of it.
TEST(Tether, FindsTheCommonSubstructureAndTheNearestOfSymmetricMatches) {
  const Scratch scratch;
  const auto reference = scratch.Molecules("data/ibuprofen.sdf").at(0);
  QZChem::QZGraphMol shuffled;
  std::map<unsigned int, QZChem::QZAtomBase*> copies;
  for (unsigned int k = 0; k < reference.NumAtoms(); ++k) {
    const unsigned int index = (7 * k + 3) % reference.NumAtoms();
    double p[3];
    reference.GetCoords(reference.GetAtom(index), p);
    copies[index] = shuffled.AddAtom(reference.GetAtom(index)->GetAtomicNumber(), p[0], p[1], p[2]);
  }
  for (const auto& bond : QZSystem::QZRange(reference.GetBonds())) {
    shuffled.AddBond(
        copies[bond.GetBegin()->GetIndex()], copies[bond.GetEnd()->GetIndex()], bond.GetOrder());
  }
  scratch.File("butane.sdf", shuffled);
  for (const std::string smarts : {"", " c1ccccc1", " [#6]"}) {
    const auto held = AtStart(scratch, "--tether 'data/ibuprofen.sdf" + smarts + "'");
    EXPECT_LT(held.at(0)["reached"].get<double>(), 1e-9) << smarts << held;
  }
  const auto other = scratch.Molpot(
      "minimize --smiles 'OC(=O)C(C)c1ccc(CC)cc1 cut' --smiles '[Na+] ion' -o out.sdf --json "
      "--tether 'data/ibuprofen.sdf 0.1'");
  EXPECT_EQ(other.status, 1);
  const auto line = json::parse(other.out.substr(0, other.out.find('\n')));
  EXPECT_EQ(std::string(line["restraints"][0]["what"]).find("13 atoms within 0.1 Å"), 0u) << line;
  EXPECT_TRUE(line["converged"].get<bool>());
  EXPECT_LT(line["restraints"][0]["reached"].get<double>(), 0.6);
  EXPECT_NE(other.err.find("record 2 (ion): --tether"), std::string::npos) << other.err;
}

// What the variables cannot change is held by them already.
TEST(Constraints, OfWhatARigidBodyCannotChangeAreMet) {
  const Scratch scratch;
  for (const std::string coordinates : {"rigid", "cluster"}) {
    const auto result = scratch.Molpot(
        "minimize data/amprenavir.sdf -o out.sdf --host data/hiv_protease.pdb --add-hydrogens "
        "--constrain-torsion '[CX4:1][NX3:2][SX4:3][c:4]' --coordinates " +
        coordinates);
    EXPECT_EQ(result.status, 0) << coordinates << result.err;
  }
}

// The schema's own examples cover every property of every kind, and are what the program takes.
TEST(RestraintFile, TheSchemaIsWhatTheProgramReads) {
  const Scratch scratch;
  scratch.File("butane.sdf", scratch.Read("data/butane.sdf"));
  const auto schema = json::parse(scratch.Read("data/../docs/restraints.schema.json"));
  const json& examples = schema["examples"][0];
  std::map<std::string, std::set<std::string>> used;
  std::map<std::string, std::set<std::string>> described;
  for (const auto& example : examples) {
    for (const auto& [key, value] : example.items()) used[example["kind"]].insert(key);
  }
  for (const auto& kind : schema["$defs"]["list"]["items"]["oneOf"]) {
    for (const auto& [key, value] : kind["properties"].items())
      described[kind["title"]].insert(key);
  }
  for (auto& [kind, keys] : described) {
    keys.erase("comment");
    used[kind].erase("comment");
    EXPECT_EQ(used[kind], keys) << kind;
    const auto help = scratch.Molpot("minimize --help").out;
    EXPECT_NE(help.find("--" + kind + " "), std::string::npos) << kind;
  }
  scratch.File("all.json", examples.dump());
  const auto result = scratch.Molpot("minimize butane.sdf -o out.sdf --json --restraints all.json");
  ASSERT_EQ(result.status, 0) << result.err;
  std::set<std::string> entries;
  const auto line = json::parse(result.out);
  for (const auto& held : line["restraints"]) entries.insert(held["option"]);
  EXPECT_EQ(entries.size(), examples.size());
}

TEST(RestraintFile, HoldsAsTheOptionsDoAndSaysWhichEntryIsWrong) {
  const Scratch scratch;
  scratch.File("butane.sdf", scratch.Read("data/butane.sdf"));
  scratch.File("same.json",
               R"({"restraints": [{"kind": "restrain", "atoms": "hydrogens", "width": 0.1},
      {"kind": "wall", "shape": "box", "low": [-1, -1, -1], "high": [1, 1, 1], "k": 3},
      {"kind": "tether", "reference": "butane.sdf", "strength": 7},
      {"kind": "expression", "energy": "k*(distance(1,4)-r_0)^2", "constants": {"r_0": 3, "k": 9}},
      {"kind": "restrain-torsion", "atoms": [1, 2, 3, 4], "degrees": -100, "k": 9, "width": 5}]})");
  const auto file = AtStart(scratch, "--restraints same.json");
  const auto options =
      AtStart(scratch,
              "--restrain 'hydrogens 0.1' --wall 'box -1 -1 -1 1 1 1 3' --tether 'butane.sdf 0 7' "
              "--restrain-torsion '1 2 3 4 -100 9 5' "
              "--expression 'k*(distance(1,4)-r_0)^2; k=9 ;r_0 = 3e0'");
  ASSERT_EQ(file.size(), 5u);
  for (const auto& held : file) {
    const bool found = std::ranges::any_of(options, [&](const json& other) {
      return other["what"] == held["what"] && other["energy"] == held["energy"];
    });
    EXPECT_TRUE(found) << held << options;
  }
  const std::tuple<const char*, int, const char*> wrong[] = {
      {R"([{"kind": "restrain", "atoms": "C"}, {"kind": "spring"}])",
       2,
       "entry 2: \"kind\" must be"},
      {R"([{"kind": "restrain"}])", 2, "entry 1 (restrain): \"atoms\" is missing"},
      {R"([{"kind": "restrain", "atoms": "C", "k": 1}])", 2, "there is no \"k\""},
      {R"([{"kind": "restrain", "atoms": "C", "width": "1"}])", 2, "\"width\" must be a number"},
      {R"([{"kind": "restrain-distance", "atoms": [1, -2], "distance": 1, "k": 1}])", 2, "numbers"},
      {R"([{"kind": "wall", "shape": "box", "low": [1, 2], "high": [3, 4, 5], "k": 1}])",
       2,
       "\"low\" must be three numbers"},
      {R"([{"kind": "tether", "reference": "absent.sdf"}])", 2, "entry 1 (tether): absent.sdf"},
      {R"([{"kind": "constrain-angle", "atoms": [1, 2, 3], "value": 200}])", 2, "not possible"},
      {R"([{"kind": "constrain-angle", "atoms": [1, 2, 3], "low": 2}])", 2, "\"high\" is missing"},
      {R"([{"kind": "expression", "energy": "k", "constants": {"k": "1"}}])", 2, "\"k\" must be"},
      {R"([{"kind": "expression", "energy": "k", "constants": {"2k": 1}}])", 2, "\"2k\" cannot be"},
      {R"([{"kind": "restrain", "atoms": "[Xe]"}])", 1, "wrong.json: entry 1 (restrain): \"[Xe]\""},
      {R"([{"kind": "restrain-distance", "atoms": [1, 99], "distance": 1, "k": 1}])",
       1,
       "entry 1 (restrain-distance): there is no atom 99"},
      {R"([{"kind": "restrain")", 2, "parse error at line 1"},
      {R"({"kind": "restrain"})", 2, "array"}};
  for (const auto& [text, status, reason] : wrong) {
    scratch.File("wrong.json", std::string(text));
    const auto result = scratch.Molpot(kStart + "--restraints wrong.json");
    EXPECT_EQ(result.status, status) << text;
    EXPECT_NE(result.err.find("wrong.json"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find(reason), std::string::npos) << reason << "\n" << result.err;
  }
  for (const char* overwritten : {"same.json", "butane.sdf"}) {
    const auto result = scratch.Molpot(std::string("minimize data/benzene.sdf -o ") + overwritten +
                                       " --restraints same.json");
    EXPECT_EQ(result.status, 2) << overwritten;
  }
}

}  // namespace
