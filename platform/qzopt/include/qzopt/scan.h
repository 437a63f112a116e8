// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "qzopt/optimizers.h"

namespace QZOpt {

/// One point of a relaxed scan: the lowest minimum found with the driven coordinates at their
/// targets.
struct QZScanPoint {
  /// One for each driven coordinate.
  std::vector<double> targets;
  /// False: no minimum was found; the other members describe the best point reached, if any.
  bool converged = false;
  double energy = 0.0;
  /// dE/dtarget of the minimal energy, one for each driven coordinate.
  std::vector<double> slopes;
  /// The variables of the function; empty when no point was reached. When a `QZRestartable`
  /// function chooses other variables later in the scan, these values still belong to the variables
  /// that the function had when progress was last reported for this point.
  std::vector<double> x;
  /// Iterations and evaluations of all runs at this point.
  unsigned int iterations = 0;
  unsigned int evaluations = 0;
  /// How the run ended that found the point.
  std::string message;
};

/// A relaxed scan: minimises a function while one or two driven coordinates are held by constraints
/// at one target after another. Every point is reached twice, from its neighbour on the way forward
/// and from its neighbour on the way back (with two coordinates, forward along the second one and
/// back along the first); the result of lower energy is kept.
///   QZRelaxedScan scan;
///   scan.Drive(torsion, [&](double phi) { torsion.Set(phi); }, {-3.0, -2.5, ...});
///   for (const QZScanPoint& point : scan.Run(f, x)) ...
/// Fails: a point that does not converge has `converged` false, and the next point starts from the
/// last one that converged. Only the progress callback ends a scan early.
/// Cost: two constrained minimisations for each point; holds the variables of every point.
class QZ_API QZRelaxedScan {
 public:
  /// Targets by driven coordinate.
  using Targets = std::vector<double>;
  using SetTarget = std::function<void(double target)>;
  using Place = std::function<void(const Targets& targets, double* x)>;
  using Progress = std::function<bool(const QZScanPoint& point, std::size_t run, std::size_t runs)>;

  /// `options` apply to each minimisation, limits included.
  explicit QZRelaxedScan(QZOptOptions options = {}) : options_(options) {}

  /// Adds a driven coordinate. `constraint` (not owned) must be 0 where the coordinate has the
  /// target that was last passed to `setTarget`, and its derivative by the coordinate should be 1,
  /// so that `slopes` are per unit of the coordinate. `tolerance` is in the units of the
  /// constraint's value. Fails: false for a third coordinate.
  bool Drive(QZConstrFunc& constraint,
             SetTarget setTarget,
             std::vector<double> targets,
             double tolerance = 1e-6);
  /// Adds a constraint that holds at every point, as for `QZConstrainedMinimizer`. Not owned.
  void AddConstraint(QZConstrFunc& constraint, double tolerance = 1e-6);
  void AddBounds(QZConstrFunc& constraint, double lower, double upper, double tolerance = 1e-6);
  void SetScales(std::vector<double> scales) { scales_ = std::move(scales); }
  /// Sets a function that moves `x`, the minimum of the neighbouring point, nearer to the targets
  /// before each minimisation. Without such a function the constraints alone pull the coordinates
  /// to their targets.
  void SetPlace(Place place) { place_ = std::move(place); }
  /// Sets a callback for the end of each of the `runs` minimisations, which receives the point as
  /// it is then known; when it answers false the scan ends.
  void SetProgress(Progress progress) { progress_ = std::move(progress); }

  /// Runs the scan from `start` (NumVar() doubles, in). The points are returned in the order of the
  /// targets, the targets of the second coordinate running fastest.
  std::vector<QZScanPoint> Run(QZFunc1& f, const double* start);

 private:
  struct Driven {
    QZConstrFunc* constraint;
    SetTarget setTarget;
    std::vector<double> targets;
    double tolerance;
  };
  struct Bounded {
    QZConstrFunc* constraint;
    double lower;
    double upper;
    double tolerance;
  };
  std::vector<QZScanPoint> makePoints() const;
  std::vector<std::size_t> path(bool back) const;
  /// Minimises from `x`, which receives the point reached. True: the function has other variables
  /// now.
  bool relax(QZFunc1& f, std::vector<double>& x, QZScanPoint& point) const;

  QZOptOptions options_;
  std::vector<Driven> driven_;
  std::vector<Bounded> bounded_;
  std::vector<double> scales_;
  Place place_;
  Progress progress_;
};

}  // namespace QZOpt
