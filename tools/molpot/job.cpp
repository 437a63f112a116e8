// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "job.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <sstream>

#include "forcefields/forcefields.h"

namespace Molpot {

using QZChem::QZMolBase;
using QZMolPotential::QZMolFunc1;
using QZSystem::QZRange;

namespace {

constexpr double kGiB = 1024.0 * 1024.0 * 1024.0;
constexpr double kLargestMemory = 4.0 * kGiB;

thread_local std::vector<std::string>* currentMessages = nullptr;

double RootMeanSquare(const std::vector<double>& v) {
  double sum = 0.0;
  for (const double value : v) sum += value * value;
  return v.empty() ? 0.0 : std::sqrt(sum / static_cast<double>(v.size()));
}

double Sum(const std::vector<Component>& components) {
  double sum = 0.0;
  for (const Component& component : components) sum += component.energy;
  return sum;
}

// Writes every iteration in Cartesian coordinates, whatever the variables are.
class TrajectoryWriter final : public QZOpt::QZCheckpoint1 {
 public:
  TrajectoryWriter(Variables& variables, const QZMolBase& mol)
      : variables_(variables), stream_(text_, QZChem::QZMolFormat::SDF), writer_(stream_, mol) {
    writer_.SetVerbose(false);
    writer_.SetWriteGrad(false);
  }
  /// The next run's iteration 0 is this one, and written already.
  void ContinueFrom(unsigned int iteration) { offset_ = iteration; }
  using QZOpt::QZCheckpoint1::operator();
  bool operator()(unsigned int iteration,
                  unsigned int /*numVar*/,
                  double energy,
                  const double* x,
                  unsigned int state) override {
    if (iteration == 0 && offset_ > 0) return true;
    const std::vector<double> coords = variables_.Cartesian(x);
    return writer_(iteration + offset_,
                   static_cast<unsigned int>(coords.size()),
                   energy,
                   coords.data(),
                   state);
  }
  bool operator()(unsigned int iteration,
                  unsigned int /*numVar*/,
                  double energy,
                  double gradientNorm,
                  const double* x,
                  const double* /*grad*/,
                  unsigned int state) override {
    if (iteration == 0 && offset_ > 0) return true;
    const std::vector<double> coords = variables_.Cartesian(x);
    return writer_(iteration + offset_,
                   static_cast<unsigned int>(coords.size()),
                   energy,
                   gradientNorm,
                   coords.data(),
                   nullptr,
                   state);
  }
  std::string Text() {
    stream_.Close();
    return text_.str();
  }

 private:
  Variables& variables_;
  unsigned int offset_ = 0;
  std::ostringstream text_;
  QZChem::qzmolostream stream_;
  QZMolPotential::QZMolCoordGradFileCP writer_;
};

std::vector<unsigned int> FrozenAtoms(const Task& task, const QZMolBase& mol) {
  if (!task.freeze.has_value()) return {};
  std::vector<unsigned int> atoms = task.freeze->Atoms(mol);
  if (atoms.empty()) {
    throw RecordError("--freeze: \"" + task.freeze->Text() + "\" matches nothing");
  }
  return atoms;
}

Coordinates ChosenCoordinates(const Task& task) {
  if (task.coordinates.has_value()) return *task.coordinates;
  return task.freeze.has_value() ? Coordinates::Subset : Coordinates::Cartesian;
}

void ListMatches(const Task& task, Outcome& outcome) {
  const std::vector<unsigned int> frozen = FrozenAtoms(task, outcome.mol);
  if (task.freeze.has_value()) {
    std::string line = "--freeze \"" + task.freeze->Text() + "\": atoms";
    for (const unsigned int index : frozen) line += " " + std::to_string(index + 1);
    outcome.matched.push_back(line);
  }
  for (const auto& held : task.restraints.Build(outcome.mol)) {
    outcome.matched.push_back(held.option + ": " + held.what);
  }
  for (const auto& held : task.restraints.BuildConstraints(outcome.mol)) {
    outcome.matched.push_back(held.option + ": " + held.what);
  }
}

// Redundant variables drift from what their geometry has, until no step helps any more; starting
// again from the geometry reached makes them consistent. Elsewhere a second start gains nothing,
// and ends the run.
QZOpt::QZOptResult MinimiseWithRestarts(const QZOpt::QZOptOptions& options,
                                        Variables& variables,
                                        std::vector<double>& x,
                                        TrajectoryWriter* trajectory) {
  constexpr double kWorthwhile = 1e-6;  // kcal/mol
  const auto minimise = [&](const QZOpt::QZOptOptions& chosen) {
    QZOpt::QZMinimizer minimizer(chosen);
    minimizer.SetScales(variables.Scales());
    return minimizer.Minimize(variables.Function(), x.data(), trajectory);
  };
  QZOpt::QZOptResult total = minimise(options);
  while (variables.StartMatters() && !total.converged && total.iterations < options.maxIterations &&
         std::isfinite(total.energy)) {
    QZOpt::QZOptOptions rest = options;
    rest.maxIterations = options.maxIterations - total.iterations;
    x = variables.Start(variables.Cartesian(x.data()));
    const double before = total.energy;
    if (trajectory != nullptr) trajectory->ContinueFrom(total.iterations);
    QZOpt::QZOptResult more = minimise(rest);
    more.iterations += total.iterations;
    more.evaluations += total.evaluations;
    total = more;
    if (!(before - total.energy > kWorthwhile)) break;
  }
  return total;
}

void Minimise(const Task& task, Energy& energy, Outcome& outcome) {
  QZChem::QZGraphMol& mol = outcome.mol;
  std::vector<double> coords(std::size_t{3} * mol.AtomIndexBound());
  mol.GetCoords(coords.data());
  const std::vector<unsigned int> frozen = FrozenAtoms(task, mol);
  const auto variables = MakeVariables(ChosenCoordinates(task), energy.Function(), mol, frozen);
  if (!energy.Function().SetupConf(coords.data())) {
    throw RecordError("the energy function refuses the starting coordinates");
  }
  std::vector<double> x = variables->Start(coords);
  outcome.numVariables = static_cast<unsigned int>(x.size());

  std::unique_ptr<TrajectoryWriter> trajectory;
  if (task.keepTrajectory) trajectory = std::make_unique<TrajectoryWriter>(*variables, mol);
  std::vector<HeldConstraint> constraints = task.restraints.BuildConstraints(mol);
  if (constraints.empty()) {
    outcome.optimizer = MinimiseWithRestarts(task.optimizer, *variables, x, trajectory.get());
  } else {
    QZOpt::QZConstrainedMinimizer minimizer(task.optimizer);
    for (auto& constraint : constraints) minimizer.AddConstraint(*constraint.function);
    outcome.optimizer = minimizer.Minimize(variables->Function(), x.data(), trajectory.get());
  }
  if (trajectory != nullptr) outcome.trajectory = trajectory->Text();

  // Selections that left out constant terms are taken back, so that energies are of everything.
  const std::vector<double> final = variables->Cartesian(x.data());
  if (!frozen.empty()) {
    if (!energy.Unrestrict(mol)) throw RecordError("the energy function cannot be set up");
  }
  outcome.components = energy.Components(final.data());
  for (const auto& held : energy.Held()) {
    HeldReport report{held.option, held.what, held.unit, 0.0, (*held.function)(final.data())};
    outcome.held.push_back(report);
  }
  mol.SetCoords(final.data());
  std::size_t k = 0;
  for (const auto& held : energy.Held()) outcome.held[k++].reached = held.measure(mol);
  for (const auto& held : constraints) {
    outcome.held.push_back({held.option, held.what, held.unit, held.measure(mol), 0.0});
  }
}

void Annotate(const Task& task, Outcome& outcome) {
  char text[64];
  outcome.mol.SetEnergy(outcome.energy);
  std::snprintf(text, sizeof text, "%.6f", outcome.energy);
  QZChem::QZSetSDData(outcome.mol, "Energy (kcal/mol)", text);
  QZChem::QZSetSDData(outcome.mol, "Force field", task.forceField);
  std::snprintf(text, sizeof text, "%.3e", outcome.optimizer.gradientNorm);
  QZChem::QZSetSDData(outcome.mol, "Gradient RMS", text);
  QZChem::QZSetSDData(outcome.mol, "Converged", outcome.optimizer.converged ? "yes" : "no");
}

void RunGood(const Task& task, Outcome& outcome) {
  Prepare(task, outcome.mol);
  outcome.numAtoms = outcome.mol.NumAtoms();
  if (task.dryRun) {
    ListMatches(task, outcome);
    return;
  }
  Energy energy(task, outcome.mol);
  if (!energy.Function().Setup(outcome.mol)) {
    throw RecordError(task.forceField + " cannot describe this molecule");
  }
  std::vector<double> coords(std::size_t{3} * outcome.mol.AtomIndexBound());
  outcome.mol.GetCoords(coords.data());
  outcome.initialComponents = energy.Components(coords.data());
  outcome.initialEnergy = Sum(outcome.initialComponents);
  if (!std::isfinite(outcome.initialEnergy)) throw RecordError("the starting energy is not finite");
  if (task.minimise) {
    Minimise(task, energy, outcome);
  } else {
    outcome.components = outcome.initialComponents;
    std::vector<double> gradient(coords.size(), 0.0);
    energy.Function()(coords.data(), gradient.data());
    outcome.optimizer.gradientNorm = RootMeanSquare(gradient);
    if (task.numInteractions > 0) {
      outcome.interactions = energy.Highest(outcome.mol, coords.data(), task.numInteractions);
    }
  }
  outcome.energy = Sum(outcome.components);
  if (!std::isfinite(outcome.energy)) throw RecordError(outcome.optimizer.message);
  if (task.minimise) Annotate(task, outcome);
}

}  // namespace

std::unique_ptr<QZMolFunc1> MakeForceField(const std::string& name) {
  QZMolPotential::QZForceFieldKind kind{};
  if (!QZMolPotential::QZFindForceField(name.c_str(), kind)) {
    throw UsageError("--forcefield: there is no force field \"" + name + "\"");
  }
  return std::make_unique<QZMolPotential::QZStandardFF>(kind);
}

void Prepare(const Task& task, QZChem::QZGraphMol& mol) {
  mol.Sweep();
  if (task.addHydrogens) {
    if (QZChem::QZAddHydrogens(mol) < 0) throw RecordError("hydrogens cannot be added");
    if (QZChem::QZLooksTwoDimensional(mol) && !QZChem::QZMakeCoordinates(mol)) {
      throw RecordError("no three-dimensional coordinates can be made");
    }
  }
  if (QZChem::QZLooksTwoDimensional(mol)) {
    throw RecordError("the coordinates are two-dimensional (--add-hydrogens makes new ones)");
  }
  if (QZChem::QZLacksHydrogens(mol)) {
    throw RecordError("hydrogens are missing (--add-hydrogens adds them)");
  }
  // Pairs that are listed one by one take several times what their evaluation does.
  const double perPair = task.numInteractions > 0 ? 4.0 : 1.0;
  const auto bytes = perPair * static_cast<double>(QZMolPotential::QZEstimateForceFieldMemory(mol));
  if (bytes > kLargestMemory) {
    char text[160];
    std::snprintf(text,
                  sizeof text,
                  "all pairs of %u atoms would take %.1f GiB, more than the %.0f GiB allowed",
                  mol.NumAtoms(),
                  bytes / kGiB,
                  kLargestMemory / kGiB);
    throw RecordError(text);
  }
}

Energy::Energy(const Task& task, const QZMolBase& mol)
    : field_(MakeForceField(task.forceField)), restraints_(task.restraints.Build(mol)) {
  sum_.Add(*field_, /*own=*/false);
  for (auto& restraint : restraints_) sum_.Add(*restraint.function, /*own=*/false);
}

// Restraints keep their selections: clearing those would make them hold every atom.
bool Energy::Unrestrict(const QZMolBase& mol) {
  field_->ClearPredicates();
  return field_->Setup(mol);
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

void Run(const Task& task, Outcome& outcome) {
  const auto start = std::chrono::steady_clock::now();
  currentMessages = &outcome.warnings;
  if (outcome.error.empty()) {
    outcome.title = outcome.mol.GetTitle();
    try {
      RunGood(task, outcome);
    } catch (const RecordError& error) {
      outcome.error = error.what();
    } catch (const std::bad_alloc&) {
      outcome.error = "out of memory";
    } catch (const std::exception& error) {
      outcome.error = std::string("unexpected: ") + error.what();
    }
  }
  currentMessages = nullptr;
  outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

MessageRouter::MessageRouter() {
  QZSystem::QZThrow.SetSink([](QZSystem::QZErrorLevel, const std::string& text) {
    if (currentMessages != nullptr) {
      currentMessages->push_back(text);
    } else {
      std::fprintf(stderr, "molpot: %s\n", text.c_str());
    }
  });
}

MessageRouter::~MessageRouter() {
  QZSystem::QZThrow.SetSink({});
}

}  // namespace Molpot
