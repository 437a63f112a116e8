// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/clusterquat.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include "coordinates/cartesian/rigid_bodies.h"
#include "coordinates/cartesian/swept.h"
#include "coordinates/evaluation.h"
#include "coordinates/interactions.h"
#include "qzchem/mol.h"
#include "qzchem/topology.h"

namespace QZMolPotential {

namespace {

// Binds `func` to the components `first` to `last`, which are all of `mol`, `numbers` being its
// atoms' component numbers, and appends the number of atoms of each. Halves are split off as
// molecules of their own, so that C components cost O(n log C).
bool BindComponents(QZMolFunc1& func,
                    bool restrictInteractions,
                    const QZChem::QZMolBase& mol,
                    const std::vector<unsigned int>& numbers,
                    unsigned int first,
                    unsigned int last,
                    std::vector<unsigned int>& atomCounts) {
  if (first == last) {
    if (!mol.IsValid()) return false;
    if (restrictInteractions) SwitchOffInteractions(func);
    if (!func.Setup(mol)) return false;
    atomCounts.push_back(mol.NumAtoms());
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
        !BindComponents(func, restrictInteractions, half, kept, low, high, atomCounts)) {
      return false;
    }
  }
  return true;
}

}  // namespace

QZClusterQuatAdaptor::QZClusterQuatAdaptor() : work_(std::make_unique<Evaluation>()) {}
QZClusterQuatAdaptor::~QZClusterQuatAdaptor() = default;

QZClusterQuatAdaptor::QZClusterQuatAdaptor(QZMolFunc1& func, bool own, bool restrictInteractions)
    : QZForwardingAdaptor(func, own),
      restrictInteractions_(restrictInteractions),
      work_(std::make_unique<Evaluation>()) {}

QZClusterQuatAdaptor::QZClusterQuatAdaptor(const QZClusterQuatAdaptor& other)
    : QZForwardingAdaptor(other),
      restrictInteractions_(other.restrictInteractions_),
      bodies_(other.bodies_),
      work_(std::make_unique<Evaluation>(*other.work_)) {}

QZClusterQuatAdaptor& QZClusterQuatAdaptor::operator=(const QZClusterQuatAdaptor& other) {
  if (this == &other) return *this;
  QZForwardingAdaptor::operator=(other);
  restrictInteractions_ = other.restrictInteractions_;
  bodies_ = other.bodies_;
  *work_ = *other.work_;
  return *this;
}

bool QZClusterQuatAdaptor::Setup(const QZChem::QZMolBase& mol) {
  if (!mol.IsValid() || !IsSwept(mol) || !wrapped_) return false;
  std::vector<unsigned int> numbers(mol.AtomIndexBound());
  const unsigned int count = QZChem::QZDetermineComponents(mol, numbers.data());
  std::vector<unsigned int> atomCounts;
  const bool bound =
      BindComponents(*wrapped_, restrictInteractions_, mol, numbers, 1, count, atomCounts);
  bodies_ = std::make_shared<RigidBodies>(atomCounts);
  work_->Resize(bodies_->NumCoords(), /*hessian=*/false);
  return bound && wrapped_->Setup(mol);
}

void QZClusterQuatAdaptor::Clear() {
  bodies_.reset();
  QZForwardingAdaptor::Clear();
}

unsigned int QZClusterQuatAdaptor::NumVar() const {
  return bodies_ ? static_cast<unsigned int>(bodies_->NumVar()) : 0;
}

const double* QZClusterQuatAdaptor::GetVar(const double* cartesian) {
  return NumVar() == 0 ? nullptr : bodies_->SetReference(cartesian);
}

bool QZClusterQuatAdaptor::AdaptVar(double* cartesian, const double* vars) const {
  if (bodies_) bodies_->Map().Place(vars, cartesian);
  return true;
}

bool QZClusterQuatAdaptor::AdaptGrad(double* grad,
                                     const double* cartGrad,
                                     const double* vars,
                                     const double* refCoords) const {
  if (bodies_) bodies_->AddGradient(cartGrad, vars, refCoords, grad);
  return true;
}

double QZClusterQuatAdaptor::operator()(const double* vars) {
  return NumVar() == 0 ? 0.0 : work_->Energy(*wrapped_, bodies_->Map(), vars);
}

double QZClusterQuatAdaptor::operator()(const double* vars, double* grad) {
  std::fill_n(grad, NumVar(), 0.0);
  return NumVar() == 0 ? 0.0 : work_->Gradient(*wrapped_, bodies_->Map(), vars, grad);
}

}  // namespace QZMolPotential
