// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "run/energy.h"

#include <algorithm>

#include "forcefields/forcefields.h"
#include "input/errors.h"
#include "run/messages.h"

namespace Molpot {

using QZChem::QZMolBase;
using QZSystem::QZRange;

std::unique_ptr<QZMolPotential::QZStandardFF> MakeForceField(const Task& task) {
  QZMolPotential::QZForceFieldKind kind{};
  if (!QZMolPotential::QZFindForceField(task.forceField.c_str(), kind)) {
    throw UsageError("--forcefield: there is no force field \"" + task.forceField + "\"");
  }
  auto field = std::make_unique<QZMolPotential::QZStandardFF>(kind);
  field->SetDielectric(task.dielectric, task.distanceDependent);
  field->SetCutoff(task.cutoff);
  return field;
}

void AddRestraint(const HeldRestraint& held, QZMolPotential::QZGenericFF2& sum) {
  auto* withHessian = dynamic_cast<QZMolPotential::QZMolFunc2*>(held.function.get());
  if (withHessian != nullptr) {
    sum.Add(*withHessian, /*own=*/false);
  } else {
    sum.Add(*held.function, /*own=*/false);
  }
}

Energy::Energy(const Task& task, const QZMolBase& named, const QZMolBase& mol)
    : task_(task), field_(MakeForceField(task)), restraints_(task.restraints.Build(named, mol)) {
  if (task.host != nullptr) {
    host_ = std::make_unique<QZMolPotential::QZHostFunc>(*task.host);
    sum_.Add(*host_, /*own=*/false);
  } else {
    sum_.Add(*field_, /*own=*/false);
  }
  for (const auto& restraint : restraints_) AddRestraint(restraint, sum_);
}

std::unique_ptr<QZMolPotential::QZHostFunc::Energies> Energy::InHost(const double* coords) {
  if (host_ == nullptr) return nullptr;
  return std::make_unique<QZMolPotential::QZHostFunc::Energies>(host_->GetEnergies(coords));
}

void Energy::SetUp(const QZMolBase& mol) {
  std::vector<std::string> messages;
  bool isGood = false;
  {
    const MessageCollector collector(messages);
    isGood = sum_.Setup(mol);
  }
  if (isGood) {
    for (const auto& text : messages) QZSystem::QZThrow.Warning("%s", text.c_str());
    return;
  }
  std::string error = task_.forceField + " cannot describe this molecule";
  for (const auto& text : messages) error += "; " + text;
  if (task_.forceField != "uff") {
    std::vector<std::string> ignored;
    const MessageCollector collector(ignored);
    task_.forceField = "uff";
    if (MakeForceField(task_)->Setup(mol)) error += "; --forcefield uff can";
  }
  throw RecordError(error);
}

std::vector<Component> Energy::Components(const double* coords) {
  std::vector<Component> components;
  for (const auto& term : QZRange(sum_.GetFComponents(coords))) {
    components.push_back({term.GetName(), term.GetValue()});
  }
  return components;
}

std::vector<Interaction> Energy::Highest(const QZMolBase& mol,
                                         const double* coords,
                                         unsigned int count) const {
  std::vector<Interaction> all;
  std::size_t first = 0;  // where the current term begins
  const auto isHigher = [](const Interaction& a, const Interaction& b) {
    return a.energy > b.energy;
  };
  for (const auto& term : QZRange(sum_.GetInteractions(mol, coords, ~0U))) {
    Interaction next{term.GetName(), {}, term.GetValues(nullptr)};
    if (first < all.size() && all.back().name != next.name) first = all.size();
    const bool isFull = all.size() - first == count;
    if (isFull && !isHigher(next, all.back())) continue;
    for (const auto& atom : QZRange(term.GetAtoms())) {
      next.atoms.push_back(atom.GetIndex() + 1);
    }
    if (isFull) all.pop_back();
    const auto begin = all.begin() + static_cast<std::ptrdiff_t>(first);
    all.insert(std::upper_bound(begin, all.end(), next, isHigher), std::move(next));
  }
  return all;
}

}  // namespace Molpot
