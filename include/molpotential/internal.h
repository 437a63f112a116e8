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
/// these combinations stand, for every connected component but the first, its translation (Å) and
/// rotation vector (radians) from the reference; when atoms are fixed, also those of the first
/// component, as far as the fixed atoms leave it free.
///   number of variables: 3N - 6 (3N - 5 when straight), 3 x moving atoms at most
/// The reference is the geometry of `Setup`, until `FuncVarToOptVar` or `FixAtoms` makes another
/// geometry the reference. All variables are 0 at the reference, and U does not change until the
/// reference does. Coordinates are returned in the frame of the reference; fixed atoms keep their
/// coordinates bit for bit.
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
  /// `vars` (NumOptVar(), out) of `coords` (NumFuncVar(), in). When `coords` are exactly the
  /// coordinates that `OptVarToFuncVar` returned last, `vars` are the current variables; any other
  /// coordinates become the reference, and `vars` are 0.
  bool FuncVarToOptVar(const double* coords, double* vars) override;
  /// `vars` (NumOptVar(), in) become the current variables; `coords` (NumFuncVar(), out) are their
  /// geometry.
  bool OptVarToFuncVar(const double* vars, double* coords) override;
  /// Converts `cartGrad` (NumFuncVar(), in) into `grad` (NumOptVar(), **assigned**). `coords` are
  /// ignored: the derivatives are those at the current variables.
  bool FuncGradToOptGrad(const double* coords, double* cartGrad, double* grad) override;
  /// Not supported: false.
  bool OptGradToFuncGrad(const double* optGrad, double* funcGrad) override;
  /// The current variables (NumOptVar(), out).
  bool GetAdaptedVariables(double* vars) const override;
  /// The same, and prints them to standard output, five to a line; `vars` may be null. Before
  /// `Setup` it only gives a Warning.
  void GetAdaptedVariables(const QZChem::QZMolBase& mol, double* vars) const override;
  /// Fixes the atoms whose entries in `atoms` (one for each atom index, in, not kept) are negative.
  /// The current coordinates become the reference. Fails with a Warning, and changes nothing, when
  /// the coordinates cannot be described with these atoms fixed. Null changes nothing.
  void FixAtoms(int*& atoms) override;

 private:
  struct State;
  std::unique_ptr<State> state_;  // null before Setup
};

}  // namespace QZMolPotential
