// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <stdexcept>

namespace Molpot {

/// Arguments or files that cannot be used: the program ends with status 2.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// One record that cannot be processed: it is reported and counted, the others go on.
struct RecordError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace Molpot
