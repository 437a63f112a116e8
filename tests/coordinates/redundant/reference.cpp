// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/redundant/reference.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>

namespace {

using C = std::complex<double>;
using CVec = Eigen::Vector3cd;

// Products without conjugation, which complex steps ask for.
C dot(const CVec& a, const CVec& b) {
  return a.cwiseProduct(b).sum();
}
CVec cross(const CVec& a, const CVec& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
C norm(const CVec& a) {
  return std::sqrt(dot(a, a));
}

// A coordinate as (sine, cosine) times anything positive; a length as (0, length).
std::pair<C, C> evaluate(const std::vector<CVec>& p) {
  if (p.size() == 2) return {0.0, norm(p[0] - p[1])};
  const CVec a = p[0] - p[1];
  const CVec b = p[2] - p[1];
  if (p.size() == 3) return {norm(cross(a, b)), dot(a, b)};
  const CVec c = p[3] - p[2];
  const CVec n1 = cross(a, b);
  const CVec n2 = cross(c, b);
  C sine = dot(cross(n1, n2), b) / norm(b);
  // Below the rounding of the normals it is 0.
  const double noise = std::abs(norm(b) * (norm(a) * norm(n2) + norm(c) * norm(n1)));
  if (std::abs(sine.real()) < 2e-15 * noise) sine -= sine.real();
  return {sine, dot(n1, n2)};
}

// acos with the treatment of its ends, and the scale of the derivative of the angle itself.
std::pair<double, double> angleOf(double sine, double cosine, bool dihedral) {
  const double limit = dihedral ? 0.999999999999 : 0.999999;
  const double shift = dihedral ? 1e-12 : 1e-6;
  const double length = std::hypot(sine, cosine);
  const double c = std::clamp(cosine / length, -1.0, 1.0);
  if (std::abs(c) <= limit) return {std::acos(c), sine < 0.0 ? -1.0 : 1.0};
  // 1 - |cos| of the moved cosine, from the sine, where a difference would have no digits.
  const double rest = std::pow(sine / length, 2) / (1.0 + std::abs(c)) + shift;
  const double end = c > 0.0 ? 1.0 : -1.0;
  return {std::acos(dihedral ? end : c - end * shift),
          sine / length / std::sqrt(rest * (2.0 - rest))};
}

std::vector<CVec> pointsOf(const std::vector<unsigned int>& atoms, const Eigen::VectorXd& x) {
  std::vector<CVec> p;
  for (const unsigned int a : atoms) p.push_back(x.segment<3>(3 * a).cast<C>());
  return p;
}

// A dihedral with three atoms in line has no planes and counts as 0.
bool hasPlanes(const std::vector<CVec>& p) {
  for (std::size_t k = 0; p.size() == 4 && k < 2; ++k) {
    const CVec u = p[k] - p[k + 1];
    const CVec v = p[k + 2] - p[k + 1];
    if (norm(cross(u, v)).real() <= 1e-10 * (norm(u) * norm(v)).real()) return false;
  }
  return true;
}

}  // namespace

Reference::Reference(const QZChem::QZMolBase& mol, const Frozen& frozen) {
  using Coordinate = std::pair<std::vector<unsigned int>, bool>;  // atoms, active
  std::array<std::vector<Coordinate>, 3> kinds;                   // bonds, angles, dihedrals
  // Once one of a bond (an atom) is frozen, the later ones are.
  const auto add = [&](std::vector<unsigned int> atoms, bool& active) {
    active = active && !std::all_of(atoms.begin(), atoms.end(), frozen);
    kinds[atoms.size() - 2].push_back({std::move(atoms), active});
  };
  const auto neighbours = [](const QZChem::QZAtomBase* atom) {
    std::vector<unsigned int> all;
    for (auto& n : QZSystem::QZRange(atom->GetNeighbours())) all.push_back(n.GetIndex());
    return all;
  };
  for (auto& bond : QZSystem::QZRange(mol.GetBonds())) {
    const unsigned int a = bond.GetBegin()->GetIndex();
    const unsigned int b = bond.GetEnd()->GetIndex();
    bool bondActive = true;
    bool active = true;
    add({a, b}, bondActive);
    for (const unsigned int i : neighbours(bond.GetBegin())) {
      for (const unsigned int l : neighbours(bond.GetEnd())) {
        if (i != b && l != a) add({i, a, b, l}, active);
      }
    }
  }
  for (auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    const auto ends = neighbours(&atom);
    bool active = true;
    for (std::size_t u = 0; u < ends.size(); ++u) {
      for (std::size_t w = u + 1; w < ends.size(); ++w) {
        add({ends[u], atom.GetIndex(), ends[w]}, active);
      }
    }
  }
  for (const auto& kind : kinds) {
    for (const auto& [atoms, active] : kind) {
      if (active) active_.push_back(static_cast<Eigen::Index>(list_.size()));
      list_.push_back(atoms);
    }
  }
}

Eigen::VectorXd Reference::Values(const Eigen::VectorXd& x) const {
  Eigen::VectorXd q(list_.size());
  double* next = q.data();
  for (const auto& atoms : list_) {
    const auto p = pointsOf(atoms, x);
    const auto [s, c] = evaluate(p);
    *next++ = p.size() == 2   ? c.real()
              : !hasPlanes(p) ? 0.0
                              : angleOf(s.real(), c.real(), p.size() == 4).first;
  }
  return q;
}

void Reference::UpdateRows(const Eigen::VectorXd& x) {
  constexpr double kStep = 1e-30;
  Eigen::MatrixXd b = Eigen::MatrixXd::Zero(static_cast<Eigen::Index>(list_.size()), x.size());
  for (Eigen::Index i = 0; i < b.rows(); ++i) {
    const auto& atoms = list_[static_cast<std::size_t>(i)];
    auto p = pointsOf(atoms, x);
    const bool dihedral = p.size() == 4;
    if (!dihedral && !std::binary_search(active_.begin(), active_.end(), i)) continue;
    if (dihedral && (!hasPlanes(p) || atoms[0] == atoms[3])) continue;
    const auto [s0, c0] = evaluate(p);
    if (p.size() == 3 && s0.real() == 0.0) continue;
    const double scale = angleOf(s0.real(), c0.real(), dihedral).second;
    for (std::size_t k = 0; k < p.size(); ++k) {
      for (Eigen::Index d = 0; d < 3; ++d) {
        p[k][d] += C(0.0, kStep);
        const auto [s, c] = evaluate(p);
        p[k][d] -= C(0.0, kStep);
        const double ds = s.imag() / kStep;
        const double dc = c.imag() / kStep;
        b(i, 3 * atoms[k] + d) += p.size() == 2 ? dc
                                                : scale * (c0.real() * ds - s0.real() * dc) /
                                                      (std::norm(s0) + std::norm(c0));
      }
    }
  }
  Eigen::BDCSVD<Eigen::MatrixXd> svd;
  svd.setSwitchSize(64);  // to the Jacobi method, which small singular values ask for
  svd.compute(b, Eigen::ComputeThinU | Eigen::ComputeThinV);
  sigma_ = svd.singularValues();
  // Singular values of B Bᵀ are σ².
  const Eigen::VectorXd inverted =
      sigma_.unaryExpr([](double s) { return s * s < 1e-12 ? 0.0 : 1.0 / s; });
  inverse_ = svd.matrixV() * inverted.asDiagonal() * svd.matrixU().transpose();
}

Eigen::VectorXd Reference::AllOf(const Eigen::VectorXd& active) const {
  Eigen::VectorXd all = Eigen::VectorXd::Zero(static_cast<Eigen::Index>(list_.size()));
  all(active_) = active;
  return all;
}
