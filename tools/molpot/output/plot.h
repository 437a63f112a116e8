// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <vector>

namespace Molpot {

/// A scan's relative energies as an SVG picture: a line over one coordinate, a map over two.
struct ScanPlot {
  struct Sample {
    std::vector<double> targets;  // one or two
    double energy;                // kcal/mol above the lowest
    bool converged;
  };
  std::string title;
  std::vector<std::string> labels;  // of the coordinates, with units
  std::vector<bool> isTorsion;      // drawn from -180 to 180
  std::vector<Sample> samples;
};

/// Draws with gnuplot. Throws UsageError when that fails.
void Draw(const ScanPlot& plot, const std::string& path);

}  // namespace Molpot
