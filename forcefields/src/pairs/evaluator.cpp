// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "pairs/evaluator.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "kernels/packed.h"
#include "kernels/vec3.h"

namespace QZMolPotential {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

PairInput Checked(PairInput input) {
  if (!(input.cutoff.distance > 0.0)) input.cutoff.distance = 0.0;
  input.cutoff.width = std::clamp(input.cutoff.width, 0.0, input.cutoff.distance);
  if (input.cutoff.width == 0.0) input.cutoff.width = 0.2 * input.cutoff.distance;
  input.cutoff.skin = std::max(input.cutoff.skin, 0.0);
  return input;
}

/// Turns the coefficients of one row into 3 x 3 blocks: with d the vector between the atoms,
///   H = E'/r + (E'' - E'/r)/r² d ⊗ d
/// for each atom with itself and -H between them.
template <class Block>
struct Expansion {
  const unsigned int* atoms;
  double* diagonal;
  Block& block;
  PairView view = {};

  void Take(std::size_t i) {
    const unsigned int atom = atoms[view.number[i]];
    double own[6] = {};
    view.ForEachRun(i, [&](std::size_t begin, std::size_t end) {
      for (std::size_t j = begin; j < end; ++j) {
        const double a = view.first[j];
        const double b = view.second[j];
        if ((a == 0.0 && b == 0.0) || view.number[j] == kNoAtom) continue;
        const double dx = view.x[i] - view.x[j];
        const double dy = view.y[i] - view.y[j];
        const double dz = view.z[i] - view.z[j];
        const double bx = b * dx;
        const double by = b * dy;
        const double h[6] = {a + bx * dx, bx * dy, bx * dz, a + by * dy, by * dz, a + b * dz * dz};
        double* const other = diagonal + 6 * j;
        for (std::size_t k = 0; k < 6; ++k) {
          own[k] += h[k];
          other[k] += h[k];
        }
        const double mixed[6] = {-h[0], -h[1], -h[2], -h[3], -h[4], -h[5]};
        block(atom, atoms[view.number[j]], mixed);
      }
    });
    for (std::size_t k = 0; k < 6; ++k) diagonal[6 * i + k] += own[k];
  }
};

/// Picks out the pairs whose energy curves upwards by more than `least` along their distance, and
/// takes `most` for what curves more.
struct Springs {
  const unsigned int* atoms;
  double least;
  double most;
  const PairEvaluator::BlockSink& stiff;
  PairView view = {};

  void Take(std::size_t i) {
    view.ForEachRun(i, [&](std::size_t begin, std::size_t end) {
      for (std::size_t j = begin; j < end; ++j) {
        if (view.first[j] == 0.0 && view.second[j] == 0.0) continue;
        const Vec3 d{view.x[i] - view.x[j], view.y[i] - view.y[j], view.z[i] - view.z[j]};
        const double square = Dot(d, d);
        const double curvature = view.first[j] + view.second[j] * square;
        if (!(curvature > least) || view.number[j] == kNoAtom) continue;
        const Vec3 s = (std::min(curvature, most) / square) * d;
        const double h[6] = {s.x * d.x, s.x * d.y, s.x * d.z, s.y * d.y, s.y * d.z, s.z * d.z};
        stiff(atoms[view.number[i]], atoms[view.number[j]], h);
      }
    });
  }
};

/// Adds blocks to a packed Hessian.
struct PackedBlocks {
  double* hessian;

  void operator()(unsigned int i, unsigned int j, const double* h) const {
    const std::size_t row = 3 * std::size_t{std::max(i, j)};
    const std::size_t column = 3 * std::size_t{std::min(i, j)};
    double* out = hessian + PackedIndex(row, column);
    if (i == j) {
      out[0] += h[0];
      out += row + 1;
      out[0] += h[1];
      out[1] += h[3];
      out += row + 2;
      out[0] += h[2];
      out[1] += h[4];
      out[2] += h[5];
      return;
    }
    out[0] += h[0];
    out[1] += h[1];
    out[2] += h[2];
    out += row + 1;
    out[0] += h[1];
    out[1] += h[3];
    out[2] += h[4];
    out += row + 2;
    out[0] += h[2];
    out[1] += h[4];
    out[2] += h[5];
  }
};

}  // namespace

PairEvaluator::PairEvaluator(PairInput input)
    : input_(std::make_shared<const PairInput>(Checked(std::move(input)))), layout_(*input_) {}

std::size_t PairEvaluator::NumPairs(PairTerms terms) const {
  return (terms.vanDerWaals ? layout_.NumPairs() : 0) +
         (terms.electrostatics ? layout_.NumChargedPairs() : 0);
}

template <class Prepare>
PairEnergies PairEvaluator::run(const double* x, PairTerms terms, double* grad, Prepare prepare) {
  if (!layout_.Load(*input_, x)) {
    return {terms.vanDerWaals ? kNaN : 0.0, terms.electrostatics ? kNaN : 0.0};
  }
  PairView view = layout_.View(*input_);
  prepare(view);
  const bool derivatives = grad != nullptr || view.rowDone != nullptr;
  if (derivatives) layout_.ClearGradient();
  const PairEnergies energies = RunPairs(view, terms, derivatives);
  if (grad != nullptr) layout_.AddGradient(*input_, grad);
  return energies;
}

PairEnergies PairEvaluator::Energy(const double* x, PairTerms terms) {
  return run(x, terms, nullptr, [](PairView&) {});
}

PairEnergies PairEvaluator::Gradient(const double* x, PairTerms terms, double* grad) {
  return run(x, terms, grad, [](PairView&) {});
}

template <class Rows>
PairEnergies PairEvaluator::runRows(const double* x, PairTerms terms, Rows& rows, double* grad) {
  return run(x, terms, grad, [&](PairView& view) {
    rows.view = view;
    view.rowDone = [](void* context, std::size_t row) { static_cast<Rows*>(context)->Take(row); };
    view.context = &rows;
  });
}

template <class Block>
PairEnergies PairEvaluator::runHessian(const double* x,
                                       PairTerms terms,
                                       Block block,
                                       double* grad) {
  double* const diagonal = layout_.Diagonal().data();
  const unsigned int* const atoms = input_->atoms.data();
  Expansion<Block> expansion{atoms, diagonal, block};
  const PairEnergies energies = runRows(x, terms, expansion, grad);
  if (expansion.view.number == nullptr) return energies;  // nothing was computed
  layout_.ForEachUsedSlot([&](std::size_t s) {
    const unsigned int atom = atoms[expansion.view.number[s]];
    block(atom, atom, diagonal + 6 * s);
  });
  return energies;
}

PairEnergies PairEvaluator::Hessian(const double* x,
                                    PairTerms terms,
                                    double* hessian,
                                    double* grad) {
  return runHessian(x, terms, PackedBlocks{hessian}, grad);
}

PairEnergies PairEvaluator::HessianBlocks(const double* x,
                                          PairTerms terms,
                                          const BlockSink& block,
                                          double* grad) {
  return runHessian(
      x, terms, [&](unsigned int i, unsigned int j, const double* h) { block(i, j, h); }, grad);
}

void PairEvaluator::ForEachStiff(
    const double* x, PairTerms terms, double least, double most, const BlockSink& stiff) {
  layout_.Diagonal();  // with it comes the room for the coefficients
  Springs springs{input_->atoms.data(), least, most, stiff};
  runRows(x, terms, springs, nullptr);
}

}  // namespace QZMolPotential
