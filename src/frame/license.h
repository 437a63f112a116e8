// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <mutex>

#include "qzplatform/qzplatform.h"
#include "qzsystem/error.h"

namespace QZMolPotential {

/// Asks the platform's licence hook once a process for the class that `flag` belongs to, if the
/// platform names it licensed. A refusal is reported and changes nothing.
inline void UseLicensed(const char* className, std::once_flag& flag) {
  std::call_once(flag, [className] {
    if (!QZPlatform::QZIsLicensed(className) || QZPlatform::QZCheckLicense(className)) return;
    QZSystem::QZThrow.Warning("%s is not licensed", className);
  });
}

}  // namespace QZMolPotential
