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
  std::string text = "residue " + residue->name + " " + std::to_string(residue->number);
  if (residue->insertionCode != ' ') text += residue->insertionCode;
  if (!residue->chain.empty()) text += " (chain " + residue->chain + ")";
  return text;
}

}  // namespace QZChem
