// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/zmatrix.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <utility>

#include "coordinates/tree/zmatrix_neighbours.h"
#include "coordinates/tree/zmatrix_rows.h"
#include "kernels/angle.h"
#include "kernels/dihedral.h"
#include "qzchem/mol.h"
#include "qzchem/topology.h"
#include "qzsystem/error.h"

namespace QZMolPotential {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
// π - 0.001: about an angle this close to straight a dihedral is undefined.
constexpr double kStraight = 3.1405926535897932;

enum { kDistance, kAngle, kDihedral };

// How many of the three values atom k has.
unsigned int ValuesOf(std::size_t atom) {
  return static_cast<unsigned int>(std::min<std::size_t>(atom, 3));
}

}  // namespace

// The rows in the order of the atoms. Atom 0 is at the origin, atom 1 along the first axis, atom 2
// in the plane of the first two.
struct QZZmatAdaptor::State {
  struct Row {
    std::array<unsigned int, 3> partner{1, 2, 3};  // b, a, d
    std::array<double, 3> value{};                 // r, θ, φ
    std::array<int, 3> mask{};                     // 1 free, 0 fixed, -1 an undefined dihedral
  };

  template <class Visit>
  void ForEachFree(Visit visit) const;
  void WriteFree(double* vars) const;
  void CountFree();
  void ConstructBADtable();
  void Xyz2int(const double* x);
  void RechooseDihedral(const double* x, unsigned int k, EarlierAtoms& earlier);
  static void MarkUndefined(Row& row);
  void Int2xyz();
  ZmatRow Placing(std::size_t k) const;
  void PlaceFirst();
  std::array<double, 3> SlopesOfThird() const;
  void SweepBack(double* grad);

  unsigned int numAtoms = 0;
  unsigned int freeCount = 0;
  std::vector<Row> rows;
  std::vector<double> coords;
  std::vector<Vec3> points;  // of a conversion or gradient
  std::vector<Vec3> forces;
};

QZZmatAdaptor::QZZmatAdaptor() : state_(std::make_unique<State>()) {}
QZZmatAdaptor::QZZmatAdaptor(const QZZmatAdaptor& other)
    : QZFixMolAdaptor1(other), state_(std::make_unique<State>(*other.state_)) {}
QZZmatAdaptor::QZZmatAdaptor(QZZmatAdaptor&& other) noexcept
    : QZFixMolAdaptor1(), state_(std::move(other.state_)) {
  other.state_ = std::make_unique<State>();
}
QZZmatAdaptor& QZZmatAdaptor::operator=(const QZZmatAdaptor& other) {
  *state_ = *other.state_;
  return *this;
}
QZZmatAdaptor& QZZmatAdaptor::operator=(QZZmatAdaptor&& other) noexcept {
  state_.swap(other.state_);
  return *this;
}
QZZmatAdaptor::~QZZmatAdaptor() = default;

unsigned int QZZmatAdaptor::NumFuncVar() const {
  return 3 * state_->numAtoms;
}
unsigned int QZZmatAdaptor::NumOptVar() const {
  return state_->freeCount;
}

// Calls visit(row, which) for the variables in their order. A lone atom's one variable is a
// distance that nothing depends on.
template <class Visit>
void QZZmatAdaptor::State::ForEachFree(Visit visit) const {
  if (numAtoms == 1 && rows[0].mask[kDistance] != 0) visit(std::size_t{0}, std::size_t{kDistance});
  for (std::size_t k = 1; k < numAtoms; ++k) {
    for (std::size_t which = 0; which < ValuesOf(k); ++which) {
      if (rows[k].mask[which] != 0) visit(k, which);
    }
  }
}

void QZZmatAdaptor::State::WriteFree(double* vars) const {
  ForEachFree([&](std::size_t k, std::size_t which) { *vars++ = rows[k].value[which]; });
}

void QZZmatAdaptor::State::CountFree() {
  freeCount = 0;
  ForEachFree([this](std::size_t, std::size_t) { ++freeCount; });
}

std::vector<QZInternalKind> QZZmatAdaptor::GetKinds() const {
  constexpr std::array kinds{QZInternalKind::Bond, QZInternalKind::Angle, QZInternalKind::Dihedral};
  std::vector<QZInternalKind> result;
  state_->ForEachFree([&](std::size_t, std::size_t which) { result.push_back(kinds[which]); });
  return result;
}

bool QZZmatAdaptor::Setup(const QZChem::QZMolBase& mol) {
  *state_ = State();
  State& s = *state_;
  s.numAtoms = mol.NumAtoms();
  s.rows.resize(s.numAtoms);
  s.coords.assign(std::size_t{3} * mol.AtomIndexBound(), 0.0);
  s.points.resize(mol.AtomIndexBound());
  s.forces.resize(mol.AtomIndexBound());
  if (s.numAtoms == 0) return false;
  for (std::size_t k = 0; k < s.numAtoms; ++k) {
    const unsigned int count = k == 0 && s.numAtoms == 1 ? 1 : ValuesOf(k);
    std::fill_n(s.rows[k].mask.begin(), count, 1);
  }
  s.CountFree();
  mol.GetCoords(s.coords.data());
  s.ConstructBADtable();
  s.Xyz2int(s.coords.data());
  return true;
}

void QZZmatAdaptor::State::ConstructBADtable() {
  constexpr double kFarthest2 = 1e10;  // Å²
  EarlierAtoms earlier(coords.data(), numAtoms);
  for (unsigned int k = 1; k < numAtoms; ++k) {
    auto& partner = rows[k].partner;
    earlier.AddUpTo(k);
    partner[0] = earlier.Nearest(
        LoadAtom(coords.data(), k), kFarthest2, 0, [](unsigned int) { return true; });
    if (k > 1) partner[1] = rows[partner[0]].partner[0];
    if (k > 2) partner[2] = rows[partner[0]].partner[1];
  }
}

// An undefined dihedral stays in its place among the variables; a fixed one stays fixed.
void QZZmatAdaptor::State::MarkUndefined(Row& row) {
  if (row.mask[kDihedral] == 0) return;
  row.mask[kDihedral] = row.value[kAngle] >= kStraight ? -1 : 1;
}

// When b-a-d is nearly straight, d is replaced by the nearest earlier atom to a that is not in line
// with a and b, if there is one.
void QZZmatAdaptor::State::RechooseDihedral(const double* x,
                                            unsigned int k,
                                            EarlierAtoms& earlier) {
  constexpr double kFarthest2 = 1000.0;  // Å²
  auto& [b, a, d] = rows[k].partner;
  const Vec3 pa = LoadAtom(x, a);
  const Vec3 pb = LoadAtom(x, b);
  const double angle = AngleOf(pb, pa, LoadAtom(x, d));
  if (angle >= 15.0 * kDegree && angle <= 165.0 * kDegree) return;
  earlier.AddUpTo(k);
  const std::array<unsigned int, 3> taken = rows[k].partner;
  for (const double least : {15.0 * kDegree, 5.0 * kDegree}) {
    const auto bent = [&](unsigned int j) {
      if (std::ranges::find(taken, j) != taken.end()) return false;
      const double bend = AngleOf(pb, pa, LoadAtom(x, j));
      return bend > least && bend < std::numbers::pi - least;
    };
    d = earlier.Nearest(pa, kFarthest2, d, bent);
    const Vec3 off = LoadAtom(x, d) - pa;
    if (d != taken[2] && Dot(off, off) <= kFarthest2 - 1.0) return;
  }
}

void QZZmatAdaptor::State::Xyz2int(const double* x) {
  EarlierAtoms earlier(x, numAtoms);  // filled only when a partner is chosen anew
  for (unsigned int k = 1; k < numAtoms; ++k) {
    Row& row = rows[k];
    const Vec3 p = LoadAtom(x, k);
    const Vec3 pb = LoadAtom(x, row.partner[0]);
    row.value[kDistance] = Norm(p - pb);
    if (k < 2) continue;
    const Vec3 pa = LoadAtom(x, row.partner[1]);
    row.value[kAngle] = AngleOf(p, pb, pa);
    if (k < 3) continue;
    MarkUndefined(row);
    if (row.value[kAngle] >= kStraight) {
      row.value[kDihedral] = 0.0;
      continue;
    }
    RechooseDihedral(x, k, earlier);
    row.value[kDihedral] = DihedralCosine(p, pb, pa, LoadAtom(x, row.partner[2])).SignedAngle();
  }
}

ZmatRow QZZmatAdaptor::State::Placing(std::size_t k) const {
  return {.atom = static_cast<unsigned int>(k), .partner = rows[k].partner};
}

// The first three atoms, which no three others place.
void QZZmatAdaptor::State::PlaceFirst() {
  points[0] = {};
  if (numAtoms > 1) points[1] = {rows[1].value[kDistance], 0.0, 0.0};
  if (numAtoms < 3) return;
  const Row& row = rows[2];
  const Vec3 pb = points[row.partner[0]];
  const double away = pb.x > points[row.partner[1]].x ? 1.0 : -1.0;
  const double r = row.value[kDistance];
  const double theta = row.value[kAngle];
  points[2] = {pb.x - away * r * std::cos(theta), r * std::sin(theta), 0.0};
}

void QZZmatAdaptor::State::Int2xyz() {
  std::ranges::fill(coords, 0.0);
  PlaceFirst();
  const ZmatAxes axes;
  PlacedRow<double> placed;
  for (std::size_t k = 3; k < numAtoms; ++k) {
    Row& row = rows[k];
    // Only a conversion from Cartesian coordinates makes a dihedral undefined: an angle that the
    // caller takes past straight keeps it.
    if (row.mask[kDihedral] < 0) MarkUndefined(row);
    points[k] = PlaceRow(Placing(k), axes, row.value.data(), points.data(), placed);
  }
  for (std::size_t k = 1; k < numAtoms; ++k) StoreAtom(coords.data(), k, points[k]);
}

// The derivatives with respect to atom 2's distance and angle, wherever the molecule stands: with e
// from a to b and m across it, on the atom's side, p = b + r (sin θ m - cos θ e).
std::array<double, 3> QZZmatAdaptor::State::SlopesOfThird() const {
  const Row& row = rows[2];
  const auto [r, theta, unused] = row.value;
  const Vec3 pb = points[row.partner[0]];
  const Vec3 along = pb - points[row.partner[1]];
  const Vec3 arm = points[2] - pb;
  const double perAlong2 = 1.0 / Dot(along, along);
  const auto across = [&](const Vec3& v) { return v - (perAlong2 * Dot(v, along)) * along; };
  // The angle grows towards m, which does not turn over with the arm where it passes 0 or π.
  const double sine = std::sin(theta);
  Vec3 m = (r * sine < 0.0 ? -1.0 : 1.0) * across(arm);
  if (!(Norm(m) > 1e-12 * Norm(arm))) {
    m = across({0.0, 1.0, 0.0});
    if (!(Norm(m) > 1e-6)) m = across({0.0, 0.0, 1.0});
  }
  const double ofM = Dot(forces[2], m) / Norm(m);
  const double ofE = Dot(forces[2], along) * std::sqrt(perAlong2);
  const double cosine = std::cos(theta);
  return {sine * ofM - cosine * ofE, r * (sine * ofE + cosine * ofM), 0.0};
}

// Derivatives with respect to the values of each row, from the last atom to the first, written in
// the variables' order.
void QZZmatAdaptor::State::SweepBack(double* grad) {
  double* write = grad + freeCount;
  const auto put = [&](std::size_t k, const std::array<double, 3>& slopes) {
    const Row& row = rows[k];
    for (std::size_t which = ValuesOf(k); which-- > 0;) {
      if (row.mask[which] != 0) *--write = row.mask[which] > 0 ? slopes[which] : 0.0;
    }
  };
  const ZmatAxes axes;
  for (std::size_t k = numAtoms; k-- > 3;) {
    const ZmatRow placing = Placing(k);
    const PlacedRow<double> placed(placing, axes, rows[k].value.data(), points.data());
    put(k, SweepRow(placing, axes, placed, forces.data()));
  }
  // Turning the first bond, or the third atom about it, is no variable.
  if (numAtoms > 2) {
    put(2, SlopesOfThird());
    forces[rows[2].partner[0]] += forces[2];
  }
  if (numAtoms > 1) {
    const double r = rows[1].value[kDistance];
    const Vec3 along = r != 0.0 ? (1.0 / r) * (points[1] - points[0]) : Vec3{1.0, 0.0, 0.0};
    put(1, {Dot(forces[1], along), 0.0, 0.0});
  } else if (freeCount == 1) {
    grad[0] = 0.0;
  }
}

bool QZZmatAdaptor::FuncVarToOptVar(const double* coords, double* vars) {
  std::copy_n(coords, NumFuncVar(), state_->coords.begin());
  state_->Xyz2int(coords);
  state_->WriteFree(vars);
  return true;
}

bool QZZmatAdaptor::OptVarToFuncVar(const double* vars, double* coords) {
  State& s = *state_;
  if (s.numAtoms == 0) return true;
  s.ForEachFree([&](std::size_t k, std::size_t which) { s.rows[k].value[which] = *vars++; });
  s.Int2xyz();
  std::copy_n(s.coords.begin(), NumFuncVar(), coords);
  return true;
}

bool QZZmatAdaptor::FuncGradToOptGrad(const double* coords, double* cartGrad, double* grad) {
  State& s = *state_;
  const double* x = coords != nullptr ? coords : s.coords.data();
  for (std::size_t i = 0; i < s.numAtoms; ++i) {
    s.points[i] = LoadAtom(x, i);
    s.forces[i] = LoadAtom(cartGrad, i);
  }
  s.SweepBack(grad);
  return true;
}

bool QZZmatAdaptor::OptGradToFuncGrad(const double* /*optGrad*/, double* /*funcGrad*/) {
  return false;
}

bool QZZmatAdaptor::GetAdaptedVariables(double* coords) const {
  if (state_->numAtoms == 0 || coords == nullptr) return false;
  std::copy_n(state_->coords.begin(), NumFuncVar(), coords);
  return true;
}

void QZZmatAdaptor::GetAdaptedVariables(const QZChem::QZMolBase& mol, double* vars) const {
  if (state_->numAtoms == 0) {
    QZSystem::QZThrow.Warning("QZZmatAdaptor has not been setup propely");
    return;
  }
  if (vars != nullptr) state_->WriteFree(vars);
  std::printf("\nInternal Z-matrix coordinates:\n");
  std::printf("atom  distance   angle     dihedral\n        [A]      [deg]      [deg]\n");
  // Right-aligned under the headings: distance ends in column 14, angle in 22, dihedral in 35.
  constexpr int kWidth[3] = {10, 8, 13};
  for (std::size_t k = 0; k < state_->numAtoms; ++k) {
    const QZChem::QZAtomBase* atom = mol.GetAtom(static_cast<unsigned int>(k));
    const char* symbol = QZChem::QZGetAtomicSymbol(atom != nullptr ? atom->GetAtomicNumber() : 0);
    std::printf("%-4s", symbol);
    for (unsigned int which = 0; which < ValuesOf(k); ++which) {
      const double value = state_->rows[k].value[which];
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
  const auto fixed = [atoms](std::size_t atom) { return atoms[atom] < 0; };
  if (state_->numAtoms == 1) state_->rows[0].mask[kDistance] = fixed(0) ? 0 : 1;
  for (std::size_t k = 1; k < state_->numAtoms; ++k) {
    State::Row& row = state_->rows[k];
    bool allFixed = fixed(k);
    for (unsigned int which = 0; which < ValuesOf(k); ++which) {
      allFixed = allFixed && fixed(row.partner[which]);
      row.mask[which] = allFixed ? 0 : 1;
    }
    if (k > 2) State::MarkUndefined(row);
  }
  state_->CountFree();
}

}  // namespace QZMolPotential
