// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core.h"

namespace MolPotentialPython {

using FixedAtoms = std::optional<std::vector<unsigned int>>;

/// A bound function in other variables, from given coordinates.
class Coordinates {
 public:
  /// Throws InputError for what the library refuses.
  Coordinates(std::shared_ptr<Function> function,
              const std::string& kind,
              const Array& x0,
              const FixedAtoms& fixed,
              std::optional<bool> overallMotion);

  QZMolPotential::QZCoordinateFunc& Func() { return func_; }
  const Function& Wrapped() const { return *function_; }
  std::vector<double>& Start() { return start_; }
  Array StartArray() const;
  Array Scales() const;
  double Energy(const Array& v);
  py::tuple EnergyAndGradient(const Array& v);
  Array Hessian(const Array& v);
  /// Coordinates shaped as `x0`.
  Array Cartesian(const Array& v);

 private:
  std::shared_ptr<Function> function_;
  QZMolPotential::QZCoordinateFunc func_;
  std::vector<double> start_;
  std::vector<py::ssize_t> shape_;
  std::size_t numCoords_ = 0;
};

void DefineCoordinates(py::module_& m);

}  // namespace MolPotentialPython
