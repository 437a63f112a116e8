// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/adaptor.h"
#include "molpotential/bondpred.h"
#include "molpotential/clusterquat.h"
#include "molpotential/degfree.h"
#include "molpotential/forwarding.h"
#include "molpotential/molfunc.h"
#include "molpotential/quaternion.h"
#include "molpotential/redundant.h"
#include "molpotential/subset.h"
