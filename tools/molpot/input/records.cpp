// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "input/records.h"

#include <cmath>
#include <filesystem>
#include <iostream>

#include "forcefields/forcefields.h"
#include "input/errors.h"
#include "input/words.h"
#include "output/console.h"
#include "output/format.h"
#include "run/messages.h"

namespace Molpot {

namespace {

constexpr const char* kExtensions = ".sdf .mol .mol2 .pdb .xyz .smi, also with .gz";
constexpr double kGiB = 1024.0 * 1024.0 * 1024.0;
constexpr double kLargestMemory = 4.0 * kGiB;
// Å: beyond what any file of molecules means, and where distances lose the digits that matter.
constexpr double kLargestCoordinate = 1.0e5;

bool ParseFormat(const std::string& name, QZChem::QZMolFormat& format) {
  return QZChem::QZFormatFromPath("x." + name, format);
}

void AddHydrogens(QZChem::QZGraphMol& mol) {
  std::vector<std::string> messages;
  int added = 0;
  {
    const MessageCollector collector(messages);
    added = QZChem::QZAddHydrogens(mol);
  }
  if (added >= 0) return;
  std::string error;
  for (const auto& text : messages) error += (error.empty() ? "" : "; ") + text;
  throw RecordError(error);
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

std::string Source::Name() const {
  if (!smiles.empty()) return "--smiles";
  return path == "-" ? "standard input" : path;
}

Input::Input(const Source& source) {
  QZChem::QZMolFormat format = QZChem::QZMolFormat::SDF;
  if (!source.format.empty() && !ParseFormat(source.format, format)) {
    throw UsageError("--input-format: there is no format \"" + source.format + "\"");
  }
  if (source.path.empty() == source.smiles.empty()) {
    throw UsageError("one of INPUT and --smiles is needed");
  }
  if (!source.smiles.empty()) {
    std::string lines;
    for (const auto& one : source.smiles) lines += one + "\n";
    text_.str(lines);
    stream_ = std::make_unique<QZChem::qzmolistream>(
        text_, QZChem::QZMolFormat::SMILES, source.Name().c_str());
  } else if (source.path == "-") {
    stream_ = std::make_unique<QZChem::qzmolistream>(std::cin, format, source.Name().c_str());
  } else {
    if (source.format.empty() && !QZChem::QZFormatFromPath(source.path, format) &&
        !std::filesystem::is_directory(source.path)) {
      throw UsageError(source.path + ": the extension names no format (" + kExtensions + ")");
    }
    stream_ = std::make_unique<QZChem::qzmolistream>(source.path.c_str(), format);
  }
  if (!*stream_) {
    throw UsageError(source.Name() + ": cannot be read: " + stream_->GetError());
  }
  stream_->SetModel(source.model);
  if (!source.alternateLocation.empty()) {
    stream_->SetAlternateLocation(source.alternateLocation.front());
  }
  stream_->SetMakeCoordinates(source.makeCoordinates);
}

bool Input::Next(Outcome& outcome) {
  QZChem::QZRecordInfo info;
  bool found = false;
  {
    // What is told of a good record comes as its note too, and then with the record.
    std::vector<std::string> told;
    const MessageCollector collector(told);
    found = QZChem::QZNextRecord(*stream_, outcome.mol, info);
  }
  if (!found) return false;
  outcome.record = info.number;
  outcome.raw = std::move(info.raw);
  outcome.error = std::move(info.error);
  if (!info.note.empty()) outcome.warnings.push_back(info.note);
  if (outcome.error.empty()) outcome.title = outcome.mol.GetTitle();
  return true;
}

std::vector<Outcome> ReadAll(const Source& source, unsigned int& failed) {
  Input input(source);
  std::vector<Outcome> records;
  for (Outcome outcome; input.Next(outcome); outcome = Outcome()) {
    const std::string where = source.Name() + ": record " + std::to_string(outcome.record) + ": ";
    for (const auto& text : outcome.warnings) PrintMessage(where + text);
    if (outcome.error.empty()) {
      records.push_back(std::move(outcome));
    } else {
      ++failed;
      PrintMessage(where + outcome.error);
    }
  }
  if (records.empty() && failed == 0) throw UsageError(source.Name() + ": holds no records");
  return records;
}

std::shared_ptr<const QZChem::QZTemplates> ReadTemplates(
    const std::vector<std::string>& arguments) {
  auto templates = std::make_shared<QZChem::QZTemplates>();
  for (const std::string& argument : arguments) {
    std::string error;
    const std::vector<std::string> words = Words(argument);
    const bool isFile = std::filesystem::exists(argument);
    const bool isGood =
        isFile
            ? templates->AddFile(argument, error)
            : words.size() <= 2 &&
                  templates->AddSmiles(words.size() == 2 ? words.front() : "", words.back(), error);
    if (!isGood) throw UsageError(std::string("--template: \"").append(argument) + "\": " + error);
  }
  return templates;
}

void Prepare(const Task& task, QZChem::QZGraphMol& mol) {
  mol.Sweep();
  if (task.largestFragment) QZChem::QZKeepLargestFragment(mol);
  std::string error;
  if (task.templates != nullptr && !task.templates->IsEmpty() &&
      !task.templates->Apply(mol, error)) {
    throw RecordError(error);
  }
  if (task.addHydrogens) AddHydrogens(mol);
  const bool isFlat = QZChem::QZLooksTwoDimensional(mol);
  if (isFlat && task.addHydrogens && !QZChem::QZMakeCoordinates(mol)) {
    throw RecordError("no three-dimensional coordinates can be made");
  }
  if (isFlat && !task.addHydrogens && task.numConformers == 0) {
    throw RecordError(
        "the coordinates are two-dimensional (--add-hydrogens or --conformers makes new ones)");
  }
  RequirePlausibleCoordinates(mol);
  const std::string missing = QZChem::QZFindMissing(mol);
  if (!missing.empty()) {
    throw RecordError(QZChem::QZHasBondOrders(mol)
                          ? "hydrogens are missing (--add-hydrogens adds them): " + missing
                          : missing + " (--template)");
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
