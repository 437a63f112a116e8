// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/maps.h"

#include <algorithm>
#include <cmath>

#include "coordinates/cartesian/cartesian_map.h"
#include "coordinates/cartesian/frame_map.h"
#include "coordinates/tree/screw_layouts.h"
#include "coordinates/tree/zmatrix_map.h"
#include "molpotential/bondpred.h"
#include "molpotential/internalkind.h"

namespace QZMolPotential {

namespace {

std::vector<unsigned int> MovingAtoms(const MapRequest& request) {
  std::vector<unsigned int> atoms;
  for (unsigned int i = 0; i < request.fixed.size(); ++i) {
    if (request.fixed[i] == 0) atoms.push_back(i);
  }
  return atoms;
}

std::unique_ptr<CoordinateMap> MakeFrameMap(const MapRequest& request, std::string& reason) {
  if (request.anyFixed) {
    reason =
        "degrees of freedom cannot hold atoms fixed; cartesian, redundant, internal, zmatrix and "
        "torsion can";
    return nullptr;
  }
  return std::make_unique<FrameMap>(
      request.fixed.size(), MovingAtoms(request), request.overallMotion);
}

// The whole molecule as one body, or each component without a fixed atom as one.
std::unique_ptr<CoordinateMap> MakeRigidMap(const MapRequest& request) {
  ScrewLayout layout = ComponentLayout(request);
  if (!request.anyFixed) {
    layout.units = {ScrewLayout::Unit::Body};
    for (unsigned int& unit : layout.unitOf) {
      if (unit != ScrewLayout::kNone) unit = 0;
    }
  }
  return std::make_unique<ScrewMap>(std::move(layout));
}

}  // namespace

std::unique_ptr<CoordinateMap> MakeMap(QZCoordinates kind,
                                       const MapRequest& request,
                                       std::string& reason) {
  std::vector<unsigned int> moving = MovingAtoms(request);
  if (moving.empty() || kind == QZCoordinates::Cartesian) {
    return std::make_unique<CartesianMap>(request.fixed.size(), std::move(moving));
  }
  switch (kind) {
    case QZCoordinates::Cartesian:
      break;
    case QZCoordinates::DegFree:
      return MakeFrameMap(request, reason);
    case QZCoordinates::RigidBody:
      return MakeRigidMap(request);
    case QZCoordinates::Cluster:
      return std::make_unique<ScrewMap>(ComponentLayout(request));
    case QZCoordinates::Redundant:
      return MakeRedundantMap(request, reason);
    case QZCoordinates::Internal:
      return MakeInternalMap(request, reason);
    case QZCoordinates::ZMatrix:
      return MakeZmatrixMap(request, reason);
    case QZCoordinates::Torsion:
      return MakeTorsionMap(request, QZTorsionPred2());
    case QZCoordinates::TorsionRigid:
      return MakeTorsionRigidMap(request, QZTorsionPred2());
  }
  reason = "unknown coordinates";
  return nullptr;
}

std::vector<double> ScalesOf(const std::vector<VariableKind>& kinds) {
  const auto scaleOf = [](VariableKind kind) {
    constexpr auto scale = [](QZInternalKind internal) { return QZInternalScales({internal})[0]; };
    switch (kind) {
      case VariableKind::Length:
        return scale(QZInternalKind::Bond);
      case VariableKind::Angle:
        return scale(QZInternalKind::Angle);
      case VariableKind::Dihedral:
        return scale(QZInternalKind::Dihedral);
      case VariableKind::Cartesian:
        return scale(QZInternalKind::Bond);
      case VariableKind::Translation:
        return scale(QZInternalKind::Dihedral);
      case VariableKind::Rotation:
        return scale(QZInternalKind::Angle);
    }
    return 1.0;
  };
  const auto isCartesian = [](VariableKind kind) { return kind == VariableKind::Cartesian; };
  std::vector<double> scales(kinds.size(), 1.0);
  if (!std::ranges::all_of(kinds, isCartesian))
    std::ranges::transform(kinds, scales.begin(), scaleOf);
  return scales;
}

}  // namespace QZMolPotential
