// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/tree/zmatrix_map.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "kernels/angle.h"
#include "kernels/packed.h"
#include "qzchem/mol.h"

namespace QZMolPotential {
namespace {

using Form = ZmatRow::Form;

constexpr double kStraight = 165.0 * std::numbers::pi / 180.0;
// During a run the description of an angle changes beyond these limits. They differ from the limit
// at the start, so that it does not change back and forth.
constexpr double kBecomesStraight = 170.0 * std::numbers::pi / 180.0;
constexpr double kNoLongerStraight = 160.0 * std::numbers::pi / 180.0;
constexpr double kApart = 1e-4;   // Å: closer atoms have no direction
constexpr double kOffLine = 0.5;  // Å: nearer to a line a partner does not tell a plane
constexpr double kOffLineNoMore = 0.25;

// How far p is from the line through a and b.
double OffLine(const Vec3& a, const Vec3& b, const Vec3& p) {
  const Vec3 along = b - a;
  return Norm(Cross(along, p - a)) / Norm(along);
}

// Values that only place the molecule, of the atom that comes after `placed` others: the last ones
// of the first three atoms.
std::size_t NumPlacing(std::size_t placed) {
  return placed < 3 ? 3 - placed : 0;
}

}  // namespace

ZmatrixMap::ZmatrixMap(const MapRequest& request) : CoordinateMap(3 * request.fixed.size()) {
  orderAtoms(request);
  const std::size_t count = order_.size() - numFixed_;
  rows_.resize(count);
  values_.resize(count);
  placed_.resize(count);
  for (std::size_t k = 0; k < count; ++k) {
    rows_[k].atom = order_[numFixed_ + k];
    const std::size_t free = 3 - (request.overallMotion ? 0 : NumPlacing(numFixed_ + k));
    for (std::size_t j = 0; j < free; ++j) {
      values_[k][j].var = static_cast<std::ptrdiff_t>(numVar_++);
    }
  }
  std::vector<unsigned int> moving;
  for (const ZmatRow& row : rows_) {
    for (unsigned int j = 0; j < 3; ++j) moving.push_back(3 * row.atom + j);
  }
  std::ranges::sort(moving);
  SetMoving(std::move(moving));
  points_.resize(request.fixed.size());
  forces_.resize(request.fixed.size());
}

std::unique_ptr<CoordinateMap> ZmatrixMap::Clone() const {
  return std::make_unique<ZmatrixMap>(*this);
}

// Fixed atoms first, then outwards from them along bonds, then one component after the other.
void ZmatrixMap::orderAtoms(const MapRequest& request) {
  const std::size_t bound = request.fixed.size();
  bonded_.resize(bound);
  rank_.assign(bound, bound);
  const auto append = [&](unsigned int atom) {
    rank_[atom] = order_.size();
    order_.push_back(atom);
  };
  for (const auto& atom : QZSystem::QZRange(request.mol->GetAtoms())) {
    for (const auto& neighbour : QZSystem::QZRange(atom.GetNeighbours())) {
      bonded_[atom.GetIndex()].push_back(neighbour.GetIndex());
    }
    if (request.fixed[atom.GetIndex()] != 0) append(atom.GetIndex());
  }
  numFixed_ = order_.size();
  std::size_t next = 0;
  const auto spread = [&] {
    for (; next < order_.size(); ++next) {
      for (const unsigned int atom : bonded_[order_[next]]) {
        if (rank_[atom] == bound) append(atom);
      }
    }
  };
  spread();
  for (const auto& atom : QZSystem::QZRange(request.mol->GetAtoms())) {
    if (rank_[atom.GetIndex()] != bound) continue;
    append(atom.GetIndex());
    spread();
  }
}

bool ZmatrixMap::isPlacedBefore(unsigned int atom, std::size_t placed) const {
  return rank_[atom] < placed;
}

std::vector<VariableKind> ZmatrixMap::Kinds() const {
  std::vector<VariableKind> kinds(numVar_);
  for (const auto& row : values_) {
    for (const Value& value : row) {
      if (value.var >= 0) kinds[static_cast<std::size_t>(value.var)] = value.kind;
    }
  }
  return kinds;
}

bool ZmatrixMap::Start(const double* coords, double* vars) {
  SetReason("");
  ref_.assign(coords, coords + NumCoords());
  for (std::size_t i = 0; i < points_.size(); ++i) points_[i] = LoadAtom(coords, i);
  axes_ = {};
  if (!order_.empty()) axes_.origin = points_[order_[0]];
  for (std::size_t k = 0; k < rows_.size(); ++k) {
    chooseRow(k);
    if (!measure(k)) return false;
    for (const Value& value : values_[k]) {
      if (value.var >= 0) vars[value.var] = value.value;
    }
  }
  lanePoints_.resize(points_.size());
  laneForces_.resize(points_.size());
  lanePlaced_.resize(rows_.size());
  return true;
}

// The partners of a row, what its values are, and before the first three atoms are placed, the
// axes.
void ZmatrixMap::chooseRow(std::size_t k) {
  ZmatRow& row = rows_[k];
  const std::size_t placed = numFixed_ + k;
  const auto setKinds = [&](VariableKind first, VariableKind second, VariableKind third) {
    values_[k][0].kind = first;
    values_[k][1].kind = second;
    values_[k][2].kind = third;
  };
  constexpr auto kTranslation = VariableKind::Translation;
  if (placed == 0) {
    row.form = Form::Point;
    setKinds(kTranslation, kTranslation, kTranslation);
    return;
  }
  const Vec3 p = points_[row.atom];
  // The nearest of the bonded atoms, else of all.
  unsigned int& b = row.partner[0];
  double best = -1.0;
  const auto look = [&](unsigned int atom) {
    const double distance = Norm(points_[atom] - p);
    if (best >= 0.0 && !(distance < best)) return;
    best = distance;
    b = atom;
  };
  for (const unsigned int atom : bonded_[row.atom]) {
    if (isPlacedBefore(atom, placed)) look(atom);
  }
  const bool isBonded = best >= 0.0;
  for (std::size_t j = 0; !isBonded && j < placed; ++j) look(order_[j]);
  const VariableKind length = isBonded ? VariableKind::Length : kTranslation;
  if (placed == 1) {
    row.form = Form::Straight;
    row.partner = {b, ZmatRow::kAxis, ZmatRow::kAxis + 1};
    aimAxes(k);
    setKinds(length, VariableKind::Rotation, VariableKind::Rotation);
    return;
  }
  chooseBent(row, placed);
  if (placed == 2) {
    row.partner[2] = ZmatRow::kAxis + 1;
    aimAxes(k);
    setKinds(length, VariableKind::Angle, VariableKind::Rotation);
  } else {
    row.partner[2] = chooseDihedral(row, placed);
    const bool isSibling = std::ranges::find(bonded_[b], row.partner[2]) != bonded_[b].end();
    const bool isBend = row.form == Form::Straight || isSibling;
    setKinds(length, VariableKind::Angle, isBend ? VariableKind::Angle : VariableKind::Dihedral);
  }
  if (!isBonded) values_[k][1].kind = values_[k][2].kind = VariableKind::Rotation;
}

// The angle partner: a neighbour of b that is not in line with the bond, if there is one.
void ZmatrixMap::chooseBent(ZmatRow& row, std::size_t placed) const {
  const unsigned int b = row.partner[0];
  const Vec3 p = points_[row.atom];
  unsigned int first = b;
  row.form = Form::Bent;
  for (const unsigned int atom : bonded_[b]) {
    if (atom == row.atom || !isPlacedBefore(atom, placed)) continue;
    if (first == b) first = atom;
    row.partner[1] = atom;
    const double angle = AngleOf(p, points_[b], points_[atom]);
    if (angle < kStraight && angle > std::numbers::pi - kStraight) return;
  }
  if (first == b) {
    double best = -1.0;
    for (std::size_t j = 0; j < placed; ++j) {
      if (order_[j] == b) continue;
      const double distance = Norm(points_[order_[j]] - points_[b]);
      if (best >= 0.0 && !(distance < best)) continue;
      best = distance;
      first = order_[j];
    }
  }
  row.partner[1] = first;
  if (AngleOf(p, points_[b], points_[first]) >= kStraight) row.form = Form::Straight;
}

// The dihedral partner: a neighbour of b, so that one dihedral turns all groups on b; if there is
// none, a neighbour of a; if there is none, the nearest atom to a off the line of a and b; if there
// is none, the axis that is most nearly perpendicular.
unsigned int ZmatrixMap::chooseDihedral(const ZmatRow& row, std::size_t placed) const {
  const auto [b, a, unused] = row.partner;
  const Vec3 pa = points_[a];
  const Vec3 pb = points_[b];
  const auto tells = [&, b = b, a = a](unsigned int atom) {
    return atom != row.atom && atom != a && atom != b && isPlacedBefore(atom, placed) &&
           OffLine(pa, pb, points_[atom]) > kOffLine;
  };
  for (const unsigned int centre : {b, a}) {
    const auto found = std::ranges::find_if(bonded_[centre], tells);
    if (found != bonded_[centre].end()) return *found;
  }
  unsigned int nearest = ZmatRow::kAxis;
  double best = 10.0;  // Å
  for (std::size_t j = 0; j < placed; ++j) {
    const double distance = Norm(points_[order_[j]] - pa);
    if (!(distance < best) || !tells(order_[j])) continue;
    best = distance;
    nearest = order_[j];
  }
  if (!ZmatRow::IsAxis(nearest)) return nearest;
  double across = -1.0;
  for (unsigned int j = 0; j < 3; ++j) {
    const double sine = Norm(Cross(axes_.axis[j], pb - pa));
    if (sine <= across) continue;
    across = sine;
    nearest = ZmatRow::kAxis + j;
  }
  return nearest;
}

// The first axis along the first bond, the second in the plane of the first three atoms.
void ZmatrixMap::aimAxes(std::size_t k) {
  const ZmatRow& row = rows_[k];
  const bool first = ZmatRow::IsAxis(row.partner[1]);
  const Vec3 pb = points_[row.partner[0]];
  Vec3 along = first ? points_[row.atom] - pb : pb - points_[row.partner[1]];
  if (!(Norm(along) > kApart)) return;
  along = (1.0 / Norm(along)) * along;
  const Vec3 arm = points_[row.atom] - pb;
  Vec3 across = arm - Dot(arm, along) * along;
  if (first || !(Norm(across) > 1e-6 * Norm(arm))) {
    // Any perpendicular direction: the one of the coordinate axes that is most nearly
    // perpendicular.
    const std::array lab{Vec3{1.0, 0.0, 0.0}, Vec3{0.0, 1.0, 0.0}, Vec3{0.0, 0.0, 1.0}};
    const auto least = std::ranges::min_element(
        lab, {}, [&](const Vec3& axis) { return std::abs(Dot(axis, along)); });
    across = *least - Dot(*least, along) * along;
  }
  across = (1.0 / Norm(across)) * across;
  if (first || numFixed_ > 1) axes_.axis[0] = along;  // else the first bond's stays, in its sense
  axes_.axis[1] = across;
  axes_.axis[2] = Cross(axes_.axis[0], across);
}

bool ZmatrixMap::measure(std::size_t k) {
  const ZmatRow& row = rows_[k];
  const Vec3 p = points_[row.atom];
  auto& [first, second, third] = values_[k];
  if (row.form == Form::Point) {
    const Vec3 off = p - axes_.origin;
    first.value = Dot(off, axes_.axis[0]);
    second.value = Dot(off, axes_.axis[1]);
    third.value = Dot(off, axes_.axis[2]);
    return true;
  }
  const auto frame = FrameOf<double>(row, axes_, points_.data());
  const Vec3 arm = p - points_[row.partner[0]];
  first.value = Norm(arm);
  const bool noAxis = !ZmatRow::IsAxis(row.partner[1]) && !(frame.length > kApart);
  if (!(first.value > kApart) || noAxis) {
    SetReason("atoms are at the same place, or coordinates not finite, near atom " +
              std::to_string(row.atom));
    return false;
  }
  const Vec3 own{Dot(arm, frame.e), Dot(arm, frame.m), Dot(arm, frame.n)};
  if (row.form == Form::Straight) {
    second.value = std::atan2(own.y, own.x);
    third.value = std::atan2(own.z, std::hypot(own.x, own.y));
  } else {
    second.value = std::atan2(std::hypot(own.y, own.z), -own.x);
    third.value = std::atan2(own.z, own.y);
  }
  return true;
}

bool ZmatrixMap::IsOutdated(const double* /*vars*/, const double* coords) const {
  const auto at = [coords](unsigned int atom) { return LoadAtom(coords, atom); };
  return std::ranges::any_of(rows_, [&](const ZmatRow& row) {
    const auto [b, a, d] = row.partner;
    if (row.form == Form::Point || ZmatRow::IsAxis(a)) return false;
    const double angle = AngleOf(at(row.atom), at(b), at(a));
    if (row.form == Form::Bent ? angle > kBecomesStraight : angle < kNoLongerStraight) return true;
    return !ZmatRow::IsAxis(d) && OffLine(at(a), at(b), at(d)) < kOffLineNoMore;
  });
}

bool ZmatrixMap::Place(const double* vars, double* coords) {
  SetReason("");
  std::ranges::copy(ref_, coords);
  bool finite = true;
  for (std::size_t k = 0; k < rows_.size(); ++k) {
    std::array<double, 3> value;
    for (std::size_t j = 0; j < 3; ++j) {
      Value& entry = values_[k][j];
      if (entry.var >= 0) entry.value = vars[entry.var];
      value[j] = entry.value;
    }
    const Vec3 p = PlaceRow(rows_[k], axes_, value.data(), points_.data(), placed_[k]);
    finite = finite && std::isfinite(p.x + p.y + p.z);
    points_[rows_[k].atom] = p;
    StoreAtom(coords, rows_[k].atom, p);
  }
  if (!finite) SetReason("coordinates are not finite");
  return finite;
}

void ZmatrixMap::PullGradient(const double* cartGrad, double* grad) {
  for (std::size_t i = 0; i < forces_.size(); ++i) forces_[i] = LoadAtom(cartGrad, i);
  for (std::size_t k = rows_.size(); k-- > 0;) {
    const auto slopes = SweepRow(rows_[k], axes_, placed_[k], forces_.data());
    for (std::size_t j = 0; j < 3; ++j) {
      const std::ptrdiff_t var = values_[k][j].var;
      if (var >= 0) grad[var] += slopes[j];
    }
  }
}

// The derivatives of the backward sweep for a constant g: placement and sweep are computed with
// dual numbers for a few variables at a time, starting at the first row that depends on any of
// them.
void ZmatrixMap::AddCurvature(const double* cartGrad, double* hess) {
  for (std::size_t i = 0; i < points_.size(); ++i) lanePoints_[i] = Lifted<Lane>(points_[i]);
  std::size_t start = 0;  // the row of variable `begin`
  for (std::size_t begin = 0; begin < numVar_; begin += kLanes) {
    const auto laneOf = [&](const Value& value) {
      return value.var - static_cast<std::ptrdiff_t>(begin);
    };
    while (std::ranges::none_of(values_[start], [&](const Value& v) { return laneOf(v) >= 0; })) {
      lanePoints_[rows_[start].atom] = Lifted<Lane>(points_[rows_[start].atom]);
      ++start;
    }
    for (std::size_t k = start; k < rows_.size(); ++k) {
      std::array<Lane, 3> value;
      for (std::size_t j = 0; j < 3; ++j) {
        value[j] = values_[k][j].value;
        const std::ptrdiff_t lane = laneOf(values_[k][j]);
        if (values_[k][j].var >= 0 && lane >= 0 && lane < static_cast<std::ptrdiff_t>(kLanes)) {
          value[j].slope[static_cast<std::size_t>(lane)] = 1.0;
        }
      }
      lanePoints_[rows_[k].atom] =
          PlaceRow(rows_[k], axes_, value.data(), lanePoints_.data(), lanePlaced_[k]);
    }
    for (std::size_t i = 0; i < laneForces_.size(); ++i) {
      laneForces_[i] = Lifted<Lane>(LoadAtom(cartGrad, i));
    }
    for (std::size_t k = rows_.size(); k-- > start;) {
      const auto slopes = SweepRow(rows_[k], axes_, lanePlaced_[k], laneForces_.data());
      for (std::size_t j = 0; j < 3; ++j) {
        if (values_[k][j].var < 0) continue;
        const auto w = static_cast<std::size_t>(values_[k][j].var);
        for (std::size_t lane = 0; lane < kLanes && begin + lane <= w; ++lane) {
          hess[PackedIndex(w, begin + lane)] += slopes[j].slope[lane];
        }
      }
    }
  }
}

std::unique_ptr<CoordinateMap> MakeZmatrixMap(const MapRequest& request, std::string& /*reason*/) {
  return std::make_unique<ZmatrixMap>(request);
}

}  // namespace QZMolPotential
