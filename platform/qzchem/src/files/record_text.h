// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <string>

#include "files/line_source.h"
#include "qzchem/io.h"

namespace QZChem {

/// The text of the next record, unchanged; false when nothing but blank lines is left.
///   SDF: up to its "$$$$" line. A second counts line outside a data item starts a new record, so
///   that a record cut short does not swallow the one behind it.
///   MOL2: from "@<TRIPOS>MOLECULE" to the next. PDB: to the next MODEL or the END, so that one
///   model is one record; what holds no atoms belongs to the record before it.
///   XYZ: by the count on its first line. A line that is a count where an atom is due ends the
///   record, and lines that belong to no record form one up to the next count.
bool NextRecordText(LineSource& in, QZMolFormat format, std::string& raw);

}  // namespace QZChem
