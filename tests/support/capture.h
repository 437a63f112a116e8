// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "qzsystem/error.h"

namespace TestSupport {

/// Collects the messages sent to `QZThrow` while it lives.
class MessageCapture {
 public:
  MessageCapture();
  MessageCapture(const MessageCapture&) = delete;
  MessageCapture& operator=(const MessageCapture&) = delete;
  ~MessageCapture() { QZSystem::QZThrow.SetSink(previous_); }

  using Message = std::pair<QZSystem::QZErrorLevel, std::string>;
  const std::vector<Message>& All() const { return messages_; }
  /// The texts of one level, in order.
  std::vector<std::string> At(QZSystem::QZErrorLevel level) const;
  std::vector<std::string> Warnings() const { return At(QZSystem::QZErrorLevel::Warning); }
  void Clear() { messages_.clear(); }

 private:
  std::vector<Message> messages_;
  QZSystem::QZErrorHandler::Sink previous_;
};

}  // namespace TestSupport
