// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause

// Constrained minimisation of MMFF94 energies: 208 problems, one to four distances, angles and
// torsions held or bounded in each molecule of data/, by our minimiser and by NLopt's and Ipopt's.
// Every solver is stopped at the first point with constraints within 1e-6 and a projected gradient
// of 1e-4 kcal/mol/Å.
#include <Eigen/Dense>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <functional>
#include <memory>
#include <numbers>
#include <random>
#include <span>

#include "forcefields/forcefields.h"
#include "problem.h"
#include "qzchem/qzchem.h"
#include "qzopt/internal_model.h"
#include "qzopt/optimizers.h"

using QZMolPotential::QZForceFieldKind;
using QZMolPotential::QZStandardFF;

namespace {

constexpr const char* kMolecules[] = {"alanine_dipeptide",
                                      "aspirin",
                                      "benzene",
                                      "biphenyl",
                                      "butane",
                                      "caffeine",
                                      "cyclohexane",
                                      "glucose",
                                      "ibuprofen",
                                      "imatinib",
                                      "penicillin_g",
                                      "water_cluster",
                                      "decapeptide"};
constexpr int kProblemsEach = 16;
constexpr double kPi = std::numbers::pi;

double Rms(const Eigen::VectorXd& v) {
  return v.norm() / std::sqrt(static_cast<double>(v.size()));
}

// By differences of gradients.
void AddHoldHessian(
    const Hold& hold, const double* x, std::size_t n, double factor, double* hessian) {
  constexpr double kStep = 1e-4;
  const auto& atoms = hold.atoms;
  std::vector<double> shifted(x, x + n);
  for (std::size_t k = 0; k < 3 * atoms.size(); ++k) {
    const std::size_t row = 3 * atoms[k / 3] + k % 3;
    shifted[row] = x[row] + kStep;
    const auto up = TestSupport::InternalGradient(shifted.data(), atoms);
    shifted[row] = x[row] - kStep;
    const auto down = TestSupport::InternalGradient(shifted.data(), atoms);
    shifted[row] = x[row];
    for (std::size_t l = 0; l < up.size(); ++l) {
      const std::size_t column = 3 * atoms[l / 3] + l % 3;
      if (column > row) continue;
      hessian[row * (row + 1) / 2 + column] += factor * (up[l] - down[l]) / (2.0 * kStep);
    }
  }
}

}  // namespace

Problem::Problem(QZOpt::QZFunc1& energy, std::vector<double> start, std::vector<Hold> holds)
    : energy_(energy), start_(std::move(start)), holds_(std::move(holds)) {}

void Problem::Restart() {
  x_.clear();
  solved_ = false;
  evaluations_ = hessians_ = 0;
}

void Problem::Evaluate(const double* x) {
  if (!x_.empty() && std::equal(x_.begin(), x_.end(), x)) return;
  x_.assign(x, x + NumVar());
  ++evaluations_;
  gradient_.assign(NumVar(), 0.0);
  energyAt_ = energy_(x, gradient_.data());
  values_.assign(holds_.size(), 0.0);
  rows_.assign(holds_.size(), std::vector<double>(NumVar(), 0.0));
  for (std::size_t i = 0; i < holds_.size(); ++i) {
    const Hold& hold = holds_[i];
    values_[i] = TestSupport::Internal(x, hold.atoms) - hold.lower;
    if (hold.atoms.size() == 4) values_[i] = std::remainder(values_[i], 2.0 * kPi);
    const auto b = TestSupport::InternalGradient(x, hold.atoms);
    for (std::size_t k = 0; k < b.size(); ++k) rows_[i][3 * hold.atoms[k / 3] + k % 3] += b[k];
  }
  judge();
}

void Problem::judge() {
  if (solved_) return;
  const auto n = static_cast<Eigen::Index>(NumVar());
  Eigen::VectorXd rest = Eigen::Map<const Eigen::VectorXd>(gradient_.data(), n);
  Eigen::MatrixXd normals(n, 0);
  for (std::size_t i = 0; i < holds_.size(); ++i) {
    const double width = holds_[i].upper - holds_[i].lower;
    if (values_[i] < -kTolerance || values_[i] > width + kTolerance) return;
    if (values_[i] > kTolerance && values_[i] < width - kTolerance) continue;
    normals.conservativeResize(n, normals.cols() + 1);
    normals.rightCols(1) = Eigen::Map<const Eigen::VectorXd>(rows_[i].data(), n);
  }
  if (normals.cols() > 0) {
    const Eigen::VectorXd fit = normals.completeOrthogonalDecomposition().solve(rest);
    rest -= normals * fit;
  }
  solved_ = Rms(rest) <= kGradient;
  solvedEnergy_ = energyAt_;
}

void Problem::Hessian(const double* x,
                      double factor,
                      const double* weights,
                      std::vector<double>& packed) {
  ++hessians_;
  const std::size_t n = NumVar();
  packed.assign(n * (n + 1) / 2, 0.0);
  if (auto* func2 = dynamic_cast<QZOpt::QZFunc2*>(&energy_)) {
    (*func2)(x, packed.data(), nullptr);
  }
  for (double& element : packed) element *= factor;
  for (std::size_t i = 0; i < holds_.size(); ++i) {
    AddHoldHessian(holds_[i], x, n, weights[i], packed.data());
  }
}

namespace {

class HoldConstr final : public QZOpt::QZConstrFunc, public QZOpt::QZConstrHessian {
 public:
  HoldConstr(Problem& problem, std::size_t index) : problem_(problem), index_(index) {}
  unsigned int NumVar() const override { return static_cast<unsigned int>(problem_.NumVar()); }
  double operator()(const double* x, double* grad) override {
    const Hold& hold = problem_.GetHold(index_);
    const auto b = TestSupport::InternalGradient(x, hold.atoms);
    for (std::size_t k = 0; k < b.size(); ++k) grad[3 * hold.atoms[k / 3] + k % 3] += b[k];
    return (*this)(x);
  }
  double operator()(const double* x) override {
    const Hold& hold = problem_.GetHold(index_);
    const double value = TestSupport::Internal(x, hold.atoms) - hold.lower;
    return hold.atoms.size() == 4 ? std::remainder(value, 2.0 * kPi) : value;
  }

  bool AddHessian(const double* x, double factor, double* hessian) const override {
    AddHoldHessian(problem_.GetHold(index_), x, problem_.NumVar(), factor, hessian);
    return true;
  }

 private:
  Problem& problem_;
  std::size_t index_;
};

void SolveOursBy(QZOpt::QZOptMethod method,
                 Problem& problem,
                 QZOpt::QZFunc1& energy,
                 unsigned int& evaluations,
                 bool& solved) {
  std::vector<HoldConstr> constraints;
  for (std::size_t i = 0; i < problem.NumHolds(); ++i) constraints.emplace_back(problem, i);
  QZOpt::QZConstrainedMinimizer minimizer(
      {.gradientTolerance = Problem::kGradient, .method = method});
  for (std::size_t i = 0; i < problem.NumHolds(); ++i) {
    const Hold& hold = problem.GetHold(i);
    minimizer.AddBounds(constraints[i], 0.0, hold.upper - hold.lower, Problem::kTolerance);
  }
  std::vector<double> x = problem.Start();
  const auto result = minimizer.Minimize(energy, x.data());
  evaluations = result.evaluations;
  solved = result.converged;
  problem.Evaluate(x.data());
}

void SolveOurs(Problem& problem, QZOpt::QZFunc1& energy, unsigned int& evaluations, bool& solved) {
  SolveOursBy(QZOpt::QZOptMethod::QuasiNewton, problem, energy, evaluations, solved);
}

// One to four internal coordinates along bonds, some of them off their value, some bounded.
std::vector<Hold> RandomHolds(const QZChem::QZMolBase& mol,
                              const std::vector<double>& x,
                              std::mt19937& rng) {
  const auto pick = [&](double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(rng);
  };
  std::vector<Hold> holds;
  const int count = 1 + static_cast<int>(rng() % 4);
  while (static_cast<int>(holds.size()) < count) {
    const std::size_t length = 2 + rng() % 3;
    const bool isSpan = rng() % 3 == 0;
    std::vector<unsigned int> atoms = {static_cast<unsigned int>(rng() % mol.NumAtoms())};
    while (atoms.size() < length) {
      std::vector<unsigned int> next;
      for (auto& atom : QZSystem::QZRange(mol.GetAtom(atoms.back())->GetNeighbours())) {
        if (std::ranges::find(atoms, atom.GetIndex()) == atoms.end()) {
          next.push_back(atom.GetIndex());
        }
      }
      if (next.empty()) break;
      atoms.push_back(next[rng() % next.size()]);
    }
    if (atoms.size() < length) continue;
    if (isSpan) atoms = {atoms.front(), atoms.back()};
    const double value = TestSupport::Internal(x.data(), atoms);
    const double changes[] = {length == 2 ? 0.05 : 0.15, 0.15, 0.7};
    const double change = changes[atoms.size() - 2];
    const double target = value + pick(-change, change);
    const double width = rng() % 2 == 0 ? 0.0 : pick(0.0, change);
    holds.push_back({atoms, target, target + width});
  }
  return holds;
}

struct Tally {
  const char* name;
  std::function<void(Problem&, QZOpt::QZFunc1&, unsigned int&, bool&)> solve;
  int solved = 0;
  int best = 0;
  std::vector<unsigned int> evaluations = {};
  unsigned int hessians = 0;
  double seconds = 0.0;
};

void Solve(Tally& tally, Problem& problem, QZOpt::QZFunc1& energy, double& found) {
  problem.Restart();
  unsigned int evaluations = 0;
  bool solved = false;
  const std::clock_t start = std::clock();
  tally.solve(problem, energy, evaluations, solved);
  tally.seconds += static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
  if (evaluations == 0) {
    evaluations = problem.Evaluations();
    solved = problem.IsSolved();
  }
  tally.hessians += problem.Hessians();
  found = std::numeric_limits<double>::infinity();
  if (!solved) return;
  ++tally.solved;
  tally.evaluations.push_back(evaluations);
  found = problem.BestEnergy();
}

void Print(std::span<Tally> tallies, int problems) {
  std::printf("%d problems\n%-36s%8s%8s%18s%10s%10s\n",
              problems,
              "",
              "solved",
              "lowest",
              "evaluations (95%)",
              "Hessians",
              "seconds");
  for (Tally& t : tallies) {
    std::ranges::sort(t.evaluations);
    const std::size_t n = t.evaluations.size();
    std::printf("%-36s%8d%8d%10u%8u%10u%10.2f\n",
                t.name,
                t.solved,
                t.best,
                n == 0 ? 0 : t.evaluations[n / 2],
                n == 0 ? 0 : t.evaluations[n * 95 / 100],
                t.hessians,
                t.seconds);
  }
}

}  // namespace

// Arguments: the molecules, by default all.
int main(int argc, char** argv) {
  const auto peer = [](auto solve) {
    return [solve](Problem& problem, QZOpt::QZFunc1&, unsigned int&, bool&) { solve(problem); };
  };
  const auto plain = [](Problem& problem, QZOpt::QZFunc1& energy, unsigned int& n, bool& solved) {
    auto& modelled = dynamic_cast<TestSupport::InternalModelled&>(energy);
    modelled.hide = true;
    SolveOurs(problem, energy, n, solved);
    modelled.hide = false;
  };
  const auto newton = [](Problem& problem, QZOpt::QZFunc1& energy, unsigned int& n, bool& solved) {
    auto& counted = dynamic_cast<TestSupport::InternalModelled2&>(energy);
    const unsigned int before = counted.hessians;
    SolveOursBy(QZOpt::QZOptMethod::Newton, problem, energy, n, solved);
    problem.CountHessians(counted.hessians - before);
  };
  Tally tallies[] = {{"ours, with a model", SolveOurs},
                     {"ours, Newton", newton},
                     {"ours, without", plain},
                     {"NLopt SLSQP", peer(SolveSlsqp)},
                     {"NLopt augmented Lagrangian, LBFGS", peer(SolveNloptAugmented)},
                     {"Ipopt, limited memory", peer([](Problem& p) { SolveIpopt(p, false); })},
                     {"Ipopt, exact Hessians", peer([](Problem& p) { SolveIpopt(p, true); })}};
  std::mt19937 rng(20261123);
  int problems = 0;
  const std::vector<const char*> names =
      argc > 1 ? std::vector<const char*>(argv + 1, argv + argc)
               : std::vector<const char*>(std::begin(kMolecules), std::end(kMolecules));
  for (const char* name : names) {
    QZChem::QZGraphMol mol;
    QZChem::qzmolistream in((std::string(MOLPOTENTIAL_DATA_DIR) + "/" + name + ".sdf").c_str());
    QZChem::QZReadMolecule(in, mol);
    QZStandardFF ff(QZForceFieldKind::MMFF94);
    if (!ff.Setup(mol)) return 1;
    TestSupport::InternalModelled2 energy(ff, mol);
    std::vector<double> x(energy.NumVar());
    mol.GetCoords(x.data());
    for (int k = 0; k < kProblemsEach; ++k) {
      Problem problem(energy, x, RandomHolds(mol, x, rng));
      ++problems;
      std::vector<double> found(std::size(tallies));
      for (std::size_t t = 0; t < found.size(); ++t) {
        Solve(tallies[t], problem, energy, found[t]);
      }
      const double lowest = *std::ranges::min_element(found);
      for (std::size_t t = 0; t < found.size(); ++t) {
        tallies[t].best += std::isfinite(found[t]) && found[t] <= lowest + 0.01;
      }
    }
    std::printf("to %s: ", name);
    Print(tallies, problems);
  }
}
