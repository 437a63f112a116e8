// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <vector>

#include "molpotential/adaptor.h"
#include "molpotential/internalkind.h"

namespace QZMolPotential {

/// Z-matrix variables: for each atom k its distance r to an earlier atom b (Å), the angle θ = k-b-a
/// and the signed dihedral φ = k-b-a-d (radians).
///   x_k = x_b + r (-cos θ e + sin θ (cos φ m + sin φ n))
///   e = (x_b - x_a)/|x_b - x_a|,  n = (x_a - x_d) x e, normalised,  m = n x e
/// b is the nearest earlier atom at `Setup`, a and d are what b refers to. Variables stand in the
/// order r1; r2, θ2; then r, θ, φ of each atom k >= 3.
///   number of variables: 3N - 6 for N > 2 atoms, otherwise 1
/// A molecule of one atom reports one variable too, which is always 0: callers rely on it.
/// Frame: coordinates come out in one of their own, atom 0 at the origin, atom 1 on x, atom 2 in
/// the xy-plane; `QZCoordinateFunc` keeps the frame of its start.
///
/// Where b-a-d is straight (beyond 15° of it), d is chosen anew at each conversion from Cartesian
/// coordinates: the values of the dihedral before and after belong to different references. A bond
/// angle that a conversion finds within 0.001 of straight makes the atom's dihedral 0 and
/// undefined: it stays a variable with gradient 0 until the angle bends again, and the atom comes
/// back up to 0.001 r from where it was. Angles that vary may pass 0 and straight. Molecules must
/// have no holes in their atom indices: the first N indices are taken. Buffers are sized by the
/// index bound, so that a hole never overflows them. Copies: deep, but for the caller's array of
/// fixed atoms. Cost: O(N) a conversion or gradient; `Setup` O(N) for molecules of usual density.
/// Source: Parsons, Holmes, Rojas, Tsai & Strauss, J. Comput. Chem. 26, 1063 (2005), for the
/// placement.
class QZ_API QZZmatAdaptor final : public QZFixMolAdaptor1 {
 public:
  QZZmatAdaptor();
  QZZmatAdaptor(const QZZmatAdaptor& other);
  QZZmatAdaptor(QZZmatAdaptor&& other) noexcept;
  QZZmatAdaptor& operator=(const QZZmatAdaptor& other);
  QZZmatAdaptor& operator=(QZZmatAdaptor&& other) noexcept;
  ~QZZmatAdaptor() override;

  /// False for a molecule without atoms. Starts afresh: no atom is fixed.
  bool Setup(const QZChem::QZMolBase& mol) override;
  unsigned int NumFuncVar() const override;
  unsigned int NumOptVar() const override;
  /// What the variables are.
  std::vector<QZInternalKind> GetKinds() const;
  /// `coords` (3N, in) become the current coordinates; `vars` (NumOptVar(), out).
  bool FuncVarToOptVar(const double* coords, double* vars) override;
  /// `vars` (NumOptVar(), in) into the Z-matrix; `coords` (3N, out) in the frame described above.
  bool OptVarToFuncVar(const double* vars, double* coords) override;
  /// `cartGrad` (3N, in) at `coords` (3N, in; null: the current coordinates) into `grad`
  /// (NumOptVar(), **assigned**), by the derivatives of the atoms' placement at the current
  /// Z-matrix values, which must be those of `coords`. `coords` may stand in any frame, and
  /// `cartGrad` is in the same. The gradient of an undefined dihedral is 0.
  bool FuncGradToOptGrad(const double* coords, double* cartGrad, double* grad) override;
  /// Not supported: false.
  bool OptGradToFuncGrad(const double* optGrad, double* funcGrad) override;
  /// The current **Cartesian** coordinates (3N). Fails: false before `Setup` and for null.
  bool GetAdaptedVariables(double* coords) const override;
  /// Prints the current Z-matrix to standard output, with the atom symbols of `mol`, and writes the
  /// current **variables** (`vars`, NumOptVar() doubles, out; may be null), unlike the overload
  /// above. Before `Setup` a Warning and nothing else.
  void GetAdaptedVariables(const QZChem::QZMolBase& mol, double* vars) const override;
  /// Keeps the array (not owned, not copied) and leaves out every variable whose atoms are all
  /// fixed. Null changes nothing.
  void FixAtoms(int*& atoms) override;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace QZMolPotential
