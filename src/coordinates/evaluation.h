// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <vector>

#include "coordinates/map.h"
#include "kernels/packed.h"
#include "qzopt/function.h"

namespace QZMolPotential {

/// Evaluates a function of Cartesian coordinates in other variables: converts the variables to
/// coordinates, clears the Cartesian arrays, calls the function and converts the derivatives. Holds
/// the Cartesian work arrays.
class Evaluation {
 public:
  Evaluation() = default;
  /// A copy has no Hessian until it is resized.
  Evaluation(const Evaluation& other) : coords_(other.coords_), grad_(other.grad_) {}
  Evaluation& operator=(const Evaluation& other) {
    coords_ = other.coords_;
    grad_ = other.grad_;
    hessian_.reset();
    return *this;
  }

  /// With `hessian` a packed Hessian is reserved; no memory of it is touched before it is used.
  void Resize(std::size_t numCoords, bool hessian) {
    coords_.assign(numCoords, 0.0);
    grad_.assign(numCoords, 0.0);
    hessian_.reset();
    constexpr std::size_t kMost = std::numeric_limits<std::ptrdiff_t>::max() / sizeof(double);
    const std::size_t size = PackedSize(numCoords);
    if (hessian && size < kMost) hessian_.reset(new (std::nothrow) double[size]);
  }
  /// The arrays without a Hessian, as they are where they have that length.
  void Fit(std::size_t numCoords) {
    coords_.resize(numCoords);
    grad_.resize(numCoords);
  }
  void DropHessian() { hessian_.reset(); }
  bool HasHessian() const { return hessian_ != nullptr; }
  std::vector<double>& Coords() { return coords_; }
  std::vector<double>& Grad() { return grad_; }

  /// `place(double* coords)` fills the coordinates. Where it is false the energy is NaN.
  template <class Place>
  double Energy(QZOpt::QZFunc1& func, Place place) {
    if (!place(coords_.data())) return std::numeric_limits<double>::quiet_NaN();
    return func(coords_.data());
  }
  /// `pull(double* cartGrad)` turns the gradient; not called where `place` is false.
  template <class Place, class Pull>
  double Gradient(QZOpt::QZFunc1& func, Place place, Pull pull) {
    if (!place(coords_.data())) return std::numeric_limits<double>::quiet_NaN();
    std::ranges::fill(grad_, 0.0);
    const double energy = func(coords_.data(), grad_.data());
    pull(grad_.data());
    return energy;
  }
  /// The Hessian call of `func`; false without the memory. `pull(bool ok, const double* cartHess,
  /// const double* cartGrad)` gets what the call answered and gives the final answer.
  template <class Place, class Pull>
  bool Hessian(QZOpt::QZFunc2& func, Place place, Pull pull) {
    if (!hessian_ || !place(coords_.data())) return false;
    std::ranges::fill(grad_, 0.0);
    std::fill_n(hessian_.get(), PackedSize(coords_.size()), 0.0);
    const bool ok = func(coords_.data(), hessian_.get(), grad_.data());
    return pull(ok, hessian_.get(), grad_.data());
  }

  double Energy(QZOpt::QZFunc1& func, CoordinateMap& map, const double* vars) {
    return Energy(func, [&](double* x) { return map.Place(vars, x); });
  }
  /// `grad` is **added to**.
  double Gradient(QZOpt::QZFunc1& func, CoordinateMap& map, const double* vars, double* grad) {
    return Gradient(
        func,
        [&](double* x) { return map.Place(vars, x); },
        [&](const double* g) { map.PullGradient(g, grad); });
  }
  /// Both are **added to**; `grad` may be null.
  bool Hessian(
      QZOpt::QZFunc2& func, CoordinateMap& map, const double* vars, double* hess, double* grad) {
    return Hessian(
        func,
        [&](double* x) { return map.Place(vars, x); },
        [&](bool ok, const double* h, const double* g) {
          if (!ok || !map.PullHessian(h, g, hess)) return false;
          if (grad != nullptr) map.PullGradient(g, grad);
          return true;
        });
  }
  /// JᵀMJ of the function's model Hessian, where it has one. Allocates.
  bool Model(QZOpt::QZFunc1& func,
             CoordinateMap& map,
             const double* vars,
             std::vector<QZOpt::QZMatrixEntry>& entries) {
    auto* const model = dynamic_cast<QZOpt::QZHessianModel*>(&func);
    std::vector<QZOpt::QZMatrixEntry> cart;
    return model != nullptr && map.Place(vars, coords_.data()) &&
           model->AppendModelHessian(coords_.data(), cart) && map.PullModel(cart, entries);
  }

 private:
  std::vector<double> coords_;
  std::vector<double> grad_;
  std::unique_ptr<double[]> hessian_;
};

}  // namespace QZMolPotential
