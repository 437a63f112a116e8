// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "molpotential/molpotential.h"
#include "qzchem/qzchem.h"

namespace MolPotentialPython {

namespace py = pybind11;

/// Contiguous doubles; a NumPy array of that kind comes in without a copy.
using Array = py::array_t<double, py::array::c_style | py::array::forcecast>;

/// Raised in Python as molpotential.MolPotentialError and its subclasses.
struct Error : std::runtime_error {
  using std::runtime_error::runtime_error;
};
struct InputError : Error {
  using Error::Error;
};
struct TypingError : Error {
  using Error::Error;
};

/// What the library says on this thread while the object lives.
class Messages {
 public:
  Messages();
  Messages(const Messages&) = delete;
  Messages& operator=(const Messages&) = delete;
  ~Messages();
  /// Everything said so far in one line, for an exception; nothing is left to deliver.
  std::string Take();
  /// Info goes to logging, the rest to warnings, which may raise. Needs the interpreter's lock.
  void Deliver();
  /// Takes the place of the library's message sink, once.
  static void Install();

 private:
  std::vector<std::pair<QZSystem::QZErrorLevel, std::string>> messages_;
  Messages* outer_;
};

/// An exception of Python code that the library called back on this thread, kept while the call
/// unwinds through C++ that may not see it.
void KeepPythonError(py::error_already_set& error);
/// Hands it over, to be raised on another thread; null where there was none.
std::unique_ptr<py::error_already_set> TakePythonError();
void RaisePythonError();

/// Looks for an interrupt from the keyboard now and then, since that takes the interpreter's lock.
class SignalWatch {
 public:
  /// True when one came; it is kept as KeyboardInterrupt.
  bool Interrupted();

 private:
  std::chrono::steady_clock::time_point next_{};
};

/// Calls `work` without the interpreter's lock; then delivers messages and raises what Python code
/// called by it has raised.
template <class Work>
auto Unlocked(Work&& work) {
  Messages messages;
  const auto finish = [&messages] {
    RaisePythonError();
    messages.Deliver();
  };
  try {
    if constexpr (std::is_void_v<decltype(work())>) {
      {
        const py::gil_scoped_release release;
        work();
      }
      finish();
    } else {
      auto result = [&] {
        const py::gil_scoped_release release;
        return work();
      }();
      finish();
      return result;
    }
  } catch (const std::exception&) {
    RaisePythonError();
    throw;
  }
}

/// A molecule without holes.
struct Molecule {
  QZChem::QZGraphMol mol;
};
using MoleculePtr = std::shared_ptr<Molecule>;
MoleculePtr MakeMolecule(QZChem::QZGraphMol mol);

/// Atoms as indices or as a selection in words.
using Atoms = std::variant<std::string, std::vector<unsigned int>>;
/// Python's str, int, sequence of int or mask (N,) of bool.
Atoms ToAtoms(const py::object& atoms);
/// The indices in the order given, those of a selection ascending. Throws InputError, with `what`
/// in front, for atoms that are not there and for none at all.
std::vector<unsigned int> Resolve(const Atoms& atoms,
                                  const QZChem::QZGraphMol& mol,
                                  const char* what);

/// True for the atoms of these indices, in copies of the molecule as well.
inline auto Members(const std::vector<unsigned int>& indices) {
  return QZSystem::QZMakeUnaryPredicate<QZChem::QZAtomBase>(
      [members = std::set<unsigned int>(indices.begin(), indices.end())](
          const QZChem::QZAtomBase& atom) { return members.contains(atom.GetIndex()); });
}

/// Coordinates as a caller gives them, (N, 3) or flat, checked against the number of variables.
const double* Variables(const Array& x, std::size_t expected);
/// An array shaped as `x`.
Array Like(const Array& x);
Array MakeArray(std::vector<py::ssize_t> shape, const double* values);
/// The symmetric matrix of a packed lower triangle.
Array Unpack(const std::vector<double>& packed, std::size_t n);

/// An energy term as Python holds it: it makes functions for molecules, and may be bound to one.
class Function : public std::enable_shared_from_this<Function> {
 public:
  Function() = default;
  Function(const Function&) = delete;
  Function& operator=(const Function&) = delete;
  virtual ~Function() = default;

  /// A function that is set up on `mol`. Throws Error with the library's reason.
  virtual std::unique_ptr<QZMolPotential::QZMolFunc2> Make(const QZChem::QZGraphMol& mol) = 0;
  void Bind(MoleculePtr mol);
  /// Whether `other` is this function or part of it.
  virtual bool Contains(const Function& other) const { return &other == this; }
  const MoleculePtr& GetMolecule() const { return mol_; }
  /// Throws InputError before `Bind`, and when atoms were added to the molecule since.
  QZMolPotential::QZMolFunc2& Bound() const;
  /// A copy of the bound function, which others may set up and evaluate meanwhile.
  std::unique_ptr<QZMolPotential::QZMolFunc2> Copy() const;
  /// Held during evaluations, without the interpreter's lock: threads take turns. A Python term may
  /// evaluate the function that it is part of.
  std::recursive_mutex& Mutex() const { return mutex_; }

 protected:
  MoleculePtr mol_;
  std::unique_ptr<QZMolPotential::QZMolFunc2> func_;

 private:
  mutable std::recursive_mutex mutex_;
};

/// A function that others can be added to.
class Summed : public Function {
 public:
  std::unique_ptr<QZMolPotential::QZMolFunc2> Make(const QZChem::QZGraphMol& mol) override;
  void Add(const std::shared_ptr<Function>& term);
  bool Contains(const Function& other) const override;

 protected:
  /// What the terms are added to, set up on `mol`.
  virtual std::unique_ptr<QZMolPotential::QZGenericFF2> MakeBase(const QZChem::QZGraphMol& mol) = 0;

 private:
  std::vector<std::shared_ptr<Function>> terms_;
};

/// A function without a Hessian gets one by differences.
std::unique_ptr<QZMolPotential::QZMolFunc2> WithHessian(
    std::unique_ptr<QZMolPotential::QZMolFunc1> func);

/// Sets `func` up on `mol` or throws what the library says about it.
template <class Exception = Error>
void SetUp(QZMolPotential::QZMolFunc& func, const QZChem::QZGraphMol& mol, const char* what) {
  Messages messages;
  const bool good = [&] {
    const py::gil_scoped_release release;
    return func.Setup(mol);
  }();
  if (good) return messages.Deliver();
  const std::string reason = messages.Take();
  throw Exception(reason.empty() ? std::string(what) + " cannot be set up" : reason);
}

using MoleculeClass = py::class_<Molecule, MoleculePtr>;
MoleculeClass DefineMolecules(py::module_& m);
void DefineFiles(py::module_& m, MoleculeClass& molecule);
void DefineChemistry(py::module_& m, MoleculeClass& molecule);
void DefineFunctions(py::module_& m);
void DefineTerms(py::module_& m);
void DefineForceField(py::module_& m);
void DefineMinimisers(py::module_& m);
void DefineAnalyses(py::module_& m);
void DefineHosts(py::module_& m);

}  // namespace MolPotentialPython
