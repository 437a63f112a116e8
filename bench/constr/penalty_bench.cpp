// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
// Penalties on one distance and on one dihedral, 256 geometries in turn.
#include <ForceField/ForceField.h>
#include <ForceField/MMFF/DistanceConstraint.h>
#include <ForceField/MMFF/TorsionConstraint.h>
#include <Geometry/point.h>
#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <numbers>
#include <random>

#include "constr/constr.h"
#include "qzchem/mol.h"

namespace {

constexpr std::size_t kGeometries = 256;
constexpr double kStrength = 20.0;
constexpr double kDistance = 1.2;
constexpr double kTorsion = 1.0;

/// Four atoms near a gauche shape.
using Geometry = std::array<double, 12>;

struct Fixture {
  Fixture() {
    std::mt19937 rng(20260106);
    std::uniform_real_distribution<double> shift(-0.2, 0.2);
    constexpr Geometry kStart{-0.5, 1.4, 0.0, 0.0, 0.0, 0.0, 1.5, 0.0, 0.0, 2.0, 0.5, 1.2};
    for (Geometry& x : geometries) {
      for (std::size_t i = 0; i < 12; ++i) x[i] = kStart[i] + shift(rng);
    }
    for (int i = 0; i < 4; ++i) mol.AddAtom(6);
  }
  double* Next() { return geometries[next++ % kGeometries].data(); }
  const QZChem::QZAtomBase& Atom(unsigned int i) const { return *mol.GetAtom(i); }

  QZChem::QZGraphMol mol;
  std::array<Geometry, kGeometries> geometries;
  Geometry grad{};
  std::array<double, 78> hessian{};
  std::size_t next = 0;
};

template <class Evaluate>
void Run(benchmark::State& state, Fixture& fixture, Evaluate evaluate) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(evaluate(fixture.Next()));
    benchmark::ClobberMemory();
  }
}

void BM_DistancePlainLoop(benchmark::State& state) {
  Fixture f;
  Run(state, f, [&](const double* x) {
    const double d[3] = {x[0] - x[3], x[1] - x[4], x[2] - x[5]};
    const double r = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
    const double s = 2.0 * kStrength * (r - kDistance) / r;
    for (std::size_t k = 0; k < 3; ++k) {
      f.grad[k] += s * d[k];
      f.grad[3 + k] -= s * d[k];
    }
    return kStrength * (r - kDistance) * (r - kDistance);
  });
}
BENCHMARK(BM_DistancePlainLoop);

template <class Penalty>
void Gradient(benchmark::State& state, Fixture& f, Penalty& penalty) {
  Run(state, f, [&](const double* x) { return penalty(x, f.grad.data()); });
}
template <class Penalty>
void Hessian(benchmark::State& state, Fixture& f, Penalty& penalty) {
  Run(state, f, [&](const double* x) { return penalty(x, f.hessian.data(), f.grad.data()); });
}

void BM_DistanceGradient(benchmark::State& state) {
  Fixture f;
  QZConstr::QZDistanceQuadPenalty penalty(f.Atom(0), f.Atom(1), kDistance, kStrength);
  Gradient(state, f, penalty);
}
BENCHMARK(BM_DistanceGradient);
void BM_DistanceHessian(benchmark::State& state) {
  Fixture f;
  QZConstr::QZDistanceQuadPenalty penalty(f.Atom(0), f.Atom(1), kDistance, kStrength);
  Hessian(state, f, penalty);
}
BENCHMARK(BM_DistanceHessian);
void BM_BandGradient(benchmark::State& state) {
  Fixture f;
  QZConstr::QZDistLimitPenalty penalty(f.Atom(0), f.Atom(1), 0.2, 0.9, kStrength);
  Gradient(state, f, penalty);
}
BENCHMARK(BM_BandGradient);

// RDKit's terms take energy and gradient in two calls.
void RunRdkit(benchmark::State& state, Fixture& f, const ForceFields::ForceFieldContrib& term) {
  Run(state, f, [&](double* x) {
    term.getGrad(x, f.grad.data());
    return term.getEnergy(x);
  });
}
struct RdkitField {
  RdkitField() {
    for (auto& point : points) field.positions().push_back(&point);
    field.initialize();
  }
  std::array<RDGeom::Point3D, 4> points;
  ForceFields::ForceField field;
};

void BM_DistanceRdkit(benchmark::State& state) {
  Fixture f;
  RdkitField r;
  const ForceFields::MMFF::DistanceConstraintContrib term(
      &r.field, 0, 1, kDistance, kDistance, 2.0 * kStrength);
  RunRdkit(state, f, term);
}
BENCHMARK(BM_DistanceRdkit);

void BM_DihedralPlainLoop(benchmark::State& state) {
  Fixture f;
  const double target = std::cos(kTorsion);
  Run(state, f, [&](const double* x) {
    double a[3], b[3], c[3], n[3], m[3];
    for (std::size_t k = 0; k < 3; ++k) {
      a[k] = x[k] - x[3 + k];
      b[k] = x[6 + k] - x[3 + k];
      c[k] = x[9 + k] - x[6 + k];
    }
    const auto cross = [](const double* p, const double* q, double* out) {
      for (std::size_t k = 0; k < 3; ++k) {
        out[k] = p[(k + 1) % 3] * q[(k + 2) % 3] - p[(k + 2) % 3] * q[(k + 1) % 3];
      }
    };
    const auto dot = [](const double* p, const double* q) {
      return p[0] * q[0] + p[1] * q[1] + p[2] * q[2];
    };
    cross(a, b, n);
    cross(c, b, m);
    const double n2 = dot(n, n);
    const double m2 = dot(m, m);
    const double inverse = 1.0 / std::sqrt(n2 * m2);
    const double cosine = dot(n, m) * inverse;
    double dn[3], dm[3], da[3], dc[3], u[3], v[3];
    for (std::size_t k = 0; k < 3; ++k) {
      dn[k] = inverse * m[k] - cosine / n2 * n[k];
      dm[k] = inverse * n[k] - cosine / m2 * m[k];
    }
    cross(b, dn, da);
    cross(b, dm, dc);
    cross(dn, a, u);
    cross(dm, c, v);
    const double s = 2.0 * kStrength * (cosine - target);
    for (std::size_t k = 0; k < 3; ++k) {
      f.grad[k] += s * da[k];
      f.grad[3 + k] -= s * (da[k] + u[k] + v[k]);
      f.grad[6 + k] += s * (u[k] + v[k] - dc[k]);
      f.grad[9 + k] += s * dc[k];
    }
    return kStrength * (cosine - target) * (cosine - target);
  });
}
BENCHMARK(BM_DihedralPlainLoop);

void BM_DihedralGradient(benchmark::State& state) {
  Fixture f;
  QZConstr::QZDihedralQuadPenalty penalty(
      f.Atom(0), f.Atom(1), f.Atom(2), f.Atom(3), kTorsion, kStrength);
  Gradient(state, f, penalty);
}
BENCHMARK(BM_DihedralGradient);
void BM_DihedralHessian(benchmark::State& state) {
  Fixture f;
  QZConstr::QZDihedralQuadPenalty penalty(
      f.Atom(0), f.Atom(1), f.Atom(2), f.Atom(3), kTorsion, kStrength);
  Hessian(state, f, penalty);
}
BENCHMARK(BM_DihedralHessian);

void BM_DihedralRdkit(benchmark::State& state) {
  Fixture f;
  RdkitField r;
  const double degrees = kTorsion * 180.0 / std::numbers::pi;
  const ForceFields::MMFF::TorsionConstraintContrib term(
      &r.field, 0, 1, 2, 3, degrees, degrees, kStrength);
  RunRdkit(state, f, term);
}
BENCHMARK(BM_DihedralRdkit);

}  // namespace
