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
  /// One a driven coordinate.
  std::vector<double> targets;
  /// False: no minimum was found, and the rest is what was reached, or nothing.
  bool converged = false;
  double energy = 0.0;
  /// dE/dtarget of the minimal energy, one a driven coordinate.
  std::vector<double> slopes;
  /// The function's variables; empty where nothing was reached. Where a `QZRestartable` function
  /// chooses others later in the scan, these mean what they did when progress was last reported.
  std::vector<double> x;
  /// Of all the runs at this point.
  unsigned int iterations = 0;
  unsigned int evaluations = 0;
  /// How the run ended that the point is from.
  std::string message;
};

/// Minimises a function along one or two driven coordinates, each held at one target after another
/// by a constraint. Every point is reached from its neighbour, forward and then back (with two
/// coordinates along the second one, then back along the first), and the lower energy is kept.
///   QZRelaxedScan scan;
///   scan.Drive(torsion, [&](double phi) { torsion.Set(phi); }, {-3.0, -2.5, ...});
///   for (const QZScanPoint& point : scan.Run(f, x)) ...
/// Fails: a point that does not converge is told as such and the next one starts from the last
/// that did; nothing ends the scan but its progress report.
/// Cost: two constrained minimisations a point. Holds the variables of every point.
class QZ_API QZRelaxedScan {
 public:
  /// Targets by driven coordinate.
  using Targets = std::vector<double>;
  using SetTarget = std::function<void(double target)>;
  using Place = std::function<void(const Targets& targets, double* x)>;
  using Progress = std::function<bool(const QZScanPoint& point, std::size_t run, std::size_t runs)>;

  /// `options` are those of each minimisation, limits included.
  explicit QZRelaxedScan(QZOptOptions options = {}) : options_(options) {}

  /// `constraint` (not owned) is 0 where the coordinate has the target that `setTarget` gave, with
  /// dc/d(coordinate) = 1 for the slopes' unit. `tolerance` is in the units of its value. At most
  /// two coordinates can be driven: another one is refused, false.
  bool Drive(QZConstrFunc& constraint,
             SetTarget setTarget,
             std::vector<double> targets,
             double tolerance = 1e-6);
  /// Holds at every point, as `QZConstrainedMinimizer` has it.
  void AddConstraint(QZConstrFunc& constraint, double tolerance = 1e-6);
  void AddBounds(QZConstrFunc& constraint, double lower, double upper, double tolerance = 1e-6);
  void SetScales(std::vector<double> scales) { scales_ = std::move(scales); }
  /// Moves `x`, the neighbour's minimum, nearer to the targets before each minimisation; none: the
  /// constraints do that alone.
  void SetPlace(Place place) { place_ = std::move(place); }
  /// Called after each of the `runs` minimisations with the point as it stands; false ends the
  /// scan.
  void SetProgress(Progress progress) { progress_ = std::move(progress); }

  /// The points in the order of the targets, those of the second coordinate running fastest.
  /// `start`: NumVar() doubles.
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
  /// From `x`, which receives what was reached. True: the function has other variables now.
  bool relax(QZFunc1& f, std::vector<double>& x, QZScanPoint& point) const;

  QZOptOptions options_;
  std::vector<Driven> driven_;
  std::vector<Bounded> bounded_;
  std::vector<double> scales_;
  Place place_;
  Progress progress_;
};

}  // namespace QZOpt
