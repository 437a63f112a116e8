// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/nearnbrgrid.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <stdexcept>

#include "ff/compaction.h"
#include "ff/hostbins.h"
#include "qzchem/mol.h"

namespace QZMolPotential {
namespace {

using Cell = std::array<std::size_t, 3>;

// Hosts are collected from the bins for blocks of kOuter cells along each axis, filtered for blocks
// of kInner cells, and then tested cell by cell.
constexpr Cell kOuter{8, 8, 8};
constexpr Cell kInner{4, 4, 4};

HostPoints ReadHosts(const QZChem::QZMolBase& mol) {
  std::vector<double> coords(std::size_t{3} * mol.AtomIndexBound());
  mol.GetCoords(coords.data());
  HostPoints hosts;
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    const double* p = &coords[std::size_t{3} * atom.GetIndex()];
    hosts.Append({p[0], p[1], p[2]}, atom.GetIndex());
  }
  return hosts;
}

// Writes the cells of a grid block by block.
class CellWriter {
 public:
  CellWriter(const GridPoint& lower,
             double edge,
             double reach2,
             const std::array<unsigned int, 3>& dims,
             std::vector<std::vector<unsigned int>>& cells)
      : reach2_(reach2), dims_{dims[0], dims[1], dims[2]}, cells_(cells) {
    for (std::size_t k = 0; k < 3; ++k) {
      centres_[k].resize(dims_[k]);
      for (std::size_t i = 0; i < dims_[k]; ++i) {
        centres_[k][i] = lower[k] + static_cast<double>(i) * edge + edge / 2;
      }
    }
  }

  void WriteAll(const HostPoints& hosts) {
    HostBins bins(hosts, boxOf({0, 0, 0}, dims_), reach2_);
    forEachBlock({0, 0, 0}, dims_, kOuter, [&](const Cell& first, const Cell& last) {
      bins.Collect(boxOf(first, last), outer_);
      if (outer_.size != 0) writeOuter(first, last);
    });
  }

 private:
  // Calls visit(first, last) for the blocks of at most `size` cells in the range [first, last).
  template <class Visit>
  static void forEachBlock(const Cell& first, const Cell& last, const Cell& size, Visit visit) {
    for (std::size_t ix = first[0]; ix < last[0]; ix += size[0]) {
      for (std::size_t iy = first[1]; iy < last[1]; iy += size[1]) {
        for (std::size_t iz = first[2]; iz < last[2]; iz += size[2]) {
          visit(Cell{ix, iy, iz},
                Cell{std::min(ix + size[0], last[0]),
                     std::min(iy + size[1], last[1]),
                     std::min(iz + size[2], last[2])});
        }
      }
    }
  }

  CentreBox boxOf(const Cell& first, const Cell& last) const {
    CentreBox box{};
    for (std::size_t k = 0; k < 3; ++k) {
      box.low[k] = centres_[k][first[k]];
      box.high[k] = centres_[k][last[k] - 1];
    }
    return box;
  }

  void writeOuter(const Cell& outerFirst, const Cell& outerLast) {
    forEachBlock(outerFirst, outerLast, kInner, [&](const Cell& first, const Cell& last) {
      FilterByBox(outer_, boxOf(first, last), reach2_, inner_);
      if (inner_.size == 0) return;
      planar2_.resize(inner_.size);
      for (std::size_t ix = first[0]; ix < last[0]; ++ix) {
        for (std::size_t iy = first[1]; iy < last[1]; ++iy) writeColumn(ix, iy, first[2], last[2]);
      }
    });
  }

  void writeColumn(std::size_t ix, std::size_t iy, std::size_t firstZ, std::size_t lastZ) {
    const double cx = centres_[0][ix];
    const double cy = centres_[1][iy];
    for (std::size_t j = 0; j < inner_.size; ++j) {
      const double dx = inner_.x[0][j] - cx;
      const double dy = inner_.x[1][j] - cy;
      planar2_[j] = dx * dx + dy * dy;
    }
    for (std::size_t iz = firstZ; iz < lastZ; ++iz) {
      const std::size_t accepted =
          CompactColumn(inner_, planar2_, centres_[2][iz], reach2_, accepted_);
      if (accepted == 0) continue;
      cells_[(iz * dims_[1] + iy) * dims_[0] + ix].assign(accepted_.data(),
                                                          accepted_.data() + accepted);
    }
  }

  double reach2_;
  Cell dims_;
  std::vector<std::vector<unsigned int>>& cells_;
  std::array<std::vector<double>, 3> centres_;
  HostPoints outer_;
  HostPoints inner_;
  std::vector<double> planar2_;
  std::vector<unsigned int> accepted_;
};

}  // namespace

void QZNearNbrGrid::SetupBounds(const QZChem::QZMolBase& region) {
  lower_ = {};
  upper_ = {};
  bool first = true;
  for (const auto& atom : QZSystem::QZRange(region.GetAtoms())) {
    GridPoint p{};
    region.GetCoords(&atom, p.data());
    if (first) lower_ = upper_ = p;
    first = false;
    for (std::size_t k = 0; k < 3; ++k) {
      if (p[k] < lower_[k]) lower_[k] = p[k];
      if (p[k] > upper_[k]) upper_[k] = p[k];
    }
  }
  constexpr double kMaxCells = std::numeric_limits<unsigned int>::max();
  for (std::size_t k = 0; k < 3; ++k) {
    const double length = (upper_[k] - lower_[k]) * scale_;
    dims_[k] = !first && length < kMaxCells ? static_cast<unsigned int>(length) + 1 : 0;
    upper_[k] = lower_[k] + dims_[k] / scale_;
  }
}

bool QZNearNbrGrid::countCells(std::size_t& count) const {
  count = 1;
  for (const unsigned int dim : dims_) {
    if (dim == 0 || count > cells_.max_size() / dim) return false;
    count *= dim;
  }
  return true;
}

void QZNearNbrGrid::collapse() {
  dims_ = {};
  upper_ = lower_;
}

bool QZNearNbrGrid::Init(const QZChem::QZMolBase& hosts,
                         const QZChem::QZMolBase& region,
                         double radius) {
  SetupBounds(region);
  try {
    std::size_t count = 0;
    if (!countCells(count)) throw std::length_error("no cells");
    cells_.resize(count);
    const double edge = 1 / scale_;
    const double reach = edge + radius;
    const double reach2 = reach * reach;
    if (!(reach2 > 0.0)) return true;
    CellWriter(lower_, edge, reach2, dims_, cells_).WriteAll(ReadHosts(hosts));
  } catch (const std::exception&) {
    collapse();
    return false;
  }
  return true;
}

}  // namespace QZMolPotential
