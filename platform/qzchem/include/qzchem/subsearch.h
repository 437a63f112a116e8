// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "qzchem/mol.h"

namespace QZChem {

struct QZAtomPair {
  QZAtomBase* pattern;
  QZAtomBase* target;
};

/// One match of a substructure search. The pattern atoms belong to the search that made it.
class QZ_API QZMatchBase {
 public:
  explicit QZMatchBase(std::vector<QZAtomPair> pairs) : pairs_(std::move(pairs)) {}
  /// The matched pairs in pattern-atom order; owned by the caller.
  QZSystem::QZIterBase<QZAtomPair>* GetPairs() const;
  unsigned int NumAtoms() const { return static_cast<unsigned int>(pairs_.size()); }

 private:
  std::vector<QZAtomPair> pairs_;
};

/// A SMARTS substructure search. Not copyable; one object serves many molecules, from several
/// threads once `Init` has returned.
class QZ_API QZSubSearch {
 public:
  QZSubSearch();
  QZSubSearch(const QZSubSearch&) = delete;
  QZSubSearch& operator=(const QZSubSearch&) = delete;
  ~QZSubSearch();

  /// Parses a pattern. `reorder` permits matching to visit the pattern's atoms in another order;
  /// pairs are reported in pattern order either way. Fails: false for a pattern that does not parse
  /// or is empty, the search is then without a pattern.
  bool Init(const char* smarts, bool reorder);
  bool IsValid() const;
  /// Why the last `Init` failed, as the parser puts it; "" after success.
  const char* GetError() const;
  /// Matches in `mol`; `unique` keeps one of those over the same atoms. Never null; owned by the
  /// caller. Empty without a pattern.
  QZSystem::QZIterBase<QZMatchBase>* Match(const QZMolBase& mol, bool unique) const;

 private:
  struct Data;
  std::unique_ptr<Data> data_;
};

}  // namespace QZChem
