// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "input/records.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>

#include "forcefields/forcefields.h"
#include "input/errors.h"

namespace Molpot {

namespace {

constexpr double kGiB = 1024.0 * 1024.0 * 1024.0;
constexpr double kLargestMemory = 4.0 * kGiB;

bool ParseFormat(const std::string& name, QZChem::QZMolFormat& format) {
  return QZChem::QZFormatFromPath("x." + name, format);
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
      std::fprintf(stderr,
                   "molpot: %s: record %u: %s\n",
                   input->GetName().c_str(),
                   info.number,
                   info.error.c_str());
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
  if (QZChem::QZLacksHydrogens(mol)) {
    throw RecordError("hydrogens are missing (--add-hydrogens adds them)");
  }
  // Pairs that are listed one by one take several times what their evaluation does.
  const double perPair = task.numInteractions > 0 ? 4.0 : 1.0;
  const auto bytes = perPair * static_cast<double>(QZMolPotential::QZEstimateForceFieldMemory(mol));
  if (bytes > kLargestMemory) {
    char text[160];
    std::snprintf(text,
                  sizeof text,
                  "all pairs of %u atoms would take %.1f GiB, more than the %.0f GiB allowed",
                  mol.NumAtoms(),
                  bytes / kGiB,
                  kLargestMemory / kGiB);
    throw RecordError(text);
  }
}

}  // namespace Molpot
