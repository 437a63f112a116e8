// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "files/rdkit_files.h"

#include <GraphMol/FileParsers/FileParsers.h>
#include <GraphMol/MolOps.h>
#include <GraphMol/RWMol.h>
#include <GraphMol/SmilesParse/SmilesWrite.h>

#include <exception>
#include <memory>
#include <stdexcept>

#include "perception/rdkit_bridge.h"
#include "perception/rdkit_log.h"
#include "perception/stereo.h"

namespace QZChem {
std::string FaultOf(const RDKit::RWMol& parsed) {
  for (const RDKit::Atom* atom : parsed.atoms()) {
    if (atom->hasQuery() && atom->getAtomicNum() != 0) {
      return "Atom " + std::to_string(atom->getIdx() + 1) + " is a query, not an element";
    }
  }
  for (const RDKit::Bond* bond : parsed.bonds()) {
    switch (bond->getBondType()) {
      case RDKit::Bond::SINGLE:
      case RDKit::Bond::DOUBLE:
      case RDKit::Bond::TRIPLE:
      case RDKit::Bond::AROMATIC:
        if (!bond->hasQuery()) continue;
        break;
      default:
        break;
    }
    return "Bond " + std::to_string(bond->getIdx() + 1) + " (atoms " +
           std::to_string(bond->getBeginAtomIdx() + 1) + " and " +
           std::to_string(bond->getEndAtomIdx() + 1) +
           ") has a type that is not single, double, triple or aromatic";
  }
  return "";
}

namespace {

// Runs one of RDKit's parsers and takes over what it made; "" or the parser's reason.
template <class Parser>
std::string Parse(Parser parse, QZGraphMol& mol) {
  const RDKitErrorText reason;
  try {
    const std::unique_ptr<RDKit::RWMol> parsed(parse());
    if (parsed == nullptr) return reason.Get("The record cannot be read");
    if (std::string fault = FaultOf(*parsed); !fault.empty()) return fault;
    FromRDKit(*parsed, mol);
    return "";
  } catch (const std::exception& error) {
    return InUsersWords(error.what());
  }
}

// Runs one of RDKit's writers; "" or its reason.
template <class Writer>
std::string Write(Writer write, std::string& text) {
  try {
    text = write();
    return "";
  } catch (const std::exception& error) {
    return InUsersWords(error.what());
  }
}

}  // namespace

std::string ParseMolBlock(const std::string& block, QZGraphMol& mol) {
  return Parse(
      [&] {
        return RDKit::MolBlockToMol(
            block, /*sanitize=*/false, /*removeHs=*/false, /*strictParsing=*/true);
      },
      mol);
}

std::string ParseMol2Block(const std::string& block, QZGraphMol& mol) {
  return Parse([&] { return RDKit::Mol2BlockToMol(block, /*sanitize=*/false, /*removeHs=*/false); },
               mol);
}

std::string MakeMolBlock(const QZGraphMol& mol, bool v3000, std::string& block) {
  return Write(
      [&] {
        const QZRDKitMol converted = ToRDKitUnperceived(mol);
        // Without a stereo mark the writer calls a double bond "cis or trans"; with any mark it
        // leaves the geometry to the coordinates.
        for (RDKit::Bond* bond : converted.mol->bonds()) {
          if (bond->getBondType() == RDKit::Bond::DOUBLE) bond->setStereo(RDKit::Bond::STEREOE);
        }
        return RDKit::MolToMolBlock(*converted.mol,
                                    /*includeStereo=*/false,
                                    /*confId=*/-1,
                                    /*kekulize=*/false,
                                    v3000);
      },
      block);
}

std::string MakeSmiles(const QZGraphMol& mol, std::string& smiles) {
  return Write(
      [&] {
        QZRDKitMol converted = QZToRDKit(mol, /*coordinates=*/true);
        if (!converted.error.empty()) throw std::runtime_error(converted.error);
        AssignStereo(mol, *converted.mol);
        RDKit::MolOps::removeHs(*converted.mol);
        return RDKit::MolToSmiles(*converted.mol);
      },
      smiles);
}

}  // namespace QZChem
