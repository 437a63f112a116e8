// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "coordinates/redundant/primitive.h"
#include "kernels/sinks.h"

namespace QZMolPotential {

/// Passes on what belongs to moving atoms.
class MovingSink {
 public:
  MovingSink(BlockHessian& sink, const std::vector<unsigned char>& fixed)
      : sink_(sink), fixed_(fixed) {}
  void Diagonal(std::size_t i, const Mat3& m) {
    if (!fixed_[i]) sink_.Diagonal(i, m);
  }
  void Mixed(std::size_t i, std::size_t j, const Mat3& m) {
    if (!fixed_[i] && !fixed_[j]) sink_.Mixed(i, j, m);
  }

 private:
  BlockHessian& sink_;
  const std::vector<unsigned char>& fixed_;
};

inline void SetCurvaturePattern(const std::vector<Primitive>& primitives,
                                const std::vector<unsigned char>& fixed,
                                BlockHessian& hessian) {
  std::vector<BlockHessian::AtomPair> pairs;
  for (const Primitive& p : primitives) {
    if (!p.active) continue;
    for (std::size_t k = 0; k < p.NumAtoms(); ++k) {
      for (std::size_t l = 0; l < k; ++l) pairs.emplace_back(p.atoms[k], p.atoms[l]);
    }
  }
  hessian.SetPattern(fixed.size(), std::move(pairs));
}

/// factor ∂²q v over the atoms of `p`; `v`: 3 an atom index.
inline PrimitiveRow CurvatureAlong(const Primitive& p,
                                   const double* x,
                                   const double* v,
                                   double factor) {
  struct ProductSink {
    std::array<Vec3, 4> v{};
    PrimitiveRow out{};
    void Diagonal(std::size_t i, const Mat3& m) { out[i] += m * v[i]; }
    void Mixed(std::size_t i, std::size_t j, const Mat3& m) {
      out[i] += m * v[j];
      out[j] += Transpose(m) * v[i];
    }
  } sink;
  Primitive local = p;
  std::array<double, 12> localX{};
  for (unsigned int k = 0; k < p.NumAtoms(); ++k) {
    sink.v[k] = LoadAtom(v, p.atoms[k]);
    StoreAtom(localX.data(), k, LoadAtom(x, p.atoms[k]));
    local.atoms[k] = k;
  }
  AddPrimitive(sink, nullptr, local, localX.data(), factor, 0.0);
  return sink.out;
}

}  // namespace QZMolPotential
