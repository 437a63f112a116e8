// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <vector>

#include "molpotential/molfunc.h"

namespace QZMolPotential {

struct QZNormalModesOptions {
  /// Masses by atom index (u) in place of the standard atomic weights; empty, or 0 for an atom: its
  /// own isotope's or its element's.
  std::vector<double> masses;
  /// K.
  double temperature = 298.15;
  /// Frequencies below this (cm⁻¹) count as if they were this in the entropy and free energy, where
  /// the harmonic oscillator overstates soft modes (Ribeiro et al., J. Phys. Chem. B 115, 14556
  /// (2011), take 100); 0: as they are.
  double lowestFrequency = 0.0;
  /// Whether atoms that an adaptor does not move are held in space, as in a frozen host. Off, over
  /// variables without overall motion (a Z-matrix, torsions) and a function that does not depend on
  /// the frame (`QZIsFrameInvariant`), the whole molecule gives way as a free one does. In
  /// Cartesian coordinates atoms left out are always held.
  bool atomsHeld = false;
};

struct QZNormalModes {
  /// False: nothing was computed, and `message` has the reason.
  bool valid = false;
  std::string message;
  /// cm⁻¹, ascending and without overall motions; imaginary ones are negative, and so come first.
  std::vector<double> frequencies;
  unsigned int numImaginary = 0;
  /// Of one mode each, in the order of the frequencies: the displacements of all atoms (3 x
  /// AtomIndexBound() doubles, length 1).
  std::vector<std::vector<double>> modes;
  /// Root mean square of the function's gradient over its variables: frequencies mean what they say
  /// where it is small.
  double gradientNorm = 0.0;
  /// Half of the sum of hν of the real modes, kcal/mol.
  double zeroPointEnergy = 0.0;
  /// Vibrational entropy of the real modes as harmonic oscillators, kcal/mol/K.
  double entropy = 0.0;
  /// Vibrational free energy F = E - TS of the real modes, the zero-point energy included,
  /// kcal/mol.
  double freeEnergy = 0.0;
};

/// Harmonic vibrations of a molecule about the geometry `x` (3 x AtomIndexBound() doubles, Å):
///   H q = ω² G q,   G = Jᵀ M J,   J = ∂x/∂v,   M the masses
/// over the variables v of `f` (kcal/mol), which must be set up on `mol`. Over Cartesian
/// coordinates J is 1. Over an adaptor (`QZMolAdaptor2`: a subset of atoms, rigid bodies, torsions,
/// any `QZCoordinateFunc`) the modes are those of the atoms, or motions, that it leaves free; with
/// variables beyond Cartesian ones this is exact where the gradient vanishes. `GetVar(x)` of the
/// adaptor is called, which makes `x` its start. Overall translations and rotations are left out
/// where the variables contain them and the energy does not resist: 3N - 6 modes, 3N - 5 for a
/// linear molecule, all where atoms are fixed or held. Constants: CODATA 2018 (Tiesinga et al.,
/// Rev. Mod. Phys. 93, 025010 (2021)). Fails: `valid` false for a function without a Hessian, an
/// atom without a mass, values that are not finite. Cost: one Hessian, some 10 n³ operations for n
/// variables; over an adaptor 4n conversions.
QZ_API QZNormalModes QZComputeNormalModes(QZMolFunc2& f,
                                          const QZChem::QZMolBase& mol,
                                          const double* x,
                                          const QZNormalModesOptions& options = {});

/// One period of a mode about the geometry `x`: `frames` geometries (each 3 x AtomIndexBound()
/// doubles, Å)
///   x + amplitude sin(2π k / frames) mode / (largest displacement of an atom in it)
/// which begin at `x`. Empty for a mode in which nothing moves.
QZ_API std::vector<std::vector<double>> QZAnimateMode(const std::vector<double>& mode,
                                                      const double* x,
                                                      unsigned int frames = 20,
                                                      double amplitude = 0.5);

}  // namespace QZMolPotential
