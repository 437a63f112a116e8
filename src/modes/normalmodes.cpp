// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/normalmodes.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <numbers>

#include "modes/modesystem.h"
#include "qzchem/mass.h"
#include "qzchem/mol.h"

namespace QZMolPotential {
namespace {

using Eigen::Index;
using Eigen::MatrixXd;
using Eigen::VectorXd;

// CODATA 2018.
constexpr double kPlanck = 6.62607015e-34;       // J s
constexpr double kBoltzmann = 1.380649e-23;      // J/K
constexpr double kAvogadro = 6.02214076e23;      // 1/mol
constexpr double kLightSpeed = 299792458.0;      // m/s
constexpr double kMassUnit = 1.66053906660e-27;  // kg
constexpr double kJoulePerKcal = 4184.0;
constexpr double kKcalPerWavenumber =
    kPlanck * kLightSpeed * 100.0 * kAvogadro / kJoulePerKcal;           // kcal/mol per cm⁻¹
constexpr double kGasConstant = kBoltzmann * kAvogadro / kJoulePerKcal;  // kcal/mol/K

// Eigenvalues this small beside the largest are 0: those of turning about a fixed atom.
constexpr double kRounding = 1e-10;

// cm⁻¹ of an eigenvalue in kcal/mol/Å²/u; negative for a negative one.
double Wavenumber(double eigenvalue) {
  const double perSecond2 = std::abs(eigenvalue) * kJoulePerKcal / kAvogadro / kMassUnit * 1e20;
  const double wavenumber = std::sqrt(perSecond2) / (2.0 * std::numbers::pi * kLightSpeed * 100.0);
  return std::copysign(wavenumber, eigenvalue);
}

// The masses by atom index; false, with the reason, for an atom without one.
bool FindMasses(const QZChem::QZMolBase& mol,
                const std::vector<double>& given,
                std::vector<double>& masses,
                std::string& fault) {
  masses.assign(mol.AtomIndexBound(), 0.0);
  for (auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    const unsigned int index = atom.GetIndex();
    double& mass = masses[index];
    if (index < given.size()) mass = given[index];
    if (mass == 0.0) {
      mass = QZChem::QZGetAtomicMass(atom.GetAtomicNumber(), atom.GetIsotope());
    }
    if (mass > 0.0 && std::isfinite(mass)) continue;
    fault = "atom index " + std::to_string(index) + " has no mass";
    return false;
  }
  return true;
}

// Independent harmonic oscillators: x = hν/kT,
//   S/R = x/(eˣ - 1) - ln(1 - e⁻ˣ),   F/RT = x/2 + ln(1 - e⁻ˣ)
void AddThermodynamics(const QZNormalModesOptions& options, QZNormalModes& result) {
  const double thermal = kGasConstant * options.temperature;
  for (const double frequency : result.frequencies) {
    if (!(frequency > 0.0)) continue;
    result.zeroPointEnergy += 0.5 * kKcalPerWavenumber * frequency;
    const double counted = std::max(frequency, options.lowestFrequency);
    result.freeEnergy += 0.5 * kKcalPerWavenumber * frequency;
    if (!(thermal > 0.0)) continue;
    const double x = kKcalPerWavenumber * counted / thermal;
    const double logarithm = std::log(-std::expm1(-x));
    result.entropy += kGasConstant * (x / std::expm1(x) - logarithm);
    result.freeEnergy += thermal * logarithm;
  }
}

// An orthonormal basis of what is orthogonal to the columns of `free`.
MatrixXd Complement(const MatrixXd& free) {
  const Index n = free.rows();
  const Eigen::HouseholderQR<MatrixXd> qr(free);
  const MatrixXd basis = qr.householderQ() * MatrixXd::Identity(n, n);
  return basis.rightCols(n - free.cols());
}

}  // namespace

QZNormalModes QZComputeNormalModes(QZMolFunc2& f,
                                   const QZChem::QZMolBase& mol,
                                   const double* x,
                                   const QZNormalModesOptions& options) {
  QZNormalModes result;
  std::vector<double> masses;
  if (!FindMasses(mol, options.masses, masses, result.message)) return result;
  const ModeSystem system = MakeModeSystem(f, masses, x, options.atomsHeld);
  result.message = system.fault;
  if (!system.fault.empty()) return result;
  result.valid = true;
  result.gradientNorm = system.gradientNorm;
  if (system.hessian.rows() == 0) return result;

  const MatrixXd inner = Complement(FreeMotions(system, MakeOverallMotion(masses, x)));
  if (inner.cols() == 0) return result;
  const Eigen::SelfAdjointEigenSolver<MatrixXd> solver(inner.transpose() * system.hessian * inner);
  const double rounding = kRounding * solver.eigenvalues().cwiseAbs().maxCoeff();
  const MatrixXd weighted = system.motions * inner * solver.eigenvectors();
  for (Index k = 0; k < inner.cols(); ++k) {
    const double eigenvalue = solver.eigenvalues()[k];
    const double frequency = std::abs(eigenvalue) > rounding ? Wavenumber(eigenvalue) : 0.0;
    result.frequencies.push_back(frequency);
    if (frequency < 0.0) ++result.numImaginary;
    VectorXd mode = weighted.col(k);
    for (Index i = 0; i < mode.size(); ++i) {
      const double mass = masses[static_cast<std::size_t>(i / 3)];
      mode[i] = mass > 0.0 ? mode[i] / std::sqrt(mass) : 0.0;
    }
    mode.normalize();
    result.modes.emplace_back(mode.data(), mode.data() + mode.size());
  }
  AddThermodynamics(options, result);
  return result;
}

std::vector<std::vector<double>> QZAnimateMode(const std::vector<double>& mode,
                                               const double* x,
                                               unsigned int frames,
                                               double amplitude) {
  double largest = 0.0;
  for (std::size_t i = 0; i + 2 < mode.size(); i += 3) {
    largest = std::max(largest, std::hypot(mode[i], mode[i + 1], mode[i + 2]));
  }
  std::vector<std::vector<double>> geometries;
  if (!(largest > 0.0)) return geometries;
  for (unsigned int frame = 0; frame < frames; ++frame) {
    const double step = amplitude / largest * std::sin(2.0 * std::numbers::pi * frame / frames);
    auto& geometry = geometries.emplace_back(x, x + mode.size());
    for (std::size_t i = 0; i < mode.size(); ++i) geometry[i] += step * mode[i];
  }
  return geometries;
}

}  // namespace QZMolPotential
