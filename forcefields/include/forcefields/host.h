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

/// How a ligand and its host interact.
struct QZHostOptions {
  QZForceFieldKind forceField = QZForceFieldKind::MMFF94;
  double cutoff = 10.0;      // Å between two atoms; 0: none
  double cutoffWidth = 2.0;  // Å over which van der Waals fades; electrostatics: the whole cutoff
  double dielectric = 1.0;
  bool distanceDependent = false;  // electrostatics by 1/r² instead of 1/r
};

/// A molecule that others are relaxed in: a protein, say. It is typed once and does not change; any
/// number of functions on any thread share it.
///   QZHostField field(options);
///   if (!field.Setup(protein)) ...
///   QZGraphMol mol = field.Join(ligand, field.FindNear(ligand, 4.0));   // or the ligand itself
///   QZHostFunc func(field);
///   if (!func.Setup(mol)) ...                                           // minimise func
/// Copies share the host.
class QZ_API QZHostField {
 public:
  explicit QZHostField(const QZHostOptions& options = {});
  QZHostField(const QZHostField&);
  QZHostField& operator=(const QZHostField&);
  ~QZHostField();

  const QZHostOptions& GetOptions() const { return options_; }
  /// Takes a copy of `host` with its coordinates, and types it. Fails: false and a warning as
  /// `QZForceFieldTerm::Setup` gives; the field is then as before.
  bool Setup(const QZChem::QZMolBase& host);
  /// Null before `Setup`.
  const QZChem::QZGraphMol* GetHost() const;

  /// The host's atoms (indices, ascending) of all residues of which an atom is within `distance`
  /// (Å) of an atom of `mol`; of a host without residues the atoms themselves and hydrogens on
  /// them.
  std::vector<unsigned int> FindNear(const QZChem::QZMolBase& mol, double distance) const;
  /// `ligand`, its indices, title and data kept, with the host's atoms `flexible` and the bonds
  /// between them behind it: the molecule whose coordinates are variables when these atoms move
  /// too. It remembers which is which, and so do its copies; atoms must not be deleted from it.
  /// Indices that are not the host's are left out.
  QZChem::QZGraphMol Join(const QZChem::QZMolBase& ligand,
                          std::vector<unsigned int> flexible) const;
  /// The host with the coordinates that the flexible atoms of `joined` have; unchanged for a ligand
  /// that was not joined.
  QZChem::QZGraphMol HostOf(const QZChem::QZMolBase& joined) const;
  /// The ligand of `joined` with its coordinates: a copy for one that was not joined.
  static QZChem::QZGraphMol LigandOf(const QZChem::QZMolBase& joined);

 private:
  friend class QZHostFunc;
  struct Data;
  QZHostOptions options_;
  std::shared_ptr<const Data> data_;
};

/// Energy of a ligand in a host, of the coordinates of the molecule it is set up on: a ligand or
/// what `QZHostField::Join` made of one (kcal/mol, kcal/mol/Å):
///   E = E(ligand alone, all pairs) + E(pairs of ligand and host) [+ E(host)]
/// E(host) are the host's terms, bonded and not, of which a flexible atom is part; none without
/// flexible atoms. The other host atoms stand where they were at the field's `Setup`.
/// Copies: deep, usable on another thread; they share the host.
/// Fails: `Setup` false and a warning when the ligand has no types, or the field no host.
/// Cost: O(ligand's pairs + pairs within the cutoff) per call. Neighbours are listed anew as atoms
/// move, which allocates.
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
  /// The host's indices of the flexible atoms, in the order of their variables; empty for a ligand
  /// that was not joined.
  const std::vector<unsigned int>& GetFlexibleAtoms() const;

  unsigned int NumVar() const override;
  using QZMolFunc2::operator();
  double operator()(const double* x) override;
  double operator()(const double* x, double* grad) override;
  bool operator()(const double* x, double* hessian, double* grad) override;
  /// The ligand's terms by name, then "Interaction Van der Waals", "Interaction Electrostatics" and
  /// "Host"; the host's is 0 without flexible atoms, all are for null `x`.
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override;
  /// Those of the ligand, then the pairs of ligand and host within the cutoff, named as the
  /// components are, then the host's terms of which a flexible atom is part, all as "Host": names
  /// add up to components. Atoms that are not of `mol` are of `QZHostField::GetHost`. Parameters as
  /// `QZForceFieldTerm` has them. Cost: O(atoms²), some 250 bytes an interaction.
  QZSystem::QZIterBase<QZInteraction>* GetInteractions(const QZChem::QZMolBase& mol,
                                                       const double* coords,
                                                       unsigned int selector) const override;
  bool Setup(const QZChem::QZMolBase& mol) override;
  void Clear() override;
  /// Models of ligand, flexible atoms and what lies between.
  bool AppendModelHessian(const double* x, std::vector<QZOpt::QZMatrixEntry>& entries) override;
  /// Leaves out terms of the ligand and of flexible host atoms that are all fixed, and the
  /// interactions of two fixed atoms.
  bool Freeze(const unsigned char* fixed) override;
  QZHostFunc* CreateCopy() const override { return new QZHostFunc(*this); }

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace QZMolPotential
