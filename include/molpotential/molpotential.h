// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/adaptor.h"
#include "molpotential/bondpred.h"
#include "molpotential/checkfunc.h"
#include "molpotential/checkpoint.h"
#include "molpotential/clusterquat.h"
#include "molpotential/container.h"
#include "molpotential/degfree.h"
#include "molpotential/equilibrium.h"
#include "molpotential/ffparams.h"
#include "molpotential/forcefield.h"
#include "molpotential/forwarding.h"
#include "molpotential/funclist.h"
#include "molpotential/interaction.h"
#include "molpotential/interactparams.h"
#include "molpotential/molfunc.h"
#include "molpotential/nearnbrgrid.h"
#include "molpotential/quaternion.h"
#include "molpotential/redundant.h"
#include "molpotential/subset.h"
#include "molpotential/wrappers.h"
