// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates.h"

#include <algorithm>
#include <cmath>

#include "evaluate.h"

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

py::tuple CoordinateNames() {
  py::list names;
  for (int kind = 0; kind <= static_cast<int>(QZ::QZCoordinates::TorsionRigid); ++kind) {
    names.append(QZ::QZGetCoordinatesName(static_cast<QZ::QZCoordinates>(kind)));
  }
  return py::tuple(names);
}

std::optional<Atoms> Given(const py::object& atoms) {
  if (atoms.is_none()) return std::nullopt;
  return ToAtoms(atoms);
}

}  // namespace

Still::Still(const py::object& fixedAtoms, const py::object& movingAtoms)
    : fixed(Given(fixedAtoms)), move(Given(movingAtoms)) {}

std::vector<unsigned int> Still::Find(const QZChem::QZGraphMol& mol) const {
  std::vector<bool> held(mol.NumAtoms(), move.has_value());
  if (move.has_value()) {
    for (const unsigned int index : Resolve(*move, mol, "move")) held[index] = false;
  }
  if (fixed.has_value()) {
    for (const unsigned int index : Resolve(*fixed, mol, "fixed")) held[index] = true;
  }
  std::vector<unsigned int> atoms;
  for (unsigned int index = 0; index < held.size(); ++index) {
    if (held[index]) atoms.push_back(index);
  }
  return atoms;
}

Presented::Presented(const Function& function,
                     const std::string& kind,
                     const double* x,
                     const Still& still,
                     std::optional<bool> overallMotion)
    : func_(std::make_unique<QZ::QZCoordinateFunc>(
          *function.Copy().release(), /*own=*/true, FindCoordinates(kind))) {
  mol_ = std::make_unique<QZChem::QZGraphMol>(function.GetMolecule()->mol);
  const auto isFinite = [](double value) { return std::isfinite(value); };
  if (!std::all_of(x, x + NumCoords(), isFinite)) {
    throw InputError("the starting coordinates are not finite");
  }
  mol_->SetCoords(x);
  if (overallMotion.has_value()) func_->SetOverallMotion(*overallMotion);
  const std::vector<unsigned int> fixed = still.Find(*mol_);
  if (!fixed.empty()) func_->SetFixed(Members(fixed));
  SetUp<InputError>(*func_, *mol_, kind.c_str());
  Messages messages;
  if (!Start(x)) {
    const std::string reason = messages.Take();
    throw InputError(reason.empty() ? "the starting coordinates are refused" : reason);
  }
  messages.Deliver();
}

bool Presented::Start(const double* x) {
  if (!func_->SetupConf(x)) return false;
  const double* start = func_->GetVar(x);
  if (start == nullptr) return false;
  variables_.assign(start, start + func_->NumVar());
  return true;
}

Coordinates::Coordinates(std::shared_ptr<Function> function,
                         const std::string& kind,
                         const Array& x0,
                         const py::object& fixed,
                         std::optional<bool> overallMotion,
                         const py::object& move)
    : function_(std::move(function)),
      kind_(kind),
      system_(*function_,
              kind,
              Variables(x0, function_->Bound().NumVar()),
              Still(fixed, move),
              overallMotion),
      shape_(x0.shape(), x0.shape() + x0.ndim()) {}

Array Coordinates::StartArray() {
  const std::vector<double>& start = system_.Variables();
  return MakeArray({static_cast<py::ssize_t>(start.size())}, start.data());
}

Array Coordinates::Scales() const {
  const std::vector<double> scales = system_.Func().GetScales();
  return MakeArray({static_cast<py::ssize_t>(scales.size())}, scales.data());
}

Array Coordinates::Cartesian(const Array& v) {
  const double* vars = MolPotentialPython::Variables(v, system_.Func().NumVar());
  std::vector<double> coords(system_.NumCoords());
  const bool good = Unlocked([&] {
    const std::lock_guard turn(mutex_);
    return system_.Func().AdaptVar(coords.data(), vars);
  });
  if (!good) throw Error("no coordinates belong to these variables");
  return MakeArray(shape_, coords.data());
}

void DefineCoordinates(py::module_& m) {
  m.attr("COORDINATES") = CoordinateNames();
  py::class_<Coordinates>(
      m,
      "Coordinates",
      R"(A bound function in other variables: "cartesian", "degfree", "rigid", "cluster", "redundant",
"internal", "zmatrix", "torsion" or "torsion-rigid", starting at `x0`, (N, 3) or flat in Å.

Lengths are in Å, angles in radians. fixed: atoms that do not move, as indices or a selection; move:
the atoms that do, all others being fixed. overall_motion: whether overall translation and rotation
are variables; None: as the function needs it. It works on a copy of the function.)")
      .def(py::init<std::shared_ptr<Function>,
                    const std::string&,
                    const Array&,
                    const py::object&,
                    std::optional<bool>,
                    const py::object&>(),
           py::arg("f").none(false),
           py::arg("kind"),
           py::arg("x0"),
           py::arg("fixed") = py::none(),
           py::arg("overall_motion") = py::none(),
           py::arg("move") = py::none())
      .def("__repr__",
           [](Coordinates& self) {
             return "<Coordinates " + self.Kind() + ": " +
                    std::to_string(self.System().Func().NumVar()) + " variables>";
           })
      .def_property_readonly("kind", &Coordinates::Kind, "The name of the variables.")
      .def_property_readonly(
          "start", &Coordinates::StartArray, "The variables at `x0`, (variables,).")
      .def_property_readonly("scales",
                             &Coordinates::Scales,
                             "What change of each variable matters as much as those of the others, "
                             "(variables,).")
      .def(
          "energy",
          [](Coordinates& self, const Array& q) {
            return Energy(self.System().Func(), q, self.Mutex());
          },
          py::arg("q"),
          "The energy at the variables `q`, (variables,); kcal/mol.")
      .def(
          "energy_and_gradient",
          [](Coordinates& self, const Array& q) {
            return EnergyAndGradient(self.System().Func(), q, self.Mutex());
          },
          py::arg("q"),
          "The energy at `q`, (variables,), and its gradient, (variables,); kcal/mol and that per "
          "Å "
          "or radian.")
      .def(
          "hessian",
          [](Coordinates& self, const Array& q) {
            return Hessian(self.System().Func(), q, self.Mutex());
          },
          py::arg("q"),
          "Second derivatives at `q`, (variables,): (variables, variables) in kcal/mol per Å or "
          "radian "
          "twice.")
      .def("cartesian",
           &Coordinates::Cartesian,
           py::arg("q"),
           "The coordinates of the variables `q`, (variables,): shaped as `x0`, in its frame; Å.");
}

}  // namespace MolPotentialPython
