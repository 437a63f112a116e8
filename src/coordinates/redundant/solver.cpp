// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/redundant/solver.h"

#include <Eigen/Core>
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>

#include "coordinates/redundant/vectors.h"
#include "qzsystem/error.h"

namespace QZMolPotential {
namespace {

// Singular values of B that count: those of B Bᵀ are their squares, cut off at 1e-12.
constexpr double kCutOff = 1e-6;
// A direction of one atom along which B is this short is a null vector with a margin of ten.
constexpr double kLocalNull = 1e-7;
// Diagonal blocks of A whose determinant is this small relative to their trace are searched for
// null directions.
constexpr double kFlatBlock = 1e-12;
// Pivots below this part of their diagonal element are rounding.
constexpr double kTinyPivot = 1e-13;
// Rigid motions that are shorter than this beyond the others: a straight or planar fragment.
constexpr double kDependent = 1e-5;
// The rank test: the least eigenvalue of A, estimated from above, must clear the cut-off 1e-12, and
// the factor must reduce a residual by a hundred.
constexpr double kLeastEigenvalue = 2e-12;
constexpr double kContraction = 1e-2;
constexpr std::size_t kDenseLimit = 1500;
// Added to the diagonal where the rank is in doubt: far above rounding, below most eigenvalues.
constexpr double kShift = 1e-6;

void addOuter(const Vec3& a, const Vec3& b, Block3& sum) {
  const double rows[3] = {a.x, a.y, a.z};
  for (std::size_t r = 0; r < 3; ++r) {
    sum[3 * r] += rows[r] * b.x;
    sum[3 * r + 1] += rows[r] * b.y;
    sum[3 * r + 2] += rows[r] * b.z;
  }
}

bool isFlat(const Block3& s) {
  const double trace = s[0] + s[4] + s[8];
  const double det = s[0] * (s[4] * s[8] - s[5] * s[7]) - s[1] * (s[3] * s[8] - s[5] * s[6]) +
                     s[2] * (s[3] * s[7] - s[4] * s[6]);
  return !(det > kFlatBlock * trace * trace * trace);
}

// Orthogonal complement of `mode` against `others`, twice for the digits; its norm.
double orthogonalise(std::span<const std::vector<double>> others, std::vector<double>& mode) {
  for (int pass = 0; pass < 2; ++pass) {
    for (const auto& other : others) AddMultiple(-Dot(other, mode), other, mode);
  }
  return std::sqrt(Dot(mode, mode));
}

}  // namespace

void WilsonSolver::Analyse(const WilsonRows& rows, std::size_t numCoords) {
  numCoords_ = numCoords;
  constexpr unsigned int kNone = std::numeric_limits<unsigned int>::max();
  std::vector<unsigned int> nodeOf(numCoords / 3, kNone);
  std::vector<unsigned int> atomOf;
  std::vector<BlockLdlt::Edge> edges;
  for (std::size_t row = 0; row < rows.NumRows(); ++row) {
    const auto atoms = rows.Atoms(row);
    for (const unsigned int atom : atoms) {
      if (nodeOf[atom] != kNone) continue;
      nodeOf[atom] = static_cast<unsigned int>(atomOf.size());
      atomOf.push_back(atom);
    }
    for (std::size_t t = 1; t < atoms.size(); ++t) {
      for (std::size_t s = 0; s < t; ++s) {
        edges.push_back(std::minmax(nodeOf[atoms[s]], nodeOf[atoms[t]]));
      }
    }
  }
  std::sort(edges.begin(), edges.end());
  edges.erase(std::unique(edges.begin(), edges.end()), edges.end());
  factor_.Analyse(static_cast<unsigned int>(atomOf.size()), edges);

  atomAt_.resize(atomOf.size());
  for (unsigned int node = 0; node < atomOf.size(); ++node) {
    atomAt_[factor_.Position(node)] = atomOf[node];
  }
  slots_.clear();
  std::vector<std::vector<Incidence>> incidence(atomOf.size());
  for (unsigned int row = 0; row < rows.NumRows(); ++row) {
    const auto atoms = rows.Atoms(row);
    for (unsigned int t = 0; t < atoms.size(); ++t) {
      incidence[factor_.Position(nodeOf[atoms[t]])].push_back({row, t});
      for (std::size_t s = 0; s < t; ++s) {
        slots_.push_back(factor_.Slot(nodeOf[atoms[s]], nodeOf[atoms[t]]));
      }
    }
  }
  incidence_.clear();
  incidenceStart_.assign(1, 0);
  for (const auto& ofAtom : incidence) {
    incidence_.insert(incidence_.end(), ofAtom.begin(), ofAtom.end());
    incidenceStart_.push_back(incidence_.size());
  }
  for (unsigned int& node : nodeOf) {
    if (node != kNone) node = factor_.Position(node);
  }
  positionOf_ = std::move(nodeOf);
  findFragments(rows);

  hold_.assign(3 * atomAt_.size(), BlockLdlt::kFree);
  turned_.assign(atomAt_.size(), 0);
  frames_.assign(atomAt_.size(), Mat3{});
  work_.assign(3 * atomAt_.size(), 0.0);
  for (auto* v : {&y_, &residual_, &z_, &direction_}) v->assign(numCoords, 0.0);
  for (auto* v : {&rowResidual_, &rowDirection_, &rowSum_}) v->assign(rows.NumRows(), 0.0);
  // Any vector that is orthogonal to no eigenvector of A will do.
  start_.resize(numCoords);
  std::minstd_rand random(1);
  for (double& value : start_)
    value = static_cast<double>(random()) / std::minstd_rand::max() - 0.5;
  warned_ = false;
}

void WilsonSolver::findFragments(const WilsonRows& rows) {
  std::vector<unsigned int> root(atomAt_.size());
  std::iota(root.begin(), root.end(), 0U);
  const auto find = [&root](unsigned int i) {
    while (root[i] != i) i = root[i] = root[root[i]];
    return i;
  };
  for (std::size_t row = 0; row < rows.NumRows(); ++row) {
    const auto atoms = rows.Atoms(row);
    for (std::size_t k = 1; k < atoms.size(); ++k) {
      root[find(positionOf_[atoms[k]])] = find(positionOf_[atoms[0]]);
    }
  }
  fragments_.clear();
  localColumn_.assign(numCoords_ / 3, 0);
  std::vector<std::size_t> fragmentOf(atomAt_.size(), atomAt_.size());
  for (unsigned int p = 0; p < atomAt_.size(); ++p) {
    std::size_t& index = fragmentOf[find(p)];
    if (index == atomAt_.size()) {
      index = fragments_.size();
      fragments_.emplace_back();
    }
    localColumn_[atomAt_[p]] = static_cast<unsigned int>(fragments_[index].NumCoords());
    fragments_[index].positions.push_back(p);
  }
  for (unsigned int row = 0; row < rows.NumRows(); ++row) {
    const auto atoms = rows.Atoms(row);
    if (!atoms.empty()) fragments_[fragmentOf[find(positionOf_[atoms[0]])]].rows.push_back(row);
  }
  std::size_t largest = 0;
  for (Fragment& f : fragments_) {
    largest = std::max(largest, f.NumCoords());
    for (Mode& mode : f.modes) mode.assign(f.NumCoords(), 0.0);
  }
  column_.assign(largest, 0.0);
  for (Mode& candidate : candidates_) candidate.assign(largest, 0.0);
}

void WilsonSolver::Factor(const WilsonRows& rows, const double* x) {
  std::fill(hold_.begin(), hold_.end(), BlockLdlt::kFree);
  iterative_ = false;
  assembleDiagonal(rows);
  failed_ = std::any_of(factor_.Diagonal().begin(), factor_.Diagonal().end(), [](const Block3& d) {
    return !std::isfinite(d[0] + d[4] + d[8]);
  });
  if (failed_) {
    Warn();
    return;
  }
  holdLocalNullDirections(rows);
  assembleBlocks(rows);
  for (Fragment& fragment : fragments_) {
    fragment.route = Route::kSparse;
    findRigidMotions(fragment, x);
    holdRigidMotions(fragment);
  }
  factor_.Factor(hold_, kTinyPivot);
  testRank(rows);
  leaveSparseRoute(rows);
}

void WilsonSolver::Warn() {
  QZSystem::QZThrow.Warning("Pseudoinvert calculation failed");
}

void WilsonSolver::assembleDiagonal(const WilsonRows& rows) {
  for (std::size_t p = 0; p < atomAt_.size(); ++p) {
    Block3& diagonal = factor_.Diagonal()[p] = Block3{};
    for (std::size_t k = incidenceStart_[p]; k < incidenceStart_[p + 1]; ++k) {
      const Vec3& b = rows.Blocks(incidence_[k].row)[incidence_[k].block];
      addOuter(b, b, diagonal);
    }
  }
}

void WilsonSolver::holdLocalNullDirections(const WilsonRows& rows) {
  for (std::size_t p = 0; p < atomAt_.size(); ++p) {
    turned_[p] = 0;
    if (isFlat(factor_.Diagonal()[p])) holdNullAxes(rows, p);
  }
}

void WilsonSolver::holdNullAxes(const WilsonRows& rows, std::size_t position) {
  Block3& diagonal = factor_.Diagonal()[position];
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> axes(
      Eigen::Map<const Eigen::Matrix3d>(diagonal.data()));
  Vec3 axis[3];
  double length2[3] = {0.0, 0.0, 0.0};
  for (std::size_t c = 0; c < 3; ++c) {
    const auto v = axes.eigenvectors().col(static_cast<Eigen::Index>(c));
    axis[c] = {v[0], v[1], v[2]};
    // Summed over the rows: the eigenvalue has lost its digits to the larger ones.
    for (std::size_t k = incidenceStart_[position]; k < incidenceStart_[position + 1]; ++k) {
      const double along = Dot(axis[c], rows.Blocks(incidence_[k].row)[incidence_[k].block]);
      length2[c] += along * along;
    }
    if (length2[c] > kLocalNull * kLocalNull) continue;
    hold_[3 * position + c] = BlockLdlt::kHeld;
    turned_[position] = 1;
  }
  if (!turned_[position]) return;
  frames_[position] = {axis[0], axis[1], axis[2]};
  diagonal = {length2[0], 0.0, 0.0, 0.0, length2[1], 0.0, 0.0, 0.0, length2[2]};
}

void WilsonSolver::assembleBlocks(const WilsonRows& rows) {
  for (Block3& block : factor_.Blocks()) block = Block3{};
  std::size_t pair = 0;
  for (std::size_t row = 0; row < rows.NumRows(); ++row) {
    const auto atoms = rows.Atoms(row);
    const auto blocks = rows.Blocks(row);
    Vec3 turned[4];
    unsigned int position[4];
    for (std::size_t t = 0; t < atoms.size(); ++t) {
      position[t] = positionOf_[atoms[t]];
      turned[t] = turned_[position[t]] ? frames_[position[t]] * blocks[t] : blocks[t];
      for (std::size_t s = 0; s < t; ++s) {
        const bool inOrder = position[s] < position[t];
        addOuter(
            turned[inOrder ? s : t], turned[inOrder ? t : s], factor_.Blocks()[slots_[pair++]]);
      }
    }
  }
}

void WilsonSolver::findRigidMotions(Fragment& fragment, const double* x) {
  const auto numAtoms = static_cast<double>(fragment.positions.size());
  Vec3 centre;
  for (const unsigned int p : fragment.positions) centre += LoadAtom(x, atomAt_[p]);
  centre = (1.0 / numAtoms) * centre;
  double spread = 0.0;
  for (const unsigned int p : fragment.positions) {
    const Vec3 r = LoadAtom(x, atomAt_[p]) - centre;
    spread += Dot(r, r);
  }
  const double unit = 1.0 / std::sqrt(numAtoms);
  const double turn = spread > 0.0 ? 1.0 / std::sqrt(spread) : 0.0;
  const Vec3 axes[3] = {{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}};
  for (Mode& candidate : candidates_) candidate.resize(fragment.NumCoords());
  for (std::size_t k = 0; k < fragment.positions.size(); ++k) {
    const std::size_t p = fragment.positions[k];
    const Vec3 r = LoadAtom(x, atomAt_[p]) - centre;
    for (std::size_t m = 0; m < 6; ++m) {
      Vec3 d = m < 3 ? unit * axes[m] : turn * Cross(axes[m - 3], r);
      if (turned_[p]) d = frames_[p] * d;
      StoreAtom(candidates_[m].data(), k, d);
      for (std::size_t c = 0; c < 3; ++c) {
        if (hold_[3 * p + c] != BlockLdlt::kFree) candidates_[m][3 * k + c] = 0.0;
      }
    }
  }
  fragment.numModes = 0;
  std::array<bool, 6> taken{};
  while (fragment.numModes < 6) {
    // The longest of the remaining motions is taken next; a motion that is nearly a combination of
    // the others comes last and is dropped.
    std::size_t best = 0;
    double longest = -1.0;
    for (std::size_t m = 0; m < candidates_.size(); ++m) {
      if (taken[m]) continue;
      const double norm =
          orthogonalise(std::span(fragment.modes).first(fragment.numModes), candidates_[m]);
      if (norm > longest) {
        longest = norm;
        best = m;
      }
    }
    if (!(longest > kDependent)) break;
    taken[best] = true;
    Mode& mode = fragment.modes[fragment.numModes++];
    std::ranges::transform(
        candidates_[best], mode.begin(), [longest](double v) { return v / longest; });
  }
}

// Holds one coordinate a motion, chosen as pivots of the modes, so that the coordinates together
// block all motions as firmly as they can.
void WilsonSolver::holdRigidMotions(const Fragment& fragment) {
  std::array<bool, 6> taken{};
  for (std::size_t m = 0; m < fragment.numModes; ++m) candidates_[m] = fragment.modes[m];
  for (std::size_t count = 0; count < fragment.numModes; ++count) {
    std::size_t mode = 0;
    std::size_t coordinate = 0;
    double largest = -1.0;
    for (std::size_t m = 0; m < fragment.numModes; ++m) {
      for (std::size_t i = 0; i < candidates_[m].size() && !taken[m]; ++i) {
        if (std::abs(candidates_[m][i]) <= largest) continue;
        largest = std::abs(candidates_[m][i]);
        mode = m;
        coordinate = i;
      }
    }
    hold_[3 * std::size_t{fragment.positions[coordinate / 3]} + coordinate % 3] = BlockLdlt::kHeld;
    taken[mode] = true;
    const Mode& pivot = candidates_[mode];
    for (std::size_t m = 0; m < fragment.numModes; ++m) {
      if (taken[m]) continue;
      AddMultiple(-candidates_[m][coordinate] / pivot[coordinate], pivot, candidates_[m]);
    }
  }
}

// Two steps of inverse iteration estimate the least eigenvalue of A apart from the known null
// vectors; one correction by a residual formed through B shows whether the factor is a good
// approximation of A.
void WilsonSolver::testRank(const WilsonRows& rows) {
  const auto norm = [this](const Fragment& fragment, const std::vector<double>& v) {
    double sum = 0.0;
    for (const unsigned int p : fragment.positions) {
      const Vec3 a = LoadAtom(v.data(), atomAt_[p]);
      sum += Dot(a, a);
    }
    return std::sqrt(sum);
  };
  applyInverse(start_, residual_);
  for (const Fragment& fragment : fragments_) {
    const double length = norm(fragment, residual_);
    const double scale = length > 0.0 ? 1.0 / length : 0.0;
    for (const unsigned int p : fragment.positions) {
      StoreAtom(residual_.data(), atomAt_[p], scale * LoadAtom(residual_.data(), atomAt_[p]));
    }
  }
  applyInverse(residual_, y_);
  rows.Multiply(y_.data(), rowDirection_.data());
  for (double& value : rowDirection_) value = -value;
  rows.AddTransposed(rowDirection_.data(), residual_.data());
  applyInverse(residual_, z_);
  for (Fragment& fragment : fragments_) {
    const double inverse = norm(fragment, y_);
    const bool weak =
        std::any_of(fragment.positions.begin(), fragment.positions.end(), [this](unsigned int p) {
          const auto* hold = hold_.data() + 3 * std::size_t{p};
          return hold[0] == BlockLdlt::kWeak || hold[1] == BlockLdlt::kWeak ||
                 hold[2] == BlockLdlt::kWeak;
        });
    const bool trusted = !weak && norm(fragment, z_) <= kContraction * inverse;
    if (trusted && inverse * kLeastEigenvalue < 1.0) continue;
    if (fragment.NumCoords() <= kDenseLimit) {
      fragment.route = Route::kDense;
    } else {
      // A factor that approximates A well is used even when eigenvalues are near the cut-off.
      if (!trusted) fragment.route = Route::kIterative;
      warnOfRank();
    }
  }
}

void WilsonSolver::warnOfRank() {
  if (warned_) return;
  warned_ = true;
  QZSystem::QZThrow.Warning(
      "Rank of the redundant internal coordinates is in doubt, small steps may not be resolved");
}

void WilsonSolver::leaveSparseRoute(const WilsonRows& rows) {
  for (Fragment& fragment : fragments_) {
    if (fragment.route == Route::kDense) {
      const auto columns = static_cast<unsigned int>(fragment.NumCoords());
      if (fragment.dense.Compute(rows, fragment.rows, localColumn_, columns, kCutOff)) continue;
      fragment.route = Route::kIterative;
      warnOfRank();
    }
    if (fragment.route != Route::kIterative) continue;
    iterative_ = true;
    for (const unsigned int p : fragment.positions) {
      for (std::size_t c = 0; c < 3; ++c) {
        factor_.Diagonal()[p][4 * c] += kShift;
        if (hold_[3 * p + c] == BlockLdlt::kWeak) hold_[3 * p + c] = BlockLdlt::kFree;
      }
    }
  }
  if (iterative_) factor_.Factor(hold_, kTinyPivot);
}

}  // namespace QZMolPotential
