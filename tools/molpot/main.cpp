// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "commands/commands.h"
#include "commands/program.h"
#include "input/errors.h"
#include "output/console.h"

int main(int argc, char** argv) {
  using namespace Molpot;
  PrepareStandardStreams();
  const int status = RunProgram(argc, argv);
  try {
    CheckStandardOutput();
  } catch (const UsageError& error) {
    if (status != kUnusable) PrintMessage(error.what());
    return status == kInterrupted ? kInterrupted : kUnusable;
  }
  return status;
}
