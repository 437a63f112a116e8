// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/mapped.h"

#include <limits>
#include <utility>

#include "coordinates/mapped_state.h"
#include "coordinates/maps.h"
#include "molpotential/invariance.h"
#include "qzchem/mol.h"
#include "qzsystem/error.h"

namespace QZMolPotential {
namespace {

constexpr double kNoEnergy = std::numeric_limits<double>::quiet_NaN();

bool Refuse(const std::string& variables, const std::string& reason) {
  QZSystem::QZThrow.Warning("%s: %s", variables.c_str(), reason.c_str());
  return false;
}

}  // namespace

bool QZMappedFunc::State::Start(const double* coords) {
  std::vector<double> vars(map->NumVar());
  started = map->Start(coords, vars.data());
  frozen.Forget();
  if (!started) return false;
  if (func2 != nullptr) map->ReserveHessian();
  looker = map->IsPathDependent() ? map->Clone() : nullptr;
  startVars = std::move(vars);
  startCoords.assign(coords, coords + map->NumCoords());
  if (map->IsPathDependent()) memory.Start(startVars, startCoords);
  return true;
}

QZMappedFunc::QZMappedFunc(QZMolFunc1& f, QZMolFunc2* f2, bool own)
    : QZForwardingAdaptor(f, own), state_(std::make_unique<State>()) {
  state_->func2 = f2;
}

QZMappedFunc::~QZMappedFunc() = default;

void QZMappedFunc::SetFixed(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& fixed) {
  state_->fixedPred.reset(fixed.CreateCopy());
}

std::vector<double> QZMappedFunc::GetScales() const {
  return state_->map ? ScalesOf(state_->map->Kinds()) : std::vector<double>();
}

bool QZMappedFunc::SetMolFunc(QZMolFunc1& func, bool own) {
  state_->func2 = nullptr;
  state_->frozen.Forget();
  state_->work.DropHessian();
  return QZForwardingAdaptor::SetMolFunc(func, own);
}

bool QZMappedFunc::SetMolFunc2(QZMolFunc2& func, bool own) {
  if (!SetMolFunc(func, own)) return false;
  state_->func2 = &func;
  if (state_->map) state_->work.Resize(state_->map->NumCoords(), /*hessian=*/true);
  return true;
}

bool QZMappedFunc::Setup(const QZChem::QZMolBase& mol) {
  State& s = *state_;
  s.map.reset();
  s.looker.reset();
  s.routesBefore = {};
  s.started = false;
  if (!mol.IsValid() || !wrapped_ || !wrapped_->Setup(mol)) return false;
  MapRequest request;
  request.mol = &mol;
  request.fixed.assign(mol.AtomIndexBound(), 1);
  s.moving.clear();
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    if (s.fixedPred && (*s.fixedPred)(atom)) {
      request.anyFixed = true;
    } else {
      request.fixed[atom.GetIndex()] = 0;
      s.moving.push_back(atom.GetIndex());
    }
  }
  request.overallMotion = s.overallMotion.value_or(!QZIsFrameInvariant(*wrapped_));
  s.frozen.Reset(request.anyFixed ? request.fixed : std::vector<unsigned char>());
  const FrozenTerms::Scope sizing(s.frozen, *wrapped_);  // so that no evaluation allocates
  std::string reason;
  s.map = makeMap(request, reason);
  if (!s.map) return Refuse(describe(), reason);
  s.work.Resize(s.map->NumCoords(), s.func2 != nullptr);
  s.startVars.assign(s.map->NumVar(), 0.0);
  s.lookCoords.assign(s.map->NumCoords(), 0.0);
  std::vector<double> coords(s.map->NumCoords());
  mol.GetCoords(coords.data());
  s.Start(coords.data());  // where it fails, another start is awaited
  return true;
}

bool QZMappedFunc::SetupConf(const double* coords) {
  if (!state_->map || !wrapped_->SetupConf(coords)) return false;
  state_->routesBefore = state_->map->Routes();
  return state_->Start(coords) || Refuse(describe(), state_->map->Reason());
}

void QZMappedFunc::Clear() {
  state_->map.reset();
  state_->started = false;
  QZForwardingAdaptor::Clear();
}

unsigned int QZMappedFunc::NumVar() const {
  return state_->map ? static_cast<unsigned int>(state_->map->NumVar()) : 0;
}

unsigned int QZMappedFunc::NumCoords() const {
  return state_->map ? static_cast<unsigned int>(state_->map->NumCoords()) : 0;
}

const double* QZMappedFunc::GetVar(const double* coords) {
  if (!state_->map) return nullptr;
  const auto& start = state_->startCoords;
  const bool isStart = state_->started && std::equal(start.begin(), start.end(), coords);
  if (!isStart && !state_->Start(coords)) {
    Refuse(describe(), state_->map->Reason());
    return nullptr;
  }
  return state_->startVars.data();
}

bool QZMappedFunc::AdaptVar(double* coords, const double* vars) const {
  if (!state_->IsStarted()) return false;
  if (state_->map->IsPathDependent()) {
    if (const std::vector<double>* known = state_->memory.Find(vars)) {
      std::ranges::copy(*known, coords);
      return true;
    }
  }
  return state_->LookWith([&](CoordinateMap& map) { return map.Place(vars, coords); });
}

bool QZMappedFunc::AdaptGrad(double* grad, const double* cartGrad, const double* vars) const {
  if (!state_->IsStarted()) return false;
  return state_->LookWith([&](CoordinateMap& map) {
    if (!map.Place(vars, state_->lookCoords.data())) return false;
    map.PullGradient(cartGrad, grad);
    return true;
  });
}

bool QZMappedFunc::AdaptHessian(double* hess,
                                const double* cartHess,
                                const double* cartGrad,
                                const double* vars) const {
  if (!state_->IsStarted()) return false;
  return state_->LookWith([&](CoordinateMap& map) {
    return map.Place(vars, state_->lookCoords.data()) && map.PullHessian(cartHess, cartGrad, hess);
  });
}

double QZMappedFunc::operator()(const double* vars) {
  State& s = *state_;
  if (!s.IsStarted()) return kNoEnergy;
  return s.Complete(*wrapped_, vars, [&] { return s.work.Energy(*wrapped_, *s.map, vars); });
}

double QZMappedFunc::operator()(const double* vars, double* grad) {
  State& s = *state_;
  if (!s.IsStarted()) return kNoEnergy;
  return s.Complete(
      *wrapped_, vars, [&] { return s.work.Gradient(*wrapped_, *s.map, vars, grad); });
}

bool QZMappedFunc::operator()(const double* vars, double* hess, double* grad) {
  State& s = *state_;
  if (s.func2 == nullptr || !s.IsStarted()) return false;
  const FrozenTerms::Scope without(s.frozen, *s.func2);
  return s.work.Hessian(*s.func2, *s.map, vars, hess, grad);
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZMappedFunc::GetFComponents(const double* vars) {
  if (!wrapped_ || vars == nullptr) return QZForwardingAdaptor::GetFComponents(nullptr);
  std::vector<double>& coords = state_->lookCoords;
  if (!AdaptVar(coords.data(), vars)) return QZSystem::QZMakeEmptyIter<QZOpt::QZFComponent>();
  return wrapped_->GetFComponents(coords.data());
}

bool QZMappedFunc::AppendModelHessian(const double* vars,
                                      std::vector<QZOpt::QZMatrixEntry>& entries) {
  State& s = *state_;
  if (!s.IsStarted()) return false;
  const FrozenTerms::Scope without(s.frozen, *wrapped_);
  return s.work.Model(*wrapped_, *s.map, vars, entries);
}

}  // namespace QZMolPotential
