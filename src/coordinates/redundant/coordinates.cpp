// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/redundant/coordinates.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "kernels/dihedral.h"
#include "qzchem/mol.h"

namespace QZMolPotential {
namespace {

constexpr double kAngleLimit = 0.999999;
constexpr double kAngleShift = 1e-6;
constexpr double kDihedralLimit = 0.999999999999;
constexpr double kDihedralShift = 1e-12;
// Below this sine of a valence angle the plane of a dihedral means nothing: its row would have
// entries above 1e10, whose rounding alone reaches 1e-6, the least singular value of B that counts.
constexpr double kFlatSine = 1e-10;

double towardZero(double c, double shift) {
  return c - std::copysign(shift, c);
}

// Coordinates of atoms in one place have no derivatives: NaN tells the solver.
constexpr double kUndefined = std::numeric_limits<double>::quiet_NaN();

double bond(const Vec3& xi, const Vec3& xj, std::span<Vec3> row) {
  const Vec3 d = xi - xj;
  const double q = Norm(d);
  if (!row.empty()) {
    row[0] = (q > 0.0 ? 1.0 / q : kUndefined) * d;
    row[1] = -row[0];
  }
  return q;
}

double angle(const Vec3& xi, const Vec3& xj, const Vec3& xk, std::span<Vec3> row) {
  const Vec3 u = xi - xj;
  const Vec3 v = xk - xj;
  const double u2 = Dot(u, u);
  const double v2 = Dot(v, v);
  const double product = std::sqrt(u2 * v2);
  if (product == 0.0) {
    std::fill(row.begin(), row.end(), Vec3{kUndefined, kUndefined, kUndefined});
    return 0.0;
  }
  double c = std::clamp(Dot(u, v) / product, -1.0, 1.0);
  const bool clamped = std::abs(c) > kAngleLimit;
  if (clamped) c = towardZero(c, kAngleShift);
  if (!row.empty()) {
    const Vec3 normal = Cross(u, v);
    // f = -1 / (|u||v| sin); off the clamp |u||v| sin is |u x v|, which keeps its digits.
    const double f = -1.0 / (clamped ? product * std::sqrt(1.0 - c * c) : Norm(normal));
    // v - (u·v/|u|²) u = (u x v) x u / |u|², and alike for the other end.
    row[0] = (f / u2) * Cross(normal, u);
    row[2] = (f / v2) * Cross(v, normal);
    row[1] = -row[0] - row[2];
  }
  return std::acos(c);
}

// A plane normal vanishes against its two bond vectors; false for NaN.
bool isFlat(double normal2, const Vec3& a, const Vec3& b) {
  return normal2 <= kFlatSine * kFlatSine * Dot(a, a) * Dot(b, b);
}

double dihedral(const Vec3& xi, const Vec3& xj, const Vec3& xk, const Vec3& xl, Vec3* row) {
  const DihedralCosine d(xi, xj, xk, xl);
  if (isFlat(d.n2, d.a, d.b) || isFlat(d.m2, d.c, d.b)) {
    if (row != nullptr) std::fill(row, row + 4, Vec3{});
    return 0.0;
  }
  double c = d.cosine;
  const bool clamped = std::abs(c) > kDihedralLimit;
  if (row == nullptr) return std::acos(clamped ? std::copysign(1.0, c) : c);
  // d acos(c) = -dc / √(1 - c²) and dc = -sin φ dφ. On the clamp 1 - |c| comes from the sine, since
  // the difference has no digits left.
  const double sine = d.SineOrZero();
  double scale = std::copysign(1.0, sine);
  if (clamped) {
    const double rest = sine * sine / (1.0 + std::abs(c)) + kDihedralShift;
    scale = sine / std::sqrt(rest * (2.0 - rest));
    c = towardZero(c, kDihedralShift);
  }
  const std::array<Vec3, 4> gradient = d.AngleGradient();
  for (std::size_t k = 0; k < 4; ++k) row[k] = scale * gradient[k];
  return std::acos(c);
}

}  // namespace

void WilsonRows::Clear() {
  start_.assign(1, 0);
  atoms_.clear();
  blocks_.clear();
}

void WilsonRows::AddRow(std::span<const unsigned int> atoms) {
  atoms_.insert(atoms_.end(), atoms.begin(), atoms.end());
  blocks_.resize(atoms_.size());
  start_.push_back(atoms_.size());
}

void WilsonRows::Multiply(const double* x, double* out) const {
  for (std::size_t row = 0; row < NumRows(); ++row) {
    double sum = 0.0;
    for (std::size_t k = start_[row]; k < start_[row + 1]; ++k) {
      sum += Dot(blocks_[k], LoadAtom(x, atoms_[k]));
    }
    out[row] = sum;
  }
}

void WilsonRows::AddTransposed(const double* t, double* out) const {
  for (std::size_t row = 0; row < NumRows(); ++row) {
    for (std::size_t k = start_[row]; k < start_[row + 1]; ++k) {
      AddToAtom(out, atoms_[k], t[row] * blocks_[k]);
    }
  }
}

void RedundantCoordinates::Build(const QZChem::QZMolBase& mol,
                                 const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>* frozen) {
  const auto neighboursOf = [](const QZChem::QZAtomBase& atom) {
    std::vector<const QZChem::QZAtomBase*> result;
    for (const auto& n : QZSystem::QZRange(atom.GetNeighbours())) result.push_back(&n);
    return result;
  };
  const auto isFrozen = [frozen](const QZChem::QZAtomBase& atom) {
    return frozen != nullptr && (*frozen)(atom);
  };
  bonds_.clear();
  angles_.clear();
  dihedrals_.clear();
  std::vector<int> bondTypes;
  std::vector<int> angleTypes;
  std::vector<int> dihedralTypes;

  for (const auto& bondOf : QZSystem::QZRange(mol.GetBonds())) {
    const QZChem::QZAtomBase& a = *bondOf.GetBegin();
    const QZChem::QZAtomBase& b = *bondOf.GetEnd();
    const bool frozenBond = isFrozen(a) && isFrozen(b);
    bonds_.push_back({a.GetIndex(), b.GetIndex()});
    bondTypes.push_back(frozenBond ? kFrozenBond : kActiveBond);
    if (a.GetDegree() < 2 || b.GetDegree() < 2) continue;
    const auto beyond = neighboursOf(b);
    bool active = true;  // once false, false for the bond's remaining dihedrals
    for (const auto* i : neighboursOf(a)) {
      if (i == &b) continue;
      for (const auto* l : beyond) {
        if (l == &a) continue;
        if (frozenBond && isFrozen(*i) && isFrozen(*l)) active = false;
        dihedrals_.push_back({i->GetIndex(), a.GetIndex(), b.GetIndex(), l->GetIndex()});
        dihedralTypes.push_back(active ? kActiveOther : kFrozenDihedral);
      }
    }
  }
  for (const auto& centre : QZSystem::QZRange(mol.GetAtoms())) {
    const auto ends = neighboursOf(centre);
    const bool frozenCentre = isFrozen(centre);
    bool active = true;  // once false, false for the centre's remaining angles
    for (std::size_t u = 0; u < ends.size(); ++u) {
      for (std::size_t w = u + 1; w < ends.size(); ++w) {
        if (frozenCentre && isFrozen(*ends[u]) && isFrozen(*ends[w])) active = false;
        angles_.push_back({ends[u]->GetIndex(), centre.GetIndex(), ends[w]->GetIndex()});
        angleTypes.push_back(active ? kActiveOther : kFrozenAngle);
      }
    }
  }
  types_ = std::move(bondTypes);
  types_.insert(types_.end(), angleTypes.begin(), angleTypes.end());
  types_.insert(types_.end(), dihedralTypes.begin(), dihedralTypes.end());
  numActive_ = static_cast<std::size_t>(
      std::count_if(types_.begin(), types_.end(), [](int type) { return type >= 0; }));
}

WilsonRows RedundantCoordinates::EmptyRows() const {
  WilsonRows rows;
  std::size_t i = 0;
  for (const Bond& b : bonds_) {
    rows.AddRow(IsActive(i++) ? std::span<const unsigned int>(b) : std::span<const unsigned int>());
  }
  for (const Angle& a : angles_) {
    rows.AddRow(IsActive(i++) ? std::span<const unsigned int>(a) : std::span<const unsigned int>());
  }
  for (const Dihedral& d : dihedrals_) {
    // The planes of a three-membered ring's dihedral are one plane: it never leaves 0.
    const bool constant = d[0] == d[3];
    rows.AddRow(constant ? std::span<const unsigned int>() : std::span<const unsigned int>(d));
  }
  return rows;
}

void RedundantCoordinates::Values(const double* x, double* q) const {
  const auto at = [x](unsigned int atom) { return LoadAtom(x, atom); };
  for (const Bond& b : bonds_) *q++ = bond(at(b[0]), at(b[1]), {});
  for (const Angle& a : angles_) *q++ = angle(at(a[0]), at(a[1]), at(a[2]), {});
  for (const Dihedral& d : dihedrals_) {
    *q++ = dihedral(at(d[0]), at(d[1]), at(d[2]), at(d[3]), nullptr);
  }
}

void RedundantCoordinates::ValuesAndRows(const double* x, double* q, WilsonRows& rows) const {
  const auto at = [x](unsigned int atom) { return LoadAtom(x, atom); };
  std::size_t i = 0;
  for (const Bond& b : bonds_) {
    q[i] = bond(at(b[0]), at(b[1]), rows.Blocks(i));
    ++i;
  }
  for (const Angle& a : angles_) {
    q[i] = angle(at(a[0]), at(a[1]), at(a[2]), rows.Blocks(i));
    ++i;
  }
  std::array<Vec3, 4> unused;
  for (const Dihedral& d : dihedrals_) {
    const std::span<Vec3> row = rows.Blocks(i);
    q[i] =
        dihedral(at(d[0]), at(d[1]), at(d[2]), at(d[3]), row.empty() ? unused.data() : row.data());
    ++i;
  }
}

}  // namespace QZMolPotential
