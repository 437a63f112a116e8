// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

namespace Molpot {

/// Gives closed standard streams a place where nothing can be read or written, so that no file
/// that is opened later takes their number, and lets a closed pipe be an error instead of the end.
/// To be called first.
void PrepareStandardStreams();

/// "molpot: text" on standard error, one whole line whatever other threads write. Control
/// characters of `text` appear as "?".
void PrintMessage(const std::string& text);

/// A line that is rewritten in place where standard error is a terminal; nothing elsewhere.
void ShowStatus(const std::string& text);
/// Removes the line, before standard output is written.
void ClearStatus();
/// True on a terminal when the line is older than `seconds`, or there is none.
bool IsStatusDue(double seconds);

/// Throws UsageError when something written to standard output was lost.
void CheckStandardOutput();

}  // namespace Molpot
