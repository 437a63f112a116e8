// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <vector>

#include "qzplatform/export.h"
#include "qzsystem/iterator.h"

namespace QZChem {
class QZAtomBase;
}  // namespace QZChem

namespace QZMolPotential {

/// The record behind an interaction: its name, its energy, its atoms (not owned) and further
/// numbers, whose meaning the function that made the interaction defines. **The name is kept as a
/// pointer and not copied**: it must be a literal or outlive the record. Copies: deep, but the name
/// is shared.
class QZ_API QZInteractImpl {
 public:
  QZInteractImpl() = default;
  /// Copies `numValues` doubles from `values` (may be null when there are none) and the atom list.
  QZInteractImpl(const char* name,
                 double value,
                 unsigned int numValues,
                 const double* values,
                 const std::vector<QZChem::QZAtomBase*>& atoms);

  /// Multiplies the energy and every further number.
  QZInteractImpl& operator*=(double s);

  const char* GetName() const { return name_; }
  double GetValue() const { return value_; }
  const std::vector<double>& GetValues() const { return values_; }
  const std::vector<QZChem::QZAtomBase*>& GetAtoms() const { return atoms_; }

 private:
  const char* name_ = nullptr;
  double value_ = 0.0;
  std::vector<double> values_;
  std::vector<QZChem::QZAtomBase*> atoms_;
};

/// One evaluated term of a molecular function. Owns its record; copies are deep. An object that was
/// moved from can only be assigned to or destroyed.
class QZ_API QZInteraction {
 public:
  /// Takes ownership of `impl`, which was made with `new`.
  explicit QZInteraction(QZInteractImpl& impl) : impl_(&impl) {}
  QZInteraction(const QZInteraction& other);
  QZInteraction(QZInteraction&&) noexcept = default;
  QZInteraction& operator=(const QZInteraction& other);
  QZInteraction& operator=(QZInteraction&&) noexcept = default;
  virtual ~QZInteraction();

  const char* GetName() const { return impl_->GetName(); }
  /// The energy; copies NumValues() doubles into `out` unless it is null.
  double GetValues(double* out) const;
  unsigned int NumValues() const { return static_cast<unsigned int>(impl_->GetValues().size()); }
  unsigned int NumAtoms() const { return static_cast<unsigned int>(impl_->GetAtoms().size()); }
  /// The atoms in their order; owned by the caller.
  QZSystem::QZIterBase<QZChem::QZAtomBase>* GetAtoms() const;
  /// The record, which may be changed in place; owned by this object.
  QZInteractImpl* GetImpl() { return impl_.get(); }

 protected:
  QZInteraction() : impl_(std::make_unique<QZInteractImpl>()) {}

 private:
  std::unique_ptr<QZInteractImpl> impl_;
};

}  // namespace QZMolPotential
