// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzchem/io.h"
#include "qzchem/mol.h"
#include "qzopt/checkpoint.h"

namespace QZMolPotential {

/// Writes one molecule per optimiser iteration to a molecule stream, with title
/// "iteration, energy, gradient norm", SD data "Iteration", "Energy" and "Gnorm", and the negated
/// gradient as one arrow per atom under the tag "visibility mimic"; prints a progress table at Info
/// level. Every call answers true.
///   Callers rely on two quirks. The arrow of an atom starts where the previous call left the atom,
///   since arrows are made before the new coordinates are taken over. While no gradient norm is
///   reported, the header of the progress table is printed before every line. An arrow is blue when
///   every component of the gradient is within the gradient tolerance, otherwise red. Owns: a copy
///   of the molecule. The stream is not owned. Copies: deep, sharing the stream.
class QZ_API QZMolCoordGradFileCP : public virtual QZOpt::QZCheckpoint1 {
 public:
  QZMolCoordGradFileCP(QZChem::qzmolostream& stream, const QZChem::QZMolBase& mol);
  QZMolCoordGradFileCP(const QZMolCoordGradFileCP&) = default;
  QZMolCoordGradFileCP& operator=(const QZMolCoordGradFileCP&) = default;
  ~QZMolCoordGradFileCP() override;

  void SetOutputStream(QZChem::qzmolostream& stream) { stream_ = &stream; }
  void SetMolecule(const QZChem::QZMolBase& mol) { molecule_ = mol; }
  /// Progress lines; on by default.
  void SetVerbose(bool on) { verbose_ = on; }
  /// SD data; on by default.
  void SetSDData(bool on) { sdData_ = on; }
  /// Gradient arrows; on by default.
  void SetWriteGrad(bool on) { writeGrad_ = on; }
  /// Arrows for hydrogens too; off by default.
  void SetHydrogenGrad(bool on) { hydrogenGrad_ = on; }
  /// Largest component of a blue arrow; 1.5 by default.
  void SetGradTolerance(float tolerance) { gradTolerance_ = tolerance; }
  /// Arrow length in Å per unit of gradient; 1 by default.
  void SetGradToAngstromScale(float scale) { gradToAngstromScale_ = scale; }
  /// The flags as 0.0 or 1.0: these two answer float, and callers rely on it.
  float GetVerbose() const { return verbose_ ? 1.0F : 0.0F; }
  float GetSDData() const { return sdData_ ? 1.0F : 0.0F; }
  bool GetWriteGrad() const { return writeGrad_; }
  bool GetHydrogenGrad() const { return hydrogenGrad_; }
  float GetGradTolerance() const { return gradTolerance_; }
  float GetGradToAngstromScale() const { return gradToAngstromScale_; }
  /// True when a stream is set.
  bool IsValid() const { return stream_ != nullptr; }

  /// `coords`: numVar doubles by atom index, may be null. A numVar other than 3 x NumAtoms() warns
  /// and the molecule is written all the same; atoms beyond numVar keep their coordinates.
  bool operator()(unsigned int iteration,
                  unsigned int numVar,
                  double energy,
                  const double* coords,
                  unsigned int state) override;
  /// The same with the gradient norm and the gradient (numVar doubles, may be null).
  bool operator()(unsigned int iteration,
                  unsigned int numVar,
                  double energy,
                  double gnorm,
                  const double* coords,
                  const double* grad,
                  unsigned int state) override;

 private:
  void annotateGradient(const double* grad, unsigned int numVar);
  void printProgress(unsigned int iteration, double energy, unsigned int state);

  // "No gradient norm reported": the largest single-precision value.
  static constexpr double kNoNorm = 3.4028234663852886e+38;

  QZChem::qzmolostream* stream_;
  QZChem::QZGraphMol molecule_;
  bool headerPending_ = true;
  bool writeGrad_ = true;
  bool hydrogenGrad_ = false;
  float gradTolerance_ = 1.5F;
  bool verbose_ = true;
  bool sdData_ = true;
  float gradToAngstromScale_ = 1.0F;
  double lastGnorm_ = kNoNorm;
};

}  // namespace QZMolPotential
