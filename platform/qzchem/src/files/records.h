// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <iosfwd>
#include <string>

#include "qzchem/io.h"

namespace QZChem {

/// Reads one record from its text into `mol`, which is replaced; returns "" or why it is no
/// molecule, `mol` is then unchanged.
std::string ReadRecord(QZMolFormat format, const std::string& raw, QZGraphMol& mol);
/// Writes one record; returns "" or why nothing was written.
std::string WriteRecord(QZMolFormat format, const QZGraphMol& mol, std::ostream& out);

// One of each a format; line ends are "\n". The caller checks atoms and coordinates.
std::string ReadSdf(const std::string& text, QZGraphMol& mol);
std::string ReadMol2(const std::string& text, QZGraphMol& mol);
std::string ReadPdb(const std::string& text, QZGraphMol& mol);
std::string ReadXyz(const std::string& text, QZGraphMol& mol);
std::string WriteSdf(const QZGraphMol& mol, std::ostream& out);
std::string WriteMol2(const QZGraphMol& mol, std::ostream& out);
std::string WritePdb(const QZGraphMol& mol, std::ostream& out);
std::string WriteXyz(const QZGraphMol& mol, std::ostream& out);

/// Joins atoms by single bonds where they are no further apart than their covalent radii and a
/// tolerance; a hydrogen keeps the nearest of its partners. Cost: O(atoms) through a cell list.
void ConnectByDistance(QZGraphMol& mol);

/// What a record says about its coordinates.
enum class Dimension { Unknown, Two, Three };
void SetDimension(QZMolBase& mol, Dimension dimension);
Dimension GetDimension(const QZMolBase& mol);

}  // namespace QZChem
