// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzchem/subsearch.h"

#include <GraphMol/RWMol.h>
#include <GraphMol/SmilesParse/SmilesParse.h>
#include <GraphMol/Substruct/SubstructMatch.h>

#include <algorithm>
#include <exception>
#include <set>
#include <string>

#include "perception/rdkit_bridge.h"
#include "perception/rdkit_log.h"
#include "qzsystem/error.h"
#include "topology/mol_impl.h"
#include "topology/topology.h"

namespace QZChem {

using QZSystem::QZIterBase;

QZIterBase<QZAtomPair>* QZMatchBase::GetPairs() const {
  return new QZSystem::QZVectorIter<QZAtomPair>(pairs_);
}

namespace {

// Ends a search from inside.
struct TooManyMatches {};

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

struct QZSubSearch::Data {
  // Matches of target atoms; empty, with a reason in `failure`, when the search fails.
  std::vector<RDKit::MatchVectType> Find(const RDKit::ROMol& target,
                                         bool unique,
                                         std::string& failure) const;

  std::unique_ptr<const RDKit::ROMol> query;
  std::string text;
  QZGraphMol pattern;  // the query's atoms, in its order
  std::string error = "No pattern";
};

std::vector<RDKit::MatchVectType> QZSubSearch::Data::Find(const RDKit::ROMol& target,
                                                          bool unique,
                                                          std::string& failure) const {
  failure.clear();
  if (query == nullptr) return {};
  RDKit::SubstructMatchParameters parameters;
  parameters.uniquify = false;
  parameters.maxMatches = kMaxMatches + 1;
  unsigned int count = 0;
  // The library collects all matches before it looks at the limit in some of its searches.
  parameters.extraFinalCheck = [&count](const RDKit::ROMol&, const std::vector<unsigned int>&) {
    if (++count > kMaxMatches) throw TooManyMatches();
    return true;
  };
  try {
    std::vector<RDKit::MatchVectType> found = RDKit::SubstructMatch(target, *query, parameters);
    if (unique) KeepUnique(found);
    return found;
  } catch (const TooManyMatches&) {
    failure = "The pattern \"" + text + "\" matches in more than " + std::to_string(kMaxMatches) +
              " ways";
  } catch (const std::exception& reason) {
    failure = "The search for \"" + text + "\" failed: " + OneLine(reason.what());
  }
  return {};
}

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
  data_->text = smarts;
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

std::vector<unsigned int> QZSubSearch::GetMapIndices() const {
  std::vector<unsigned int> maps;
  for (const auto& atom : QZSystem::QZRange(data_->pattern.GetAtoms())) {
    maps.push_back(atom.GetMapIndex());
  }
  return maps;
}

bool QZSubSearch::HasMaps(unsigned int count) const {
  std::vector<unsigned int> marked(count, 0);
  for (const unsigned int map : GetMapIndices()) {
    if (map > count) return false;
    if (map > 0) ++marked[map - 1];
  }
  return std::ranges::all_of(marked, [](unsigned int times) { return times == 1; });
}

QZIterBase<QZMatchBase>* QZSubSearch::Match(const QZMolBase& mol, bool unique) const {
  std::string error;
  const auto topology = QZMolAccess::Impl(mol).Topology();
  const std::vector<RDKit::MatchVectType> found =
      data_->Find(*topology->perceived->mol, unique, error);
  if (!error.empty()) QZSystem::QZThrow.Warning("%s", error.c_str());
  std::vector<QZMatchBase> matches;
  matches.reserve(found.size());
  for (const RDKit::MatchVectType& match : found) {
    std::vector<QZAtomPair> pairs(match.size());
    for (const auto& [pattern, target] : match) {
      const unsigned int index = topology->perceived->atomIndices[static_cast<std::size_t>(target)];
      pairs[static_cast<std::size_t>(pattern)] = {
          data_->pattern.GetAtom(static_cast<unsigned int>(pattern)), mol.GetAtom(index)};
    }
    matches.emplace_back(std::move(pairs));
  }
  return new QZSystem::QZVectorIter<QZMatchBase>(std::move(matches));
}

bool QZSubSearch::MatchMapped(const QZMolBase& mol,
                              unsigned int count,
                              std::vector<std::vector<unsigned int>>& groups,
                              std::string& error) const {
  groups.clear();
  if (!HasMaps(count)) {
    error = "The pattern must mark " + std::to_string(count) + " atoms with the map numbers 1 to " +
            std::to_string(count);
    return false;
  }
  const std::vector<unsigned int> maps = GetMapIndices();
  const auto topology = QZMolAccess::Impl(mol).Topology();
  for (const auto& match : data_->Find(*topology->perceived->mol, /*unique=*/true, error)) {
    std::vector<unsigned int>& group = groups.emplace_back(count);
    for (const auto& [pattern, target] : match) {
      const unsigned int map = maps[static_cast<std::size_t>(pattern)];
      if (map > 0)
        group[map - 1] = topology->perceived->atomIndices[static_cast<std::size_t>(target)];
    }
  }
  return error.empty();
}

bool QZSubSearch::MatchAtoms(const QZMolBase& mol,
                             std::vector<unsigned int>& atoms,
                             std::string& error) const {
  const auto topology = QZMolAccess::Impl(mol).Topology();
  std::set<unsigned int> covered;
  for (const auto& match : data_->Find(*topology->perceived->mol, /*unique=*/true, error)) {
    for (const auto& pair : match) {
      covered.insert(topology->perceived->atomIndices[static_cast<std::size_t>(pair.second)]);
    }
  }
  atoms.assign(covered.begin(), covered.end());
  return error.empty();
}

}  // namespace QZChem
