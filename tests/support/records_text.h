// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "qzchem/qzchem.h"
#include "support/molecules.h"

namespace TestSupport {

using Format = QZChem::QZMolFormat;

inline std::string Written(const QZChem::QZGraphMol& mol, Format format = Format::SDF) {
  std::ostringstream text;
  QZChem::qzmolostream out(text, format);
  return out.Write(mol) && out.Close() ? text.str() : std::string();
}

inline std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  return at == std::string::npos ? "not found: " + from : text.replace(at, from.size(), to);
}

struct Reading {
  std::vector<QZChem::QZGraphMol> molecules;  // the good ones
  std::vector<QZChem::QZRecordInfo> records;  // all
  std::string titles;                         // of the good ones, each with ";"
};

inline Reading ReadAll(QZChem::qzmolistream& stream) {
  Reading reading;
  QZChem::QZGraphMol mol;
  QZChem::QZRecordInfo info;
  while (QZChem::QZNextRecord(stream, mol, info)) {
    reading.records.push_back(info);
    if (!info.error.empty()) continue;
    reading.molecules.push_back(mol);
    reading.titles += std::string(mol.GetTitle()) + ";";
  }
  return reading;
}

inline Reading ReadAll(const std::string& text, Format format = Format::SDF) {
  std::istringstream in(text);
  QZChem::qzmolistream stream(in, format);
  return ReadAll(stream);
}

/// The molecule of a text with one good record.
inline QZChem::QZGraphMol ReadOne(const std::string& text, Format format = Format::SDF) {
  const Reading reading = ReadAll(text, format);
  EXPECT_EQ(reading.molecules.size(), 1U) << text;
  return reading.molecules.empty() ? QZChem::QZGraphMol() : reading.molecules[0];
}

}  // namespace TestSupport
