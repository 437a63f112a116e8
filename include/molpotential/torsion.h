// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>

#include "molpotential/adaptor.h"

namespace QZMolPotential {

/// Rotatable torsions (radians) as variables; bond lengths and angles never change.
///   x = (turns of the moving sets) x_ref,   set k turned by φ_k - φ_k,ref about b_k-c_k
///   dE/dφ_k = e·Σ (x_i - x_c) x g_i over the moving set,  e = (x_c - x_b)/|x_c - x_b|
/// A torsion a-b-c-d stands on the bond b-c that is single, not in a ring, and at both ends has
/// another neighbour besides hydrogen, so that methyls and hydroxyls do not turn. The atoms of its
/// smaller side move, c being on that side; the first of them, c itself, stands on the axis and is
/// left out of the moving set.
/// `OptVarToFuncVar` always starts from the geometry of `Setup`, not from its last result: the axes
/// are taken where the other turns have left them. Moving sets are nested or disjoint, hence the
/// order of the turns does not matter and one torsion never changes the value of another.
/// Frame: that of `Setup`; the larger side of each torsion rests.
/// Keeps nothing of the molecule. Molecules must have no holes in their atom indices: only the
/// first N indices are read and written, others keep their places of `Setup`. Copies: deep, but for
/// the caller's array of fixed atoms.
/// Cost: O(N) a conversion or gradient; `Setup` and `FixAtoms` O(N log N). Conversions allocate
/// nothing. Source: Abe, Braun, Noguti & Go, Comput. Chem. 8, 239 (1984), for the derivatives.
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
  /// The dihedrals of the active torsions (`torsions`, NumOptVar() doubles, out) at `coords` (3N).
  bool FuncVarToOptVar(const double* coords, double* torsions) override;
  /// `torsions` (NumOptVar(), in) into `coords` (3N, out), which become the current coordinates.
  bool OptVarToFuncVar(const double* torsions, double* coords) override;
  /// `cartGrad` (3N, in) at `coords` (3N, in; null: the current coordinates) into `grad`
  /// (NumOptVar(), **assigned**). Divides by the bond lengths of `Setup`, whatever they are in
  /// `coords`: exact on geometries that `OptVarToFuncVar` makes.
  bool FuncGradToOptGrad(const double* cartGrad, double* grad, double* coords) override;
  /// Not implemented: false with a Fatal message.
  bool OptGradToFuncGrad(const double* optGrad, double* funcGrad) override;
  /// The current values of the active torsions. Fails: false for null and without variables.
  bool GetAdaptedVariables(double* torsions) const override;
  /// The same, and prints all torsions to standard output; `torsions` may be null.
  void GetAdaptedVariables(const QZChem::QZMolBase& mol, double* torsions) const override;
  /// True for an activity above 1, which no operation sets: **false for every torsion**, the
  /// optimiser's variables included. Callers rely on it; `NumOptVar` counts the variables. A
  /// Warning when there is no such torsion.
  bool IsTorsionActive(unsigned int i) const;
  /// Keeps the array (not owned, not copied). A torsion with fixed atoms on both sides is no
  /// variable any more; one with fixed atoms on the side that moves is turned round, so that they
  /// stay put. Starts from the state after `Setup` each time. Null changes nothing.
  void FixAtoms(int*& atoms) override;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace QZMolPotential
