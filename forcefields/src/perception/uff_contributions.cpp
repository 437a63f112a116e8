// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <ForceField/UFF/Contribs.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "perception/rdkit_uff.h"

namespace QZMolPotential {
namespace {

namespace UFF = ForceFields::UFF;
using Atoms = Contributions::Atoms;

// RDKit's pairs end at this multiple of their minimum distance; ours interact at any distance.
constexpr double kNoThreshold = 1e6;

// Which atoms a contribution of RDKit's depends on, which it does not tell: those whose gradient
// it touches at a geometry without symmetry.
class AtomFinder {
 public:
  explicit AtomFinder(std::size_t numAtoms) : coords_(3 * numAtoms), grad_(3 * numAtoms) {
    // A walk of uneven steps from a linear congruence.
    std::uint32_t state = 12345;
    for (std::size_t i = 0; i < coords_.size(); ++i) {
      state = state * 1664525u + 1013904223u;
      coords_[i] = (i < 3 ? 0.0 : coords_[i - 3]) + state / 4294967296.0 - 0.3;
    }
  }
  /// The atoms in ascending order; of three the angle's centre is in the middle.
  Atoms Find(const ForceFields::ForceFieldContrib& contribution);

 private:
  double alongBond(unsigned int end, unsigned int centre) const {
    double sum = 0.0;
    for (std::size_t k = 0; k < 3; ++k) {
      sum += grad_[3 * end + k] * (coords_[3 * end + k] - coords_[3 * centre + k]);
    }
    return std::abs(sum);
  }

  std::vector<double> coords_;
  std::vector<double> grad_;
};

Atoms AtomFinder::Find(const ForceFields::ForceFieldContrib& contribution) {
  std::ranges::fill(grad_, 0.0);
  contribution.getGrad(coords_.data(), grad_.data());
  Atoms atoms;
  for (std::size_t i = 0; i < grad_.size(); i += 3) {
    if (grad_[i] != 0.0 || grad_[i + 1] != 0.0 || grad_[i + 2] != 0.0) {
      atoms.push_back(static_cast<unsigned int>(i / 3));
    }
  }
  if (atoms.size() == 3) {
    // The force on an end of an angle is perpendicular to the bond to the centre.
    const auto strain = [&](std::size_t c) {
      return alongBond(atoms[(c + 1) % 3], atoms[c]) + alongBond(atoms[(c + 2) % 3], atoms[c]);
    };
    std::size_t centre = 0;
    for (std::size_t c = 1; c < 3; ++c) {
      if (strain(c) < strain(centre)) centre = c;
    }
    std::swap(atoms[1], atoms[centre]);
  }
  return atoms;
}

const QZChem::QZBondBase* BondBetween(const UffPerception& perception,
                                      unsigned int i,
                                      unsigned int j) {
  for (const auto& neighbour : perception.Neighbours(i)) {
    if (neighbour.atom == j) return &perception.Bond(neighbour.bond);
  }
  return nullptr;
}

bool AcceptsBond(const UffPerception& perception, const Selection& selection, const Atoms& atoms) {
  return atoms.size() == 2 && selection.Accepts(*BondBetween(perception, atoms[0], atoms[1]));
}

bool AcceptsAngle(const UffPerception& perception, const Selection& selection, const Atoms& atoms) {
  return atoms.size() == 3 && selection.Accepts(*BondBetween(perception, atoms[0], atoms[1]),
                                                *BondBetween(perception, atoms[1], atoms[2]));
}

bool AcceptsGroup(const UffPerception& perception, const Selection& selection, const Atoms& atoms) {
  return std::ranges::any_of(
      atoms, [&](unsigned int atom) { return selection.AcceptsAny({&perception.Atom(atom)}); });
}

// The contributions of class C among the bonded ones that `accepts` lets pass.
template <class C, class Accepts>
std::unique_ptr<Contributions> Select(const UffPerception& perception,
                                      const Selection& selection,
                                      bool everything,
                                      Accepts accepts,
                                      const Contributions::Owner& owner) {
  auto result = std::make_unique<ContributionsOf<C>>();
  const bool wantsAtoms = !everything || owner.keepsAtoms;
  AtomFinder finder(wantsAtoms ? perception.NumAtoms() : 0);
  for (const auto& contribution : perception.UffBonded().contribs()) {
    const auto* wanted = dynamic_cast<const C*>(contribution.get());
    if (wanted == nullptr) continue;
    const Atoms atoms = wantsAtoms ? finder.Find(*wanted) : Atoms();
    if (everything || accepts(perception, selection, atoms)) result->Add(owner, atoms, *wanted);
  }
  return result;
}

std::unique_ptr<Contributions> VanDerWaals(const UffPerception& perception,
                                           const Selection& selection,
                                           const Contributions::Owner& owner) {
  auto result = std::make_unique<ContributionsOf<UFF::vdWContrib>>();
  const std::size_t n = perception.NumAtoms();
  if (!selection.atomPairs) result->Reserve(n * (n - 1) / 2);
  const auto& params = perception.UffParams();
  perception.ForEachPair([&](unsigned int i, unsigned int j, UffPerception::Separation) {
    if (selection.Accepts(perception.Atom(i), perception.Atom(j))) {
      result->Add(owner, std::array{i, j}, params[i], params[j], kNoThreshold);
    }
  });
  if (selection.atomPairs) result->Shrink();
  return result;
}

std::unique_ptr<Contributions> MakeContributions(const UffPerception& perception,
                                                 QZForceFieldTermKind term,
                                                 const Selection& selection,
                                                 const Contributions::Owner& owner) {
  switch (term) {
    case QZForceFieldTermKind::Stretch:
      return Select<UFF::BondStretchContrib>(
          perception, selection, !selection.bonds, AcceptsBond, owner);
    case QZForceFieldTermKind::Bend:
      return Select<UFF::AngleBendContrib>(
          perception, selection, !selection.bondPairs, AcceptsAngle, owner);
    case QZForceFieldTermKind::OutOfPlane:
      return Select<UFF::InversionContrib>(
          perception, selection, !selection.atoms, AcceptsGroup, owner);
    case QZForceFieldTermKind::Torsion:
      return Select<UFF::TorsionAngleContrib>(
          perception, selection, !selection.atoms, AcceptsGroup, owner);
    case QZForceFieldTermKind::VanDerWaals:
      return VanDerWaals(perception, selection, owner);
    case QZForceFieldTermKind::StretchBend:
    case QZForceFieldTermKind::Electrostatics:
      break;
  }
  return nullptr;
}

class UffTerm final : public TermEvaluator {
 public:
  UffTerm(std::shared_ptr<Engine> engine, std::unique_ptr<Contributions> all)
      : engine_(std::move(engine)), all_(std::move(all)) {
    all_->Bind(*engine_);
  }
  std::unique_ptr<TermEvaluator> Copy() const override {
    return std::make_unique<UffTerm>(std::make_shared<Engine>(*engine_), all_->Copy());
  }
  std::unique_ptr<TermEvaluator> Touching(const unsigned char*) const override { return Copy(); }
  std::size_t Size() const override { return all_->Size(); }
  double Energy(const double* x) override { return all_->Energy(engine_->Bind(x)); }
  double Gradient(const double* x, double* grad) override {
    const double energy = all_->EnergyAndGradient(engine_->Bind(x), engine_->GradientTarget(grad));
    engine_->AddGradient(grad);
    return energy;
  }
  void Hessian(const double* x, double* packed, double* grad) override {
    constexpr double kStep = 1e-4;  // Å
    const std::size_t n = engine_->NumVar();
    std::vector<double> y(x, x + n);
    std::vector<double> up(n);
    std::vector<double> down(n);
    for (std::size_t i = 0; i < n; ++i) {
      std::ranges::fill(up, 0.0);
      std::ranges::fill(down, 0.0);
      y[i] = x[i] + kStep;
      Gradient(y.data(), up.data());
      y[i] = x[i] - kStep;
      Gradient(y.data(), down.data());
      y[i] = x[i];
      for (std::size_t j = 0; j < n; ++j) {
        const double slope = (up[j] - down[j]) / (4.0 * kStep);
        packed[i > j ? PackedIndex(i, j) : PackedIndex(j, i)] += i == j ? 2.0 * slope : slope;
      }
    }
    if (grad != nullptr) Gradient(x, grad);
  }
  void HessianEntries(const double*, Entries&) override {}
  bool Model(const double*, Entries&) override { return false; }
  void ForEach(const double* x, const Visit& visit) override {
    all_->ForEach(engine_->Bind(x), [&](double energy, const Atoms& atoms) {
      std::vector<unsigned int> indices;
      for (const unsigned int atom : atoms) indices.push_back(engine_->IndexOf(atom));
      visit(indices, energy, {});
    });
  }

 private:
  std::shared_ptr<Engine> engine_;
  std::unique_ptr<Contributions> all_;
};

}  // namespace

std::unique_ptr<TermEvaluator> MakeUffTerm(const UffPerception& perception,
                                           QZForceFieldTermKind term,
                                           const Selection& selection) {
  auto engine = perception.MakeEngine();
  auto all = MakeContributions(perception, term, selection, {*engine, /*keepsAtoms=*/true});
  if (all == nullptr) return nullptr;
  return std::make_unique<UffTerm>(std::move(engine), std::move(all));
}

}  // namespace QZMolPotential
