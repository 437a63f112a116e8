// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>

#include "molpotential/adaptor.h"

namespace QZMolPotential {

/// Delocalised internal coordinates: as many linear combinations of bond lengths, angles and
/// dihedrals (signed, continuous through ±π; straight angles as two bends) as the molecule has
/// internal degrees of freedom,
///   s = Uᵀ D (q - q_0) / κ,   D = diag √k,   κ = √150,
/// U being the eigenvectors of D B Bᵀ D at the reference geometry whose eigenvalues are not zero, B
/// = ∂q/∂x, and k 700, 150 and 15 kcal/mol for lengths (Å), angles and dihedrals (radians). After
/// them stand, for every molecule but the first, its translation (Å) and rotation vector (radians)
/// from the reference; with fixed atoms those of the first too, as far as fixed atoms leave it
/// free.
///   number of variables: 3N - 6 (3N - 5 when straight), 3 x moving atoms at most
/// The reference is the geometry of `Setup`, until `FuncVarToOptVar` makes another one current.
/// All variables are 0 at the reference, and U stays what it is there: coordinates come out in its
/// frame, fixed atoms bit for bit.
///
/// Fails: false before `Setup`, and with a Warning for coordinates that are not finite, bonded
/// atoms in one place, or a molecule that was straight at `Setup` and is not now, or the reverse.
/// Copies: deep. Cost: O(n³) for a new reference, O(n²) to O(n³) a conversion, n = 3 x moving
/// atoms; holds some 4 n² doubles. Source: Baker, Kessi & Delley, J. Chem. Phys. 105, 192 (1996).
class QZ_API QZInternalAdaptor final : public QZFixMolAdaptor1 {
 public:
  QZInternalAdaptor();
  QZInternalAdaptor(const QZInternalAdaptor& other);
  QZInternalAdaptor(QZInternalAdaptor&&) noexcept;
  QZInternalAdaptor& operator=(const QZInternalAdaptor& other);
  QZInternalAdaptor& operator=(QZInternalAdaptor&&) noexcept;
  ~QZInternalAdaptor() override;

  /// Starts afresh, at the molecule's coordinates: no atom is fixed. False for a molecule without
  /// atoms.
  bool Setup(const QZChem::QZMolBase& mol) override;
  /// 3 x the atom-index bound; 0 before `Setup`.
  unsigned int NumFuncVar() const override;
  unsigned int NumOptVar() const override;
  /// `vars` (NumOptVar(), out) of `coords` (NumFuncVar(), in): the current ones where
  /// `OptVarToFuncVar` gave these very coordinates last. Any others become the reference, and
  /// `vars` 0.
  bool FuncVarToOptVar(const double* coords, double* vars) override;
  /// `vars` (NumOptVar(), in) become current; `coords` (NumFuncVar(), out).
  bool OptVarToFuncVar(const double* vars, double* coords) override;
  /// `coords` (in) are not looked at: derivatives are those at the current variables. `cartGrad`
  /// (NumFuncVar(), in) into `grad` (NumOptVar(), **assigned**).
  bool FuncGradToOptGrad(const double* coords, double* cartGrad, double* grad) override;
  /// Not supported: false.
  bool OptGradToFuncGrad(const double* optGrad, double* funcGrad) override;
  /// The current variables (NumOptVar(), out).
  bool GetAdaptedVariables(double* vars) const override;
  /// The current variables (`vars`, NumOptVar(), out; may be null). Prints them to standard output,
  /// five to a line. Before `Setup` a Warning and nothing else.
  void GetAdaptedVariables(const QZChem::QZMolBase& mol, double* vars) const override;
  /// The atoms with negative entries (one entry an atom index) do not move; the array is read and
  /// not kept. The current coordinates become the reference. Null changes nothing, nor do atoms
  /// that leave coordinates which cannot be described: a Warning.
  void FixAtoms(int*& atoms) override;

 private:
  struct State;
  std::unique_ptr<State> state_;  // null before Setup
};

}  // namespace QZMolPotential
