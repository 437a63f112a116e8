// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>

#include "coordinates.h"

namespace MolPotentialPython {
namespace {

thread_local Messages* currentMessages = nullptr;
thread_local std::unique_ptr<py::error_already_set> pythonError;

}  // namespace

Messages::Messages() : outer_(std::exchange(currentMessages, this)) {}

Messages::~Messages() {
  currentMessages = outer_;
}

void Messages::Install() {
  QZSystem::QZThrow.SetSink([](QZSystem::QZErrorLevel level, const std::string& text) {
    if (currentMessages != nullptr) currentMessages->messages_.emplace_back(level, text);
  });
}

std::string Messages::Take() {
  std::string all;
  for (const auto& [level, text] : messages_) all += (all.empty() ? "" : "; ") + text;
  messages_.clear();
  return all;
}

void Messages::Deliver() {
  for (const auto& [level, text] : std::exchange(messages_, {})) {
    if (level == QZSystem::QZErrorLevel::Info) {
      py::module_::import("logging").attr("getLogger")("molpotential").attr("info")("%s", text);
    } else if (PyErr_WarnEx(PyExc_RuntimeWarning, text.c_str(), 1) != 0) {
      throw py::error_already_set();
    }
  }
}

void KeepPythonError(py::error_already_set& error) {
  if (pythonError == nullptr) pythonError = std::make_unique<py::error_already_set>(error);
}

std::unique_ptr<py::error_already_set> TakePythonError() {
  return std::exchange(pythonError, nullptr);
}

void RaisePythonError() {
  if (const auto kept = TakePythonError()) throw py::error_already_set(*kept);
}

bool SignalWatch::Interrupted() {
  constexpr auto kInterval = std::chrono::milliseconds(50);
  const auto now = std::chrono::steady_clock::now();
  if (now < next_) return false;
  next_ = now + kInterval;
  const py::gil_scoped_acquire lock;
  if (PyErr_CheckSignals() == 0) return false;
  py::error_already_set error;
  KeepPythonError(error);
  return true;
}

Atoms ToAtoms(const py::object& atoms) {
  if (py::isinstance<py::str>(atoms)) return atoms.cast<std::string>();
  const auto array = py::array::ensure(atoms);
  if (!array || array.ndim() > 1) throw InputError("atoms are indices or a selection in words");
  std::vector<unsigned int> indices;
  if (array.dtype().kind() == 'b') {
    const auto mask = array.cast<py::array_t<bool, py::array::c_style>>();
    for (py::ssize_t i = 0; i < mask.size(); ++i) {
      if (mask.data()[i]) indices.push_back(static_cast<unsigned int>(i));
    }
    return indices;
  }
  if (array.size() == 0) return indices;
  if (array.dtype().kind() != 'i' && array.dtype().kind() != 'u') {
    throw InputError("atoms are indices or a selection in words");
  }
  const auto numbers = array.cast<py::array_t<long long, py::array::c_style>>();
  for (py::ssize_t i = 0; i < numbers.size(); ++i) {
    const long long number = numbers.data()[i];
    if (number < 0 || number > 0x7fffffff) {
      throw InputError("there is no atom " + std::to_string(number));
    }
    indices.push_back(static_cast<unsigned int>(number));
  }
  return indices;
}

std::vector<unsigned int> Resolve(const Atoms& atoms,
                                  const QZChem::QZGraphMol& mol,
                                  const char* what) {
  if (const auto* text = std::get_if<std::string>(&atoms)) {
    QZChem::QZSelection selection;
    std::vector<unsigned int> found;
    std::string error;
    if (!selection.Init(*text, /*firstNumber=*/0)) {
      error = selection.GetError();
    } else if (selection.Select(mol, found, error) && found.empty()) {
      error = "matches nothing";
    }
    if (error.empty()) return found;
    throw InputError(std::string(what) + ": \"" + *text + "\": " + error);
  }
  const auto& indices = std::get<std::vector<unsigned int>>(atoms);
  for (const unsigned int index : indices) {
    if (mol.GetAtom(index) != nullptr) continue;
    throw InputError(std::string(what) + ": there is no atom " + std::to_string(index) +
                     ", the molecule has " + std::to_string(mol.NumAtoms()));
  }
  return indices;
}

const double* Variables(const Array& x, std::size_t expected) {
  if (static_cast<std::size_t>(x.size()) != expected) {
    throw InputError("expected " + std::to_string(expected) + " numbers, not " +
                     std::to_string(x.size()));
  }
  return x.data();
}

Array Like(const Array& x) {
  Array result(std::vector<py::ssize_t>(x.shape(), x.shape() + x.ndim()));
  std::fill_n(result.mutable_data(), result.size(), 0.0);
  return result;
}

Array MakeArray(std::vector<py::ssize_t> shape, const double* values) {
  Array result(std::move(shape));
  std::copy_n(values, result.size(), result.mutable_data());
  return result;
}

Array Unpack(const std::vector<double>& packed, std::size_t n) {
  const auto size = static_cast<py::ssize_t>(n);
  Array result({size, size});
  double* out = result.mutable_data();
  const double* value = packed.data();
  for (std::size_t r = 0; r < n; ++r) {
    for (std::size_t c = 0; c <= r; ++c) out[r * n + c] = out[c * n + r] = *value++;
  }
  return result;
}

}  // namespace MolPotentialPython

PYBIND11_MODULE(_core, m) {
  using namespace MolPotentialPython;
  m.doc() = "The compiled part of molpotential.";
  m.attr("__version__") = MOLPOTENTIAL_VERSION;
  Messages::Install();
  const auto base = py::register_exception<Error>(m, "MolPotentialError");
  base.doc() = "What the library refused, in its own words.";
  py::register_exception<InputError>(m, "InputError", base).doc() = "Unusable arguments or files.";
  py::register_exception<TypingError>(m, "TypingError", base).doc() =
      "A molecule that a force field cannot describe.";
  auto molecule = DefineMolecules(m);
  DefineFiles(m, molecule);
  DefineChemistry(m, molecule);
  DefineFunctions(m);
  DefineTerms(m);
  DefineForceField(m);
  DefineCoordinates(m);
  DefineMinimisers(m);
  DefineAnalyses(m);
  DefineHosts(m);
}
