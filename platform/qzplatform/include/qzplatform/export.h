// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

/// Marks a symbol that the shared libraries export; everything else is hidden.
#define QZ_API __attribute__((visibility("default")))
