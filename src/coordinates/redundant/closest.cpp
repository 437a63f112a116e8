// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/redundant/closest.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "molpotential/internalkind.h"

namespace QZMolPotential {
namespace {

constexpr unsigned int kNone = std::numeric_limits<unsigned int>::max();
// A Newton step that moves no atom by more than this (Å) ends the search, since convergence is
// quadratic: the next step would be about the square of this one.
constexpr double kClose = 1e-7;
// When rounding keeps the steps from becoming smaller, a step below this counts as converged.
constexpr double kCloseEnough = 1e-5;
constexpr double kLongestMove = 0.4;  // Å an atom and step
constexpr int kNewtonSteps = 25;
constexpr int kPathSteps = 10;
constexpr int kStepsOnPath = 6;
constexpr double kOnPath = 1e-2;
constexpr int kHalvings = 8;
constexpr std::size_t kSamples = 4;
constexpr double kTinyPivot = 1e-12;
// Added to the diagonal, relative to it, where M is singular in a way that no frame row covers.
constexpr double kDamping = 1e-6;
// kcal/mol/Å², about that of an angle.
constexpr double kFrameWeight = 150.0;

QZInternalKind kindOf(const Primitive& p) {
  if (p.kind == Primitive::Kind::Bond) return QZInternalKind::Bond;
  return p.kind == Primitive::Kind::Dihedral ? QZInternalKind::Dihedral : QZInternalKind::Angle;
}

// Adds blocks of moving atoms to the matrix that is to be factorised.
class FactorSink {
 public:
  FactorSink(BlockLdlt& factor, const std::vector<unsigned int>& node)
      : factor_(factor), node_(node) {}
  void Diagonal(std::size_t i, const Mat3& m) {
    if (node_[i] != kNone) add(factor_.Diagonal()[factor_.Position(node_[i])], m);
  }
  void Mixed(std::size_t i, std::size_t j, const Mat3& m) {
    if (node_[i] == kNone || node_[j] == kNone) return;
    const bool inOrder = factor_.Position(node_[i]) < factor_.Position(node_[j]);
    add(factor_.Blocks()[factor_.Slot(node_[i], node_[j])], inOrder ? m : Transpose(m));
  }

 private:
  static void add(Block3& block, const Mat3& m) {
    AddToAtom(block.data(), 0, m.row0);
    AddToAtom(block.data(), 1, m.row1);
    AddToAtom(block.data(), 2, m.row2);
  }
  BlockLdlt& factor_;
  const std::vector<unsigned int>& node_;
};

}  // namespace

void ClosestGeometry::Start(const std::vector<Primitive>& primitives,
                            const std::vector<FrameRow>& frame,
                            const std::vector<unsigned char>& fixed,
                            const double* x) {
  primitives_ = primitives;
  frame_ = frame;
  node_.assign(fixed.size(), kNone);
  atomOf_.clear();
  for (unsigned int atom = 0; atom < fixed.size(); ++atom) {
    if (fixed[atom]) continue;
    node_[atom] = static_cast<unsigned int>(atomOf_.size());
    atomOf_.push_back(atom);
  }
  std::vector<BlockLdlt::Edge> edges;
  const auto couple = [&](const unsigned int* atoms, std::size_t n) {
    for (std::size_t k = 0; k < n; ++k) {
      for (std::size_t l = 0; l < k; ++l) {
        const unsigned int a = node_[atoms[k]];
        const unsigned int b = node_[atoms[l]];
        if (a != kNone && b != kNone && a != b) edges.push_back(std::minmax(a, b));
      }
    }
  };
  for (const Primitive& p : primitives_) {
    if (p.active) couple(p.atoms.data(), p.NumAtoms());
  }
  for (const FrameRow& row : frame_) couple(row.atoms.data(), row.atoms.size());
  std::ranges::sort(edges);
  edges.erase(std::unique(edges.begin(), edges.end()), edges.end());
  factor_.Analyse(static_cast<unsigned int>(atomOf_.size()), edges);
  hold_.assign(3 * atomOf_.size(), BlockLdlt::kFree);
  solve_.assign(3 * atomOf_.size(), 0.0);

  std::vector<QZInternalKind> kinds;
  for (const Primitive& p : primitives_) kinds.push_back(kindOf(p));
  weights_ = QZInternalScales(kinds);
  for (double& w : weights_) w = 1.0 / (w * w);
  const std::size_t numCoords = 3 * fixed.size();
  origin_.assign(x, x + numCoords);
  y_ = origin_;
  for (auto* v : {&trialY_, &force_, &step_}) v->assign(numCoords, 0.0);
  for (auto* v : {&q_, &trialQ_, &partway_, &wanted_}) v->assign(primitives_.size(), 0.0);
  signs_.assign(primitives_.size(), 1.0);
  rows_.assign(primitives_.size(), PrimitiveRow{});
  samples_.assign(kSamples, {y_, q_, false});
  nextSample_ = 0;
  evaluate(y_.data(), q_.data());
  wanted_ = q_;
  stale_ = true;
  samples_[0] = {y_, q_, true};  // the start stays known
}

void ClosestGeometry::evaluate(const double* y, double* q) const {
  for (std::size_t i = 0; i < primitives_.size(); ++i) {
    q[i] = primitives_[i].active ? PrimitiveValue(primitives_[i], y) : 0.0;
  }
}

double ClosestGeometry::energy(const double* wanted, const double* y, const double* q) const {
  double sum = 0.0;
  for (std::size_t i = 0; i < primitives_.size(); ++i) {
    if (!primitives_[i].active) continue;
    const double r = DepartureOf(primitives_[i], wanted[i], q[i]).difference;
    sum += 0.5 * weights_[i] * r * r;
  }
  for (const FrameRow& row : frame_) {
    double along = 0.0;
    for (std::size_t k = 0; k < row.atoms.size(); ++k) {
      along +=
          Dot(row.direction[k], LoadAtom(y, row.atoms[k]) - LoadAtom(origin_.data(), row.atoms[k]));
    }
    sum += 0.5 * kFrameWeight * along * along;
  }
  return sum;
}

// Writes -∇E to `force_` and the Hessian of E, with its part in ∂²q only if `curved`, to the matrix
// to be factorised; updates rows and signs too.
void ClosestGeometry::assemble(const double* wanted, bool curved) {
  stale_ = false;
  std::ranges::fill(factor_.Diagonal(), Block3{});
  std::ranges::fill(factor_.Blocks(), Block3{});
  std::ranges::fill(force_, 0.0);
  FactorSink sink(factor_, node_);
  for (std::size_t i = 0; i < primitives_.size(); ++i) {
    const Primitive& p = primitives_[i];
    if (!p.active) continue;
    const auto [difference, sign] = DepartureOf(p, wanted[i], q_[i]);
    signs_[i] = sign;
    rows_[i] = PrimitiveGradient(p, y_.data());
    for (std::size_t k = 0; k < p.NumAtoms(); ++k) {
      if (node_[p.atoms[k]] == kNone) {
        rows_[i][k] = {};
      } else {
        AddToAtom(force_.data(), p.atoms[k], weights_[i] * difference * rows_[i][k]);
      }
    }
    AddPrimitive(
        sink, nullptr, p, y_.data(), curved ? -weights_[i] * difference : 0.0, weights_[i]);
  }
  for (const FrameRow& row : frame_) {
    double along = 0.0;
    for (std::size_t k = 0; k < row.atoms.size(); ++k) {
      along += Dot(row.direction[k],
                   LoadAtom(y_.data(), row.atoms[k]) - LoadAtom(origin_.data(), row.atoms[k]));
    }
    for (std::size_t k = 0; k < row.atoms.size(); ++k) {
      const Vec3 m = kFrameWeight * row.direction[k];
      AddToAtom(force_.data(), row.atoms[k], -along * m);
      sink.Diagonal(row.atoms[k], Outer(m, row.direction[k]));
      for (std::size_t l = 0; l < k; ++l) {
        sink.Mixed(row.atoms[k], row.atoms[l], Outer(m, row.direction[l]));
      }
    }
  }
}

// False: the matrix is not positive definite; then, without curvature, it has been damped.
bool ClosestGeometry::factor(const double* wanted, bool curved) {
  assemble(wanted, curved);
  const auto positive = [this] {
    std::ranges::fill(hold_, BlockLdlt::kFree);
    factor_.Factor(hold_, kTinyPivot);
    return std::ranges::find(hold_, BlockLdlt::kWeak) == hold_.end();
  };
  if (positive()) return true;
  if (curved) return false;
  double largest = 0.0;
  for (const Block3& d : factor_.Diagonal()) largest = std::max({largest, d[0], d[4], d[8]});
  for (Block3& d : factor_.Diagonal()) {
    for (const std::size_t k : {0UL, 4UL, 8UL}) d[k] += kDamping * largest;
  }
  positive();
  return false;
}

void ClosestGeometry::Solve(double* v) {
  if (stale_) {
    if (!factor(wanted_.data(), /*curved=*/true)) factor(wanted_.data(), /*curved=*/false);
  }
  for (unsigned int n = 0; n < atomOf_.size(); ++n) {
    StoreAtom(solve_.data(), factor_.Position(n), LoadAtom(v, atomOf_[n]));
  }
  factor_.Solve(solve_.data());
  for (unsigned int atom = 0; atom < node_.size(); ++atom) {
    const Vec3 value =
        node_[atom] == kNone ? Vec3{} : LoadAtom(solve_.data(), factor_.Position(node_[atom]));
    StoreAtom(v, atom, value);
  }
}

void ClosestGeometry::AddWeighted(const double* t, double* v) const {
  for (std::size_t i = 0; i < primitives_.size(); ++i) {
    if (!primitives_[i].active) continue;
    for (std::size_t k = 0; k < primitives_[i].NumAtoms(); ++k) {
      AddToAtom(v, primitives_[i].atoms[k], weights_[i] * t[i] * rows_[i][k]);
    }
  }
}

// The step for the present factor, no atom moving further than `limit`. Returns the largest move
// of an atom; NaN where there is none.
double ClosestGeometry::takeStep(double limit) {
  step_ = force_;
  Solve(step_.data());
  double largest = 0.0;
  double sum = 0.0;  // NaN survives in a sum, not in a maximum
  for (std::size_t atom = 0; atom < node_.size(); ++atom) {
    const double move = Norm(LoadAtom(step_.data(), atom));
    largest = std::max(largest, move);
    sum += move;
  }
  if (largest > limit) {
    for (double& s : step_) s *= limit / largest;
    largest = limit;
  }
  return std::isfinite(sum) ? largest : std::numeric_limits<double>::quiet_NaN();
}

void ClosestGeometry::remember() {
  Sample& slot = samples_[1 + nextSample_++ % (kSamples - 1)];
  slot.y = y_;
  slot.q = q_;
  slot.known = true;
}

// The latest geometry whose coordinates are nearest to the wanted ones.
void ClosestGeometry::startNear(const double* wanted) {
  const Sample* best = nullptr;
  double least = std::numeric_limits<double>::infinity();
  for (const Sample& sample : samples_) {
    if (!sample.known) continue;
    const double distance = energy(wanted, sample.y.data(), sample.q.data());
    if (!(distance < least)) continue;
    least = distance;
    best = &sample;
  }
  if (best == nullptr) best = &samples_[0];
  y_ = best->y;
  q_ = best->q;
  stale_ = true;
}

bool ClosestGeometry::newton(const double* wanted, int steps, double aim) {
  double value = energy(wanted, y_.data(), q_.data());
  bool curved = true;
  double last = std::numeric_limits<double>::infinity();
  for (int k = 0; k < steps; ++k) {
    const bool definite = factor(wanted, curved);
    if (curved && !definite) {
      factor(wanted, /*curved=*/false);
      curved = false;
    }
    const double move = takeStep(kLongestMove);
    if (!std::isfinite(move)) return false;
    const bool close = move < aim;
    double scale = 1.0;
    bool lower = false;
    for (int halving = 0; halving < kHalvings && !lower; ++halving, scale *= 0.5) {
      for (std::size_t i = 0; i < y_.size(); ++i) trialY_[i] = y_[i] + scale * step_[i];
      evaluate(trialY_.data(), trialQ_.data());
      const double trial = energy(wanted, trialY_.data(), trialQ_.data());
      // Near the minimum differences of E are rounding.
      lower = trial <= value + 1e-12 * (1.0 + value) || (close && std::isfinite(trial));
      if (lower) value = trial;
    }
    if (!lower) {
      if (!curved) return last < kCloseEnough;
      curved = false;
      continue;
    }
    y_.swap(trialY_);
    q_.swap(trialQ_);
    stale_ = true;
    if (close) return true;
    curved = true;
    last = move;
  }
  return last < kCloseEnough;
}

// Along evenly changed coordinates, a geometry near each point of the way.
bool ClosestGeometry::geodesic(const double* wanted) {
  startNear(wanted);
  for (int k = 1; k < kPathSteps; ++k) {
    const double left = 1.0 / (kPathSteps - k + 1);
    for (std::size_t i = 0; i < q_.size(); ++i) {
      partway_[i] = q_[i] + left * DepartureOf(primitives_[i], wanted[i], q_[i]).difference;
    }
    newton(partway_.data(), kStepsOnPath, kOnPath);
  }
  return newton(wanted, kNewtonSteps, kClose);
}

bool ClosestGeometry::linearStep(const double* wanted) {
  startNear(wanted);
  factor(wanted, /*curved=*/false);
  if (!std::isfinite(takeStep(kLongestMove))) return false;
  for (std::size_t i = 0; i < y_.size(); ++i) y_[i] += step_[i];
  evaluate(y_.data(), q_.data());
  factor(wanted, /*curved=*/false);  // the gradient of this step, curvature means nothing here
  return true;
}

ClosestGeometry::Route ClosestGeometry::Seek(const double* wanted) {
  const auto finish = [this](Route route) {
    remember();
    return route;
  };
  std::copy_n(wanted, wanted_.size(), wanted_.begin());
  startNear(wanted);
  if (newton(wanted, kNewtonSteps, kClose)) return finish(Route::Newton);
  if (geodesic(wanted)) return finish(Route::Geodesic);
  if (linearStep(wanted)) return finish(Route::Step);
  startNear(wanted);
  return Route::Held;
}

}  // namespace QZMolPotential
