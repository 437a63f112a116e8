// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "files/smiles.h"

#include <GraphMol/MolOps.h>
#include <GraphMol/PeriodicTable.h>
#include <GraphMol/RWMol.h>
#include <GraphMol/SmilesParse/SmilesParse.h>

#include <exception>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

#include "files/line_source.h"
#include "files/rdkit_files.h"
#include "files/records.h"
#include "perception/embedding.h"
#include "perception/rdkit_bridge.h"
#include "perception/rdkit_log.h"
#include "qzchem/io.h"
#include "qzchem/locale.h"
#include "qzchem/topology.h"
#include "qzsystem/error.h"

namespace QZChem {
namespace {

// Perceiving stereochemistry and making coordinates of more takes minutes.
constexpr std::size_t kLongestSmiles = 800;

// RDKit calls lone metal ions radicals by the count of their electrons.
void DropRadicalsOfMetals(RDKit::RWMol& parsed) {
  constexpr int kAnyValence = -1;
  for (RDKit::Atom* atom : parsed.atoms()) {
    const auto number = static_cast<unsigned int>(atom->getAtomicNum());
    if (RDKit::PeriodicTable::getTable()->getDefaultValence(number) == kAnyValence) {
      atom->setNumRadicalElectrons(0);
    }
  }
}

}  // namespace

std::string ParseSmiles(const std::string& smiles, QZGraphMol& mol) {
  const QZClassicNumbers numbers;
  const RDKitErrorText reason;
  try {
    const std::unique_ptr<RDKit::RWMol> parsed(RDKit::SmilesToMol(smiles));
    if (parsed == nullptr) return reason.Get("it does not parse");
    if (parsed->getNumAtoms() == 0) return "it has no atoms";
    if (std::string fault = FaultOf(*parsed); !fault.empty()) return fault;
    DropRadicalsOfMetals(*parsed);
    RDKit::MolOps::addHs(*parsed);
    QZGraphMol result;
    FromRDKit(*parsed, result);
    mol = std::move(result);
    return "";
  } catch (const std::exception& error) {
    return InUsersWords(error.what());
  }
}

bool QZSmilesToMol(QZGraphMol& mol, const char* smiles) {
  const std::string error = smiles != nullptr ? ParseSmiles(smiles, mol) : "it is null";
  if (error.empty()) return true;
  QZSystem::QZThrow.Warning(
      "No molecule from SMILES \"%s\": %s", smiles != nullptr ? smiles : "", error.c_str());
  return false;
}

std::string ReadSmiles(const std::string& text,
                       bool makeCoordinates,
                       QZGraphMol& mol,
                       std::string& note) {
  const std::string_view line = Trimmed(text);
  const std::size_t end = std::min(line.find_first_of(" \t"), line.size());
  const std::string smiles(line.substr(0, end));
  if (smiles.size() > kLongestSmiles) {
    return "The SMILES is longer than " + std::to_string(kLongestSmiles) + " characters";
  }
  if (std::string error = ParseSmiles(smiles, mol); !error.empty()) {
    return "No molecule from SMILES \"" + smiles + "\": " + error;
  }
  mol.SetTitle(std::string(Trimmed(line.substr(end))).c_str());
  if (const QZAtomBase* atom = FindRadical(mol, 2); atom != nullptr) {
    note = "SMILES does not tell the spin of atom " + std::to_string(atom->GetIndex() + 1) + " (" +
           QZGetAtomicSymbol(atom->GetAtomicNumber()) + "): its electrons are taken as unpaired";
  }
  return makeCoordinates ? EmbedOne(mol) : "";
}

std::string WriteSmiles(const QZGraphMol& mol, const std::string& title, std::ostream& out) {
  std::string smiles;
  std::string error = MakeSmiles(mol, smiles);
  if (error.empty()) out << smiles << (title.empty() ? "" : " ") << title << '\n';
  return error;
}

}  // namespace QZChem
