// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "forcefields/term.h"
#include "molpotential/forcefield.h"

namespace QZMolPotential {

class PairTerm;

/// A ready-made force field: MMFF94, MMFF94s or UFF as the sum of its terms, one component each.
///   QZStandardFF ff(QZForceFieldKind::MMFF94);
///   if (ff.Setup(mol)) energy = ff(x, grad);
/// Restraints and other functions are added with `Add`, as to every `QZGenericFF2` (functions
/// without a Hessian with own false, see there); the title is the force field's name. After a false
/// `Setup` for want of types nothing is set up.
/// Copies: deep, usable on another thread. Units, selections and failures: see `QZForceFieldTerm`.
/// Cost: as its terms; van der Waals and electrostatics of the same pairs take one pass over them.
class QZ_API QZStandardFF final : public QZGenericFF2 {
 public:
  explicit QZStandardFF(QZForceFieldKind kind);
  QZStandardFF(const QZStandardFF& other);
  QZStandardFF& operator=(const QZStandardFF& other);
  ~QZStandardFF() override;

  QZForceFieldKind GetKind() const { return kind_; }
  /// The options of its terms, see `QZForceFieldTerm`.
  void SetDielectric(double constant, bool distanceDependent = false);
  void SetCutoff(double distance, double width = 2.0);
  /// The partial charges (elementary charges) of the molecule that is set up, by atom index; empty
  /// before `Setup` and for UFF, which has none.
  std::vector<double> GetPartialCharges() const;

  using QZGenericFF2::operator();
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;
  bool operator()(const double* x, double* hessian, double* grad) override;
  /// NumVar() is 3 x AtomIndexBound() of `mol`, whatever functions were added.
  bool Setup(const QZChem::QZMolBase& mol) override;
  /// The second derivatives as entries of the lower triangle, appended; entries of the same place
  /// are to be summed. False, with nothing appended, before `Setup` and when a function beside the
  /// force field's own terms was added.
  bool AppendHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries);
  /// The terms' models, those of both kinds of pairs as one.
  bool AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) override;
  bool Freeze(const unsigned char* fixed) override;
  QZStandardFF* CreateCopy() const override { return new QZStandardFF(*this); }

 private:
  struct Angles;
  std::vector<QZForceFieldTerm*> terms() const;
  void joinPairs();
  std::pair<PairTerm*, PairTerm*> joint() const;
  void joinAngles();
  Angles* jointAngles() const;

  QZForceFieldKind kind_;
  // The terms of pairs, which may share their evaluator.
  QZForceFieldTerm* vanDerWaals_ = nullptr;
  QZForceFieldTerm* electrostatics_ = nullptr;
  std::unique_ptr<Angles> angles_;  // bends and stretch-bends in one pass; null when they differ
};

/// Bytes that one `QZStandardFF` holds once it is set up on `mol`, and what is kept with `mol` for
/// all of them, from above. A packed Hessian of all atoms is the caller's.
QZ_API std::size_t QZEstimateForceFieldMemory(const QZChem::QZMolBase& mol);

}  // namespace QZMolPotential
