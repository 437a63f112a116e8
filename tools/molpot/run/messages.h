// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <vector>

namespace Molpot {

/// Messages of the library reach the record that its thread works on, or standard error.
class MessageRouter {
 public:
  MessageRouter();
  MessageRouter(const MessageRouter&) = delete;
  MessageRouter& operator=(const MessageRouter&) = delete;
  ~MessageRouter();
};

/// While it lives, what its thread is told goes into `messages`; collectors nest.
class MessageCollector {
 public:
  explicit MessageCollector(std::vector<std::string>& messages);
  MessageCollector(const MessageCollector&) = delete;
  MessageCollector& operator=(const MessageCollector&) = delete;
  ~MessageCollector();

 private:
  std::vector<std::string>* previous_;
};

}  // namespace Molpot
