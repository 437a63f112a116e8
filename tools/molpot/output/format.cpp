// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "output/format.h"

#include <charconv>
#include <cstdarg>
#include <cstdio>

namespace Molpot {

std::string Format(const char* format, ...) {
  char text[512];
  std::va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  return text;
}

std::string FullDigits(double value) {
  char text[64];
  const auto end = std::to_chars(text, text + sizeof text, value).ptr;
  return {text, end};
}

}  // namespace Molpot
