// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/torsion.h"

#include <algorithm>
#include <cstdio>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "coordinates/tree/torsion_forest.h"
#include "coordinates/tree/torsion_motion.h"
#include "kernels/dihedral.h"
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
  // An atom whose index a hole has pushed past the variables stays where it is.
  Vec3 At(const double* x, unsigned int atom) const {
    return LoadAtom(atom < numAtoms ? x : coords.data(), atom);
  }

  unsigned int numAtoms = 0;
  TorsionForest forest;
  std::vector<double> coords, refCoords;
  std::vector<double> values, refValues;
  std::vector<double> work;
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
  s.forest.Build(mol, s.coords.data(), IsRotor);
  s.work.resize(Motion::kDoubles * s.forest.NumTorsions());
  s.values.resize(s.forest.NumTorsions());
  FuncVarToOptVar(s.coords.data(), s.values.data());
  s.refValues = s.values;
  return true;
}

bool QZTorsionAdaptor::FuncVarToOptVar(const double* coords, double* torsions) {
  const auto point = [&](unsigned int atom) { return state_->At(coords, atom); };
  for (const auto& t : state_->forest.Torsions()) {
    if (t.activity == 0) continue;
    *torsions++ = DihedralCosine(point(t.d), point(t.c), point(t.b), point(t.a)).SignedAngle();
  }
  return true;
}

bool QZTorsionAdaptor::OptVarToFuncVar(const double* torsions, double* coords) {
  State& s = *state_;
  for (std::size_t k = 0; k < s.values.size(); ++k) {
    s.values[k] = s.forest.Torsions()[k].activity != 0 ? *torsions++ : s.refValues[k];
  }
  TurnTorsions(
      s.forest,
      s.refCoords.data(),
      [&](std::size_t k) { return s.values[k] - s.refValues[k]; },
      s.work.data(),
      s.coords.data());
  std::copy_n(s.coords.begin(), NumFuncVar(), coords);
  return true;
}

// Σ (e x (x_i - x_c))·g_i over a moving set = e·(T - (x_c - o) x F), F = Σ g_i and
// T = Σ (x_i - o) x g_i being summed over what each set has of its own, then from set to set
// outwards.
bool QZTorsionAdaptor::FuncGradToOptGrad(const double* cartGrad, double* grad, double* coords) {
  State& s = *state_;
  const double* x = coords != nullptr ? coords : s.coords.data();
  double* sums = s.work.data();  // F and T of torsion k at 2k and 2k + 1
  std::ranges::fill(s.work, 0.0);
  const Vec3 origin = s.numAtoms > 0 ? LoadAtom(x, 0) : Vec3{};
  for (std::size_t i = 0; i < s.numAtoms; ++i) {
    const std::size_t k = s.forest.Innermost(i);
    if (k == s.forest.NumTorsions()) continue;
    const Vec3 g = LoadAtom(cartGrad, i);
    AddToAtom(sums, 2 * k, g);
    AddToAtom(sums, 2 * k + 1, Cross(LoadAtom(x, i) - origin, g));
  }
  SumOutwards(
      s.forest, 6, [](std::size_t) { return std::ptrdiff_t{-1}; }, sums);
  for (std::size_t k = 0; k < s.forest.NumTorsions(); ++k) {
    const auto& t = s.forest.Torsions()[k];
    if (t.activity == 0) continue;
    const Vec3 pivot = s.At(x, t.c);
    const Vec3 torque = LoadAtom(sums, 2 * k + 1) - Cross(pivot - origin, LoadAtom(sums, 2 * k));
    *grad++ = Dot(pivot - s.At(x, t.b), torque) / t.length;
  }
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
}

}  // namespace QZMolPotential
