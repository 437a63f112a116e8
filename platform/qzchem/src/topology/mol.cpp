// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzchem/mol.h"

#include <algorithm>

#include "topology/mol_impl.h"
#include "topology/topology.h"

namespace QZChem {

using QZSystem::QZIterBase;
using QZSystem::QZPointerIter;

namespace {

template <class T>
QZIterBase<T>* IterateOver(const std::vector<std::unique_ptr<T>>& slots, unsigned int count) {
  std::vector<T*> present;
  present.reserve(count);
  for (const auto& slot : slots) {
    if (slot != nullptr) present.push_back(slot.get());
  }
  return new QZPointerIter<T>(std::move(present));
}

}  // namespace

void QZAtomBase::SetFormalCharge(int charge) {
  if (charge == formalCharge_) return;
  formalCharge_ = charge;
  mol_->InvalidateTopology();
}

void QZAtomBase::SetIsotope(unsigned int isotope) {
  if (isotope == isotope_) return;
  isotope_ = isotope;
  mol_->InvalidateTopology();
}

void QZAtomBase::SetRadicalElectrons(unsigned int electrons) {
  if (electrons == radicalElectrons_) return;
  radicalElectrons_ = electrons;
  mol_->InvalidateTopology();
}

bool QZBondBase::SetOrder(unsigned int order) {
  if (order < 1 || order > 3) return false;
  if (order != order_) mol_->InvalidateTopology();
  order_ = order;
  return true;
}

unsigned int QZAtomBase::GetHeavyDegree() const {
  return static_cast<unsigned int>(std::ranges::count_if(bonds_, [this](const QZBondBase* bond) {
    return bond->GetNeighbour(this)->GetAtomicNumber() != 1;
  }));
}

QZIterBase<QZBondBase>* QZAtomBase::GetBonds() const {
  return new QZPointerIter<QZBondBase>(bonds_);
}

QZIterBase<QZAtomBase>* QZAtomBase::GetNeighbours() const {
  std::vector<QZAtomBase*> neighbours;
  neighbours.reserve(bonds_.size());
  for (const QZBondBase* bond : bonds_) neighbours.push_back(bond->GetNeighbour(this));
  return new QZPointerIter<QZAtomBase>(std::move(neighbours));
}

const QZMolBase& QZAtomBase::GetMol() const {
  return *mol_->owner;
}

QZAtomBase* QZBondBase::GetNeighbour(const QZAtomBase* atom) const {
  if (atom == begin_) return end_;
  return atom == end_ ? begin_ : nullptr;
}

bool QZBondBase::IsInRing() const {
  return mol_->Topology()->bondInRing[index_] != 0;
}

bool QZBondBase::IsAromatic() const {
  return mol_->Topology()->bondAromatic[index_] != 0;
}

QZMolImpl::QZMolImpl(const QZMolImpl& other, QZMolBase* mol)
    : owner(mol),
      coords(other.coords),
      numAtoms(other.numAtoms),
      numBonds(other.numBonds),
      title(other.title),
      energy(other.energy),
      sdData(other.sdData) {
  atoms.reserve(other.atoms.size());
  for (const auto& source : other.atoms) {
    auto& atom = atoms.emplace_back(source != nullptr ? new QZAtomBase(*source) : nullptr);
    if (atom != nullptr) atom->mol_ = this;
  }
  bonds.reserve(other.bonds.size());
  for (const auto& source : other.bonds) {
    auto& bond = bonds.emplace_back(source != nullptr ? new QZBondBase(*source) : nullptr);
    if (bond == nullptr) continue;
    bond->mol_ = this;
    bond->begin_ = atoms[source->begin_->index_].get();
    bond->end_ = atoms[source->end_->index_].get();
  }
  for (const auto& atom : atoms) {
    if (atom == nullptr) continue;
    for (QZBondBase*& bond : atom->bonds_) bond = bonds[bond->index_].get();
  }
  const std::lock_guard lock(other.topologyMutex_);
  topology_ = other.topology_;
}

QZAtomBase* QZMolImpl::append(std::unique_ptr<QZAtomBase> atom, const double* xyz) {
  atom->mol_ = this;
  atom->index_ = static_cast<unsigned int>(atoms.size());
  coords.insert(coords.end(), xyz, xyz + 3);
  ++numAtoms;
  InvalidateTopology();
  return atoms.emplace_back(std::move(atom)).get();
}

QZBondBase* QZMolImpl::append(std::unique_ptr<QZBondBase> bond,
                              QZAtomBase* begin,
                              QZAtomBase* end) {
  bond->mol_ = this;
  bond->index_ = static_cast<unsigned int>(bonds.size());
  bond->begin_ = begin;
  bond->end_ = end;
  begin->bonds_.push_back(bond.get());
  end->bonds_.push_back(bond.get());
  ++numBonds;
  InvalidateTopology();
  return bonds.emplace_back(std::move(bond)).get();
}

QZAtomBase* QZMolImpl::AddAtom(unsigned int atomicNumber, const double* xyz) {
  std::unique_ptr<QZAtomBase> atom(new QZAtomBase);
  atom->atomicNumber_ = atomicNumber;
  return append(std::move(atom), xyz);
}

QZAtomBase* QZMolImpl::AddCopy(const QZAtomBase& source, const double* xyz) {
  std::unique_ptr<QZAtomBase> atom(new QZAtomBase(source));
  atom->bonds_.clear();
  return append(std::move(atom), xyz);
}

QZBondBase* QZMolImpl::AddBond(QZAtomBase* begin, QZAtomBase* end, unsigned int order) {
  if (!Owns(begin) || !Owns(end) || begin == end || order < 1 || order > 3) return nullptr;
  for (const QZBondBase* bond : begin->bonds_) {
    if (bond->GetNeighbour(begin) == end) return nullptr;
  }
  std::unique_ptr<QZBondBase> bond(new QZBondBase);
  bond->order_ = order;
  return append(std::move(bond), begin, end);
}

QZBondBase* QZMolImpl::AddCopy(const QZBondBase& source, QZAtomBase* begin, QZAtomBase* end) {
  return append(std::unique_ptr<QZBondBase>(new QZBondBase(source)), begin, end);
}

bool QZMolImpl::DeleteBond(const QZBondBase* bond) {
  if (!Owns(bond)) return false;
  std::erase(bond->begin_->bonds_, bond);
  std::erase(bond->end_->bonds_, bond);
  bonds[bond->index_].reset();
  --numBonds;
  InvalidateTopology();
  return true;
}

bool QZMolImpl::DeleteAtom(const QZAtomBase* atom) {
  if (!Owns(atom)) return false;
  while (!atom->bonds_.empty()) DeleteBond(atom->bonds_.back());
  const std::size_t index = atom->index_;
  std::fill_n(coords.begin() + static_cast<std::ptrdiff_t>(3 * index), 3, 0.0);
  atoms[index].reset();
  --numAtoms;
  InvalidateTopology();
  return true;
}

void QZMolImpl::Sweep() {
  if (numAtoms == atoms.size() && numBonds == bonds.size()) return;
  std::vector<double> dense;
  dense.reserve(std::size_t{3} * numAtoms);
  for (std::size_t i = 0; i < atoms.size(); ++i) {
    if (atoms[i] == nullptr) continue;
    const auto from = coords.begin() + static_cast<std::ptrdiff_t>(3 * i);
    dense.insert(dense.end(), from, from + 3);
  }
  coords = std::move(dense);
  std::erase(atoms, nullptr);
  std::erase(bonds, nullptr);
  for (std::size_t i = 0; i < atoms.size(); ++i) atoms[i]->index_ = static_cast<unsigned int>(i);
  for (std::size_t i = 0; i < bonds.size(); ++i) bonds[i]->index_ = static_cast<unsigned int>(i);
  InvalidateTopology();
}

bool QZMolImpl::Owns(const QZAtomBase* atom) const {
  return atom != nullptr && atom->mol_ == this;
}

bool QZMolImpl::Owns(const QZBondBase* bond) const {
  return bond != nullptr && bond->mol_ == this;
}

std::shared_ptr<const QZTopology> QZMolImpl::Topology() const {
  const std::lock_guard lock(topologyMutex_);
  if (topology_ == nullptr) topology_ = QZPerceiveTopology(*owner);
  return topology_;
}

void QZMolImpl::InvalidateTopology() {
  const std::lock_guard lock(topologyMutex_);
  topology_.reset();
}

void QZMolImpl::SetTopology(std::shared_ptr<const QZTopology> topology) {
  const std::lock_guard lock(topologyMutex_);
  topology_ = std::move(topology);
}

QZMolBase::QZMolBase() : impl_(std::make_unique<QZMolImpl>(this)) {}

QZMolBase::QZMolBase(const QZMolBase& other)
    : QZSystem::QZBase(other), impl_(std::make_unique<QZMolImpl>(*other.impl_, this)) {}

// The source keeps a molecule without atoms, so that it stays usable.
QZMolBase::QZMolBase(QZMolBase&& other) noexcept
    : QZSystem::QZBase(std::move(other)),
      impl_(std::move(other.impl_)) {  // NOLINT(bugprone-use-after-move)
  impl_->owner = this;
  other.impl_ = std::make_unique<QZMolImpl>(&other);  // NOLINT(bugprone-use-after-move)
}

QZMolBase& QZMolBase::operator=(const QZMolBase& other) {
  if (this == &other) return *this;
  auto copy = std::make_unique<QZMolImpl>(*other.impl_, this);
  QZSystem::QZBase::operator=(other);
  impl_ = std::move(copy);
  return *this;
}

QZMolBase& QZMolBase::operator=(QZMolBase&& other) noexcept {
  if (this == &other) return *this;
  QZSystem::QZBase::operator=(std::move(other));
  impl_ = std::move(other.impl_);  // NOLINT(bugprone-use-after-move)
  impl_->owner = this;
  other.impl_ = std::make_unique<QZMolImpl>(&other);  // NOLINT(bugprone-use-after-move)
  return *this;
}

QZMolBase::~QZMolBase() = default;

bool QZMolBase::IsValid() const {
  return impl_->numAtoms > 0;
}
unsigned int QZMolBase::NumAtoms() const {
  return impl_->numAtoms;
}
unsigned int QZMolBase::NumBonds() const {
  return impl_->numBonds;
}

unsigned int QZMolBase::AtomIndexBound() const {
  return static_cast<unsigned int>(impl_->atoms.size());
}

unsigned int QZMolBase::BondIndexBound() const {
  return static_cast<unsigned int>(impl_->bonds.size());
}

QZIterBase<QZAtomBase>* QZMolBase::GetAtoms() const {
  return IterateOver(impl_->atoms, impl_->numAtoms);
}

QZIterBase<QZBondBase>* QZMolBase::GetBonds() const {
  return IterateOver(impl_->bonds, impl_->numBonds);
}

QZAtomBase* QZMolBase::GetAtom(unsigned int index) const {
  return index < impl_->atoms.size() ? impl_->atoms[index].get() : nullptr;
}

QZBondBase* QZMolBase::GetBond(unsigned int index) const {
  return index < impl_->bonds.size() ? impl_->bonds[index].get() : nullptr;
}

void QZMolBase::GetCoords(double* out) const {
  std::ranges::copy(impl_->coords, out);
}

void QZMolBase::GetCoords(const QZAtomBase* atom, double* xyz) const {
  if (!impl_->Owns(atom)) return;
  std::copy_n(&impl_->coords[std::size_t{3} * atom->GetIndex()], 3, xyz);
}

bool QZMolBase::SetCoords(const double* coords) {
  if (coords == nullptr) return false;
  for (std::size_t i = 0; i < impl_->atoms.size(); ++i) {
    if (impl_->atoms[i] != nullptr) std::copy_n(coords + 3 * i, 3, &impl_->coords[3 * i]);
  }
  return true;
}

bool QZMolBase::SetCoords(const QZAtomBase* atom, const double* xyz) {
  if (!impl_->Owns(atom) || xyz == nullptr) return false;
  std::copy_n(xyz, 3, &impl_->coords[std::size_t{3} * atom->GetIndex()]);
  return true;
}

const char* QZMolBase::GetTitle() const {
  return impl_->title.c_str();
}

bool QZMolBase::SetTitle(const char* title) {
  if (title == nullptr) return false;
  impl_->title = title;
  return true;
}

double QZMolBase::GetEnergy() const {
  return impl_->energy;
}
void QZMolBase::SetEnergy(double energy) {
  impl_->energy = energy;
}
void QZMolBase::Sweep() {
  impl_->Sweep();
}

QZGraphMol::QZGraphMol(unsigned int reserve) {
  impl_->atoms.reserve(reserve);
  impl_->coords.reserve(std::size_t{3} * reserve);
}

QZGraphMol::QZGraphMol(const QZMolBase& other) : QZMolBase(other) {}

QZGraphMol& QZGraphMol::operator=(const QZMolBase& other) {
  QZMolBase::operator=(other);
  return *this;
}

QZAtomBase* QZGraphMol::AddAtom(unsigned int atomicNumber) {
  return AddAtom(atomicNumber, 0.0, 0.0, 0.0);
}

QZAtomBase* QZGraphMol::AddAtom(unsigned int atomicNumber, double x, double y, double z) {
  const double xyz[3] = {x, y, z};
  return impl_->AddAtom(atomicNumber, xyz);
}

QZBondBase* QZGraphMol::AddBond(QZAtomBase* begin, QZAtomBase* end, unsigned int order) {
  return impl_->AddBond(begin, end, order);
}

bool QZGraphMol::DeleteAtom(QZAtomBase* atom) {
  return impl_->DeleteAtom(atom);
}
bool QZGraphMol::DeleteBond(QZBondBase* bond) {
  return impl_->DeleteBond(bond);
}

bool QZSetSDData(QZMolBase& mol, const std::string& tag, const std::string& value) {
  if (tag.empty()) return false;
  auto& data = QZMolAccess::Impl(mol).sdData;
  const auto found = std::ranges::find(data, tag, &std::pair<std::string, std::string>::first);
  if (found != data.end()) {
    found->second = value;
    data.erase(std::remove_if(
                   found + 1, data.end(), [&tag](const auto& item) { return item.first == tag; }),
               data.end());
  } else {
    data.emplace_back(tag, value);
  }
  return true;
}

std::string QZGetSDData(const QZMolBase& mol, const std::string& tag) {
  const auto& data = QZMolAccess::Impl(mol).sdData;
  const auto found = std::ranges::find(data, tag, &std::pair<std::string, std::string>::first);
  return found != data.end() ? found->second : std::string();
}

bool QZHasSDData(const QZMolBase& mol, const std::string& tag) {
  const auto& data = QZMolAccess::Impl(mol).sdData;
  return std::ranges::find(data, tag, &std::pair<std::string, std::string>::first) != data.end();
}

std::vector<std::string> QZGetSDTags(const QZMolBase& mol) {
  std::vector<std::string> tags;
  for (const auto& [tag, value] : QZMolAccess::Impl(mol).sdData) tags.push_back(tag);
  return tags;
}

}  // namespace QZChem
