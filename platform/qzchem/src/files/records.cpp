// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "files/records.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <new>
#include <ostream>
#include <vector>

#include "files/line_source.h"
#include "perception/rdkit_log.h"
#include "qzchem/locale.h"
#include "qzchem/topology.h"

namespace QZChem {
namespace {

// Å; no structure comes near it, and distances beyond it lose their decimals.
constexpr double kLargestCoordinate = 1e6;

// "" or why the molecule is of no use to anyone.
std::string FaultOf(const QZMolBase& mol) {
  if (mol.NumAtoms() == 0) return "The record has no atoms";
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    double xyz[3];
    mol.GetCoords(&atom, xyz);
    for (const double value : xyz) {
      if (std::fabs(value) <= kLargestCoordinate) continue;
      return "Atom " + std::to_string(atom.GetIndex() + 1) + " (" +
             QZGetAtomicSymbol(atom.GetAtomicNumber()) + ") has coordinates that are " +
             (std::isfinite(value) ? "beyond a million ångström" : "not finite");
    }
  }
  return "";
}

std::string Read(const RecordFormat& format,
                 const std::string& text,
                 QZGraphMol& mol,
                 std::string& note) {
  switch (format.kind) {
    case QZMolFormat::MOL2:
      return ReadMol2(text, mol, note);
    case QZMolFormat::PDB:
      return ReadPdb(text, format, mol, note);
    case QZMolFormat::XYZ:
      return ReadXyz(text, mol);
    case QZMolFormat::SMILES:
      return ReadSmiles(text, format.makeCoordinates, mol, note);
    case QZMolFormat::SDF:
      break;
  }
  return ReadSdf(text, mol);
}

std::string Write(QZMolFormat format,
                  const QZGraphMol& mol,
                  const std::string& title,
                  std::ostream& out,
                  std::string& note) {
  switch (format) {
    case QZMolFormat::MOL2:
      return WriteMol2(mol, title, out, note);
    case QZMolFormat::PDB:
      return WritePdb(mol, title, out);
    case QZMolFormat::XYZ:
      return WriteXyz(mol, title, out);
    case QZMolFormat::SMILES:
      return WriteSmiles(mol, title, out);
    case QZMolFormat::SDF:
      break;
  }
  return WriteSdf(mol, title, out, note);
}

// Runs a reader or writer; a third party's exception becomes its reason.
template <class Step>
std::string Guarded(Step step) {
  const QZClassicNumbers numbers;
  try {
    return step();
  } catch (const std::bad_alloc&) {
    return "There is not enough memory for the record";
  } catch (const std::exception& error) {
    return InUsersWords(error.what());
  }
}

unsigned int DimensionTag() {
  static const unsigned int tag = QZSystem::QZGetTag("QZChem record dimension");
  return tag;
}

}  // namespace

std::string ReadRecord(const RecordFormat& format,
                       const std::string& raw,
                       QZGraphMol& mol,
                       std::string& note) {
  if (raw.size() >= kMaxRecordBytes) {
    return "The record is longer than " + std::to_string(kMaxRecordBytes >> 20) + " MiB";
  }
  QZGraphMol result;
  std::string error = Guarded([&] { return Read(format, WithUnixLineEnds(raw), result, note); });
  if (error.empty()) error = FaultOf(result);
  if (error.empty()) mol = std::move(result);
  return error;
}

std::string WriteRecord(QZMolFormat format,
                        const QZGraphMol& mol,
                        std::ostream& out,
                        std::string& note) {
  if (std::string fault = FaultOf(mol); !fault.empty()) return fault;
  std::string title = mol.GetTitle();
  const auto isControl = [](unsigned char c) { return c < 0x20 || c == 0x7f; };
  if (std::ranges::any_of(title, isControl)) {
    std::ranges::replace_if(title, isControl, ' ');
    note = "control characters of the title are written as blanks";
  }
  const bool keepsRadicals = format == QZMolFormat::SDF || format == QZMolFormat::SMILES;
  if (!keepsRadicals && FindRadical(mol, 1) != nullptr) {
    note += std::string(note.empty() ? "" : "; ") + "the format does not hold unpaired electrons";
  }
  return Guarded([&] { return Write(format, mol, title, out, note); });
}

const QZAtomBase* FindRadical(const QZMolBase& mol, unsigned int electrons) {
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    if (atom.GetRadicalElectrons() >= electrons) return &atom;
  }
  return nullptr;
}

void SetDimension(QZMolBase& mol, Dimension dimension) {
  mol.SetData(DimensionTag(), dimension);
}

Dimension GetDimension(const QZMolBase& mol) {
  const auto* dimension = mol.GetData<Dimension>(DimensionTag());
  return dimension != nullptr ? *dimension : Dimension::Unknown;
}

}  // namespace QZChem
