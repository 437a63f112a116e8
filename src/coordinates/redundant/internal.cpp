// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/internal.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "coordinates/map.h"
#include "coordinates/maps.h"
#include "qzchem/mol.h"
#include "qzsystem/error.h"

namespace QZMolPotential {

struct QZInternalAdaptor::State {
  QZChem::QZGraphMol mol;
  std::vector<unsigned char> fixed;
  std::unique_ptr<CoordinateMap> map;
  std::vector<double> coords, vars;  // the current ones

  explicit State(const QZChem::QZMolBase& m)
      : mol(m), fixed(m.AtomIndexBound(), 1), coords(3 * std::size_t{m.AtomIndexBound()}) {
    for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) fixed[atom.GetIndex()] = 0;
    mol.GetCoords(coords.data());
  }
  State(const State& other)
      : mol(other.mol),
        fixed(other.fixed),
        map(other.map->Clone()),
        coords(other.coords),
        vars(other.vars) {}

  // Makes the map at the current coordinates. Where it fails all stays as it was.
  bool Bind(std::vector<unsigned char> fixedAtoms, bool anyFixed) {
    MapRequest request;
    request.mol = &mol;
    request.fixed = std::move(fixedAtoms);
    request.anyFixed = anyFixed;
    request.overallMotion = anyFixed;
    mol.SetCoords(coords.data());
    std::string reason;
    auto made = MakeMap(QZCoordinates::Internal, request, reason);
    if (!made) return Fail(reason);
    std::vector<double> start(made->NumVar());
    if (!made->Start(coords.data(), start.data())) return Fail(made->Reason());
    map = std::move(made);
    vars = std::move(start);
    fixed = std::move(request.fixed);
    return true;
  }
  static bool Fail(const std::string& reason) {
    QZSystem::QZThrow.Warning("QZInternalAdaptor: %s", reason.c_str());
    return false;
  }
};

QZInternalAdaptor::QZInternalAdaptor() = default;
QZInternalAdaptor::QZInternalAdaptor(const QZInternalAdaptor& other)
    : QZFixMolAdaptor1(other),
      state_(other.state_ ? std::make_unique<State>(*other.state_) : nullptr) {}
QZInternalAdaptor::QZInternalAdaptor(QZInternalAdaptor&&) noexcept = default;
QZInternalAdaptor& QZInternalAdaptor::operator=(const QZInternalAdaptor& other) {
  if (this != &other) {
    state_ = other.state_ ? std::make_unique<State>(*other.state_) : nullptr;
  }
  return *this;
}
QZInternalAdaptor& QZInternalAdaptor::operator=(QZInternalAdaptor&&) noexcept = default;
QZInternalAdaptor::~QZInternalAdaptor() = default;

bool QZInternalAdaptor::Setup(const QZChem::QZMolBase& mol) {
  if (!mol.IsValid()) return false;
  auto state = std::make_unique<State>(mol);
  if (!state->Bind(state->fixed, /*anyFixed=*/false)) return false;
  state_ = std::move(state);
  return true;
}

unsigned int QZInternalAdaptor::NumFuncVar() const {
  return state_ ? static_cast<unsigned int>(state_->coords.size()) : 0;
}

unsigned int QZInternalAdaptor::NumOptVar() const {
  return state_ ? static_cast<unsigned int>(state_->vars.size()) : 0;
}

bool QZInternalAdaptor::FuncVarToOptVar(const double* coords, double* vars) {
  if (!state_) return false;
  State& s = *state_;
  if (!std::equal(s.coords.begin(), s.coords.end(), coords)) {
    std::vector<double> fresh(s.vars.size());
    if (!s.map->Start(coords, fresh.data())) return State::Fail(s.map->Reason());
    s.vars = std::move(fresh);
    s.coords.assign(coords, coords + s.coords.size());
  }
  std::ranges::copy(s.vars, vars);
  return true;
}

bool QZInternalAdaptor::OptVarToFuncVar(const double* vars, double* coords) {
  if (!state_) return false;
  State& s = *state_;
  if (!s.map->Place(vars, coords)) return State::Fail(s.map->Reason());
  std::copy_n(vars, s.vars.size(), s.vars.begin());
  std::copy_n(coords, s.coords.size(), s.coords.begin());
  return true;
}

bool QZInternalAdaptor::FuncGradToOptGrad(const double* /*coords*/,
                                          double* cartGrad,
                                          double* grad) {
  if (!state_) return false;
  std::fill_n(grad, state_->vars.size(), 0.0);
  state_->map->PullGradient(cartGrad, grad);
  return true;
}

bool QZInternalAdaptor::OptGradToFuncGrad(const double*, double*) {
  return false;
}

bool QZInternalAdaptor::GetAdaptedVariables(double* vars) const {
  if (!state_ || vars == nullptr) return false;
  std::ranges::copy(state_->vars, vars);
  return true;
}

void QZInternalAdaptor::GetAdaptedVariables(const QZChem::QZMolBase& /*mol*/, double* vars) const {
  if (!state_) {
    QZSystem::QZThrow.Warning("QZInternalAdaptor has not been set up");
    return;
  }
  std::printf("\nDelocalised internal coordinates:");
  for (std::size_t i = 0; i < state_->vars.size(); ++i) {
    std::printf("%s%12.5f", i % 5 == 0 ? "\n" : "", state_->vars[i]);
  }
  std::printf("\n");
  if (vars != nullptr) std::ranges::copy(state_->vars, vars);
}

void QZInternalAdaptor::FixAtoms(int*& atoms) {
  if (!state_ || atoms == nullptr) return;
  State& s = *state_;
  std::vector<unsigned char> fixed = s.fixed;  // holes stay fixed
  bool anyFixed = false;
  for (const auto& atom : QZSystem::QZRange(s.mol.GetAtoms())) {
    const bool isFixed = atoms[atom.GetIndex()] < 0;
    fixed[atom.GetIndex()] = isFixed ? 1 : 0;
    anyFixed = anyFixed || isFixed;
  }
  s.Bind(std::move(fixed), anyFixed);
}

}  // namespace QZMolPotential
