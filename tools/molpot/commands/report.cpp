// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <memory>

#include "commands/commands.h"
#include "input/records.h"
#include "molpotential/molpotential.h"
#include "output/console.h"
#include "output/tables.h"

namespace Molpot {
namespace {

struct ReportArguments {
  SourceArguments source;
  Task task;
  std::string coordinates;
};

template <class Adaptor>
bool Print(const QZChem::QZMolBase& mol) {
  Adaptor adaptor;
  if (!adaptor.Setup(mol)) return false;
  std::vector<double> vars(std::max<std::size_t>(7, std::size_t{3} * mol.AtomIndexBound()));
  adaptor.GetAdaptedVariables(mol, vars.data());
  return true;
}

int Report(ReportArguments& args) {
  args.source.Parse(args.task);
  unsigned int failed = 0;
  for (const Outcome& record : ReadAll(args.source, failed)) {
    CheckStandardOutput();
    std::cout << RecordName(record) << '\n';
    const bool printed =
        args.coordinates == "zmatrix"
            ? Print<QZMolPotential::QZZmatAdaptor>(record.mol)
            : (args.coordinates == "torsion" ? Print<QZMolPotential::QZTorsionAdaptor>(record.mol)
                                             : Print<QZMolPotential::QZRigidAdaptor>(record.mol));
    std::cout << std::flush;
    if (!printed) {
      ++failed;
      PrintMessage(RecordName(record) + ": has no atoms");
    }
  }
  return failed > 0 ? kSomeFailed : kAllGood;
}

}  // namespace

void AddReport(CLI::App& app, Action& action) {
  auto args = std::make_shared<ReportArguments>();
  CLI::App& command =
      *app.add_subcommand("report", "Print the Z-matrix, torsions or placement of each molecule");
  AddSource(command, args->source, args->task);
  command.add_option("--coordinates", args->coordinates, "zmatrix, torsion or rigid")
      ->check(CLI::IsMember({"zmatrix", "torsion", "rigid"}))
      ->required();
  command.callback([args, &action] { action = [args] { return Report(*args); }; });
}

}  // namespace Molpot
