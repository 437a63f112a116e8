// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzopt/scan.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

namespace QZOpt {
namespace {

constexpr std::size_t kMostDriven = 2;
constexpr const char* kNotReached = "the scan ended before this point";

// A minimum that a point has keeps its place beside one that is no lower.
bool IsBetter(const QZScanPoint& found, const QZScanPoint& known) {
  if (found.x.empty() || found.converged != known.converged) return found.converged;
  return known.x.empty() || found.energy < known.energy;
}

}  // namespace

bool QZRelaxedScan::Drive(QZConstrFunc& constraint,
                          SetTarget setTarget,
                          std::vector<double> targets,
                          double tolerance) {
  if (driven_.size() == kMostDriven) return false;
  driven_.push_back({&constraint, std::move(setTarget), std::move(targets), tolerance});
  return true;
}

void QZRelaxedScan::AddConstraint(QZConstrFunc& constraint, double tolerance) {
  AddBounds(constraint, 0.0, 0.0, tolerance);
}

void QZRelaxedScan::AddBounds(QZConstrFunc& constraint,
                              double lower,
                              double upper,
                              double tolerance) {
  bounded_.push_back({&constraint, lower, upper, tolerance});
}

std::vector<QZScanPoint> QZRelaxedScan::makePoints() const {
  std::vector<QZScanPoint> points;
  if (driven_.empty()) return points;
  for (const double first : driven_[0].targets) {
    QZScanPoint point;
    point.message = kNotReached;
    point.targets = {first};
    if (driven_.size() == 1) {
      points.push_back(point);
      continue;
    }
    for (const double second : driven_[1].targets) {
      point.targets = {first, second};
      points.push_back(point);
    }
  }
  return points;
}

// The order of the points, in which each is a neighbour of the one before: forward along the rows
// of targets in alternating direction, and on the way back along the columns.
std::vector<std::size_t> QZRelaxedScan::path(bool back) const {
  const std::size_t rows = driven_[0].targets.size();
  const std::size_t columns = driven_.size() == 1 ? 1 : driven_[1].targets.size();
  const std::size_t lines = back ? columns : rows;
  const std::size_t length = back ? rows : columns;
  std::vector<std::size_t> order;
  for (std::size_t line = 0; line < lines; ++line) {
    for (std::size_t k = 0; k < length; ++k) {
      const std::size_t along = line % 2 == 0 ? k : length - 1 - k;
      order.push_back(back ? along * columns + line : line * columns + along);
    }
  }
  if (back) std::ranges::reverse(order);
  return order;
}

bool QZRelaxedScan::relax(QZFunc1& f, std::vector<double>& x, QZScanPoint& point) const {
  QZScanPoint found;
  bool hasChanged = false;
  found.targets = point.targets;
  try {
    QZConstrainedMinimizer minimizer(options_);
    minimizer.SetScales(scales_);
    for (std::size_t i = 0; i < driven_.size(); ++i) {
      driven_[i].setTarget(point.targets[i]);
      minimizer.AddConstraint(*driven_[i].constraint, driven_[i].tolerance);
    }
    for (const Bounded& bounded : bounded_) {
      minimizer.AddBounds(*bounded.constraint, bounded.lower, bounded.upper, bounded.tolerance);
    }
    if (place_) place_(point.targets, x.data());
    const QZOptResult result = minimizer.Minimize(f, x.data());
    found.converged = result.converged;
    found.energy = result.energy;
    found.message = result.message;
    found.iterations = result.iterations;
    found.evaluations = result.evaluations;
    found.slopes = minimizer.GetMultipliers();
    found.slopes.resize(driven_.size());
    if (std::isfinite(result.energy)) found.x = x;
    hasChanged = result.restarts + result.revisions > 0;
  } catch (const std::exception& error) {
    found.message = std::string("the point could not be set up: ") + error.what();
  }
  const unsigned int iterations = point.iterations + found.iterations;
  const unsigned int evaluations = point.evaluations + found.evaluations;
  if (point.message == kNotReached || IsBetter(found, point)) point = std::move(found);
  point.iterations = iterations;
  point.evaluations = evaluations;
  return hasChanged;
}

std::vector<QZScanPoint> QZRelaxedScan::Run(QZFunc1& f, const double* start) {
  std::vector<QZScanPoint> points = makePoints();
  if (points.empty()) return points;
  std::vector<double> lastGood(start, start + f.NumVar());
  std::vector<unsigned char> isCurrent(points.size(), 0);  // x is in the function's variables
  const std::size_t runs = 2 * points.size();
  std::size_t run = 0;
  for (const bool back : {false, true}) {
    for (const std::size_t index : path(back)) {
      QZScanPoint& point = points[index];
      std::vector<double> x = lastGood;
      if (relax(f, x, point)) {
        // Variables from before mean nothing any more.
        std::ranges::fill(isCurrent, 0);
        lastGood = x;
        isCurrent[index] = point.x == x;
      } else {
        isCurrent[index] = isCurrent[index] != 0 || point.x == x;
        if (point.converged && isCurrent[index] != 0) lastGood = point.x;
      }
      ++run;
      if (progress_ && !progress_(point, run, runs)) return points;
    }
  }
  return points;
}

}  // namespace QZOpt
