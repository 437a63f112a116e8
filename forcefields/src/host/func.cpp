// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <cmath>
#include <utility>

#include "host/func_impl.h"
#include "kernels/packed.h"
#include "perception/cross.h"
#include "qzsystem/error.h"

namespace QZMolPotential {
namespace {

/// The pairs between those atoms (numbers) of the ligand and of the host that `counts` takes.
template <class Counts>
PairInput Restricted(const PairInput& all, Counts counts) {
  PairInput some = all;
  std::size_t kept = 0;
  for (unsigned int i = 0; i < all.NumAtoms(); ++i) {
    if (!counts(i)) continue;
    some.atoms[kept] = all.atoms[i];
    some.types[kept] = all.types[i];
    some.mobile[kept] = all.mobile[i];
    if (!all.charges.empty()) some.charges[kept] = all.charges[i];
    ++kept;
  }
  some.atoms.resize(kept);
  some.types.resize(kept);
  some.mobile.resize(kept);
  if (!all.charges.empty()) some.charges.resize(kept);
  return some;
}

}  // namespace

void QZHostFunc::Impl::MapHostEntries(std::vector<QZOpt::QZMatrixEntry>& from,
                                      std::size_t first) const {
  std::size_t kept = first;
  for (std::size_t k = first; k < from.size(); ++k) {
    QZOpt::QZMatrixEntry entry = from[k];
    const unsigned int i = variable[ligandBound + entry.row / 3];
    const unsigned int j = variable[ligandBound + entry.column / 3];
    if (i == kRigid || j == kRigid) continue;
    entry.row = 3 * i + entry.row % 3;
    entry.column = 3 * j + entry.column % 3;
    if (entry.row < entry.column) std::swap(entry.row, entry.column);
    from[kept++] = entry;
  }
  from.resize(kept);
}

QZHostFunc::Energies QZHostFunc::Impl::Evaluate(const double* vars, double* gradient) {
  Energies energies;
  Load(vars);
  if (gradient == nullptr) {
    energies.ligand = ligand(x.data());
    if (host != nullptr) energies.host = (*host)(HostPart(x));
  } else {
    std::ranges::fill(grad, 0.0);
    energies.ligand = ligand(x.data(), grad.data());
    if (host != nullptr) energies.host = (*host)(HostPart(x), HostPart(grad));
  }
  for (PairEvaluator& part : between) {
    const PairEnergies sums =
        gradient == nullptr ? part.Energy(x.data(), {}) : part.Gradient(x.data(), {}, grad.data());
    energies.vanDerWaals += sums.vanDerWaals;
    energies.electrostatics += sums.electrostatics;
  }
  if (gradient != nullptr) Unload(gradient);
  return energies;
}

void QZHostFunc::Impl::FreezePairs(const unsigned char* fixed) {
  // By number: whether the atom is fixed, those of the host that never move included.
  std::vector<unsigned char> held(pairs->NumAtoms(), 0);
  bool holdsLigand = false;
  for (unsigned int i = 0; i < held.size(); ++i) {
    const unsigned int at = variable[pairs->atoms[i]];
    held[i] = at == kRigid || (fixed != nullptr && fixed[at] != 0);
    holdsLigand = holdsLigand || (held[i] && pairs->mobile[i]);
  }
  const bool isWhole = !between.empty() && between[0].Input().NumAtoms() == pairs->NumAtoms();
  if (!holdsLigand && isWhole) return;
  between.clear();
  if (!holdsLigand) {
    between.emplace_back(*pairs);
    return;
  }
  between.emplace_back(
      Restricted(*pairs, [&](unsigned int i) { return !pairs->mobile[i] || !held[i]; }));
  if (!flexible.empty()) {
    between.emplace_back(Restricted(
        *pairs, [&](unsigned int i) { return static_cast<bool>(pairs->mobile[i]) == held[i]; }));
  }
}

QZHostFunc::QZHostFunc(const QZHostField& field) : impl_(std::make_unique<Impl>(field)) {}
QZHostFunc::QZHostFunc(const QZHostFunc& other) : impl_(std::make_unique<Impl>(*other.impl_)) {}
QZHostFunc& QZHostFunc::operator=(const QZHostFunc& other) {
  if (this != &other) impl_ = std::make_unique<Impl>(*other.impl_);
  return *this;
}
QZHostFunc::~QZHostFunc() = default;

bool QZHostFunc::Setup(const QZChem::QZMolBase& mol) {
  Clear();
  const auto& data = impl_->field.data_;
  if (data == nullptr) {
    QZSystem::QZThrow.Warning("A ligand has no host: its field is not set up");
    return false;
  }
  const auto* atoms = mol.GetData<HostAtoms>(HostAtomsTag());
  const bool isJoined = atoms != nullptr;
  if (isJoined && mol.AtomIndexBound() != atoms->ligandBound + atoms->atoms.size()) {
    QZSystem::QZThrow.Warning("Atoms were deleted from or added to a ligand joined with its host");
    return false;
  }
  const QZHostOptions& options = impl_->field.GetOptions();
  QZChem::QZGraphMol made;
  const QZChem::QZMolBase& ligand = Impl::LigandIn(mol, made);
  impl_->ligand.SetDielectric(options.dielectric, options.distanceDependent);
  auto perception = Perception::Find(ligand, options.forceField);
  if (perception == nullptr || !impl_->ligand.Setup(ligand)) return false;

  const unsigned int hostBound = data->mol.AtomIndexBound();
  impl_->ligandBound = isJoined ? atoms->ligandBound : mol.AtomIndexBound();
  PairInput input = PairsBetween(*perception, *data->perception, options.forceField);
  input.dielectric = options.dielectric;
  input.distanceDependent = options.distanceDependent;
  input.cutoff.distance = options.cutoff;
  input.cutoff.width = options.cutoffWidth;
  if (isJoined) {
    impl_->flexible = atoms->atoms;
    impl_->host = std::make_unique<QZStandardFF>(data->forceField);
    std::vector<unsigned char> fixed(hostBound, 1);
    for (const unsigned int atom : impl_->flexible) fixed[atom] = 0;
    impl_->host->Freeze(fixed.data());
  }
  impl_->variable.assign(impl_->ligandBound + hostBound, kRigid);
  for (unsigned int i = 0; i < impl_->ligandBound; ++i) impl_->variable[i] = i;
  for (unsigned int f = 0; f < impl_->flexible.size(); ++f) {
    impl_->variable[impl_->ligandBound + impl_->flexible[f]] = impl_->ligandBound + f;
  }
  impl_->x.assign(3 * std::size_t{impl_->ligandBound}, 0.0);
  impl_->x.insert(impl_->x.end(), data->coords.begin(), data->coords.end());
  impl_->grad.assign(impl_->x.size(), 0.0);
  impl_->perception = std::move(perception);
  impl_->pairs = std::make_shared<const PairInput>(std::move(input));
  impl_->FreezePairs(nullptr);
  return true;
}

void QZHostFunc::Clear() {
  impl_->ligand.Clear();
  impl_->between.clear();
  impl_->perception.reset();
  impl_->pairs.reset();
  impl_->host.reset();
  impl_->flexible.clear();
  impl_->ligandBound = 0;
}

QZHostFunc::Energies QZHostFunc::GetEnergies(const double* x) {
  return impl_->IsBound() ? impl_->Evaluate(x, nullptr) : Energies();
}

const std::vector<unsigned int>& QZHostFunc::GetFlexibleAtoms() const {
  return impl_->flexible;
}

unsigned int QZHostFunc::NumVar() const {
  return impl_->IsBound() ? 3 * impl_->NumAtoms() : 0;
}

double QZHostFunc::operator()(const double* x) {
  return GetEnergies(x).Sum();
}

double QZHostFunc::operator()(const double* x, double* grad) {
  return impl_->IsBound() ? impl_->Evaluate(x, grad).Sum() : 0.0;
}

bool QZHostFunc::operator()(const double* x, double* hessian, double* grad) {
  if (!impl_->IsBound() || hessian == nullptr) return false;
  if (grad != nullptr) impl_->Evaluate(x, grad);
  impl_->Load(x);
  // The ligand's variables come first: its Hessian is the upper left of the whole.
  if (!impl_->ligand(impl_->x.data(), hessian, nullptr)) return false;
  const std::vector<unsigned int>& variable = impl_->variable;
  const auto add = [&](unsigned int i, unsigned int j, const double* h) {
    if (variable[i] == kRigid || variable[j] == kRigid) return;
    const Mat3 block{{h[0], h[1], h[2]}, {h[1], h[3], h[4]}, {h[2], h[4], h[5]}};
    if (i == j) {
      AddDiagonalBlock(hessian, variable[i], block);
    } else {
      AddMixedBlock(hessian, variable[i], variable[j], block);
    }
  };
  for (PairEvaluator& part : impl_->between) {
    part.HessianBlocks(impl_->x.data(), {}, add, nullptr);
  }
  if (impl_->host == nullptr) return true;
  auto& entries = impl_->entries;
  entries.clear();
  if (!impl_->host->AppendHessian(impl_->HostPart(impl_->x), entries)) return false;
  impl_->MapHostEntries(entries, 0);
  for (const auto& entry : entries) hessian[PackedIndex(entry.row, entry.column)] += entry.value;
  return true;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZHostFunc::GetFComponents(const double* x) {
  const Energies energies = x != nullptr ? GetEnergies(x) : Energies();
  std::vector<QZOpt::QZFComponent> terms;
  for (const auto& term : QZSystem::QZRange(impl_->ligand.GetFComponents(x))) {
    terms.push_back(term);
  }
  terms.emplace_back("Interaction Van der Waals", energies.vanDerWaals);
  terms.emplace_back("Interaction Electrostatics", energies.electrostatics);
  terms.emplace_back("Host", energies.host);
  return new QZSystem::QZVectorIter<QZOpt::QZFComponent>(std::move(terms));
}

bool QZHostFunc::AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) {
  if (!impl_->IsBound()) return false;
  impl_->Load(x);
  if (!impl_->ligand.AppendModelHessian(impl_->x.data(), entries)) return false;
  const auto place = [this](unsigned int atom) { return impl_->variable[atom]; };
  for (PairEvaluator& part : impl_->between) {
    AppendStiffPairs(part, impl_->x.data(), {}, place, entries);
  }
  if (impl_->host == nullptr) return true;
  const std::size_t first = entries.size();
  impl_->host->AppendModelHessian(impl_->HostPart(impl_->x), entries);
  impl_->MapHostEntries(entries, first);
  return true;
}

bool QZHostFunc::Freeze(const unsigned char* fixed) {
  if (!impl_->IsBound()) return false;
  impl_->ligand.Freeze(fixed);
  impl_->FreezePairs(fixed);
  if (impl_->host == nullptr) return true;
  std::vector<unsigned char>& ofHost = impl_->fixedInHost;
  ofHost.assign(impl_->variable.size() - impl_->ligandBound, 1);
  for (std::size_t f = 0; f < impl_->flexible.size(); ++f) {
    ofHost[impl_->flexible[f]] = fixed != nullptr ? fixed[impl_->ligandBound + f] : 0;
  }
  return impl_->host->Freeze(ofHost.data());
}

}  // namespace QZMolPotential
