// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "run/messages.h"

#include "output/console.h"
#include "qzsystem/qzsystem.h"

namespace Molpot {

namespace {

thread_local std::vector<std::string>* currentMessages = nullptr;

}  // namespace

MessageCollector::MessageCollector(std::vector<std::string>& messages)
    : previous_(currentMessages) {
  currentMessages = &messages;
}

MessageCollector::~MessageCollector() {
  currentMessages = previous_;
}

MessageRouter::MessageRouter() {
  QZSystem::QZThrow.SetSink([](QZSystem::QZErrorLevel, const std::string& text) {
    if (currentMessages != nullptr) {
      currentMessages->push_back(text);
    } else {
      PrintMessage(text);
    }
  });
}

MessageRouter::~MessageRouter() {
  QZSystem::QZThrow.SetSink({});
}

}  // namespace Molpot
