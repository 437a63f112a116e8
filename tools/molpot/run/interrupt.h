// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

namespace Molpot {

/// While it lives, a first SIGINT, SIGTERM or SIGHUP asks the run to end early, and a second ends
/// the program at once with status 130, naming the temporary files that stay. A signal that was
/// ignored before stays ignored.
class InterruptGuard {
 public:
  InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;
  ~InterruptGuard();
};

/// True once a signal has asked the run to end.
bool IsInterrupted();

/// The temporary files that an end at once names, with a blank before each. Not safe from several
/// threads.
void RememberTemporary(const std::string& path);
void ForgetTemporary(const std::string& path);

}  // namespace Molpot
