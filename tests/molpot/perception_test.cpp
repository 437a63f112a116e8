// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <deque>
#include <iomanip>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "commands/program.h"
#include "molpot/program.h"
#include "qzchem/perceived.h"

namespace {

using TestMolpot::Scratch;

struct Counts {
  unsigned long conversions;  // to RDKit
  unsigned long perceptions;  // typings
};

// What a command line does in this process; single quotes hold words together and @ is the folder.
Counts Count(const Scratch& scratch, const std::string& commandLine, int expected) {
  std::istringstream line(commandLine);
  std::deque<std::string> words{"molpot"};
  for (std::string word; line >> std::quoted(word, '\'');) {
    if (word.starts_with("data/")) word = MOLPOTENTIAL_DATA_DIR + word.substr(4);
    if (word.starts_with('@')) word = scratch / word.substr(1);
    words.push_back(word);
  }
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  const Counts before{QZChem::QZCountConversions(), QZChem::QZCountPerceptions()};
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  const int status = Molpot::RunProgram(static_cast<int>(argv.size()), argv.data());
  const std::string out = testing::internal::GetCapturedStdout();
  const std::string err = testing::internal::GetCapturedStderr();
  EXPECT_EQ(status, expected) << commandLine << "\n" << out << err;
  return {QZChem::QZCountConversions() - before.conversions,
          QZChem::QZCountPerceptions() - before.perceptions};
}

TEST(Perception, IsDoneOnceARecordByEveryCommandAndOption) {
  const Scratch scratch;
  const std::string minimize = "minimize data/ibuprofen.sdf -o @out.";
  const std::vector<std::string> commands = {
      "energy data/aspirin.sdf",
      "energy data/aspirin.sdf --json --interactions 4 --partial-charges",
      "energy data/aspirin.sdf --forcefield uff --cutoff 9 --dielectric 4",
      "energy data/aspirin.sdf --largest-fragment --forcefield mmff94s",
      minimize + "sdf",
      minimize + "mol2 --table --partial-charges --method newton --max-iterations 200",
      minimize + "xyz --freeze [#6] --restrain 'hydrogens 0.1 5' --trajectory @path.sdf",
      minimize + "pdb --move 'within 4 of atoms 1' --restrain-torsion '[CH3:1][C:2][C:3][c:4] 9 1'",
      minimize +
          "sdf --hold-torsions 3 --wall 'sphere 0 0 0 9 1' --constrain-distance '[O:1]=C-[O:2]'",
      minimize + "sdf --forcefield uff --restrain-distance '1 2 1.5 9' --expression 'x(1)^2'",
      minimize + "sdf --dry-run --freeze c --distance-band '[O:1]=C-[O:2] 1 3 9'",
      "minimize data/benzene.sdf -o @out.sdf --restrain [#6] --coordinates rigid",
      "compare data/butane.sdf",
      "check data/butane.sdf --restrain '[#6] 0.1' --coordinates zmatrix",
      "scan data/butane.sdf --torsion '1 2 3 4' --step 120 -o @scan",
      "scan data/butane.sdf --scan '[CH3:1][CH2:2][CH2:3] 110 114 4' -o @scan",
      "normal-modes data/butane.sdf --coordinates torsion",
      "minimize --smiles CCO -o @out.sdf --conformers 3",
      "energy --smiles CCO"};
  std::vector<std::string> all = commands;
  for (const char* coordinates :
       {"degfree", "cluster", "redundant", "internal", "zmatrix", "torsion", "torsion-rigid"}) {
    all.push_back(minimize + "sdf --coordinates " + coordinates);
  }
  for (const std::string& command : all) {
    const bool isDry = command.find("--dry-run") != std::string::npos;
    const Counts counts = Count(scratch, command, 0);
    EXPECT_EQ(counts.conversions, 1u) << command;
    EXPECT_EQ(counts.perceptions, isDry ? 0u : 1u) << command;
  }
}

// Hydrogens that are added, unpaired electrons and metals are no reason to look twice; a host and
// the reference of a tether are molecules of their own, and looked at once a run.
TEST(Perception, IsDoneOnceARecordOfWhateverKindAndOnceAHostOrReference) {
  const Scratch scratch;
  QZChem::QZGraphMol bare;
  auto* carbon = bare.AddAtom(6, 0.0, 0.0, 0.3);
  bare.AddBond(carbon, bare.AddAtom(8, 1.4, 0.1, 0.0));
  scratch.File("bare.sdf", bare);
  scratch.File("bare.pdb",
               "ATOM      1  N   GLY A   1       0.000   0.000   0.000  1.00  0.00           N  \n"
               "ATOM      2  CA  GLY A   1       1.460   0.000   0.000  1.00  0.00           C  \n"
               "ATOM      3  C   GLY A   1       2.000   1.410   0.300  1.00  0.00           C  \n"
               "ATOM      4  O   GLY A   1       1.300   2.400   0.300  1.00  0.00           O  \n"
               "ATOM      5  OXT GLY A   1       3.230   1.500   0.500  1.00  0.00           O  \n"
               "END\n");
  scratch.File("bare.xyz", "2\nCO\nC 0 0 0.3\nO 1.4 0.1 0\n");
  scratch.File(
      "flat.sdf",
      "flat\n  test    2D\n\n  3  2  0  0  0  0  0  0  0  0999 V2000\n"
      "    0.0000    0.0000    0.0000 C   0  0\n    1.5000    0.0000    0.0000 C   0  0\n"
      "    2.2000    1.2000    0.0000 O   0  0\n  1  2  1  0\n  2  3  1  0\nM  END\n$$$$\n");
  scratch.File("methyl.sdf",
               "methyl\n  test    3D\n\n  4  3  0  0  0  0  0  0  0  0999 V2000\n"
               "    0.0000    0.0000    0.1000 C   0  0\n    1.0800    0.0000    0.0000 H   0  0\n"
               "   -0.5400    0.9350    0.0000 H   0  0\n   -0.5400   -0.9350    0.0000 H   0  0\n"
               "  1  2  1  0\n  1  3  1  0\n  1  4  1  0\nM  RAD  1   1   2\nM  END\n$$$$\n");
  scratch.File("metal.sdf",
               "ReCl\n  test    3D\n\n  2  1  0  0  0  0  0  0  0  0999 V2000\n"
               "    0.0000    0.0000    0.1000 Re  0  0\n    2.1000    0.0000    0.0000 Cl  0  0\n"
               "  1  2  1  0\nM  END\n$$$$\n");
  scratch.File("three.sdf",
               scratch.Read("data/benzene.sdf") + scratch.Read("data/butane.sdf") +
                   scratch.Read("data/aspirin.sdf"));
  const std::string three =
      "minimize @three.sdf -o @out.sdf -j 2 --max-iterations 3 "
      "--accept-unconverged ";
  const std::tuple<std::string, unsigned long, unsigned long> cases[] = {
      {"energy @bare.sdf --add-hydrogens", 1, 1},
      {"energy @bare.sdf --add-hydrogens --forcefield uff", 1, 1},
      {"energy @bare.pdb --add-hydrogens", 1, 1},
      {"energy @bare.xyz --add-hydrogens --template CO", 1, 1},
      {"minimize @flat.sdf -o @out.sdf --add-hydrogens --freeze [#8]", 1, 1},
      {"minimize @flat.sdf -o @out.sdf --add-hydrogens --conformers 2 --hold-torsions 1", 1, 1},
      {"scan @bare.sdf --add-hydrogens --scan '1 2 1.3 1.4 0.1' -o @scan", 1, 1},
      {"energy @methyl.sdf --forcefield uff", 1, 1},
      {"energy @metal.sdf --forcefield uff", 1, 1},
      {three, 3, 3},
      {three + "--tether data/aspirin.sdf", 4, 3},
      {three + "--host data/imatinib.sdf --strain", 4, 4},
      {three + "--host data/imatinib.sdf --host-flexible 5 --strain --freeze [#6]", 4, 4},
      {"minimize @bare.sdf -o @out.sdf --add-hydrogens --host @bare.pdb", 2, 2},
      {"minimize @bare.sdf -o @out.sdf --add-hydrogens --host @bare.pdb --host-flexible 9", 2, 2}};
  for (const auto& [command, conversions, perceptions] : cases) {
    const Counts counts = Count(scratch, command, 0);
    EXPECT_EQ(counts.conversions, conversions) << command;
    EXPECT_EQ(counts.perceptions, perceptions) << command;
  }
}

}  // namespace
