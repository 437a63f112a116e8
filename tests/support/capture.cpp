// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "support/capture.h"

namespace TestSupport {

MessageCapture::MessageCapture()
    : previous_(
          QZSystem::QZThrow.SetSink([this](QZSystem::QZErrorLevel level, const std::string& text) {
            messages_.emplace_back(level, text);
          })) {}

std::vector<std::string> MessageCapture::At(QZSystem::QZErrorLevel level) const {
  std::vector<std::string> texts;
  for (const auto& [at, text] : messages_) {
    if (at == level) texts.push_back(text);
  }
  return texts;
}

}  // namespace TestSupport
