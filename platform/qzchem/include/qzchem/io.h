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

/// Writes molecules one after the other. SDF records of more than 999 atoms are V3000. A file whose
/// path ends in .gz is compressed. A title or a line of SD data that would break the format is
/// written with a blank in front of it, and control characters are written as blanks, each with a
/// Warning. Copies: none.
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

  /// True while the output can take molecules. A full disk makes it false; a molecule that the
  /// format cannot hold does not.
  explicit operator bool() const;
  /// Writes one molecule. Fails: false with a Warning; when the stream is still true, only this
  /// molecule could not be written.
  virtual bool Write(const QZGraphMol& mol);
  /// Completes the output and closes the file, if the stream opened one. False when anything was
  /// lost. The destructor does the same, and warns when anything was lost.
  virtual bool Close();
  /// Why the last molecule was not written, or why the file could not be opened; "" when there was
  /// no failure.
  const std::string& GetError() const;

 private:
  struct Data;
  std::unique_ptr<Data> data_;
};

/// Reads molecules one after the other. Input that is compressed by gzip is recognised by its first
/// bytes and decompressed, whatever its name. Bonds have no orders in molecules from XYZ and in PDB
/// residues that are neither standard nor complete: see `QZTemplates`. SMILES files have one SMILES
/// on each line, with a title behind it; hydrogens are added, and coordinates are made by
/// `QZMakeCoordinates`.
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
  /// Why the file cannot be opened or read any further, for example "is a directory" or "No such
  /// file or directory"; "" for a stream that is true.
  std::string GetError() const;

  /// Sets which model of a PDB record is read, counted from 1; with 0 every model is a record of
  /// its own. The default is 1, with a Warning when the record has others. To be called before the
  /// first record is read.
  void SetModel(unsigned int model);
  /// Sets which alternate location ('A', 'B', ...) of PDB atoms is read; with 0, the default, the
  /// first location of each residue. A Warning tells when there are others.
  void SetAlternateLocation(char location);
  /// Sets whether molecules from SMILES get coordinates. The default is true; false is for callers
  /// that make coordinates themselves.
  void SetMakeCoordinates(bool make);

 private:
  friend struct QZRecordReader;
  struct Data;
  std::unique_ptr<Data> data_;
};

/// One record as it was read: its number, counted from 1, its unchanged text, and why it is not a
/// molecule ("" when it is one).
struct QZRecordInfo {
  unsigned int number = 0;
  std::string raw;
  std::string error;
  std::string note = {};  // what a user should know of a good record; also given as a Warning
};

/// Reads the next record, good or bad; `mol` is replaced when the record is good. False at the end.
QZ_API bool QZNextRecord(qzmolistream& in, QZGraphMol& mol, QZRecordInfo& info);
/// Reads the next good molecule into `mol`. Bad records are skipped, each with a Warning that names
/// file, number and reason. False at the end.
QZ_API bool QZReadMolecule(qzmolistream& in, QZGraphMol& mol);
/// Calls `Write`; nonzero when the molecule was written.
QZ_API unsigned int QZWriteMolecule(qzmolostream& out, QZGraphMol& mol);

/// Replaces `mol` by the molecule of a SMILES, with explicit hydrogens and all coordinates zero.
/// Fails: false with a Warning, `mol` unchanged.
QZ_API bool QZSmilesToMol(QZGraphMol& mol, const char* smiles);

/// Adds the hydrogens that valence asks for. They come after the existing atoms, belong to the
/// residues of the atoms that carry them, and are placed by the geometry of the heavy atoms;
/// hydrogens of a drawing stay in its plane. Returns how many were added, or -1 with a Warning when
/// valence cannot be perceived or bond orders are not known (`QZHasBondOrders`).
QZ_API int QZAddHydrogens(QZGraphMol& mol);
/// Replaces all coordinates by three-dimensional ones made from the bonds (distance geometry, fixed
/// seed), as the first of `QZMakeConformers`. Hydrogens should be explicit. Fails: false with a
/// Warning, coordinates unchanged, also when stereochemistry would change.
QZ_API bool QZMakeCoordinates(QZGraphMol& mol);
/// True when hydrogens that valence asks for are missing. Also true when bond orders are unknown,
/// for example after reading benzene from XYZ; `QZFindMissing` tells which atom and why.
QZ_API bool QZLacksHydrogens(const QZMolBase& mol);
/// True when the coordinates are those of a two-dimensional drawing, which requires that all atoms
/// have the same z. For a molecule from SDF the 2D or 3D mark of the record then decides; molecules
/// from XYZ and PDB are never drawings. Without a mark, a molecule of three or more atoms is a
/// drawing when an atom has four or more neighbours, counting hydrogens that valence asks for,
/// since the neighbours of such an atom cannot lie in one plane.
QZ_API bool QZLooksTwoDimensional(const QZMolBase& mol);

}  // namespace QZChem
