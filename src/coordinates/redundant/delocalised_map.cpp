// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <Eigen/Core>
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "coordinates/redundant/curvature.h"
#include "coordinates/redundant/dense_lu.h"
#include "coordinates/redundant/internal_map.h"
#include "kernels/packed.h"
#include "molpotential/internalkind.h"

namespace QZMolPotential {
namespace {

using Eigen::Index;
using Eigen::MatrixXd;
using Eigen::VectorXd;

// Eigenvalues of G below this part of the largest are zero.
constexpr double kZero = 1e-10;
// Internal coordinates may depend a little on motions that the turns of the pieces describe:
// eigenvalues of such motions must be below this part of the largest one.
constexpr double kWeak = 1e-2;
// A step that moves no coordinate by more than this (Å) ends the search for a geometry.
constexpr double kClose = 1e-10;
constexpr double kCloseEnough = 1e-6;
constexpr double kLongestMove = 0.3;
constexpr int kSteps = 60;
constexpr int kPathSteps = 10;
constexpr int kStepsOnPath = 10;
constexpr double kOnPath = 1e-3;
// A kept factor serves while each step is at most this part of the one before.
constexpr double kContraction = 0.3;
constexpr int kRefinements = 12;
constexpr double kRefined = 1e-12;

/// Delocalised internal coordinates: the combinations
///   s = Uᵀ D (q - q_0) / κ,   D = diag √k,  k the force constant of each coordinate's kind,
/// U being the eigenvectors of G = D B Bᵀ D at the reference whose eigenvalues are not zero
/// (Baker, Kessi & Delley, J. Chem. Phys. 105, 192 (1996), there with D = 1). Since κ = √k of an
/// angle, a unit of any s is as stiff as a radian of an angle. The motions along the null vectors Z
/// of DB are held: Zᵀ(y - y_0) = 0.
class DelocalisedMap final : public InternalMap {
 public:
  explicit DelocalisedMap(const MapRequest& request) : InternalMap(request) {
    const auto moving = static_cast<std::size_t>(std::ranges::count(fixed_, 0));
    numBody_ = 3 * moving - std::min(3 * moving, fewestHeldMotions());
    column_.assign(fixed_.size(), -1);
    for (std::size_t atom = 0; atom < fixed_.size(); ++atom) {
      if (fixed_[atom]) continue;
      column_[atom] = static_cast<Index>(atoms_.size()) * 3;
      atoms_.push_back(atom);
    }
    kappa_ = 1.0 / QZInternalScales({QZInternalKind::Angle})[0];
    numberVars();
  }
  std::unique_ptr<CoordinateMap> Clone() const override {
    return std::make_unique<DelocalisedMap>(*this);
  }

 private:
  std::size_t numBodyVars() const override { return numBody_; }
  std::vector<VariableKind> bodyKinds() const override {
    return std::vector<VariableKind>(numBody_, VariableKind::Angle);
  }
  const std::vector<Primitive>& primitives() const { return set_.All(); }
  double weight(std::size_t i) const { return std::sqrt(body_.Weight(i)) / kappa_; }

  bool startBody(double* vars) override;
  Route placeBody(const double* vars) override;
  void followBody(const InternalMap& other) override;
  const std::vector<double>& bodyCoords() const override { return y_; }
  // One factor for the geometry spares every gradient its refinement.
  void prepareManyPulls() override {
    if (!fresh_) factor();
  }
  void pullBody(const double* g, double* out) override;
  void addBodyCurvature(const double* g, double* hess) override;

  void measure(const std::vector<double>& y, VectorXd& q) const;
  void updateRows();
  void factor();
  void residual(const VectorXd& wanted);
  bool seek(const VectorXd& wanted, int steps, double aim);
  void multiplyTransposed(const VectorXd& t, VectorXd& out) const;

  std::size_t numBody_ = 0;
  Index rank_ = 0;
  double kappa_ = 1.0;
  std::vector<Index> column_;       // by atom, -1 for fixed ones
  std::vector<std::size_t> atoms_;  // moving
  MatrixXd combination_;            // Uᵀ, a column a primitive
  MatrixXd held_;                   // Z by columns
  std::vector<double> y_, goodY_;
  VectorXd q_, goodQ_, origin_;  // unwrapped
  std::vector<PrimitiveRow> rows_;
  bool rowsCurrent_ = false;
  bool fresh_ = false;  // the factor belongs to y_
  MatrixXd jacobian_;   // ∂(s, held)/∂y
  DenseLu factor_;
  VectorXd wanted_, whole_, partway_, target_, residual_, step_, dual_, image_, correction_;
  // Work of the Hessian; empty before the first one.
  BlockHessian bent_;
  std::vector<double> pulled_, full_, product_;
  MatrixXd changes_, curved_, sum_;
};

bool DelocalisedMap::startBody(double* vars) {
  const auto n = static_cast<Index>(3 * atoms_.size());
  const auto count = static_cast<Index>(primitives().size());
  pulled_.clear();
  y_ = start_;
  goodY_ = y_;
  q_ = Eigen::Map<const VectorXd>(body_.Values().data(), count);
  origin_ = q_;
  goodQ_ = q_;
  rows_.assign(primitives().size(), PrimitiveRow{});
  rowsCurrent_ = false;
  updateRows();
  MatrixXd a = MatrixXd::Zero(n, n);
  MatrixXd b = MatrixXd::Zero(count, n);
  for (std::size_t i = 0; i < primitives().size(); ++i) {
    for (std::size_t k = 0; k < primitives()[i].NumAtoms(); ++k) {
      const Index column = column_[primitives()[i].atoms[k]];
      if (column < 0) continue;
      const Vec3 r = weight(i) * rows_[i][k];
      b.row(static_cast<Index>(i)).segment<3>(column) += Eigen::RowVector3d(r.x, r.y, r.z);
    }
  }
  a.noalias() = b.transpose() * b;
  if (!a.allFinite()) {
    SetReason("internal coordinates are undefined here");
    return false;
  }
  const Eigen::SelfAdjointEigenSolver<MatrixXd> eigen(a);
  const VectorXd& values = eigen.eigenvalues();
  const double limit = n > 0 ? kZero * values[n - 1] : 0.0;
  rank_ = std::count_if(values.begin(), values.end(), [limit](double v) { return v > limit; });
  const auto room = static_cast<Index>(numBody_);
  if (rank_ > room) {
    if (values[n - room - 1] > kWeak * values[n - 1]) {
      SetReason("the geometry has another number of internal degrees of freedom than at setup");
      return false;
    }
    rank_ = room;
  }
  const auto z = eigen.eigenvectors().rightCols(rank_);
  combination_ = (b * z).transpose();
  for (Index j = 0; j < rank_; ++j) combination_.row(j) /= std::sqrt(values[n - rank_ + j]);
  held_ = eigen.eigenvectors().leftCols(n - rank_);
  jacobian_.resize(n, n);
  for (auto* v : {&target_, &residual_, &step_, &dual_, &image_, &correction_}) v->setZero(n);
  for (auto* v : {&wanted_, &whole_, &partway_}) v->setZero(rank_);
  factor();
  std::fill_n(vars, numBody_, 0.0);
  return true;
}

// Values at `y`, dihedrals continued from those in `q`.
void DelocalisedMap::measure(const std::vector<double>& y, VectorXd& q) const {
  for (std::size_t i = 0; i < primitives().size(); ++i) {
    const Primitive& p = primitives()[i];
    if (!p.active) continue;
    double& value = q[static_cast<Index>(i)];
    const double now = PrimitiveValue(p, y.data());
    value = p.kind == Primitive::Kind::Dihedral
                ? value + std::remainder(now - value, 2.0 * std::numbers::pi)
                : now;
  }
}

void DelocalisedMap::updateRows() {
  if (rowsCurrent_) return;
  rowsCurrent_ = true;
  for (std::size_t i = 0; i < primitives().size(); ++i) {
    if (primitives()[i].active) rows_[i] = PrimitiveGradient(primitives()[i], y_.data());
  }
}

void DelocalisedMap::factor() {
  updateRows();
  jacobian_.setZero();
  for (std::size_t i = 0; i < primitives().size(); ++i) {
    if (!primitives()[i].active) continue;
    const auto u = combination_.col(static_cast<Index>(i));
    for (std::size_t k = 0; k < primitives()[i].NumAtoms(); ++k) {
      const Index column = column_[primitives()[i].atoms[k]];
      if (column < 0) continue;
      const Vec3 r = weight(i) * rows_[i][k];
      jacobian_.col(column).head(rank_) += r.x * u;
      jacobian_.col(column + 1).head(rank_) += r.y * u;
      jacobian_.col(column + 2).head(rank_) += r.z * u;
    }
  }
  jacobian_.bottomRows(held_.cols()) = held_.transpose();
  factor_.Factor(jacobian_);
  fresh_ = true;
}

// What is missing from `wanted`, held motions below.
void DelocalisedMap::residual(const VectorXd& wanted) {
  residual_.head(rank_) = wanted;
  for (std::size_t i = 0; i < primitives().size(); ++i) {
    if (!primitives()[i].active) continue;
    const auto k = static_cast<Index>(i);
    residual_.head(rank_) -= weight(i) * (q_[k] - origin_[k]) * combination_.col(k);
  }
  for (std::size_t a = 0; a < atoms_.size(); ++a) {
    const Vec3 moved = LoadAtom(y_.data(), atoms_[a]) - LoadAtom(start_.data(), atoms_[a]);
    StoreAtom(step_.data(), a, moved);
  }
  residual_.tail(held_.cols()).noalias() = held_.transpose() * step_;
  residual_.tail(held_.cols()) *= -1.0;
}

// Newton steps with a factor that is kept while it serves.
bool DelocalisedMap::seek(const VectorXd& wanted, int steps, double aim) {
  double last = std::numeric_limits<double>::infinity();
  for (int k = 0; k < steps; ++k) {
    residual(wanted);
    factor_.Solve(residual_, step_);
    double move = step_.size() > 0 ? step_.lpNorm<Eigen::Infinity>() : 0.0;
    if (!(move <= kContraction * last) && k > 0 && !fresh_) {
      factor();
      factor_.Solve(residual_, step_);
      move = step_.lpNorm<Eigen::Infinity>();
    }
    if (!std::isfinite(move)) return false;
    // Rounding keeps the steps from falling further.
    if (move < kCloseEnough && move > 0.5 * last) return true;
    if (move > kLongestMove) step_ *= kLongestMove / move;
    for (std::size_t a = 0; a < atoms_.size(); ++a) {
      AddToAtom(y_.data(), atoms_[a], LoadAtom(step_.data(), a));
    }
    measure(y_, q_);
    rowsCurrent_ = false;
    fresh_ = false;
    last = std::min(move, kLongestMove);
    if (move < aim) return true;
  }
  return last < kCloseEnough;
}

InternalMap::Route DelocalisedMap::placeBody(const double* vars) {
  wanted_ = Eigen::Map<const VectorXd>(vars, rank_);
  const auto restore = [this] {
    y_ = goodY_;
    q_ = goodQ_;
    rowsCurrent_ = false;
    fresh_ = false;
  };
  Route route = Route::Newton;
  bool found = seek(wanted_, kSteps, kClose);
  if (!found) {
    // Along the straight line in s, a geometry near each point of the way.
    route = Route::Geodesic;
    restore();
    factor();
    residual(wanted_);
    whole_ = residual_.head(rank_);
    for (int k = 1; k < kPathSteps; ++k) {
      partway_ = wanted_ - (1.0 - static_cast<double>(k) / kPathSteps) * whole_;
      seek(partway_, kStepsOnPath, kOnPath);
    }
    found = seek(wanted_, kSteps, kClose);
  }
  if (!found) {
    route = Route::Step;
    restore();
    factor();
    seek(wanted_, 1, kClose);
  }
  if (!q_.allFinite()) {
    route = Route::Held;
    restore();
  }
  goodY_ = y_;
  goodQ_ = q_;
  return route;
}

void DelocalisedMap::followBody(const InternalMap& other) {
  const auto& leader = static_cast<const DelocalisedMap&>(other);
  y_ = leader.y_;
  goodY_ = leader.goodY_;
  q_ = leader.q_;
  goodQ_ = leader.goodQ_;
  rows_ = leader.rows_;
  rowsCurrent_ = leader.rowsCurrent_;
  factor_ = leader.factor_;
  fresh_ = leader.fresh_;
}

// out = Jᵀ t at y_.
void DelocalisedMap::multiplyTransposed(const VectorXd& t, VectorXd& out) const {
  out.noalias() = held_ * t.tail(held_.cols());
  for (std::size_t i = 0; i < primitives().size(); ++i) {
    const Primitive& p = primitives()[i];
    if (!p.active) continue;
    const double along = weight(i) * combination_.col(static_cast<Index>(i)).dot(t.head(rank_));
    for (std::size_t k = 0; k < p.NumAtoms(); ++k) {
      const Index column = column_[p.atoms[k]];
      if (column >= 0) AddToAtom(out.data() + column, 0, along * rows_[i][k]);
    }
  }
}

// J⁻ᵀ g by the kept factor, refined to the digits of the present one.
void DelocalisedMap::pullBody(const double* g, double* out) {
  updateRows();
  for (std::size_t a = 0; a < atoms_.size(); ++a) {
    StoreAtom(target_.data(), a, LoadAtom(g, atoms_[a]));
  }
  const double size = target_.norm();
  factor_.SolveTransposed(target_, dual_);
  double last = std::numeric_limits<double>::infinity();
  for (int k = 0; k < kRefinements && !fresh_; ++k) {
    multiplyTransposed(dual_, image_);
    image_ = target_ - image_;
    const double error = image_.norm();
    if (!(error > kRefined * size)) break;
    if (error > kContraction * last) {
      factor();
      factor_.SolveTransposed(target_, dual_);
      break;
    }
    last = error;
    factor_.SolveTransposed(image_, correction_);
    dual_ += correction_;
  }
  for (Index j = 0; j < rank_; ++j) out[j] += dual_[j];
}

// -Aᵀ (Σ c ∂²q) A, A = ∂y/∂s and c = D U g_s / κ.
void DelocalisedMap::addBodyCurvature(const double* g, double* hess) {
  if (!fresh_) factor();
  if (pulled_.empty()) {  // the first Hessian since the start
    SetCurvaturePattern(primitives(), fixed_, bent_);
    pulled_.resize(numBody_);
    full_.assign(NumCoords(), 0.0);
    product_.resize(NumCoords());
    for (auto* m : {&changes_, &curved_}) m->resize(jacobian_.rows(), rank_);
    sum_.resize(rank_, rank_);
  }
  std::ranges::fill(pulled_, 0.0);
  pullBody(g, pulled_.data());
  const auto slope = Eigen::Map<const VectorXd>(pulled_.data(), rank_);
  bent_.SetZero();
  MovingSink sink(bent_, fixed_);
  for (std::size_t i = 0; i < primitives().size(); ++i) {
    if (!primitives()[i].active) continue;
    const double c = weight(i) * combination_.col(static_cast<Index>(i)).dot(slope);
    AddPrimitive(sink, nullptr, primitives()[i], y_.data(), c, 0.0);
  }
  factor_.FirstColumnsOfInverse(changes_);
  for (Index u = 0; u < rank_; ++u) {
    for (std::size_t k = 0; k < atoms_.size(); ++k) {
      StoreAtom(full_.data(), atoms_[k], LoadAtom(changes_.col(u).data(), k));
    }
    std::ranges::fill(product_, 0.0);
    bent_.Multiply(full_.data(), product_.data());
    for (std::size_t k = 0; k < atoms_.size(); ++k) {
      StoreAtom(curved_.col(u).data(), k, LoadAtom(product_.data(), atoms_[k]));
    }
  }
  sum_.noalias() = changes_.transpose() * curved_;
  for (Index u = 0; u < rank_; ++u) {
    for (Index w = 0; w <= u; ++w) {
      hess[PackedIndex(static_cast<std::size_t>(u), static_cast<std::size_t>(w))] -= sum_(u, w);
    }
  }
}

}  // namespace

std::unique_ptr<CoordinateMap> MakeInternalMap(const MapRequest& request, std::string& reason) {
  reason.clear();
  return std::make_unique<DelocalisedMap>(request);
}

}  // namespace QZMolPotential
