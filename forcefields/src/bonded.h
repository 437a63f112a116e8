// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "kernels/sinks.h"
#include "qzopt/hints.h"

namespace QZMolPotential {

/// All terms of one kind of a molecule: an array of their atoms (by index), one of their
/// parameters, and one of the bonds that selections are asked about. `K` computes one term;
/// `MmffStretch` is an example.
template <class K>
struct BondedArrays {
  using Bonds = std::array<unsigned int, K::kBonds>;

  std::size_t Size() const { return atoms.size(); }
  void Add(const typename K::Atoms& a, const typename K::Params& p, const Bonds& b = {}) {
    atoms.push_back(a);
    params.push_back(p);
    if constexpr (K::kBonds > 0) bonds.push_back(b);
  }

  std::vector<typename K::Atoms> atoms;
  std::vector<typename K::Params> params;
  std::vector<Bonds> bonds;  // empty for kinds that are selected by their atoms
};

/// Those of `all` for which accepts(i) holds.
template <class K, class Accepts>
std::shared_ptr<const BondedArrays<K>> Chosen(const BondedArrays<K>& all, Accepts accepts) {
  auto chosen = std::make_shared<BondedArrays<K>>();
  for (std::size_t i = 0; i < all.Size(); ++i) {
    if (!accepts(i)) continue;
    if constexpr (K::kBonds > 0) {
      chosen->Add(all.atoms[i], all.params[i], all.bonds[i]);
    } else {
      chosen->Add(all.atoms[i], all.params[i]);
    }
  }
  return chosen;
}

/// What a bound term computes. One virtual call an evaluation, none in its loops.
class TermEvaluator {
 public:
  using Entries = std::vector<QZOpt::QZMatrixEntry>;
  /// Atoms, energy and parameters of one contribution.
  using Visit = std::function<void(
      std::span<const unsigned int> atoms, double energy, std::span<const double> parameters)>;

  virtual ~TermEvaluator() = default;
  virtual std::unique_ptr<TermEvaluator> Copy() const = 0;
  /// The same for the contributions of at least one atom that is not fixed; a flag by atom index.
  virtual std::unique_ptr<TermEvaluator> Touching(const unsigned char* fixed) const = 0;
  virtual std::size_t Size() const = 0;
  virtual double Energy(const double* x) = 0;
  /// The energy; the gradient is added to.
  virtual double Gradient(const double* x, double* grad) = 0;
  /// Both are added to; `grad` may be null.
  virtual void Hessian(const double* x, double* packed, double* grad) = 0;
  /// The same as 3 x 3 blocks of atom pairs.
  virtual void HessianEntries(const double* x, Entries& entries) = 0;
  /// False: none.
  virtual bool Model(const double* x, Entries& entries) = 0;
  virtual void ForEach(const double* x, const Visit& visit) = 0;
  /// Identifies the shared array of terms, so that two evaluators of the same terms can be
  /// recognised; null: the evaluator has terms of its own.
  virtual const void* Source() const { return nullptr; }
};

/// Terms of kind `K`. Copies share the arrays.
template <class K>
class BondedEvaluator final : public TermEvaluator {
 public:
  explicit BondedEvaluator(std::shared_ptr<const BondedArrays<K>> arrays)
      : arrays_(std::move(arrays)) {}

  std::unique_ptr<TermEvaluator> Copy() const override {
    return std::make_unique<BondedEvaluator>(arrays_);
  }
  std::unique_ptr<TermEvaluator> Touching(const unsigned char* fixed) const override {
    return std::make_unique<BondedEvaluator>(Chosen(*arrays_, [&](std::size_t i) {
      return std::ranges::any_of(arrays_->atoms[i], [&](unsigned int a) { return fixed[a] == 0; });
    }));
  }
  std::size_t Size() const override { return arrays_->Size(); }
  double Energy(const double* x) override {
    return sum([x](const auto& p, const auto& atoms) { return K::Energy(p, x, atoms); });
  }
  double Gradient(const double* x, double* grad) override {
    return sum(
        [x, grad](const auto& p, const auto& atoms) { return K::Gradient(p, x, atoms, grad); });
  }
  void Hessian(const double* x, double* packed, double* grad) override {
    PackedSink sink(packed);
    forEach([&](const auto& p, const auto& atoms) { K::Hessian(p, x, atoms, grad, sink); });
  }
  void HessianEntries(const double* x, Entries& entries) override {
    EntrySink sink(entries);
    forEach([&](const auto& p, const auto& atoms) { K::Hessian(p, x, atoms, nullptr, sink); });
  }
  bool Model(const double* x, Entries& entries) override {
    EntrySink sink(entries);
    forEach([&](const auto& p, const auto& atoms) { K::Model(p, x, atoms, sink); });
    return true;
  }
  void ForEach(const double* x, const Visit& visit) override {
    forEach([&](const auto& p, const auto& atoms) {
      visit(atoms, K::Energy(p, x, atoms), p.Values());
    });
  }
  const void* Source() const override { return arrays_.get(); }

 private:
  template <class Term>
  void forEach(Term term) const {
    const std::size_t n = arrays_->Size();
    for (std::size_t i = 0; i < n; ++i) term(arrays_->params[i], arrays_->atoms[i]);
  }
  template <class Term>
  double sum(Term term) const {
    double energy = 0.0;
    forEach([&](const auto& p, const auto& atoms) { energy += term(p, atoms); });
    return energy;
  }

  std::shared_ptr<const BondedArrays<K>> arrays_;
};

}  // namespace QZMolPotential
