// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "support/capture.h"
#include "support/molecules.h"
#include "support/records_text.h"

namespace {

using namespace QZChem;
using namespace TestSupport;
using enum QZMolFormat;

// MOLPOTENTIAL_FUZZ=20000 tries that many mutants, MOLPOTENTIAL_FUZZ_SEED begins elsewhere.
unsigned long FromEnvironment(const char* name, unsigned long fallback) {
  const char* text = std::getenv(name);
  return text != nullptr ? std::strtoul(text, nullptr, 10) : fallback;
}

QZMolFormat FormatOf(unsigned long seed) {
  return std::vector{SDF, MOL2, PDB, XYZ, SMILES, SDF}[seed % 6];
}

// A good record with what the format has: charges, isotopes, residues, data, V3000.
std::string Good(QZMolFormat format, const char* title, std::mt19937& rng) {
  static const std::vector<QZGraphMol> molecules = [] {
    std::vector<QZGraphMol> all = {Water(), Butane(), WaterDimer(), CarbonChain(1000)};
    for (const char* smiles :
         {"C[N+](=O)[O-].[Na+].[Cl-]", "[13CH3]C([2H])O", "N[C@@H](C)C(=O)O"}) {
      all.push_back(FromSmiles(smiles, /*embed=*/true));
    }
    all.push_back(DataMolecule("caffeine"));
    return all;
  }();
  // The long chain is rare: it takes most of the time and has nothing new but V3000.
  const std::size_t pick = format == SMILES ? 1 : rng() % 40;
  QZGraphMol mol = molecules[pick == 0 ? 3 : (pick % 7 + 4) % molecules.size()];
  mol.SetTitle(title);
  QZSetSDData(mol, "Name", "value\nmore");
  return Written(mol, format);
}

std::string Mutant(const std::string& clean, std::mt19937& rng) {
  static const std::vector<std::string> kWords = {"nan",
                                                  "inf",
                                                  "1e308",
                                                  "-1",
                                                  "0",
                                                  "99999999999",
                                                  "2000000000",
                                                  "$$$$\n",
                                                  "M  END\n",
                                                  "\n\n",
                                                  "V3000",
                                                  "M  V30 COUNTS -\nM  V30 900000000 1\n",
                                                  "@<TRIPOS>BOND\n",
                                                  "@<TRIPOS>ATOM\n",
                                                  "MODEL        2\n",
                                                  "ENDMDL\n",
                                                  "END\n",
                                                  "CONECT    1    1    1\n",
                                                  "HETATM",
                                                  "\t",
                                                  "\r\n",
                                                  "M  RAD  1   1   2\n",
                                                  "M  ISO  1   1 999\n",
                                                  "M  CHG  1   1  15\n",
                                                  "M  STY  1   1 SUP\n",
                                                  "(",
                                                  "[",
                                                  "%99",
                                                  "*",
                                                  "Xx"};
  std::string text = clean;
  const unsigned int count = 1 + static_cast<unsigned int>(rng() % 6);
  for (unsigned int i = 0; i < count && !text.empty(); ++i) {
    const std::size_t at = rng() % text.size();
    switch (rng() % 6) {
      case 0:
        text[at] = static_cast<char>(rng());
        break;
      case 1:
        text.erase(at, rng() % 60);
        break;
      case 2:
        text.insert(at, text.substr(rng() % text.size(), rng() % 90));
        break;
      case 3:
        text.insert(at, kWords[rng() % kWords.size()]);
        break;
      case 4:
        text.replace(at, std::min<std::size_t>(3, text.size() - at), kWords[rng() % kWords.size()]);
        break;
      default:
        text[at] = "0123456789 -.+\n"[rng() % 15];
        break;
    }
  }
  return text;
}

// What a program does with a molecule that was read.
void Use(QZGraphMol mol) {
  QZLooksTwoDimensional(mol);
  if (QZFindMissing(mol).empty()) return;
  if (QZAddHydrogens(mol) > 0) QZFindMissing(mol);
  for (const QZMolFormat format : {SDF, MOL2, PDB, XYZ}) Written(mol, format);
}

TEST(Fuzz, MutantsBetweenGoodRecordsHurtNoOneElse) {
  const unsigned long number = FromEnvironment("MOLPOTENTIAL_FUZZ", 300);
  const unsigned long first = FromEnvironment("MOLPOTENTIAL_FUZZ_SEED", 1);
  MessageCapture messages;
  unsigned long numRefused = 0;
  double longest = 0.0;
  for (unsigned long seed = first; seed < first + number; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 rng(static_cast<std::mt19937::result_type>(seed));
    const QZMolFormat format = FormatOf(seed);
    const std::string before = Good(format, "before", rng);
    std::string mutant = Mutant(Good(format, "mutant", rng), rng);
    if (format == SDF && !mutant.ends_with("$$$$\n")) mutant += "\n$$$$\n";
    if (format == PDB && !mutant.ends_with("END\n")) mutant += "\nEND\n";
    if (!mutant.ends_with("\n")) mutant += "\n";
    const std::string after = Good(format, "after", rng);
    const auto start = std::chrono::steady_clock::now();
    const auto reading = ReadAll(before + mutant + after, format);
    for (const QZGraphMol& mol : reading.molecules) {
      if (mol.NumAtoms() < 100) Use(mol);
    }
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
    longest = std::max(longest, spent.count());
    EXPECT_LT(spent.count(), 10.0);
    EXPECT_EQ(reading.titles.find("before;"), 0U) << reading.titles << "\n"
                                                  << reading.records[0].error << "\n"
                                                  << mutant;
    EXPECT_TRUE(reading.titles.ends_with("after;")) << reading.titles << "\n" << mutant;
    for (const QZRecordInfo& record : reading.records) {
      numRefused += record.error.empty() ? 0 : 1;
      for (const char* inside : {"idx", "bad_alloc", "std::", "_pin", "Violation", "Invariant"}) {
        EXPECT_EQ(record.error.find(inside), std::string::npos) << record.error;
      }
    }
  }
  std::printf(
      "%lu mutants, %lu records refused, the longest took %.2f s\n", number, numRefused, longest);
}

}  // namespace
