// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzchem/commonsub.h"

#include <GraphMol/FMCS/FMCS.h>
#include <GraphMol/RWMol.h>

#include <exception>

#include "perception/rdkit_bridge.h"
#include "perception/rdkit_log.h"
#include "perception/rings.h"
#include "qzchem/locale.h"

namespace QZChem {
namespace {

RDKit::ROMOL_SPTR HeavyAtoms(const QZMolBase& mol) {
  boost::shared_ptr<RDKit::RWMol> heavy(new RDKit::RWMol(*PerceivedRDKitMol(mol)->mol));
  heavy->beginBatchEdit();
  for (const RDKit::Atom* atom : heavy->atoms()) {
    if (atom->getAtomicNum() == 1) heavy->removeAtom(atom->getIdx());
  }
  heavy->commitBatchEdit();
  FindRings(*heavy);
  return heavy;
}

}  // namespace

std::string QZFindCommonSubstructure(const QZMolBase& a,
                                     const QZMolBase& b,
                                     unsigned int seconds,
                                     std::string& error) {
  const QZClassicNumbers numbers;
  try {
    RDKit::MCSParameters parameters;
    parameters.Timeout = seconds;
    parameters.BondCompareParameters.RingMatchesRingOnly = true;
    parameters.BondCompareParameters.CompleteRingsOnly = true;
    parameters.AtomCompareParameters.RingMatchesRingOnly = true;
    parameters.AtomCompareParameters.CompleteRingsOnly = true;
    const RDKit::MCSResult found = RDKit::findMCS({HeavyAtoms(a), HeavyAtoms(b)}, &parameters);
    if (found.Canceled) {
      error =
          "the largest common substructure was not found within " + std::to_string(seconds) + " s";
    } else if (found.SmartsString.empty()) {
      error = "there is no common substructure";
    } else {
      return found.SmartsString;
    }
  } catch (const std::exception& failure) {
    error = InUsersWords(failure.what());
  }
  return "";
}

}  // namespace QZChem
