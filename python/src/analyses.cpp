// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <cmath>
#include <limits>

#include "constraints.h"
#include "coordinates.h"

namespace MolPotentialPython {
namespace {

namespace QZ = QZMolPotential;

py::dict NormalModes(Coordinates& coordinates,
                     const Array& x,
                     double temperature,
                     double lowest,
                     const std::vector<double>& masses,
                     bool atomsHeld) {
  Presented& system = coordinates.System();
  const double* coords = Variables(x, system.NumCoords());
  QZ::QZNormalModesOptions options;
  options.temperature = temperature;
  options.lowestFrequency = lowest;
  options.masses = masses;
  options.atomsHeld = atomsHeld;
  const QZ::QZNormalModes found = Unlocked(
      [&] { return QZ::QZComputeNormalModes(system.Func(), system.Mol(), coords, options); });
  if (!found.valid) throw Error(found.message);
  const auto count = static_cast<py::ssize_t>(found.frequencies.size());
  const auto atoms = static_cast<py::ssize_t>(system.Mol().NumAtoms());
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

Array Animate(const Array& mode, const Array& x, unsigned int frames, double amplitude) {
  const double* rest = Variables(x, static_cast<std::size_t>(mode.size()));
  const std::vector<double> values(mode.data(), mode.data() + mode.size());
  const auto geometries = QZ::QZAnimateMode(values, rest, frames, amplitude);
  Array result({static_cast<py::ssize_t>(geometries.size()), mode.size() / 3, py::ssize_t{3}});
  double* out = result.mutable_data();
  for (const auto& geometry : geometries) out = std::copy(geometry.begin(), geometry.end(), out);
  return result;
}

/// Throws, out of a minimisation that reports nothing itself, for an interrupt from the keyboard.
class Interruptible final : public QZOpt::QZConstrFunc {
 public:
  explicit Interruptible(QZOpt::QZConstrFunc& constraint) : constraint_(constraint) {}
  unsigned int NumVar() const override { return constraint_.NumVar(); }
  double operator()(const double* x) override {
    check();
    return constraint_(x);
  }
  double operator()(const double* x, double* grad) override {
    check();
    return constraint_(x, grad);
  }
  bool WasInterrupted() const { return interrupted_; }

 private:
  void check() {
    interrupted_ = interrupted_ || signals_.Interrupted();
    if (interrupted_) throw Error("interrupted");
  }
  QZOpt::QZConstrFunc& constraint_;
  SignalWatch signals_;
  bool interrupted_ = false;
};

/// A driven distance, angle or torsion.
struct Driven {
  Driven(const py::tuple& drive, const QZChem::QZGraphMol& mol)
      : kind(drive[0].cast<std::string>()),
        unit(UnitOf(kind)),
        constraint(MakeConstraint(kind, drive[1], py::none(), mol)),
        watched(*constraint) {
    for (const py::handle& value : drive[2]) {
      targets.push_back(value.cast<double>() * unit);
      if (!std::isfinite(targets.back())) throw InputError("the values of a scan must be finite");
    }
    if (targets.empty()) throw InputError("a scan needs values");
  }
  std::string kind;
  double unit;
  std::unique_ptr<QZ::QZGeometryConstr> constraint;
  Interruptible watched;
  std::vector<double> targets;
};

/// Tells Python of every minimisation; see `Observer` of minimisations.
bool Report(const py::object& callback,
            const QZOpt::QZScanPoint& point,
            std::size_t run,
            std::size_t runs) {
  if (callback.is_none()) return true;
  const py::gil_scoped_acquire lock;
  try {
    const py::object answer = callback(run, runs, point.energy);
    return answer.is_none() || answer.cast<bool>();
  } catch (py::error_already_set& error) {
    KeepPythonError(error);
  } catch (const py::cast_error&) {
    return true;
  }
  return false;
}

py::dict ScanResult(const std::vector<QZOpt::QZScanPoint>& points,
                    const std::vector<std::unique_ptr<Driven>>& drives,
                    std::size_t numCoords) {
  const auto count = static_cast<py::ssize_t>(points.size());
  constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();
  Array energies(count);
  Array slopes({count, static_cast<py::ssize_t>(drives.size())});
  Array coords({count, static_cast<py::ssize_t>(numCoords / 3), py::ssize_t{3}});
  py::array_t<bool> converged(count);
  py::list messages;
  double* place = coords.mutable_data();
  double* slope = slopes.mutable_data();
  for (std::size_t k = 0; k < points.size(); ++k) {
    const QZOpt::QZScanPoint& point = points[k];
    const bool reached = !point.x.empty();
    energies.mutable_data()[k] = reached ? point.energy : kNothing;
    for (std::size_t d = 0; d < drives.size(); ++d) {
      *slope++ = d < point.slopes.size() ? point.slopes[d] * drives[d]->unit : kNothing;
    }
    place = reached ? std::copy(point.x.begin(), point.x.end(), place)
                    : std::fill_n(place, numCoords, kNothing);
    converged.mutable_data()[k] = point.converged;
    messages.append(point.message);
  }
  py::dict result;
  result["energies"] = energies;
  result["coords"] = coords;
  result["slopes"] = slopes;
  result["converged"] = converged;
  result["messages"] = messages;
  return result;
}

/// `drives`: one or two tuples of kind, atoms and values.
py::dict Scan(const Function& function,
              const Array& x0,
              const py::list& drives,
              const py::list& constraints,
              const QZOpt::QZOptOptions& options,
              const py::object& callback) {
  const auto func = function.Copy();
  const double* start = Variables(x0, func->NumVar());
  QZChem::QZGraphMol mol = function.GetMolecule()->mol;
  mol.SetCoords(start);
  SetUp(*func, mol, "the function");
  func->SetupConf(start);
  QZOpt::QZRelaxedScan scan(options);
  std::vector<std::unique_ptr<Driven>> driven;
  for (const py::handle& drive : drives) {
    driven.push_back(std::make_unique<Driven>(drive.cast<py::tuple>(), mol));
    QZ::QZGeometryConstr& constraint = *driven.back()->constraint;
    const bool taken = scan.Drive(
        driven.back()->watched,
        [&constraint](double target) { constraint.SetTarget(target); },
        driven.back()->targets);
    if (!taken) throw InputError("a scan drives one or two coordinates");
  }
  const ConstraintSet held(constraints, mol);
  held.AddTo(scan);
  scan.SetPlace([&](const std::vector<double>&, double* x) {
    mol.SetCoords(x);
    for (const auto& one : driven) one->constraint->Place(mol);
    mol.GetCoords(x);
  });
  scan.SetProgress([&](const QZOpt::QZScanPoint& point, std::size_t run, std::size_t runs) {
    for (const auto& one : driven) {
      if (one->watched.WasInterrupted()) return false;
    }
    return Report(callback, point, run, runs);
  });
  const auto points = Unlocked([&] { return scan.Run(*func, start); });
  return ScanResult(points, driven, func->NumVar());
}

template <class F>
py::dict Check(F& func, const Array& x, bool hessian, double step, std::recursive_mutex& mutex) {
  const double* vars = Variables(x, func.NumVar());
  QZ::QZCheckFunc check;
  check.SetCheckHessian(hessian);
  if (!check.SetStep(step)) throw InputError("the step must be positive");
  const auto found = Unlocked([&] {
    const std::lock_guard turn(mutex);
    return check.Check(func, vars);
  });
  if (found.hessianFailed) throw Error("the Hessian cannot be computed");
  py::dict result;
  result["gradient"] = found.gradient.error;
  result["gradient_at"] = found.gradient.variable;
  if (found.hasHessian) {
    result["hessian"] = found.hessian.error;
    result["hessian_at"] = py::make_tuple(found.hessian.variable, found.hessian.otherVariable);
  }
  return result;
}

}  // namespace

void DefineAnalyses(py::module_& m) {
  m.def("_normal_modes", &NormalModes);
  m.def("_animate", &Animate);
  m.def("_scan", &Scan);
  m.def("_check", [](Function& f, const Array& x, bool hessian, double step) {
    return Check(f.Bound(), x, hessian, step, f.Mutex());
  });
  m.def("_check", [](Coordinates& v, const Array& x, bool hessian, double step) {
    return Check(v.System().Func(), x, hessian, step, v.Mutex());
  });
}

}  // namespace MolPotentialPython
