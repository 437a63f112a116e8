// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <memory>
#include <vector>

#include "forcefields/term.h"
#include "molpotential/freezable.h"
#include "molpotential/molfunc.h"
#include "qzchem/mol.h"
#include "qzopt/hints.h"

namespace QZMolPotential {

/// Options of the interaction between a ligand and its host.
struct QZHostOptions {
  QZForceFieldKind forceField = QZForceFieldKind::MMFF94;
  double cutoff = 10.0;      // Å between two atoms; 0: none
  double cutoffWidth = 2.0;  // Å over which van der Waals fades out; electrostatics: from 0 on
  double dielectric = 1.0;
  bool distanceDependent = false;  // electrostatics by 1/r² instead of 1/r
};

/// A host: a molecule, for example a protein, in whose field other molecules are minimised. It is
/// typed once and does not change; any number of `QZHostFunc` on any threads share it.
///   QZHostField field(options);
///   if (!field.Setup(protein)) ...
///   QZGraphMol mol = field.Join(ligand, field.FindNear(ligand, 4.0));   // or the ligand itself
///   QZHostFunc func(field);
///   if (!func.Setup(mol)) ...                                           // minimise func
/// Copies share the host. Cost: `Setup` types and copies the host.
class QZ_API QZHostField {
 public:
  explicit QZHostField(const QZHostOptions& options = {});
  QZHostField(const QZHostField&);
  QZHostField& operator=(const QZHostField&);
  ~QZHostField();

  const QZHostOptions& GetOptions() const { return options_; }
  /// Takes a copy of `host` with its coordinates, and types it. Fails as `QZForceFieldTerm::Setup`,
  /// with a Warning; the field is then as before.
  bool Setup(const QZChem::QZMolBase& host);
  /// Null before `Setup`.
  const QZChem::QZGraphMol* GetHost() const;

  /// The atoms of the host (indices, ascending) near `mol`: all atoms of every residue that has an
  /// atom within `distance` (Å) of an atom of `mol`; in a host without residues, the atoms within
  /// that distance and the hydrogens on them.
  std::vector<unsigned int> FindNear(const QZChem::QZMolBase& mol, double distance) const;
  /// The molecule of `ligand` and the host atoms `flexible`, whose coordinates are the variables
  /// when these host atoms move too. The atoms of the ligand come first and keep their indices;
  /// title and data are the ligand's; the flexible atoms follow, with the bonds between them. The
  /// joined molecule and its copies know which atoms are the host's; no atoms must be deleted from
  /// it. Indices in `flexible` that the host does not have are ignored.
  QZChem::QZGraphMol Join(const QZChem::QZMolBase& ligand,
                          std::vector<unsigned int> flexible) const;
  /// A copy of the host in which the flexible atoms have their coordinates of `joined`; the
  /// unchanged host for a ligand that was not joined.
  QZChem::QZGraphMol HostOf(const QZChem::QZMolBase& joined) const;
  /// The ligand of `joined` with its coordinates in `joined`; a copy of a ligand that was not
  /// joined.
  static QZChem::QZGraphMol LigandOf(const QZChem::QZMolBase& joined);

 private:
  friend class QZHostFunc;
  struct Data;
  QZHostOptions options_;
  std::shared_ptr<const Data> data_;
};

/// The energy of a ligand in a host, a function of the Cartesian coordinates of the molecule that
/// it is set up on: a ligand, or a ligand with flexible host atoms from `QZHostField::Join`. In
/// kcal/mol and kcal/mol/Å:
///   E = E(ligand alone, all pairs) + E(pairs of ligand and host) [+ E(host)]
/// E(host) is the sum of the host's terms, bonded and non-bonded, that contain a flexible atom; it
/// is absent without flexible atoms. All other host atoms stay where they were at
/// `QZHostField::Setup`. Formulas and sources: see `QZForceFieldTerm`.
/// Copies: deep, usable on another thread; they share the host.
/// Fails: `Setup` is false with a Warning when the ligand cannot be typed or the field has no host.
/// Cost: O(pairs in the ligand + pairs within the cutoff) per call. Neighbour lists are renewed as
/// atoms move, which allocates; so does a Hessian with flexible atoms.
class QZ_API QZHostFunc final : public QZMolFunc2,
                                public QZFreezable,
                                public QZOpt::QZHessianModel {
 public:
  explicit QZHostFunc(const QZHostField& field);
  QZHostFunc(const QZHostFunc& other);
  QZHostFunc& operator=(const QZHostFunc& other);
  ~QZHostFunc() override;

  struct Energies {
    double ligand = 0.0;
    double vanDerWaals = 0.0;  // between ligand and host
    double electrostatics = 0.0;
    double host = 0.0;
    double Interaction() const { return vanDerWaals + electrostatics; }
    double Sum() const { return ligand + Interaction() + host; }
  };
  /// The parts of the energy at `x`.
  Energies GetEnergies(const double* x);
  /// The indices in the host of the flexible atoms, in the order of their variables; empty for a
  /// ligand that was not joined.
  const std::vector<unsigned int>& GetFlexibleAtoms() const;

  unsigned int NumVar() const override;
  using QZMolFunc2::operator();
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;
  bool operator()(const double* x, double* hessian, double* grad) override;
  /// The terms of the ligand by name, then "Interaction Van der Waals", "Interaction
  /// Electrostatics" and "Host". "Host" is 0 without flexible atoms; all values are 0 when `x` is
  /// null.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;
  /// Lists, in this order, the interactions within the ligand, the pairs of ligand and host within
  /// the cutoff, and the host's terms that contain a flexible atom, all of which are called "Host".
  /// The energies of all interactions of one name sum to the component of that name. Atoms of the
  /// ligand and flexible atoms are atoms of `mol`, all others atoms of `QZHostField::GetHost`. For
  /// parameters and `selector` see `QZForceFieldTerm`. Empty when `coords` (NumVar() doubles, Å) is
  /// null or `mol` cannot be set up. Cost: O(atoms²), some 250 bytes an interaction.
  QZSystem::QZIterBase<QZInteraction>* GetInteractions(const QZChem::QZMolBase& mol,
                                                       const double* coords,
                                                       unsigned int selector) const override;
  bool Setup(const QZChem::QZMolBase& mol) override;
  void Clear() override;
  /// The sum of the models of the ligand, of the host's terms and of the pairs between them.
  bool AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) override;
  /// Leaves out the terms of ligand and host whose atoms are all fixed, and the interactions
  /// between two fixed atoms.
  bool Freeze(const unsigned char* fixed) override;
  QZHostFunc* CreateCopy() const override { return new QZHostFunc(*this); }

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace QZMolPotential
