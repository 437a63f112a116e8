// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "forcefields/term.h"
#include "molpotential/ffparams.h"

namespace QZMolPotential {

/// The parameters of MMFF94 or MMFF94s as a parameter set, for functions of a caller's own and for
/// `ResetBondsAnglesAtFFEquilibriumParams`. Lookups fill these parameters (Å, radians, kcal/mol,
/// elementary charges; the formulas are those of `QZForceFieldTerm`):
///   bond           0 r0    1 k
///   angle          0 θ0    1 k      2 one at a linear centre, else zero
///   torsion        0 V1    1 V2     2 V3
///   out-of-plane   0 χ0 = 0   1 k   the second of the four atoms is the centre
///   stretch-bend   0 r01   1 r02    2 θ0    3 k1    4 k2   in the order of the atoms given
///   van der Waals  0 R*    1 depth
///   electrostatic  0 q1    1 q2     2 scale: 0.75 three bonds apart, else 1
/// and answer false, the record untouched, for terms that the force field does not have (atoms in
/// no such relation, pairs within two bonds) and for molecules that it cannot describe.
/// Copies: it holds nothing; parameters are kept with the molecule that an atom belongs to.
class QZ_API QZMMFFParams final : public QZFFParams {
 public:
  /// MMFF94 or MMFF94s; UFF has no parameters here.
  explicit QZMMFFParams(QZForceFieldKind kind = QZForceFieldKind::MMFF94) : kind_(kind) {}

  QZMMFFParams* CreateCopy() const override { return new QZMMFFParams(*this); }
  /// Types the molecule, so that later lookups and force fields find it done; the flags mean
  /// nothing here. False and a warning: it cannot be described.
  bool PrepMol(QZChem::QZMolBase& mol, bool, bool) const override;
  bool GetBondParams(QZInteractParams& record, const QZChem::QZBondBase* bond) const override;
  bool GetAngleParams(QZInteractParams& record,
                      const QZChem::QZAtomBase* end1,
                      const QZChem::QZAtomBase* centre,
                      const QZChem::QZAtomBase* end2) const override;
  bool GetTorsionParams(QZInteractParams& record,
                        const QZChem::QZAtomBase* a,
                        const QZChem::QZAtomBase* b,
                        const QZChem::QZAtomBase* c,
                        const QZChem::QZAtomBase* d) const override;
  bool GetOutOfPlaneParams(QZInteractParams& record,
                           const QZChem::QZAtomBase* a,
                           const QZChem::QZAtomBase* b,
                           const QZChem::QZAtomBase* c,
                           const QZChem::QZAtomBase* d) const override;
  bool GetStretchBendParams(QZInteractParams& record,
                            const QZChem::QZAtomBase* a,
                            const QZChem::QZAtomBase* b,
                            const QZChem::QZAtomBase* c) const override;
  bool GetVdwParams(QZInteractParams& record,
                    const QZChem::QZAtomBase* a,
                    const QZChem::QZAtomBase* b) const override;
  bool GetElectrostaticParams(QZInteractParams& record,
                              const QZChem::QZAtomBase* a,
                              const QZChem::QZAtomBase* b) const override;
  /// The number of the MMFF type, 1 to 99; 0 without.
  unsigned int GetAtomType(const QZChem::QZAtomBase* atom) const override;
  /// That number as text, "" without.
  const char* GetAtomTypeName(const QZChem::QZAtomBase* atom) const override;
  double GetPartialCharge(const QZChem::QZAtomBase* atom) const override;
  bool HasParams(const QZChem::QZMolBase& mol) const override;
  /// "MMFF94" or "MMFF94s".
  const char* GetName() const override;
  /// That of RDKit, whose types and parameters these are.
  const char* GetVersion() const override;

 private:
  QZForceFieldKind kind_;
};

}  // namespace QZMolPotential
