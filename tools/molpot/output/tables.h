// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

#include "run/task.h"

namespace Molpot {

/// "record 3 (aspirin)".
std::string RecordName(const Outcome& outcome);
/// One line about a minimised record.
std::string MinimisedLine(const Outcome& outcome);
/// What became of variables that follow the way; empty where nothing out of the ordinary did.
std::string CoordinatesLine(const Outcome& outcome);
/// A table of the named components: one column of energies, or before and after.
std::string ComponentTable(const Outcome& outcome, bool minimised);
/// The interactions of highest energy with their atoms; empty when none were asked for.
std::string InteractionTable(const Outcome& outcome);
/// Interaction and strain in a host; empty without one.
std::string HostLine(const Outcome& outcome);
/// Frequencies and what follows from them; empty when no normal modes were asked for.
std::string ModesTable(const Outcome& outcome);
/// A line a restraint or constraint.
std::string HeldLines(const Outcome& outcome);

}  // namespace Molpot
