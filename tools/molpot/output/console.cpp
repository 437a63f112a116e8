// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "output/console.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <mutex>

#include "input/errors.h"

namespace Molpot {
namespace {

constexpr const char* kEraseLine = "\r\033[K";

struct StatusLine {
  std::mutex mutex;
  bool shown = false;
  std::chrono::steady_clock::time_point written{};
};

StatusLine& Status() {
  static StatusLine status;
  return status;
}

bool IsTerminal() {
  static const bool isTerminal = isatty(STDERR_FILENO) != 0;
  return isTerminal;
}

std::string Printable(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '?';
  }
  return text;
}

// One system call, so that lines of several processes do not mix either.
void WriteError(const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t count = write(STDERR_FILENO, text.data() + done, text.size() - done);
    if (count < 0 && errno != EINTR) return;
    if (count > 0) done += static_cast<std::size_t>(count);
  }
}

}  // namespace

void PrepareStandardStreams() {
  std::signal(SIGPIPE, SIG_IGN);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    // Opened the wrong way round: reading standard input and writing the others fails.
    if (fcntl(stream, F_GETFD) < 0) open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

void PrintMessage(const std::string& text) {
  StatusLine& status = Status();
  const std::lock_guard lock(status.mutex);
  WriteError((status.shown ? kEraseLine : "") + ("molpot: " + Printable(text)) + "\n");
  status.shown = false;
}

void ShowStatus(const std::string& text) {
  if (!IsTerminal()) return;
  StatusLine& status = Status();
  const std::lock_guard lock(status.mutex);
  WriteError(kEraseLine + Printable(text));
  status.shown = true;
  status.written = std::chrono::steady_clock::now();
}

void ClearStatus() {
  StatusLine& status = Status();
  const std::lock_guard lock(status.mutex);
  if (status.shown) WriteError(kEraseLine);
  status.shown = false;
}

bool IsStatusDue(double seconds) {
  if (!IsTerminal()) return false;
  StatusLine& status = Status();
  const std::lock_guard lock(status.mutex);
  const std::chrono::duration<double> age = std::chrono::steady_clock::now() - status.written;
  return age.count() > seconds;
}

void CheckStandardOutput() {
  errno = 0;
  std::cout.flush();
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0 && std::cout.good()) return;
  throw UsageError(std::string("standard output cannot be written") +
                   (errno != 0 ? std::string(": ") + std::strerror(errno) : ""));
}

}  // namespace Molpot
