// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/redundant.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <utility>
#include <vector>

#include "coordinates/evaluation.h"
#include "coordinates/interactions.h"
#include "coordinates/redundant/coordinates.h"
#include "coordinates/redundant/solver.h"
#include "qzchem/mol.h"

namespace QZMolPotential {
namespace {

constexpr int kMaxSteps = 10;
constexpr double kStepConverged = 1e-5;  // Å

double distance(const std::vector<double>& a, const std::vector<double>& b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += (a[i] - b[i]) * (a[i] - b[i]);
  return std::sqrt(sum);
}

bool isFinite(const std::vector<double>& values) {
  return std::all_of(values.begin(), values.end(), [](double v) { return std::isfinite(v); });
}

}  // namespace

struct QZRedundantInterAdaptor::State {
  RedundantCoordinates internals;
  WilsonRows rows;
  WilsonSolver solver;
  bool factored = false;          // the solver knows the present rows
  std::vector<double> coords;     // the current ones
  std::vector<double> rowCoords;  // those that the rows belong to
  std::vector<double> q;          // at the current coordinates
  std::vector<double> variables;  // what GetVar returns
  std::vector<double> newCoords, target, internalWork;
  Evaluation work;

  State(const QZChem::QZMolBase& mol,
        const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>* frozen) {
    internals.Build(mol, frozen);
    rows = internals.EmptyRows();
    const std::size_t numCoords = 3 * std::size_t{mol.AtomIndexBound()};
    for (auto* v : {&coords, &newCoords}) v->assign(numCoords, 0.0);
    work.Resize(numCoords, /*hessian=*/false);
    for (auto* v : {&q, &target, &internalWork}) v->assign(internals.Size(), 0.0);
    variables.assign(internals.NumActive(), 0.0);
    mol.GetCoords(coords.data());
    solver.Analyse(rows, numCoords);
    updateRows();
  }

  void updateRows() {
    internals.ValuesAndRows(coords.data(), q.data(), rows);
    rowCoords = coords;
    factored = false;
  }

  void factor() {
    if (factored) return;
    solver.Factor(rows, rowCoords.data());
    factored = true;
  }

  void setTarget(const double* vars) {
    for (std::size_t i = 0; i < q.size(); ++i) {
      target[i] = internals.IsActive(i) ? *vars++ : q[i];
      if (internals.IsActiveBond(i)) target[i] = std::abs(target[i]);
    }
  }

  // Where `vars` lead, converged or not.
  bool Place(const double* vars, double* x) {
    backTransform(vars);
    std::ranges::copy(coords, x);
    return true;
  }

  // Moves the current coordinates to the internals `vars`.
  bool backTransform(const double* vars) {
    setTarget(vars);
    for (int step = 0; step < kMaxSteps; ++step) {
      for (std::size_t i = 0; i < q.size(); ++i) internalWork[i] = target[i] - q[i];
      if (!isFinite(internalWork)) {
        WilsonSolver::Warn();
        return false;
      }
      factor();
      if (!solver.IsFactored()) return false;
      solver.CartesianStep(rows, internalWork.data(), newCoords.data());
      for (std::size_t i = 0; i < coords.size(); ++i) newCoords[i] += coords[i];
      const double moved = distance(newCoords, coords);
      if (!std::isfinite(moved)) return false;
      coords.swap(newCoords);
      if (moved < kStepConverged) {
        internals.Values(coords.data(), q.data());
        return true;
      }
      updateRows();
    }
    return false;
  }
};

QZRedundantInterAdaptor::QZRedundantInterAdaptor() = default;

QZRedundantInterAdaptor::QZRedundantInterAdaptor(QZMolFunc1& func,
                                                 bool own,
                                                 bool restrictInteractions)
    : QZForwardingAdaptor(func, own), restrictInteractions_(restrictInteractions) {}

QZRedundantInterAdaptor::~QZRedundantInterAdaptor() = default;

bool QZRedundantInterAdaptor::Setup(const QZChem::QZMolBase& mol) {
  if (!mol.IsValid() || !wrapped_) return false;
  state_ = std::make_unique<State>(mol, frozenPred_.get());
  if (restrictInteractions_) restrict(mol);
  return wrapped_->Setup(mol);
}

void QZRedundantInterAdaptor::restrict(const QZChem::QZMolBase& mol) const {
  std::set<const QZChem::QZAtomBase*> moving;
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    if (!frozenPred_ || !(*frozenPred_)(atom)) moving.insert(&atom);
  }
  RestrictInteractions(*wrapped_, std::move(moving));
}

void QZRedundantInterAdaptor::Clear() {
  state_.reset();
  QZForwardingAdaptor::Clear();
}

bool QZRedundantInterAdaptor::Set(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred,
                                  unsigned int which) {
  if ((which & QZCategoryRedundantFrozen) == 0) return QZForwardingAdaptor::Set(pred, which);
  frozenPred_.reset(pred.CreateCopy());
  return frozenPred_ != nullptr;
}

bool QZRedundantInterAdaptor::Set(const QZSystem::QZUnaryPredicate<QZChem::QZBondBase>&,
                                  unsigned int) {
  return false;
}

bool QZRedundantInterAdaptor::Set(
    const QZSystem::QZBinaryPredicate<QZChem::QZAtomBase, QZChem::QZAtomBase>&, unsigned int) {
  return false;
}

bool QZRedundantInterAdaptor::Set(
    const QZSystem::QZBinaryPredicate<QZChem::QZBondBase, QZChem::QZBondBase>&, unsigned int) {
  return false;
}

unsigned int QZRedundantInterAdaptor::NumVar() const {
  return state_ ? static_cast<unsigned int>(state_->internals.NumActive()) : 0;
}

std::vector<QZInternalKind> QZRedundantInterAdaptor::GetKinds() const {
  std::vector<QZInternalKind> kinds;
  for (std::size_t i = 0; state_ && i < state_->q.size(); ++i) {
    if (state_->internals.IsActive(i)) kinds.push_back(state_->internals.Kind(i));
  }
  return kinds;
}

const double* QZRedundantInterAdaptor::GetCurrentCoords() const {
  return state_ ? state_->coords.data() : nullptr;
}

const double* QZRedundantInterAdaptor::GetVar(const double* coords) {
  if (!state_) return nullptr;
  State& s = *state_;
  std::copy_n(coords, s.coords.size(), s.coords.begin());
  s.internals.Values(s.coords.data(), s.q.data());
  auto next = s.variables.begin();
  for (std::size_t i = 0; i < s.q.size(); ++i) {
    if (s.internals.IsActive(i)) *next++ = s.q[i];
  }
  return s.variables.data();
}

bool QZRedundantInterAdaptor::AdaptVar(double* coords, const double* vars) const {
  if (!state_) return false;
  const bool converged = state_->backTransform(vars);
  std::copy(state_->coords.begin(), state_->coords.end(), coords);
  return converged;
}

bool QZRedundantInterAdaptor::AdaptGrad(double* grad, const double* cartGrad) const {
  if (!state_) return false;
  State& s = *state_;
  s.factor();
  s.solver.InternalGradient(s.rows, cartGrad, s.internalWork.data());
  for (std::size_t i = 0; i < s.q.size(); ++i) {
    if (s.internals.IsActive(i)) *grad++ = s.internalWork[i];
  }
  return s.solver.IsFactored();
}

double QZRedundantInterAdaptor::operator()(const double* vars) {
  if (!state_) return std::numeric_limits<double>::quiet_NaN();
  return state_->work.Energy(*wrapped_, [&](double* x) { return state_->Place(vars, x); });
}

double QZRedundantInterAdaptor::operator()(const double* vars, double* grad) {
  if (!state_) return std::numeric_limits<double>::quiet_NaN();
  return state_->work.Gradient(
      *wrapped_,
      [&](double* x) { return state_->Place(vars, x); },
      [&](const double* cartGrad) { AdaptGrad(grad, cartGrad); });
}

}  // namespace QZMolPotential
