// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core.h"

namespace MolPotentialPython {

/// Which atoms stand still: none, or those named, or all but those named.
struct Still {
  std::optional<Atoms> fixed;
  std::optional<Atoms> move;
  Still(const py::object& fixedAtoms, const py::object& movingAtoms);
  std::vector<unsigned int> Find(const QZChem::QZGraphMol& mol) const;
};

/// A copy of a bound function in other variables, with a molecule of its own: what happens here
/// changes nothing elsewhere.
class Presented {
 public:
  /// `x`: all coordinates to start from. Throws InputError for what the library refuses. Needs the
  /// interpreter's lock.
  Presented(const Function& function,
            const std::string& kind,
            const double* x,
            const Still& still,
            std::optional<bool> overallMotion = std::nullopt);
  /// Starts at other coordinates; false, with the library's Warning, when they are refused.
  bool Start(const double* x);

  QZMolPotential::QZCoordinateFunc& Func() { return *func_; }
  const QZMolPotential::QZCoordinateFunc& Func() const { return *func_; }
  /// With the coordinates of the start.
  const QZChem::QZGraphMol& Mol() const { return *mol_; }
  std::vector<double>& Variables() { return variables_; }
  std::size_t NumCoords() const { return std::size_t{3} * mol_->NumAtoms(); }

 private:
  std::unique_ptr<QZChem::QZGraphMol> mol_;
  std::unique_ptr<QZMolPotential::QZCoordinateFunc> func_;
  std::vector<double> variables_;
};

/// The same as Python holds it.
class Coordinates {
 public:
  Coordinates(std::shared_ptr<Function> function,
              const std::string& kind,
              const Array& x0,
              const py::object& fixed,
              std::optional<bool> overallMotion,
              const py::object& move);

  Presented& System() { return system_; }
  std::recursive_mutex& Mutex() { return mutex_; }
  const std::string& Kind() const { return kind_; }
  Array StartArray();
  Array Scales() const;
  /// Coordinates shaped as `x0`.
  Array Cartesian(const Array& v);

 private:
  std::shared_ptr<Function> function_;  // a term in Python must live as long
  std::string kind_;
  Presented system_;
  std::vector<py::ssize_t> shape_;
  std::recursive_mutex mutex_;
};

void DefineCoordinates(py::module_& m);

}  // namespace MolPotentialPython
