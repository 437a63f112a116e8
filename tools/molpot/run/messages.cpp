// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "run/messages.h"

#include <cstdio>

#include "qzsystem/qzsystem.h"

namespace Molpot {

namespace {

thread_local std::vector<std::string>* currentMessages = nullptr;

}  // namespace

MessageCollector::MessageCollector(std::vector<std::string>& messages) {
  currentMessages = &messages;
}

MessageCollector::~MessageCollector() {
  currentMessages = nullptr;
}

MessageRouter::MessageRouter() {
  QZSystem::QZThrow.SetSink([](QZSystem::QZErrorLevel, const std::string& text) {
    if (currentMessages != nullptr) {
      currentMessages->push_back(text);
    } else {
      std::fprintf(stderr, "molpot: %s\n", text.c_str());
    }
  });
}

MessageRouter::~MessageRouter() {
  QZSystem::QZThrow.SetSink({});
}

}  // namespace Molpot
