// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "qzchem/qzchem.h"
#include "run/task.h"

namespace Molpot {

/// Where molecules come from.
struct Source {
  std::string path;                 // "-" is standard input
  std::string format;               // by name; empty: by the extension, SDF for standard input
  std::vector<std::string> smiles;  // in place of a file
  unsigned int model = 1;           // of PDB; 0: all
  std::string alternateLocation;    // of PDB atoms; empty: the first
  bool makeCoordinates = true;      // for SMILES
  /// As messages call it.
  std::string Name() const;
};

/// An open source.
class Input {
 public:
  /// Throws UsageError.
  explicit Input(const Source& source);
  /// The next record, good or bad: with number, raw text, molecule or error. False at the end.
  bool Next(Outcome& outcome);

 private:
  std::istringstream text_;
  std::unique_ptr<QZChem::qzmolistream> stream_;
};

/// Reads all good records, for commands that take few molecules; bad ones are reported on standard
/// error and counted in `failed`.
std::vector<Outcome> ReadAll(const Source& source, unsigned int& failed);

/// The templates of --template: files, "RES SMILES" or "SMILES". Throws UsageError.
std::shared_ptr<const QZChem::QZTemplates> ReadTemplates(const std::vector<std::string>& arguments);

/// Makes the molecule ready for a force field: fragment, bond orders, hydrogens, three dimensions,
/// size. Throws RecordError.
void Prepare(const Task& task, QZChem::QZGraphMol& mol);

}  // namespace Molpot
