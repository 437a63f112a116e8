// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "files/rdkit_files.h"

#include <GraphMol/FileParsers/FileParsers.h>
#include <GraphMol/RWMol.h>

#include <exception>
#include <memory>

#include "perception/rdkit_bridge.h"
#include "perception/rdkit_log.h"

namespace QZChem {
namespace {

// Runs one of RDKit's parsers and takes over what it made; "" or the parser's reason.
template <class Parser>
std::string Parse(Parser parse, QZGraphMol& mol) {
  const RDKitErrorText reason;
  try {
    const std::unique_ptr<RDKit::RWMol> parsed(parse());
    if (parsed == nullptr) return reason.Get("The record cannot be read");
    for (const RDKit::Atom* atom : parsed->atoms()) {
      if (atom->hasQuery() && atom->getAtomicNum() != 0) {
        return "Atom " + std::to_string(atom->getIdx() + 1) + " is a query, not an element";
      }
    }
    FromRDKit(*parsed, mol);
    return "";
  } catch (const std::exception& error) {
    return OneLine(error.what());
  }
}

// Runs one of RDKit's writers; "" or its reason.
template <class Writer>
std::string Write(Writer write, std::string& text) {
  try {
    text = write();
    return "";
  } catch (const std::exception& error) {
    return OneLine(error.what());
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

std::string ParsePdbBlock(const std::string& block, QZGraphMol& mol) {
  return Parse([&] { return RDKit::PDBBlockToMol(block, /*sanitize=*/false, /*removeHs=*/false); },
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

std::string MakePdbBlock(const QZGraphMol& mol, std::string& block) {
  return Write([&] { return RDKit::MolToPDBBlock(*ToRDKitUnperceived(mol).mol); }, block);
}

}  // namespace QZChem
