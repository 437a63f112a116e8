// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "constr/torsionangle.h"
#include "molpotential/molfunc.h"
