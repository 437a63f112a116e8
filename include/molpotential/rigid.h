// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <vector>

#include "molpotential/adaptor.h"

namespace QZMolPotential {

/// A whole molecule as a rigid body: a quaternion q and a centre c (Å), seven variables
/// (q0, q1, q2, q3, cx, cy, cz).
///   x_i = R(q) (r_i + c - c_ref),  R of q as it is: |q|² scales the coordinates
/// The rotation is about the origin of the frame, after the shift; r_i are the coordinates of
/// `Setup` and c_ref their unweighted mean. R is the transpose of the matrix of `QZQuatAdaptor`.
/// Callers rely on these conventions. Its gradient is the derivative at the reference placement
/// only, and only for q = (1, 0, 0, 0), c = c_ref: **use `QZQuatAdaptor`, which is exact
/// everywhere**, where they are not asked for. Copies: deep. Molecules must have no holes in their
/// atom indices; buffers are sized by the index bound. Cost: O(N).
class QZ_API QZRigidAdaptor final : public QZFixMolAdaptor1 {
 public:
  /// False for a molecule without atoms.
  bool Setup(const QZChem::QZMolBase& mol) override;
  unsigned int NumFuncVar() const override { return 3 * numAtoms_; }
  /// Always 7.
  unsigned int NumOptVar() const override { return 7; }
  /// An estimate of `vars` (7 doubles, out) from atom 0 of `coords` (3N, in) alone, kept as callers
  /// know it: the angle of the rotation stands where its cosine belongs, and the centre is
  /// subtracted twice. It does **not** undo `OptVarToFuncVar`. q1, q2, q3 are not numbers for
  /// angles above 1 radian, and all of q where there is no rotation, the reference placement
  /// included: start from `GetAdaptedVariables` instead.
  bool FuncVarToOptVar(const double* coords, double* vars) override;
  /// `vars` (7 doubles, in) become the current variables; `coords` (3N, out) by the formula above.
  bool OptVarToFuncVar(const double* vars, double* coords) override;
  /// `cartGrad` (3N, in) into `grad` (7 doubles, **assigned**); the third argument is not used. The
  /// rotation part takes the unshifted reference coordinates and is exact while c = c_ref; the
  /// translation part is not rotated and is exact for q = (±1, 0, 0, 0).
  bool FuncGradToOptGrad(const double* cartGrad, double* grad, double* unused) override;
  /// Not implemented: false with a Fatal message.
  bool OptGradToFuncGrad(const double* optGrad, double* funcGrad) override;
  /// The current variables (7 doubles); false for null.
  bool GetAdaptedVariables(double* vars) const override;
  /// The same, and prints them to standard output; `vars` may be null.
  void GetAdaptedVariables(const QZChem::QZMolBase& mol, double* vars) const override;
  /// Does nothing: a rigid body has no fixed atoms.
  void FixAtoms(int*& atoms) override;

 private:
  unsigned int numAtoms_ = 0;
  std::vector<double> refCoords_;
  std::array<double, 7> refVariables_{1.0};
  std::array<double, 7> variables_{1.0};
};

}  // namespace QZMolPotential
