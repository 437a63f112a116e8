// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <vector>

namespace Molpot {

/// Blank-separated words of one argument.
std::vector<std::string> Words(const std::string& text);
/// False for what is no finite number.
bool ParseNumber(const std::string& word, double& value);
/// Takes the next word as a finite number; `what` stands in the UsageError.
double TakeNumber(const std::string& option, const char* what, std::vector<std::string>& words);
/// Throws UsageError when words are left over.
void ExpectEnd(const std::string& option, const std::vector<std::string>& words);

}  // namespace Molpot
