// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "input/selection.h"

namespace Molpot {

/// A distance, angle or torsion that a scan drives through a series of targets, in Å or degrees.
class Drive {
 public:
  /// "atoms from to step", two to four atoms. Throws UsageError.
  static Drive Parse(const std::string& argument);
  /// A torsion, `atoms` being "i j k l" or a SMARTS. Throws UsageError.
  static Drive Torsion(const std::string& atoms, double from, double to, double step);

  const std::vector<double>& Targets() const { return targets_; }
  bool IsTorsion() const { return atoms_.Count() == 4; }
  /// "distance", "angle" or "torsion".
  const char* Name() const;
  /// "Å" or "°".
  const char* Unit() const { return atoms_.Count() == 2 ? "Å" : "°"; }
  /// "Å" or "deg" as in column headings; "rad" of slopes.
  const char* UnitWord() const { return atoms_.Count() == 2 ? "A" : "deg"; }
  /// Library units: what a target is multiplied by.
  double ToLibrary() const;
  const std::string& AtomsText() const { return atoms_.Text(); }
  /// The driven atoms, 0-based; a pattern's first match. Throws RecordError.
  std::vector<unsigned int> Resolve(const QZChem::QZMolBase& mol) const;

 private:
  explicit Drive(AtomTuple atoms) : atoms_(std::move(atoms)) {}
  void setTargets(const std::string& option, double from, double to, double step);

  AtomTuple atoms_;
  std::vector<double> targets_;
};

}  // namespace Molpot
