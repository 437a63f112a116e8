// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <iterator>

#include "host/func_impl.h"
#include "molpotential/interaction.h"

namespace QZMolPotential {
namespace {

using QZChem::QZAtomBase;
using QZChem::QZGraphMol;
using QZChem::QZMolBase;
using QZSystem::QZRange;

// A copy of `term` with other atoms: `find` gives the new atom for the index of each old one.
template <class Find>
QZInteraction Between(const char* name, const QZInteraction& term, Find find) {
  std::vector<QZAtomBase*> atoms;
  for (const auto& atom : QZRange(term.GetAtoms())) atoms.push_back(find(atom.GetIndex()));
  std::vector<double> values(term.NumValues());
  const double energy = term.GetValues(values.data());
  return QZInteraction(*new QZInteractImpl(name, energy, term.NumValues(), values.data(), atoms));
}

}  // namespace

const QZMolBase& QZHostFunc::Impl::LigandIn(const QZMolBase& mol, QZGraphMol& made) {
  const auto* atoms = mol.GetData<HostAtoms>(HostAtomsTag());
  if (atoms == nullptr) return mol;
  made = PerceivedLigandOf(mol, *atoms);
  return made;
}

bool QZHostFunc::Impl::IsOf(const QZMolBase& mol) const {
  const auto* atoms = mol.GetData<HostAtoms>(HostAtomsTag());
  const bool isFlexible = atoms != nullptr ? flexible == atoms->atoms : flexible.empty();
  if (!IsBound() || !isFlexible) return false;
  QZGraphMol made;
  return Perception::FindParameters(LigandIn(mol, made), field.GetOptions().forceField) ==
         perception;
}

std::vector<QZInteraction> QZHostFunc::Impl::List(const QZMolBase& mol,
                                                  const double* coords,
                                                  unsigned int selector) const {
  std::vector<double> at = x;
  Load(coords, at);
  std::vector<QZInteraction> all;
  const auto atom = [&](unsigned int place) {
    return variable[place] != kRigid ? mol.GetAtom(variable[place])
                                     : field.GetHost()->GetAtom(place - ligandBound);
  };
  QZGraphMol made;
  for (const auto& term :
       QZRange(ligand.GetInteractions(LigandIn(mol, made), at.data(), selector))) {
    all.push_back(Between(term.GetName(), term, atom));
  }

  std::vector<QZInteraction> charged;
  for (const PairEvaluator& part : between) {
    const PairInput& input = part.Input();
    part.ForEachPair(at.data(), {}, [&](unsigned int i, unsigned int j, PairEnergies energies) {
      const std::vector<QZAtomBase*> pair = {atom(input.atoms[i]), atom(input.atoms[j])};
      if ((selector & QZCategoryVdw) != 0 && energies.vanDerWaals != 0.0) {
        const PairParameters& well = input.table[input.types[i] * input.numTypes + input.types[j]];
        const double values[2] = {well.distance, well.depth};
        all.emplace_back(*new QZInteractImpl(
            "Interaction Van der Waals", energies.vanDerWaals, 2, values, pair));
      }
      if ((selector & QZCategoryElectrostatic) != 0 && energies.electrostatics != 0.0) {
        const double values[2] = {input.charges[i], input.charges[j]};
        charged.emplace_back(*new QZInteractImpl(
            "Interaction Electrostatics", energies.electrostatics, 2, values, pair));
      }
    });
  }
  std::ranges::move(charged, std::back_inserter(all));

  if (host == nullptr) return all;
  for (const auto& term : QZRange(
           host->GetInteractions(*field.GetHost(), &at[3 * std::size_t{ligandBound}], selector))) {
    bool moves = false;
    for (const auto& one : QZRange(term.GetAtoms())) {
      moves = moves || variable[ligandBound + one.GetIndex()] != kRigid;
    }
    if (!moves) continue;
    all.push_back(
        Between("Host", term, [&](unsigned int index) { return atom(ligandBound + index); }));
  }
  return all;
}

QZSystem::QZIterBase<QZInteraction>* QZHostFunc::GetInteractions(const QZMolBase& mol,
                                                                 const double* coords,
                                                                 unsigned int selector) const {
  if (coords == nullptr) return QZSystem::QZMakeEmptyIter<QZInteraction>();
  const QZHostFunc* func = this;
  QZHostFunc other(impl_->field);
  if (!impl_->IsOf(mol)) {
    if (!other.Setup(mol)) return QZSystem::QZMakeEmptyIter<QZInteraction>();
    func = &other;
  }
  return new QZSystem::QZVectorIter<QZInteraction>(func->impl_->List(mol, coords, selector));
}

}  // namespace QZMolPotential
