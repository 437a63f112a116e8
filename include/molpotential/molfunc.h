// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include "qzopt/function.h"
#include "qzplatform/export.h"
#include "qzsystem/iterator.h"
#include "qzsystem/predicate.h"

namespace QZChem {
class QZAtomBase;
class QZBondBase;
class QZMolBase;
}  // namespace QZChem

/// Calling protocol of every function and adaptor:
///   1. build it, hand it selections with `Set`, options with `SetVerbose`;
///   2. `Setup(mol)`; false: it must not be evaluated;
///   3. `SetupConf(coords)` with the starting coordinates; false: it must not be evaluated;
///   4. size variables, gradient and Hessian by `NumVar()`; for an adaptor start from `GetVar`;
///   5. evaluate any number of times, gradient and Hessian cleared by the caller;
///   6. for an adaptor turn the final variables into coordinates with `AdaptVar`;
///   7. `Clear()` or destruction ends the binding.
///
/// Coordinates are x, y, z of atom i at 3i, 3i+1, 3i+2 (Å), i being the atom's index, for all
/// 3 x AtomIndexBound() entries, holes included. One object serves one thread at a time.
namespace QZMolPotential {

class QZInteraction;

/// Categories of interactions: the bits of `which` in `QZMolFunc::Set`. A force-field term is
/// computed when the predicate of its category accepts it; a unary atom predicate accepts a term
/// when it accepts any atom of the term.
enum QZInteractionCategory : unsigned int {
  QZCategoryVdw = 1,                     // binary atom predicate
  QZCategoryElectrostatic = 4,           // binary atom predicate
  QZCategoryStretch = 8,                 // unary bond predicate
  QZCategoryBend = 16,                   // binary bond predicate
  QZCategoryStretchBend = 32,            // binary bond predicate
  QZCategoryTorsion = 64,                // unary atom predicate
  QZCategoryOutOfPlane = 128,            // unary atom predicate
  QZCategoryAtomPairs = 5,               // van der Waals and electrostatics
  QZCategoryBondPairs = 48,              // bend and stretch-bend
  QZCategoryAtomGroups = 192,            // torsion and out-of-plane
  QZCategorySubsetFixed = 0x4000,        // atoms that the subset adaptor holds
  QZCategoryPositional = 0x10000,        // atoms of a positional restraint
  QZCategoryRedundantFrozen = 0x400000,  // atoms that the redundant-coordinate adaptor freezes
  QZCategoryTorsionRestraint = 0x2000000,
};

/// What can be bound to a molecule and takes selections. The order of the virtual operations is
/// part of the interface, in this class and those that derive from it.
class QZ_API QZMolFunc {
 public:
  virtual ~QZMolFunc();
  /// Binds the function to `mol`, which must outlive the binding. False when the function cannot be
  /// used with `mol`.
  virtual bool Setup(const QZChem::QZMolBase& mol) = 0;
  /// Gives a reference conformation to functions that need one: `coords`, 3 x AtomIndexBound()
  /// doubles (in). Default: does nothing, true.
  virtual bool SetupConf(const double* coords);
  /// The interaction terms at `coords` (3 x AtomIndexBound() doubles, in); never null, owned by the
  /// caller. Each class defines the meaning of `selector`; composites pass it on. Default: none.
  virtual QZSystem::QZIterBase<QZInteraction>* GetInteractions(const QZChem::QZMolBase& mol,
                                                               const double* coords,
                                                               unsigned int selector) const;
  /// Releases what `Setup` built. Default: nothing.
  virtual void Clear();
  /// Sets a selection, before `Setup`. `which` is a set of bits (`QZInteractionCategory`): a class
  /// that knows one of them keeps a copy of the predicate and answers true. Default: false, as for
  /// bits that a class does not know.
  virtual bool Set(const QZSystem::QZBinaryPredicate<QZChem::QZBondBase, QZChem::QZBondBase>& pred,
                   unsigned int which);
  virtual bool Set(const QZSystem::QZBinaryPredicate<QZChem::QZAtomBase, QZChem::QZAtomBase>& pred,
                   unsigned int which);
  virtual bool Set(const QZSystem::QZUnaryPredicate<QZChem::QZBondBase>& pred, unsigned int which);
  virtual bool Set(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred, unsigned int which);
  virtual void ClearPredicates();
  virtual void SetVerbose(bool on);

  QZMolFunc(const QZMolFunc&) = default;
  QZMolFunc& operator=(const QZMolFunc&) = default;

 protected:
  QZMolFunc() = default;
};

/// Binding to a molecule for classes that are not functions.
class QZ_API QZMolSetup {
 public:
  virtual bool Setup(const QZChem::QZMolBase& mol) = 0;
  virtual ~QZMolSetup();

  QZMolSetup() = default;
  QZMolSetup(const QZMolSetup&) = default;
  QZMolSetup& operator=(const QZMolSetup&) = default;
};

/// A function of the Cartesian coordinates of a molecule, with its energy only.
class QZ_API QZMolFunc0 : public virtual QZMolFunc, public virtual QZOpt::QZFunc0 {};

/// A molecular function with energy and gradient.
class QZ_API QZMolFunc1 : public virtual QZMolFunc0, public virtual QZOpt::QZFunc1 {
 public:
  using QZOpt::QZFunc1::operator();
  /// A copy, bound to the same molecule, owned by the caller; null for classes that cannot be
  /// copied.
  virtual QZMolFunc1* CreateCopy() const = 0;
};

/// A molecular function with energy, gradient and Hessian.
class QZ_API QZMolFunc2 : public virtual QZMolFunc1, public virtual QZOpt::QZFunc2 {
 public:
  using QZOpt::QZFunc2::operator();
  QZMolFunc2* CreateCopy() const override = 0;
};

}  // namespace QZMolPotential
