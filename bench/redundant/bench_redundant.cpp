// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// Redundant internal coordinates: a gradient transformation by the sparse route and by the dense
// one (B Bᵀ, LAPACK dgesdd), a gradient with a converged back-transformation, and their growth on
// chains.
#include <benchmark/benchmark.h>
#include <lapacke.h>
#include <sys/resource.h>

#include <Eigen/Core>
#include <cmath>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "coordinates/redundant/coordinates.h"
#include "coordinates/redundant/solver.h"
#include "molpotential/redundant.h"
#include "qzchem/qzchem.h"

namespace {

using QZChem::QZGraphMol;
using QZMolPotential::RedundantCoordinates;
using QZMolPotential::WilsonRows;
using QZMolPotential::WilsonSolver;

QZGraphMol load(const std::string& name) {
  QZGraphMol mol;
  QZChem::qzmolistream in((std::string(MOLPOTENTIAL_DATA_DIR) + "/" + name + ".sdf").c_str());
  QZChem::QZReadMolecule(in, mol);
  return mol;
}

// A hydrocarbon chain of about `atoms` atoms, its torsions drawn from trans and gauche so that it
// coils in space.
QZGraphMol chain(unsigned int atoms) {
  const unsigned int carbons = atoms / 3;
  QZGraphMol mol(atoms);
  std::mt19937 rng(5);
  std::discrete_distribution<int> state({60, 20, 20});
  const double torsions[3] = {178.0, 65.0, -65.0};
  using V = std::array<double, 3>;
  const auto cross = [](const V& a, const V& b) {
    return V{a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
  };
  const auto unit = [](V a) {
    const double r = std::hypot(a[0], a[1], a[2]);
    return V{a[0] / r, a[1] / r, a[2] / r};
  };
  std::vector<V> p{{0, 0, 0}, {1.53, 0, 0}, {2.1, 1.42, 0}};
  const double theta = 112.0 * std::numbers::pi / 180.0;
  while (p.size() < carbons) {
    const std::size_t k = p.size();
    const V axis =
        unit({p[k - 1][0] - p[k - 2][0], p[k - 1][1] - p[k - 2][1], p[k - 1][2] - p[k - 2][2]});
    const V normal = unit(cross(
        {p[k - 2][0] - p[k - 3][0], p[k - 2][1] - p[k - 3][1], p[k - 2][2] - p[k - 3][2]}, axis));
    const V inPlane = cross(normal, axis);
    const double phi = torsions[state(rng)] * std::numbers::pi / 180.0;
    V next = p[k - 1];
    for (std::size_t d = 0; d < 3; ++d) {
      next[d] +=
          1.53 * (-std::cos(theta) * axis[d] +
                  std::sin(theta) * (std::cos(phi) * inPlane[d] + std::sin(phi) * normal[d]));
    }
    p.push_back(next);
  }
  QZChem::QZAtomBase* last = nullptr;
  std::vector<QZChem::QZAtomBase*> backbone;
  for (const V& c : p) {
    auto* atom = mol.AddAtom(6, c[0], c[1], c[2]);
    if (last != nullptr) mol.AddBond(last, atom);
    backbone.push_back(last = atom);
  }
  for (std::size_t k = 1; k + 1 < p.size(); ++k) {
    const V u{p[k][0] - p[k - 1][0], p[k][1] - p[k - 1][1], p[k][2] - p[k - 1][2]};
    const V w{p[k][0] - p[k + 1][0], p[k][1] - p[k + 1][1], p[k][2] - p[k + 1][2]};
    const V out = unit({u[0] + w[0], u[1] + w[1], u[2] + w[2]});
    const V side = unit(cross(u, w));
    for (const double sign : {1.0, -1.0}) {
      V h = p[k];
      for (std::size_t d = 0; d < 3; ++d) h[d] += 0.63 * out[d] + sign * 0.89 * side[d];
      mol.AddBond(backbone[k], mol.AddAtom(1, h[0], h[1], h[2]));
    }
  }
  return mol;
}

struct Case {
  explicit Case(const QZGraphMol& mol) : x(3 * std::size_t{mol.AtomIndexBound()}) {
    internals.Build(mol, nullptr);
    rows = internals.EmptyRows();
    mol.GetCoords(x.data());
    q.resize(internals.Size());
    gradient.resize(internals.Size());
    std::mt19937 rng(3);
    std::normal_distribution<double> normal;
    force.resize(x.size());
    for (double& f : force) f = normal(rng);
  }
  RedundantCoordinates internals;
  WilsonRows rows;
  std::vector<double> x, q, gradient, force;
};

void sparseGradient(benchmark::State& state, const QZGraphMol& mol) {
  Case c(mol);
  WilsonSolver solver;
  solver.Analyse(c.rows, c.x.size());
  for (auto _ : state) {
    c.internals.ValuesAndRows(c.x.data(), c.q.data(), c.rows);
    solver.Factor(c.rows, c.x.data());
    solver.InternalGradient(c.rows, c.force.data(), c.gradient.data());
    benchmark::DoNotOptimize(c.gradient.data());
  }
  state.counters["internals"] = static_cast<double>(c.q.size());
  state.counters["coords"] = static_cast<double>(c.x.size());
}

void denseGradient(benchmark::State& state, const QZGraphMol& mol) {
  Case c(mol);
  const auto m = static_cast<lapack_int>(c.q.size());
  const auto size = c.q.size();
  using Matrix = Eigen::MatrixXd;
  Matrix b(c.x.size(), size), g(size, size), u(size, size), vt(size, size);
  Eigen::VectorXd s(size), t(size);
  const Eigen::Map<const Eigen::VectorXd> force(c.force.data(), b.rows());
  Eigen::Map<Eigen::VectorXd> gradient(c.gradient.data(), b.cols());
  for (auto _ : state) {
    c.internals.ValuesAndRows(c.x.data(), c.q.data(), c.rows);
    b.setZero();  // a column for each internal coordinate
    for (std::size_t i = 0; i < size; ++i) {
      const auto atoms = c.rows.Atoms(i);
      for (std::size_t k = 0; k < atoms.size(); ++k) {
        QZMolPotential::AddToAtom(b.data() + i * c.x.size(), atoms[k], c.rows.Blocks(i)[k]);
      }
    }
    g.noalias() = b.transpose() * b;
    LAPACKE_dgesdd(LAPACK_COL_MAJOR, 'S', m, m, g.data(), m, s.data(), u.data(), m, vt.data(), m);
    t.noalias() = u.transpose() * (b.transpose() * force);
    for (Eigen::Index i = 0; i < m; ++i) t[i] = s[i] < 1e-12 ? 0.0 : t[i] / s[i];
    gradient.noalias() = vt.transpose() * t;
    benchmark::DoNotOptimize(c.gradient.data());
  }
}

// No forces of its own, so that only the adaptor's work is measured.
class NoFunc final : public QZMolPotential::QZMolFunc1 {
 public:
  using QZMolFunc1::operator();
  unsigned int NumVar() const override { return 0; }
  bool Setup(const QZChem::QZMolBase&) override { return true; }
  double operator()(const double*) override { return 0.0; }
  double operator()(const double* x, double* grad) override {
    grad[0] += x[0];
    return 0.0;
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double*) override {
    return QZSystem::QZMakeEmptyIter<QZOpt::QZFComponent>();
  }
  QZMolFunc1* CreateCopy() const override { return new NoFunc(*this); }
};

// A gradient and a converged back-transformation, to and fro between two geometries that differ by
// a small step.
void evaluation(benchmark::State& state, const QZGraphMol& mol) {
  NoFunc func;
  QZMolPotential::QZRedundantInterAdaptor adaptor(
      func, /*own=*/false, /*restrictInteractions=*/false);
  adaptor.Setup(mol);
  std::vector<double> x(3 * std::size_t{mol.AtomIndexBound()});
  mol.GetCoords(x.data());
  std::vector<double> moved = x;
  std::mt19937 rng(9);
  std::normal_distribution<double> normal(0.0, 0.002);
  for (double& value : moved) value += normal(rng);
  std::vector<double> vars[2], coords(x.size()), gradient(adaptor.NumVar());
  for (const auto* geometry : {&moved, &x}) {
    const double* v = adaptor.GetVar(geometry->data());
    vars[geometry == &moved].assign(v, v + adaptor.NumVar());
  }
  bool converged = true;
  std::size_t side = 0;
  for (auto _ : state) {
    side = 1 - side;
    converged = adaptor.AdaptVar(coords.data(), vars[side].data()) && converged;
    adaptor.AdaptGrad(gradient.data(), x.data());
    benchmark::DoNotOptimize(gradient.data());
  }
  if (!converged) state.SkipWithError("not converged");
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  state.counters["peak_MiB"] = static_cast<double>(usage.ru_maxrss) / 1024.0;
}

void setup(benchmark::State& state, const QZGraphMol& mol) {
  NoFunc func;
  QZMolPotential::QZRedundantInterAdaptor adaptor(
      func, /*own=*/false, /*restrictInteractions=*/false);
  for (auto _ : state) adaptor.Setup(mol);
}

const bool registered = [] {
  const auto add = [](const std::string& name, auto body, const QZGraphMol& mol) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& s) {
      body(s, mol);
    })->Unit(benchmark::kMillisecond);
  };
  for (const unsigned int atoms : {300U, 1000U, 3000U}) {
    const QZGraphMol mol = chain(atoms);
    const std::string name = "chain" + std::to_string(atoms);
    add("evaluation/" + name, evaluation, mol);
    add("gradient_sparse/" + name, sparseGradient, mol);
    add("setup/" + name, setup, mol);
  }
  for (const std::string name : {"imatinib", "decapeptide"}) {
    const QZGraphMol mol = load(name);
    add("gradient_sparse/" + name, sparseGradient, mol);
    add("gradient_dense/" + name, denseGradient, mol);
    add("evaluation/" + name, evaluation, mol);
  }
  return true;
}();

}  // namespace
