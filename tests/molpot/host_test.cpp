// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <tuple>

#include "molpot/program.h"
#include "support/molecules.h"

namespace {

using TestMolpot::Scratch;
using TestSupport::Coords;

// Benzene beside the decapeptide, some 4 Å from its outermost atom.
void WritePose(const Scratch& scratch) {
  auto ligand = scratch.Molecules("data/benzene.sdf").at(0);
  const auto host = Coords(scratch.Molecules("data/decapeptide.sdf").at(0));
  std::size_t outermost = 0;
  for (std::size_t i = 0; i < host.size(); i += 3) {
    if (host[i] > host[outermost]) outermost = i;
  }
  auto coords = Coords(ligand);
  for (std::size_t i = 0; i < coords.size(); ++i) {
    coords[i] += host[outermost + i % 3] + (i % 3 == 0 ? 4.5 : 0.0);
  }
  ligand.SetCoords(coords.data());
  scratch.File("pose.sdf", ligand);
}

TEST(Host, APoseIsRelaxedInARigidAndInAFlexibleHost) {
  const Scratch scratch;
  WritePose(scratch);
  const std::string run =
      "minimize pose.sdf --host data/decapeptide.sdf --json --strain -o out.sdf ";
  double energies[2] = {};
  for (const bool isFlexible : {false, true}) {
    SCOPED_TRACE(isFlexible);
    const auto result =
        scratch.Molpot(run + (isFlexible ? "--host-flexible 6 --host-output host.sdf" : ""));
    ASSERT_EQ(result.status, 0) << result.err;
    const auto json = nlohmann::json::parse(result.out);
    EXPECT_LT(json["interaction_energy"].get<double>(), -0.5);
    EXPECT_GT(json["strain_energy"].get<double>(), -1e-4);
    EXPECT_LT(json["strain_energy"].get<double>(), 5.0);
    energies[isFlexible ? 1 : 0] =
        json["energy"].get<double>() - json["initial_energy"].get<double>();
    const auto mol = scratch.Molecules("out.sdf").at(0);
    EXPECT_EQ(mol.NumAtoms(), 12u);
    EXPECT_NE(QZChem::QZGetSDData(mol, "molpotential.interaction_energy"), "");
  }
  EXPECT_LT(energies[1], energies[0]) << "a host that gives way lets go of more";
  const auto before = Coords(scratch.Molecules("data/decapeptide.sdf").at(0));
  const auto after = Coords(scratch.Molecules("host.sdf").at(0));
  ASSERT_EQ(before.size(), after.size());
  std::size_t moved = 0;
  for (std::size_t i = 0; i < before.size(); ++i) moved += std::abs(before[i] - after[i]) > 1e-3;
  EXPECT_GT(moved, 0u);
}

TEST(Host, IsRefusedWhereItCannotBeRight) {
  const Scratch scratch;
  for (const char* options : {"--strain",
                              "--host-flexible 4",
                              "--host absent.sdf",
                              "--host out.sdf",
                              "--host data/benzene.sdf --host-flexible 'residue LIG'"}) {
    const auto result =
        scratch.Molpot(std::string("minimize data/butane.sdf -o out.sdf ") + options);
    EXPECT_NE(result.status, 0) << options;
    EXPECT_NE(result.err.find("host"), std::string::npos) << result.err;
  }
}

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
  const auto end = tethered.out.find(" Å RMS away");
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
      {"--tether 'absent.sdf C'", "cannot be read"},
      {"--hold-torsions -3", "positive"},
  };
  for (const auto& [options, reason] : refused) {
    const auto result = scratch.Molpot(run + options);
    EXPECT_EQ(result.status, 2) << options;
    EXPECT_NE(result.err.find(reason), std::string::npos) << result.err;
  }
}

// README's commands, as printed.
TEST(Readme, ItsCommandsRun) {
  const Scratch scratch;
  std::istringstream readme(scratch.Read("data/../README.md"));
  unsigned int count = 0;
  for (std::string line; std::getline(readme, line);) {
    if (!line.starts_with("    molpot ") || line.find("data/") == std::string::npos) continue;
    ++count;
    const auto result = scratch.Shell(line);
    EXPECT_EQ(result.status, 0) << line << "\n" << result.err;
  }
  EXPECT_GE(count, 10u) << "README's commands on files of data/ are gone";
}

}  // namespace
