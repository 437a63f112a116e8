// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

#include "files/line_source.h"
#include "qzchem/io.h"

namespace QZChem {

/// How records are told apart and read.
struct RecordFormat {
  QZMolFormat kind = QZMolFormat::SDF;
  unsigned int model = 1;       // of a PDB record, from 1; 0: every model is a record
  char alternate = 0;           // location of PDB atoms; 0: the first of each residue
  bool makeCoordinates = true;  // for SMILES
};

/// The text of the next record, unchanged; false when nothing but blank lines is left.
///   SDF: up to its "$$$$" line. A second counts line outside a data item starts a new record, so
///   that a record cut short does not swallow the one behind it.
///   MOL2: from "@<TRIPOS>MOLECULE" to the next. PDB: to the END, or to the next MODEL where
///   each model is a record; what holds no atoms belongs to the record before it.
///   XYZ: by the count on its first line. A line that is a count where an atom is due ends the
///   record, and lines that belong to no record form one up to the next count.
///   SMILES: a line.
bool NextRecordText(LineSource& in, const RecordFormat& format, std::string& raw);

}  // namespace QZChem
