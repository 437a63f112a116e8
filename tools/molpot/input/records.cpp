// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "input/records.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>

#include "forcefields/forcefields.h"
#include "input/errors.h"
#include "output/console.h"
#include "output/format.h"

namespace Molpot {

namespace {

constexpr double kGiB = 1024.0 * 1024.0 * 1024.0;
constexpr double kLargestMemory = 4.0 * kGiB;
// Å: beyond what any file of molecules means, and where distances lose the digits that matter.
constexpr double kLargestCoordinate = 1.0e5;

bool ParseFormat(const std::string& name, QZChem::QZMolFormat& format) {
  return QZChem::QZFormatFromPath("x." + name, format);
}

void RequirePlausibleCoordinates(const QZChem::QZMolBase& mol) {
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    double p[3];
    mol.GetCoords(&atom, p);
    for (const double value : p) {
      if (std::abs(value) <= kLargestCoordinate) continue;  // false for NaN
      throw RecordError(Format("atom %u has a coordinate of %g Å", atom.GetIndex() + 1, value));
    }
  }
}

}  // namespace

std::unique_ptr<QZChem::qzmolistream> OpenInput(const std::string& path,
                                                const std::string& format) {
  QZChem::QZMolFormat parsed = QZChem::QZMolFormat::SDF;
  if (!format.empty() && !ParseFormat(format, parsed)) {
    throw UsageError("--input-format: there is no format \"" + format + "\"");
  }
  if (path == "-") {
    return std::make_unique<QZChem::qzmolistream>(std::cin, parsed, "standard input");
  }
  if (std::error_code error; std::filesystem::is_directory(path, error)) {
    throw UsageError(path + ": is a directory");
  }
  if (format.empty() && !QZChem::QZFormatFromPath(path, parsed)) {
    throw UsageError(path + ": the extension names no format (.sdf .mol2 .pdb .xyz, also .gz)");
  }
  auto stream = std::make_unique<QZChem::qzmolistream>(path.c_str(), parsed);
  if (!*stream) throw UsageError(path + ": cannot be read: " + std::strerror(errno));
  return stream;
}

std::vector<Outcome> ReadAll(const std::string& path,
                             const std::string& format,
                             unsigned int& failed) {
  const auto input = OpenInput(path, format);
  std::vector<Outcome> records;
  for (;;) {
    Outcome outcome;
    QZChem::QZRecordInfo info;
    if (!QZChem::QZNextRecord(*input, outcome.mol, info)) break;
    outcome.record = info.number;
    if (!info.error.empty()) {
      ++failed;
      PrintMessage(input->GetName() + ": record " + std::to_string(info.number) + ": " +
                   info.error);
      continue;
    }
    outcome.title = outcome.mol.GetTitle();
    records.push_back(std::move(outcome));
  }
  if (records.empty() && failed == 0) throw UsageError(path + ": holds no records");
  return records;
}

void Prepare(const Task& task, QZChem::QZGraphMol& mol) {
  mol.Sweep();
  if (task.addHydrogens) {
    if (QZChem::QZAddHydrogens(mol) < 0) throw RecordError("hydrogens cannot be added");
    if (QZChem::QZLooksTwoDimensional(mol) && !QZChem::QZMakeCoordinates(mol)) {
      throw RecordError("no three-dimensional coordinates can be made");
    }
  }
  if (QZChem::QZLooksTwoDimensional(mol)) {
    throw RecordError("the coordinates are two-dimensional (--add-hydrogens makes new ones)");
  }
  RequirePlausibleCoordinates(mol);
  if (QZChem::QZLacksHydrogens(mol)) {
    throw RecordError("hydrogens are missing (--add-hydrogens adds them)");
  }
  // Pairs that are listed one by one take several times what their evaluation does.
  const double perPair = task.numInteractions > 0 ? 4.0 : 1.0;
  const auto bytes = perPair * static_cast<double>(QZMolPotential::QZEstimateForceFieldMemory(mol));
  if (bytes > kLargestMemory) {
    throw RecordError(
        Format("all pairs of %u atoms would take %.1f GiB, more than the %.0f GiB allowed",
               mol.NumAtoms(),
               bytes / kGiB,
               kLargestMemory / kGiB));
  }
}

}  // namespace Molpot
