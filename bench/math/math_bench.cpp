// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause

// Dense kernels beside Eigen's in the same run. Counters: largest residual of A v = λ v or
// A = U S Vᵀ and largest deviation from orthonormality, relative to the largest element of A.
#include <benchmark/benchmark.h>
#include <lapacke.h>

#include <Eigen/Dense>
#include <algorithm>
#include <random>
#include <vector>

#include "molpotential/linalg.h"

namespace {

using RowMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

RowMatrix Random(Eigen::Index n) {
  std::mt19937 rng(7);
  std::normal_distribution<double> normal;
  return RowMatrix::NullaryExpr(n, n, [&](Eigen::Index, Eigen::Index) { return normal(rng); });
}
RowMatrix Symmetric(Eigen::Index n) {
  const RowMatrix a = Random(n);
  return 0.5 * (a + a.transpose());
}
/// Positive semi-definite of rank n - 6, as the product of Wilson's B with its transpose.
RowMatrix SemiDefinite(Eigen::Index n) {
  const RowMatrix a = Random(n).leftCols(n - 6);
  return a * a.transpose();
}
std::vector<double*> Rows(RowMatrix& a) {
  std::vector<double*> rows;
  for (Eigen::Index i = 0; i < a.rows(); ++i) rows.push_back(a.row(i).data());
  return rows;
}
double OffIdentity(const RowMatrix& a) {
  return (a - RowMatrix::Identity(a.rows(), a.cols())).cwiseAbs().maxCoeff();
}
void ReportEigen(benchmark::State& state,
                 const RowMatrix& a,
                 const Eigen::VectorXd& values,
                 const RowMatrix& rows) {
  const RowMatrix residual = rows * a - values.asDiagonal() * rows;
  state.counters["residual"] = residual.cwiseAbs().maxCoeff() / a.cwiseAbs().maxCoeff();
  state.counters["orthogonality"] = OffIdentity(rows * rows.transpose());
}
void ReportSvd(benchmark::State& state,
               const RowMatrix& a,
               const Eigen::VectorXd& s,
               const RowMatrix& u,
               const RowMatrix& v) {
  const RowMatrix residual = u * s.asDiagonal() * v.transpose() - a;
  state.counters["residual"] = residual.cwiseAbs().maxCoeff() / a.cwiseAbs().maxCoeff();
  state.counters["orthogonality"] =
      std::max(OffIdentity(u.transpose() * u), OffIdentity(v.transpose() * v));
}

template <bool (*Solve)(double*, double*, double**, int, int)>
void OurEigen(benchmark::State& state) {
  const auto n = static_cast<int>(state.range(0));
  const RowMatrix a = Symmetric(n);
  std::vector<double> packed;
  for (int i = 0; i < n; ++i) packed.insert(packed.end(), &a(i, 0), &a(i, 0) + i + 1);
  std::vector<double> work(packed.size());
  Eigen::VectorXd values(n);
  RowMatrix vectors(n, n);
  const std::vector<double*> rows = Rows(vectors);
  for (auto _ : state) {
    std::copy(packed.begin(), packed.end(), work.begin());
    if (!Solve(work.data(), values.data(), const_cast<double**>(rows.data()), n, n)) {
      state.SkipWithError("failed");
    }
    benchmark::DoNotOptimize(vectors.data());
  }
  ReportEigen(state, a, values, vectors);
}

void EigenSelfAdjoint(benchmark::State& state) {
  const RowMatrix a = Symmetric(state.range(0));
  const Eigen::MatrixXd dense = a;
  Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver;
  for (auto _ : state) {
    solver = Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd>(dense);
    benchmark::DoNotOptimize(solver.eigenvectors().data());
  }
  ReportEigen(state, a, solver.eigenvalues(), solver.eigenvectors().transpose());
}

void OurSvd(benchmark::State& state, RowMatrix (*make)(Eigen::Index)) {
  const auto n = static_cast<unsigned>(state.range(0));
  const RowMatrix a = make(n);
  Eigen::VectorXd s(n);
  RowMatrix u(n, n);
  RowMatrix v(n, n);
  std::vector<double*> uRows = Rows(u);
  std::vector<double*> vRows = Rows(v);
  for (auto _ : state) {
    if (!QZMolPotential::svd(a.data(), n, n, s.data(), uRows.data(), vRows.data())) {
      state.SkipWithError("failed");
    }
    benchmark::DoNotOptimize(u.data());
  }
  ReportSvd(state, a, s, u, v);
}

template <class Solver>
void EigenSvd(benchmark::State& state) {
  const RowMatrix a = Random(state.range(0));
  const Eigen::MatrixXd dense = a;
  Solver solver;
  for (auto _ : state) {
    solver = Solver(dense, Eigen::ComputeFullU | Eigen::ComputeFullV);
    benchmark::DoNotOptimize(solver.matrixU().data());
  }
  ReportSvd(state, a, solver.singularValues(), solver.matrixU(), solver.matrixV());
}

// LAPACK on the same matrices. A packed upper triangle by columns is a packed lower one by rows.
void LapackDivide(benchmark::State& state) {
  const auto n = static_cast<lapack_int>(state.range(0));
  const RowMatrix a = Symmetric(n);
  std::vector<double> packed;
  for (int i = 0; i < n; ++i) packed.insert(packed.end(), &a(i, 0), &a(i, 0) + i + 1);
  std::vector<double> work(packed.size());
  Eigen::VectorXd values(n);
  Eigen::MatrixXd vectors(n, n);
  for (auto _ : state) {
    std::copy(packed.begin(), packed.end(), work.begin());
    LAPACKE_dspevd(LAPACK_COL_MAJOR, 'V', 'U', n, work.data(), values.data(), vectors.data(), n);
    benchmark::DoNotOptimize(vectors.data());
  }
  ReportEigen(state, a, values, vectors.transpose());
}

void LapackExpert(benchmark::State& state) {
  const auto n = static_cast<lapack_int>(state.range(0));
  const RowMatrix a = Symmetric(n);
  std::vector<double> packed;
  for (int i = 0; i < n; ++i) packed.insert(packed.end(), &a(i, 0), &a(i, 0) + i + 1);
  std::vector<double> work(packed.size());
  Eigen::VectorXd values(n);
  Eigen::MatrixXd vectors(n, n);
  std::vector<lapack_int> failed(packed.size());
  lapack_int found = 0;
  for (auto _ : state) {
    std::copy(packed.begin(), packed.end(), work.begin());
    LAPACKE_dspevx(LAPACK_COL_MAJOR,
                   'V',
                   'A',
                   'U',
                   n,
                   work.data(),
                   0.0,
                   0.0,
                   0,
                   0,
                   0.0,
                   &found,
                   values.data(),
                   vectors.data(),
                   n,
                   failed.data());
    benchmark::DoNotOptimize(vectors.data());
  }
  ReportEigen(state, a, values, vectors.transpose());
}

void LapackSvd(benchmark::State& state) {
  const auto n = static_cast<lapack_int>(state.range(0));
  const RowMatrix a = Random(n);
  const Eigen::MatrixXd columns = a;
  Eigen::MatrixXd work(n, n);
  Eigen::VectorXd s(n);
  Eigen::MatrixXd u(n, n);
  Eigen::MatrixXd vt(n, n);
  Eigen::VectorXd super(n);
  for (auto _ : state) {
    work = columns;
    LAPACKE_dgesvd(LAPACK_COL_MAJOR,
                   'A',
                   'A',
                   n,
                   n,
                   work.data(),
                   n,
                   s.data(),
                   u.data(),
                   n,
                   vt.data(),
                   n,
                   super.data());
    benchmark::DoNotOptimize(u.data());
  }
  ReportSvd(state, a, s, u, vt.transpose());
}

void PseudoInverse(benchmark::State& state) {
  const auto n = static_cast<unsigned>(state.range(0));
  const RowMatrix a = SemiDefinite(n);
  RowMatrix p(n, n);
  for (auto _ : state) {
    if (!QZMolPotential::mpinvert(a.data(), p.data(), n, n)) state.SkipWithError("failed");
    benchmark::DoNotOptimize(p.data());
  }
  state.counters["residual"] = (a * p * a - a).cwiseAbs().maxCoeff() / a.cwiseAbs().maxCoeff();
}

using Bdc = Eigen::BDCSVD<Eigen::MatrixXd>;
using Jacobi = Eigen::JacobiSVD<Eigen::MatrixXd>;
void Sizes(benchmark::internal::Benchmark* b) {
  b->Arg(12)->Arg(30)->Arg(60)->Arg(100)->Arg(300)->Unit(benchmark::kMicrosecond);
}
BENCHMARK(OurEigen<QZMolPotential::diagonalize>)->Name("diagonalize")->Apply(Sizes);
BENCHMARK(OurEigen<QZMolPotential::eigendiagonalize>)->Name("eigendiagonalize")->Apply(Sizes);
BENCHMARK(EigenSelfAdjoint)->Name("Eigen SelfAdjointEigenSolver")->Apply(Sizes);
BENCHMARK(LapackDivide)->Name("LAPACK dspevd")->Apply(Sizes);
BENCHMARK(LapackExpert)->Name("LAPACK dspevx")->Apply(Sizes);
BENCHMARK(LapackSvd)->Name("LAPACK dgesvd")->Apply(Sizes);
BENCHMARK_CAPTURE(OurSvd, random, Random)->Name("svd")->Apply(Sizes);
BENCHMARK(EigenSvd<Bdc>)->Name("Eigen BDCSVD")->Apply(Sizes);
BENCHMARK(EigenSvd<Jacobi>)
    ->Name("Eigen JacobiSVD")
    ->Arg(30)
    ->Arg(100)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(OurSvd, semidefinite, SemiDefinite)->Name("svd semi-definite")->Apply(Sizes);
BENCHMARK(PseudoInverse)->Name("mpinvert semi-definite")->Apply(Sizes);

}  // namespace
