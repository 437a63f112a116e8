// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzchem/atom.h"
#include "qzchem/commonsub.h"
#include "qzchem/conformers.h"
#include "qzchem/geometry.h"
#include "qzchem/io.h"
#include "qzchem/locale.h"
#include "qzchem/mass.h"
#include "qzchem/mol.h"
#include "qzchem/partialcharge.h"
#include "qzchem/perceived.h"
#include "qzchem/predicates.h"
#include "qzchem/residue.h"
#include "qzchem/selection.h"
#include "qzchem/subsearch.h"
#include "qzchem/templates.h"
#include "qzchem/topology.h"
#include "qzsystem/qzsystem.h"
