// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

namespace Molpot {

/// The text of a printf format, up to 511 characters of it.
[[gnu::format(printf, 1, 2)]] std::string Format(const char* format, ...);

/// The shortest decimal number that reads back as `value`.
std::string FullDigits(double value);

}  // namespace Molpot
