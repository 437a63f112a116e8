// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// Each term of each force field, alone and together, over a file of molecules: energies and
// gradients against RDKit's contributions of the same kind, derivatives against differences.
//
//   agreement FILE.sdf [HESSIAN_EVERY]
//
// Every HESSIAN_EVERY-th record (10) is asked for Hessians too. Prints the worst of each kind with
// its record; status 1 beyond 1e-6 (energies), 1e-7 (gradients), 1e-5 (derivatives), the first two
// relative to the energy and the largest entry, at least 1. RDKit's gradient of UFF's inversions at
// phosphorus and its like is not that of its own energy: where ours is, RDKit's counts as its
// fault.
#include <ForceField/ForceField.h>
#include <ForceField/MMFF/Contribs.h>
#include <ForceField/UFF/Contribs.h>
#include <GraphMol/FileParsers/FileParsers.h>
#include <GraphMol/ForceFieldHelpers/MMFF/MMFF.h>
#include <GraphMol/ForceFieldHelpers/UFF/UFF.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "forcefields/forcefields.h"
#include "molpotential/checkfunc.h"
#include "qzchem/qzchem.h"

namespace {

using namespace QZMolPotential;
using Term = QZForceFieldTermKind;
using Contribution = ForceFields::ForceFieldContrib;

template <class T>
bool Is(const Contribution& c) {
  return dynamic_cast<const T*>(&c) != nullptr;
}

bool IsOf(Term term, const Contribution& c) {
  namespace M = ForceFields::MMFF;
  namespace U = ForceFields::UFF;
  switch (term) {
    case Term::Stretch:
      return Is<M::BondStretchContrib>(c) || Is<U::BondStretchContrib>(c);
    case Term::Bend:
      return Is<M::AngleBendContrib>(c) || Is<U::AngleBendContrib>(c);
    case Term::StretchBend:
      return Is<M::StretchBendContrib>(c);
    case Term::OutOfPlane:
      return Is<M::OopBendContrib>(c) || Is<U::InversionContrib>(c);
    case Term::Torsion:
      return Is<M::TorsionAngleContrib>(c) || Is<U::TorsionAngleContrib>(c);
    case Term::VanDerWaals:
      return Is<M::VdWContrib>(c) || Is<U::vdWContrib>(c);
    case Term::Electrostatics:
      return Is<M::EleContrib>(c);
  }
  return false;
}

constexpr double kEnergyLimit = 1e-6;
constexpr double kGradientLimit = 1e-7;
constexpr double kDerivativeLimit = 1e-5;
constexpr Term kTerms[] = {Term::Stretch,
                           Term::Bend,
                           Term::StretchBend,
                           Term::OutOfPlane,
                           Term::Torsion,
                           Term::VanDerWaals,
                           Term::Electrostatics};
constexpr QZForceFieldKind kFields[] = {
    QZForceFieldKind::MMFF94, QZForceFieldKind::MMFF94s, QZForceFieldKind::UFF};

double Largest(const std::vector<double>& values) {
  double largest = 0.0;
  for (const double v : values) largest = std::max(largest, std::abs(v));
  return largest;
}

struct Worst {
  double error = 0.0;
  unsigned int record = 0;
  void Take(double value, unsigned int number) {
    if (value <= error || std::isnan(error)) return;  // NaN is taken and stays
    error = value;
    record = number;
  }
};

struct Tally {
  Worst energy, gradient, first, second;
  unsigned int numHessians = 0;
  unsigned int numFaults = 0;  // RDKit's
};

// RDKit's energy of one kind of terms, or of all, with its gradient.
class Reference {
 public:
  Reference(ForceFields::ForceField& field, const Term* term) : field_(field) {
    for (const auto& contribution : field.contribs()) {
      if (term == nullptr || IsOf(*term, *contribution)) chosen_.push_back(contribution.get());
    }
  }
  double Energy(std::vector<double>& x) {
    field_.calcEnergy(x.data());  // takes the distances
    double sum = 0.0;
    for (const Contribution* c : chosen_) sum += c->getEnergy(x.data());
    return sum;
  }
  std::vector<double> Gradient(std::vector<double>& x) {
    std::vector<double> grad(x.size(), 0.0);
    Energy(x);
    for (const Contribution* c : chosen_) c->getGrad(x.data(), grad.data());
    return grad;
  }
  // Whether entry `i` of the gradient is what the energy changes by.
  bool IsTrue(std::vector<double> x, std::size_t i, double slope) {
    constexpr double kStep = 1e-5;
    x[i] += kStep;
    const double up = Energy(x);
    x[i] -= 2.0 * kStep;
    const double difference = (up - Energy(x)) / (2.0 * kStep);
    return std::abs(difference - slope) <= 1e-4 * std::max(1.0, std::abs(slope));
  }

 private:
  ForceFields::ForceField& field_;
  std::vector<const Contribution*> chosen_;
};

class Comparison {
 public:
  Comparison(std::map<std::string, Tally>& tallies, unsigned int record, bool withHessian)
      : tallies_(tallies), record_(record), withHessian_(withHessian) {}

  bool Run(QZChem::QZGraphMol& mol, QZForceFieldKind kind);

 private:
  void compare(const char* name, QZMolFunc2& ours, Reference reference);

  std::map<std::string, Tally>& tallies_;
  unsigned int record_;
  bool withHessian_;
  QZForceFieldKind kind_ = QZForceFieldKind::MMFF94;
  std::vector<double> x_;
};

void Comparison::compare(const char* name, QZMolFunc2& ours, Reference reference) {
  Tally& tally = tallies_[std::string(QZGetForceFieldName(kind_)) + " " + name];
  std::vector<double> g(x_.size(), 0.0);
  const double energy = reference.Energy(x_);
  const std::vector<double> expected = reference.Gradient(x_);
  const double difference = ours(x_.data(), g.data()) - energy;
  tally.energy.Take(std::abs(difference) / std::max(1.0, std::abs(energy)), record_);
  const double scale = std::max(1.0, Largest(expected));
  for (std::size_t i = 0; i < g.size(); ++i) {
    const double error = std::abs(g[i] - expected[i]) / scale;
    if (error > kGradientLimit && !reference.IsTrue(x_, i, expected[i]) &&
        reference.IsTrue(x_, i, g[i])) {
      ++tally.numFaults;
    } else {
      tally.gradient.Take(error, record_);
    }
  }
  QZCheckFunc check;
  check.SetCheckHessian(withHessian_);
  const QZCheckFuncResult result = check.Check(ours, x_.data());
  tally.first.Take(result.gradient.error, record_);
  if (!withHessian_) return;
  tally.second.Take(result.hasHessian ? result.hessian.error : HUGE_VAL, record_);
  ++tally.numHessians;
}

bool Comparison::Run(QZChem::QZGraphMol& mol, QZForceFieldKind kind) {
  constexpr double kFar = 1000.0;
  kind_ = kind;
  std::ostringstream text;
  {
    QZChem::qzmolostream out(text);
    QZChem::QZWriteMolecule(out, mol);
  }
  const std::unique_ptr<RDKit::RWMol> rdkit(RDKit::MolBlockToMol(text.str(), true, false));
  std::unique_ptr<ForceFields::ForceField> field;
  if (kind == QZForceFieldKind::UFF) {
    field.reset(RDKit::UFF::constructForceField(*rdkit, kFar, -1, false));
  } else {
    RDKit::MMFF::MMFFMolProperties types(*rdkit, QZGetForceFieldName(kind));
    if (types.isValid()) {
      field.reset(RDKit::MMFF::constructForceField(*rdkit, &types, kFar, -1, false));
    }
  }
  QZStandardFF whole(kind);
  if (field == nullptr || !whole.Setup(mol)) return false;
  field->initialize();
  x_.resize(whole.NumVar());
  mol.GetCoords(x_.data());
  compare("all", whole, Reference(*field, nullptr));
  for (const Term term : kTerms) {
    QZForceFieldTerm ours(kind, term);
    if (!ours.Setup(mol)) return false;
    compare(ours.GetName(), ours, Reference(*field, &term));
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: agreement FILE.sdf [HESSIAN_EVERY]\n");
    return 2;
  }
  const unsigned int every = argc > 2 ? static_cast<unsigned int>(std::atoi(argv[2])) : 10;
  QZChem::qzmolistream in(argv[1]);
  std::map<std::string, Tally> tallies;
  unsigned int record = 0;
  unsigned int compared = 0;
  for (QZChem::QZGraphMol mol; QZChem::QZReadMolecule(in, mol);) {
    ++record;
    Comparison comparison(tallies, record, every != 0 && record % every == 0);
    for (const QZForceFieldKind kind : kFields) compared += comparison.Run(mol, kind) ? 1 : 0;
  }
  std::printf("%u records, %u comparisons\n", record, compared);
  std::printf("%-24s %18s %18s %18s %18s %5s %7s\n",
              "worst, and its record",
              "energy",
              "gradient",
              "first derivatives",
              "second",
              "of",
              "faults");
  bool good = compared > 0;
  for (const auto& [name, t] : tallies) {
    std::printf("%-24s", name.c_str());
    for (const Worst& worst : {t.energy, t.gradient, t.first, t.second}) {
      std::printf(" %10.1e %7u", worst.error, worst.record);
    }
    std::printf(" %5u %7u\n", t.numHessians, t.numFaults);
    good = good && t.energy.error < kEnergyLimit && t.gradient.error < kGradientLimit &&
           t.first.error < kDerivativeLimit && t.second.error < kDerivativeLimit;
  }
  return good ? 0 : 1;
}
