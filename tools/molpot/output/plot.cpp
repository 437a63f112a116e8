// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "output/plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "input/errors.h"
#include "output/format.h"

namespace Molpot {
namespace {

// Between single quotes, in which gnuplot doubles a quote.
std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) {
    if (static_cast<unsigned char>(c) >= 0x20) quoted += c == '\'' ? "''" : std::string(1, c);
  }
  return quoted + "'";
}

std::string Axis(const char* name, const std::string& label, bool isTorsion) {
  std::string text = std::string("set ") + name + "label " + Quoted(label) + "\n";
  if (isTorsion) {
    text += std::string("set ") + name + "range [-180:180]\nset " + name + "tics -180,30,180\n";
  }
  return text;
}

// Torsions within -180 to 180, where both ends of a full turn stay apart.
double Place(double target, bool isTorsion) {
  if (!isTorsion || std::abs(target) <= 180.0) return target;
  return std::remainder(target, 360.0);
}

std::string Data(const ScanPlot& plot, bool all) {
  std::vector<std::pair<std::vector<double>, double>> rows;
  for (const ScanPlot::Sample& sample : plot.samples) {
    if (!all && sample.converged) continue;
    if (!std::isfinite(sample.energy)) continue;
    std::vector<double> at;
    for (std::size_t k = 0; k < sample.targets.size(); ++k) {
      at.push_back(Place(sample.targets[k], plot.isTorsion[k]));
    }
    rows.emplace_back(at, sample.energy);
  }
  std::ranges::sort(rows);
  std::string text;
  for (const auto& [at, energy] : rows) {
    for (const double value : at) text += Format("%.6f ", value);
    text += Format("%.6f\n", energy);
  }
  return text;
}

std::string Script(const ScanPlot& plot, const std::string& path) {
  const bool isMap = plot.labels.size() == 2;
  const std::string unconverged = Data(plot, /*all=*/false);
  std::string text = "set terminal svg size 720,480 background 'white' noenhanced\nset output " +
                     Quoted(path) + "\nset title " + Quoted(plot.title) + "\nset grid\n" +
                     Axis("x", plot.labels[0], plot.isTorsion[0]);
  if (isMap) {
    text += Axis("y", plot.labels[1], plot.isTorsion[1]) +
            "set cblabel 'relative energy / kcal/mol'\nset key outside top\n"
            "plot '-' using 1:2:3 with image notitle";
  } else {
    text +=
        "set ylabel 'relative energy / kcal/mol'\nset key top right\n"
        "plot '-' using 1:2 with linespoints pointtype 7 notitle";
  }
  if (!unconverged.empty()) {
    text +=
        ", '-' using 1:2 with points pointtype 2 pointsize 1.5 linecolor 'red' title "
        "'not converged'";
  }
  text += "\n" + Data(plot, /*all=*/true) + "e\n";
  if (!unconverged.empty()) text += unconverged + "e\n";
  return text;
}

}  // namespace

void Draw(const ScanPlot& plot, const std::string& path) {
  std::FILE* gnuplot = popen("gnuplot", "w");
  if (gnuplot == nullptr) throw UsageError("gnuplot cannot be started for " + path);
  std::fputs(Script(plot, path).c_str(), gnuplot);
  if (pclose(gnuplot) != 0) throw UsageError(path + ": gnuplot could not draw the plot");
}

}  // namespace Molpot
