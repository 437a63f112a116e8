// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include "molpotential/optvarfunc.h"
#include "qzchem/geometry.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace TestOptVars {

using Values = std::vector<double>;

/// An adaptor set up on a molecule, with its variables there and an energy in them.
template <class Adaptor>
struct Bound {
  explicit Bound(const QZChem::QZGraphMol& m) : mol(m), x(TestSupport::Coords(mol)) {
    EXPECT_TRUE(adaptor.Setup(mol));
    EXPECT_TRUE(energy.Setup(mol));
    vars = Vars(x);
  }
  Values Vars(const Values& coords) {
    Values v(adaptor.NumOptVar());
    adaptor.FuncVarToOptVar(coords.data(), v.data());
    return v;
  }
  Values Coords(const Values& v) {
    Values coords(x.size());
    adaptor.OptVarToFuncVar(v.data(), coords.data());
    return coords;
  }
  QZChem::QZGraphMol mol;
  Values x;
  Adaptor adaptor;
  TestSupport::ProbeFunc energy;
  QZMolPotential::QZOptVarFunc function{energy, adaptor};
  Values vars;
};

}  // namespace TestOptVars
