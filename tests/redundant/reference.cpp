// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "redundant/reference.h"

#include <lapacke.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <iterator>

namespace {

using C = std::complex<double>;
using CVec = std::array<C, 3>;

C dot(const CVec& a, const CVec& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
CVec sub(const CVec& a, const CVec& b) {
  return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
CVec cross(const CVec& a, const CVec& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
C norm(const CVec& a) {
  return std::sqrt(dot(a, a));
}

// A coordinate as (sine, cosine) times anything positive; a length as (0, length).
std::pair<C, C> evaluate(const std::vector<CVec>& p) {
  if (p.size() == 2) return {0.0, norm(sub(p[0], p[1]))};
  if (p.size() == 3) {
    const CVec u = sub(p[0], p[1]);
    const CVec v = sub(p[2], p[1]);
    return {norm(cross(u, v)), dot(u, v)};
  }
  const CVec b = sub(p[2], p[1]);
  const CVec n1 = cross(sub(p[0], p[1]), b);
  const CVec n2 = cross(sub(p[3], p[2]), b);
  C sine = dot(cross(n1, n2), b) / norm(b);
  const CVec a = sub(p[0], p[1]);
  const CVec c = sub(p[3], p[2]);
  // Below the rounding of the normals it is 0.
  const double noise = std::abs(norm(b) * (norm(a) * norm(n2) + norm(c) * norm(n1)));
  if (std::abs(sine.real()) < 2e-15 * noise) sine -= sine.real();
  return {sine, dot(n1, n2)};
}

struct Angle {
  double value;
  double scale;  // of the derivative of the angle itself
};

// acos with the treatment of its ends.
Angle angleOf(double sine, double cosine, bool dihedral, bool forRows) {
  const double limit = dihedral ? 0.999999999999 : 0.999999;
  const double shift = dihedral ? 1e-12 : 1e-6;
  const double length = std::hypot(sine, cosine);
  const double c = std::clamp(cosine / length, -1.0, 1.0);
  if (std::abs(c) <= limit) return {std::acos(c), sine < 0.0 ? -1.0 : 1.0};
  if (dihedral && !forRows) return {c > 0.0 ? 0.0 : std::acos(-1.0), 0.0};
  // 1 - |cos| of the moved cosine, from the sine, where a difference would have no digits.
  const double rest = std::pow(sine / length, 2) / (1.0 + std::abs(c)) + shift;
  const double moved = c > 0.0 ? c - shift : c + shift;
  return {std::acos(moved), sine / length / std::sqrt(rest * (2.0 - rest))};
}

}  // namespace

Reference::Reference(const QZChem::QZMolBase& mol, const Frozen& frozen)
    : n_(3 * std::size_t{mol.AtomIndexBound()}) {
  std::vector<Coordinate> angles;
  std::vector<Coordinate> dihedrals;
  const auto neighbours = [](const QZChem::QZAtomBase* atom) {
    std::vector<unsigned int> all;
    for (auto& n : QZSystem::QZRange(atom->GetNeighbours())) all.push_back(n.GetIndex());
    return all;
  };
  for (auto& bond : QZSystem::QZRange(mol.GetBonds())) {
    const unsigned int a = bond.GetBegin()->GetIndex();
    const unsigned int b = bond.GetEnd()->GetIndex();
    list_.push_back({{a, b}, !(frozen(a) && frozen(b))});
    bool active = true;
    for (const unsigned int i : neighbours(bond.GetBegin())) {
      for (const unsigned int l : neighbours(bond.GetEnd())) {
        if (i == b || l == a) continue;
        active = active && !(frozen(a) && frozen(b) && frozen(i) && frozen(l));
        dihedrals.push_back({{i, a, b, l}, active});
      }
    }
  }
  for (auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    const unsigned int c = atom.GetIndex();
    const auto ends = neighbours(&atom);
    bool active = true;
    for (std::size_t u = 0; u < ends.size(); ++u) {
      for (std::size_t w = u + 1; w < ends.size(); ++w) {
        active = active && !(frozen(ends[u]) && frozen(c) && frozen(ends[w]));
        angles.push_back({{ends[u], c, ends[w]}, active});
      }
    }
  }
  std::move(angles.begin(), angles.end(), std::back_inserter(list_));
  std::move(dihedrals.begin(), dihedrals.end(), std::back_inserter(list_));
}

namespace {

std::vector<CVec> pointsOf(const std::vector<unsigned int>& atoms, const std::vector<double>& x) {
  std::vector<CVec> p;
  for (const unsigned int a : atoms) p.push_back({x[3 * a], x[3 * a + 1], x[3 * a + 2]});
  return p;
}

// Planes mean something: no three atoms of a dihedral in line.
bool hasPlanes(const std::vector<CVec>& p) {
  for (std::size_t k = 0; k + 2 < p.size(); ++k) {
    const CVec u = sub(p[k], p[k + 1]);
    const CVec v = sub(p[k + 2], p[k + 1]);
    if (norm(cross(u, v)).real() <= 1e-10 * (norm(u) * norm(v)).real()) return false;
  }
  return true;
}

}  // namespace

std::vector<double> Reference::Values(const std::vector<double>& x, bool forRows) const {
  std::vector<double> q;
  for (const Coordinate& coordinate : list_) {
    const auto p = pointsOf(coordinate.atoms, x);
    const auto [s, c] = evaluate(p);
    const bool dihedral = p.size() == 4;
    if (p.size() == 2) {
      q.push_back(c.real());
    } else if (dihedral && !hasPlanes(p)) {
      q.push_back(0.0);
    } else {
      q.push_back(angleOf(s.real(), c.real(), dihedral, forRows).value);
    }
  }
  return q;
}

void Reference::UpdateRows(const std::vector<double>& x) {
  constexpr double kStep = 1e-30;
  const std::size_t m = list_.size();
  b_.assign(m * n_, 0.0);
  for (std::size_t i = 0; i < m; ++i) {
    const Coordinate& coordinate = list_[i];
    auto p = pointsOf(coordinate.atoms, x);
    const bool dihedral = p.size() == 4;
    if (!coordinate.active && !dihedral) continue;
    if (dihedral && (!hasPlanes(p) || coordinate.atoms[0] == coordinate.atoms[3])) continue;
    const auto [s0, c0] = evaluate(p);
    const double length2 = std::norm(s0) + std::norm(c0);
    if (p.size() == 3 && s0.real() == 0.0) continue;
    for (std::size_t k = 0; k < p.size(); ++k) {
      for (std::size_t d = 0; d < 3; ++d) {
        p[k][d] += C(0.0, kStep);
        const auto [s, c] = evaluate(p);
        p[k][d] -= C(0.0, kStep);
        const double ds = s.imag() / kStep;
        const double dc = c.imag() / kStep;
        double& entry = b_[i * n_ + 3 * coordinate.atoms[k] + d];
        if (p.size() == 2) {
          entry += dc;
        } else {
          const Angle angle = angleOf(s0.real(), c0.real(), dihedral, true);
          entry += angle.scale * (c0.real() * ds - s0.real() * dc) / length2;
        }
      }
    }
  }
  const std::size_t k = std::min(m, n_);
  sigma_.assign(k, 0.0);
  u_.assign(m * k, 0.0);
  vt_.assign(k * n_, 0.0);
  std::vector<double> work = b_;
  const auto rows = static_cast<lapack_int>(m);
  const auto columns = static_cast<lapack_int>(n_);
  const auto least = static_cast<lapack_int>(k);
  if (m > 0) {
    LAPACKE_dgesdd(LAPACK_ROW_MAJOR,
                   'S',
                   rows,
                   columns,
                   work.data(),
                   columns,
                   sigma_.data(),
                   u_.data(),
                   least,
                   vt_.data(),
                   columns);
  }
}

// (B Bᵀ)⁺ B g = U Σ⁻¹ Vᵀ g and Bᵀ (B Bᵀ)⁺ dq = V Σ⁻¹ Uᵀ dq; singular values of B Bᵀ are σ².
std::vector<double> Reference::InternalGradient(const std::vector<double>& g) const {
  std::vector<double> out(list_.size(), 0.0);
  for (std::size_t s = 0; s < sigma_.size(); ++s) {
    if (sigma_[s] * sigma_[s] < 1e-12) continue;
    double sum = 0.0;
    for (std::size_t j = 0; j < n_; ++j) sum += vt_[s * n_ + j] * g[j];
    for (std::size_t i = 0; i < out.size(); ++i) {
      out[i] += u_[i * sigma_.size() + s] * sum / sigma_[s];
    }
  }
  return out;
}

std::vector<double> Reference::CartesianStep(const std::vector<double>& dq) const {
  std::vector<double> out(n_, 0.0);
  for (std::size_t s = 0; s < sigma_.size(); ++s) {
    if (sigma_[s] * sigma_[s] < 1e-12) continue;
    double sum = 0.0;
    for (std::size_t i = 0; i < dq.size(); ++i) sum += u_[i * sigma_.size() + s] * dq[i];
    for (std::size_t j = 0; j < n_; ++j) out[j] += vt_[s * n_ + j] * sum / sigma_[s];
  }
  return out;
}

std::vector<double> Reference::ActiveOf(const std::vector<double>& all) const {
  std::vector<double> active;
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (list_[i].active) active.push_back(all[i]);
  }
  return active;
}

std::vector<double> Reference::AllOf(const std::vector<double>& active) const {
  std::vector<double> all;
  auto next = active.begin();
  for (const Coordinate& coordinate : list_) all.push_back(coordinate.active ? *next++ : 0.0);
  return all;
}

bool Reference::BackTransform(std::vector<double>& x, const std::vector<double>& activeTarget) {
  std::vector<double> q = Values(x, false);
  std::vector<double> target = q;
  std::size_t next = 0;
  for (std::size_t i = 0; i < q.size(); ++i) {
    if (!list_[i].active) continue;
    target[i] = activeTarget[next++];
    if (list_[i].atoms.size() == 2) target[i] = std::abs(target[i]);
  }
  for (int step = 0; step < 10; ++step) {
    std::vector<double> dq(q.size());
    for (std::size_t i = 0; i < q.size(); ++i) dq[i] = target[i] - q[i];
    double length2 = 0.0;
    const std::vector<double> dx = CartesianStep(dq);
    for (std::size_t j = 0; j < n_; ++j) {
      x[j] += dx[j];
      length2 += dx[j] * dx[j];
    }
    if (std::sqrt(length2) < 1e-5) return true;
    UpdateRows(x);
    q = Values(x, true);
  }
  return false;
}
