// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>

#include "molpotential/adaptor.h"

namespace QZMolPotential {

/// Rotatable torsions (radians) as variables; bond lengths and angles never change.
///   x = (turns of the moving sets) x_ref,   set k turned by φ_k - φ_k,ref about b_k-c_k
///   dE/dφ_k = e·Σ (x_i - x_c) x g_i over the moving set,  e = (x_c - x_b)/|x_c - x_b|
/// There is a torsion a-b-c-d for each bond b-c that is single, not in a ring, and has a further
/// neighbour other than hydrogen at both ends, so that methyls and hydroxyls do not turn. c is the
/// atom on the smaller side of the bond. The atoms on that side move; c itself lies on the axis and
/// is not part of the moving set. `OptVarToFuncVar` always starts from the geometry of `Setup`, not
/// from its last result. Each turn is about the axis as the other turns have moved it. Moving sets
/// are nested or disjoint; therefore the order of the turns does not matter, and a torsion never
/// changes the value of another one.
/// Frame: that of `Setup`; the larger side of each torsion stays in place.
/// The molecule is not kept. It must have no holes in its atom indices: only the first N indices
/// are read and written, and atoms with larger indices stay where they were at `Setup`. Copies:
/// deep. Cost: O(N) a conversion or gradient; `Setup` and `FixAtoms` O(N log N). Conversions
/// allocate nothing. Source: Abe, Braun, Noguti & Go, Comput. Chem. 8, 239 (1984), for the
/// derivatives.
class QZ_API QZTorsionAdaptor final : public QZFixMolAdaptor1 {
 public:
  QZTorsionAdaptor();
  QZTorsionAdaptor(const QZTorsionAdaptor& other);
  QZTorsionAdaptor(QZTorsionAdaptor&& other) noexcept;
  QZTorsionAdaptor& operator=(const QZTorsionAdaptor& other);
  QZTorsionAdaptor& operator=(QZTorsionAdaptor&& other) noexcept;
  ~QZTorsionAdaptor() override;

  /// False for a molecule without atoms; true, with no variables, for one without torsions.
  bool Setup(const QZChem::QZMolBase& mol) override;
  unsigned int NumFuncVar() const override;
  unsigned int NumOptVar() const override;
  /// The dihedrals of the torsions that are variables (`torsions`, NumOptVar() doubles, out) at
  /// `coords` (3N, in).
  bool FuncVarToOptVar(const double* coords, double* torsions) override;
  /// Converts `torsions` (NumOptVar(), in) into `coords` (3N, out), which become the current
  /// coordinates.
  bool OptVarToFuncVar(const double* torsions, double* coords) override;
  /// Converts `cartGrad` (3N, in) at `coords` (3N, in; null for the current coordinates) into
  /// `grad` (NumOptVar(), **assigned**). Axes are normalised by the bond lengths of `Setup`, so
  /// that the result is exact for geometries that `OptVarToFuncVar` makes.
  bool FuncGradToOptGrad(const double* cartGrad, double* grad, double* coords) override;
  /// Not implemented: false with a Fatal message.
  bool OptGradToFuncGrad(const double* optGrad, double* funcGrad) override;
  /// The current values of the variables (NumOptVar() doubles, out). Fails: false for null, and
  /// without variables.
  bool GetAdaptedVariables(double* torsions) const override;
  /// The same, and prints all torsions to standard output; `torsions` may be null.
  void GetAdaptedVariables(const QZChem::QZMolBase& mol, double* torsions) const override;
  /// **False for every torsion**, variable or not: it asks for an activity above 1, which no
  /// operation sets. Callers rely on it; `NumOptVar` counts the variables. A Warning when there is
  /// no torsion number `i`.
  bool IsTorsionActive(unsigned int i) const;
  /// Fixes the atoms whose entries in `atoms` (one for each atom index, in) are negative. A torsion
  /// with fixed atoms on both sides is then not a variable; for a torsion with fixed atoms on the
  /// moving side the other side moves instead. Each call starts from the state after `Setup`. Null
  /// changes nothing.
  void FixAtoms(int*& atoms) override;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace QZMolPotential
