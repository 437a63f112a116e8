// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/zmatrix.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>

#include "coordinates/tree/zmatrix_frame.h"
#include "coordinates/tree/zmatrix_neighbours.h"
#include "kernels/dihedral.h"
#include "qzchem/mol.h"
#include "qzchem/topology.h"
#include "qzsystem/error.h"

namespace QZMolPotential {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
// 0.001 below straight: the dihedral about such an angle means nothing.
constexpr double kStraight = 3.1405926535897932;

enum { kDistance, kAngle, kDihedral };

double AngleAt(const Vec3& p, const Vec3& q, const Vec3& r) {
  const Vec3 u = p - q;
  const Vec3 v = r - q;
  return std::atan2(Norm(Cross(u, v)), Dot(u, v));
}

// The normal about which the angle from `toA` to `arm` grows; it does not turn over with the arm
// where the angle passes 0 or π (`sine` < 0). In line the plane is the xy-plane, as where the first
// three atoms are placed, or any other.
Vec3 PlaneNormal(const Vec3& toA, const Vec3& arm, double sine) {
  Vec3 normal = sine < 0.0 ? Cross(arm, toA) : Cross(toA, arm);
  if (!(Norm(normal) > 1e-12 * Norm(toA) * Norm(arm))) {
    normal = Cross(toA, {0.0, 1.0, 0.0});
    if (!(Norm(normal) > 1e-6 * Norm(toA))) normal = Cross(toA, {0.0, 0.0, 1.0});
  }
  const double length = Norm(normal);
  return length > 0.0 ? (1.0 / length) * normal : Vec3{0.0, 0.0, 1.0};
}

}  // namespace

// How many of the three values atom k has.
unsigned int QZZmatAdaptor::valuesOf(std::size_t atom) {
  return static_cast<unsigned int>(std::min<std::size_t>(atom, 3));
}

// Calls visit(row, which) for the variables in their order. A lone atom's one variable is a
// distance that nothing depends on.
template <class Visit>
void QZZmatAdaptor::forEachFree(Visit visit) const {
  if (numAtoms_ == 1 && rows_[0].mask[kDistance] != 0) visit(std::size_t{0}, kDistance);
  for (std::size_t k = 1; k < numAtoms_; ++k) {
    for (unsigned int which = 0; which < valuesOf(k); ++which) {
      if (rows_[k].mask[which] != 0) visit(k, static_cast<int>(which));
    }
  }
}

void QZZmatAdaptor::writeFree(double* vars) const {
  forEachFree(
      [&](std::size_t k, int which) { *vars++ = rows_[k].value[static_cast<std::size_t>(which)]; });
}

void QZZmatAdaptor::countFree() {
  freeCount_ = 0;
  forEachFree([this](std::size_t, int) { ++freeCount_; });
}

std::vector<QZInternalKind> QZZmatAdaptor::GetKinds() const {
  constexpr std::array kinds{QZInternalKind::Bond, QZInternalKind::Angle, QZInternalKind::Dihedral};
  std::vector<QZInternalKind> result;
  forEachFree(
      [&](std::size_t, int which) { result.push_back(kinds[static_cast<std::size_t>(which)]); });
  return result;
}

bool QZZmatAdaptor::Setup(const QZChem::QZMolBase& mol) {
  numAtoms_ = mol.NumAtoms();
  fixedAtoms_ = nullptr;
  rows_.assign(numAtoms_, Row{});
  coords_.assign(std::size_t{3} * mol.AtomIndexBound(), 0.0);
  adjoint_.assign(coords_.size(), 0.0);
  freeCount_ = 0;
  if (numAtoms_ == 0) return false;
  for (std::size_t k = 0; k < numAtoms_; ++k) {
    const unsigned int count = k == 0 && numAtoms_ == 1 ? 1 : valuesOf(k);
    std::fill_n(rows_[k].mask.begin(), count, 1);
  }
  countFree();
  mol.GetCoords(coords_.data());
  constructBADtable();
  xyz2int(coords_.data());
  return true;
}

void QZZmatAdaptor::constructBADtable() {
  constexpr double kFarthest2 = 1e10;  // Å²
  EarlierAtoms earlier(coords_.data());
  for (unsigned int k = 1; k < numAtoms_; ++k) {
    auto& partner = rows_[k].partner;
    earlier.AddUpTo(k);
    partner[0] = earlier.Nearest(
        LoadAtom(coords_.data(), k), kFarthest2, 0, [](unsigned int) { return true; });
    if (k > 1) partner[1] = rows_[partner[0]].partner[0];
    if (k > 2) partner[2] = rows_[partner[0]].partner[1];
  }
}

// An undefined dihedral stays in its place among the variables; a fixed one stays fixed.
void QZZmatAdaptor::markUndefined(Row& row) {
  if (row.mask[kDihedral] == 0) return;
  row.mask[kDihedral] = row.value[kAngle] >= kStraight ? -1 : 1;
}

// Where b-a-d is nearly straight, d becomes the nearest earlier atom to a that is not in line with
// them, if there is one.
void QZZmatAdaptor::rechooseDihedral(const double* coords, unsigned int k, EarlierAtoms& earlier) {
  constexpr double kFarthest2 = 1000.0;  // Å²
  auto& [b, a, d] = rows_[k].partner;
  const Vec3 pa = LoadAtom(coords, a);
  const Vec3 pb = LoadAtom(coords, b);
  const double angle = AngleAt(pb, pa, LoadAtom(coords, d));
  if (angle >= 15.0 * kDegree && angle <= 165.0 * kDegree) return;
  earlier.AddUpTo(k);
  const std::array<unsigned int, 3> taken = rows_[k].partner;
  for (const double least : {15.0 * kDegree, 5.0 * kDegree}) {
    const auto bent = [&](unsigned int j) {
      if (std::ranges::find(taken, j) != taken.end()) return false;
      const double bend = AngleAt(pb, pa, LoadAtom(coords, j));
      return bend > least && bend < std::numbers::pi - least;
    };
    d = earlier.Nearest(pa, kFarthest2, d, bent);
    const Vec3 off = LoadAtom(coords, d) - pa;
    if (d != taken[2] && Dot(off, off) <= kFarthest2 - 1.0) return;
  }
}

void QZZmatAdaptor::xyz2int(const double* coords) {
  EarlierAtoms earlier(coords);  // filled only when a partner is chosen anew
  for (unsigned int k = 1; k < numAtoms_; ++k) {
    Row& row = rows_[k];
    const Vec3 p = LoadAtom(coords, k);
    const Vec3 pb = LoadAtom(coords, row.partner[0]);
    row.value[kDistance] = Norm(p - pb);
    if (k < 2) continue;
    const Vec3 pa = LoadAtom(coords, row.partner[1]);
    row.value[kAngle] = AngleAt(p, pb, pa);
    if (k < 3) continue;
    markUndefined(row);
    if (row.value[kAngle] >= kStraight) {
      row.value[kDihedral] = 0.0;
      continue;
    }
    rechooseDihedral(coords, k, earlier);
    row.value[kDihedral] =
        DihedralCosine(p, pb, pa, LoadAtom(coords, row.partner[2])).SignedAngle();
  }
}

void QZZmatAdaptor::int2xyz() {
  double* x = coords_.data();
  std::fill(coords_.begin(), coords_.end(), 0.0);
  if (numAtoms_ > 1) x[3] = rows_[1].value[kDistance];
  if (numAtoms_ > 2) {
    const Row& row = rows_[2];
    const double xb = x[3 * row.partner[0]];
    const double angle = xb > 0.0 ? std::numbers::pi - row.value[kAngle] : row.value[kAngle];
    x[6] = xb + row.value[kDistance] * std::cos(angle);
    x[7] = row.value[kDistance] * std::sin(angle);
  }
  for (std::size_t k = 3; k < numAtoms_; ++k) {
    Row& row = rows_[k];
    // Only a conversion from Cartesian coordinates makes a dihedral undefined: an angle that the
    // caller takes past straight keeps it.
    if (row.mask[kDihedral] < 0) markUndefined(row);
    const auto [b, a, d] = row.partner;
    const Vec3 pb = LoadAtom(x, b);
    const ZmatFrame frame(pb, LoadAtom(x, a), LoadAtom(x, d));
    StoreAtom(
        x, k, pb + row.value[kDistance] * frame.Direction(row.value[kAngle], row.value[kDihedral]));
  }
}

bool QZZmatAdaptor::FuncVarToOptVar(const double* coords, double* vars) {
  std::copy_n(coords, NumFuncVar(), coords_.begin());
  xyz2int(coords);
  writeFree(vars);
  return true;
}

bool QZZmatAdaptor::OptVarToFuncVar(const double* vars, double* coords) {
  forEachFree(
      [&](std::size_t k, int which) { rows_[k].value[static_cast<std::size_t>(which)] = *vars++; });
  int2xyz();
  std::copy_n(coords_.begin(), NumFuncVar(), coords);
  return true;
}

// The chain rule backwards through the placement of the atoms, last atom first: f_k, the gradient
// that atom k has gathered, gives the derivatives with respect to its own three values, and moves
// on to the atoms that place it. With τ = (p - b) x f:
//   b gains f + u,  a gains -u - v,  d gains v,
//   v = (τ·e / h) n,  u = τ x e / L - (τ·e) (d - a)·e / (h L) n
// since a turn of the frame by ω about b does the work τ·ω, and ω follows from b, a and d.
bool QZZmatAdaptor::FuncGradToOptGrad(const double* coords, double* cartGrad, double* grad) {
  const double* x = coords != nullptr ? coords : coords_.data();
  std::copy_n(cartGrad, NumFuncVar(), adjoint_.begin());
  // Derivatives with respect to the values of each row, filled from the last atom to the first and
  // then written in the variables' order.
  double* write = grad + freeCount_;
  const auto put = [&](std::size_t k, const std::array<double, 3>& derivative) {
    for (unsigned int which = valuesOf(k); which-- > 0;) {
      const int mask = rows_[k].mask[which];
      if (mask != 0) *--write = mask > 0 ? derivative[which] : 0.0;
    }
  };
  for (std::size_t k = numAtoms_; k-- > 3;) {
    const Row& row = rows_[k];
    const auto [b, a, d] = row.partner;
    const double r = row.value[kDistance];
    const double theta = row.value[kAngle];
    const double phi = row.value[kDihedral];
    const ZmatFrame frame(LoadAtom(x, b), LoadAtom(x, a), LoadAtom(x, d));
    const Vec3 direction = frame.Direction(theta, phi);
    const Vec3 f = LoadAtom(adjoint_.data(), k);
    put(k,
        {Dot(f, direction),
         r * Dot(f, frame.ThetaDerivative(theta, phi)),
         r * Dot(f, Cross(frame.e, direction))});
    const Vec3 torque = Cross(r * direction, f);
    Vec3 u;
    Vec3 v;
    if (frame.length > 0.0) u = (1.0 / frame.length) * Cross(torque, frame.e);
    if (frame.height > 0.0 && frame.length > 0.0) {
      const double twist = Dot(torque, frame.e) / frame.height;
      v = twist * frame.n;
      u -= (twist * frame.along / frame.length) * frame.n;
    }
    AddToAtom(adjoint_.data(), b, f + u);
    AddToAtom(adjoint_.data(), a, -u - v);
    AddToAtom(adjoint_.data(), d, v);
  }
  if (numAtoms_ > 2) {
    // Within the plane of the first three atoms, from the centre of the angle outwards.
    const auto [b, a, d] = rows_[2].partner;
    const Vec3 pb = LoadAtom(x, b);
    const Vec3 pa = LoadAtom(x, a);
    const Vec3 arm = LoadAtom(x, 2) - pb;
    const Vec3 f = LoadAtom(adjoint_.data(), 2);
    const auto [r, theta, unused] = rows_[2].value;
    const Vec3 normal = PlaneNormal(pa - pb, arm, r * std::sin(theta));
    put(2, {r != 0.0 ? Dot(f, arm) / r : 0.0, Dot(f, Cross(normal, arm)), 0.0});
    AddToAtom(adjoint_.data(), b, f);
    // Turning about the first bond's own direction is no variable, nor is turning that bond.
  }
  if (numAtoms_ > 1) {
    const Vec3 axis = LoadAtom(x, 1) - LoadAtom(x, 0);
    const double r = rows_[1].value[kDistance];
    const Vec3 f = LoadAtom(adjoint_.data(), 1);
    put(1, {r != 0.0 ? Dot(f, axis) / r : f.x, 0.0, 0.0});
  } else if (freeCount_ == 1) {
    grad[0] = 0.0;
  }
  return true;
}

bool QZZmatAdaptor::OptGradToFuncGrad(const double* /*optGrad*/, double* /*funcGrad*/) {
  return false;
}

bool QZZmatAdaptor::GetAdaptedVariables(double* coords) const {
  if (numAtoms_ == 0 || coords == nullptr) return false;
  std::copy_n(coords_.begin(), NumFuncVar(), coords);
  return true;
}

void QZZmatAdaptor::GetAdaptedVariables(const QZChem::QZMolBase& mol, double* vars) const {
  if (numAtoms_ == 0) {
    QZSystem::QZThrow.Warning("QZZmatAdaptor has not been setup propely");
    return;
  }
  if (vars != nullptr) writeFree(vars);
  std::printf("\nInternal Z-matrix coordinates:\n");
  std::printf("atom  distance   angle     dihedral\n        [A]      [deg]      [deg]\n");
  // Right-aligned under the headings: distance ends in column 14, angle in 22, dihedral in 35.
  constexpr int kWidth[3] = {10, 8, 13};
  for (std::size_t k = 0; k < numAtoms_; ++k) {
    const QZChem::QZAtomBase* atom = mol.GetAtom(static_cast<unsigned int>(k));
    const char* symbol = QZChem::QZGetAtomicSymbol(atom != nullptr ? atom->GetAtomicNumber() : 0);
    std::printf("%-4s", symbol);
    for (unsigned int which = 0; which < valuesOf(k); ++which) {
      const double value = rows_[k].value[which];
      if (which == kDistance) {
        std::printf("%*.5f", kWidth[which], value);
      } else {
        std::printf("%*.3f", kWidth[which], value / kDegree);
      }
    }
    std::printf("\n");
  }
  std::fflush(stdout);
}

void QZZmatAdaptor::FixAtoms(int*& atoms) {
  if (atoms == nullptr) return;
  fixedAtoms_ = atoms;
  const auto fixed = [this](std::size_t atom) { return fixedAtoms_[atom] < 0; };
  if (numAtoms_ == 1) rows_[0].mask[kDistance] = fixed(0) ? 0 : 1;
  for (std::size_t k = 1; k < numAtoms_; ++k) {
    Row& row = rows_[k];
    bool allFixed = fixed(k);
    for (unsigned int which = 0; which < valuesOf(k); ++which) {
      allFixed = allFixed && fixed(row.partner[which]);
      row.mask[which] = allFixed ? 0 : 1;
    }
    if (k > 2) markUndefined(row);
  }
  countFree();
}

}  // namespace QZMolPotential
