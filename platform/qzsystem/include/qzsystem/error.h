// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <functional>
#include <string>

#include "qzplatform/export.h"

namespace QZSystem {

enum class QZErrorLevel { Info, Warning, Error, Fatal };

/// Reports messages of the library. Every call returns to its caller, `Fatal` included. Safe from
/// several threads; an exception that a sink throws is swallowed. `format` and what follows it are
/// those of `printf`, checked by the compiler.
class QZ_API QZErrorHandler {
 public:
  using Sink = std::function<void(QZErrorLevel, const std::string& message)>;

  [[gnu::format(printf, 2, 3)]] void Info(const char* format, ...);
  [[gnu::format(printf, 2, 3)]] void Warning(const char* format, ...);
  [[gnu::format(printf, 2, 3)]] void Error(const char* format, ...);
  [[gnu::format(printf, 2, 3)]] void Fatal(const char* format, ...);

  /// Installs `sink` and returns the previous one; an empty sink restores the default, which
  /// writes "Warning: text\n" (or the other level's name) to standard error.
  Sink SetSink(Sink sink);
};

/// The one handler of the process.
QZ_API extern QZErrorHandler QZThrow;

}  // namespace QZSystem
