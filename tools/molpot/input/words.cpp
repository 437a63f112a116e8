// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "input/words.h"

#include <charconv>
#include <cmath>
#include <sstream>

#include "input/errors.h"

namespace Molpot {

std::vector<std::string> Words(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> words;
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

bool ParseNumber(const std::string& word, double& value) {
  const char* end = word.data() + word.size();
  const auto [next, status] = std::from_chars(word.data(), end, value);
  return status == std::errc() && next == end && std::isfinite(value);
}

double TakeNumber(const std::string& option, const char* what, std::vector<std::string>& words) {
  if (words.empty()) throw UsageError(option + ": the " + what + " is missing");
  double value = 0.0;
  const std::string word = words.front();
  if (!ParseNumber(word, value)) {
    throw UsageError(option + ": \"" + word + "\" is no number for the " + what);
  }
  words.erase(words.begin());
  return value;
}

void ExpectEnd(const std::string& option, const std::vector<std::string>& words) {
  if (!words.empty()) throw UsageError(option + ": \"" + words.front() + "\" is left over");
}

}  // namespace Molpot
