// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "forcefields/forcefields.h"
#include "molpot/program.h"
#include "molpotential/molpotential.h"
#include "support/german_locale.h"
#include "support/molecules.h"

namespace {

using TestMolpot::Scratch;

// Ends the process with status 0 when a force field, whose parameters are read now, has the energy
// although the program's locale has decimal commas; 77 where there is no such locale.
[[noreturn]] void ExitWithEnergyUnder(bool ofC, const std::string& forceField, double energy) {
  const TestSupport::GermanLocale* german = ofC ? new TestSupport::GermanLocale : nullptr;
  if (ofC && !*german) std::_Exit(77);
  if (!ofC) std::locale::global(std::locale(std::locale(), new TestSupport::CommaNumbers));
  char text[9];
  std::snprintf(text, sizeof text, "%.1f", 1.5);
  const bool isComma = !ofC || std::string(text) == "1,5";
  const auto mol = TestSupport::DataMolecule("ibuprofen");
  QZMolPotential::QZForceFieldKind kind{};
  QZMolPotential::QZFindForceField(forceField.c_str(), kind);
  QZMolPotential::QZStandardFF field(kind);
  const bool isSet = field.Setup(mol);
  const double found = isSet ? field(TestSupport::Coords(mol).data()) : NAN;
  const QZMolPotential::QZExpressionFunc half("0.5*distance(0,1)", {});
  delete german;
  std::_Exit(isComma && half.GetError().empty() && std::abs(found - energy) < 1e-9 ? 0 : 1);
}

// Each in a process of its own: parameters are read once.
TEST(Locale, ForceFieldsReadTheirParametersInEveryLocale) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const Scratch scratch;
  for (const std::string forceField : {"mmff94", "mmff94s", "uff"}) {
    const auto plain =
        scratch.Molpot("energy data/ibuprofen.sdf --json --forcefield " + forceField);
    const double energy = nlohmann::json::parse(plain.out)["energy"];
    EXPECT_EXIT(
        ExitWithEnergyUnder(/*ofC=*/false, forceField, energy), testing::ExitedWithCode(0), "");
    const auto isGoodOrAbsent = [](int status) {
      return WIFEXITED(status) && (WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == 77);
    };
    EXPECT_EXIT(ExitWithEnergyUnder(/*ofC=*/true, forceField, energy), isGoodOrAbsent, "");
  }
}

}  // namespace
