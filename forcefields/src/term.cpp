// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "term.h"

#include <exception>
#include <limits>
#include <utility>
#include <vector>

#include "molpotential/interaction.h"
#include "qzsystem/error.h"

namespace QZMolPotential {

using Kind = QZForceFieldTermKind;

QZForceFieldTerm::Impl::Impl(const Impl& other)
    : kind(other.kind), term(other.term), selection(other.selection) {
  if (other.engine == nullptr) return;
  contributions = other.contributions != nullptr ? other.contributions->Copy() : nullptr;
  UseEngine(std::make_shared<Engine>(*other.engine));
}

void QZForceFieldTerm::Impl::UseEngine(std::shared_ptr<Engine> shared) {
  engine = std::move(shared);
  if (contributions != nullptr) contributions->Bind(*engine);
}

std::unique_ptr<Contributions> QZForceFieldTerm::Impl::Make(
    const Perception& perception, const Contributions::Owner& owner) const {
  const auto make = kind == QZForceFieldKind::UFF ? &MakeUffContributions : &MakeMmffContributions;
  return make(perception, term, selection, owner);
}

unsigned int QZForceFieldTerm::Impl::Category() const {
  switch (term) {
    case Kind::Stretch:
      return QZCategoryStretch;
    case Kind::Bend:
      return QZCategoryBend;
    case Kind::StretchBend:
      return QZCategoryStretchBend;
    case Kind::OutOfPlane:
      return QZCategoryOutOfPlane;
    case Kind::Torsion:
      return QZCategoryTorsion;
    case Kind::VanDerWaals:
      return QZCategoryVdw;
    case Kind::Electrostatics:
      return QZCategoryElectrostatic;
  }
  return 0;
}

// True when the term's own bit is asked for and is one of those that the predicate's kind serves.
bool QZForceFieldTerm::Impl::Owns(unsigned int which, unsigned int category) const {
  return (which & category & Category()) != 0;
}

QZForceFieldTerm::QZForceFieldTerm(QZForceFieldKind kind, QZForceFieldTermKind term)
    : impl_(std::make_unique<Impl>(kind, term)) {}

QZForceFieldTerm::QZForceFieldTerm(const QZForceFieldTerm& other)
    : QZForceFieldTerm(other.GetForceField(), other.GetTerm()) {
  *this = other;
}

QZForceFieldTerm& QZForceFieldTerm::operator=(const QZForceFieldTerm& other) {
  if (this != &other) impl_ = std::make_unique<Impl>(*other.impl_);
  return *this;
}

QZForceFieldTerm::~QZForceFieldTerm() = default;

QZForceFieldTerm* QZForceFieldTerm::CreateCopy() const {
  return new QZForceFieldTerm(*this);
}

QZForceFieldKind QZForceFieldTerm::GetForceField() const {
  return impl_->kind;
}

QZForceFieldTermKind QZForceFieldTerm::GetTerm() const {
  return impl_->term;
}

const char* QZForceFieldTerm::GetName() const {
  switch (impl_->term) {
    case Kind::Stretch:
      return "Stretch";
    case Kind::Bend:
      return "Bend";
    case Kind::StretchBend:
      return "Stretch-Bend";
    case Kind::OutOfPlane:
      return impl_->kind == QZForceFieldKind::UFF ? "Inversion" : "Out-of-Plane";
    case Kind::Torsion:
      return "Torsion";
    case Kind::VanDerWaals:
      return "Van der Waals";
    case Kind::Electrostatics:
      return "Electrostatics";
  }
  return "";
}

std::size_t QZForceFieldTerm::NumContributions() const {
  return impl_->contributions != nullptr ? impl_->contributions->Size() : 0;
}

unsigned int QZForceFieldTerm::NumVar() const {
  return impl_->engine != nullptr ? impl_->engine->NumVar() : 0;
}

double QZForceFieldTerm::operator()(const double* x) {
  if (impl_->contributions == nullptr) return 0.0;
  try {
    return impl_->contributions->Energy(impl_->engine->Bind(x));
  } catch (const std::exception& error) {
    QZSystem::QZThrow.Warning("%s: %s", GetName(), error.what());
    return std::numeric_limits<double>::quiet_NaN();
  }
}

double QZForceFieldTerm::operator()(const double* x, double* grad) {
  if (impl_->contributions == nullptr) return 0.0;
  Engine& engine = *impl_->engine;
  try {
    double* coords = engine.Bind(x);
    const double energy =
        impl_->contributions->EnergyAndGradient(coords, engine.GradientTarget(grad));
    engine.AddGradient(grad);
    return energy;
  } catch (const std::exception& error) {
    QZSystem::QZThrow.Warning("%s: %s", GetName(), error.what());
    return std::numeric_limits<double>::quiet_NaN();
  }
}

bool QZForceFieldTerm::operator()(const double* x, double* hessian, double* grad) {
  if (impl_->engine == nullptr || hessian == nullptr) return false;
  if (impl_->contributions == nullptr || impl_->contributions->Size() == 0) return true;
  constexpr double kStep = 1e-4;  // Å
  QZOpt::NumericHessian(*this, x, hessian, kStep);
  if (grad != nullptr) (*this)(x, grad);
  return true;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZForceFieldTerm::GetFComponents(const double* x) {
  const double value = x != nullptr ? (*this)(x) : 0.0;
  return new QZSystem::QZVectorIter<QZOpt::QZFComponent>({{GetName(), value}});
}

QZSystem::QZIterBase<QZInteraction>* QZForceFieldTerm::GetInteractions(
    const QZChem::QZMolBase& mol, const double* coords, unsigned int selector) const {
  std::vector<QZInteraction> all;
  const auto perception = coords != nullptr && (selector & impl_->Category()) != 0
                              ? Perception::Make(mol, impl_->kind)
                              : nullptr;
  if (perception == nullptr) return QZSystem::QZMakeEmptyIter<QZInteraction>();
  try {
    const auto engine = perception->MakeEngine();
    const auto contributions = impl_->Make(*perception, {*engine, /*keepsAtoms=*/true});
    const auto add = [&](double energy, const Contributions::Atoms& indices) {
      std::vector<QZChem::QZAtomBase*> atoms;
      for (const unsigned int i : indices) {
        atoms.push_back(mol.GetAtom(perception->Atom(i).GetIndex()));
      }
      all.emplace_back(*new QZInteractImpl(GetName(), energy, 0, nullptr, atoms));
    };
    if (contributions != nullptr) contributions->ForEach(engine->Bind(coords), add);
  } catch (const std::exception& error) {
    QZSystem::QZThrow.Warning("%s: %s", GetName(), error.what());
  }
  return new QZSystem::QZVectorIter<QZInteraction>(std::move(all));
}

bool QZForceFieldTerm::Setup(const QZChem::QZMolBase& mol) {
  auto perception = std::exchange(impl_->sharedPerception, nullptr);
  auto engine = std::exchange(impl_->sharedEngine, nullptr);
  Clear();
  if (perception == nullptr) perception = Perception::Make(mol, impl_->kind);
  if (perception == nullptr) return false;
  if (engine == nullptr) engine = perception->MakeEngine();
  try {
    impl_->contributions = impl_->Make(*perception, {*engine});
  } catch (const std::exception& error) {
    QZSystem::QZThrow.Warning("%s: %s", GetName(), error.what());
    return false;
  }
  impl_->engine = std::move(engine);
  return true;
}

void QZForceFieldTerm::Clear() {
  impl_->contributions.reset();
  impl_->engine.reset();
}

bool QZForceFieldTerm::Set(const Selection::BondPairPredicate& pred, unsigned int which) {
  if (!impl_->Owns(which, QZCategoryBondPairs)) return false;
  impl_->selection.bondPairs.Set(pred);
  return true;
}

bool QZForceFieldTerm::Set(const Selection::AtomPairPredicate& pred, unsigned int which) {
  if (!impl_->Owns(which, QZCategoryAtomPairs)) return false;
  impl_->selection.atomPairs.Set(pred);
  return true;
}

bool QZForceFieldTerm::Set(const Selection::BondPredicate& pred, unsigned int which) {
  if (!impl_->Owns(which, QZCategoryStretch)) return false;
  impl_->selection.bonds.Set(pred);
  return true;
}

bool QZForceFieldTerm::Set(const Selection::AtomPredicate& pred, unsigned int which) {
  if (!impl_->Owns(which, QZCategoryAtomGroups)) return false;
  impl_->selection.atoms.Set(pred);
  return true;
}

void QZForceFieldTerm::ClearPredicates() {
  impl_->selection = Selection();
}

}  // namespace QZMolPotential
