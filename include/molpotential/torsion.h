// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

#include "molpotential/adaptor.h"

namespace QZChem {
class QZBondBase;
}

namespace QZMolPotential {

/// Rotatable torsions (radians) as variables; bond lengths and angles never change. A torsion
/// a-b-c-d stands on the bond b-c that is single, not in a ring, and at both ends has another
/// neighbour besides hydrogen, so that methyls and hydroxyls do not turn. The atoms of its smaller
/// side move, c being on that side.
/// `OptVarToFuncVar` always starts from the geometry of `Setup`, and turns the torsions one after
/// the other about the axes that the earlier ones have left. Refers to the molecule's bonds: the
/// molecule must outlive the binding. Molecules must have no holes in their atom indices; buffers
/// are sized by the index bound. Copies: deep, but for the caller's array of fixed atoms. Cost:
/// O(moving atoms of all torsions) a conversion or gradient.
class QZ_API QZTorsionAdaptor final : public QZFixMolAdaptor1 {
 public:
  /// False for a molecule without atoms; true, with no variables, for one without torsions.
  bool Setup(const QZChem::QZMolBase& mol) override;
  unsigned int NumFuncVar() const override { return 3 * numAtoms_; }
  unsigned int NumOptVar() const override { return numOptVar_; }
  /// The dihedrals of the active torsions (`torsions`, NumOptVar() doubles, out) at `coords` (3N).
  bool FuncVarToOptVar(const double* coords, double* torsions) override;
  bool OptVarToFuncVar(const double* torsions, double* coords) override;
  /// `cartGrad` (3N, in) at `coords` (3N, in; null: the current coordinates) into `grad`
  /// (NumOptVar(),
  /// **assigned**). Exact on geometries whose rotatable bonds have the lengths of `Setup`.
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
  struct Torsion {
    unsigned int a, b, c, d;
    double length;  // of b-c at Setup, Å
    const QZChem::QZBondBase* bond;
    /// The first element is the count of the subtree's atoms in place of its first atom, which is
    /// on the axis; the others are the indices of the atoms that move.
    std::vector<unsigned int> moving;
    int activity = 1;  // 0: no variable
  };

  static bool isRotor(const QZChem::QZBondBase& bond);
  Torsion makeTorsion(const QZChem::QZBondBase& bond) const;
  bool holdsFixed(const QZChem::QZAtomBase* root, const QZChem::QZAtomBase* exclude) const;
  void turnRound(Torsion& torsion) const;

  unsigned int numAtoms_ = 0;
  unsigned int numOptVar_ = 0;
  std::vector<Torsion> torsions_;
  std::vector<Torsion> setupTorsions_;
  std::vector<double> coords_;
  std::vector<double> refCoords_;
  std::vector<double> values_;
  std::vector<double> refValues_;
  int* fixedAtoms_ = nullptr;
};

}  // namespace QZMolPotential
