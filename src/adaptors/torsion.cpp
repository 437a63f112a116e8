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

unsigned int FirstNeighbour(const QZAtomBase& atom, const QZAtomBase* except) {
  for (const auto& neighbour : QZRange(atom.GetNeighbours())) {
    if (&neighbour != except) return neighbour.GetIndex();
  }
  return atom.GetIndex();
}

// The atoms that a walk from c reaches without b, c first.
std::vector<unsigned int> Side(const QZBondBase& bond, unsigned int c) {
  const QZAtomBase* root = bond.GetEnd()->GetIndex() == c ? bond.GetEnd() : bond.GetBegin();
  return Indices(QZChem::QZGetSubtree(root, bond.GetNeighbour(root), 0));
}

// A rigid motion p -> R p + s, kept as the rows of R and s.
struct Motion {
  Mat3 r;
  Vec3 s;

  static Motion Turn(const Vec3& pivot, const Vec3& axis, double angle) {
    const AxisRotation rotation(axis, angle);
    const Mat3 columns{
        rotation({1.0, 0.0, 0.0}), rotation({0.0, 1.0, 0.0}), rotation({0.0, 0.0, 1.0})};
    const Mat3 r = Transpose(columns);
    return {r, pivot - r * pivot};
  }
  static Motion Load(const double* work, std::size_t k) {
    return {{LoadAtom(work, 4 * k), LoadAtom(work, 4 * k + 1), LoadAtom(work, 4 * k + 2)},
            LoadAtom(work, 4 * k + 3)};
  }
  void Store(double* work, std::size_t k) const {
    StoreAtom(work, 4 * k, r.row0);
    StoreAtom(work, 4 * k + 1, r.row1);
    StoreAtom(work, 4 * k + 2, r.row2);
    StoreAtom(work, 4 * k + 3, s);
  }
  Vec3 operator()(const Vec3& p) const { return r * p + s; }
  // This motion after `first`.
  Motion After(const Motion& first) const {
    const Mat3 columns = Transpose(first.r);
    return {Transpose({r * columns.row0, r * columns.row1, r * columns.row2}), (*this)(first.s)};
  }
};

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
  const std::vector<unsigned int> side = Indices(QZChem::QZGetSmallestSubtree(&bond, 0));
  if (std::ranges::find(side, torsion.b) != side.end()) {
    std::swap(torsion.b, torsion.c);
    std::swap(torsion.a, torsion.d);
  }
  torsion.sideSize = side.size();
  return torsion;
}

// Two sides of different bonds overlap without being nested only if together they are the whole
// piece, and then one of them holds more than half of it, because the fixed atoms are all in the
// other half: that one is not active, or has been turned round.
void QZTorsionAdaptor::nestMovingSets() {
  const std::size_t none = torsions_.size();
  innermost_.assign(coords_.size() / 3, none);
  surrounding_.assign(none, none);
  outwards_.clear();
  for (std::size_t k = 0; k < none; ++k) {
    if (torsions_[k].activity != 0) outwards_.push_back(k);
  }
  std::ranges::stable_sort(outwards_, {}, [this](std::size_t k) { return torsions_[k].sideSize; });
  for (const std::size_t k : outwards_) {
    const std::vector<unsigned int> side = Side(*torsions_[k].bond, torsions_[k].c);
    for (std::size_t i = 1; i < side.size(); ++i) {
      if (innermost_[side[i]] == none) innermost_[side[i]] = k;
    }
  }
  // c is outside its own moving set, but inside every set around it.
  for (const std::size_t k : outwards_) surrounding_[k] = innermost_[torsions_[k].c];
  work_.resize(12 * none);
}

// An atom whose index a hole has pushed past the variables stays where it is.
const double* QZTorsionAdaptor::at(const double* coords, unsigned int atom) const {
  return (atom < numAtoms_ ? coords : coords_.data()) + std::size_t{3} * atom;
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
  nestMovingSets();
  numOptVar_ = static_cast<unsigned int>(torsions_.size());
  values_.resize(torsions_.size());
  FuncVarToOptVar(coords_.data(), values_.data());
  refValues_ = values_;
  return true;
}

bool QZTorsionAdaptor::FuncVarToOptVar(const double* coords, double* torsions) {
  const auto point = [&](unsigned int atom) { return LoadAtom(at(coords, atom), 0); };
  for (const Torsion& t : torsions_) {
    if (t.activity == 0) continue;
    *torsions++ = DihedralCosine(point(t.d), point(t.c), point(t.b), point(t.a)).SignedAngle();
  }
  return true;
}

// The motion of a moving set is its own turn about its axis at Setup, followed by the motion of the
// set around it: the same as turns one after the other about the axes as they then are.
bool QZTorsionAdaptor::OptVarToFuncVar(const double* torsions, double* coords) {
  for (std::size_t k = 0; k < torsions_.size(); ++k) {
    values_[k] = torsions_[k].activity != 0 ? *torsions++ : refValues_[k];
  }
  const double* ref = refCoords_.data();
  for (auto k = outwards_.rbegin(); k != outwards_.rend(); ++k) {
    const Torsion& t = torsions_[*k];
    const Vec3 pivot = LoadAtom(ref, t.c);
    const Vec3 axis = (1.0 / t.length) * (pivot - LoadAtom(ref, t.b));
    Motion motion = Motion::Turn(pivot, axis, values_[*k] - refValues_[*k]);
    const std::size_t outer = surrounding_[*k];
    if (outer < torsions_.size()) motion = Motion::Load(work_.data(), outer).After(motion);
    motion.Store(work_.data(), *k);
  }
  for (std::size_t i = 0; i < innermost_.size(); ++i) {
    const Vec3 p = LoadAtom(ref, i);
    const std::size_t k = innermost_[i];
    StoreAtom(coords_.data(), i, k < torsions_.size() ? Motion::Load(work_.data(), k)(p) : p);
  }
  std::copy_n(coords_.begin(), NumFuncVar(), coords);
  return true;
}

// Σ (e x (x_i - x_c))·g_i over a moving set = e·(T - (x_c - o) x F), F = Σ g_i and
// T = Σ (x_i - o) x g_i being summed over what each set has of its own, then from set to set
// outwards.
bool QZTorsionAdaptor::FuncGradToOptGrad(const double* cartGrad, double* grad, double* coords) {
  const double* x = coords != nullptr ? coords : coords_.data();
  double* sums = work_.data();  // F and T of torsion k at 2k and 2k + 1
  std::fill(work_.begin(), work_.end(), 0.0);
  const Vec3 origin = numAtoms_ > 0 ? LoadAtom(x, 0) : Vec3{};
  for (std::size_t i = 0; i < numAtoms_; ++i) {
    const std::size_t k = innermost_[i];
    if (k == torsions_.size()) continue;
    const Vec3 g = LoadAtom(cartGrad, i);
    AddToAtom(sums, 2 * k, g);
    AddToAtom(sums, 2 * k + 1, Cross(LoadAtom(x, i) - origin, g));
  }
  for (const std::size_t k : outwards_) {
    const std::size_t outer = surrounding_[k];
    if (outer == torsions_.size()) continue;
    AddToAtom(sums, 2 * outer, LoadAtom(sums, 2 * k));
    AddToAtom(sums, 2 * outer + 1, LoadAtom(sums, 2 * k + 1));
  }
  for (std::size_t k = 0; k < torsions_.size(); ++k) {
    const Torsion& t = torsions_[k];
    if (t.activity == 0) continue;
    const Vec3 pivot = LoadAtom(at(x, t.c), 0);
    const Vec3 torque = LoadAtom(sums, 2 * k + 1) - Cross(pivot - origin, LoadAtom(sums, 2 * k));
    *grad++ = Dot(pivot - LoadAtom(at(x, t.b), 0), torque) / t.length;
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
    std::printf("%-21s %8.3f\n", atoms.c_str(), values_[k] * 180.0 / std::numbers::pi);
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
      std::swap(torsion.a, torsion.d);
      std::swap(torsion.b, torsion.c);
      torsion.sideSize = Side(*torsion.bond, torsion.c).size();
    }
  }
  nestMovingSets();
}

}  // namespace QZMolPotential
