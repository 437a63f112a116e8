// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "run/interrupt.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <set>

namespace Molpot {
namespace {

constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP};

std::atomic<int> received{0};
static_assert(std::atomic<int>::is_always_lock_free);

// The last words of an end at once, ready before a signal comes: a handler may not allocate. Texts
// are only added, so that a handler never reads one that is gone.
std::atomic<const std::string*> lastWords{nullptr};

void Receive(int /*signal*/) {
  if (received.fetch_add(1) == 0) return;
  const std::string* words = lastWords.load();
  if (words != nullptr && write(STDERR_FILENO, words->data(), words->size()) < 0) _exit(130);
  _exit(130);
}

std::set<std::string>& Temporaries() {
  static std::set<std::string> temporaries;
  return temporaries;
}

void PrepareLastWords() {
  static std::set<std::string> texts;
  std::string text = "molpot: interrupted twice, ended at once";
  if (!Temporaries().empty()) text += "; incomplete:";
  for (const auto& path : Temporaries()) text += " " + path;
  lastWords = &*texts.insert(text + "\n").first;
}

}  // namespace

InterruptGuard::InterruptGuard() {
  received = 0;
  PrepareLastWords();
  for (const int signal : kSignals) {
    struct sigaction previous {};
    struct sigaction action {};
    action.sa_handler = &Receive;
    action.sa_flags = SA_RESTART;
    sigaction(signal, nullptr, &previous);
    if (previous.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
  }
}

InterruptGuard::~InterruptGuard() {
  for (const int signal : kSignals) {
    struct sigaction current {};
    sigaction(signal, nullptr, &current);
    if (current.sa_handler == &Receive) std::signal(signal, SIG_DFL);
  }
}

bool IsInterrupted() {
  return received > 0;
}

void RememberTemporary(const std::string& path) {
  Temporaries().insert(path);
  PrepareLastWords();
}

void ForgetTemporary(const std::string& path) {
  Temporaries().erase(path);
  PrepareLastWords();
}

}  // namespace Molpot
