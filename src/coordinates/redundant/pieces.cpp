// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/redundant/pieces.h"

#include <Eigen/Core>
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <set>

namespace QZMolPotential {
namespace {

// Turns that move the atoms by less than this (squared Å per squared radian) do not count as
// motions.
constexpr double kNoMotion = 1e-4;
// Turns that change all coordinates together by less than this (squared Å or radians per squared
// radian) are not described by them: turns about fixed atoms that are in line to within some six
// degrees.
constexpr double kUnseen = 1e-2;
constexpr std::size_t kFrameAtoms = 24;

// Σ (-s)^n / (2n + m)! with its first two derivatives, for small s.
std::array<double, 3> series(double s, int m) {
  double term = 1.0;
  for (int k = 2; k <= m; ++k) term /= k;
  std::array<double, 3> sum{term, 0.0, 0.0};
  double coefficient = term;                   // (-1)^n / (2n + m)!
  std::array<double, 3> power{1.0, 0.0, 0.0};  // s^n, s^(n-1), s^(n-2)
  for (int n = 1; n <= 20; ++n) {
    coefficient /= -static_cast<double>((2 * n + m - 1) * (2 * n + m));
    power = {power[0] * s, power[0], power[1]};
    sum[0] += coefficient * power[0];
    sum[1] += coefficient * n * power[1];
    if (n > 1) sum[2] += coefficient * n * (n - 1) * power[2];
  }
  return sum;
}

// f_0 = cos √s, f_1 = sin √s / √s and f_2 = (1 - cos √s)/s, each with its first two derivatives.
std::array<std::array<double, 3>, 3> turnFunctions(double s) {
  constexpr double kSmall = 2.0;  // below it the quotients lose digits
  if (s < kSmall) return {series(s, 0), series(s, 1), series(s, 2)};
  const double r = std::sqrt(s);
  std::array<std::array<double, 3>, 3> f;
  f[0][0] = std::cos(r);
  f[1][0] = std::sin(r) / r;
  f[2][0] = (1.0 - f[0][0]) / s;
  f[0][1] = -0.5 * f[1][0];
  f[1][1] = 0.5 * (f[0][0] - f[1][0]) / s;
  f[2][1] = -(f[0][1] + f[2][0]) / s;
  f[0][2] = -0.5 * f[1][1];
  f[1][2] = (0.5 * (f[0][1] - f[1][1]) - f[1][1]) / s;
  f[2][2] = -(f[0][2] + 2.0 * f[2][1]) / s;
  return f;
}

// Eigenvectors of a symmetric 3 x 3 matrix by ascending eigenvalue.
struct Axes3 {
  Eigen::Vector3d values;
  Eigen::Matrix3d vectors;
  explicit Axes3(const Eigen::Matrix3d& m) {
    const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver(m);
    values = solver.eigenvalues();
    vectors = solver.eigenvectors();
  }
};

Eigen::Vector3d eigenOf(const Vec3& v) {
  return {v.x, v.y, v.z};
}

}  // namespace

void AxisTurn::Set(const std::array<Vec3, 3>& axes, const std::array<double, 3>& omega) {
  JetVec3<3> w;
  for (std::size_t k = 0; k < 3; ++k) {
    const auto variable = Jet<3>::Variable(omega[k], k);
    w = {w.x + variable * axes[k].x, w.y + variable * axes[k].y, w.z + variable * axes[k].z};
  }
  const Jet<3> square = JetDot(w, w);
  const auto functions = turnFunctions(square.value);
  const auto through = [&](const std::array<double, 3>& f) {
    return square.Through(f[0], f[1], f[2]);
  };
  const Jet<3> cosine = through(functions[0]);
  const Jet<3> a = through(functions[1]);
  const Jet<3> b = through(functions[2]);
  // R = cos 1 + a [w]x + b w wᵀ.
  const std::array<Jet<3>, 3> c{w.x, w.y, w.z};
  const std::array<Jet<3>, 9> cross{0.0, -w.z, w.y, w.z, 0.0, -w.x, -w.y, w.x, 0.0};
  std::array<Jet<3>, 9> r;
  for (std::size_t i = 0; i < 9; ++i) {
    r[i] = a * cross[i] + b * (c[i / 3] * c[i % 3]);
    if (i % 4 == 0) r[i] = r[i] + cosine;
  }
  const auto matrix = [&r](auto element) {
    return Mat3{{element(r[0]), element(r[1]), element(r[2])},
                {element(r[3]), element(r[4]), element(r[5])},
                {element(r[6]), element(r[7]), element(r[8])}};
  };
  turn = matrix([](const Jet<3>& j) { return j.value; });
  for (std::size_t k = 0; k < 3; ++k)
    first[k] = matrix([k](const Jet<3>& j) { return j.first[k]; });
  for (std::size_t k = 0; k < 6; ++k) {
    second[k] = matrix([k](const Jet<3>& j) { return j.second[k]; });
  }
}

std::vector<Piece> FindPieces(const std::vector<Primitive>& primitives,
                              const std::vector<unsigned char>& fixed) {
  std::vector<unsigned int> root(fixed.size());
  std::iota(root.begin(), root.end(), 0U);
  const auto find = [&root](unsigned int i) {
    while (root[i] != i) i = root[i] = root[root[i]];
    return i;
  };
  const auto forMoving = [&fixed](const Primitive& p, auto visit) {
    for (std::size_t k = 0; k < p.NumAtoms(); ++k) {
      if (!fixed[p.atoms[k]]) visit(p.atoms[k]);
    }
  };
  for (const Primitive& p : primitives) {
    unsigned int tied = std::numeric_limits<unsigned int>::max();
    forMoving(p, [&](unsigned int atom) {
      tied = std::min(tied, find(atom));
      root[find(atom)] = tied;
    });
    forMoving(p, [&](unsigned int atom) { root[find(atom)] = tied; });
  }
  std::vector<Piece> pieces;
  std::vector<std::size_t> pieceOf(fixed.size(), fixed.size());
  for (unsigned int atom = 0; atom < fixed.size(); ++atom) {
    if (fixed[atom]) continue;
    std::size_t& index = pieceOf[find(atom)];
    if (index == fixed.size()) {
      index = pieces.size();
      pieces.emplace_back();
    }
    pieces[index].atoms.push_back(atom);
  }
  std::vector<std::set<unsigned int>> anchors(pieces.size());
  for (const Primitive& p : primitives) {
    std::size_t piece = pieces.size();
    forMoving(p, [&](unsigned int atom) { piece = pieceOf[find(atom)]; });
    for (std::size_t k = 0; k < p.NumAtoms(); ++k) {
      if (fixed[p.atoms[k]]) anchors[piece].insert(p.atoms[k]);
    }
  }
  for (std::size_t k = 0; k < pieces.size(); ++k) {
    pieces[k].anchors.assign(anchors[k].begin(), anchors[k].end());
  }
  return pieces;
}

void FindMotions(const std::vector<Primitive>& primitives,
                 const double* x,
                 std::vector<Piece>& pieces) {
  std::vector<std::size_t> pieceOf;
  for (std::size_t k = 0; k < pieces.size(); ++k) {
    Piece& piece = pieces[k];
    const auto& about = piece.Translates() ? piece.atoms : piece.anchors;
    piece.pivot = {};
    for (const unsigned int atom : about) piece.pivot += LoadAtom(x, atom);
    piece.pivot = (1.0 / static_cast<double>(about.size())) * piece.pivot;
    for (const unsigned int atom : piece.atoms) {
      if (pieceOf.size() <= atom) pieceOf.resize(atom + 1, pieces.size());
      pieceOf[atom] = k;
    }
  }
  // What turns about the pivots do to the coordinates.
  std::vector<Eigen::Matrix3d> seen(pieces.size(), Eigen::Matrix3d::Zero());
  std::vector<unsigned char> straight(pieces.size(), 0);
  for (const Primitive& p : primitives) {
    if (!p.active) continue;
    const PrimitiveRow row = PrimitiveGradient(p, x);
    std::size_t k = pieces.size();
    Vec3 effect{};
    for (std::size_t a = 0; a < p.NumAtoms(); ++a) {
      if (p.atoms[a] >= pieceOf.size() || pieceOf[p.atoms[a]] == pieces.size()) continue;
      k = pieceOf[p.atoms[a]];
      effect += Cross(LoadAtom(x, p.atoms[a]) - pieces[k].pivot, row[a]);
    }
    if (k == pieces.size()) continue;
    seen[k] += eigenOf(effect) * eigenOf(effect).transpose();
    if (p.spaceFixed) straight[k] = 1;
  }
  for (std::size_t k = 0; k < pieces.size(); ++k) {
    Piece& piece = pieces[k];
    Eigen::Matrix3d spread = Eigen::Matrix3d::Zero();
    for (const unsigned int atom : piece.atoms) {
      const Eigen::Vector3d r = eigenOf(LoadAtom(x, atom) - piece.pivot);
      spread += r.squaredNorm() * Eigen::Matrix3d::Identity() - r * r.transpose();
    }
    Eigen::Matrix3d unseen = Eigen::Matrix3d::Identity();
    if (!piece.Translates()) {
      // The projector on the turns that the coordinates do not see.
      const Axes3 axes(seen[k]);
      for (Eigen::Index i = 0; i < 3; ++i) {
        if (axes.values[i] <= kUnseen) continue;
        unseen -= axes.vectors.col(i) * axes.vectors.col(i).transpose();
      }
    }
    const Axes3 motions(unseen * spread * unseen);
    const bool linear = piece.Translates() && straight[k] != 0;
    piece.axes.clear();
    for (Eigen::Index i = 2; i >= (linear ? 1 : 0); --i) {
      if (motions.values[i] < kNoMotion) break;
      const auto v = motions.vectors.col(i);
      piece.axes.push_back({v[0], v[1], v[2]});
    }
  }
}

void AppendFrameRows(const Piece& piece, const double* x, std::vector<FrameRow>& rows) {
  // Each next atom is the one farthest from those chosen.
  std::vector<unsigned int> chosen = piece.atoms;
  if (chosen.size() > kFrameAtoms) {
    chosen.assign(1, piece.atoms[0]);
    std::vector<double> nearest(piece.atoms.size(), std::numeric_limits<double>::infinity());
    while (chosen.size() < kFrameAtoms) {
      std::size_t farthest = 0;
      for (std::size_t k = 0; k < piece.atoms.size(); ++k) {
        const Vec3 d = LoadAtom(x, piece.atoms[k]) - LoadAtom(x, chosen.back());
        nearest[k] = std::min(nearest[k], Dot(d, d));
        if (nearest[k] > nearest[farthest]) farthest = k;
      }
      chosen.push_back(piece.atoms[farthest]);
    }
  }
  Vec3 centre = piece.pivot;
  const auto append = [&](auto direction) {
    FrameRow row;
    row.atoms = chosen;
    double square = 0.0;
    for (const unsigned int atom : chosen) {
      row.direction.push_back(direction(LoadAtom(x, atom) - centre));
      square += Dot(row.direction.back(), row.direction.back());
    }
    for (Vec3& d : row.direction) d = (1.0 / std::sqrt(square)) * d;
    rows.push_back(std::move(row));
  };
  if (piece.Translates()) {
    centre = {};
    for (const unsigned int atom : chosen) centre += LoadAtom(x, atom);
    centre = (1.0 / static_cast<double>(chosen.size())) * centre;
    for (const Vec3& axis : {Vec3{1.0, 0.0, 0.0}, Vec3{0.0, 1.0, 0.0}, Vec3{0.0, 0.0, 1.0}}) {
      append([&](const Vec3&) { return axis; });
    }
  }
  for (const Vec3& axis : piece.axes) {
    append([&](const Vec3& r) { return Cross(axis, r); });
  }
}

}  // namespace QZMolPotential
