// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "forcefields/host.h"
#include "forcefields/params.h"
#include "forcefields/standard.h"
#include "forcefields/term.h"
