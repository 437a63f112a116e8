// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <vector>

#include "molpotential/molpotential.h"
#include "qzchem/mol.h"
#include "support/capture.h"
#include "support/contract.h"
#include "support/molecules.h"

namespace TestSupport {

using AtomPred = QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>;
using BondPredicate = QZSystem::QZUnaryPredicate<QZChem::QZBondBase>;
using AtomPairPred = QZSystem::QZBinaryPredicate<QZChem::QZAtomBase, QZChem::QZAtomBase>;
using BondPairPred = QZSystem::QZBinaryPredicate<QZChem::QZBondBase, QZChem::QZBondBase>;

/// A field that depends on absolute positions and on the atom's index, without allocations; keeps
/// the predicates it is given and counts what is forwarded.
///   E = sum_i sin(x_i + 0.3 i) cos(y_i) + 0.1 z_i^3 + 0.5 |p_i - (0.2 i, 1, -1)|^2
class FieldFunc final : public QZMolPotential::QZMolFunc1 {
 public:
  using QZMolFunc1::operator();
  unsigned int NumVar() const override { return 3 * atoms_; }
  bool Setup(const QZChem::QZMolBase& mol) override;
  bool SetupConf(const double* coords) override { return (conformation = coords) != nullptr; }
  void Clear() override { ++clears; }
  void SetVerbose(bool on) override { verbose = on; }
  void ClearPredicates() override { ++clearedPredicates; }
  bool Set(const BondPairPred& pred, unsigned int which) override {
    return keep(bondPair, pred, which);
  }
  bool Set(const AtomPairPred& pred, unsigned int which) override {
    return keep(atomPair, pred, which);
  }
  bool Set(const BondPredicate& pred, unsigned int which) override {
    return keep(bond, pred, which);
  }
  bool Set(const AtomPred& pred, unsigned int which) override { return keep(atom, pred, which); }
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;
  FieldFunc* CreateCopy() const override { return nullptr; }

  std::vector<unsigned int> bound;  // atoms of each molecule that Setup saw
  std::vector<unsigned int> masks;
  const double* conformation = nullptr;
  int clears = 0;
  int clearedPredicates = 0;
  bool verbose = false;
  std::unique_ptr<AtomPred> atom;
  std::unique_ptr<BondPredicate> bond;
  std::unique_ptr<AtomPairPred> atomPair;
  std::unique_ptr<BondPairPred> bondPair;

 private:
  template <class Pred>
  bool keep(std::unique_ptr<Pred>& slot, const Pred& pred, unsigned int which) {
    slot.reset(pred.CreateCopy());
    masks.push_back(which);
    return true;
  }

  unsigned int atoms_ = 0;
};

/// Fixed atoms by index.
template <class F>
auto AtomsWhere(F f) {
  return QZSystem::QZMakeUnaryPredicate<QZChem::QZAtomBase>(
      [f](const QZChem::QZAtomBase& atom) { return f(atom.GetIndex()); });
}

/// What GetVar yields for Cartesian coordinates `x`.
std::vector<double> StartVars(QZMolPotential::QZMolAdaptor& adaptor, const std::vector<double>& x);
/// CheckDerivatives for an adaptor that overwrites the caller's gradient.
std::string CheckOverwriting(QZMolPotential::QZMolAdaptor& adaptor,
                             const std::vector<double>& vars);
/// All interatomic distances.
std::vector<double> Distances(const std::vector<double>& x);
void ExpectNear(const std::vector<double>& got, const std::vector<double>& want, double tolerance);
/// A quaternion of random direction and a length between 0.1 and 5, then a translation.
std::vector<double> RandomPlacement(std::mt19937& rng);

}  // namespace TestSupport
