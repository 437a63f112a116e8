// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "files/records.h"

#include <cmath>
#include <ostream>
#include <vector>

#include "files/line_source.h"
#include "qzchem/topology.h"

namespace QZChem {
namespace {

// "" or why the molecule is of no use to anyone.
std::string FaultOf(const QZMolBase& mol) {
  if (mol.NumAtoms() == 0) return "The record has no atoms";
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    double xyz[3];
    mol.GetCoords(&atom, xyz);
    if (!std::isfinite(xyz[0]) || !std::isfinite(xyz[1]) || !std::isfinite(xyz[2])) {
      return "Atom " + std::to_string(atom.GetIndex() + 1) + " (" +
             QZGetAtomicSymbol(atom.GetAtomicNumber()) + ") has coordinates that are not finite";
    }
  }
  return "";
}

std::string Read(QZMolFormat format, const std::string& text, QZGraphMol& mol) {
  switch (format) {
    case QZMolFormat::MOL2:
      return ReadMol2(text, mol);
    case QZMolFormat::PDB:
      return ReadPdb(text, mol);
    case QZMolFormat::XYZ:
      return ReadXyz(text, mol);
    case QZMolFormat::SDF:
      break;
  }
  return ReadSdf(text, mol);
}

unsigned int DimensionTag() {
  static const unsigned int tag = QZSystem::QZGetTag("QZChem record dimension");
  return tag;
}

}  // namespace

std::string ReadRecord(QZMolFormat format, const std::string& raw, QZGraphMol& mol) {
  if (raw.size() >= kMaxRecordBytes) {
    return "The record is longer than " + std::to_string(kMaxRecordBytes >> 20) + " MiB";
  }
  QZGraphMol result;
  std::string error = Read(format, WithUnixLineEnds(raw), result);
  if (error.empty()) error = FaultOf(result);
  if (error.empty()) mol = std::move(result);
  return error;
}

std::string WriteRecord(QZMolFormat format, const QZGraphMol& mol, std::ostream& out) {
  if (std::string fault = FaultOf(mol); !fault.empty()) return fault;
  switch (format) {
    case QZMolFormat::MOL2:
      return WriteMol2(mol, out);
    case QZMolFormat::PDB:
      return WritePdb(mol, out);
    case QZMolFormat::XYZ:
      return WriteXyz(mol, out);
    case QZMolFormat::SDF:
      break;
  }
  return WriteSdf(mol, out);
}

void SetDimension(QZMolBase& mol, Dimension dimension) {
  mol.SetData(DimensionTag(), dimension);
}

Dimension GetDimension(const QZMolBase& mol) {
  const auto* dimension = mol.GetData<Dimension>(DimensionTag());
  return dimension != nullptr ? *dimension : Dimension::Unknown;
}

}  // namespace QZChem
