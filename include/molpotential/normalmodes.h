// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>
#include <vector>

#include "molpotential/molfunc.h"

namespace QZMolPotential {

/// Options of `QZComputeNormalModes`.
struct QZNormalModesOptions {
  /// Masses by atom index, in u. Where the vector is empty or an entry is 0, the mass is that of
  /// the atom's isotope, or the standard atomic weight of its element.
  std::vector<double> masses;
  /// In K, for entropy and free energy.
  double temperature = 298.15;
  /// Frequencies below this one (cm⁻¹) are raised to it for the entropy and the free energy, since
  /// the harmonic oscillator overestimates the entropy of soft modes; Ribeiro et al., J. Phys.
  /// Chem. B 115, 14556 (2011), use 100. 0 leaves all frequencies as they are.
  double lowestFrequency = 0.0;
  /// Whether atoms that an adaptor does not move are held in space, as in a frozen host. If false,
  /// and the variables contain no overall motion (a Z-matrix, torsions) and the function does not
  /// depend on the frame (`QZIsFrameInvariant`), the molecule moves as a free one does, so that a
  /// mode has neither net momentum nor angular momentum. In Cartesian coordinates, atoms that are
  /// not variables are always held.
  bool atomsHeld = false;
};

/// The result of `QZComputeNormalModes`.
struct QZNormalModes {
  /// False when nothing was computed; `message` then has the reason.
  bool valid = false;
  std::string message;
  /// In cm⁻¹, ascending, without overall motions. Imaginary frequencies are given as negative
  /// numbers, so that they come first.
  std::vector<double> frequencies;
  unsigned int numImaginary = 0;
  /// The displacements of all atoms in each mode (3 x AtomIndexBound() doubles, normalised to
  /// length 1), in the order of the frequencies.
  std::vector<std::vector<double>> modes;
  /// Root mean square of the gradient over the variables. Frequencies are meaningful only where it
  /// is small.
  double gradientNorm = 0.0;
  /// Σ hν/2 over the real modes, kcal/mol.
  double zeroPointEnergy = 0.0;
  /// Vibrational entropy of the real modes as harmonic oscillators, kcal/mol/K.
  double entropy = 0.0;
  /// Vibrational free energy F = U - TS of the real modes, zero-point energy included, kcal/mol.
  double freeEnergy = 0.0;
};

/// Harmonic vibrations of a molecule about the geometry `x` (3 x AtomIndexBound() doubles, Å):
///   H q = ω² G q,   G = Jᵀ M J,   J = ∂x/∂v,   M the masses
/// over the variables v of `f` (kcal/mol), which must be set up on `mol`. For a function of
/// Cartesian coordinates J is the unit matrix. For an adaptor (`QZMolAdaptor2`: a subset of atoms,
/// rigid bodies, torsions, any `QZCoordinateFunc`) the modes are those of the motions that the
/// adaptor leaves free; for variables that are not Cartesian the result is exact where the gradient
/// vanishes. The adaptor's `GetVar(x)` is called, which makes `x` its start. Overall translations
/// and rotations are left out if the variables contain them and the energy does not depend on them:
/// 3N - 6 modes remain, 3N - 5 for a linear molecule. When atoms are fixed or held, no modes are
/// left out.
/// Fails: `valid` is false for a function without a Hessian, an atom without a mass, and values
/// that are not finite. Cost: one Hessian and some 10 n³ operations for n variables; for an adaptor
/// also 4n conversions. Source: Wilson, Decius and Cross, Molecular Vibrations (1955); constants
/// are those of CODATA 2018 (Tiesinga et al., Rev. Mod. Phys. 93, 025010 (2021)).
QZ_API QZNormalModes QZComputeNormalModes(QZMolFunc2& f,
                                          const QZChem::QZMolBase& mol,
                                          const double* x,
                                          const QZNormalModesOptions& options = {});

/// One period of a mode about the geometry `x` (3 x AtomIndexBound() doubles, in): `frames`
/// geometries (each 3 x AtomIndexBound() doubles, Å)
///   x + amplitude sin(2π k / frames) mode / (largest displacement of an atom in it)
/// of which the first is `x`. `amplitude` in Å. Empty for a mode in which nothing moves.
QZ_API std::vector<std::vector<double>> QZAnimateMode(const std::vector<double>& mode,
                                                      const double* x,
                                                      unsigned int frames = 20,
                                                      double amplitude = 0.5);

}  // namespace QZMolPotential
