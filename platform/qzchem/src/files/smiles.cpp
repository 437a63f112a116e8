// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <GraphMol/MolOps.h>
#include <GraphMol/RWMol.h>
#include <GraphMol/SmilesParse/SmilesParse.h>

#include <exception>
#include <memory>
#include <string>

#include "qzchem/io.h"
#include "qzsystem/error.h"
#include "perception/rdkit_bridge.h"
#include "perception/rdkit_log.h"

namespace QZChem {
namespace {

// "" or why there is no molecule.
std::string Parse(const char* smiles, QZGraphMol& mol) {
  const RDKitErrorText reason;
  try {
    const std::unique_ptr<RDKit::RWMol> parsed(RDKit::SmilesToMol(std::string(smiles)));
    if (parsed == nullptr) return reason.Get("it does not parse");
    if (parsed->getNumAtoms() == 0) return "it has no atoms";
    RDKit::MolOps::addHs(*parsed);
    QZGraphMol result;
    FromRDKit(*parsed, result);
    mol = std::move(result);
    return "";
  } catch (const std::exception& error) {
    return OneLine(error.what());
  }
}

}  // namespace

bool QZSmilesToMol(QZGraphMol& mol, const char* smiles) {
  const std::string error = smiles != nullptr ? Parse(smiles, mol) : "it is null";
  if (error.empty()) return true;
  QZSystem::QZThrow.Warning(
      "No molecule from SMILES \"%s\": %s", smiles != nullptr ? smiles : "", error.c_str());
  return false;
}

}  // namespace QZChem
