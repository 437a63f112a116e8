// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "core.h"

namespace MolPotentialPython {

/// Evaluations of a function for Python: without the interpreter's lock, threads in turn.

template <class F>
double Energy(F& func, const Array& x, std::recursive_mutex& mutex) {
  const double* vars = Variables(x, func.NumVar());
  return Unlocked([&] {
    const std::lock_guard turn(mutex);
    return func(vars);
  });
}

template <class F>
py::tuple EnergyAndGradient(F& func, const Array& x, std::recursive_mutex& mutex) {
  const double* vars = Variables(x, func.NumVar());
  Array grad = Like(x);
  double* out = grad.mutable_data();
  const double energy = Unlocked([&] {
    const std::lock_guard turn(mutex);
    return func(vars, out);
  });
  return py::make_tuple(energy, grad);
}

template <class F>
Array Hessian(F& func, const Array& x, std::recursive_mutex& mutex) {
  const std::size_t n = func.NumVar();
  const double* vars = Variables(x, n);
  std::vector<double> packed(n * (n + 1) / 2);
  const bool good = Unlocked([&] {
    const std::lock_guard turn(mutex);
    return func(vars, packed.data(), nullptr);
  });
  if (!good) throw Error("the Hessian cannot be computed");
  return Unpack(packed, n);
}

}  // namespace MolPotentialPython
