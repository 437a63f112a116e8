// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/coordinates.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>
#include <optional>
#include <string>
#include <utility>

#include "coordinates/cartesian/cartesian_map.h"
#include "coordinates/evaluation.h"
#include "coordinates/maps.h"
#include "molpotential/invariance.h"
#include "qzchem/mol.h"
#include "qzsystem/error.h"

namespace QZMolPotential {
namespace {

constexpr std::array<std::pair<const char*, QZCoordinates>, 11> kNames{{
    {"cartesian", QZCoordinates::Cartesian},
    {"degfree", QZCoordinates::DegFree},
    {"rigid", QZCoordinates::RigidBody},
    {"cluster", QZCoordinates::Cluster},
    {"redundant", QZCoordinates::Redundant},
    {"internal", QZCoordinates::Internal},
    {"zmatrix", QZCoordinates::ZMatrix},
    {"torsion", QZCoordinates::Torsion},
    {"torsion-rigid", QZCoordinates::TorsionRigid},
    {"subset", QZCoordinates::Cartesian},
    {"quaternion", QZCoordinates::RigidBody},
}};

// Points of a run whose geometries cannot be computed from their variables alone.
class Memory {
 public:
  void Start(const std::vector<double>& vars, const std::vector<double>& coords) {
    for (Spot& spot : spots_) {
      spot.vars.resize(vars.size());
      spot.coords.resize(coords.size());
      spot.isSet = false;
    }
    keep(spots_[kStart], vars.data(), coords.data());
    lowest_ = std::numeric_limits<double>::infinity();
  }
  void Add(const double* vars, const double* coords, double energy) {
    if (spots_[kStart].vars.empty()) return;
    if (energy < lowest_) {
      lowest_ = energy;
      keep(spots_[kLowest], vars, coords);
    }
    keep(spots_[kFirstRecent + next_++ % kRecent], vars, coords);
  }
  const std::vector<double>* Find(const double* vars) const {
    for (const Spot& spot : spots_) {
      if (spot.isSet && std::equal(spot.vars.begin(), spot.vars.end(), vars)) return &spot.coords;
    }
    return nullptr;
  }

 private:
  static constexpr std::size_t kRecent = 8;
  static constexpr std::size_t kLowest = 0;
  static constexpr std::size_t kStart = 1;
  static constexpr std::size_t kFirstRecent = 2;
  struct Spot {
    std::vector<double> vars, coords;
    bool isSet = false;
  };
  static void keep(Spot& spot, const double* vars, const double* coords) {
    std::copy_n(vars, spot.vars.size(), spot.vars.begin());
    std::copy_n(coords, spot.coords.size(), spot.coords.begin());
    spot.isSet = true;
  }

  std::array<Spot, kFirstRecent + kRecent> spots_;
  double lowest_ = 0.0;
  std::size_t next_ = 0;
};

// The same variables but for whole turns.
bool IsSame(const std::vector<VariableKind>& kinds, const std::vector<double>& a, const double* b) {
  constexpr double kSame = 1e-9;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    double step = a[i] - b[i];
    if (kinds[i] == VariableKind::Dihedral) step = std::remainder(step, 2.0 * std::numbers::pi);
    if (!(std::abs(step) < kSame)) return false;
  }
  return true;
}

}  // namespace

const char* QZGetCoordinatesName(QZCoordinates kind) {
  const auto found =
      std::ranges::find(kNames, kind, [](const auto& entry) { return entry.second; });
  return found != kNames.end() ? found->first : "";
}

bool QZFindCoordinates(const char* name, QZCoordinates& kind) {
  const auto found = std::ranges::find_if(
      kNames, [&](const auto& entry) { return std::strcmp(entry.first, name) == 0; });
  if (found == kNames.end()) return false;
  kind = found->second;
  return true;
}

struct QZCoordinateFunc::Impl {
  explicit Impl(QZCoordinates k, QZMolFunc2* f) : kind(k), func2(f) {}

  bool Bind(const QZChem::QZMolBase& mol, const QZMolFunc1& func);
  bool Start(const double* coords);
  bool IsStarted() const { return map && started; }
  void Warn(const std::string& reason) const {
    QZSystem::QZThrow.Warning("%s coordinates: %s", QZGetCoordinatesName(kind), reason.c_str());
  }

  QZCoordinates kind;
  QZMolFunc2* func2;  // the wrapped function where it has a Hessian
  std::unique_ptr<QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>> fixedPred;
  std::optional<bool> overallMotion;
  std::vector<unsigned int> moving;  // for the fall-back
  std::unique_ptr<CoordinateMap> map;
  Evaluation work;
  bool started = false;
  std::vector<double> startVars, startCoords;
  mutable std::vector<double> lookCoords;  // of those who only look
  Memory memory;
  std::unique_ptr<QZCoordinateFunc> fallBack;
};

bool QZCoordinateFunc::Impl::Bind(const QZChem::QZMolBase& mol, const QZMolFunc1& func) {
  MapRequest request;
  request.mol = &mol;
  request.fixed.assign(mol.AtomIndexBound(), 1);
  moving.clear();
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    if (fixedPred && (*fixedPred)(atom)) {
      request.anyFixed = true;
    } else {
      request.fixed[atom.GetIndex()] = 0;
      moving.push_back(atom.GetIndex());
    }
  }
  request.overallMotion = overallMotion.value_or(!QZIsFrameInvariant(func));
  std::string reason;
  map = MakeMap(kind, request, reason);
  if (!map) {
    Warn(reason);
    return false;
  }
  work.Resize(map->NumCoords(), func2 != nullptr);
  startVars.assign(map->NumVar(), 0.0);
  lookCoords.assign(map->NumCoords(), 0.0);
  return true;
}

bool QZCoordinateFunc::Impl::Start(const double* coords) {
  std::vector<double> vars(map->NumVar());
  started = map->Start(coords, vars.data());
  if (!started) return false;
  startVars = std::move(vars);
  startCoords.assign(coords, coords + map->NumCoords());
  if (map->IsPathDependent()) memory.Start(startVars, startCoords);
  return true;
}

QZCoordinateFunc::QZCoordinateFunc(QZMolFunc2& f, bool own, QZCoordinates kind)
    : QZForwardingAdaptor(f, own), impl_(std::make_unique<Impl>(kind, &f)) {}
QZCoordinateFunc::QZCoordinateFunc(QZMolFunc1& f, bool own, QZCoordinates kind)
    : QZForwardingAdaptor(f, own), impl_(std::make_unique<Impl>(kind, nullptr)) {}
QZCoordinateFunc::~QZCoordinateFunc() = default;

QZCoordinates QZCoordinateFunc::GetCoordinates() const {
  return impl_->kind;
}

void QZCoordinateFunc::SetFixed(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& fixed) {
  impl_->fixedPred.reset(fixed.CreateCopy());
}

void QZCoordinateFunc::SetOverallMotion(bool on) {
  impl_->overallMotion = on;
}

std::vector<double> QZCoordinateFunc::GetScales() const {
  return impl_->map ? ScalesOf(impl_->map->Kinds()) : std::vector<double>();
}

bool QZCoordinateFunc::SetMolFunc(QZMolFunc1& func, bool own) {
  impl_->func2 = nullptr;
  return QZForwardingAdaptor::SetMolFunc(func, own);
}

bool QZCoordinateFunc::SetMolFunc2(QZMolFunc2& func, bool own) {
  if (!SetMolFunc(func, own)) return false;
  impl_->func2 = &func;
  if (impl_->map) impl_->work.Resize(impl_->map->NumCoords(), /*hessian=*/true);
  return true;
}

bool QZCoordinateFunc::Setup(const QZChem::QZMolBase& mol) {
  impl_->map.reset();
  impl_->fallBack.reset();
  impl_->started = false;
  if (!mol.IsValid() || !wrapped_ || !wrapped_->Setup(mol)) return false;
  if (!impl_->Bind(mol, *wrapped_)) return false;
  std::vector<double> coords(impl_->map->NumCoords());
  mol.GetCoords(coords.data());
  impl_->Start(coords.data());  // where it fails, another start is awaited
  return true;
}

bool QZCoordinateFunc::SetupConf(const double* coords) {
  if (!impl_->map || !wrapped_->SetupConf(coords)) return false;
  if (impl_->Start(coords)) return true;
  impl_->Warn(impl_->map->Reason());
  return false;
}

void QZCoordinateFunc::Clear() {
  impl_->map.reset();
  impl_->fallBack.reset();
  impl_->started = false;
  QZForwardingAdaptor::Clear();
}

unsigned int QZCoordinateFunc::NumVar() const {
  return impl_->map ? static_cast<unsigned int>(impl_->map->NumVar()) : 0;
}

const double* QZCoordinateFunc::GetVar(const double* coords) {
  if (!impl_->map) return nullptr;
  const auto& start = impl_->startCoords;
  const bool isStart = impl_->started && std::equal(start.begin(), start.end(), coords);
  if (!isStart && !impl_->Start(coords)) {
    impl_->Warn(impl_->map->Reason());
    return nullptr;
  }
  return impl_->startVars.data();
}

bool QZCoordinateFunc::AdaptVar(double* coords, const double* vars) const {
  if (!impl_->IsStarted()) return false;
  CoordinateMap& map = *impl_->map;
  if (!map.IsPathDependent()) return map.Place(vars, coords);
  if (const std::vector<double>* known = impl_->memory.Find(vars)) {
    std::ranges::copy(*known, coords);
    return true;
  }
  return map.Clone()->Place(vars, coords);
}

bool QZCoordinateFunc::AdaptGrad(double* grad, const double* cartGrad, const double* vars) const {
  if (!impl_->IsStarted()) return false;
  CoordinateMap* map = impl_->map.get();
  std::unique_ptr<CoordinateMap> copy;
  if (map->IsPathDependent()) {
    copy = map->Clone();
    map = copy.get();
  }
  if (!map->Place(vars, impl_->lookCoords.data())) return false;
  map->PullGradient(cartGrad, grad);
  return true;
}

double QZCoordinateFunc::operator()(const double* vars) {
  if (!impl_->IsStarted()) return std::numeric_limits<double>::quiet_NaN();
  const double energy = impl_->work.Energy(*wrapped_, *impl_->map, vars);
  if (impl_->map->IsPathDependent()) impl_->memory.Add(vars, impl_->work.Coords().data(), energy);
  return energy;
}

double QZCoordinateFunc::operator()(const double* vars, double* grad) {
  if (!impl_->IsStarted()) return std::numeric_limits<double>::quiet_NaN();
  const double energy = impl_->work.Gradient(*wrapped_, *impl_->map, vars, grad);
  if (impl_->map->IsPathDependent()) impl_->memory.Add(vars, impl_->work.Coords().data(), energy);
  return energy;
}

bool QZCoordinateFunc::operator()(const double* vars, double* hess, double* grad) {
  return impl_->func2 != nullptr && impl_->IsStarted() &&
         impl_->work.Hessian(*impl_->func2, *impl_->map, vars, hess, grad);
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZCoordinateFunc::GetFComponents(const double* vars) {
  if (!wrapped_ || vars == nullptr) return QZForwardingAdaptor::GetFComponents(nullptr);
  std::vector<double>& coords = impl_->lookCoords;
  if (!AdaptVar(coords.data(), vars)) return QZSystem::QZMakeEmptyIter<QZOpt::QZFComponent>();
  return wrapped_->GetFComponents(coords.data());
}

bool QZCoordinateFunc::AppendModelHessian(const double* vars,
                                          std::vector<QZOpt::QZMatrixEntry>& entries) {
  auto* const model = dynamic_cast<QZOpt::QZHessianModel*>(wrapped_.Get());
  if (model == nullptr || !impl_->IsStarted()) return false;
  std::vector<double>& coords = impl_->work.Coords();
  if (!impl_->map->Place(vars, coords.data())) return false;
  std::vector<QZOpt::QZMatrixEntry> cart;
  return model->AppendModelHessian(coords.data(), cart) && impl_->map->PullModel(cart, entries);
}

bool QZCoordinateFunc::Restart(double* vars) {
  if (!impl_->IsStarted() || !impl_->map->StartMatters()) return false;
  std::vector<double> coords(impl_->map->NumCoords());
  std::vector<double> fresh(impl_->map->NumVar());
  if (!AdaptVar(coords.data(), vars)) return false;
  const std::unique_ptr<CoordinateMap> trial = impl_->map->Clone();
  if (!trial->Start(coords.data(), fresh.data())) return false;
  if (!trial->IsPathDependent() && IsSame(trial->Kinds(), fresh, vars)) return false;
  if (!impl_->Start(coords.data())) return false;
  std::ranges::copy(impl_->startVars, vars);
  return true;
}

QZOpt::QZFunc1* QZCoordinateFunc::FallBack(const double* vars, std::vector<double>& start) {
  const bool isComplete = impl_->kind == QZCoordinates::Redundant ||
                          impl_->kind == QZCoordinates::Internal ||
                          impl_->kind == QZCoordinates::ZMatrix;
  if (!isComplete || !impl_->IsStarted()) return nullptr;
  std::vector<double> coords(impl_->map->NumCoords());
  if (!AdaptVar(coords.data(), vars)) return nullptr;
  impl_->fallBack =
      impl_->func2 != nullptr
          ? std::make_unique<QZCoordinateFunc>(*impl_->func2, false, QZCoordinates::Cartesian)
          : std::make_unique<QZCoordinateFunc>(*wrapped_, false, QZCoordinates::Cartesian);
  Impl& other = *impl_->fallBack->impl_;
  other.map = std::make_unique<CartesianMap>(coords.size() / 3, impl_->moving);
  other.work.Resize(coords.size(), other.func2 != nullptr);
  other.lookCoords.resize(coords.size());
  if (!other.Start(coords.data())) return nullptr;
  start = other.startVars;
  return impl_->fallBack.get();
}

const char* QZCoordinateFunc::FallBackName() const {
  return "Cartesian coordinates";
}

void QZCoordinateFunc::ReturnFrom(const double* fallBackVars, double* vars) {
  if (!impl_->fallBack || !impl_->IsStarted()) return;
  std::vector<double> coords(impl_->map->NumCoords());
  impl_->fallBack->AdaptVar(coords.data(), fallBackVars);
  if (!impl_->Start(coords.data())) {
    impl_->Warn(impl_->map->Reason());
    return;
  }
  std::ranges::copy(impl_->startVars, vars);
}

}  // namespace QZMolPotential
