// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/adaptor.h"
#include "molpotential/forwarding.h"
#include "molpotential/geomderiv.h"
#include "molpotential/linalg.h"
#include "molpotential/molfunc.h"
