// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "molpotential/adaptor.h"

namespace QZChem {
class QZBondBase;
}

namespace QZMolPotential {

/// Rotatable torsions (radians) as variables; bond lengths and angles never change. A torsion
/// a-b-c-d stands on the bond b-c that is single, not in a ring, and at both ends has another
/// neighbour besides hydrogen, so that methyls and hydroxyls do not turn. The atoms of its smaller
/// side move, c being on that side; the first of them, c itself, stands on the axis and is left out
/// of the moving set.
/// `OptVarToFuncVar` always starts from the geometry of `Setup`, not from its last result: each
/// torsion turns its moving set about b-c by the difference from its value then, the axis taken
/// where the other turns have left it. Moving sets are nested or disjoint, hence the order of the
/// turns does not matter and one torsion never changes the value of another.
/// Keeps nothing of the molecule. Molecules must have no holes in their atom indices: only the
/// first N indices are read and written, others keep their places of `Setup`. Copies: deep, but for
/// the caller's array of fixed atoms.
/// Cost: O(N) a conversion or gradient; `Setup` and `FixAtoms` O(N log N).
class QZ_API QZTorsionAdaptor final : public QZFixMolAdaptor1 {
 public:
  /// False for a molecule without atoms; true, with no variables, for one without torsions.
  bool Setup(const QZChem::QZMolBase& mol) override;
  unsigned int NumFuncVar() const override { return 3 * numAtoms_; }
  unsigned int NumOptVar() const override { return numOptVar_; }
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
  struct Torsion {
    unsigned int a, b, c, d;
    double length;     // of b-c at Setup, Å
    int activity = 1;  // 0: no variable

    void TurnRound() {
      std::swap(a, d);
      std::swap(b, c);
    }
  };

  static bool isRotor(const QZChem::QZBondBase& bond);
  Torsion makeTorsion(const QZChem::QZBondBase& bond) const;
  void walk(const QZChem::QZMolBase& mol);
  std::size_t childOf(const Torsion& torsion) const;
  std::vector<std::size_t> sumBelow(std::vector<std::size_t> weights) const;
  std::size_t sumOfSide(const std::vector<std::size_t>& below, const Torsion& torsion) const;
  void nestMovingSets();
  const double* at(const double* coords, unsigned int atom) const;

  unsigned int numAtoms_ = 0;
  unsigned int numOptVar_ = 0;
  std::vector<Torsion> torsions_;
  std::vector<Torsion> setupTorsions_;
  std::vector<double> coords_;
  std::vector<double> refCoords_;
  std::vector<double> values_;
  std::vector<double> refValues_;
  // A spanning forest of the molecule: a rotatable bond is in every one, between an atom and its
  // parent. Roots are their own parents.
  std::vector<std::size_t> walk_;  // atoms, parents first
  std::vector<std::size_t> parent_;
  std::vector<std::size_t> root_;
  std::vector<std::size_t> sizes_;  // of an atom with all that hang on it
  // The forest of the active torsions' moving sets; torsions_.size() stands for none.
  std::vector<std::size_t> innermost_;    // per atom: the torsion of the smallest set it is in
  std::vector<std::size_t> outwards_;     // active torsions, smaller sets first
  std::vector<std::size_t> surrounding_;  // per torsion: the next larger set around its own
  std::vector<double> work_;              // 12 a torsion
  int* fixedAtoms_ = nullptr;
};

}  // namespace QZMolPotential
