// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/torsion.h"

#include <algorithm>
#include <cstdio>
#include <numbers>
#include <string>

#include "kernels/dihedral.h"
#include "kernels/rotation.h"
#include "qzchem/mol.h"
#include "qzchem/topology.h"
#include "qzsystem/error.h"

namespace QZMolPotential {

using QZChem::QZAtomBase;
using QZChem::QZBondBase;
using QZSystem::QZRange;

namespace {

unsigned int FirstNeighbour(const QZAtomBase& atom, const QZAtomBase* except) {
  for (const auto& neighbour : QZRange(atom.GetNeighbours())) {
    if (&neighbour != except) return neighbour.GetIndex();
  }
  return atom.GetIndex();
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
    return {Transpose(Mat3{r * columns.row0, r * columns.row1, r * columns.row2}),
            (*this)(first.s)};
  }
};

}  // namespace

bool QZTorsionAdaptor::isRotor(const QZBondBase& bond) {
  if (bond.GetOrder() != 1 || bond.IsInRing()) return false;
  return std::ranges::all_of(
      std::initializer_list<const QZAtomBase*>{bond.GetBegin(), bond.GetEnd()},
      [](const QZAtomBase* atom) { return atom->GetDegree() != 1 && atom->GetHeavyDegree() != 1; });
}

// Breadth first from the first atom of each piece of the molecule.
void QZTorsionAdaptor::walk(const QZChem::QZMolBase& mol) {
  const std::size_t bound = mol.AtomIndexBound();
  parent_.assign(bound, bound);
  root_.resize(bound);
  for (const auto& atom : QZRange(mol.GetAtoms())) {
    if (parent_[atom.GetIndex()] != bound) continue;
    parent_[atom.GetIndex()] = root_[atom.GetIndex()] = atom.GetIndex();
    std::size_t next = walk_.size();
    walk_.push_back(atom.GetIndex());
    for (; next < walk_.size(); ++next) {
      const std::size_t from = walk_[next];
      const QZAtomBase* reached = mol.GetAtom(static_cast<unsigned int>(from));
      for (const auto& neighbour : QZRange(reached->GetNeighbours())) {
        const std::size_t to = neighbour.GetIndex();
        if (parent_[to] != bound) continue;
        parent_[to] = from;
        root_[to] = root_[from];
        walk_.push_back(to);
      }
    }
  }
}

std::size_t QZTorsionAdaptor::childOf(const Torsion& torsion) const {
  return parent_[torsion.c] == torsion.b ? torsion.c : torsion.b;
}

// Of each atom, the sum of its weight and those of all that hang on it.
std::vector<std::size_t> QZTorsionAdaptor::sumBelow(std::vector<std::size_t> weights) const {
  for (auto atom = walk_.rbegin(); atom != walk_.rend(); ++atom) {
    if (parent_[*atom] != *atom) weights[parent_[*atom]] += weights[*atom];
  }
  return weights;
}

// The sum over the atoms that a walk from c reaches without b.
std::size_t QZTorsionAdaptor::sumOfSide(const std::vector<std::size_t>& below,
                                        const Torsion& torsion) const {
  const std::size_t child = childOf(torsion);
  return child == torsion.c ? below[child] : below[root_[child]] - below[child];
}

QZTorsionAdaptor::Torsion QZTorsionAdaptor::makeTorsion(const QZBondBase& bond) const {
  const QZAtomBase& begin = *bond.GetBegin();
  const QZAtomBase& end = *bond.GetEnd();
  Torsion torsion{
      FirstNeighbour(begin, &end),
      begin.GetIndex(),
      end.GetIndex(),
      FirstNeighbour(end, &begin),
      Norm(LoadAtom(coords_.data(), end.GetIndex()) - LoadAtom(coords_.data(), begin.GetIndex()))};
  // On a tie the side of the end atom moves.
  const std::size_t side = sumOfSide(sizes_, torsion);
  if (sizes_[root_[torsion.c]] - side < side) torsion.TurnRound();
  return torsion;
}

bool QZTorsionAdaptor::Setup(const QZChem::QZMolBase& mol) {
  *this = QZTorsionAdaptor();
  numAtoms_ = mol.NumAtoms();
  if (numAtoms_ == 0) return false;
  coords_.resize(std::size_t{3} * mol.AtomIndexBound());
  mol.GetCoords(coords_.data());
  refCoords_ = coords_;
  walk(mol);
  sizes_ = sumBelow(std::vector<std::size_t>(mol.AtomIndexBound(), 1));
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

// Without the active bonds the molecule falls into rigid pieces, and the atoms of a piece are in
// the same moving sets. At most one torsion has its c in a given piece. Two sides of different
// bonds overlap without being nested only if together they are the whole molecule. Of two smaller
// sides that cannot be, and a side that was turned round leaves the fixed atoms of the other half
// alone, so that a set overlapping it would move them, and is turned round or not active itself.
void QZTorsionAdaptor::nestMovingSets() {
  const std::size_t none = torsions_.size();
  const std::size_t bound = parent_.size();
  outwards_.clear();
  std::vector<bool> startsPiece(bound, false);
  for (std::size_t k = 0; k < none; ++k) {
    if (torsions_[k].activity == 0) continue;
    outwards_.push_back(k);
    startsPiece[childOf(torsions_[k])] = true;
  }
  std::ranges::stable_sort(
      outwards_, {}, [&](std::size_t k) { return sumOfSide(sizes_, torsions_[k]); });
  std::vector<std::size_t> piece(bound);  // by its first atom
  for (const std::size_t atom : walk_) {
    piece[atom] = startsPiece[atom] || parent_[atom] == atom ? atom : piece[parent_[atom]];
  }
  std::vector<std::size_t> moves(bound, none);  // per piece, the torsion with its c in it
  for (const std::size_t k : outwards_) moves[piece[torsions_[k].c]] = k;
  innermost_.assign(bound, none);
  for (const std::size_t atom : walk_) innermost_[atom] = moves[piece[atom]];
  surrounding_.assign(none, none);
  for (const std::size_t k : outwards_) {
    surrounding_[k] = moves[piece[torsions_[k].b]];
    innermost_[torsions_[k].c] = surrounding_[k];
  }
  work_.resize(12 * none);
}

// An atom whose index a hole has pushed past the variables stays where it is.
const double* QZTorsionAdaptor::at(const double* coords, unsigned int atom) const {
  return (atom < numAtoms_ ? coords : coords_.data()) + std::size_t{3} * atom;
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

void QZTorsionAdaptor::FixAtoms(int*& atoms) {
  if (atoms == nullptr) return;
  fixedAtoms_ = atoms;
  torsions_ = setupTorsions_;
  numOptVar_ = static_cast<unsigned int>(torsions_.size());
  std::vector<std::size_t> fixed(parent_.size(), 0);
  for (const std::size_t atom : walk_) fixed[atom] = fixedAtoms_[atom] < 0 ? 1 : 0;
  const std::vector<std::size_t> below = sumBelow(fixed);
  for (Torsion& torsion : torsions_) {
    // The atoms on the axis do not count.
    const std::size_t side = sumOfSide(below, torsion);
    const bool moving = side > fixed[torsion.c];
    const bool resting = below[root_[torsion.c]] - side > fixed[torsion.b];
    if (moving && resting) {
      torsion.activity = 0;
      --numOptVar_;
    } else if (moving) {
      torsion.TurnRound();
    }
  }
  nestMovingSets();
}

}  // namespace QZMolPotential
