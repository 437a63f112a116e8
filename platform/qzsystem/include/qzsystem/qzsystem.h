// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzsystem/annotation.h"
#include "qzsystem/data.h"
#include "qzsystem/error.h"
#include "qzsystem/iterator.h"
#include "qzsystem/mempool.h"
#include "qzsystem/predicate.h"
