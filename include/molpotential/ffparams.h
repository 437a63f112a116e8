// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "molpotential/interactparams.h"

namespace QZMolPotential {

/// A force field's parameter set. The lookups fill the record that they are given (out: the ten
/// parameters and the lists that the set uses, the others as they were) and answer whether the set
/// has parameters for the term; false leaves the record alone. Parameter 0 of a bond is its
/// equilibrium length (Å), that of an angle its equilibrium value (radians); what the others mean
/// is the set's own, in Å, radians and kcal/mol. Atoms and bonds are not owned, may not be null,
/// and belong to one molecule; the ends of a term may be given in either order. The order of the
/// operations is part of the interface.
class QZ_API QZFFParams {
 public:
  virtual ~QZFFParams();
  /// A copy owned by the caller.
  virtual QZFFParams* CreateCopy() const = 0;
  /// Prepares a molecule before use; what the two flags ask for is the set's own. False when the
  /// molecule cannot be prepared.
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
  /// Of d above the plane of a, b and c; which of them is central is the set's own.
  virtual bool GetOutOfPlaneParams(QZInteractParams& record,
                                   const QZChem::QZAtomBase* a,
                                   const QZChem::QZAtomBase* b,
                                   const QZChem::QZAtomBase* c,
                                   const QZChem::QZAtomBase* d) const = 0;
  /// The coupling of the angle a-b-c, b its apex, with its two bonds.
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
  /// The set's own number and name of the atom's type; 0 and "" when it has none. The name lives as
  /// long as the set.
  virtual unsigned int GetAtomType(const QZChem::QZAtomBase* atom) const = 0;
  virtual const char* GetAtomTypeName(const QZChem::QZAtomBase* atom) const = 0;
  /// In units of the elementary charge.
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
