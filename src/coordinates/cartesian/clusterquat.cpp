// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/clusterquat.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>
#include <vector>

#include "coordinates/cartesian/swept.h"
#include "coordinates/evaluation.h"
#include "molpotential/quaternion.h"
#include "qzchem/mol.h"
#include "qzchem/topology.h"

namespace QZMolPotential {

/// The adaptor of one component.
class QZClusterQuatAdaptor::Part final : public QZQuatAdaptor {
 public:
  Part(QZMolFunc1& func, bool restrictInteractions, unsigned int atoms)
      : QZQuatAdaptor(func, /*own=*/false, restrictInteractions), atomCount(atoms) {
    SetTranslateRefToGC(false);
  }
  Part(const Part&) = delete;
  Part& operator=(const Part&) = delete;

  const unsigned int atomCount;
};

/// What copies share.
struct QZClusterQuatAdaptor::Parts {
  // Binds the components `first` to `last`, which are all of `mol`, `numbers` being its atoms'
  // component numbers. Halves are split off as molecules of their own, so that C components cost
  // O(n log C).
  bool Add(QZMolFunc1& func,
           bool restrictInteractions,
           const QZChem::QZMolBase& mol,
           const std::vector<unsigned int>& numbers,
           unsigned int first,
           unsigned int last);

  std::vector<std::unique_ptr<Part>> list;
  std::vector<double> reference;
  std::vector<double> vars;
};

QZClusterQuatAdaptor::QZClusterQuatAdaptor() : work_(std::make_unique<Evaluation>()) {}
QZClusterQuatAdaptor::~QZClusterQuatAdaptor() = default;

QZClusterQuatAdaptor::QZClusterQuatAdaptor(QZMolFunc1& func, bool own, bool restrictInteractions)
    : QZForwardingAdaptor(func, own),
      restrictInteractions_(restrictInteractions),
      work_(std::make_unique<Evaluation>()) {}

QZClusterQuatAdaptor::QZClusterQuatAdaptor(const QZClusterQuatAdaptor& other)
    : QZForwardingAdaptor(other),
      restrictInteractions_(other.restrictInteractions_),
      parts_(other.parts_),
      work_(std::make_unique<Evaluation>(*other.work_)) {}

QZClusterQuatAdaptor& QZClusterQuatAdaptor::operator=(const QZClusterQuatAdaptor& other) {
  if (this == &other) return *this;
  QZForwardingAdaptor::operator=(other);
  restrictInteractions_ = other.restrictInteractions_;
  parts_ = other.parts_;
  *work_ = *other.work_;
  return *this;
}

bool QZClusterQuatAdaptor::Setup(const QZChem::QZMolBase& mol) {
  if (!mol.IsValid() || !IsSwept(mol) || !wrapped_) return false;
  parts_ = std::make_shared<Parts>();
  std::vector<unsigned int> numbers(mol.AtomIndexBound());
  const unsigned int count = QZChem::QZDetermineComponents(mol, numbers.data());
  const bool bound = parts_->Add(*wrapped_, restrictInteractions_, mol, numbers, 1, count);
  std::size_t atoms = 0;
  for (const auto& part : parts_->list) atoms += part->atomCount;
  parts_->reference.assign(3 * atoms, 0.0);
  parts_->vars.assign(NumVar(), 0.0);
  work_->Resize(3 * atoms, /*hessian=*/false);
  return bound && wrapped_->Setup(mol);
}

bool QZClusterQuatAdaptor::Parts::Add(QZMolFunc1& func,
                                      bool restrictInteractions,
                                      const QZChem::QZMolBase& mol,
                                      const std::vector<unsigned int>& numbers,
                                      unsigned int first,
                                      unsigned int last) {
  if (first == last) {
    auto part = std::make_unique<Part>(func, restrictInteractions, mol.NumAtoms());
    if (!part->Setup(mol)) return false;
    list.push_back(std::move(part));
    return true;
  }
  const unsigned int middle = first + (last - first) / 2;
  for (const auto& [low, high] : {std::pair(first, middle), std::pair(middle + 1, last)}) {
    const auto isIn = [low = low, high = high](unsigned int n) { return low <= n && n <= high; };
    std::vector<unsigned int> kept;
    std::copy_if(numbers.begin(), numbers.end(), std::back_inserter(kept), isIn);
    QZChem::QZGraphMol half(static_cast<unsigned int>(kept.size()));
    const auto pred = QZSystem::QZMakeUnaryPredicate<QZChem::QZAtomBase>(
        [&](const QZChem::QZAtomBase& atom) { return isIn(numbers[atom.GetIndex()]); });
    if (!QZChem::QZSubsetMol(half,
                             mol,
                             pred,
                             /*adjustHydrogens=*/false,
                             /*keepMapIndex=*/false,
                             nullptr,
                             nullptr) ||
        !Add(func, restrictInteractions, half, kept, low, high)) {
      return false;
    }
  }
  return true;
}

void QZClusterQuatAdaptor::Clear() {
  parts_.reset();
  QZForwardingAdaptor::Clear();
}

unsigned int QZClusterQuatAdaptor::NumVar() const {
  return parts_ ? 7 * static_cast<unsigned int>(parts_->list.size()) : 0;
}

const double* QZClusterQuatAdaptor::GetVar(const double* cartesian) {
  if (NumVar() == 0) return nullptr;
  std::copy_n(cartesian, parts_->reference.size(), parts_->reference.begin());
  double* vars = parts_->vars.data();
  for (const auto& part : parts_->list) {
    part->GetVar(vars, cartesian);
    cartesian += std::size_t{3} * part->atomCount;
    vars += 7;
  }
  return parts_->vars.data();
}

bool QZClusterQuatAdaptor::AdaptVar(double* cartesian, const double* vars) const {
  if (!parts_) return true;
  for (const auto& part : parts_->list) {
    part->AdaptVar(cartesian, vars);
    cartesian += std::size_t{3} * part->atomCount;
    vars += 7;
  }
  return true;
}

bool QZClusterQuatAdaptor::AdaptGrad(double* grad,
                                     const double* cartGrad,
                                     const double* vars,
                                     const double* refCoords) const {
  if (!parts_) return true;
  for (const auto& part : parts_->list) {
    part->AdaptGrad(grad, cartGrad, vars, refCoords);
    grad += 7;
    vars += 7;
    cartGrad += std::size_t{3} * part->atomCount;
    refCoords += std::size_t{3} * part->atomCount;
  }
  return true;
}

double QZClusterQuatAdaptor::operator()(const double* vars) {
  if (NumVar() == 0) return 0.0;
  return work_->Energy(*wrapped_, [&](double* x) { return AdaptVar(x, vars); });
}

double QZClusterQuatAdaptor::operator()(const double* vars, double* grad) {
  std::fill_n(grad, NumVar(), 0.0);
  if (NumVar() == 0) return 0.0;
  return work_->Gradient(
      *wrapped_,
      [&](double* x) { return AdaptVar(x, vars); },
      [&](const double* g) { AdaptGrad(grad, g, vars, parts_->reference.data()); });
}

}  // namespace QZMolPotential
