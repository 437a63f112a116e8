// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "qzchem/atom.h"

namespace QZChem {

struct QZMolImpl;

/// A molecule: atoms, bonds, coordinates in Å, a title, an energy, SD data and tagged data.
/// Deleted atoms and bonds leave holes in the index ranges until `Sweep`.
class QZ_API QZMolBase : public QZSystem::QZBase {
 public:
  virtual ~QZMolBase();

  /// True when there is at least one atom.
  bool IsValid() const;
  unsigned int NumAtoms() const;
  unsigned int NumBonds() const;
  /// One past the largest atom / bond index, holes counted.
  unsigned int AtomIndexBound() const;
  unsigned int BondIndexBound() const;
  /// Atoms / bonds in index order; owned by the caller.
  QZSystem::QZIterBase<QZAtomBase>* GetAtoms() const;
  QZSystem::QZIterBase<QZBondBase>* GetBonds() const;
  /// Null for a hole or past the bound.
  QZAtomBase* GetAtom(unsigned int index) const;
  QZBondBase* GetBond(unsigned int index) const;

  /// Writes 3 x AtomIndexBound() doubles; holes are zero.
  void GetCoords(double* out) const;
  /// Writes the x, y, z of one atom; nothing for an atom of another molecule.
  void GetCoords(const QZAtomBase* atom, double* xyz) const;
  /// Reads 3 x AtomIndexBound() doubles; the entries of holes are ignored.
  bool SetCoords(const double* coords);
  /// Fails: false for a null atom or an atom of another molecule.
  bool SetCoords(const QZAtomBase* atom, const double* xyz);

  const char* GetTitle() const;
  bool SetTitle(const char* title);
  double GetEnergy() const;
  void SetEnergy(double energy);

  /// Removes holes: indices become dense, the order of atoms and bonds stays.
  void Sweep();

 protected:
  QZMolBase();
  QZMolBase(const QZMolBase& other);
  QZMolBase(QZMolBase&& other) noexcept;
  QZMolBase& operator=(const QZMolBase& other);
  QZMolBase& operator=(QZMolBase&& other) noexcept;

 private:
  friend struct QZMolAccess;
  friend class QZGraphMol;

  std::unique_ptr<QZMolImpl> impl_;
};

/// A molecule that can be built and edited. Copies are deep and keep the holes of the original;
/// they share what was perceived of it until either is edited. One object serves one thread at a
/// time for editing; several threads may read it.
class QZ_API QZGraphMol : public QZMolBase {
 public:
  /// `reserve`: atoms to make room for.
  explicit QZGraphMol(unsigned int reserve = 0);
  explicit QZGraphMol(const QZMolBase& other);
  QZGraphMol(const QZGraphMol&) = default;
  QZGraphMol(QZGraphMol&&) noexcept = default;
  QZGraphMol& operator=(const QZGraphMol&) = default;
  QZGraphMol& operator=(QZGraphMol&&) noexcept = default;
  QZGraphMol& operator=(const QZMolBase& other);
  ~QZGraphMol() override = default;

  /// Appends an atom, at the origin where no position is given (Å). The atom stays the molecule's.
  QZAtomBase* AddAtom(unsigned int atomicNumber);
  QZAtomBase* AddAtom(unsigned int atomicNumber, double x, double y, double z);
  /// Null for a bond that exists, a bond of an atom to itself, an atom of another molecule or an
  /// order outside 1 to 3.
  QZBondBase* AddBond(QZAtomBase* begin, QZAtomBase* end, unsigned int order = 1);
  /// Leaves a hole and drops the atom's bonds. Fails: false for null or an atom of another
  /// molecule.
  bool DeleteAtom(QZAtomBase* atom);
  bool DeleteBond(QZBondBase* bond);
};

/// SD data are named texts that are read and written with the molecule, in the order in which their
/// tags were first set. `QZGetSDData` returns "" for a tag that is absent. A record that was read
/// may hold a tag several times: all of its texts are written again, `QZGetSDData` returns the
/// first, and `QZSetSDData` replaces all of them by one. Fails: setting is false for an empty tag.
QZ_API bool QZSetSDData(QZMolBase& mol, const std::string& tag, const std::string& value);
QZ_API std::string QZGetSDData(const QZMolBase& mol, const std::string& tag);
QZ_API bool QZHasSDData(const QZMolBase& mol, const std::string& tag);
/// The tags in the order of their first setting.
QZ_API std::vector<std::string> QZGetSDTags(const QZMolBase& mol);

}  // namespace QZChem
