// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/coordinates.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>
#include <utility>

#include "coordinates/carryover.h"
#include "coordinates/cartesian/cartesian_map.h"
#include "coordinates/mapped_state.h"
#include "coordinates/maps.h"

namespace QZMolPotential {
namespace {

constexpr std::array<std::pair<const char*, QZCoordinates>, 11> kNames{{
    {"cartesian", QZCoordinates::Cartesian},
    {"degfree", QZCoordinates::DegFree},
    {"rigid", QZCoordinates::RigidBody},
    {"cluster", QZCoordinates::Cluster},
    {"redundant", QZCoordinates::Redundant},
    {"internal", QZCoordinates::Internal},
    {"zmatrix", QZCoordinates::ZMatrix},
    {"torsion", QZCoordinates::Torsion},
    {"torsion-rigid", QZCoordinates::TorsionRigid},
    {"subset", QZCoordinates::Cartesian},
    {"quaternion", QZCoordinates::RigidBody},
}};

// The same variables but for whole turns.
bool IsSame(const std::vector<VariableKind>& kinds, const std::vector<double>& a, const double* b) {
  constexpr double kSame = 1e-9;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    double step = a[i] - b[i];
    if (kinds[i] == VariableKind::Dihedral) step = std::remainder(step, 2.0 * std::numbers::pi);
    if (!(std::abs(step) < kSame)) return false;
  }
  return true;
}

}  // namespace

const char* QZGetCoordinatesName(QZCoordinates kind) {
  const auto found =
      std::ranges::find(kNames, kind, [](const auto& entry) { return entry.second; });
  return found != kNames.end() ? found->first : "";
}

bool QZFindCoordinates(const char* name, QZCoordinates& kind) {
  const auto found = std::ranges::find_if(
      kNames, [&](const auto& entry) { return std::strcmp(entry.first, name) == 0; });
  if (found == kNames.end()) return false;
  kind = found->second;
  return true;
}

QZCoordinateFunc::QZCoordinateFunc(QZMolFunc2& f, bool own, QZCoordinates kind)
    : QZMappedFunc(f, &f, own), kind_(kind) {}
QZCoordinateFunc::QZCoordinateFunc(QZMolFunc1& f, bool own, QZCoordinates kind)
    : QZMappedFunc(f, nullptr, own), kind_(kind) {}
QZCoordinateFunc::~QZCoordinateFunc() = default;

std::unique_ptr<CoordinateMap> QZCoordinateFunc::makeMap(const MapRequest& request,
                                                         std::string& reason) const {
  return MakeMap(kind_, request, reason);
}

std::string QZCoordinateFunc::describe() const {
  return std::string(QZGetCoordinatesName(kind_)) + " coordinates";
}

void QZCoordinateFunc::SetOverallMotion(bool on) {
  state_->overallMotion = on;
}

QZBackTransformations QZCoordinateFunc::GetBackTransformations() const {
  if (!state_->map) return {};
  const RouteCounts now = state_->map->Routes();
  const RouteCounts& before = state_->routesBefore;
  return {now.newton - before.newton,
          now.geodesic - before.geodesic,
          now.cartesian - before.cartesian,
          now.held - before.held};
}

bool QZCoordinateFunc::Restart(double* vars) {
  State& s = *state_;
  if (!s.IsStarted() || !s.map->StartMatters()) return false;
  std::vector<double> coords(s.map->NumCoords());
  std::vector<double> fresh(s.map->NumVar());
  if (!AdaptVar(coords.data(), vars)) return false;
  const std::unique_ptr<CoordinateMap> trial = s.map->Clone();
  if (!trial->Start(coords.data(), fresh.data())) return false;
  if (!trial->IsPathDependent() && IsSame(trial->Kinds(), fresh, vars)) return false;
  if (!s.Start(coords.data())) return false;
  std::ranges::copy(s.startVars, vars);
  return true;
}

bool QZCoordinateFunc::IsRevisionDue(const double* vars) {
  State& s = *state_;
  return s.IsStarted() && AdaptVar(s.lookCoords.data(), vars) &&
         s.map->IsOutdated(s.lookCoords.data());
}

bool QZCoordinateFunc::Revise(double* vars, std::vector<QZOpt::QZCurvatureStep>& steps) {
  State& s = *state_;
  if (!s.IsStarted()) return false;
  std::vector<double> coords(s.map->NumCoords());
  const std::vector<double> old(vars, vars + s.map->NumVar());
  if (!AdaptVar(coords.data(), vars)) return false;
  std::unique_ptr<CoordinateMap> before = s.map->Clone();
  if (!s.Start(coords.data())) {
    s.map = std::move(before);
    s.started = true;
    return false;
  }
  CarrySteps({*before, old}, {*s.map, s.startVars}, s.moving, steps);
  std::ranges::copy(s.startVars, vars);
  return true;
}

QZOpt::QZFunc1* QZCoordinateFunc::FallBack(const double* vars, std::vector<double>& start) {
  const bool isComplete = kind_ == QZCoordinates::Redundant || kind_ == QZCoordinates::Internal ||
                          kind_ == QZCoordinates::ZMatrix;
  if (!isComplete || !state_->IsStarted()) return nullptr;
  std::vector<double> coords(state_->map->NumCoords());
  if (!AdaptVar(coords.data(), vars)) return nullptr;
  fallBack_ =
      state_->func2 != nullptr
          ? std::make_unique<QZCoordinateFunc>(
                *state_->func2, /*own=*/false, QZCoordinates::Cartesian)
          : std::make_unique<QZCoordinateFunc>(*wrapped_, /*own=*/false, QZCoordinates::Cartesian);
  State& other = *fallBack_->state_;
  other.map = std::make_unique<CartesianMap>(coords.size() / 3, state_->moving);
  other.frozen = state_->frozen;
  other.work.Resize(coords.size(), other.func2 != nullptr);
  other.lookCoords.resize(coords.size());
  if (!other.Start(coords.data())) return nullptr;
  start = other.startVars;
  return fallBack_.get();
}

const char* QZCoordinateFunc::FallBackName() const {
  return "Cartesian coordinates";
}

void QZCoordinateFunc::ReturnFrom(const double* fallBackVars, double* vars) {
  if (!fallBack_ || !state_->IsStarted()) return;
  std::vector<double> coords(state_->map->NumCoords());
  fallBack_->AdaptVar(coords.data(), fallBackVars);
  if (const double* there = GetVar(coords.data())) std::copy_n(there, NumVar(), vars);
}

}  // namespace QZMolPotential
