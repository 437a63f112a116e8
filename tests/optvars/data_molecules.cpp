// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "optvars/data_molecules.h"

#include <filesystem>

#include "qzchem/geometry.h"
#include "qzchem/io.h"

namespace TestOptVars {

QZChem::QZGraphMol DataMolecule(const char* name) {
  const std::string path = std::string(MOLPOTENTIAL_DATA_DIR) + "/" + name + ".sdf";
  QZChem::qzmolistream in(path.c_str());
  QZChem::QZGraphMol mol;
  QZChem::QZReadMolecule(in, mol);
  return mol;
}

std::vector<QZChem::QZGraphMol> DataMolecules() {
  std::vector<QZChem::QZGraphMol> molecules;
  for (const auto& entry : std::filesystem::directory_iterator(MOLPOTENTIAL_DATA_DIR)) {
    if (entry.path().extension() != ".sdf") continue;
    molecules.push_back(DataMolecule(entry.path().stem().c_str()));
  }
  return molecules;
}

double Deviation(const std::vector<double>& a, const std::vector<double>& b) {
  return QZChem::QZRMSD(a.data(),
                        b.data(),
                        static_cast<unsigned int>(a.size() / 3),
                        /*superpose=*/true,
                        nullptr,
                        nullptr);
}

}  // namespace TestOptVars
