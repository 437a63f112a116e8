// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// UFF term by term against RDKit's contributions, on chemistry that reaches every case of its
// builder.
#include <ForceField/ForceField.h>
#include <ForceField/UFF/Contribs.h>
#include <GraphMol/DistGeomHelpers/Embedder.h>
#include <GraphMol/FileParsers/FileParsers.h>
#include <GraphMol/ForceFieldHelpers/UFF/UFF.h>
#include <GraphMol/MolOps.h>
#include <GraphMol/SmilesParse/SmilesParse.h>
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "forcefields/forcefields.h"
#include "support/contract.h"
#include "support/molecules.h"
#include "support/records_text.h"

namespace {

using namespace QZMolPotential;
using namespace TestSupport;
using Term = QZForceFieldTermKind;

constexpr unsigned int kSeed = 20261123;

/// A molecule of SMILES with coordinates, as RDKit and as we have it.
struct Subject {
  explicit Subject(const std::string& smiles) {
    std::unique_ptr<RDKit::RWMol> parsed(RDKit::SmilesToMol(smiles));
    RDKit::MolOps::addHs(*parsed);
    auto parameters = RDKit::DGeomHelpers::ETKDGv3;
    parameters.randomSeed = 7;
    parameters.useRandomCoords = true;
    EXPECT_GE(RDKit::DGeomHelpers::EmbedMolecule(*parsed, parameters), 0) << smiles;
    std::istringstream text(RDKit::MolToMolBlock(*parsed) + "$$$$\n");
    QZChem::qzmolistream in(text, QZChem::QZMolFormat::SDF);
    EXPECT_TRUE(QZChem::QZReadMolecule(in, mol)) << smiles;
    rdkit.reset(RDKit::MolBlockToMol(Written(mol), /*sanitize=*/true, /*removeHs=*/false));
    field.reset(RDKit::UFF::constructForceField(*rdkit, 1000.0, -1, false));
    field->initialize();
  }
  /// RDKit's energy of each kind of term.
  std::map<Term, double> Energies(std::vector<double>& x) const {
    std::map<Term, double> energies;
    field->calcEnergy(x.data());
    for (const auto& c : field->contribs()) {
      const auto* contribution = c.get();
      const Term term =
          dynamic_cast<const ForceFields::UFF::BondStretchContrib*>(contribution) ? Term::Stretch
          : dynamic_cast<const ForceFields::UFF::AngleBendContrib*>(contribution) ? Term::Bend
          : dynamic_cast<const ForceFields::UFF::InversionContrib*>(contribution) ? Term::OutOfPlane
          : dynamic_cast<const ForceFields::UFF::TorsionAngleContrib*>(contribution)
              ? Term::Torsion
              : Term::VanDerWaals;
      energies[term] += contribution->getEnergy(x.data());
    }
    return energies;
  }
  /// Differences of RDKit's energy.
  std::vector<double> Slopes(std::vector<double> x) const {
    constexpr double kStep = 1e-5;
    std::vector<double> slopes;
    for (double& value : x) {
      const double at = value;
      value = at + kStep;
      const double high = field->calcEnergy(x.data());
      value = at - kStep;
      const double low = field->calcEnergy(x.data());
      value = at;
      slopes.push_back((high - low) / (2.0 * kStep));
    }
    return slopes;
  }

  QZChem::QZGraphMol mol;
  std::unique_ptr<RDKit::RWMol> rdkit;
  std::unique_ptr<ForceFields::ForceField> field;
};

const char* const kMolecules[] = {
    "CC(=O)Nc1ccc(O)cc1",  // amide, aromatic
    "C#CCC(C)(C)N=C=O",    // linear centres
    "FP(F)(F)(F)F",        // trigonal bipyramid
    "CS(=O)(=O)N(C)C",     // sulfone, amine
    "CP(C)C",              // pyramid with an inversion of its own
    "C[As](C)C",
    "C[SiH2]OB(O)O",  // silicon, boron
    "OO",             // torsion of group 6
    "CSSC",
    "C=CC=CC",  // torsions at sp2 and sp3
    "[O-][N+](=O)c1ccccc1Br",
    "C1CC1C[N+](C)(C)C",  // ring of three, ion
};

const std::vector<Term> kTerms = {
    Term::Stretch, Term::Bend, Term::OutOfPlane, Term::Torsion, Term::VanDerWaals};

TEST(Uff, TermsAreRDKitsTermByTerm) {
  std::mt19937 random(kSeed);
  for (const char* smiles : kMolecules) {
    const Subject subject(smiles);
    for (const double amplitude : {0.0, 0.1, 0.3}) {
      std::vector<double> x = Jittered(Coords(subject.mol), amplitude, random);
      const auto expected = subject.Energies(x);
      std::vector<double> grad(x.size(), 0.0);
      for (const Term term : kTerms) {
        QZForceFieldTerm function(QZForceFieldKind::UFF, term);
        ASSERT_TRUE(function.Setup(subject.mol)) << smiles;
        const double wanted = expected.contains(term) ? expected.at(term) : 0.0;
        const double energy = function(x.data(), grad.data());
        EXPECT_LE(std::abs(energy - wanted), 1e-9 * std::max(1.0, std::abs(wanted)))
            << smiles << " " << function.GetName() << " " << energy << " " << wanted;
      }
      std::vector<double> wanted(x.size(), 0.0);
      subject.field->calcEnergy(x.data());
      subject.field->calcGrad(x.data(), wanted.data());
      // At pyramidal centres RDKit's gradient is not that of its energy, which is followed.
      const bool isPyramidal = std::string_view(smiles).starts_with("CP(") ||
                               std::string_view(smiles).starts_with("C[As]");
      if (isPyramidal) wanted = subject.Slopes(x);
      const double tolerance = isPyramidal ? 1e-6 : 1e-8;
      for (std::size_t k = 0; k < x.size(); ++k) {
        ASSERT_LE(std::abs(grad[k] - wanted[k]), tolerance * std::max(1.0, std::abs(wanted[k])))
            << smiles << " " << k << " amplitude " << amplitude;
      }
    }
  }
}

TEST(Uff, DerivativesAreThoseOfTheEnergy) {
  std::mt19937 random(kSeed);
  for (const char* smiles : kMolecules) {
    const Subject subject(smiles);
    const std::vector<double> x = Jittered(Coords(subject.mol), 0.1, random);
    for (const Term term : kTerms) {
      const auto make = [&] { return new QZForceFieldTerm(QZForceFieldKind::UFF, term); };
      EXPECT_EQ(CheckContract(make, subject.mol, x), "") << smiles << " " << int(term);
    }
  }
}

// Angles that the formulas have no trouble with, and dihedrals that have no value.
TEST(Uff, StraightAndFlatGeometriesHaveFiniteDerivatives) {
  QZChem::QZGraphMol mol;
  ASSERT_TRUE(QZChem::QZSmilesToMol(mol, "CC#CC=O"));
  const std::size_t n = 3 * std::size_t{mol.AtomIndexBound()};
  std::mt19937 random(kSeed);
  std::vector<double> x = Jittered(std::vector<double>(n, 0.0), 1.5, random);
  mol.SetCoords(x.data());
  // All carbons and the oxygen in line; then everything in one plane; then on one line.
  std::vector<double> line = x;
  std::vector<double> plane = x;
  std::vector<double> all(n, 0.0);
  for (std::size_t i = 0; i < n / 3; ++i) {
    if (i < 5) line[3 * i] = 1.3 * static_cast<double>(i);
    if (i < 5) line[3 * i + 1] = line[3 * i + 2] = 0.0;
    plane[3 * i + 2] = 0.0;
    all[3 * i] = 1.1 * static_cast<double>(i);
  }
  QZStandardFF field(QZForceFieldKind::UFF);
  ASSERT_TRUE(field.Setup(mol));
  for (const auto& geometry : {line, plane, all}) {
    std::vector<double> grad(n, 0.0);
    std::vector<double> hessian(n * (n + 1) / 2, 0.0);
    EXPECT_TRUE(std::isfinite(field(geometry.data(), grad.data())));
    EXPECT_TRUE(field(geometry.data(), hessian.data(), nullptr));
    for (const double value : grad) ASSERT_TRUE(std::isfinite(value));
    for (const double value : hessian) ASSERT_TRUE(std::isfinite(value));
  }
  // At straight angles alone derivatives are those of the energy.
  QZForceFieldTerm bend(QZForceFieldKind::UFF, Term::Bend);
  ASSERT_TRUE(bend.Setup(mol));
  EXPECT_EQ(CheckDerivatives(bend, line), "");
}

}  // namespace
