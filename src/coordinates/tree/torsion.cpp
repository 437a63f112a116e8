// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/torsion.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "coordinates/tree/screw_map.h"
#include "qzchem/mol.h"
#include "qzchem/topology.h"
#include "qzsystem/error.h"

namespace QZMolPotential {

using QZChem::QZAtomBase;
using QZChem::QZBondBase;

namespace {

bool IsRotor(const QZBondBase& bond) {
  if (bond.GetOrder() != 1 || bond.IsInRing()) return false;
  return std::ranges::all_of(
      std::initializer_list<const QZAtomBase*>{bond.GetBegin(), bond.GetEnd()},
      [](const QZAtomBase* atom) { return atom->GetDegree() != 1 && atom->GetHeavyDegree() != 1; });
}

}  // namespace

struct QZTorsionAdaptor::State {
  State() = default;
  State(const State& other)
      : numAtoms(other.numAtoms),
        forest(other.forest),
        map(other.map ? std::make_unique<ScrewMap>(*other.map) : nullptr),
        coords(other.coords),
        refCoords(other.refCoords),
        work(other.work),
        grad(other.grad),
        values(other.values),
        refValues(other.refValues) {}
  State(State&&) = default;
  State& operator=(const State& other) { return *this = State(other); }
  State& operator=(State&&) = default;
  ~State() = default;

  // The map of the forest as it is; holes stay.
  void Bind() {
    ScrewLayout layout;
    layout.forest = forest;
    layout.units = {ScrewLayout::Unit::Still};
    layout.unitOf.assign(forest.NumAtomIndices(), ScrewLayout::kNone);
    for (const std::size_t atom : forest.Atoms()) layout.unitOf[atom] = 0;
    map = std::make_unique<ScrewMap>(std::move(layout));
    std::vector<double> start(map->NumVar());
    map->Start(refCoords.data(), start.data());
  }
  // `x` by the indices that variables have. An atom whose index a hole has pushed past them stays
  // where it is.
  const double* Complete(const double* x) {
    std::ranges::copy(coords, work.begin());
    std::copy_n(x, std::size_t{3} * numAtoms, work.begin());
    return work.data();
  }

  unsigned int numAtoms = 0;
  TorsionForest forest;
  std::unique_ptr<ScrewMap> map;  // null before Setup
  std::vector<double> coords, refCoords;
  std::vector<double> work, grad;         // coordinates and gradient by atom index
  std::vector<double> values, refValues;  // of all torsions
};

QZTorsionAdaptor::QZTorsionAdaptor() : state_(std::make_unique<State>()) {}
QZTorsionAdaptor::QZTorsionAdaptor(const QZTorsionAdaptor& other)
    : QZFixMolAdaptor1(other), state_(std::make_unique<State>(*other.state_)) {}
QZTorsionAdaptor::QZTorsionAdaptor(QZTorsionAdaptor&& other) noexcept
    : QZFixMolAdaptor1(), state_(std::move(other.state_)) {
  other.state_ = std::make_unique<State>();
}
QZTorsionAdaptor& QZTorsionAdaptor::operator=(const QZTorsionAdaptor& other) {
  *state_ = *other.state_;
  return *this;
}
QZTorsionAdaptor& QZTorsionAdaptor::operator=(QZTorsionAdaptor&& other) noexcept {
  state_.swap(other.state_);
  return *this;
}
QZTorsionAdaptor::~QZTorsionAdaptor() = default;

unsigned int QZTorsionAdaptor::NumFuncVar() const {
  return 3 * state_->numAtoms;
}

unsigned int QZTorsionAdaptor::NumOptVar() const {
  return static_cast<unsigned int>(state_->forest.NumActive());
}

bool QZTorsionAdaptor::Setup(const QZChem::QZMolBase& mol) {
  *state_ = State();
  State& s = *state_;
  s.numAtoms = mol.NumAtoms();
  if (s.numAtoms == 0) return false;
  s.coords.resize(std::size_t{3} * mol.AtomIndexBound());
  mol.GetCoords(s.coords.data());
  s.refCoords = s.coords;
  s.work.resize(s.coords.size());
  s.grad.resize(s.coords.size());
  s.forest.Build(mol, s.coords.data(), IsRotor);
  s.Bind();
  s.values.resize(s.forest.NumTorsions());
  s.map->MeasureTorsions(s.coords.data(), s.values.data());
  s.refValues = s.values;
  return true;
}

bool QZTorsionAdaptor::FuncVarToOptVar(const double* coords, double* torsions) {
  if (state_->map) state_->map->MeasureTorsions(state_->Complete(coords), torsions);
  return true;
}

bool QZTorsionAdaptor::OptVarToFuncVar(const double* torsions, double* coords) {
  State& s = *state_;
  if (!s.map) return true;
  s.map->Place(torsions, s.coords.data());
  std::copy_n(s.coords.begin(), NumFuncVar(), coords);
  for (std::size_t k = 0; k < s.values.size(); ++k) {
    s.values[k] = s.forest.Torsions()[k].activity != 0 ? *torsions++ : s.refValues[k];
  }
  return true;
}

bool QZTorsionAdaptor::FuncGradToOptGrad(const double* cartGrad, double* grad, double* coords) {
  State& s = *state_;
  if (!s.map) return true;
  s.map->Stand(coords != nullptr ? s.Complete(coords) : s.coords.data());
  std::copy_n(cartGrad, NumFuncVar(), s.grad.begin());
  std::fill_n(grad, NumOptVar(), 0.0);
  s.map->PullGradient(s.grad.data(), grad);
  return true;
}

bool QZTorsionAdaptor::OptGradToFuncGrad(const double* /*optGrad*/, double* /*funcGrad*/) {
  QZSystem::QZThrow.Fatal("Transformation of torsion -> xyz gradients not implemented");
  return false;
}

bool QZTorsionAdaptor::GetAdaptedVariables(double* torsions) const {
  if (torsions == nullptr || NumOptVar() == 0) return false;
  for (std::size_t k = 0; k < state_->values.size(); ++k) {
    if (state_->forest.Torsions()[k].activity != 0) *torsions++ = state_->values[k];
  }
  return true;
}

void QZTorsionAdaptor::GetAdaptedVariables(const QZChem::QZMolBase& mol, double* torsions) const {
  GetAdaptedVariables(torsions);
  const auto name = [&mol](unsigned int index) {
    const QZAtomBase* atom = mol.GetAtom(index);
    return QZChem::QZGetAtomicSymbol(atom != nullptr ? atom->GetAtomicNumber() : 0) +
           std::to_string(index + 1);
  };
  std::printf("\nTorsion coordinates:\nTorsion atoms          Torsion\n%30s\n", "[deg]");
  for (std::size_t k = 0; k < state_->values.size(); ++k) {
    const auto& t = state_->forest.Torsions()[k];
    const std::string atoms = name(t.a) + "-" + name(t.b) + "-" + name(t.c) + "-" + name(t.d);
    std::printf("%-21s %8.3f\n", atoms.c_str(), state_->values[k] * 180.0 / std::numbers::pi);
  }
  std::fflush(stdout);
}

bool QZTorsionAdaptor::IsTorsionActive(unsigned int i) const {
  const auto& torsions = state_->forest.Torsions();
  if (i >= torsions.size()) {
    QZSystem::QZThrow.Warning("Molecule has %d torsions", static_cast<int>(torsions.size()));
    return false;
  }
  return torsions[i].activity > 1;
}

void QZTorsionAdaptor::FixAtoms(int*& atoms) {
  if (atoms == nullptr) return;
  TorsionForest& forest = state_->forest;
  std::vector<unsigned char> fixed(forest.NumAtomIndices(), 0);
  for (const std::size_t atom : forest.Atoms())
    fixed[atom] = static_cast<unsigned char>(atoms[atom] < 0);
  forest.Hold(fixed);
  if (state_->map) state_->Bind();
}

}  // namespace QZMolPotential
