// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/interactparams.h"

namespace QZMolPotential {

/// The parameter set of a force field. Each lookup answers whether the set has parameters for the
/// term. If so it writes the parameters and lists that it uses to `record` (out) and leaves the
/// others as they were; if not it leaves `record` alone. Units: Å, radians, kcal/mol. Parameter 0
/// of a bond is its equilibrium length, parameter 0 of an angle its equilibrium value; each set
/// says what its other parameters mean. Atoms and bonds are not owned, may not be null, and belong
/// to one molecule; a term may be given from either end. The order of the operations is part of the
/// interface.
class QZ_API QZFFParams {
 public:
  virtual ~QZFFParams();
  /// A copy owned by the caller.
  virtual QZFFParams* CreateCopy() const = 0;
  /// Prepares a molecule before use; each set says what the two flags mean. False when the molecule
  /// cannot be prepared.
  virtual bool PrepMol(QZChem::QZMolBase& mol, bool, bool) const = 0;
  virtual bool GetBondParams(QZInteractParams& record, const QZChem::QZBondBase* bond) const = 0;
  virtual bool GetAngleParams(QZInteractParams& record,
                              const QZChem::QZAtomBase* end1,
                              const QZChem::QZAtomBase* centre,
                              const QZChem::QZAtomBase* end2) const = 0;
  /// The dihedral of the chain a-b-c-d.
  virtual bool GetTorsionParams(QZInteractParams& record,
                                const QZChem::QZAtomBase* a,
                                const QZChem::QZAtomBase* b,
                                const QZChem::QZAtomBase* c,
                                const QZChem::QZAtomBase* d) const = 0;
  /// The term of the four atoms for d above the plane of a, b and c; each set says which of the
  /// atoms is the central one.
  virtual bool GetOutOfPlaneParams(QZInteractParams& record,
                                   const QZChem::QZAtomBase* a,
                                   const QZChem::QZAtomBase* b,
                                   const QZChem::QZAtomBase* c,
                                   const QZChem::QZAtomBase* d) const = 0;
  /// The coupling of the angle a-b-c, whose apex is b, with its two bonds.
  virtual bool GetStretchBendParams(QZInteractParams& record,
                                    const QZChem::QZAtomBase* a,
                                    const QZChem::QZAtomBase* b,
                                    const QZChem::QZAtomBase* c) const = 0;
  virtual bool GetVdwParams(QZInteractParams& record,
                            const QZChem::QZAtomBase* a,
                            const QZChem::QZAtomBase* b) const = 0;
  virtual bool GetElectrostaticParams(QZInteractParams& record,
                                      const QZChem::QZAtomBase* a,
                                      const QZChem::QZAtomBase* b) const = 0;
  /// The number and the name that the set gives to the type of the atom; 0 and "" when it has none.
  /// The name stays valid as long as the set.
  virtual unsigned int GetAtomType(const QZChem::QZAtomBase* atom) const = 0;
  virtual const char* GetAtomTypeName(const QZChem::QZAtomBase* atom) const = 0;
  /// The partial charge of the atom in elementary charges; 0 when the set has none.
  virtual double GetPartialCharge(const QZChem::QZAtomBase* atom) const = 0;
  /// True when the set covers the whole molecule.
  virtual bool HasParams(const QZChem::QZMolBase& mol) const = 0;
  virtual const char* GetName() const = 0;
  virtual const char* GetVersion() const = 0;

 protected:
  QZFFParams() = default;
  QZFFParams(const QZFFParams&) = default;
  QZFFParams& operator=(const QZFFParams&) = default;
};

/// A parameter set without parameters, to derive from: every lookup answers false, 0 or "".
class QZ_API QZEmptyFFParams : public QZFFParams {
 public:
  QZEmptyFFParams* CreateCopy() const override;
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
  unsigned int GetAtomType(const QZChem::QZAtomBase* atom) const override;
  const char* GetAtomTypeName(const QZChem::QZAtomBase* atom) const override;
  double GetPartialCharge(const QZChem::QZAtomBase* atom) const override;
  bool HasParams(const QZChem::QZMolBase& mol) const override;
  const char* GetName() const override;
  const char* GetVersion() const override;
};

}  // namespace QZMolPotential
