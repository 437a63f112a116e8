// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <atomic>
#include <thread>

#include "constraints.h"
#include "coordinates.h"
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
  Observer(py::object callback, const Presented& system)
      : callback_(std::move(callback)), system_(system), coords_(system.NumCoords()) {}
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
    if (signals_.Interrupted()) return false;
    if (callback_.is_none()) return true;
    if (!system_.Func().AdaptVar(coords_.data(), x)) return true;
    const py::gil_scoped_acquire lock;
    try {
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
  const Presented& system_;
  std::vector<double> coords_;
  SignalWatch signals_;
};

/// Of several runs at once: any of them stops where one is to.
class Flag final : public QZOpt::QZCheckpoint1 {
 public:
  Flag(std::atomic<bool>& stop, bool watchesSignals) : stop_(stop), watches_(watchesSignals) {}
  bool operator()(unsigned int, unsigned int, double, const double*, unsigned int) override {
    return true;
  }
  bool operator()(unsigned int,
                  unsigned int,
                  double,
                  double,
                  const double*,
                  const double*,
                  unsigned int) override {
    if (watches_ && signals_.Interrupted()) stop_ = true;
    return !stop_;
  }

 private:
  std::atomic<bool>& stop_;
  bool watches_;
  SignalWatch signals_;
};

py::dict ResultOf(const QZOptResult& result) {
  py::dict out;
  out["energy"] = result.energy;
  out["converged"] = result.converged;
  out["gradient_norm"] = result.gradientNorm;
  out["iterations"] = result.iterations;
  out["evaluations"] = result.evaluations;
  out["message"] = result.message;
  out["method"] = result.method == QZOpt::QZOptMethod::Newton ? "newton" : "quasi-newton";
  return out;
}

py::dict Minimise(const Function& function,
                  const Array& x0,
                  const std::string& coordinates,
                  const QZOptOptions& options,
                  const py::object& fixed,
                  const py::object& move,
                  const py::list& constraints,
                  py::object callback) {
  const double* x = Variables(x0, function.Bound().NumVar());
  Presented system(function, coordinates, x, Still(fixed, move));
  ConstraintSet held(constraints, system.Mol());
  Observer observer(std::move(callback), system);
  std::vector<double> v = system.Variables();
  Array coords = Like(x0);
  double* out = coords.mutable_data();
  const auto finish = [&] {
    if (!system.Func().AdaptVar(out, v.data())) throw Error("the result has no finite geometry");
  };
  py::dict result;
  if (held.Empty()) {
    QZOpt::QZMinimizer minimizer(options);
    minimizer.SetScales(system.Func().GetScales());
    result = ResultOf(Unlocked([&] {
      QZOptResult found = minimizer.Minimize(system.Func(), v.data(), &observer);
      finish();
      return found;
    }));
  } else {
    QZOpt::QZConstrainedMinimizer minimizer(options);
    minimizer.SetScales(system.Func().GetScales());
    held.AddTo(minimizer, system.Func());
    result = ResultOf(Unlocked([&] {
      QZOptResult found = minimizer.Minimize(system.Func(), v.data(), &observer);
      finish();
      return found;
    }));
    result["multipliers"] = minimizer.GetMultipliers();
  }
  result["coords"] = coords;
  result["coordinates"] = coordinates;
  result["variables"] = v.size();
  return result;
}

/// One thread's share of the conformers.
class Worker {
 public:
  Worker(const Function& function,
         const std::string& coordinates,
         const double* x,
         const Still& still,
         const QZOptOptions& options)
      : system_(function, coordinates, x, still), minimizer_(options) {
    minimizer_.SetScales(system_.Func().GetScales());
  }
  /// `x`: all coordinates, in and out.
  QZOptResult Run(double* x, QZOpt::QZCheckpoint1& checkpoint) {
    if (!system_.Start(x)) throw Error("the starting coordinates are refused");
    std::vector<double>& v = system_.Variables();
    QZOptResult result = minimizer_.Minimize(system_.Func(), v.data(), &checkpoint);
    if (!system_.Func().AdaptVar(x, v.data())) throw Error("the result has no finite geometry");
    return result;
  }

 private:
  Presented system_;
  QZOpt::QZMinimizer minimizer_;
};

/// Each from its own coordinates, which are changed: `coords` (C, N, 3), contiguous doubles.
py::list MinimiseConformers(const Function& function,
                            py::array_t<double> coords,
                            const std::string& coordinates,
                            const QZOptOptions& options,
                            const py::object& fixed,
                            const py::object& move,
                            unsigned int threads) {
  const std::size_t n = function.Bound().NumVar();
  if (coords.ndim() != 3 || static_cast<std::size_t>(coords.shape(1) * coords.shape(2)) != n) {
    throw InputError("conformers must be an array of shape (C, N, 3)");
  }
  const auto count = static_cast<std::size_t>(coords.shape(0));
  double* x = coords.mutable_data();
  const Still still(fixed, move);
  std::vector<std::unique_ptr<Worker>> workers;
  while (workers.size() < std::max(1U, threads) && workers.size() < count) {
    workers.push_back(std::make_unique<Worker>(function, coordinates, x, still, options));
  }
  std::vector<QZOptResult> results(count);
  std::vector<std::exception_ptr> faults(workers.size());
  std::vector<std::unique_ptr<py::error_already_set>> errors(workers.size());
  std::atomic<std::size_t> next{0};
  std::atomic<bool> stop{false};
  const auto work = [&](std::size_t k) {
    Flag flag(stop, /*watchesSignals=*/k == 0);
    try {
      for (std::size_t c = next++; c < count && !stop; c = next++) {
        results[c] = workers[k]->Run(x + c * n, flag);
      }
    } catch (...) {
      faults[k] = std::current_exception();
    }
    errors[k] = TakePythonError();
    if (faults[k] != nullptr || errors[k] != nullptr) stop = true;
  };
  if (count > 0) {
    Unlocked([&] {
      std::vector<std::thread> others;
      for (std::size_t k = 1; k < workers.size(); ++k) others.emplace_back(work, k);
      work(0);
      for (auto& thread : others) thread.join();
    });
  }
  for (const auto& error : errors) {
    if (error != nullptr) throw py::error_already_set(*error);
  }
  for (const auto& fault : faults) {
    if (fault != nullptr) std::rethrow_exception(fault);
  }
  py::list all;
  for (const QZOptResult& result : results) all.append(ResultOf(result));
  return all;
}

QZOptOptions MakeOptions(double gradientTolerance,
                         unsigned int maxIterations,
                         const std::string& method,
                         std::optional<double> maxSeconds) {
  QZOptOptions options;
  if (!(gradientTolerance > 0.0)) throw InputError("the gradient tolerance must be positive");
  if (maxSeconds.has_value() && !(*maxSeconds > 0.0)) {
    throw InputError("max_seconds must be positive");
  }
  options.gradientTolerance = gradientTolerance;
  options.maxIterations = maxIterations;
  options.maxSeconds = maxSeconds.value_or(0.0);
  if (method == "auto") {
    options.method = QZOpt::QZOptMethod::Auto;
  } else if (method == "quasi-newton") {
    options.method = QZOpt::QZOptMethod::QuasiNewton;
  } else if (method == "newton") {
    options.method = QZOpt::QZOptMethod::Newton;
  } else {
    throw InputError("there is no method \"" + method + "\" (auto, quasi-newton, newton)");
  }
  return options;
}

}  // namespace

void DefineMinimisers(py::module_& m) {
  py::class_<QZOptOptions>(m, "_Options")
      .def(py::init(&MakeOptions),
           py::arg("gradient_tolerance") = QZOptOptions().gradientTolerance,
           py::arg("max_iterations") = QZOptOptions().maxIterations,
           py::arg("method") = "auto",
           py::arg("max_seconds") = py::none());
  m.def("_minimize", &Minimise);
  m.def("_minimize_conformers", &MinimiseConformers);
}

}  // namespace MolPotentialPython
