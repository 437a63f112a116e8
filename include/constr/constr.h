// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "constr/distlimit.h"
#include "constr/positional.h"
#include "constr/squarepenalty.h"
#include "constr/tether.h"
#include "constr/torsionangle.h"
#include "constr/torsionharm.h"
#include "constr/wall.h"
#include "molpotential/molfunc.h"
