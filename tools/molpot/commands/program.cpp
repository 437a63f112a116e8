// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "commands/program.h"

#include "commands/commands.h"
#include "input/errors.h"
#include "output/console.h"
#include "run/messages.h"

namespace Molpot {

int RunProgram(int argc, char** argv) {
  CLI::App app{
      "Minimises and analyses molecules with force fields, restraints and the coordinate "
      "systems of the molpotential library."};
  app.require_subcommand(1);
  app.set_version_flag("--version", MOLPOTENTIAL_VERSION);
  app.footer(
      "Exit status: 0 all good, 1 some records failed or did not converge, 2 unusable arguments or "
      "files, 130 "
      "interrupted. Energies are in kcal/mol, lengths in Å.");
  Action action;
  AddMinimize(app, action);
  AddEnergy(app, action);
  AddCheck(app, action);
  AddScan(app, action);
  AddCompare(app, action);
  AddReport(app, action);
  AddNormalModes(app, action);
  RefuseEmptyArguments(app);
  try {
    app.parse(argc, argv);
    const MessageRouter router;
    return action();
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kAllGood : kUnusable;
  } catch (const UsageError& error) {
    PrintMessage(error.what());
  } catch (const std::exception& error) {
    PrintMessage(std::string("unexpected: ") + error.what());
  }
  return kUnusable;
}

}  // namespace Molpot
