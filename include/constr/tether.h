// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <string>
#include <vector>

#include "molpotential/invariance.h"
#include "qzchem/subsearch.h"
#include "qzopt/hints.h"

namespace QZConstr {

/// A restraint that holds atoms near given points, such as those of a reference structure; a
/// function of the Cartesian coordinates of the whole molecule. It is a sum over the targets, the
/// atom being at distance d from the point, of
///   E = 0                d <= width
///   E = k (d - width)²   d > width      d and width in Å, k in kcal/mol/Å²
/// At d = width E and gradient are 0 and the Hessian jumps, unless an onset is set (`SetOnset`). In
/// contrast to `QZHarmonicPotential` the caller gives the points, `SetupConf` does not change them,
/// and there is a Hessian. Copies: deep. Cost: O(targets), nothing allocated.
class QZ_API QZTetherRestraint final : public QZMolPotential::QZMolFunc2,
                                       public QZMolPotential::QZFrameQuery,
                                       public QZOpt::QZHessianModel {
 public:
  /// `k` in kcal/mol/Å², `width` in Å.
  explicit QZTetherRestraint(double k, double width = 0.0) : k_(k), width_(width) {}

  /// Adds a target: atom `index` is held near the point (Å). Takes effect at once; the index is
  /// checked by the next `Setup`. An atom may have several targets.
  void AddTarget(unsigned int index, double x, double y, double z);
  void ClearTargets() { targets_.clear(); }
  std::size_t NumTargets() const { return targets_.size(); }
  double Get_k() const { return k_; }
  void Set_k(double k) { k_ = k; }
  double GetWidth() const { return width_; }
  void SetWidth(double width) { width_ = width; }
  /// The onset w (Å), 0 by default: the distance beyond `width` over which the curvature rises from
  /// 0 to 2k. With e = d - width
  ///   E = k e³/(3w)  e < w        E = k (e² - w e + w²/3)  e >= w
  /// `SetOnset` fails: false for a value that is negative or not finite.
  double GetOnset() const { return onset_; }
  bool SetOnset(double onset);

  /// False with a Warning when the molecule lacks the atom of a target.
  bool Setup(const QZChem::QZMolBase& mol) override;
  /// Ends the binding: NumVar() is 0 again. The targets stay.
  void Clear() override { numVar_ = 0; }
  /// 3 x AtomIndexBound(); 0 before `Setup`.
  unsigned int NumVar() const override { return numVar_; }
  using QZMolPotential::QZMolFunc2::operator();
  double operator()(const double* x) override { return evaluate(x, nullptr, nullptr); }
  double operator()(const double* x, double* grad) override { return evaluate(x, grad, nullptr); }
  bool operator()(const double* x, double* hessian, double* grad) override;
  /// False: the points do not move with the molecule.
  bool IsFrameInvariant() const override { return false; }
  /// The positive part of the Hessian.
  bool AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) override;
  /// One component, "Tether Restraint"; 0 when `x` is null.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;
  QZTetherRestraint* CreateCopy() const override { return new QZTetherRestraint(*this); }

 private:
  struct Target {
    unsigned int atom;
    std::array<double, 3> point;
  };
  double evaluate(const double* x, double* grad, double* hessian) const;

  double k_;
  double width_;
  double onset_ = 0.0;
  std::vector<Target> targets_;
  unsigned int numVar_ = 0;
};

/// Atoms of a molecule, by index, and a point for each of them.
struct QZPlaces {
  std::vector<unsigned int> atoms;
  std::vector<double> points;  // x, y, z of each, Å
};

/// Finds the atoms of `mol` that have counterparts in `reference`, and the positions of these
/// counterparts. Counterparts are the atoms that `smarts` matches in both molecules, or for ""
/// their largest common substructure (`QZChem::QZFindCommonSubstructure`). When the pattern can be
/// matched in several ways, the matches with the smallest root mean square distance are taken; if
/// it is above 3 Å, so that the molecule lies somewhere else, the matches that superpose best.
/// Fails: false with the reason in `error`, `places` unchanged.
QZ_API bool QZFindPlaces(const QZChem::QZMolBase& reference,
                         const QZChem::QZMolBase& mol,
                         const std::string& smarts,
                         QZPlaces& places,
                         std::string& error);
/// The same for a parsed pattern; the atoms in `places` are in the order of the pattern.
QZ_API bool QZFindPlaces(const QZChem::QZMolBase& reference,
                         const QZChem::QZMolBase& mol,
                         const QZChem::QZSubSearch& pattern,
                         QZPlaces& places,
                         std::string& error);

}  // namespace QZConstr
