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

// Every point once, each beside the one before: to and fro through the rows of targets, and on the
// way back through the columns.
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

void QZRelaxedScan::relax(QZFunc1& f, const std::vector<double>& from, QZScanPoint& point) const {
  QZScanPoint found;
  found.targets = point.targets;
  try {
    std::vector<double> x = from;
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
    if (std::isfinite(result.energy)) found.x = std::move(x);
  } catch (const std::exception& error) {
    found.message = std::string("the point could not be set up: ") + error.what();
  }
  const unsigned int iterations = point.iterations + found.iterations;
  const unsigned int evaluations = point.evaluations + found.evaluations;
  if (point.message == kNotReached || IsBetter(found, point)) point = std::move(found);
  point.iterations = iterations;
  point.evaluations = evaluations;
}

std::vector<QZScanPoint> QZRelaxedScan::Run(QZFunc1& f, const double* start) {
  std::vector<QZScanPoint> points = makePoints();
  if (points.empty()) return points;
  std::vector<double> lastGood(start, start + f.NumVar());
  const std::size_t runs = 2 * points.size();
  std::size_t run = 0;
  for (const bool back : {false, true}) {
    for (const std::size_t index : path(back)) {
      QZScanPoint& point = points[index];
      relax(f, lastGood, point);
      if (point.converged) lastGood = point.x;
      ++run;
      if (progress_ && !progress_(point, run, runs)) return points;
    }
  }
  return points;
}

}  // namespace QZOpt
