// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qzchem/mol.h"

namespace QZChem {

/// An atom of the pattern and the atom of the molecule that it matches; neither is owned.
struct QZAtomPair {
  QZAtomBase* pattern;
  QZAtomBase* target;
};

/// One match of a substructure search. The pattern atoms belong to the `QZSubSearch` that found the
/// match, which must live as long as they are used.
class QZ_API QZMatchBase {
 public:
  explicit QZMatchBase(std::vector<QZAtomPair> pairs) : pairs_(std::move(pairs)) {}
  /// The matched pairs in pattern-atom order; owned by the caller.
  QZSystem::QZIterBase<QZAtomPair>* GetPairs() const;
  unsigned int NumAtoms() const { return static_cast<unsigned int>(pairs_.size()); }

 private:
  std::vector<QZAtomPair> pairs_;
};

/// A substructure search by a SMARTS (matching is RDKit's). Not copyable. Once `Init` has returned,
/// one object may be used for many molecules and by several threads at a time.
class QZ_API QZSubSearch {
 public:
  QZSubSearch();
  QZSubSearch(const QZSubSearch&) = delete;
  QZSubSearch& operator=(const QZSubSearch&) = delete;
  ~QZSubSearch();

  /// Parses a pattern. `reorder` permits matching to visit the pattern's atoms in another order;
  /// pairs are reported in pattern order either way. Fails: false for a pattern that does not parse
  /// or is empty; the object then has no pattern.
  bool Init(const char* smarts, bool reorder);
  bool IsValid() const;
  /// Why the last `Init` failed, as the parser puts it; "" after success.
  const char* GetError() const;
  /// The map number of each atom of the pattern, 0 for none: `[C:2]-O-[N:1]` has {2, 0, 1}. Atoms
  /// inside a recursive `$(...)` are not atoms of the pattern.
  std::vector<unsigned int> GetMapIndices() const;
  /// True when each of the map numbers 1 to `count` marks exactly one of the pattern's atoms and no
  /// atom has a larger one.
  bool HasMaps(unsigned int count) const;
  /// The matches in `mol`, never null, owned by the caller. With `unique` only the first of several
  /// matches of the same set of atoms is kept. Empty without a pattern, and empty with a Warning
  /// when there are more than `kMaxMatches` matches.
  QZSystem::QZIterBase<QZMatchBase>* Match(const QZMolBase& mol, bool unique) const;
  /// For each unique match the indices of the atoms mapped 1 to `count`, in the order of their map
  /// numbers. Fails: false with a message in `error` when `HasMaps(count)` is false or there are
  /// more than `kMaxMatches` matches; `groups` is then empty.
  bool MatchMapped(const QZMolBase& mol,
                   unsigned int count,
                   std::vector<std::vector<unsigned int>>& groups,
                   std::string& error) const;
  /// The indices, ascending, of all atoms that any match covers. Fails as `MatchMapped`.
  bool MatchAtoms(const QZMolBase& mol, std::vector<unsigned int>& atoms, std::string& error) const;

  /// The limit exists because a pattern of several disconnected parts can match in more ways than
  /// memory holds.
  static constexpr unsigned int kMaxMatches = 1000000;

 private:
  struct Data;
  std::unique_ptr<Data> data_;
};

}  // namespace QZChem
