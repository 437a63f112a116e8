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
/// b is the nearest earlier atom at `Setup`; a and d are the first and second reference atoms of b.
/// The variables are ordered r1; r2, θ2; then r, θ, φ of each atom k >= 3.
///   number of variables: 3N - 6 for N > 2 atoms, otherwise 1
/// A molecule of one atom reports one variable too, which is always 0: callers rely on it.
/// Frame: coordinates are returned with atom 0 at the origin, atom 1 on the x axis and atom 2 in
/// the xy-plane. (`QZCoordinateFunc` keeps the frame of its start instead.)
///
/// When the angle b-a-d is below 15° or above 165° at a conversion from Cartesian coordinates, d is
/// replaced by an atom off the line of a and b; the values of the dihedral before and after the
/// change belong to different reference atoms. When a conversion finds a bond angle within 0.001 of
/// π, the dihedral of the atom is set to 0 and is undefined: it remains a variable, with gradient
/// 0, until the angle bends again, and the position of the atom is then reproduced to within 0.001
/// r only. Angles may pass through 0 and π. Molecules must have no holes in their atom indices: the
/// first N indices are used, and buffers are sized by the index bound, so that holes never overflow
/// them. Copies: deep. Cost: O(N) a conversion or gradient; `Setup` is O(N) for molecules of usual
/// density. Source: Parsons, Holmes, Rojas, Tsai & Strauss, J. Comput. Chem. 26, 1063 (2005), for
/// the placement.
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
  /// The kind of each variable, in order.
  std::vector<QZInternalKind> GetKinds() const;
  /// `coords` (3N, in) become the current coordinates; `vars` (NumOptVar(), out) receives their
  /// variables.
  bool FuncVarToOptVar(const double* coords, double* vars) override;
  /// `vars` (NumOptVar(), in) become the current variables; `coords` (3N, out) receives their
  /// coordinates in the frame described above.
  bool OptVarToFuncVar(const double* vars, double* coords) override;
  /// Converts `cartGrad` (3N, in) at `coords` (3N, in; null for the current coordinates) into
  /// `grad` (NumOptVar(), **assigned**). The current variables must be those of `coords`. `coords`
  /// and `cartGrad` may be in any frame, as long as it is the same for both. The gradient of an
  /// undefined dihedral is 0.
  bool FuncGradToOptGrad(const double* coords, double* cartGrad, double* grad) override;
  /// Not supported: false.
  bool OptGradToFuncGrad(const double* optGrad, double* funcGrad) override;
  /// The current **Cartesian** coordinates (3N). Fails: false before `Setup` and for null.
  bool GetAdaptedVariables(double* coords) const override;
  /// Prints the current Z-matrix to standard output, with the atom symbols of `mol`, and writes the
  /// current **variables** (`vars`, NumOptVar() doubles, out; may be null), unlike the overload
  /// above. Before `Setup` a Warning and nothing else.
  void GetAdaptedVariables(const QZChem::QZMolBase& mol, double* vars) const override;
  /// Reads the array (one entry for each atom index; negative marks a fixed atom), does not keep
  /// it, and removes every variable whose atoms are all fixed. Null changes nothing.
  void FixAtoms(int*& atoms) override;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace QZMolPotential
