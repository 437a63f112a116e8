// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <algorithm>
#include <memory>
#include <vector>

#include "host/field.h"
#include "pairs/evaluator.h"
#include "pairs/model.h"

namespace QZMolPotential {

/// Of a host atom that has no variables.
constexpr unsigned int kRigid = kNoVariable;

/// The coordinates that the parts are computed from: the ligand's by atom index, the host's behind
/// them. Variables are the ligand's and those of flexible host atoms.
struct QZHostFunc::Impl {
  explicit Impl(const QZHostField& of) : field(of), ligand(of.GetOptions().forceField) {}
  Impl(const Impl& other)
      : field(other.field),
        ligand(other.ligand),
        perception(other.perception),
        pairs(other.pairs),
        between(other.between),
        host(other.host != nullptr ? std::make_unique<QZStandardFF>(*other.host) : nullptr),
        ligandBound(other.ligandBound),
        flexible(other.flexible),
        variable(other.variable),
        x(other.x),
        grad(other.grad),
        entries(other.entries) {}

  bool IsBound() const { return !between.empty(); }
  unsigned int NumAtoms() const { return ligandBound + static_cast<unsigned int>(flexible.size()); }
  void Load(const double* vars, std::vector<double>& into) const {
    std::copy_n(vars, 3 * std::size_t{ligandBound}, into.begin());
    for (std::size_t f = 0; f < flexible.size(); ++f) {
      std::copy_n(
          vars + 3 * (ligandBound + f), 3, &into[3 * std::size_t{ligandBound + flexible[f]}]);
    }
  }
  void Load(const double* vars) { Load(vars, x); }
  void Unload(double* out) const {
    for (std::size_t k = 0; k < 3 * std::size_t{ligandBound}; ++k) out[k] += grad[k];
    for (std::size_t f = 0; f < flexible.size(); ++f) {
      for (std::size_t k = 0; k < 3; ++k) {
        out[3 * (ligandBound + f) + k] += grad[3 * std::size_t{ligandBound + flexible[f]} + k];
      }
    }
  }
  double* HostPart(std::vector<double>& values) const {
    return values.data() + 3 * std::size_t{ligandBound};
  }
  /// Entries of the host's matrix that are of variables, from `first` on; the others are dropped.
  void MapHostEntries(std::vector<QZOpt::QZMatrixEntry>& from, std::size_t first) const;
  Energies Evaluate(const double* vars, double* gradient);
  /// Leaves out the pairs of two fixed atoms; null: none is fixed.
  void FreezePairs(const unsigned char* fixed);
  /// The ligand within `mol`, joined or not; made anew, in `made`, where it was joined.
  static const QZChem::QZMolBase& LigandIn(const QZChem::QZMolBase& mol, QZChem::QZGraphMol& made);
  /// True when `mol` is what it is bound to, by its types and flexible atoms.
  bool IsOf(const QZChem::QZMolBase& mol) const;
  std::vector<QZInteraction> List(const QZChem::QZMolBase& mol,
                                  const double* coords,
                                  unsigned int selector) const;

  QZHostField field;
  QZStandardFF ligand;
  std::shared_ptr<const Perception> perception;  // the ligand's
  std::shared_ptr<const PairInput> pairs;        // all between ligand and host; shared with copies
  std::vector<PairEvaluator> between;            // what is computed of them; empty: not set up
  std::unique_ptr<QZStandardFF> host;            // null without flexible atoms
  unsigned int ligandBound = 0;
  std::vector<unsigned int> flexible;
  std::vector<unsigned int> variable;  // atom's place among the variables by its place in `x`
  std::vector<double> x;
  std::vector<double> grad;
  std::vector<QZOpt::QZMatrixEntry> entries;
  std::vector<unsigned char> fixedInHost;
};

}  // namespace QZMolPotential
