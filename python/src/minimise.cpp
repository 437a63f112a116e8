// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <atomic>
#include <thread>

#include "constraints.h"
#include "coordinates.h"
#include "forcefields/forcefields.h"
#include "qzopt/optimizers.h"

namespace MolPotentialPython {
namespace {

namespace QZ = QZMolPotential;
using QZOpt::QZOptOptions;
using QZOpt::QZOptResult;

/// Tells Python of every iteration; an interrupt from the keyboard, an exception or False of the
/// callback ends the run.
class Observer final : public QZOpt::QZCheckpoint1 {
 public:
  Observer(py::object callback, const QZ::QZCoordinateFunc& func, std::size_t numCoords)
      : callback_(std::move(callback)), func_(func), coords_(numCoords) {}
  bool operator()(unsigned int, unsigned int, double, const double*, unsigned int) override {
    return true;
  }
  bool operator()(unsigned int iteration,
                  unsigned int /*numVar*/,
                  double energy,
                  double gradientNorm,
                  const double* x,
                  const double* /*grad*/,
                  unsigned int /*state*/) override {
    const py::gil_scoped_acquire lock;
    try {
      if (PyErr_CheckSignals() != 0) throw py::error_already_set();
      if (callback_.is_none()) return true;
      func_.AdaptVar(coords_.data(), x);
      const auto n = static_cast<py::ssize_t>(coords_.size() / 3);
      const py::object answer =
          callback_(iteration, energy, gradientNorm, MakeArray({n, 3}, coords_.data()));
      return answer.is_none() || answer.cast<bool>();
    } catch (py::error_already_set& error) {
      KeepPythonError(error);
    } catch (const py::cast_error&) {
      return true;  // anything that is no truth value goes on
    }
    return false;
  }

 private:
  py::object callback_;
  const QZ::QZCoordinateFunc& func_;
  std::vector<double> coords_;
};

QZOptOptions Options(double gradientTolerance,
                     unsigned int maxIterations,
                     const std::string& method) {
  QZOptOptions options;
  if (!(gradientTolerance > 0.0)) throw InputError("the gradient tolerance must be positive");
  options.gradientTolerance = gradientTolerance;
  options.maxIterations = maxIterations;
  if (method == "auto") {
    options.method = QZOpt::QZOptMethod::Auto;
  } else if (method == "quasi-newton") {
    options.method = QZOpt::QZOptMethod::QuasiNewton;
  } else if (method == "newton") {
    options.method = QZOpt::QZOptMethod::Newton;
  } else {
    throw InputError("there is no method \"" + method + "\"");
  }
  return options;
}

py::dict ResultOf(const QZOptResult& result) {
  py::dict out;
  out["energy"] = result.energy;
  out["converged"] = result.converged;
  out["gradient_norm"] = result.gradientNorm;
  out["iterations"] = result.iterations;
  out["evaluations"] = result.evaluations;
  out["message"] = result.message;
  return out;
}

py::dict Minimise(std::shared_ptr<Function> function,
                  const Array& x0,
                  const std::string& coordinates,
                  double gradientTolerance,
                  unsigned int maxIterations,
                  const std::string& method,
                  const FixedAtoms& fixed,
                  const py::list& constraints,
                  py::object callback) {
  const QZOptOptions options = Options(gradientTolerance, maxIterations, method);
  Coordinates system(std::move(function), coordinates, x0, fixed, std::nullopt);
  Observer observer(std::move(callback), system.Func(), static_cast<std::size_t>(x0.size()));
  std::vector<double>& v = system.Start();
  if (py::len(constraints) == 0) {
    QZOpt::QZMinimizer minimizer(options);
    minimizer.SetScales(system.Func().GetScales());
    py::dict out =
        ResultOf(Unlocked([&] { return minimizer.Minimize(system.Func(), v.data(), &observer); }));
    out["coords"] = system.Cartesian(system.StartArray());
    return out;
  }
  const ConstraintSet held(constraints, system);
  QZOpt::QZConstrainedMinimizer minimizer(options);
  minimizer.SetScales(system.Func().GetScales());
  held.AddTo(minimizer);
  py::dict out =
      ResultOf(Unlocked([&] { return minimizer.Minimize(system.Func(), v.data(), &observer); }));
  out["multipliers"] = minimizer.GetMultipliers();
  out["coords"] = system.Cartesian(system.StartArray());
  return out;
}

/// All conformers of one molecule, each from its own coordinates; `coords` (C, N, 3) in and out.
std::vector<std::pair<bool, double>> MinimiseConformers(const MoleculePtr& mol,
                                                        const std::string& forceField,
                                                        Array& coords,
                                                        double gradientTolerance,
                                                        unsigned int maxIterations,
                                                        unsigned int threads) {
  const std::size_t n = std::size_t{3} * mol->mol.NumAtoms();
  if (coords.ndim() != 3 || static_cast<std::size_t>(coords.size()) % n != 0) {
    throw InputError("conformers must be an array of shape (C, N, 3)");
  }
  const auto count = static_cast<std::size_t>(coords.shape(0));
  QZ::QZForceFieldKind kind{};
  if (!QZ::QZFindForceField(forceField.c_str(), kind)) {
    throw InputError("there is no force field \"" + forceField + "\"");
  }
  const QZOptOptions options = Options(gradientTolerance, maxIterations, "auto");
  QZ::QZStandardFF field(kind);
  SetUp<TypingError>(field, mol->mol, forceField.c_str());
  std::vector<std::pair<bool, double>> results(count);
  double* x = coords.mutable_data();
  Unlocked([&] {
    std::atomic<std::size_t> next{0};
    const auto work = [&] {
      QZ::QZStandardFF own(field);
      for (std::size_t c = next++; c < count; c = next++) {
        const QZOptResult result = QZOpt::QZMinimizer(options).Minimize(own, x + c * n);
        results[c] = {result.converged, result.energy};
      }
    };
    std::vector<std::thread> others;
    for (unsigned int k = 1; k < threads && k < count; ++k) others.emplace_back(work);
    work();
    for (auto& thread : others) thread.join();
  });
  return results;
}

}  // namespace

void DefineMinimisers(py::module_& m) {
  m.def("_minimize", &Minimise);
  m.def("_minimize_conformers", &MinimiseConformers);
}

}  // namespace MolPotentialPython
