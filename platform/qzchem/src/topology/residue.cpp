// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzchem/residue.h"

namespace QZChem {
namespace {

unsigned int ResidueTag() {
  static const unsigned int tag = QZSystem::QZGetTag("QZChem residue");
  return tag;
}

}  // namespace

const QZResidue* QZGetResidue(const QZAtomBase& atom) {
  return atom.GetData<QZResidue>(ResidueTag());
}

void QZSetResidue(QZAtomBase& atom, const QZResidue& residue) {
  atom.SetData(ResidueTag(), residue);
}

std::string QZDescribeResidue(const QZAtomBase& atom) {
  const QZResidue* residue = QZGetResidue(atom);
  if (residue == nullptr) return "";
  // Ligands may be named in digits: "residue 478, number 200".
  const bool isNumeric = residue->name.find_first_not_of("0123456789") == std::string::npos;
  std::string text = "residue " + residue->name + (isNumeric ? ", number " : " ") +
                     std::to_string(residue->number);
  if (residue->insertionCode != ' ') text += residue->insertionCode;
  if (!residue->chain.empty()) text += " (chain " + residue->chain + ")";
  return text;
}

}  // namespace QZChem
