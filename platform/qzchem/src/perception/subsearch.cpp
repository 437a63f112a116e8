// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzchem/subsearch.h"

#include <GraphMol/RWMol.h>
#include <GraphMol/SmilesParse/SmilesParse.h>
#include <GraphMol/Substruct/SubstructMatch.h>

#include <algorithm>
#include <exception>
#include <limits>
#include <set>
#include <string>

#include "topology/mol_impl.h"
#include "qzsystem/error.h"
#include "perception/rdkit_log.h"
#include "topology/topology.h"

namespace QZChem {

using QZSystem::QZIterBase;

QZIterBase<QZAtomPair>* QZMatchBase::GetPairs() const {
  return new QZSystem::QZVectorIter<QZAtomPair>(pairs_);
}

struct QZSubSearch::Data {
  std::unique_ptr<const RDKit::ROMol> query;
  QZGraphMol pattern;  // the query's atoms, in its order
  std::string error = "No pattern";
};

namespace {

QZGraphMol PatternMol(const RDKit::ROMol& query) {
  QZGraphMol pattern(query.getNumAtoms());
  for (const RDKit::Atom* atom : query.atoms()) {
    pattern.AddAtom(static_cast<unsigned int>(atom->getAtomicNum()))
        ->SetMapIndex(static_cast<unsigned int>(atom->getAtomMapNum()));
  }
  for (const RDKit::Bond* bond : query.bonds()) {
    pattern.AddBond(pattern.GetAtom(bond->getBeginAtomIdx()),
                    pattern.GetAtom(bond->getEndAtomIdx()));
  }
  return pattern;
}

// Keeps the first match over each set of atoms.
void KeepUnique(std::vector<RDKit::MatchVectType>& matches) {
  std::set<std::vector<int>> seen;
  std::erase_if(matches, [&seen](const RDKit::MatchVectType& match) {
    std::vector<int> atoms;
    for (const auto& [pattern, target] : match) atoms.push_back(target);
    std::ranges::sort(atoms);
    return !seen.insert(std::move(atoms)).second;
  });
}

}  // namespace

QZSubSearch::QZSubSearch() : data_(std::make_unique<Data>()) {}
QZSubSearch::~QZSubSearch() = default;

bool QZSubSearch::Init(const char* smarts, bool /*reorder*/) {
  data_ = std::make_unique<Data>();
  if (smarts == nullptr || *smarts == '\0') {
    data_->error = "Pattern is empty";
    return false;
  }
  const RDKitErrorText reason;
  try {
    const std::unique_ptr<RDKit::RWMol> parsed(RDKit::SmartsToMol(smarts));
    if (parsed == nullptr || parsed->getNumAtoms() == 0) {
      data_->error = reason.Get("Pattern has no atoms");
      return false;
    }
    data_->query = std::make_unique<const RDKit::ROMol>(*parsed);
  } catch (const std::exception& error) {
    data_->error = OneLine(error.what());
    return false;
  }
  data_->pattern = PatternMol(*data_->query);
  data_->error.clear();
  return true;
}

bool QZSubSearch::IsValid() const {
  return data_->query != nullptr;
}

const char* QZSubSearch::GetError() const {
  return data_->error.c_str();
}

QZIterBase<QZMatchBase>* QZSubSearch::Match(const QZMolBase& mol, bool unique) const {
  if (!IsValid()) return QZSystem::QZMakeEmptyIter<QZMatchBase>();
  const std::shared_ptr<const QZTopology> topology = QZMolAccess::Impl(mol).Topology();
  RDKit::SubstructMatchParameters parameters;
  parameters.uniquify = false;
  parameters.maxMatches = std::numeric_limits<unsigned int>::max();
  std::vector<RDKit::MatchVectType> found;
  try {
    found = RDKit::SubstructMatch(*topology->target, *data_->query, parameters);
  } catch (const std::exception& error) {
    QZSystem::QZThrow.Warning("Substructure search failed: %s", OneLine(error.what()).c_str());
  }
  if (unique) KeepUnique(found);

  std::vector<QZMatchBase> matches;
  matches.reserve(found.size());
  for (const RDKit::MatchVectType& match : found) {
    std::vector<QZAtomPair> pairs(match.size());
    for (const auto& [pattern, target] : match) {
      const unsigned int index = topology->atomIndexOfTarget[static_cast<std::size_t>(target)];
      pairs[static_cast<std::size_t>(pattern)] = {
          data_->pattern.GetAtom(static_cast<unsigned int>(pattern)), mol.GetAtom(index)};
    }
    matches.emplace_back(std::move(pairs));
  }
  return new QZSystem::QZVectorIter<QZMatchBase>(std::move(matches));
}

}  // namespace QZChem
