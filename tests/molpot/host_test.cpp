// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

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

// README's commands, as printed.
TEST(Readme, ItsCommandsRun) {
  const Scratch scratch;
  std::istringstream readme(scratch.Read("data/../README.md"));
  unsigned int count = 0;
  for (std::string line; std::getline(readme, line);) {
    if (!line.starts_with("    molpot ")) continue;
    ++count;
    const auto result = scratch.Shell(line);
    EXPECT_EQ(result.status, 0) << line << "\n" << result.err;
  }
  EXPECT_GE(count, 10u) << "README's commands are gone";
}

}  // namespace
