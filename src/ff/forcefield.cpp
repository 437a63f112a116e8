// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/forcefield.h"

#include <algorithm>
#include <mutex>

#include "frame/license.h"
#include "func/components.h"
#include "molpotential/interaction.h"
#include "molpotential/wrappers.h"
#include "qzsystem/error.h"

namespace QZMolPotential {

using QZSystem::QZThrow;

QZFFParamsList::QZFFParamsList(const QZFFParamsList& other) {
  sets_.reserve(other.sets_.size());
  for (const auto& set : other.sets_) Add(*set);
}

QZFFParamsList& QZFFParamsList::operator=(QZFFParamsList other) noexcept {
  sets_.swap(other.sets_);
  return *this;
}

bool QZFFParamsList::Add(const QZFFParams& params) {
  std::unique_ptr<const QZFFParams> copy(params.CreateCopy());
  if (copy == nullptr) return false;
  sets_.push_back(std::move(copy));
  return true;
}

template <class F>
bool QZForceFieldImpl<F>::Add(F& func, bool own) {
  return &func != static_cast<F*>(this) && comps_.Add(func, own);
}

template <class F>
bool QZForceFieldImpl<F>::Add(const QZFFParams& params) {
  return params_.Add(params);
}

template <class F>
bool QZForceFieldImpl<F>::Remove(F& func) {
  return comps_.Remove(func);
}

template <class F>
bool QZForceFieldImpl<F>::PrepMol(QZChem::QZMolBase& mol, bool first, bool second) const {
  bool prepared = true;
  for (const auto& set : params_.Entries()) {
    prepared = set->PrepMol(mol, first, second) && prepared;
  }
  return prepared;
}

template <class F>
std::vector<F*> QZForceFieldImpl<F>::GetComponentPotentials() const {
  std::vector<F*> functions;
  functions.reserve(GetComps().size());
  for (const auto& comp : GetComps()) functions.push_back(comp.first);
  return functions;
}

template <class F>
std::vector<const QZFFParams*> QZForceFieldImpl<F>::GetParams() const {
  std::vector<const QZFFParams*> sets;
  for (const auto& set : params_.Entries()) sets.push_back(set.get());
  return sets;
}

template <class F>
bool QZForceFieldImpl<F>::Setup(const QZChem::QZMolBase& mol) {
  numVar_ = 0;
  bool complete = true;
  for (const auto& comp : GetComps()) {
    if (comp.first->Setup(mol)) {
      numVar_ = comp.first->NumVar();
    } else {
      complete = false;
    }
  }
  return complete;
}

template <class F>
bool QZForceFieldImpl<F>::SetupConf(const double* coords) {
  bool complete = true;
  for (const auto& comp : GetComps()) complete = comp.first->SetupConf(coords) && complete;
  return complete;
}

template <class F>
void QZForceFieldImpl<F>::Clear() {
  for (const auto& comp : GetComps()) comp.first->Clear();
  numVar_ = 0;
}

template <class F>
double QZForceFieldImpl<F>::operator()(const double* x) {
  double energy = 0.0;
  if (numVar_ == 0) return energy;
  for (const auto& comp : GetComps()) energy += (*comp.first)(x);
  return energy;
}

template <class F>
double QZForceFieldImpl<F>::operator()(const double* x, double* grad) {
  double energy = 0.0;
  if (numVar_ == 0) return energy;
  for (const auto& comp : GetComps()) energy += (*comp.first)(x, grad);
  return energy;
}

template <class F>
QZSystem::QZIterBase<QZOpt::QZFComponent>* QZForceFieldImpl<F>::GetFComponents(const double* x) {
  std::vector<QZOpt::QZFComponent> terms;
  for (const auto& comp : GetComps()) AppendComponents(terms, *comp.first, x);
  return new QZSystem::QZVectorIter<QZOpt::QZFComponent>(std::move(terms));
}

template <class F>
QZSystem::QZIterBase<QZInteraction>* QZForceFieldImpl<F>::GetInteractions(
    const QZChem::QZMolBase& mol, const double* coords, unsigned int selector) const {
  auto all = std::make_unique<QZSystem::QZCompositeIter<QZInteraction>>();
  for (const auto& comp : GetComps()) {
    all->Append(comp.first->GetInteractions(mol, coords, selector));
  }
  return all.release();
}

template <class F>
template <class Predicate>
bool QZForceFieldImpl<F>::setAll(const Predicate& pred, unsigned int which) {
  bool accepted = false;
  for (const auto& comp : GetComps()) accepted = comp.first->Set(pred, which) || accepted;
  return accepted;
}

template <class F>
bool QZForceFieldImpl<F>::Set(
    const QZSystem::QZBinaryPredicate<QZChem::QZBondBase, QZChem::QZBondBase>& pred,
    unsigned int which) {
  return setAll(pred, which);
}

template <class F>
bool QZForceFieldImpl<F>::Set(
    const QZSystem::QZBinaryPredicate<QZChem::QZAtomBase, QZChem::QZAtomBase>& pred,
    unsigned int which) {
  return setAll(pred, which);
}

template <class F>
bool QZForceFieldImpl<F>::Set(const QZSystem::QZUnaryPredicate<QZChem::QZBondBase>& pred,
                              unsigned int which) {
  return setAll(pred, which);
}

template <class F>
bool QZForceFieldImpl<F>::Set(const QZSystem::QZUnaryPredicate<QZChem::QZAtomBase>& pred,
                              unsigned int which) {
  return setAll(pred, which);
}

template <class F>
void QZForceFieldImpl<F>::ClearPredicates() {
  for (const auto& comp : GetComps()) comp.first->ClearPredicates();
}

template <class F>
void QZForceFieldImpl<F>::SetVerbose(bool on) {
  for (const auto& comp : GetComps()) comp.first->SetVerbose(on);
}

template <class F>
bool QZForceFieldImpl<F>::IsFrameInvariant() const {
  return std::ranges::all_of(GetComps(),
                             [](const auto& comp) { return QZIsFrameInvariant(*comp.first); });
}

template <class F>
bool QZForceFieldImpl<F>::AppendModelHessian(const double* x,
                                             std::vector<QZOpt::QZMatrixEntry>& entries) {
  bool any = false;
  for (const auto& comp : GetComps()) any = AppendModel(*comp.first, x, entries) || any;
  return any;
}

template <class F>
bool QZForceFieldImpl<F>::Freeze(const unsigned char* fixed) {
  bool any = false;
  for (const auto& comp : GetComps()) any = FreezeTerms(*comp.first, fixed) || any;
  return any;
}

template class QZForceFieldImpl<QZMolFunc1>;
template class QZForceFieldImpl<QZMolFunc2>;

QZGenericFF::QZGenericFF() {
  static std::once_flag asked;
  UseLicensed("QZGenericFF", asked);
}

QZGenericFF::QZGenericFF(const QZGenericFF2& other)
    : QZForceField(other), QZGenericFFImpl(static_cast<const QZGenericFFImpl2&>(other)) {}

QZGenericFF::~QZGenericFF() = default;

QZGenericFF2::QZGenericFF2() {
  static std::once_flag asked;
  UseLicensed("QZGenericFF2", asked);
}

QZGenericFF2::~QZGenericFF2() = default;

bool QZGenericFF2::Add(QZMolFunc1& func, bool own) {
  auto wrapper = std::make_unique<QZNumericMolFunc2>(func, /*own=*/false);
  if (!Add(static_cast<QZMolFunc2&>(*wrapper), /*own=*/true)) return false;
  static_cast<void>(wrapper.release());
  if (own) delete &func;
  return true;
}

bool QZGenericFF2::Remove(QZMolFunc1& /*func*/) {
  return false;
}

void QZGenericFF2::GetComponentPotentials(std::vector<QZMolFunc1*>& functions) const {
  functions.clear();
  for (const auto& comp : GetComps()) functions.push_back(comp.first);
}

bool QZGenericFF2::operator()(const double* x, double* hessian, double* grad) {
  if (hessian == nullptr) {
    QZThrow.Warning("No space allocated for Hessian");
    return false;
  }
  if (NumVar() == 0) return false;
  for (const auto& comp : GetComps()) {
    if ((*comp.first)(x, hessian, grad)) continue;
    const std::unique_ptr<QZSystem::QZIterBase<QZOpt::QZFComponent>> terms(
        comp.first->GetFComponents(nullptr));
    const bool named = terms != nullptr && terms->IsValid();
    QZThrow.Warning("Hessian calculation in %s failed", named ? (*terms)->GetName() : "");
    return false;
  }
  return true;
}

}  // namespace QZMolPotential
