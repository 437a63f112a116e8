// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "coordinates/evaluation.h"
#include "coordinates/frozen.h"
#include "coordinates/map.h"
#include "molpotential/mapped.h"

namespace QZMolPotential {

/// Remembers points of a run, with their geometries, for coordinate systems in which a geometry
/// cannot be computed from its variables alone.
class PathMemory {
 public:
  void Start(const std::vector<double>& vars, const std::vector<double>& coords) {
    for (Spot& spot : spots_) {
      spot.vars.resize(vars.size());
      spot.coords.resize(coords.size());
      spot.isSet = false;
    }
    keep(spots_[kStart], vars.data(), coords.data());
    lowest_ = std::numeric_limits<double>::infinity();
  }
  void Add(const double* vars, const double* coords, double energy) {
    if (spots_[kStart].vars.empty()) return;
    if (energy < lowest_) {
      lowest_ = energy;
      keep(spots_[kLowest], vars, coords);
    }
    keep(spots_[kFirstRecent + next_++ % kRecent], vars, coords);
  }
  const std::vector<double>* Find(const double* vars) const {
    for (const Spot& spot : spots_) {
      if (spot.isSet && std::equal(spot.vars.begin(), spot.vars.end(), vars)) return &spot.coords;
    }
    return nullptr;
  }

 private:
  static constexpr std::size_t kRecent = 8;
  static constexpr std::size_t kLowest = 0;
  static constexpr std::size_t kStart = 1;
  static constexpr std::size_t kFirstRecent = 2;
  struct Spot {
    std::vector<double> vars, coords;
    bool isSet = false;
  };
  static void keep(Spot& spot, const double* vars, const double* coords) {
    std::copy_n(vars, spot.vars.size(), spot.vars.begin());
    std::copy_n(coords, spot.coords.size(), spot.coords.begin());
    spot.isSet = true;
  }

  std::array<Spot, kFirstRecent + kRecent> spots_;
  double lowest_ = 0.0;
  std::size_t next_ = 0;
};

struct QZMappedFunc::State {
  bool Start(const double* coords);
  bool IsStarted() const { return map && started; }
  /// The energy of `f` at `vars`, which `evaluate()` computes. Once the constant sum of the terms
  /// among fixed atoms is known, they are left out and the constant is added.
  template <class Evaluate>
  double Complete(QZMolFunc1& f, const double* vars, Evaluate evaluate);
  /// Calls `look` with a map that may be changed: for path-dependent systems a copy of the map.
  template <class Look>
  bool LookWith(Look look) {
    if (!looker) return look(*map);
    looker->Follow(*map);
    return look(*looker);
  }

  QZMolFunc2* func2 = nullptr;  // the wrapped function where it has a Hessian
  std::unique_ptr<QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>> fixedPred;
  std::optional<bool> overallMotion;
  std::vector<unsigned int> moving;
  std::unique_ptr<CoordinateMap> map;     // null before Setup
  std::unique_ptr<CoordinateMap> looker;  // null where the map itself may be looked with
  FrozenTerms frozen;
  Evaluation work;
  RouteCounts routesBefore;  // what the map had counted at `SetupConf`
  bool started = false;
  std::vector<double> startVars, startCoords;
  std::vector<double> lookCoords;  // of those who only look
  PathMemory memory;
};

template <class Evaluate>
double QZMappedFunc::State::Complete(QZMolFunc1& f, const double* vars, Evaluate evaluate) {
  const bool isKnown = frozen.IsKnown();
  double energy = 0.0;
  {
    const FrozenTerms::Scope without(frozen, f, isKnown);
    energy = evaluate();
    if (without.LeavesOut()) energy += frozen.Constant();
  }
  if (!isKnown) frozen.Learn(f, work.Coords().data(), energy);
  if (map->IsPathDependent()) memory.Add(vars, work.Coords().data(), energy);
  return energy;
}

}  // namespace QZMolPotential
