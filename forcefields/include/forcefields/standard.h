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
/// Restraints and other functions are added with `Add`, as for every `QZGenericFF2`; **functions
/// without a Hessian must be added with `own` false**, see there. The title is the name of the
/// force field. When `Setup` is false because an atom has no type, nothing is set up.
/// Copies: deep, usable on another thread. Formulas, units, selections, failures and sources: see
/// `QZForceFieldTerm`. Cost: that of its terms; van der Waals and electrostatics of the same pairs
/// are computed in one pass over the pairs.
class QZ_API QZStandardFF final : public QZGenericFF2 {
 public:
  explicit QZStandardFF(QZForceFieldKind kind);
  QZStandardFF(const QZStandardFF& other);
  QZStandardFF& operator=(const QZStandardFF& other);
  ~QZStandardFF() override;

  QZForceFieldKind GetKind() const { return kind_; }
  /// Options of the terms, see `QZForceFieldTerm`.
  void SetDielectric(double constant, bool distanceDependent = false);
  void SetCutoff(double distance, double width = 2.0);
  /// The partial charges (in elementary charges) of the molecule that is set up, by atom index;
  /// empty before `Setup`, and for UFF, which has no charges.
  std::vector<double> GetPartialCharges() const;

  using QZGenericFF2::operator();
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;
  bool operator()(const double* x, double* hessian, double* grad) override;
  /// NumVar() is 3 x AtomIndexBound() of `mol`, whatever functions were added.
  bool Setup(const QZChem::QZMolBase& mol) override;
  /// Appends the Hessian as entries of its lower triangle; entries with the same row and column are
  /// to be summed. False, with nothing appended, before `Setup`, and when functions other than the
  /// force field's own terms were added.
  bool AppendHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries);
  /// The sum of the models of the terms; van der Waals and electrostatics of a pair count as one
  /// energy.
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

/// An upper bound of the bytes that one `QZStandardFF` holds after `Setup` on `mol`, including the
/// data kept with `mol`. It does not contain the packed Hessian, which the caller allocates.
QZ_API std::size_t QZEstimateForceFieldMemory(const QZChem::QZMolBase& mol);

}  // namespace QZMolPotential
