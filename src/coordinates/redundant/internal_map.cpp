// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/redundant/internal_map.h"

#include <algorithm>
#include <cmath>

#include "kernels/packed.h"
#include "qzchem/mol.h"

namespace QZMolPotential {
namespace {

std::array<Vec3, 3> axesOf(const Piece& piece) {
  std::array<Vec3, 3> axes{};
  for (std::size_t k = 0; k < std::min(piece.axes.size(), piece.turnSlots); ++k) {
    axes[k] = piece.axes[k];
  }
  return axes;
}

bool allFinite(const double* values, std::size_t n) {
  return std::all_of(values, values + n, [](double v) { return std::isfinite(v); });
}

}  // namespace

InternalMap::InternalMap(const MapRequest& request)
    : CoordinateMap(std::size_t{3} * request.mol->AtomIndexBound()), fixed_(request.fixed) {
  start_.assign(NumCoords(), 0.0);
  request.mol->GetCoords(start_.data());
  set_.Build(*request.mol, start_.data(), fixed_);
  set_.Choose(start_.data());
  pieces_ = FindPieces(set_.All(), fixed_);
  FindMotions(set_.All(), start_.data(), pieces_);
  bool overall = request.overallMotion || request.anyFixed;
  for (Piece& piece : pieces_) {
    // The first piece is not placed when only the relative placement of the pieces matters.
    piece.placed = overall || !piece.Translates();
    overall = overall || piece.Translates();
    // A single atom has no turns. A straight piece has variables for three turns too, since it may
    // bend.
    piece.turnSlots = !piece.Translates() ? piece.axes.size() : piece.atoms.size() > 1 ? 3 : 0;
  }
}

void InternalMap::numberVars() {
  numVar_ = numBodyVars();
  for (Piece& piece : pieces_) {
    piece.firstVar = numVar_;
    numVar_ += piece.NumVar();
  }
  lastVars_.assign(numVar_, 0.0);
  lastCoords_.assign(NumCoords(), 0.0);
  bodyGrad_.assign(NumCoords(), 0.0);
  pulled_.assign(numBodyVars(), 0.0);
  turns_.assign(pieces_.size(), AxisTurn{});
}

std::size_t InternalMap::fewestHeldMotions() const {
  std::size_t count = 0;
  for (const Piece& piece : pieces_) {
    const bool mayBeStraight = piece.Translates() && set_.MayBeStraight(piece.atoms);
    count += piece.Translates() ? 3 : 0;
    count += mayBeStraight ? std::min<std::size_t>(piece.axes.size(), 2) : piece.axes.size();
  }
  return count;
}

std::vector<VariableKind> InternalMap::Kinds() const {
  std::vector<VariableKind> kinds = bodyKinds();
  for (const Piece& piece : pieces_) {
    if (!piece.placed) continue;
    if (piece.Translates()) kinds.insert(kinds.end(), 3, VariableKind::Translation);
    kinds.insert(kinds.end(), piece.turnSlots, VariableKind::Rotation);
  }
  return kinds;
}

bool InternalMap::Start(const double* coords, double* vars) {
  SetReason({});
  if (!CheckFinite(coords)) return false;
  start_.assign(coords, coords + NumCoords());
  set_.Choose(coords);
  for (const Primitive& p : set_.All()) {
    if (p.active && std::isfinite(PrimitiveValue(p, coords)) &&
        (p.kind != Primitive::Kind::Bond || PrimitiveValue(p, coords) > 0.0)) {
      continue;
    }
    if (!p.active) continue;
    SetReason("bonded atoms are in one place");
    return false;
  }
  FindMotions(set_.All(), coords, pieces_);
  frame_.clear();
  for (const Piece& piece : pieces_) AppendFrameRows(piece, coords, frame_);
  body_.Start(set_.All(), frame_, fixed_, coords);
  std::fill_n(vars, numVar_, 0.0);
  if (!startBody(vars)) return false;
  turns_.assign(pieces_.size(), AxisTurn{});
  for (std::size_t k = 0; k < pieces_.size(); ++k) turns_[k].Set(axesOf(pieces_[k]), {});
  isPlaced_ = false;
  return true;
}

std::array<double, 3> InternalMap::turnOf(const Piece& piece, const double* vars) const {
  std::array<double, 3> omega{};
  if (!piece.placed) return omega;
  for (std::size_t k = 0; k < std::min(piece.axes.size(), piece.turnSlots); ++k) {
    omega[k] = vars[piece.FirstTurn() + k];
  }
  return omega;
}

void InternalMap::count(Route route) {
  switch (route) {
    case Route::Newton:
      ++routes_.newton;
      return;
    case Route::Geodesic:
      ++routes_.geodesic;
      return;
    case Route::Step:
      ++routes_.cartesian;
      SetReason("the geometry is a linear step in Cartesian coordinates");
      return;
    case Route::Held:
      ++routes_.held;
      SetReason("the geometry is the nearest one known");
      return;
  }
}

bool InternalMap::Place(const double* vars, double* coords) {
  // The same variables again lead to the same coordinates, bit for bit.
  if (isPlaced_ && std::equal(lastVars_.begin(), lastVars_.end(), vars)) {
    std::ranges::copy(lastCoords_, coords);
    return true;
  }
  if (!Reason().empty()) SetReason({});
  isPlaced_ = false;
  if (!allFinite(vars, numVar_)) {
    SetReason("internal coordinates are not finite");
    return false;
  }
  count(placeBody(vars));
  std::ranges::copy(start_, lastCoords_.begin());
  const double* y = bodyCoords().data();
  for (std::size_t k = 0; k < pieces_.size(); ++k) {
    const Piece& piece = pieces_[k];
    const auto omega = turnOf(piece, vars);
    turns_[k].Set(axesOf(piece), omega);
    const Vec3 shift =
        piece.placed && piece.Translates() ? LoadAtom(vars + piece.firstVar, 0) : Vec3{};
    const bool turned = omega != std::array<double, 3>{};
    for (const unsigned int atom : piece.atoms) {
      Vec3 x = LoadAtom(y, atom);
      if (turned) x = turns_[k].turn * (x - piece.pivot) + piece.pivot;
      StoreAtom(lastCoords_.data(), atom, x + shift);
    }
  }
  isPlaced_ = true;
  std::copy_n(vars, numVar_, lastVars_.begin());
  std::ranges::copy(lastCoords_, coords);
  return true;
}

// At |ω| = 2π all directions of ω describe the same rotation, so a piece gets a new reference
// before.
bool InternalMap::IsOutdated(const double* vars, const double* coords) const {
  constexpr double kFar = 1.0;  // radians
  const auto isFar = [&](const Piece& piece) {
    const auto omega = turnOf(piece, vars);
    return std::hypot(omega[0], omega[1], omega[2]) > kFar;
  };
  return set_.IsOutdated(coords) || std::ranges::any_of(pieces_, isFar);
}

void InternalMap::Follow(const CoordinateMap& other) {
  const auto& leader = static_cast<const InternalMap&>(other);
  isPlaced_ = leader.isPlaced_;
  lastVars_ = leader.lastVars_;
  lastCoords_ = leader.lastCoords_;
  turns_ = leader.turns_;
  followBody(leader);
}

// g over x as a gradient over y.
void InternalMap::turnBack(const double* cartGrad, double* bodyGrad) const {
  for (std::size_t k = 0; k < pieces_.size(); ++k) {
    const Mat3 back = Transpose(turns_[k].turn);
    for (const unsigned int atom : pieces_[k].atoms) {
      StoreAtom(bodyGrad, atom, back * LoadAtom(cartGrad, atom));
    }
  }
}

void InternalMap::PullGradient(const double* cartGrad, double* grad) {
  const double* y = bodyCoords().data();
  for (std::size_t k = 0; k < pieces_.size(); ++k) {
    const Piece& piece = pieces_[k];
    if (!piece.placed) continue;
    Vec3 force{};
    Mat3 moment{};  // Σ g ⊗ (y - p)
    for (const unsigned int atom : piece.atoms) {
      const Vec3 g = LoadAtom(cartGrad, atom);
      force += g;
      moment = moment + Outer(g, LoadAtom(y, atom) - piece.pivot);
    }
    if (piece.Translates()) AddToAtom(grad + piece.firstVar, 0, force);
    for (std::size_t t = 0; t < std::min(piece.axes.size(), piece.turnSlots); ++t) {
      const Mat3& r = turns_[k].first[t];
      grad[piece.FirstTurn() + t] +=
          Dot(r.row0, moment.row0) + Dot(r.row1, moment.row1) + Dot(r.row2, moment.row2);
    }
  }
  turnBack(cartGrad, bodyGrad_.data());
  pullBody(bodyGrad_.data(), grad);
}

void InternalMap::AddCurvature(const double* cartGrad, double* hess) {
  const double* y = bodyCoords().data();
  for (std::size_t k = 0; k < pieces_.size(); ++k) {
    const Piece& piece = pieces_[k];
    const std::size_t turns = piece.placed ? std::min(piece.axes.size(), piece.turnSlots) : 0;
    for (std::size_t t = 0; t < turns; ++t) {
      const std::size_t row = piece.FirstTurn() + t;
      for (std::size_t u = 0; u <= t; ++u) {
        double sum = 0.0;
        for (const unsigned int atom : piece.atoms) {
          sum += Dot(LoadAtom(cartGrad, atom),
                     turns_[k].second[PackedIndex(t, u)] * (LoadAtom(y, atom) - piece.pivot));
        }
        hess[PackedIndex(row, piece.FirstTurn() + u)] += sum;
      }
      // A turn and a change of the body: g · ∂R/∂ω ∂y/∂v.
      std::ranges::fill(bodyGrad_, 0.0);
      const Mat3 back = Transpose(turns_[k].first[t]);
      for (const unsigned int atom : piece.atoms) {
        StoreAtom(bodyGrad_.data(), atom, back * LoadAtom(cartGrad, atom));
      }
      std::ranges::fill(pulled_, 0.0);
      pullBody(bodyGrad_.data(), pulled_.data());
      for (std::size_t v = 0; v < pulled_.size(); ++v) hess[PackedIndex(row, v)] += pulled_[v];
    }
  }
  turnBack(cartGrad, bodyGrad_.data());
  addBodyCurvature(bodyGrad_.data(), hess);
}

}  // namespace QZMolPotential
