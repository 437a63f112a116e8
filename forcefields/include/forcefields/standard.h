// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>

#include "forcefields/term.h"
#include "molpotential/forcefield.h"

namespace QZMolPotential {

/// A ready-made force field: MMFF94, MMFF94s or UFF as the sum of its terms, one component each.
///   QZStandardFF ff(QZForceFieldKind::MMFF94);
///   if (ff.Setup(mol)) energy = ff(x, grad);
/// Restraints and other functions are added with `Add`, as to every `QZGenericFF2` (functions
/// without a Hessian with own false, see there); the title is the force field's name. `Setup` types
/// the molecule once and the terms share one table of distances; after a false `Setup` nothing is
/// set up. Copies: deep, usable on another thread. Units, selections and failures: see
/// `QZForceFieldTerm`.
class QZ_API QZStandardFF final : public QZGenericFF2 {
 public:
  explicit QZStandardFF(QZForceFieldKind kind);
  QZStandardFF(const QZStandardFF& other);
  QZStandardFF& operator=(const QZStandardFF& other);
  ~QZStandardFF() override;

  QZForceFieldKind GetKind() const { return kind_; }
  using QZGenericFF2::operator();
  /// NumVar() is 3 x AtomIndexBound() of `mol`, whatever functions were added.
  bool Setup(const QZChem::QZMolBase& mol) override;
  QZStandardFF* CreateCopy() const override { return new QZStandardFF(*this); }

 private:
  std::vector<QZForceFieldTerm*> terms() const;
  void shareEngine();

  QZForceFieldKind kind_;
};

/// Bytes that one `QZStandardFF` holds once it is set up on `mol` without selections, from above:
/// all pairs are stored. A copy holds as much again.
QZ_API std::size_t QZEstimateForceFieldMemory(const QZChem::QZMolBase& mol);

}  // namespace QZMolPotential
