// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <vector>

#include "qzplatform/export.h"
#include "qzsystem/data.h"
#include "qzsystem/iterator.h"

namespace QZChem {

class QZBondBase;
class QZMolBase;

/// An atom, owned by its molecule. Its address stays the same until the atom is deleted, its index
/// until `QZMolBase::Sweep`.
class QZ_API QZAtomBase : public QZSystem::QZBase {
 public:
  QZAtomBase& operator=(const QZAtomBase&) = delete;

  unsigned int GetIndex() const { return index_; }
  /// 0 is a dummy atom.
  unsigned int GetAtomicNumber() const { return atomicNumber_; }
  int GetFormalCharge() const { return formalCharge_; }
  void SetFormalCharge(int charge);
  /// The mass number of an isotope, for example 2 for deuterium; 0 stands for the natural mixture
  /// of isotopes.
  unsigned int GetIsotope() const { return isotope_; }
  void SetIsotope(unsigned int isotope);
  /// The number of radical electrons that the record states; 2 for a carbene too, whatever its
  /// spin. Each takes the place of one hydrogen that valence would otherwise ask for.
  unsigned int GetRadicalElectrons() const { return radicalElectrons_; }
  void SetRadicalElectrons(unsigned int electrons);
  /// The atom-map number of a pattern or reaction; 0 is none.
  unsigned int GetMapIndex() const { return mapIndex_; }
  void SetMapIndex(unsigned int map) { mapIndex_ = map; }
  /// Explicit neighbours.
  unsigned int GetDegree() const { return static_cast<unsigned int>(bonds_.size()); }
  /// Explicit neighbours other than hydrogen.
  unsigned int GetHeavyDegree() const;
  /// Bonds in order of insertion; owned by the caller.
  QZSystem::QZIterBase<QZBondBase>* GetBonds() const;
  /// Neighbours in the order of `GetBonds`; owned by the caller.
  QZSystem::QZIterBase<QZAtomBase>* GetNeighbours() const;
  const QZMolBase& GetMol() const;

 private:
  friend struct QZMolImpl;
  friend struct QZMolAccess;
  QZAtomBase() = default;
  QZAtomBase(const QZAtomBase&) = default;

  struct QZMolImpl* mol_ = nullptr;
  unsigned int index_ = 0;
  unsigned int atomicNumber_ = 0;
  int formalCharge_ = 0;
  unsigned int mapIndex_ = 0;
  unsigned int isotope_ = 0;
  unsigned int radicalElectrons_ = 0;
  bool hasUnknownOrders_ = false;  // bonds made by distances, without their orders
  std::vector<QZBondBase*> bonds_;
};

/// A bond, owned by its molecule. Its address stays the same until the bond or one of its atoms is
/// deleted, its index until `QZMolBase::Sweep`.
class QZ_API QZBondBase : public QZSystem::QZBase {
 public:
  QZBondBase& operator=(const QZBondBase&) = delete;

  unsigned int GetIndex() const { return index_; }
  /// 1, 2 or 3; aromatic systems are stored Kekulé.
  unsigned int GetOrder() const { return order_; }
  /// Fails: false for another order than 1, 2 or 3.
  bool SetOrder(unsigned int order);
  QZAtomBase* GetBegin() const { return begin_; }
  QZAtomBase* GetEnd() const { return end_; }
  /// The atom at the other end; null when `atom` is not on the bond.
  QZAtomBase* GetNeighbour(const QZAtomBase* atom) const;
  /// Rings and aromaticity are perceived at the first call and kept until the topology of the
  /// molecule changes. Safe from several threads.
  bool IsInRing() const;
  bool IsAromatic() const;

 private:
  friend struct QZMolImpl;
  friend struct QZMolAccess;
  QZBondBase() = default;
  QZBondBase(const QZBondBase&) = default;

  struct QZMolImpl* mol_ = nullptr;
  unsigned int index_ = 0;
  unsigned int order_ = 1;
  QZAtomBase* begin_ = nullptr;
  QZAtomBase* end_ = nullptr;
};

}  // namespace QZChem
