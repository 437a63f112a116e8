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

/// Holds atoms near given points, such as those of a reference structure, of the Cartesian
/// coordinates of the whole molecule: a sum over the targets, at distance d from the point, of
///   E = 0                d <= width
///   E = k (d - width)²   d > width      d and width in Å, k in kcal/mol/Å²
/// With an onset the curvature rises over it from 0 to 2k, as `SetOnset` says; without, the Hessian
/// has a step on the sphere of a width. Unlike QZHarmonicPotential the points are the caller's,
/// `SetupConf` leaves them alone, and there is a Hessian. Copies: deep. Cost: O(targets), nothing
/// allocated.
class QZ_API QZTetherRestraint final : public QZMolPotential::QZMolFunc2,
                                       public QZMolPotential::QZFrameQuery,
                                       public QZOpt::QZHessianModel {
 public:
  /// `k` in kcal/mol/Å², `width` in Å.
  explicit QZTetherRestraint(double k, double width = 0.0) : k_(k), width_(width) {}

  /// Draws atom `index` to a point (Å). Takes effect at once and is checked by the next `Setup`; an
  /// atom may have several.
  void AddTarget(unsigned int index, double x, double y, double z);
  void ClearTargets() { targets_.clear(); }
  std::size_t NumTargets() const { return targets_.size(); }
  double Get_k() const { return k_; }
  void Set_k(double k) { k_ = k; }
  double GetWidth() const { return width_; }
  void SetWidth(double width) { width_ = width; }
  /// With e = d - width and w the onset (Å, 0 by default)
  ///   E = k e³/(3w)  e < w        E = k (e² - w e + w²/3)  e >= w
  /// False for one that is negative or not finite.
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
  /// False: its points stand still.
  bool IsFrameInvariant() const override { return false; }
  /// The part of the second derivatives that is positive.
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

/// Atoms of a molecule and places for them.
struct QZPlaces {
  std::vector<unsigned int> atoms;
  std::vector<double> points;  // x, y, z of each, Å
};

/// Where `reference` has the counterparts of atoms of `mol`: those that `smarts` matches in both,
/// or for "" their largest common substructure. Of several ways to lay one on the other the nearest
/// is taken, or for a molecule that lies elsewhere (more than 3 Å RMS) the one that superposes
/// best. Fails: false with the reason in `error`, `places` unchanged.
QZ_API bool QZFindPlaces(const QZChem::QZMolBase& reference,
                         const QZChem::QZMolBase& mol,
                         const std::string& smarts,
                         QZPlaces& places,
                         std::string& error);
/// The same for a pattern that is parsed already, in its own order of atoms.
QZ_API bool QZFindPlaces(const QZChem::QZMolBase& reference,
                         const QZChem::QZMolBase& mol,
                         const QZChem::QZSubSearch& pattern,
                         QZPlaces& places,
                         std::string& error);

}  // namespace QZConstr
