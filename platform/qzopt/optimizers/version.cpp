// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzplatform/qzplatform.h"

namespace QZOpt {
namespace {

QZPlatform::QZVersion Describe() {
  return {"molpotential-optimizers", MOLPOTENTIAL_VERSION, "C++20"};
}

// Runs when the library is loaded.
[[maybe_unused]] const bool kRegistered = QZPlatform::QZRegisterVersion(&Describe);

}  // namespace
}  // namespace QZOpt
