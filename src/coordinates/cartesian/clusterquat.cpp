// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/clusterquat.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

#include "coordinates/cartesian/swept.h"
#include "molpotential/quaternion.h"
#include "qzchem/mol.h"
#include "qzchem/topology.h"

namespace QZMolPotential {

/// The adaptor of one component.
class QZClusterQuatAdaptor::Part final : public QZQuatAdaptor {
 public:
  Part(QZMolFunc1& func, bool restrictInteractions)
      : QZQuatAdaptor(func, /*own=*/false, restrictInteractions) {
    SetTranslateRefToGC(false);
  }
  Part(const Part& other) = default;
  Part& operator=(const Part&) = delete;
};

QZClusterQuatAdaptor::QZClusterQuatAdaptor() = default;
QZClusterQuatAdaptor::~QZClusterQuatAdaptor() = default;

QZClusterQuatAdaptor::QZClusterQuatAdaptor(QZMolFunc1& func, bool own, bool restrictInteractions)
    : QZForwardingAdaptor(func, own), restrictInteractions_(restrictInteractions) {}

QZClusterQuatAdaptor::QZClusterQuatAdaptor(const QZClusterQuatAdaptor&) = default;
QZClusterQuatAdaptor& QZClusterQuatAdaptor::operator=(const QZClusterQuatAdaptor&) = default;

bool QZClusterQuatAdaptor::Setup(const QZChem::QZMolBase& mol) {
  if (!mol.IsValid() || !IsSwept(mol) || !wrapped_) return false;
  dropParts();
  std::vector<unsigned int> numbers(mol.AtomIndexBound());
  const unsigned int count = QZChem::QZDetermineComponents(mol, numbers.data());
  const bool bound = addParts(mol, numbers, 1, count);
  for (auto* buffer : {&cartCopy_, &workCoords_, &workGrad_}) {
    buffer->assign(std::size_t{3} * totalAtoms_, 0.0);
  }
  clusterVars_.assign(NumVar(), 0.0);
  return bound && wrapped_->Setup(mol);
}

bool QZClusterQuatAdaptor::addParts(const QZChem::QZMolBase& mol,
                                    const std::vector<unsigned int>& numbers,
                                    unsigned int first,
                                    unsigned int last) {
  if (first == last) return addPart(mol);
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
        !addParts(half, kept, low, high)) {
      return false;
    }
  }
  return true;
}

bool QZClusterQuatAdaptor::addPart(const QZChem::QZMolBase& component) {
  auto part = std::make_shared<Part>(*wrapped_, restrictInteractions_);
  if (!part->Setup(component)) return false;
  parts_.push_back(std::move(part));
  partAtomCounts_.push_back(component.NumAtoms());
  totalAtoms_ += component.NumAtoms();
  return true;
}

void QZClusterQuatAdaptor::dropParts() {
  parts_.clear();
  partAtomCounts_.clear();
  totalAtoms_ = 0;
}

void QZClusterQuatAdaptor::Clear() {
  dropParts();
  QZForwardingAdaptor::Clear();
}

unsigned int QZClusterQuatAdaptor::NumVar() const {
  return 7 * static_cast<unsigned int>(parts_.size());
}

const double* QZClusterQuatAdaptor::GetVar(const double* cartesian) {
  if (totalAtoms_ == 0) return nullptr;
  std::copy_n(cartesian, cartCopy_.size(), cartCopy_.begin());
  double* vars = clusterVars_.data();
  for (std::size_t k = 0; k < parts_.size(); ++k) {
    // A copy of this adaptor that shares the part keeps its reference geometry.
    if (parts_[k].use_count() > 1) parts_[k] = std::make_shared<Part>(*parts_[k]);
    parts_[k]->GetVar(vars, cartesian);
    cartesian += std::size_t{3} * partAtomCounts_[k];
    vars += 7;
  }
  return clusterVars_.data();
}

bool QZClusterQuatAdaptor::AdaptVar(double* cartesian, const double* vars) const {
  for (std::size_t k = 0; k < parts_.size(); ++k) {
    parts_[k]->AdaptVar(cartesian, vars + 7 * k);
    cartesian += std::size_t{3} * partAtomCounts_[k];
  }
  return true;
}

bool QZClusterQuatAdaptor::AdaptGrad(double* grad,
                                     const double* cartGrad,
                                     const double* vars,
                                     const double* refCoords) const {
  std::size_t offset = 0;
  for (std::size_t k = 0; k < parts_.size(); ++k) {
    parts_[k]->AdaptGrad(grad + 7 * k, cartGrad + offset, vars + 7 * k, refCoords + offset);
    offset += std::size_t{3} * partAtomCounts_[k];
  }
  return true;
}

double QZClusterQuatAdaptor::operator()(const double* vars) {
  if (totalAtoms_ == 0) return 0.0;
  AdaptVar(workCoords_.data(), vars);
  return (*wrapped_)(workCoords_.data());
}

double QZClusterQuatAdaptor::operator()(const double* vars, double* grad) {
  std::fill_n(grad, NumVar(), 0.0);
  if (totalAtoms_ == 0) return 0.0;
  AdaptVar(workCoords_.data(), vars);
  std::fill(workGrad_.begin(), workGrad_.end(), 0.0);
  const double energy = (*wrapped_)(workCoords_.data(), workGrad_.data());
  AdaptGrad(grad, workGrad_.data(), vars, cartCopy_.data());
  return energy;
}

}  // namespace QZMolPotential
