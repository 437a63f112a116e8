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

/// An atom of a molecule, owned by it. Its address and index are stable until it is deleted
/// (index: until `Sweep`).
class QZ_API QZAtomBase : public QZSystem::QZBase {
 public:
  QZAtomBase& operator=(const QZAtomBase&) = delete;

  unsigned int GetIndex() const { return index_; }
  /// 0 is a dummy atom.
  unsigned int GetAtomicNumber() const { return atomicNumber_; }
  int GetFormalCharge() const { return formalCharge_; }
  void SetFormalCharge(int charge);
  /// The mass number of an isotope, 2 for deuterium; 0 is the element as it occurs.
  unsigned int GetIsotope() const { return isotope_; }
  void SetIsotope(unsigned int isotope);
  /// Unpaired electrons that the record states, 2 also for a carbene. They take the place of
  /// hydrogens.
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

/// A bond of a molecule, owned by it.
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
  /// Perceived when first asked and kept until the molecule's topology changes; safe from several
  /// threads.
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
