// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <iosfwd>
#include <string>

#include "files/record_text.h"
#include "qzchem/io.h"

namespace QZChem {

/// Reads one record from its text into `mol`, which is replaced; returns "" or why it is no
/// molecule, `mol` is then unchanged. `note`: what a user should know of a record that was read.
std::string ReadRecord(const RecordFormat& format,
                       const std::string& raw,
                       QZGraphMol& mol,
                       std::string& note);
/// Writes one record; returns "" or why nothing was written. `note`: what was written otherwise
/// than the molecule has it.
std::string WriteRecord(QZMolFormat format,
                        const QZGraphMol& mol,
                        std::ostream& out,
                        std::string& note);

// One of each a format; line ends are "\n". The caller checks atoms and coordinates.
std::string ReadSdf(const std::string& text, QZGraphMol& mol);
std::string ReadMol2(const std::string& text, QZGraphMol& mol, std::string& note);
std::string ReadPdb(const std::string& text,
                    const RecordFormat& format,
                    QZGraphMol& mol,
                    std::string& note);
std::string ReadXyz(const std::string& text, QZGraphMol& mol);
std::string ReadSmiles(const std::string& text,
                       bool makeCoordinates,
                       QZGraphMol& mol,
                       std::string& note);
// Titles come without control characters.
std::string WriteSdf(const QZGraphMol& mol,
                     std::string title,
                     std::ostream& out,
                     std::string& note);
std::string WriteMol2(const QZGraphMol& mol,
                      std::string title,
                      std::ostream& out,
                      std::string& note);
std::string WritePdb(const QZGraphMol& mol, const std::string& title, std::ostream& out);
std::string WriteXyz(const QZGraphMol& mol, const std::string& title, std::ostream& out);
std::string WriteSmiles(const QZGraphMol& mol, const std::string& title, std::ostream& out);

/// Joins atoms by single bonds where they are no further apart than their covalent radii and a
/// tolerance and `mayBond` (null: any pair) allows it; a hydrogen keeps the nearest of its
/// partners. Cost: O(atoms) through a cell list.
using BondRule = bool (*)(const QZAtomBase& a, const QZAtomBase& b, const void* data);
void ConnectByDistance(QZGraphMol& mol, BondRule mayBond = nullptr, const void* data = nullptr);

/// The first atom with that many unpaired electrons or more; null without one.
const QZAtomBase* FindRadical(const QZMolBase& mol, unsigned int electrons);

/// What a record says about its coordinates.
enum class Dimension { Unknown, Two, Three };
void SetDimension(QZMolBase& mol, Dimension dimension);
Dimension GetDimension(const QZMolBase& mol);

}  // namespace QZChem
