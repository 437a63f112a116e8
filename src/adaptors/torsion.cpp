// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/torsion.h"

#include <algorithm>
#include <cstdio>
#include <numbers>
#include <string>

#include "math/dihedral.h"
#include "math/rotation.h"
#include "qzchem/mol.h"
#include "qzchem/topology.h"
#include "qzsystem/error.h"

namespace QZMolPotential {

using QZChem::QZAtomBase;
using QZChem::QZBondBase;
using QZSystem::QZRange;

namespace {

std::vector<unsigned int> Indices(QZSystem::QZIterBase<QZAtomBase>* atoms) {
  std::vector<unsigned int> indices;
  for (const auto& atom : QZRange(atoms)) indices.push_back(atom.GetIndex());
  return indices;
}

// The count takes the place of the first atom of a side, the one on the axis.
std::vector<unsigned int> MovingList(std::vector<unsigned int> side) {
  if (!side.empty()) side[0] = static_cast<unsigned int>(side.size());
  return side;
}

unsigned int FirstNeighbour(const QZAtomBase& atom, const QZAtomBase* except) {
  for (const auto& neighbour : QZRange(atom.GetNeighbours())) {
    if (&neighbour != except) return neighbour.GetIndex();
  }
  return atom.GetIndex();
}

double Value(const double* x, unsigned int a, unsigned int b, unsigned int c, unsigned int d) {
  return DihedralCosine(LoadAtom(x, d), LoadAtom(x, c), LoadAtom(x, b), LoadAtom(x, a))
      .SignedAngle();
}

}  // namespace

bool QZTorsionAdaptor::isRotor(const QZBondBase& bond) {
  if (bond.GetOrder() != 1 || bond.IsInRing()) return false;
  return std::ranges::all_of(
      std::initializer_list<const QZAtomBase*>{bond.GetBegin(), bond.GetEnd()},
      [](const QZAtomBase* atom) { return atom->GetDegree() != 1 && atom->GetHeavyDegree() != 1; });
}

QZTorsionAdaptor::Torsion QZTorsionAdaptor::makeTorsion(const QZBondBase& bond) const {
  const QZAtomBase& begin = *bond.GetBegin();
  const QZAtomBase& end = *bond.GetEnd();
  Torsion torsion{};
  torsion.activity = 1;
  torsion.a = FirstNeighbour(begin, &end);
  torsion.b = begin.GetIndex();
  torsion.c = end.GetIndex();
  torsion.d = FirstNeighbour(end, &begin);
  torsion.length = Norm(LoadAtom(coords_.data(), torsion.c) - LoadAtom(coords_.data(), torsion.b));
  torsion.bond = &bond;
  std::vector<unsigned int> side = Indices(QZChem::QZGetSmallestSubtree(&bond, 0));
  if (std::ranges::find(side, torsion.b) != side.end()) {
    std::swap(torsion.b, torsion.c);
    std::swap(torsion.a, torsion.d);
  }
  torsion.moving = MovingList(std::move(side));
  return torsion;
}

bool QZTorsionAdaptor::Setup(const QZChem::QZMolBase& mol) {
  *this = QZTorsionAdaptor();
  numAtoms_ = mol.NumAtoms();
  if (numAtoms_ == 0) return false;
  coords_.resize(std::size_t{3} * mol.AtomIndexBound());
  mol.GetCoords(coords_.data());
  refCoords_ = coords_;
  for (const auto& bond : QZRange(mol.GetBonds())) {
    if (isRotor(bond)) torsions_.push_back(makeTorsion(bond));
  }
  setupTorsions_ = torsions_;
  numOptVar_ = static_cast<unsigned int>(torsions_.size());
  values_.resize(torsions_.size());
  FuncVarToOptVar(coords_.data(), values_.data());
  refValues_ = values_;
  return true;
}

bool QZTorsionAdaptor::FuncVarToOptVar(const double* coords, double* torsions) {
  for (const Torsion& t : torsions_) {
    if (t.activity != 0) *torsions++ = Value(coords, t.a, t.b, t.c, t.d);
  }
  return true;
}

bool QZTorsionAdaptor::OptVarToFuncVar(const double* torsions, double* coords) {
  coords_ = refCoords_;
  for (std::size_t k = 0; k < torsions_.size(); ++k) {
    const Torsion& t = torsions_[k];
    const double requested = t.activity != 0 ? *torsions++ : refValues_[k];
    const double turn = requested - refValues_[k];
    const Vec3 pivot = LoadAtom(coords_.data(), t.c);
    const Vec3 axis = (1.0 / t.length) * (pivot - LoadAtom(coords_.data(), t.b));
    const AxisRotation rotation(axis, turn);
    for (std::size_t i = 1; i < t.moving.size(); ++i) {
      const Vec3 p = LoadAtom(coords_.data(), t.moving[i]);
      StoreAtom(coords_.data(), t.moving[i], pivot + rotation(p - pivot));
    }
    values_[k] = requested;
  }
  std::copy_n(coords_.begin(), NumFuncVar(), coords);
  return true;
}

bool QZTorsionAdaptor::FuncGradToOptGrad(const double* cartGrad, double* grad, double* coords) {
  const double* x = coords != nullptr ? coords : coords_.data();
  for (const Torsion& t : torsions_) {
    if (t.activity == 0) continue;
    const Vec3 pivot = LoadAtom(x, t.c);
    // Σ (e x (x_i - x_c))·g_i = e·Σ (x_i - x_c) x g_i
    Vec3 torque;
    for (std::size_t i = 1; i < t.moving.size(); ++i) {
      if (t.moving[i] == t.c) continue;
      torque += Cross(LoadAtom(x, t.moving[i]) - pivot, LoadAtom(cartGrad, t.moving[i]));
    }
    *grad++ = Dot(pivot - LoadAtom(x, t.b), torque) / t.length;
  }
  return true;
}

bool QZTorsionAdaptor::OptGradToFuncGrad(const double* /*optGrad*/, double* /*funcGrad*/) {
  QZSystem::QZThrow.Fatal("Transformation of torsion -> xyz gradients not implemented");
  return false;
}

bool QZTorsionAdaptor::GetAdaptedVariables(double* torsions) const {
  if (torsions_.empty() || torsions == nullptr || numOptVar_ == 0) return false;
  for (std::size_t k = 0; k < torsions_.size(); ++k) {
    if (torsions_[k].activity != 0) *torsions++ = values_[k];
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
  for (std::size_t k = 0; k < torsions_.size(); ++k) {
    const Torsion& t = torsions_[k];
    const std::string atoms = name(t.a) + "-" + name(t.b) + "-" + name(t.c) + "-" + name(t.d);
    std::printf("%-20s%10.3f\n", atoms.c_str(), values_[k] * 180.0 / std::numbers::pi);
  }
  std::fflush(stdout);
}

bool QZTorsionAdaptor::IsTorsionActive(unsigned int i) const {
  if (i >= torsions_.size()) {
    QZSystem::QZThrow.Warning("Molecule has %d torsions", static_cast<int>(torsions_.size()));
    return false;
  }
  return torsions_[i].activity > 1;
}

bool QZTorsionAdaptor::holdsFixed(const QZAtomBase* root, const QZAtomBase* exclude) const {
  for (const auto& atom : QZRange(QZChem::QZGetSubtree(root, exclude, 0))) {
    if (&atom != root && fixedAtoms_[atom.GetIndex()] < 0) return true;
  }
  return false;
}

void QZTorsionAdaptor::turnRound(Torsion& torsion) const {
  std::swap(torsion.a, torsion.d);
  std::swap(torsion.b, torsion.c);
  const bool movesEnd = torsion.bond->GetEnd()->GetIndex() == torsion.c;
  const QZAtomBase* root = movesEnd ? torsion.bond->GetEnd() : torsion.bond->GetBegin();
  torsion.moving =
      MovingList(Indices(QZChem::QZGetSubtree(root, torsion.bond->GetNeighbour(root), 0)));
}

void QZTorsionAdaptor::FixAtoms(int*& atoms) {
  if (atoms == nullptr) return;
  fixedAtoms_ = atoms;
  torsions_ = setupTorsions_;
  numOptVar_ = static_cast<unsigned int>(torsions_.size());
  for (Torsion& torsion : torsions_) {
    const QZAtomBase* begin = torsion.bond->GetBegin();
    const QZAtomBase* end = torsion.bond->GetEnd();
    const bool endFixed = holdsFixed(end, begin);
    const bool beginFixed = holdsFixed(begin, end);
    if (endFixed && beginFixed) {
      torsion.activity = 0;
      --numOptVar_;
    } else if (end->GetIndex() == torsion.c ? endFixed : beginFixed) {
      turnRound(torsion);
    }
  }
}

}  // namespace QZMolPotential
