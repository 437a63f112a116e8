// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <map>
#include <string>

#include "molpotential/invariance.h"
#include "molpotential/record.h"

namespace QZMolPotential {

/// An energy term (kcal/mol) that the caller writes as an expression, a function of the Cartesian
/// coordinates of the whole molecule:
///   "k * (distance(0, 4) - r0)^2 + 2 * cos(3 * dihedral(0, 1, 2, 3))"
/// Grammar: + - * / and ^ or ** (right to left, tighter than a sign: -2^2 is -4), brackets,
/// numbers, constants by name (the caller's, and pi), and the functions
///   sqrt exp log sin cos tan abs, min and max of two or more;
///   distance(i, j) in Å; angle(i, j, k) and dihedral(i, j, k, l), IUPAC sign, in radians;
///   x(i), y(i), z(i) in Å.
/// Atoms are given by number, counted from `atomsFrom`. First and second derivatives are exact
/// (forward differentiation over the atoms that occur in the expression). Where a function has a
/// kink (abs at 0, min and max of equal values, a straight angle, atoms in line) derivatives are
/// those of one side, or 0. Outside the domain of a function (log of -1) energy and derivatives are
/// not finite, as in C.
/// Copies: deep. Cost: number of operations times the number of variables that occur (three for
/// each atom), squared for a Hessian; evaluation allocates nothing.
class QZ_API QZExpressionFunc final : public QZMolFunc2, public QZFrameQuery {
 public:
  /// `atomsFrom` is 0 or 1. After an expression that cannot be read `GetError()` has a message and
  /// `Setup` fails.
  explicit QZExpressionFunc(const std::string& expression,
                            const std::map<std::string, double>& constants = {},
                            unsigned int atomsFrom = 0);
  QZExpressionFunc(const QZExpressionFunc& other);
  QZExpressionFunc& operator=(const QZExpressionFunc& other);
  ~QZExpressionFunc() override;

  const std::string& GetExpression() const;
  /// What is wrong with the expression and where, for example "position 8: expected ')'" (positions
  /// count from 1); empty when nothing is wrong.
  const std::string& GetError() const;

  /// Fails with a Warning for an expression that cannot be read, and when the molecule lacks one of
  /// the atoms.
  bool Setup(const QZChem::QZMolBase& mol) override;
  /// Ends the binding: NumVar() is 0 again.
  void Clear() override;
  /// 3 x AtomIndexBound(); 0 before `Setup`.
  unsigned int NumVar() const override;
  using QZMolFunc2::operator();
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;
  bool operator()(const double* x, double* hessian, double* grad) override;
  /// True when the expression contains none of x(i), y(i) and z(i).
  bool IsFrameInvariant() const override;
  /// One component, "Expression"; 0 when `x` is null.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;
  QZExpressionFunc* CreateCopy() const override { return new QZExpressionFunc(*this); }

 private:
  struct Data;
  QZRecord<Data> data_;
};

}  // namespace QZMolPotential
