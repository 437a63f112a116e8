// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "user_function.h"

namespace MolPotentialPython {
namespace {

using QZMolPotential::QZMolFunc2;

// A read-only copy of the library's coordinates, since the Python code may keep it.
py::array View(const double* x, std::size_t n) {
  py::array view(py::dtype::of<double>(), {static_cast<py::ssize_t>(n)}, x);
  view.attr("flags").attr("writeable") = false;
  return view;
}

void AddTo(double* out, const py::handle& values, std::size_t n) {
  const auto array = py::reinterpret_borrow<py::object>(values).cast<Array>();
  if (static_cast<std::size_t>(array.size()) != n) throw Error("the gradient has the wrong size");
  for (std::size_t i = 0; out != nullptr && i < n; ++i) out[i] += array.data()[i];
}

[[noreturn]] void Abandon(py::error_already_set& error) {
  const std::string text = error.what();
  KeepPythonError(error);
  throw Error(text);
}

/// The library's view of it; the Python object outlives it.
class UserMolFunc final : public QZMolFunc2 {
 public:
  explicit UserMolFunc(UserFunction& user) : user_(user) {}
  bool Setup(const QZChem::QZMolBase& mol) override {
    numVar_ = 3 * mol.AtomIndexBound();
    unused_.resize(numVar_);
    return true;
  }
  unsigned int NumVar() const override { return numVar_; }
  using QZMolFunc2::operator();
  double operator()(const double* x) override { return (*this)(x, unused_.data()); }
  double operator()(const double* x, double* grad) override {
    return user_.EnergyAndGradient(x, grad, numVar_);
  }
  bool operator()(const double* x, double* hessian, double* grad) override {
    if (!user_.Hessian(x, hessian, numVar_)) QZOpt::NumericHessian(*this, x, hessian, 1e-4);
    if (grad != nullptr) (*this)(x, grad);
    return true;
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override {
    const double value = x != nullptr ? (*this)(x) : 0.0;
    return new QZSystem::QZVectorIter<QZOpt::QZFComponent>({{"Python function", value}});
  }
  QZMolFunc2* CreateCopy() const override { return new UserMolFunc(*this); }

 private:
  UserFunction& user_;
  unsigned int numVar_ = 0;
  std::vector<double> unused_;
};

}  // namespace

std::unique_ptr<QZMolFunc2> UserFunction::Make(const QZChem::QZGraphMol& mol) {
  auto func = std::make_unique<UserMolFunc>(*this);
  func->Setup(mol);
  return func;
}

double UserFunction::EnergyAndGradient(const double* x, double* grad, std::size_t n) {
  const py::gil_scoped_acquire lock;
  try {
    const py::function method = py::get_override(this, "energy_and_gradient");
    if (!method) throw Error("the function has no energy_and_gradient");
    const py::object answer = method(View(x, n));
    if (!py::isinstance<py::sequence>(answer) || py::len(answer) != 2) {
      throw Error("energy_and_gradient must return (energy, gradient)");
    }
    AddTo(grad, answer[py::int_(1)], n);
    return answer[py::int_(0)].cast<double>();
  } catch (py::error_already_set& error) {
    Abandon(error);
  } catch (const py::cast_error&) {
    throw Error("energy_and_gradient must return (energy, gradient)");
  }
}

bool UserFunction::Hessian(const double* x, double* packed, std::size_t n) {
  const py::gil_scoped_acquire lock;
  try {
    const py::function method = py::get_override(this, "hessian");
    if (!method) return false;
    const auto matrix = method(View(x, n)).cast<Array>();
    if (static_cast<std::size_t>(matrix.size()) != n * n) {
      throw Error("hessian must return an array of shape (3N, 3N)");
    }
    for (std::size_t r = 0; r < n; ++r) {
      for (std::size_t c = 0; c <= r; ++c) *packed++ += matrix.data()[r * n + c];
    }
    return true;
  } catch (py::error_already_set& error) {
    Abandon(error);
  } catch (const py::cast_error&) {
    throw Error("hessian must return an array of shape (3N, 3N)");
  }
}

}  // namespace MolPotentialPython
