// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/record.h"
#include "qzopt/constraint.h"
#include "qzplatform/export.h"

namespace QZChem {
class QZAtomBase;
class QZMolBase;
}  // namespace QZChem

namespace QZMolPotential {

/// An equality constraint c(x) = 0 on an internal coordinate of a molecule. Cost: O(1), nothing
/// allocated. `x` and `grad` are full coordinate vectors by atom index, 3 x AtomIndexBound()
/// doubles, and the gradient is **added**. NumVar() counts the variables of the constrained atoms
/// alone: callers rely on it.
class QZ_API QZMolConstr : public QZOpt::QZConstrFunc {
 public:
  /// Looks the atoms up by index, and takes the target from the molecule's geometry when the
  /// constraint was built without one, anew at every call. Fails with a Warning, target untouched,
  /// when the molecule is too small or lacks an atom. An atom named twice is never found.
  virtual bool Setup(const QZChem::QZMolBase& mol) = 0;
};

/// Holds the distance of two atoms.
///   c = |xb - xa| - distance     in Å
/// **The gradient is that of r²/2 and not of c**: xa - xb on atom a and the opposite on atom b,
/// which is r times the derivative of c. Callers rely on it. Copies: deep.
class QZ_API QZDistanceConstr final : public QZMolConstr {
 public:
  /// Keeps the indices of the atoms; the target is measured at `Setup` or given (Å).
  QZDistanceConstr(const QZChem::QZAtomBase& a, const QZChem::QZAtomBase& b);
  QZDistanceConstr(const QZChem::QZAtomBase& a, const QZChem::QZAtomBase& b, double distance);
  QZDistanceConstr(const QZDistanceConstr& other);
  QZDistanceConstr& operator=(const QZDistanceConstr& other);
  ~QZDistanceConstr() override;

  double GetDistance() const;
  bool Setup(const QZChem::QZMolBase& mol) override;
  /// 6.
  unsigned int NumVar() const override;
  double operator()(const double* x, double* grad) override;
  double operator()(const double* x) override;

 private:
  struct Data;
  QZRecord<Data> data_;
};

/// Holds the cosine of the angle a-b-c.
///   c = cos θ - cos(angle)     angle in radians
/// Coincident atoms divide by zero: there is no guard. Copies: deep.
class QZ_API QZAngleConstr final : public QZMolConstr {
 public:
  /// Keeps the indices of the atoms; the target is measured at `Setup` or given (radians).
  QZAngleConstr(const QZChem::QZAtomBase& a,
                const QZChem::QZAtomBase& b,
                const QZChem::QZAtomBase& c);
  QZAngleConstr(const QZChem::QZAtomBase& a,
                const QZChem::QZAtomBase& b,
                const QZChem::QZAtomBase& c,
                double angle);
  QZAngleConstr(const QZAngleConstr& other);
  QZAngleConstr& operator=(const QZAngleConstr& other);
  ~QZAngleConstr() override;

  double GetAngle() const;
  bool Setup(const QZChem::QZMolBase& mol) override;
  /// 9.
  unsigned int NumVar() const override;
  double operator()(const double* x, double* grad) override;
  double operator()(const double* x) override;

 private:
  struct Data;
  QZRecord<Data> data_;
};

/// Holds the cosine of the dihedral a-b-c-d, so that +angle and -angle are the same constraint.
///   c = cos φ - cos(angle)     angle in radians
/// Three atoms in line divide by zero: there is no guard. Copies: deep.
class QZ_API QZDihedralConstr final : public QZMolConstr {
 public:
  /// Keeps the indices of the atoms; the target is measured at `Setup` or given (radians).
  QZDihedralConstr(const QZChem::QZAtomBase& a,
                   const QZChem::QZAtomBase& b,
                   const QZChem::QZAtomBase& c,
                   const QZChem::QZAtomBase& d);
  QZDihedralConstr(const QZChem::QZAtomBase& a,
                   const QZChem::QZAtomBase& b,
                   const QZChem::QZAtomBase& c,
                   const QZChem::QZAtomBase& d,
                   double angle);
  QZDihedralConstr(const QZDihedralConstr& other);
  QZDihedralConstr& operator=(const QZDihedralConstr& other);
  ~QZDihedralConstr() override;

  double GetDihedralAngle() const;
  bool Setup(const QZChem::QZMolBase& mol) override;
  /// 12.
  unsigned int NumVar() const override;
  double operator()(const double* x, double* grad) override;
  double operator()(const double* x) override;

 private:
  struct Data;
  QZRecord<Data> data_;
};

}  // namespace QZMolPotential
