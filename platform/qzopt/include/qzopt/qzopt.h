// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzopt/adaptor.h"
#include "qzopt/checkpoint.h"
#include "qzopt/component.h"
#include "qzopt/constraint.h"
#include "qzopt/function.h"
#include "qzopt/hints.h"
#include "qzsystem/qzsystem.h"
