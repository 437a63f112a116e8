// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates.h"

#include <set>

namespace MolPotentialPython {
namespace {

namespace QZ = QZMolPotential;

QZ::QZCoordinates FindCoordinates(const std::string& name) {
  QZ::QZCoordinates kind{};
  if (!QZ::QZFindCoordinates(name.c_str(), kind)) {
    throw InputError("there are no coordinates \"" + name + "\"");
  }
  return kind;
}

}  // namespace

Coordinates::Coordinates(std::shared_ptr<Function> function,
                         const std::string& kind,
                         const Array& x0,
                         const FixedAtoms& fixed,
                         std::optional<bool> overallMotion)
    : function_(std::move(function)),
      func_(function_->Bound(), /*own=*/false, FindCoordinates(kind)) {
  const MoleculePtr& mol = function_->GetMolecule();
  const double* x = Variables(x0, std::size_t{3} * mol->mol.NumAtoms());
  if (overallMotion.has_value()) func_.SetOverallMotion(*overallMotion);
  if (fixed.has_value()) {
    const std::set<unsigned int> members(fixed->begin(), fixed->end());
    if (!members.empty() && *members.rbegin() >= mol->mol.NumAtoms()) {
      throw InputError("there is no atom " + std::to_string(*members.rbegin()));
    }
    func_.SetFixed(QZSystem::QZMakeUnaryPredicate<QZChem::QZAtomBase>(
        [members](const QZChem::QZAtomBase& atom) { return members.contains(atom.GetIndex()); }));
  }
  SetUp(func_, mol->mol, kind.c_str());
  Messages messages;
  if (!func_.SetupConf(x)) {
    const std::string reason = messages.Take();
    throw InputError(reason.empty() ? "the starting coordinates are refused" : reason);
  }
  start_.resize(func_.NumVar());
  func_.GetVar(start_.data(), x);
  shape_.assign(x0.shape(), x0.shape() + x0.ndim());
  numCoords_ = std::size_t{3} * mol->mol.NumAtoms();
}

Array Coordinates::StartArray() const {
  return MakeArray({static_cast<py::ssize_t>(start_.size())}, start_.data());
}

Array Coordinates::Scales() const {
  const std::vector<double> scales = func_.GetScales();
  return MakeArray({static_cast<py::ssize_t>(scales.size())}, scales.data());
}

double Coordinates::Energy(const Array& v) {
  const double* vars = Variables(v, func_.NumVar());
  return Unlocked([&] { return func_(vars); });
}

py::tuple Coordinates::EnergyAndGradient(const Array& v) {
  const double* vars = Variables(v, func_.NumVar());
  Array grad = Like(v);
  double* out = grad.mutable_data();
  const double energy = Unlocked([&] { return func_(vars, out); });
  return py::make_tuple(energy, grad);
}

Array Coordinates::Hessian(const Array& v) {
  const std::size_t n = func_.NumVar();
  const double* vars = Variables(v, n);
  std::vector<double> packed(n * (n + 1) / 2);
  if (!Unlocked([&] { return func_(vars, packed.data(), nullptr); })) {
    throw Error("the Hessian cannot be computed");
  }
  return Unpack(packed, n);
}

Array Coordinates::Cartesian(const Array& v) {
  const double* vars = Variables(v, func_.NumVar());
  std::vector<double> coords(numCoords_);
  if (!Unlocked([&] { return func_.AdaptVar(coords.data(), vars); })) {
    throw Error("no coordinates belong to these variables");
  }
  return MakeArray(shape_, coords.data());
}

void DefineCoordinates(py::module_& m) {
  py::class_<Coordinates>(
      m,
      "Coordinates",
      R"(A bound function in other variables: "cartesian", "degfree", "rigid", "cluster", "redundant",
"internal", "zmatrix", "torsion" or "torsion-rigid", starting at `x0`.

fixed: indices of atoms that do not move. overall_motion: whether overall translation and rotation
are variables; None: as the function needs it.)")
      .def(py::init<std::shared_ptr<Function>,
                    const std::string&,
                    const Array&,
                    const FixedAtoms&,
                    std::optional<bool>>(),
           py::arg("f"),
           py::arg("kind"),
           py::arg("x0"),
           py::arg("fixed") = py::none(),
           py::arg("overall_motion") = py::none())
      .def_property_readonly("start", &Coordinates::StartArray, "The variables at `x0`.")
      .def_property_readonly("scales", &Coordinates::Scales, "One typical change a variable.")
      .def("energy", &Coordinates::Energy, py::arg("q"))
      .def("energy_and_gradient", &Coordinates::EnergyAndGradient, py::arg("q"))
      .def("hessian", &Coordinates::Hessian, py::arg("q"))
      .def("cartesian",
           &Coordinates::Cartesian,
           py::arg("q"),
           "Coordinates shaped as `x0`, in its frame.");
}

}  // namespace MolPotentialPython
