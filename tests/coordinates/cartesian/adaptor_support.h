// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "constr/positional.h"
#include "molpotential/molpotential.h"
#include "support/capture.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace TestSupport {

inline constexpr unsigned int kFixed = 0x4000;
inline constexpr unsigned int kFrozen = 0x400000;

/// A function of absolute positions: the wrapped function of gradient tests beside `ProbeFunc`,
/// which rigid motions do not change.
using FieldFunc = QZConstr::QZHarmonicPotential;

struct AdaptorKind {
  std::string name;
  std::function<std::unique_ptr<QZMolPotential::QZMolAdaptor>(QZMolPotential::QZMolFunc1&, bool)>
      make;
  bool rigid() const { return name == "quaternion" || name == "cluster"; }
};

/// An adaptor that holds the atoms of even index where it can hold any. `options` are those behind
/// function and ownership flag.
template <class T, class... Options>
AdaptorKind KindOf(const char* name, Options... options) {
  return {name, [options...](QZMolPotential::QZMolFunc1& func, bool own) {
            auto adaptor = std::make_unique<T>(func, own, options...);
            const auto even = AtomsWhere([](unsigned int i) { return i % 2 == 0; });
            if (std::is_same_v<T, QZMolPotential::QZSubsetAdaptor>) adaptor->Set(even, kFixed);
            if (std::is_same_v<T, QZMolPotential::QZRedundantInterAdaptor>) {
              adaptor->Set(even, kFrozen);
            }
            return adaptor;
          }};
}
inline std::vector<AdaptorKind> AdaptorKinds(bool restrictInteractions = false) {
  return {KindOf<QZMolPotential::QZSubsetAdaptor>("subset", restrictInteractions),
          KindOf<QZMolPotential::QZQuatAdaptor>("quaternion", restrictInteractions),
          KindOf<QZMolPotential::QZClusterQuatAdaptor>("cluster", restrictInteractions),
          KindOf<QZMolPotential::QZDegFreeAdaptor>("degrees of freedom")};
}

/// What GetVar yields for Cartesian coordinates `x`.
inline std::vector<double> StartVars(QZMolPotential::QZMolAdaptor& adaptor,
                                     const std::vector<double>& x) {
  std::vector<double> vars(adaptor.NumVar());
  adaptor.GetVar(vars.data(), x.data());
  return vars;
}

/// CheckDerivatives for an adaptor that overwrites the caller's gradient.
inline std::string CheckOverwriting(QZMolPotential::QZMolAdaptor& adaptor,
                                    const std::vector<double>& vars) {
  std::vector<double> clean(vars.size(), 0.0);
  std::vector<double> dirty(vars.size(), 1e6);
  adaptor(vars.data(), clean.data());
  adaptor(vars.data(), dirty.data());
  return clean == dirty ? CheckDerivatives(adaptor, vars) : "the gradient was added to";
}

/// For each part a quaternion of any length and a translation.
inline std::vector<double> RandomPlacements(std::size_t parts, std::mt19937& rng) {
  return Jittered(std::vector<double>(7 * parts, 0.0), 2.0, rng);
}

}  // namespace TestSupport
