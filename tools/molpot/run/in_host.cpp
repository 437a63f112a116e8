// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "run/in_host.h"

#include <algorithm>

#include "input/errors.h"
#include "qzchem/qzchem.h"
#include "run/messages.h"

namespace Molpot {
namespace {

// The energy of the ligand when it is relaxed alone, from its pose.
double RelaxedFreeEnergy(const Task& task, const QZChem::QZGraphMol& ligand) {
  std::vector<std::string> ignored;
  const MessageCollector collector(ignored);
  const auto field = MakeForceField(task);
  if (!field->Setup(ligand)) throw RecordError("--strain: the free molecule cannot be set up");
  std::vector<double> x(std::size_t{3} * ligand.AtomIndexBound());
  ligand.GetCoords(x.data());
  return QZOpt::QZMinimizer(task.optimizer).Minimize(*field, x.data()).energy;
}

}  // namespace

void JoinHost(const Task& task, Outcome& outcome) {
  if (task.host == nullptr) return;
  std::vector<unsigned int> flexible;
  if (task.hostFlexibleDistance > 0.0) {
    flexible = task.host->FindNear(outcome.mol, task.hostFlexibleDistance);
  }
  if (task.hostFlexible.has_value()) flexible = task.hostFlexible->Atoms(*task.host->GetHost());
  if (flexible.empty()) return;
  outcome.named = outcome.mol;
  outcome.mol = task.host->Join(*outcome.named, flexible);
}

void LeaveHost(const Task& task, Energy& energy, Outcome& outcome) {
  if (task.host == nullptr) return;
  std::vector<double> coords(std::size_t{3} * outcome.mol.AtomIndexBound());
  outcome.mol.GetCoords(coords.data());
  const auto parts = energy.InHost(coords.data());
  outcome.interactionEnergy = parts->Interaction();
  outcome.host = task.host->HostOf(outcome.mol);
  if (outcome.named.has_value()) {
    // The molecule that was joined, which is typed already, where it is now.
    outcome.mol = std::move(*outcome.named);
    outcome.mol.SetCoords(coords.data());
    outcome.named.reset();
  }
  if (task.strain) outcome.strainEnergy = parts->ligand - RelaxedFreeEnergy(task, outcome.mol);
}

}  // namespace Molpot
