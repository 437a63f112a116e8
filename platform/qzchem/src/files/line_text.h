// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

namespace QZChem {

/// Appends what printf makes of the arguments, whatever its length.
template <class... Arguments>
void AppendFormatted(std::string& text, const char* format, Arguments... arguments) {
  char line[128];
  const int length = std::snprintf(line, sizeof line, format, arguments...);
  if (length <= 0) return;
  if (static_cast<std::size_t>(length) < sizeof line) {
    text.append(line, static_cast<std::size_t>(length));
    return;
  }
  const std::size_t start = text.size();
  text.resize(start + static_cast<std::size_t>(length) + 1);
  std::snprintf(&text[start], static_cast<std::size_t>(length) + 1, format, arguments...);
  text.pop_back();
}

}  // namespace QZChem
