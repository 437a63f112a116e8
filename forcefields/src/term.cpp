// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "term.h"

#include <algorithm>
#include <iomanip>
#include <sstream>
#include <utility>
#include <vector>

#include "choose.h"
#include "molpotential/interaction.h"
#include "qzsystem/error.h"

namespace QZMolPotential {

using Kind = QZForceFieldTermKind;

namespace {

// The evaluator of the bonded terms of one kind; null when the force field has no such kind.
std::unique_ptr<TermEvaluator> MakeBonded(QZForceFieldTermKind term,
                                          const QZChem::QZMolBase& mol,
                                          const Selection& selection,
                                          const std::shared_ptr<const Perception>& from) {
  const auto make = [&]<class K>(const BondedArrays<K>& all) -> std::unique_ptr<TermEvaluator> {
    return std::make_unique<BondedEvaluator<K>>(Chosen(mol, selection, from, all));
  };
  const MmffParameters* const mmff = from->mmff.get();
  const UffParameters* const uff = from->uff.get();
  switch (term) {
    case Kind::Stretch:
      return mmff != nullptr ? make(mmff->stretch) : make(uff->stretch);
    case Kind::Bend:
      return mmff != nullptr ? make(mmff->bend) : make(uff->bend);
    case Kind::StretchBend:
      return mmff != nullptr ? make(mmff->stretchBend) : nullptr;
    case Kind::OutOfPlane:
      return mmff != nullptr ? make(mmff->outOfPlane) : make(uff->inversion);
    case Kind::Torsion:
      return mmff != nullptr ? make(mmff->torsion) : make(uff->torsion);
    case Kind::VanDerWaals:
    case Kind::Electrostatics:
      break;
  }
  return nullptr;
}

}  // namespace

QZForceFieldTerm::Impl::Impl(const Impl& other)
    : kind(other.kind),
      term(other.term),
      selection(other.selection),
      dielectric(other.dielectric),
      distanceDependent(other.distanceDependent),
      cutoff(other.cutoff),
      verbose(other.verbose),
      perception(other.perception),
      whole(other.whole != nullptr ? other.whole->Copy() : nullptr),
      restricted(other.restricted != nullptr ? other.restricted->Copy() : nullptr),
      restrictedTo(other.restrictedTo) {}

std::unique_ptr<TermEvaluator> QZForceFieldTerm::Impl::Make(
    const QZChem::QZMolBase& mol, const std::shared_ptr<const Perception>& from) const {
  if (!IsPairs()) return MakeBonded(term, mol, selection, from);
  if (term == Kind::Electrostatics && kind == QZForceFieldKind::UFF) return nullptr;
  PairInput input = from->pairs;
  input.dielectric = dielectric;
  input.distanceDependent = distanceDependent;
  input.cutoff = cutoff;
  Choose(mol, selection, input);
  return std::make_unique<PairTerm>(
      std::make_shared<PairEvaluator>(std::move(input)),
      PairTerms{term == Kind::VanDerWaals, term == Kind::Electrostatics});
}

const char* QZForceFieldTerm::Impl::Name() const {
  switch (term) {
    case Kind::Stretch:
      return "Stretch";
    case Kind::Bend:
      return "Bend";
    case Kind::StretchBend:
      return "Stretch-Bend";
    case Kind::OutOfPlane:
      return kind == QZForceFieldKind::UFF ? "Inversion" : "Out-of-Plane";
    case Kind::Torsion:
      return "Torsion";
    case Kind::VanDerWaals:
      return "Van der Waals";
    case Kind::Electrostatics:
      return "Electrostatics";
  }
  return "";
}

bool QZForceFieldTerm::Impl::IsPairs() const {
  return term == Kind::VanDerWaals || term == Kind::Electrostatics;
}

void QZForceFieldTerm::Impl::Bind(const QZChem::QZMolBase& mol,
                                  std::shared_ptr<const Perception> from) {
  Unbind();
  whole = Make(mol, from);
  perception = std::move(from);
  if (verbose) Print(mol);
}

void QZForceFieldTerm::Impl::Unbind() {
  whole.reset();
  restricted.reset();
  restrictedTo.clear();
  former.reset();
  formerTo.clear();
  perception.reset();
}

void QZForceFieldTerm::Impl::Restrict(const unsigned char* fixed) {
  const std::size_t length = fixed != nullptr ? perception->NumVar() / 3 : 0;
  const auto isFor = [&](const std::vector<unsigned char>& flags) {
    return flags.size() == length && std::equal(flags.begin(), flags.end(), fixed);
  };
  if (whole == nullptr || isFor(restrictedTo)) return;
  former.swap(restricted);
  formerTo.swap(restrictedTo);
  if (isFor(restrictedTo)) return;
  restricted.reset();
  restrictedTo.clear();
  if (fixed == nullptr) return;
  restricted = whole->Touching(fixed);
  restrictedTo.assign(fixed, fixed + length);
  isNew = true;
}

void QZForceFieldTerm::Impl::Print(const QZChem::QZMolBase& mol) const {
  if (whole == nullptr) return;
  std::vector<double> x(3 * std::size_t{mol.AtomIndexBound()});
  mol.GetCoords(x.data());
  whole->ForEach(x.data(), [&](auto atoms, double energy, auto parameters) {
    std::ostringstream line;
    line << std::fixed << std::setprecision(5) << Name() << " " << energy << "  atoms";
    for (const unsigned int atom : atoms) line << " " << atom + 1;
    line << "  parameters";
    for (const double parameter : parameters) line << " " << parameter;
    QZSystem::QZThrow.Info("%s", line.str().c_str());
  });
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
  return impl_->Name();
}

std::size_t QZForceFieldTerm::NumContributions() const {
  return impl_->Active() != nullptr ? impl_->Active()->Size() : 0;
}

void QZForceFieldTerm::SetDielectric(double constant, bool distanceDependent) {
  if (!(constant > 0.0)) {
    QZSystem::QZThrow.Warning("The dielectric constant must be positive");
    return;
  }
  impl_->dielectric = constant;
  impl_->distanceDependent = distanceDependent;
}

void QZForceFieldTerm::SetCutoff(double distance, double width) {
  if (!(distance >= 0.0) || !(width >= 0.0) || (distance > 0.0 && width > distance)) {
    QZSystem::QZThrow.Warning("A cutoff must not be negative, nor its width greater");
    return;
  }
  impl_->cutoff.distance = distance;
  impl_->cutoff.width = width;
}

unsigned int QZForceFieldTerm::NumVar() const {
  return impl_->perception != nullptr ? impl_->perception->NumVar() : 0;
}

double QZForceFieldTerm::operator()(const double* x) {
  TermEvaluator* active = impl_->Active();
  return active != nullptr ? active->Energy(x) : 0.0;
}

double QZForceFieldTerm::operator()(const double* x, double* grad) {
  TermEvaluator* active = impl_->Active();
  return active != nullptr ? active->Gradient(x, grad) : 0.0;
}

bool QZForceFieldTerm::operator()(const double* x, double* hessian, double* grad) {
  if (impl_->perception == nullptr || hessian == nullptr) return false;
  TermEvaluator* active = impl_->Active();
  if (active != nullptr) active->Hessian(x, hessian, grad);
  return true;
}

bool QZForceFieldTerm::AppendHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) {
  if (impl_->perception == nullptr) return false;
  TermEvaluator* active = impl_->Active();
  if (active != nullptr) active->HessianEntries(x, entries);
  return true;
}

bool QZForceFieldTerm::AppendModelHessian(const double* x,
                                          std::vector<QZOpt::QZMatrixEntry>& entries) {
  TermEvaluator* active = impl_->Active();
  return active != nullptr && active->Model(x, entries);
}

bool QZForceFieldTerm::Freeze(const unsigned char* fixed) {
  if (impl_->perception == nullptr) return false;
  impl_->Restrict(fixed);
  return true;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZForceFieldTerm::GetFComponents(const double* x) {
  const double value = x != nullptr ? (*this)(x) : 0.0;
  return new QZSystem::QZVectorIter<QZOpt::QZFComponent>({{GetName(), value}});
}

QZSystem::QZIterBase<QZInteraction>* QZForceFieldTerm::GetInteractions(
    const QZChem::QZMolBase& mol, const double* coords, unsigned int selector) const {
  const auto from = coords != nullptr && (selector & impl_->Category()) != 0
                        ? Perception::Find(mol, impl_->kind)
                        : nullptr;
  if (from == nullptr) return QZSystem::QZMakeEmptyIter<QZInteraction>();
  std::unique_ptr<TermEvaluator> made;
  TermEvaluator* terms = impl_->Active();
  if (from != impl_->perception) {
    made = impl_->Make(mol, from);
    terms = made.get();
  }
  std::vector<QZInteraction> all;
  if (terms != nullptr) {
    all.reserve(terms->Size());
    terms->ForEach(coords, [&](auto indices, double energy, auto parameters) {
      std::vector<QZChem::QZAtomBase*> atoms;
      for (const unsigned int i : indices) atoms.push_back(mol.GetAtom(i));
      all.emplace_back(*new QZInteractImpl(GetName(),
                                           energy,
                                           static_cast<unsigned int>(parameters.size()),
                                           parameters.data(),
                                           atoms));
    });
  }
  return new QZSystem::QZVectorIter<QZInteraction>(std::move(all));
}

bool QZForceFieldTerm::Setup(const QZChem::QZMolBase& mol) {
  auto perception = Perception::Find(mol, impl_->kind);
  if (perception == nullptr) {
    Clear();
    return false;
  }
  impl_->Bind(mol, std::move(perception));
  return true;
}

void QZForceFieldTerm::Clear() {
  impl_->Unbind();
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

void QZForceFieldTerm::SetVerbose(bool on) {
  impl_->verbose = on;
}

void QZForceFieldTerm::ClearPredicates() {
  impl_->selection = Selection();
}

}  // namespace QZMolPotential
