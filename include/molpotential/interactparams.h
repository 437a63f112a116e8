// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <vector>

#include "molpotential/molfunc.h"

namespace QZMolPotential {

/// The numbers that describe one term of a force field: ten parameters and four lists, whose
/// meaning and units the force field defines. The derived classes add the atoms or bonds of the
/// term, as pointers that are not owned: the molecule must outlive its records. Copies: deep,
/// except for these pointers.
class QZ_API QZInteractParams {
 public:
  static constexpr unsigned int kNumParams = 10;
  static constexpr unsigned int kNumLists = 4;

  QZInteractParams() = default;
  QZInteractParams(const QZInteractParams&) = default;
  QZInteractParams& operator=(const QZInteractParams&) = default;
  virtual ~QZInteractParams();

  /// Fails for i >= 10: reports an Error and throws `std::out_of_range`, since there is no
  /// reference to return. It is the only exception that the library lets out.
  double& operator[](unsigned int i);
  /// These four fail with a Warning when `i` is out of range, and return 0.0, false, an empty list
  /// and false.
  double Get(unsigned int i) const;
  bool Set(unsigned int i, double value);
  std::vector<double> GetList(unsigned int i) const;
  bool SetList(unsigned int i, const std::vector<double>& list);
  /// Sets all parameters to 0.0; the lists stay as they are.
  void Clear();

 private:
  std::array<double, kNumParams> params_{};
  std::array<std::vector<double>, kNumLists> lists_;
};

/// The record of a bond. Atom 1 is the begin of the bond, atom 2 its end.
class QZ_API QZStretchParams : public QZInteractParams {
 public:
  explicit QZStretchParams(const QZChem::QZBondBase* bond) : bond_(bond) {}

  unsigned int GetAtomIndex1() const;
  unsigned int GetAtomIndex2() const;
  bool IsBond(const QZChem::QZBondBase* b) const { return b == bond_; }
  /// True when the predicate accepts either atom.
  bool IsValid(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred) const;
  bool IsValid(const QZSystem::QZUnaryPredicate<QZChem::QZBondBase>& pred) const;

 private:
  const QZChem::QZBondBase* bond_;
};

/// The record of an angle, given by two bonds that share its apex, atom 2. Two bonds without a
/// common atom give the Warning "Invalid Angle in QZBendParams"; every test of such a record
/// answers false, and its atom indices are the largest unsigned int.
class QZ_API QZBendParams : public QZInteractParams {
 public:
  QZBendParams(const QZChem::QZBondBase* bond1, const QZChem::QZBondBase* bond2);

  unsigned int GetAtomIndex1() const;
  unsigned int GetAtomIndex2() const;
  unsigned int GetAtomIndex3() const;
  /// True for the stored apex `b` and the ends in either order.
  bool IsAngle(const QZChem::QZAtomBase* a,
               const QZChem::QZAtomBase* b,
               const QZChem::QZAtomBase* c) const;
  bool IsValid() const { return valid_; }
  /// True when the predicate accepts any of the three atoms.
  bool IsValid(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred) const;
  bool IsValid(
      const QZSystem::QZBinaryPredicate<QZChem::QZBondBase, QZChem::QZBondBase>& pred) const;

 private:
  const QZChem::QZBondBase* bond1_;
  const QZChem::QZBondBase* bond2_;
  const QZChem::QZAtomBase* atom1_ = nullptr;
  const QZChem::QZAtomBase* atom2_ = nullptr;
  const QZChem::QZAtomBase* atom3_ = nullptr;
  bool valid_ = true;
};

/// The record of a dihedral, given by its central bond and its end atoms: atom 2 is the atom of the
/// central bond that is bonded to `end1`, atom 3 the one that is bonded to `end4`. The begin of the
/// bond is tried first as atom 2. End atoms that do not fit give the Warning "Invalid Dihedral in
/// QZTorsionParams"; every `IsValid` of such a record answers false, its central atoms stay null
/// and their indices are the largest unsigned int.
class QZ_API QZTorsionParams : public QZInteractParams {
 public:
  QZTorsionParams(const QZChem::QZBondBase* bond,
                  const QZChem::QZAtomBase* end1,
                  const QZChem::QZAtomBase* end4);

  unsigned int GetAtomIndex1() const;
  unsigned int GetAtomIndex2() const;
  unsigned int GetAtomIndex3() const;
  unsigned int GetAtomIndex4() const;
  /// True for the two end atoms in either order and, independently of them, the two central atoms
  /// in either order: a-c-b-d too answers true for a stored a-b-c-d, and callers rely on it.
  bool IsTorsion(const QZChem::QZAtomBase* a,
                 const QZChem::QZAtomBase* b,
                 const QZChem::QZAtomBase* c,
                 const QZChem::QZAtomBase* d) const;
  bool IsValid() const { return valid_; }
  /// True when the predicate accepts any of the four atoms.
  bool IsValid(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred) const;
  bool IsValid(const QZSystem::QZUnaryPredicate<QZChem::QZBondBase>& pred) const;

 private:
  const QZChem::QZBondBase* bond_;
  const QZChem::QZAtomBase* atom1_;
  const QZChem::QZAtomBase* atom4_;
  const QZChem::QZAtomBase* atom2_ = nullptr;
  const QZChem::QZAtomBase* atom3_ = nullptr;
  bool valid_ = true;
};

/// The record of an out-of-plane term: four atoms in the order in which they are given.
class QZ_API QZOutOfPlaneParams : public QZInteractParams {
 public:
  QZOutOfPlaneParams(const QZChem::QZAtomBase* atom1,
                     const QZChem::QZAtomBase* atom2,
                     const QZChem::QZAtomBase* atom3,
                     const QZChem::QZAtomBase* atom4)
      : atom1_(atom1), atom2_(atom2), atom3_(atom3), atom4_(atom4) {}

  unsigned int GetAtomIndex1() const;
  unsigned int GetAtomIndex2() const;
  unsigned int GetAtomIndex3() const;
  unsigned int GetAtomIndex4() const;
  /// True when the predicate accepts any of the four atoms.
  bool IsValid(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred) const;

 private:
  const QZChem::QZAtomBase* atom1_;
  const QZChem::QZAtomBase* atom2_;
  const QZChem::QZAtomBase* atom3_;
  const QZChem::QZAtomBase* atom4_;
};

/// The record of a pair of atoms, for van der Waals and electrostatic terms.
class QZ_API QZVdwParams : public QZInteractParams {
 public:
  QZVdwParams(const QZChem::QZAtomBase* atom1, const QZChem::QZAtomBase* atom2)
      : atom1_(atom1), atom2_(atom2) {}

  unsigned int GetAtomIndex1() const;
  unsigned int GetAtomIndex2() const;
  /// True for the pair in either order.
  bool IsPair(const QZChem::QZAtomBase* a, const QZChem::QZAtomBase* b) const;
  /// True when the predicate accepts either atom.
  bool IsValid(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred) const;
  bool IsValid(
      const QZSystem::QZBinaryPredicate<QZChem::QZAtomBase, QZChem::QZAtomBase>& pred) const;

 private:
  const QZChem::QZAtomBase* atom1_;
  const QZChem::QZAtomBase* atom2_;
};

}  // namespace QZMolPotential
