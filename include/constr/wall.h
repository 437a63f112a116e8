// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <memory>
#include <vector>

#include "molpotential/invariance.h"
#include "qzopt/hints.h"

namespace QZConstr {

/// A restraint that keeps the selected atoms inside a region; a function of the Cartesian
/// coordinates of the whole molecule. It is a sum over the selected atoms of
///   E = 0                inside
///   E = k e²             at a distance e (Å) outside; k in kcal/mol/Å²
/// At the wall E and gradient are 0 and the Hessian jumps, unless an onset is set (`SetOnset`).
/// Copies: deep, but they share the selection, which never changes. Cost: O(selected atoms),
/// nothing allocated.
class QZ_API QZWallRestraint : public QZMolPotential::QZMolFunc2,
                               public QZMolPotential::QZFrameQuery,
                               public QZOpt::QZHessianModel {
 public:
  double Get_k() const { return k_; }
  void Set_k(double k) { k_ = k; }
  /// The onset w (Å), 0 by default: the distance beyond the wall over which the curvature rises
  /// from 0 to 2k.
  ///   E = k e³/(3w)  e < w        E = k (e² - w e + w²/3)  e >= w
  /// `SetOnset` fails: false for a value that is negative or not finite.
  double GetOnset() const { return onset_; }
  bool SetOnset(double onset);

  using QZMolPotential::QZMolFunc2::Set;
  /// Keeps a copy of `pred` for the next `Setup` when `which` has the bit `QZCategoryPositional`,
  /// and answers whether it has. Without a selection every atom is kept inside.
  bool Set(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred, unsigned int which) override;
  void ClearPredicates() override { selection_.reset(); }
  /// Takes the atoms that the selection accepts. Always true.
  bool Setup(const QZChem::QZMolBase& mol) override;
  /// Ends the binding: NumVar() is 0 again. The selection stays.
  void Clear() override;
  /// 3 x AtomIndexBound(); 0 before `Setup`.
  unsigned int NumVar() const override { return numVar_; }
  using QZMolPotential::QZMolFunc2::operator();
  double operator()(const double* x) override { return evaluate(x, nullptr, nullptr); }
  double operator()(const double* x, double* grad) override { return evaluate(x, grad, nullptr); }
  bool operator()(const double* x, double* hessian, double* grad) override;
  /// False: the wall does not move with the molecule.
  bool IsFrameInvariant() const override { return false; }
  /// The Hessian, which is positive.
  bool AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) override;
  /// One component, "Wall Restraint"; 0 when `x` is null.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;

 protected:
  explicit QZWallRestraint(double k) : k_(k) {}
  QZWallRestraint(const QZWallRestraint&) = default;
  QZWallRestraint& operator=(const QZWallRestraint&) = default;

  /// The energy of one atom at `p` (3 doubles), its gradient (3) and second derivatives (9, by
  /// rows), all out.
  virtual double wall(const double* p, double* slope, double* curvature) const = 0;

 private:
  double evaluate(const double* x, double* grad, double* hessian) const;

  double k_;
  double onset_ = 0.0;
  std::vector<unsigned int> atoms_;
  std::shared_ptr<const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>> selection_;
  unsigned int numVar_ = 0;
};

/// Keeps atoms inside a sphere: e = |x - centre| - radius.
class QZ_API QZSphereWall final : public QZWallRestraint {
 public:
  /// `centre` and `radius` in Å, `k` in kcal/mol/Å².
  QZSphereWall(const std::array<double, 3>& centre, double radius, double k)
      : QZWallRestraint(k), centre_(centre), radius_(radius) {}
  QZSphereWall* CreateCopy() const override { return new QZSphereWall(*this); }

 private:
  double wall(const double* p, double* slope, double* curvature) const override;
  std::array<double, 3> centre_;
  double radius_;
};

/// Keeps atoms inside a box along the axes: E is summed over x, y and z, e being the distance of
/// the coordinate below `low` or above `high`. Either bound may be infinite.
class QZ_API QZBoxWall final : public QZWallRestraint {
 public:
  /// `low` and `high` in Å, `k` in kcal/mol/Å².
  QZBoxWall(const std::array<double, 3>& low, const std::array<double, 3>& high, double k)
      : QZWallRestraint(k), low_(low), high_(high) {}
  QZBoxWall* CreateCopy() const override { return new QZBoxWall(*this); }

 private:
  double wall(const double* p, double* slope, double* curvature) const override;
  std::array<double, 3> low_;
  std::array<double, 3> high_;
};

}  // namespace QZConstr
