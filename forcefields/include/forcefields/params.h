// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "forcefields/term.h"
#include "molpotential/ffparams.h"

namespace QZMolPotential {

/// The parameters of MMFF94 or MMFF94s as a parameter set, for functions that callers write and for
/// `ResetBondsAnglesAtFFEquilibriumParams`. Lookups write these parameters (Å, radians, kcal/mol,
/// elementary charges; formulas: see `QZForceFieldTerm`):
///   bond           0 r0    1 k
///   angle          0 θ0    1 k      2 one at a linear centre, else zero
///   torsion        0 V1    1 V2     2 V3
///   out-of-plane   0 χ0 = 0   1 k   the second of the four atoms is the centre
///   stretch-bend   0 r01   1 r02    2 θ0    3 k1    4 k2   in the order of the atoms given
///   van der Waals  0 R*    1 depth
///   electrostatic  0 q1    1 q2     2 scale: 0.75 three bonds apart, else 1
/// Fails: a lookup is false, with the record unchanged, for terms that the force field does not
/// have (atoms that form no such term, pairs up to two bonds apart) and for molecules that it
/// cannot describe. Copies are independent: the parameters are kept with the molecule of the atoms.
/// Cost: the first lookup types the molecule; later ones search its terms. Source: see
/// `QZForceFieldTerm`.
class QZ_API QZMMFFParams final : public QZFFParams {
 public:
  /// MMFF94 or MMFF94s; UFF has no parameters here.
  explicit QZMMFFParams(QZForceFieldKind kind = QZForceFieldKind::MMFF94) : kind_(kind) {}

  QZMMFFParams* CreateCopy() const override { return new QZMMFFParams(*this); }
  /// Types the molecule, so that later lookups and force fields need not; the flags have no meaning
  /// here. Fails: false with a Warning when the force field cannot describe the molecule.
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
  /// The number of the MMFF atom type, 1 to 99; 0 when the atom has none.
  unsigned int GetAtomType(const QZChem::QZAtomBase* atom) const override;
  /// The number of the type as text; "" when the atom has none.
  const char* GetAtomTypeName(const QZChem::QZAtomBase* atom) const override;
  double GetPartialCharge(const QZChem::QZAtomBase* atom) const override;
  bool HasParams(const QZChem::QZMolBase& mol) const override;
  /// "MMFF94" or "MMFF94s".
  const char* GetName() const override;
  /// The version of RDKit, which supplies types and parameters.
  const char* GetVersion() const override;

 private:
  QZForceFieldKind kind_;
};

}  // namespace QZMolPotential
