// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <cstdio>

#include "commands/commands.h"
#include "input/errors.h"
#include "run/messages.h"

int main(int argc, char** argv) {
  using namespace Molpot;
  CLI::App app{
      "Minimises and analyses molecules with force fields, restraints and the coordinate "
      "systems of the molpotential library."};
  app.require_subcommand(1);
  app.set_version_flag("--version", MOLPOTENTIAL_VERSION);
  app.footer(
      "Exit status: 0 all good, 1 some records failed, 2 unusable arguments or files, 130 "
      "interrupted. Energies are in kcal/mol, lengths in Å.");
  Action action;
  AddMinimize(app, action);
  AddEnergy(app, action);
  AddCheck(app, action);
  AddScan(app, action);
  AddCompare(app, action);
  AddReport(app, action);
  try {
    app.parse(argc, argv);
    const MessageRouter router;
    return action();
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kAllGood : kUnusable;
  } catch (const UsageError& error) {
    std::fprintf(stderr, "molpot: %s\n", error.what());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "molpot: unexpected: %s\n", error.what());
  }
  return kUnusable;
}
