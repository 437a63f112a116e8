// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "coordinates/redundant/ldlt.h"

#include <Eigen/OrderingMethods>
#include <Eigen/SparseCore>
#include <algorithm>
#include <cassert>

namespace QZMolPotential {
namespace {

// a -= b c
void subtractProduct(Block3& a, const Block3& b, const Block3& c) {
  for (std::size_t i = 0; i < 9; i += 3) {
    for (std::size_t j = 0; j < 3; ++j) {
      a[i + j] -= b[i] * c[j] + b[i + 1] * c[3 + j] + b[i + 2] * c[6 + j];
    }
  }
}

// Node numbers in order of elimination.
std::vector<unsigned int> minimumDegreeOrder(unsigned int n,
                                             std::span<const BlockLdlt::Edge> edges) {
  std::vector<Eigen::Triplet<double>> entries;
  entries.reserve(2 * edges.size() + n);
  for (unsigned int i = 0; i < n; ++i) {
    entries.emplace_back(static_cast<int>(i), static_cast<int>(i), 1.0);
  }
  for (const auto& [a, b] : edges) {
    entries.emplace_back(static_cast<int>(a), static_cast<int>(b), 1.0);
    entries.emplace_back(static_cast<int>(b), static_cast<int>(a), 1.0);
  }
  Eigen::SparseMatrix<double> graph(static_cast<Eigen::Index>(n), static_cast<Eigen::Index>(n));
  graph.setFromTriplets(entries.begin(), entries.end());
  Eigen::PermutationMatrix<Eigen::Dynamic, Eigen::Dynamic, int> order;
  if (n > 0) Eigen::AMDOrdering<int>()(graph, order);
  return {order.indices().data(), order.indices().data() + n};
}

}  // namespace

void BlockLdlt::Analyse(unsigned int numNodes, std::span<const Edge> edges) {
  const std::vector<unsigned int> order = minimumDegreeOrder(numNodes, edges);
  position_.resize(numNodes);
  for (unsigned int k = 0; k < numNodes; ++k) position_[order[k]] = k;

  std::vector<Edge> upper;  // (column, row) with row < column
  upper.reserve(edges.size());
  for (const auto& [a, b] : edges) upper.push_back(std::minmax(position_[a], position_[b]));
  for (Edge& e : upper) std::swap(e.first, e.second);
  std::sort(upper.begin(), upper.end());
  columnStart_.assign(numNodes + 1, 0);
  columnRows_.resize(upper.size());
  for (std::size_t e = 0; e < upper.size(); ++e) {
    ++columnStart_[upper[e].first + 1];
    columnRows_[e] = upper[e].second;
  }
  for (std::size_t k = 0; k < numNodes; ++k) columnStart_[k + 1] += columnStart_[k];
  diagonal_.assign(numNodes, Block3{});
  blocks_.assign(upper.size(), Block3{});
  pivots_.resize(numNodes);
  work_.assign(numNodes, Block3{});
  next_.resize(numNodes);
  analyseFill();
}

void BlockLdlt::analyseFill() {
  const unsigned int n = NumNodes();
  std::vector<unsigned int> parent(n, n);
  std::vector<unsigned int> mark(n, n);
  std::vector<std::size_t> count(n, 0);
  patternStart_.assign(1, 0);
  pattern_.clear();
  for (unsigned int k = 0; k < n; ++k) {
    mark[k] = k;
    for (std::size_t e = columnStart_[k]; e < columnStart_[k + 1]; ++e) {
      // Row k of L reaches from each of its entries up the elimination tree.
      for (unsigned int i = columnRows_[e]; mark[i] != k; i = parent[i]) {
        if (parent[i] == n) parent[i] = k;
        mark[i] = k;
        pattern_.push_back(i);
        ++count[i];
      }
    }
    std::sort(pattern_.begin() + static_cast<std::ptrdiff_t>(patternStart_[k]), pattern_.end());
    patternStart_.push_back(pattern_.size());
  }
  start_.assign(n + 1, 0);
  for (std::size_t k = 0; k < n; ++k) start_[k + 1] = start_[k] + count[k];
  rows_.resize(pattern_.size());
  l_.resize(pattern_.size());
}

std::size_t BlockLdlt::Slot(unsigned int nodeA, unsigned int nodeB) const {
  const auto [row, column] = std::minmax(position_[nodeA], position_[nodeB]);
  const auto begin = columnRows_.begin() + static_cast<std::ptrdiff_t>(columnStart_[column]);
  const auto end = columnRows_.begin() + static_cast<std::ptrdiff_t>(columnStart_[column + 1]);
  const auto found = std::lower_bound(begin, end, row);
  assert(found != end && *found == row);
  return static_cast<std::size_t>(found - columnRows_.begin());
}

BlockLdlt::PivotBlock BlockLdlt::factorPivot(const Block3& s,
                                             std::size_t position,
                                             Hold* hold,
                                             double tiny) const {
  const Block3& original = diagonal_[position];
  const auto invert = [&](std::size_t k, double pivot) {
    if (hold[k] != kFree) return 0.0;
    if (pivot > tiny * original[4 * k]) return 1.0 / pivot;
    hold[k] = kWeak;
    return 0.0;
  };
  PivotBlock p;
  p.inverse[0] = invert(0, s[0]);
  p.l10 = s[3] * p.inverse[0];
  p.l20 = s[6] * p.inverse[0];
  p.inverse[1] = invert(1, s[4] - p.l10 * s[3]);
  const double s21 = s[7] - p.l20 * s[3];
  p.l21 = s21 * p.inverse[1];
  p.inverse[2] = invert(2, s[8] - p.l20 * s[6] - p.l21 * s21);
  return p;
}

void BlockLdlt::Factor(std::vector<Hold>& hold, double tiny) {
  std::copy(start_.begin(), start_.end() - 1, next_.begin());
  for (unsigned int k = 0; k < NumNodes(); ++k) {
    for (std::size_t e = columnStart_[k]; e < columnStart_[k + 1]; ++e) {
      work_[columnRows_[e]] = blocks_[e];
    }
    Block3 s = diagonal_[k];
    for (std::size_t e = patternStart_[k]; e < patternStart_[k + 1]; ++e) {
      const unsigned int i = pattern_[e];
      const PivotBlock& p = pivots_[i];
      Block3 y = work_[i];
      work_[i] = Block3{};
      for (std::size_t c = 0; c < 3; ++c) {
        y[3 + c] -= p.l10 * y[c];
        y[6 + c] -= p.l20 * y[c] + p.l21 * y[3 + c];
      }
      for (std::size_t f = start_[i]; f < next_[i]; ++f) subtractProduct(work_[rows_[f]], l_[f], y);
      Block3 lki;
      for (std::size_t c = 0; c < 3; ++c) {
        for (std::size_t r = 0; r < 3; ++r) lki[3 * r + c] = p.inverse[c] * y[3 * c + r];
      }
      subtractProduct(s, lki, y);
      rows_[next_[i]] = k;
      l_[next_[i]++] = lki;
    }
    pivots_[k] = factorPivot(s, k, hold.data() + 3 * std::size_t{k}, tiny);
  }
}

void BlockLdlt::Solve(double* x) const {
  const std::size_t n = NumNodes();
  for (std::size_t i = 0; i < n; ++i) {
    const PivotBlock& p = pivots_[i];
    double* xi = x + 3 * i;
    xi[1] -= p.l10 * xi[0];
    xi[2] -= p.l20 * xi[0] + p.l21 * xi[1];
    for (std::size_t f = start_[i]; f < start_[i + 1]; ++f) {
      const Block3& l = l_[f];
      double* xr = x + 3 * std::size_t{rows_[f]};
      for (std::size_t r = 0; r < 3; ++r) {
        xr[r] -= l[3 * r] * xi[0] + l[3 * r + 1] * xi[1] + l[3 * r + 2] * xi[2];
      }
    }
  }
  for (std::size_t i = n; i-- > 0;) {
    const PivotBlock& p = pivots_[i];
    double* xi = x + 3 * i;
    double s[3] = {xi[0] * p.inverse[0], xi[1] * p.inverse[1], xi[2] * p.inverse[2]};
    for (std::size_t f = start_[i]; f < start_[i + 1]; ++f) {
      const Block3& l = l_[f];
      const double* xr = x + 3 * std::size_t{rows_[f]};
      for (std::size_t c = 0; c < 3; ++c) {
        s[c] -= l[c] * xr[0] + l[3 + c] * xr[1] + l[6 + c] * xr[2];
      }
    }
    xi[2] = s[2];
    xi[1] = s[1] - p.l21 * xi[2];
    xi[0] = s[0] - p.l10 * xi[1] - p.l20 * xi[2];
  }
}

}  // namespace QZMolPotential
