// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "qzchem/qzchem.h"

namespace TestSupport {

inline std::string Written(const QZChem::QZGraphMol& mol, QZChem::QZMolFormat format) {
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
  std::string Titles() const {
    std::string titles;
    for (const auto& mol : molecules) titles += std::string(mol.GetTitle()) + ";";
    return titles;
  }
};

inline Reading ReadAll(const std::string& text, QZChem::QZMolFormat format) {
  std::istringstream in(text);
  QZChem::qzmolistream stream(in, format);
  Reading reading;
  QZChem::QZGraphMol mol;
  QZChem::QZRecordInfo info;
  while (QZChem::QZNextRecord(stream, mol, info)) {
    if (info.error.empty()) reading.molecules.push_back(mol);
    reading.records.push_back(info);
  }
  return reading;
}

}  // namespace TestSupport
