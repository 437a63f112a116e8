// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/cartesian/frame_map.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <utility>

namespace QZMolPotential {
namespace {

// How many variables are left without overall motion.
std::size_t NumInternal(std::size_t atoms) {
  return atoms > 2 ? 3 * atoms - 6 : atoms - 1;
}

// That of Frame::Standard.
OwnFrame StandardFrame(std::span<const Vec3> points) {
  constexpr double kAligned = 1e-6;  // Å
  OwnFrame frame{.origin = points[0]};
  if (points.size() < 2) return frame;
  const Vec3 p = points[1] - frame.origin;
  // Sines come from their own quotients: taken from the cosines they would lose half their digits
  // near the axes.
  const double rho = std::hypot(p.x, p.y);
  const double r = Norm(p);
  const double c = rho > kAligned ? p.x / rho : 1.0;
  const double s = rho > kAligned ? p.y / rho : 0.0;
  const double cb = rho / r;
  const double sb = -p.z / r;
  frame.axes = {{cb * c, cb * s, -sb}, {-s, c, 0.0}, {sb * c, sb * s, cb}};
  if (points.size() < 3) return frame;
  const Vec3 q = frame.Inside(points[2]);
  double cx = 1.0;
  double sx = 0.0;
  if (std::abs(q.z) > kAligned) {
    const bool hasAngle = std::abs(q.y) > kAligned;
    cx = hasAngle ? q.y / std::hypot(q.y, q.z) : 0.0;
    sx = hasAngle ? q.z / std::hypot(q.y, q.z) : 1.0;
  } else if (q.y < 0.0) {
    cx = -1.0;
  }
  const auto [x, y, z] = frame.axes;
  frame.axes = {x, cx * y + sx * z, cx * z - sx * y};
  return frame;
}

}  // namespace

FrameMap::FrameMap(std::size_t atomIndexBound,
                   std::vector<unsigned int> atoms,
                   bool overallMotion,
                   Frame frame)
    : CoordinateMap(3 * atomIndexBound),
      atoms_(std::move(atoms)),
      overallMotion_(overallMotion),
      kind_(frame),
      kept_(overallMotion ? 3 * atoms_.size() : NumInternal(atoms_.size())),
      ref_(NumCoords(), 0.0),
      inside_(3 * atoms_.size()),
      turned_(3 * atoms_.size()) {
  keepAllBut(1, 2);
}

std::unique_ptr<CoordinateMap> FrameMap::Clone() const {
  return std::make_unique<FrameMap>(*this);
}

std::vector<VariableKind> FrameMap::Kinds() const {
  return std::vector<VariableKind>(NumVar(), VariableKind::Cartesian);
}

// The variables are all coordinates but those that the frame makes zero: of the first atom, y and z
// of the second and z of the third one.
void FrameMap::keepAllBut(std::size_t second, std::size_t third) {
  const std::array<std::size_t, 6> removed{
      0, 1, 2, 3 * second + 1, 3 * second + 2, atoms_.size() > 2 ? 3 * third + 2 : 0};
  std::size_t count = 0;
  for (std::size_t j = 0; j < 3 * atoms_.size() && count < kept_.size(); ++j) {
    if (overallMotion_ || std::ranges::find(removed, j) == removed.end()) kept_[count++] = j;
  }
}

void FrameMap::orient(const double* coords) {
  constexpr double kApart = 0.1;    // Å
  constexpr double kBent = 0.2588;  // sin 15°
  const auto at = [&](std::size_t k) { return LoadAtom(coords, atoms_[k]); };
  std::size_t second = std::min<std::size_t>(1, atoms_.size() - 1);
  std::size_t third = std::min<std::size_t>(2, atoms_.size() - 1);
  const Vec3 first = at(0);
  for (std::size_t k = 1; k < atoms_.size(); ++k) {
    if (Norm(at(k) - first) < kApart) continue;
    second = k;
    break;
  }
  Vec3 e1 = at(second) - first;
  const double length = Norm(e1);
  e1 = length > 0.0 ? (1.0 / length) * e1 : Vec3{1.0, 0.0, 0.0};
  if (third == second) third = 1;
  double best = 0.0;
  for (std::size_t k = 1; k < atoms_.size() && best < kBent; ++k) {
    const Vec3 arm = at(k) - first;
    const double sine = Norm(Cross(e1, arm)) / std::max(Norm(arm), kApart);
    if (k == second || sine <= best) continue;
    best = sine;
    third = k;
  }
  Vec3 e2 = AnyPerpendicular(e1);
  if (best > 1e-6) {
    const Vec3 arm = at(third) - first;
    e2 = arm - Dot(arm, e1) * e1;
    e2 = (1.0 / Norm(e2)) * e2;
  }
  frame_ = {first, {e1, e2, Cross(e1, e2)}};
  keepAllBut(second, third);
}

bool FrameMap::Start(const double* coords, double* vars) {
  SetReason("");
  ref_.assign(coords, coords + NumCoords());
  if (kind_ == Frame::Standard) {
    std::array<Vec3, 3> points;
    const std::size_t count = std::min(points.size(), atoms_.size());
    for (std::size_t k = 0; k < count; ++k) points[k] = LoadAtom(coords, atoms_[k]);
    frame_ = StandardFrame({points.data(), count});
  } else {
    orient(coords);
  }
  for (std::size_t k = 0; k < atoms_.size(); ++k) {
    StoreAtom(inside_.data(), k, frame_.Inside(LoadAtom(coords, atoms_[k])));
  }
  if (kind_ == Frame::Standard && atoms_.size() > 1) {
    // Exact, and 0 for two atoms in one place.
    inside_[3] = Norm(LoadAtom(coords, atoms_[1]) - frame_.origin);
  }
  for (std::size_t v = 0; v < kept_.size(); ++v) vars[v] = inside_[kept_[v]];
  if (kind_ == Frame::Standard) std::ranges::fill(inside_, 0.0);  // what the frame makes zero is so
  return CheckFinite(coords);
}

bool FrameMap::Place(const double* vars, double* coords) {
  std::ranges::copy(ref_, coords);
  for (std::size_t v = 0; v < kept_.size(); ++v) inside_[kept_[v]] = vars[v];
  if (kind_ == Frame::Standard) {
    for (std::size_t k = 0; k < atoms_.size(); ++k) {
      StoreAtom(coords, atoms_[k], LoadAtom(inside_.data(), k));
    }
    return true;
  }
  for (std::size_t k = 0; k < atoms_.size(); ++k) {
    StoreAtom(coords, atoms_[k], frame_.Outside(LoadAtom(inside_.data(), k)));
  }
  return true;
}

void FrameMap::PullGradient(const double* cartGrad, double* grad) {
  if (kind_ == Frame::Standard) {
    for (std::size_t v = 0; v < kept_.size(); ++v) {
      grad[v] += cartGrad[3 * std::size_t{atoms_[kept_[v] / 3]} + kept_[v] % 3];
    }
    return;
  }
  for (std::size_t k = 0; k < atoms_.size(); ++k) {
    StoreAtom(turned_.data(), k, frame_.axes * LoadAtom(cartGrad, atoms_[k]));
  }
  for (std::size_t v = 0; v < kept_.size(); ++v) grad[v] += turned_[kept_[v]];
}

}  // namespace QZMolPotential
