// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <map>

#include "evaluate.h"
#include "user_function.h"

namespace MolPotentialPython {
namespace {

namespace QZ = QZMolPotential;
using QZ::QZMolFunc2;

py::dict Components(Function& self, const Array& x) {
  QZMolFunc2& func = self.Bound();
  const double* vars = Variables(x, func.NumVar());
  py::dict result;
  const auto parts = Unlocked([&] {
    const std::lock_guard turn(self.Mutex());
    return std::unique_ptr<QZSystem::QZIterBase<QZOpt::QZFComponent>>(func.GetFComponents(vars));
  });
  for (; parts->IsValid(); ++*parts) {
    const py::str name((**parts).GetName());
    const double before = result.contains(name) ? result[name].cast<double>() : 0.0;
    result[name] = before + (**parts).GetValue();
  }
  return result;
}

struct Interaction {
  std::string term;
  std::vector<unsigned int> atoms;
  std::vector<unsigned int> hostAtoms;  // by the host's own numbers
  double energy;
};

/// The terms' interactions in the terms' order, of each the `highest` of highest energy, or all.
py::dict Interactions(Function& self, const Array& x, std::optional<std::size_t> highest) {
  QZMolFunc2& func = self.Bound();
  const QZChem::QZGraphMol& mol = self.GetMolecule()->mol;
  const double* vars = Variables(x, func.NumVar());
  std::vector<Interaction> all;
  Unlocked([&] {
    const std::lock_guard turn(self.Mutex());
    const auto isHigher = [](const Interaction& a, const Interaction& b) {
      return a.energy > b.energy;
    };
    std::size_t first = 0;  // where the current term begins
    for (const auto& one : QZSystem::QZRange(func.GetInteractions(mol, vars, ~0U))) {
      Interaction next{one.GetName(), {}, {}, one.GetValues(nullptr)};
      for (const auto& atom : QZSystem::QZRange(one.GetAtoms())) {
        const bool isOwn = &atom.GetMol() == &mol;
        (isOwn ? next.atoms : next.hostAtoms).push_back(atom.GetIndex());
      }
      if (first < all.size() && all.back().term != next.term) first = all.size();
      const bool isFull = highest.has_value() && all.size() - first == *highest;
      if (isFull && (*highest == 0 || !isHigher(next, all.back()))) continue;
      if (isFull) all.pop_back();
      const auto begin = all.begin() + static_cast<std::ptrdiff_t>(first);
      const auto place =
          highest.has_value() ? std::upper_bound(begin, all.end(), next, isHigher) : all.end();
      all.insert(place, std::move(next));
    }
  });
  py::list terms;
  py::list atoms;
  py::list hostAtoms;
  Array energies(static_cast<py::ssize_t>(all.size()));
  double* energy = energies.mutable_data();
  for (const Interaction& one : all) {
    terms.append(one.term);
    atoms.append(py::tuple(py::cast(one.atoms)));
    hostAtoms.append(py::tuple(py::cast(one.hostAtoms)));
    *energy++ = one.energy;
  }
  py::dict result;
  result["term"] = terms;
  result["atoms"] = atoms;
  result["host_atoms"] = hostAtoms;
  result["energy"] = energies;
  return result;
}

}  // namespace

std::unique_ptr<QZMolFunc2> WithHessian(std::unique_ptr<QZ::QZMolFunc1> func) {
  if (auto* better = dynamic_cast<QZMolFunc2*>(func.get())) {
    static_cast<void>(func.release());
    return std::unique_ptr<QZMolFunc2>(better);
  }
  return std::make_unique<QZ::QZNumericMolFunc2>(*func.release(), /*own=*/true);
}

void Function::Bind(MoleculePtr mol) {
  auto func = Make(mol->mol);
  const py::gil_scoped_release release;
  const std::lock_guard turn(mutex_);
  func_ = std::move(func);
  mol_ = std::move(mol);
}

QZMolFunc2& Function::Bound() const {
  if (func_ == nullptr) throw InputError("the function is not bound to a molecule (bind it first)");
  if (func_->NumVar() != 3 * mol_->mol.NumAtoms()) {
    throw InputError("the molecule has changed since the function was bound (bind it again)");
  }
  return *func_;
}

std::unique_ptr<QZMolFunc2> Function::Copy() const {
  const QZMolFunc2& func = Bound();
  const py::gil_scoped_release release;
  const std::lock_guard turn(mutex_);
  return std::unique_ptr<QZMolFunc2>(func.CreateCopy());
}

namespace {

void AddTo(QZ::QZGenericFF2& sum, std::unique_ptr<QZMolFunc2> term) {
  sum.Add(*term.release(), /*own=*/true);
}

}  // namespace

std::unique_ptr<QZMolFunc2> Summed::Make(const QZChem::QZGraphMol& mol) {
  auto sum = MakeBase(mol);
  for (const auto& term : terms_) AddTo(*sum, term->Make(mol));
  return sum;
}

void Summed::Add(const std::shared_ptr<Function>& term) {
  if (term == nullptr || term->Contains(*this)) {
    throw InputError("a function cannot be added to itself");
  }
  auto made = term->Make(GetMolecule()->mol);
  terms_.push_back(term);
  const py::gil_scoped_release release;
  const std::lock_guard turn(Mutex());
  AddTo(dynamic_cast<QZ::QZGenericFF2&>(Bound()), std::move(made));
}

bool Summed::Contains(const Function& other) const {
  return &other == this ||
         std::ranges::any_of(terms_, [&other](const auto& term) { return term->Contains(other); });
}

void DefineFunctions(py::module_& m) {
  py::class_<Function, UserFunction, std::shared_ptr<Function>>(
      m, "Function", R"(A term of the energy, of Cartesian coordinates in Å, in kcal/mol.

Derive from it for a term of your own: define energy_and_gradient(x), x of shape (3N,) in Å and
read-only, returning (energy, gradient) in kcal/mol and kcal/mol/Å, and hessian(x) of shape (3N, 3N)
if you have it. An exception there ends what called it, with that exception.)")
      .def(py::init_alias<>())
      .def(
          "bind",
          [](std::shared_ptr<Function> self, MoleculePtr mol) {
            self->Bind(std::move(mol));
            return self;
          },
          py::arg("mol").none(false),
          "Binds the term to a molecule, so that it can be evaluated alone; returns it.")
      .def_property_readonly("molecule", &Function::GetMolecule, "The bound molecule, or None.")
      .def(
          "energy",
          [](Function& self, const Array& x) { return Energy(self.Bound(), x, self.Mutex()); },
          py::arg("x"),
          "The energy at `x`, (N, 3) or flat, Å; kcal/mol.")
      .def(
          "energy_and_gradient",
          [](Function& self, const Array& x) {
            return EnergyAndGradient(self.Bound(), x, self.Mutex());
          },
          py::arg("x"),
          "The energy at `x`, (N, 3) or flat in Å, and its gradient, an array like `x`; kcal/mol "
          "and "
          "kcal/mol/Å.")
      .def(
          "hessian",
          [](Function& self, const Array& x) { return Hessian(self.Bound(), x, self.Mutex()); },
          py::arg("x"),
          "Second derivatives at `x`, (N, 3) or flat in Å: (3N, 3N) in kcal/mol/Å².")
      .def("components",
           &Components,
           py::arg("x"),
           "The energy of every named part at `x`, (N, 3) or flat in Å: a dict, kcal/mol.")
      .def(
          "interactions",
          &Interactions,
          py::arg("x"),
          py::arg("highest") = py::none(),
          "The single bonds, angles, pairs, ... at `x`, (N, 3) or flat in Å: a dict of the columns "
          "term, atoms, host_atoms (atoms of a host that stand still, by its own numbers) and "
          "energy (kcal/mol), as pandas.DataFrame takes it; with `highest` only that many of each "
          "term, highest energy first.");
  py::class_<Summed, Function, std::shared_ptr<Summed>>(
      m, "SummedFunction", "A bound function that other terms can be added to.")
      .def("add",
           &Summed::Add,
           py::arg("term").none(false),
           py::keep_alive<1, 2>(),
           "Adds a Function: a restraint, a penalty, an expression or one of your own. "
           "Minimisations "
           "and coordinates made before do not see it.");
}

}  // namespace MolPotentialPython
