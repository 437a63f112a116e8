// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <iosfwd>
#include <memory>
#include <string>

#include "qzchem/mol.h"

namespace QZChem {

enum class QZMolFormat { SDF, MOL2, PDB, XYZ, SMILES };

/// The format of a file name by its extension (.sdf .sd .mol .mol2 .pdb .ent .xyz .smi .smiles,
/// each also with .gz behind it). Fails: false for another extension.
QZ_API bool QZFormatFromPath(const std::string& path, QZMolFormat& format);

/// Writes molecules one after the other. SDF records of more than 999 atoms are V3000. A path
/// ending in .gz is compressed. A title or a line of SD data that would break the format is written
/// with a blank before it, control characters as blanks, each with a Warning.
class QZ_API qzmolostream {
 public:
  /// `out` is not owned and must outlive the stream.
  explicit qzmolostream(std::ostream& out, QZMolFormat format = QZMolFormat::SDF);
  /// Opens a file, format from the extension. Fails: the stream is false.
  explicit qzmolostream(const char* path);
  qzmolostream(const char* path, QZMolFormat format, bool compress);
  qzmolostream(const qzmolostream&) = delete;
  qzmolostream& operator=(const qzmolostream&) = delete;
  virtual ~qzmolostream();

  /// True while the output can take molecules: a molecule that the format cannot hold changes
  /// nothing, a full disk does.
  explicit operator bool() const;
  /// Writes one molecule. Fails: false with a Warning; where the stream is still true, this
  /// molecule alone is not written.
  virtual bool Write(const QZGraphMol& mol);
  /// Completes the output and closes a file that the stream opened; false when anything was lost.
  /// The destructor calls it, and warns then.
  virtual bool Close();
  /// Why the last molecule was not written, or the file not opened; "" when it was.
  const std::string& GetError() const;

 private:
  struct Data;
  std::unique_ptr<Data> data_;
};

/// Reads molecules one after the other; what begins as gzip does is decompressed, whatever its
/// name. Bonds of PDB residues that are neither standard nor complete, and those of XYZ, come
/// without orders: see `QZTemplates`. SMILES (a line each, the title behind it) come with hydrogens
/// and coordinates made by `QZMakeCoordinates`.
class QZ_API qzmolistream {
 public:
  /// `in` is not owned and must outlive the stream. `name` stands in messages.
  explicit qzmolistream(std::istream& in,
                        QZMolFormat format = QZMolFormat::SDF,
                        const char* name = "input");
  /// Opens a file, format from the extension. Fails: the stream is false.
  explicit qzmolistream(const char* path);
  qzmolistream(const char* path, QZMolFormat format);
  qzmolistream(const qzmolistream&) = delete;
  qzmolistream& operator=(const qzmolistream&) = delete;
  virtual ~qzmolistream();

  explicit operator bool() const;
  const std::string& GetName() const;
  /// Why the file cannot be opened or read on: "is a directory", "No such file or directory"; ""
  /// for a stream that is true.
  std::string GetError() const;

  /// Which model of a PDB record is read, from 1; 0: every model is a record of its own. Default 1,
  /// with a Warning where there are others. Set before the first record.
  void SetModel(unsigned int model);
  /// Which alternate location ('A', 'B', ...) of PDB atoms is read; 0, the default: the first that
  /// a residue has. A Warning tells of others.
  void SetAlternateLocation(char location);
  /// False: SMILES come without coordinates, for callers that make their own. Default true.
  void SetMakeCoordinates(bool make);

 private:
  friend struct QZRecordReader;
  struct Data;
  std::unique_ptr<Data> data_;
};

/// One record as read: its number from 1, its text unchanged, and why it is no molecule ("" when
/// it is one).
struct QZRecordInfo {
  unsigned int number = 0;
  std::string raw;
  std::string error;
  std::string note = {};  // what a user should know of a good record; a Warning tells it too
};

/// The next record, good or bad; `mol` is replaced when it is good. False at the end.
QZ_API bool QZNextRecord(qzmolistream& in, QZGraphMol& mol, QZRecordInfo& info);
/// The next good molecule; bad records are reported with file, number and reason as Warnings and
/// skipped. False at the end.
QZ_API bool QZReadMolecule(qzmolistream& in, QZGraphMol& mol);
/// Calls `Write`; nonzero when written.
QZ_API unsigned int QZWriteMolecule(qzmolostream& out, QZGraphMol& mol);

/// A molecule from SMILES, hydrogens explicit, coordinates all zero. Fails: false with a Warning,
/// `mol` unchanged.
QZ_API bool QZSmilesToMol(QZGraphMol& mol, const char* smiles);

/// Adds the hydrogens that valence asks for, at positions made from the heavy atoms' geometry,
/// after the existing atoms, in the residues of the atoms that carry them; those of a drawing stay
/// in its plane. Returns how many were added, or -1 with a Warning when valence cannot be perceived
/// or bond orders are not known (`QZHasBondOrders`).
QZ_API int QZAddHydrogens(QZGraphMol& mol);
/// Replaces all coordinates by three-dimensional ones made from the bonds (distance geometry, fixed
/// seed), as the first of `QZMakeConformers`. Hydrogens should be explicit. Fails: false with a
/// Warning, coordinates unchanged, also when stereochemistry would change.
QZ_API bool QZMakeCoordinates(QZGraphMol& mol);
/// True when hydrogens that valence asks for are missing. Also true when bond orders are unknown,
/// for example after reading benzene from XYZ; `QZFindMissing` tells which atom and why.
QZ_API bool QZLacksHydrogens(const QZMolBase& mol);
/// True when the coordinates are those of a drawing. They never are unless all atoms have the same
/// z. Then an SDF record decides by its 2D or 3D mark, XYZ and PDB records are always 3D, so that
/// benzene from a 3D file is; and without a mark, three or more atoms are a drawing when one has
/// four or more neighbours, hydrogens that valence asks for counted, since such an atom is not
/// flat.
QZ_API bool QZLooksTwoDimensional(const QZMolBase& mol);

}  // namespace QZChem
