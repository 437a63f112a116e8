// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <cmath>
#include <limits>

#include "constraints.h"
#include "coordinates.h"
#include "qzopt/scan.h"

namespace MolPotentialPython {
namespace {

namespace QZ = QZMolPotential;

py::dict NormalModes(Coordinates& system, const Array& x, double temperature, double lowest) {
  const QZChem::QZGraphMol& mol = system.Wrapped().GetMolecule()->mol;
  const double* coords = Variables(x, std::size_t{3} * mol.NumAtoms());
  QZ::QZNormalModesOptions options;
  options.temperature = temperature;
  options.lowestFrequency = lowest;
  const QZ::QZNormalModes found =
      Unlocked([&] { return QZ::QZComputeNormalModes(system.Func(), mol, coords, options); });
  if (!found.valid) throw Error(found.message);
  const auto count = static_cast<py::ssize_t>(found.frequencies.size());
  const auto atoms = static_cast<py::ssize_t>(mol.NumAtoms());
  Array modes({count, atoms, py::ssize_t{3}});
  double* out = modes.mutable_data();
  for (const auto& mode : found.modes) out = std::copy(mode.begin(), mode.end(), out);
  py::dict result;
  result["frequencies"] = MakeArray({count}, found.frequencies.data());
  result["modes"] = modes;
  result["imaginary"] = found.numImaginary;
  result["gradient_norm"] = found.gradientNorm;
  result["zero_point_energy"] = found.zeroPointEnergy;
  result["entropy"] = found.entropy;
  result["free_energy"] = found.freeEnergy;
  return result;
}

py::dict Scan(const std::shared_ptr<Function>& function,
              const Array& x0,
              const std::string& kind,
              const std::vector<unsigned int>& atoms,
              const std::vector<double>& values,
              double gradientTolerance,
              unsigned int maxIterations) {
  QZ::QZMolFunc2& func = function->Bound();
  const double* start = Variables(x0, func.NumVar());
  const auto driven = MakeConstraint(kind, atoms);
  Messages messages;
  if (!driven->Setup(function->GetMolecule()->mol)) throw InputError(messages.Take());
  const double unit = UnitOf(kind);
  std::vector<double> targets;
  for (const double value : values) {
    if (!std::isfinite(value)) throw InputError("the values of a scan must be finite");
    targets.push_back(value * unit);
  }
  QZOpt::QZOptOptions options;
  options.gradientTolerance = gradientTolerance;
  options.maxIterations = maxIterations;
  QZOpt::QZRelaxedScan scan(options);
  scan.Drive(
      *driven, [&](double target) { driven->SetTarget(target); }, targets);
  bool interrupted = false;
  scan.SetProgress([&](const QZOpt::QZScanPoint&, std::size_t, std::size_t) {
    const py::gil_scoped_acquire lock;
    interrupted = PyErr_CheckSignals() != 0;
    return !interrupted;
  });
  const auto points = [&] {
    const py::gil_scoped_release release;
    return scan.Run(func, start);
  }();
  if (interrupted) throw py::error_already_set();
  RaisePythonError();
  const auto count = static_cast<py::ssize_t>(points.size());
  const auto n = static_cast<py::ssize_t>(func.NumVar() / 3);
  constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();
  Array energies(count);
  Array slopes(count);
  Array coords({count, n, py::ssize_t{3}});
  std::vector<bool> converged;
  std::vector<std::string> reasons;
  double* place = coords.mutable_data();
  for (std::size_t k = 0; k < points.size(); ++k) {
    const QZOpt::QZScanPoint& point = points[k];
    const bool reached = !point.x.empty();
    energies.mutable_data()[k] = reached ? point.energy : kNothing;
    slopes.mutable_data()[k] = point.slopes.empty() ? kNothing : point.slopes.front() * unit;
    place = reached ? std::copy(point.x.begin(), point.x.end(), place)
                    : std::fill_n(place, func.NumVar(), kNothing);
    converged.push_back(point.converged);
    reasons.push_back(point.message);
  }
  py::dict result;
  result["values"] = values;
  result["energies"] = energies;
  result["coords"] = coords;
  result["slopes"] = slopes;
  result["converged"] = converged;
  result["messages"] = reasons;
  return result;
}

}  // namespace

void DefineAnalyses(py::module_& m) {
  m.def("_normal_modes", &NormalModes);
  m.def("_scan", &Scan);
}

}  // namespace MolPotentialPython
