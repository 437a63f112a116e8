// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <string>

#include "coordinates/redundant/curvature.h"
#include "coordinates/redundant/internal_map.h"
#include "kernels/packed.h"

namespace QZMolPotential {
namespace {

/// Redundant internal coordinates: the body is the geometry closest to the variables.
class RedundantMap final : public InternalMap {
 public:
  explicit RedundantMap(const MapRequest& request) : InternalMap(request) { numberVars(); }
  std::unique_ptr<CoordinateMap> Clone() const override {
    return std::make_unique<RedundantMap>(*this);
  }
  // None: minimisers use the scales. A model of the function would be singular along changes of the
  // variables that no geometry can make, and steps by it would not stay among the possible changes;
  // runs would take ten times as long.
  bool PullModel(const std::vector<QZOpt::QZMatrixEntry>&,
                 std::vector<QZOpt::QZMatrixEntry>&) override {
    return false;
  }

 private:
  std::size_t numBodyVars() const override { return set_.All().size(); }
  std::vector<VariableKind> bodyKinds() const override {
    std::vector<VariableKind> kinds;
    for (const Primitive& p : set_.All()) {
      kinds.push_back(p.kind == Primitive::Kind::Bond       ? VariableKind::Length
                      : p.kind == Primitive::Kind::Dihedral ? VariableKind::Dihedral
                                                            : VariableKind::Angle);
    }
    return kinds;
  }

  bool startBody(double* vars) override {
    std::ranges::copy(body_.Values(), vars);
    bentRows_.clear();
    lambda_.assign(NumCoords(), 0.0);
    unit_.assign(numBodyVars(), 0.0);
    image_.assign(numBodyVars(), 0.0);
    return true;
  }

  Route placeBody(const double* vars) override { return body_.Seek(vars); }

  void followBody(const InternalMap& other) override {
    body_ = static_cast<const RedundantMap&>(other).body_;
  }
  const std::vector<double>& bodyCoords() const override { return body_.Y(); }

  // g_q = W B M⁻¹ g.
  void pullBody(const double* g, double* out) override {
    std::copy_n(g, NumCoords(), lambda_.begin());
    body_.Solve(lambda_.data());
    for (std::size_t i = 0; i < numBodyVars(); ++i) {
      if (set_.All()[i].active) out[i] += body_.Sign(i) * body_.Weight(i) * along(i, lambda_);
    }
  }

  double along(std::size_t i, const std::vector<double>& v) const {
    return product(i, body_.Row(i), v);
  }
  double product(std::size_t i, const PrimitiveRow& row, const std::vector<double>& v) const {
    const Primitive& p = body_.Primitives()[i];
    double sum = 0.0;
    for (std::size_t k = 0; k < p.NumAtoms(); ++k) {
      sum += Dot(row[k], LoadAtom(v.data(), p.atoms[k]));
    }
    return sum;
  }

  // The stationary point of Σ ½ w (q* - q(y))², differentiated twice: with λ = M⁻¹ g, the change
  // a_u = ∂y/∂q*_u and rows d_i = w_i ∂²q_i λ,
  //   Σ g ∂²y/∂u∂v = d_v·a_u - a_v·s_u,
  //   s_u = Σ_i [b_i (d_i·a_u) + d_i (b_i·a_u - δ_iu) + w_i (b_i·λ) ∂²q_i a_u].
  // Third derivatives of q, which come with q* - q, are left out.
  void addBodyCurvature(const double* g, double* hess) override {
    const auto& primitives = body_.Primitives();
    if (bentRows_.empty()) {  // the first Hessian since the start
      SetCurvaturePattern(primitives, fixed_, bent_);
      bentRows_.resize(primitives.size());
      for (auto* v : {&multiplier_, &change_, &sum_}) v->resize(NumCoords());
    }
    std::copy_n(g, NumCoords(), multiplier_.begin());
    body_.Solve(multiplier_.data());
    bent_.SetZero();
    MovingSink sink(bent_, fixed_);
    for (std::size_t i = 0; i < primitives.size(); ++i) {
      if (!primitives[i].active) continue;
      const double w = body_.Weight(i);
      bentRows_[i] = CurvatureAlong(primitives[i], body_.Y().data(), multiplier_.data(), w);
      AddPrimitive(sink, nullptr, primitives[i], body_.Y().data(), w * along(i, multiplier_), 0.0);
    }
    for (std::size_t u = 0; u < primitives.size(); ++u) {
      if (!primitives[u].active) continue;
      std::ranges::fill(change_, 0.0);
      unit_[u] = body_.Sign(u);
      body_.AddWeighted(unit_.data(), change_.data());
      body_.Solve(change_.data());
      std::ranges::fill(sum_, 0.0);
      bent_.Multiply(change_.data(), sum_.data());
      for (std::size_t i = 0; i < primitives.size(); ++i) {
        if (!primitives[i].active) continue;
        const double bentAlong = product(i, bentRows_[i], change_);
        const double left = along(i, change_) - unit_[i];
        image_[i] = body_.Sign(i) * bentAlong;
        for (std::size_t k = 0; k < primitives[i].NumAtoms(); ++k) {
          AddToAtom(sum_.data(),
                    primitives[i].atoms[k],
                    bentAlong * body_.Row(i)[k] + left * bentRows_[i][k]);
        }
      }
      unit_[u] = 0.0;
      for (double& value : sum_) value = -value;
      pullBody(sum_.data(), image_.data());
      for (std::size_t v = 0; v <= u; ++v) hess[PackedIndex(u, v)] += image_[v];
      std::ranges::fill(image_, 0.0);
    }
  }

  std::vector<double> lambda_, unit_, image_;
  // Work of the Hessian; empty before the first one.
  BlockHessian bent_;
  std::vector<PrimitiveRow> bentRows_;
  std::vector<double> multiplier_, change_, sum_;
};

}  // namespace

std::unique_ptr<CoordinateMap> MakeRedundantMap(const MapRequest& request, std::string& reason) {
  reason.clear();
  return std::make_unique<RedundantMap>(request);
}

}  // namespace QZMolPotential
