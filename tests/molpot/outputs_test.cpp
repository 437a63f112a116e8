// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>

#include "molpot/program.h"
#include "qzchem/qzchem.h"

namespace {

using TestMolpot::Scratch;

void ExpectContains(const std::string& text, const std::string& part) {
  EXPECT_NE(text.find(part), std::string::npos) << "\"" << part << "\" is not in " << text;
}

TEST(Outputs, AnInputOrAnotherOutputIsNeverOverwritten) {
  const Scratch scratch;
  const std::string butane = scratch.Read("data/butane.sdf");
  scratch.File("a.sdf", butane);
  ASSERT_EQ(scratch.Shell("ln a.sdf hard.sdf; ln -s a.sdf soft.sdf; mkdir d").status, 0);
  const std::string before = scratch.List();
  for (const char* script : {"molpot scan a.sdf --torsion '1 2 3 4' -o a",
                             "molpot minimize a.sdf -o a.sdf",
                             "molpot minimize a.sdf -o hard.sdf",
                             "molpot minimize a.sdf -o ./d/../soft.sdf",
                             "molpot minimize a.sdf -o b.sdf --rejects a.sdf",
                             "molpot energy a.sdf --rejects a.sdf",
                             "molpot minimize a.sdf -o b.sdf --trajectory ./b.sdf",
                             "molpot minimize a.sdf -o b.sdf --rejects d/../b.sdf",
                             "molpot minimize - -o a.sdf <a.sdf",
                             "molpot minimize a.sdf -o - --rejects -",
                             "molpot energy a.sdf --json --rejects /dev/stdout",
                             "molpot minimize a.sdf -o - --trajectory -",
                             "molpot minimize a.sdf -o b.sdf --rejects c.gz",
                             "molpot minimize a.sdf -o d"}) {
    SCOPED_TRACE(script);
    const auto result = scratch.Shell(script);
    EXPECT_EQ(result.status, 2) << result.err;
    EXPECT_EQ(scratch.Read("a.sdf"), butane);
    EXPECT_EQ(scratch.List(), before);
  }
}

TEST(Outputs, OnlyRegularFilesAreReplacedAndKeepTheirMode) {
  const Scratch scratch;
  const auto result = scratch.Shell(R"sh(
    echo old >real.sdf; chmod 640 real.sdf; ln -s real.sdf link.sdf; mkfifo pipe.sdf
    molpot minimize data/butane.sdf -o link.sdf || exit 1
    test -L link.sdf && test "$(stat -c %a real.sdf)" = 640 && grep -q butane real.sdf || exit 2
    cat pipe.sdf >piped & molpot minimize data/butane.sdf -o pipe.sdf || exit 3
    wait; test -p pipe.sdf && cmp piped real.sdf || exit 4
    molpot minimize data/butane.sdf -o /dev/null --rejects /dev/null || exit 5
    test -c /dev/null || exit 6
    umask 027; molpot minimize data/butane.sdf -o new.sdf || exit 7
    test "$(stat -c %a new.sdf)" = 640 || exit 8
  )sh");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(scratch.List().find(".part"), std::string::npos) << scratch.List();
}

TEST(Outputs, LostStandardOutputIsAFailureOfEveryCommand) {
  const Scratch scratch;
  for (const char* command : {"energy data/butane.sdf",
                              "energy data/butane.sdf --json",
                              "minimize data/butane.sdf -o out.sdf",
                              "minimize data/butane.sdf -o -",
                              "check data/butane.sdf",
                              "compare data/butane.sdf",
                              "report data/butane.sdf --coordinates zmatrix",
                              "scan data/butane.sdf --torsion '1 2 3 4' --step 180 -o s",
                              "--help"}) {
    for (const char* stream : {">/dev/full", ">&-"}) {
      SCOPED_TRACE(std::string(command) + stream);
      const auto result = scratch.Shell(std::string("molpot ") + command + " " + stream);
      EXPECT_EQ(result.status, 2);
      ExpectContains(result.err, "standard output");
    }
  }
  // A file that is opened while standard output is closed must not take its place.
  scratch.Shell("molpot minimize data/butane.sdf -o out.sdf >&-");
  EXPECT_EQ(scratch.Read("out.sdf").find("kcal/mol, "), std::string::npos);
}

// A signal ends the run early: what is done keeps its temporary name, and the target stays.
TEST(Signals, LeaveTheTargetAndNameWhatWasDone) {
  const Scratch scratch;
  std::string many;
  for (int k = 0; k < 2000; ++k) many += scratch.Read("data/imatinib.sdf");
  scratch.File("many.sdf", many);
  const std::string run =
      " minimize many.sdf -o out.sdf -j 2 --json --gradient-tolerance 1e-13 >lines";
  // The signals come once a record has been written, however slow the machine is; the program
  // itself takes the shell's place, since a shell's background jobs ignore INT.
  const auto interrupted = [&](const std::string& signals, const std::string& options) {
    return scratch.Shell(
        "rm -f out.sdf*; echo old >out.sdf; (for n in $(seq 1000); do "
        "[ -s out.sdf.part-* ] && break; sleep 0.05; done; for s in " +
        signals + "; do kill -$s $$; done) & exec $molpot" + run + options);
  };
  bool isMarked = false;  // unless a signal comes between two minimisations
  for (const std::string signal : {"INT", "TERM", "HUP"}) {
    SCOPED_TRACE(signal);
    const auto result = interrupted(signal, "");
    EXPECT_EQ(result.status, 130) << result.err;
    ExpectContains(result.err, "interrupted");
    ExpectContains(result.err, "out.sdf is as it was; what was done is in ");
    EXPECT_EQ(scratch.Read("out.sdf"), "old\n");
    ExpectContains(scratch.List(), "out.sdf.part-");
    isMarked =
        isMarked || scratch.Read("lines").find("\"reason\":\"interrupted\"") != std::string::npos;
  }
  const auto kept = interrupted("INT", " --keep-partial");
  EXPECT_EQ(kept.status, 130);
  EXPECT_EQ(scratch.List(), "lines many.sdf out.sdf ");
  const auto molecules = scratch.Molecules("out.sdf");
  ASSERT_GT(molecules.size(), 0u);
  EXPECT_TRUE(isMarked);
  ExpectContains(kept.err, std::to_string(molecules.size()) + " records are done");
  const auto twice = interrupted("TERM HUP", "");
  EXPECT_EQ(twice.status, 130);
  ExpectContains(twice.err, "ended at once; incomplete: ");
  EXPECT_EQ(scratch.Read("out.sdf"), "old\n");
}

TEST(Minimize, WhatDidNotConvergeIsMarkedInEveryOutputAndInTheStatus) {
  const Scratch scratch;
  const std::string run = "minimize data/imatinib.sdf --json --max-iterations 3 -o ";
  const auto result = scratch.Molpot(run + "out.sdf --rejects bad.sdf");
  EXPECT_EQ(result.status, 1);
  ExpectContains(result.err, "not converged: ");
  ExpectContains(result.out, "\"reason\":\"");
  EXPECT_EQ(scratch.Read("bad.sdf"), "");
  const auto mol = scratch.Molecules("out.sdf").at(0);
  EXPECT_EQ(QZChem::QZGetSDData(mol, "molpotential.converged"), "no");
  EXPECT_EQ(QZChem::QZGetSDData(mol, "molpotential.iterations"), "3");
  EXPECT_NE(QZChem::QZGetSDData(mol, "molpotential.reason"), "");
  ExpectContains(result.out, "\"energy\":" + QZChem::QZGetSDData(mol, "molpotential.energy"));
  EXPECT_EQ(scratch.Molpot(run + "out.sdf --accept-unconverged").status, 0);
  EXPECT_EQ(scratch.Molpot(run + "out.xyz").status, 1);
  ExpectContains(scratch.Read("out.xyz"), "(not converged)");
  const auto late = scratch.Molpot("minimize data/decapeptide.sdf -o out.sdf --time-limit 0.001");
  EXPECT_EQ(late.status, 1);
  ExpectContains(late.err, "time limit of 0.001 s");
}

// The line that is rewritten on a terminal, within a record that takes seconds.
TEST(Progress, IsShownWithinLongRecordsOnATerminal) {
  const Scratch scratch;
  const auto result = scratch.Shell(
      "command -v script >/dev/null || exit 77; script -qec \"$molpot minimize "
      "data/hiv_protease.pdb -o out.pdb --add-hydrogens --time-limit 3\" /dev/null </dev/null");
  if (result.status == 77) GTEST_SKIP() << "there is no script(1) here";
  EXPECT_EQ(result.status, 1) << result.out;
  ExpectContains(result.out, "\r\033[K");
  ExpectContains(result.out, ": iteration ");
  ExpectContains(result.out, "time limit of 3 s");
  const auto plain = scratch.Molpot("minimize data/butane.sdf -o out.sdf");
  EXPECT_EQ(plain.err, "") << "nothing of it elsewhere";
}

// Hydrogens between two atoms, which the force field's typing would not survive.
TEST(Failures, BridgingHydrogensFailTheirRecordAlone) {
  const Scratch scratch;
  const std::string h3o2 =
      "bridged\n\n\n  5  4  0  0  0  0  0  0  0  0999 V2000\n"
      "    1.2200    0.0000    0.0000 O   0  0\n   -1.2200    0.0000    0.0000 O   0  0\n"
      "    0.0000    0.0000    0.0000 H   0  0\n    1.5000    0.9200    0.0000 H   0  0\n"
      "   -1.5000   -0.9200    0.3000 H   0  0\n  1  3  1  0\n  2  3  1  0\n  1  4  1  0\n"
      "  2  5  1  0\nM  CHG  1   3  -1\nM  END\n$$$$\n";
  const std::string diborane =
      "diborane\n\n\n  8  8  0  0  0  0  0  0  0  0999 V2000\n"
      "    0.8800    0.0000    0.0000 B   0  0\n   -0.8800    0.0000    0.0000 B   0  0\n"
      "    0.0000    0.9800    0.0000 H   0  0\n    0.0000   -0.9800    0.0000 H   0  0\n"
      "    1.4600    0.0000    1.0400 H   0  0\n    1.4600    0.0000   -1.0400 H   0  0\n"
      "   -1.4600    0.0000    1.0400 H   0  0\n   -1.4600    0.0000   -1.0400 H   0  0\n"
      "  1  3  1  0\n  1  4  1  0\n  2  3  1  0\n  2  4  1  0\n  1  5  1  0\n  1  6  1  0\n"
      "  2  7  1  0\n  2  8  1  0\nM  CHG  4   1  -1   2  -1   3   1   4   1\nM  END\n$$$$\n";
  const std::string butane = scratch.Read("data/butane.sdf");
  scratch.File("mixed.sdf", butane + h3o2 + diborane + butane);
  for (const char* options : {"", " --add-hydrogens", " --forcefield mmff94s -j 2"}) {
    const auto result = scratch.Molpot(std::string("minimize mixed.sdf -o out.sdf") + options);
    EXPECT_EQ(result.status, 1) << result.err;
    ExpectContains(result.err, "record 2 (bridged)");
    ExpectContains(result.err, "Atom 3 (H) has more bonds");
    ExpectContains(result.err, "record 3 (diborane)");
    EXPECT_EQ(scratch.Molecules("out.sdf").size(), 2u);
  }
}

TEST(Failures, JsonSaysWhatStandardErrorSaysAndWhichForceFieldWouldDo) {
  const Scratch scratch;
  QZChem::QZGraphMol mol;  // boron trifluoride: there is no such MMFF94 type
  auto* boron = mol.AddAtom(5);
  for (int k = 0; k < 3; ++k) {
    const double angle = 2.0943951 * k;
    auto* fluorine = mol.AddAtom(9, 1.3 * std::cos(angle), 1.3 * std::sin(angle), 0.0);
    mol.AddBond(boron, fluorine);
  }
  scratch.File("boron.xyz", mol);
  scratch.File("boron.sdf", mol);
  const auto result = scratch.Molpot("energy boron.sdf --json");
  EXPECT_EQ(result.status, 1);
  for (const std::string& text : {result.out, result.err}) {
    ExpectContains(text, "no type for atom B 1");
    ExpectContains(text, "--forcefield uff");
  }
  EXPECT_EQ(scratch.Molpot("energy boron.sdf --forcefield UFF").status, 0);
}

TEST(Inputs, SmilesBecomeConformersOrderedByEnergyAndSaltsLoseTheirCounterIons) {
  const Scratch scratch;
  const auto result = scratch.Molpot(
      "minimize --smiles '[Na+].CCCC(=O)[O-] butanoate' --largest-fragment --conformers 8 "
      "--conformer-rms 0.1 -o out.sdf --partial-charges --json");
  ASSERT_EQ(result.status, 0) << result.err;
  const auto molecules = scratch.Molecules("out.sdf");
  ASSERT_GT(molecules.size(), 1u);
  double previous = -1e9;
  for (const auto& mol : molecules) {
    EXPECT_EQ(mol.NumAtoms(), 13u);
    EXPECT_STREQ(mol.GetTitle(), "butanoate");
    const double energy = std::stod(QZChem::QZGetSDData(mol, "molpotential.energy"));
    EXPECT_GE(energy, previous);
    previous = energy;
    std::istringstream charges(QZChem::QZGetSDData(mol, "molpotential.partial_charges"));
    double total = 0.0;
    for (double charge = 0.0; charges >> charge;) total += charge;
    EXPECT_NEAR(total, -1.0, 1e-3);
  }
  scratch.File("two.smi", "CCO ethanol\nc1ccccc1 benzene\n");
  EXPECT_EQ(scratch.Molpot("energy two.smi --dielectric 80 --cutoff 9").status, 0);
}

// What the format of the output cannot hold fails alone, as any bad record does.
TEST(Failures, OneRecordMayNotFitTheFormatOrLackHydrogens) {
  const Scratch scratch;
  QZChem::QZGraphMol ion;
  ion.AddAtom(11, 12000.0, 0.0, 0.0)->SetFormalCharge(1);
  ion.SetTitle("ion");
  scratch.File("ion.sdf", ion);
  QZChem::QZGraphMol bare;
  auto* carbon = bare.AddAtom(6);
  bare.AddBond(carbon, bare.AddAtom(8, 1.4, 0.0, 0.0));
  scratch.File("bare.sdf", bare);
  scratch.File("all.sdf",
               scratch.Read("data/butane.sdf") + scratch.Read("ion.sdf") +
                   scratch.Read("bare.sdf") + scratch.Read("data/benzene.sdf"));
  const auto result = scratch.Molpot("minimize all.sdf -o out.pdb --rejects bad.sdf --json");
  EXPECT_EQ(result.status, 1);
  ExpectContains(result.err, "record 2 (ion): cannot be written");
  ExpectContains(result.err, "coordinates of atom 1");
  ExpectContains(result.err, "record 3");
  ExpectContains(result.err, "atom 1 (C): 3 hydrogens were expected, none is there");
  ExpectContains(result.out, "\"error\":\"cannot be written");
  const auto written = scratch.Molecules("out.pdb");
  ASSERT_EQ(written.size(), 2u);
  EXPECT_EQ(written[1].NumAtoms(), 12u);
  EXPECT_EQ(scratch.Read("bad.sdf"), scratch.Read("ion.sdf") + scratch.Read("bare.sdf"));
}

}  // namespace
