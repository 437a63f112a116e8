// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzsystem/error.h"

#include <cstdarg>
#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>

namespace QZSystem {
namespace {

struct SinkState {
  std::mutex mutex;
  std::shared_ptr<const QZErrorHandler::Sink> sink;  // null: the default
};

// Never destroyed: static destructors may still report.
SinkState& State() {
  static auto* state = new SinkState;
  return *state;
}

const char* LevelName(QZErrorLevel level) {
  switch (level) {
    case QZErrorLevel::Info:
      return "Info";
    case QZErrorLevel::Warning:
      return "Warning";
    case QZErrorLevel::Error:
      return "Error";
    case QZErrorLevel::Fatal:
      return "Fatal";
  }
  return "Error";
}

std::string Format(const char* format, std::va_list args) {
  std::va_list measure;
  va_copy(measure, args);
  const int length = std::vsnprintf(nullptr, 0, format, measure);
  va_end(measure);
  if (length < 0) return format;
  std::string text(static_cast<std::size_t>(length) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, args);
  text.pop_back();
  return text;
}

void Report(QZErrorLevel level, const char* format, std::va_list args) noexcept {
  try {
    const std::string message = Format(format, args);
    std::shared_ptr<const QZErrorHandler::Sink> sink;
    {
      SinkState& state = State();
      const std::lock_guard lock(state.mutex);
      sink = state.sink;
    }
    if (sink != nullptr) {
      (*sink)(level, message);
    } else {
      // One call, so that lines of several threads do not mix.
      const std::string line = std::string(LevelName(level)) + ": " + message + "\n";
      std::fputs(line.c_str(), stderr);
    }
  } catch (...) {
    // A report must never end the computation that it reports on.
  }
}

}  // namespace

void QZErrorHandler::Info(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  Report(QZErrorLevel::Info, format, args);
  va_end(args);
}

void QZErrorHandler::Warning(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  Report(QZErrorLevel::Warning, format, args);
  va_end(args);
}

void QZErrorHandler::Error(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  Report(QZErrorLevel::Error, format, args);
  va_end(args);
}

void QZErrorHandler::Fatal(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  Report(QZErrorLevel::Fatal, format, args);
  va_end(args);
}

QZErrorHandler::Sink QZErrorHandler::SetSink(Sink sink) {
  std::shared_ptr<const Sink> next;
  if (sink) next = std::make_shared<const Sink>(std::move(sink));
  SinkState& state = State();
  const std::lock_guard lock(state.mutex);
  std::swap(state.sink, next);
  return next != nullptr ? *next : Sink{};
}

QZErrorHandler QZThrow;

}  // namespace QZSystem
