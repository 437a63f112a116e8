// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "run/coordinates.h"

#include <algorithm>
#include <set>

#include "input/errors.h"
#include "qzchem/qzchem.h"

namespace Molpot {

using QZChem::QZMolBase;
using QZMolPotential::QZMolFunc1;

namespace {

std::size_t NumCartesian(const QZMolBase& mol) {
  return std::size_t{3} * mol.AtomIndexBound();
}

class CartesianVariables final : public Variables {
 public:
  explicit CartesianVariables(QZMolFunc1& energy) : energy_(energy) {}
  QZOpt::QZFunc1& Function() override { return energy_; }
  std::vector<double> Start(const std::vector<double>& coords) override { return coords; }
  std::vector<double> Cartesian(const double* vars) override {
    return {vars, vars + energy_.NumVar()};
  }

 private:
  QZMolFunc1& energy_;
};

class WrappedVariables final : public Variables {
 public:
  WrappedVariables(std::unique_ptr<QZMolPotential::QZMolAdaptor> adaptor, std::size_t numCartesian)
      : adaptor_(std::move(adaptor)), numCartesian_(numCartesian) {}
  QZOpt::QZFunc1& Function() override { return *adaptor_; }
  std::vector<double> Start(const std::vector<double>& coords) override {
    std::vector<double> vars(adaptor_->NumVar());
    adaptor_->GetVar(vars.data(), coords.data());
    return vars;
  }
  std::vector<double> Cartesian(const double* vars) override {
    std::vector<double> coords(numCartesian_);
    adaptor_->AdaptVar(coords.data(), vars);
    return coords;
  }

 private:
  std::unique_ptr<QZMolPotential::QZMolAdaptor> adaptor_;
  std::size_t numCartesian_;
};

class RedundantVariables final : public Variables {
 public:
  explicit RedundantVariables(std::unique_ptr<QZMolPotential::QZRedundantInterAdaptor> adaptor)
      : adaptor_(std::move(adaptor)), function_(*adaptor_) {}
  QZOpt::QZFunc1& Function() override { return function_; }
  std::vector<double> Start(const std::vector<double>& coords) override {
    return function_.Start(coords.data());
  }
  std::vector<double> Scales() const override { return function_.GetScales(); }
  bool StartMatters() const override { return true; }
  std::vector<double> Cartesian(const double* vars) override { return function_.GetCoords(vars); }

 private:
  std::unique_ptr<QZMolPotential::QZRedundantInterAdaptor> adaptor_;
  QZMolPotential::QZRedundantVarFunc function_;
};

template <class Adaptor>
class ConvertedVariables final : public Variables {
 public:
  ConvertedVariables(QZMolFunc1& energy,
                     const QZMolBase& mol,
                     const std::vector<unsigned int>& frozen)
      : numCartesian_(NumCartesian(mol)), fixed_(mol.AtomIndexBound(), 0) {
    if (!adaptor_.Setup(mol)) throw RecordError("the adaptor cannot be set up");
    if (!frozen.empty()) {
      for (const unsigned int index : frozen) fixed_[index] = -1;
      int* entries = fixed_.data();
      adaptor_.FixAtoms(entries);
    }
    if (adaptor_.NumOptVar() == 0) throw RecordError("there is nothing left to vary");
    function_ = std::make_unique<QZMolPotential::QZOptVarFunc>(energy, adaptor_);
  }
  QZOpt::QZFunc1& Function() override { return *function_; }
  std::vector<double> Start(const std::vector<double>& coords) override {
    std::vector<double> vars(adaptor_.NumOptVar());
    adaptor_.FuncVarToOptVar(coords.data(), vars.data());
    return vars;
  }
  bool StartMatters() const override { return true; }
  std::vector<double> Scales() const override {
    if constexpr (requires { adaptor_.GetKinds(); }) {
      return QZMolPotential::QZInternalScales(adaptor_.GetKinds());
    } else {
      return {};
    }
  }
  std::vector<double> Cartesian(const double* vars) override {
    std::vector<double> coords(numCartesian_);
    adaptor_.OptVarToFuncVar(vars, coords.data());
    return coords;
  }

 private:
  Adaptor adaptor_;
  std::size_t numCartesian_;
  std::vector<int> fixed_;
  std::unique_ptr<QZMolPotential::QZOptVarFunc> function_;
};

// Hands the frozen atoms to an adaptor and sets it up. Throws RecordError.
void Bind(QZMolPotential::QZMolAdaptor& adaptor,
          const QZMolBase& mol,
          const std::vector<unsigned int>& frozen,
          unsigned int freezeBit) {
  if (!frozen.empty()) {
    std::set<const QZChem::QZAtomBase*> members;
    for (const unsigned int index : frozen) members.insert(mol.GetAtom(index));
    adaptor.Set(QZChem::IsMemberPtr<QZChem::QZAtomBase>(std::move(members)), freezeBit);
  }
  if (!adaptor.Setup(mol)) throw RecordError("the adaptor cannot be set up");
  if (adaptor.NumVar() == 0) throw RecordError("there is nothing left to vary");
}

std::unique_ptr<Variables> Wrap(std::unique_ptr<QZMolPotential::QZMolAdaptor> adaptor,
                                const QZMolBase& mol,
                                const std::vector<unsigned int>& frozen = {},
                                unsigned int freezeBit = 0) {
  Bind(*adaptor, mol, frozen, freezeBit);
  return std::make_unique<WrappedVariables>(std::move(adaptor), NumCartesian(mol));
}

std::unique_ptr<Variables> WrapRedundant(QZMolFunc1& energy,
                                         const QZMolBase& mol,
                                         const std::vector<unsigned int>& frozen) {
  auto adaptor = std::make_unique<QZMolPotential::QZRedundantInterAdaptor>(
      energy, /*own=*/false, /*restrictInteractions=*/false);
  Bind(*adaptor, mol, frozen, QZMolPotential::QZCategoryRedundantFrozen);
  return std::make_unique<RedundantVariables>(std::move(adaptor));
}

// The cluster adaptor maps consecutive blocks of atoms to components.
void RequireOrderedComponents(const QZMolBase& mol) {
  std::vector<unsigned int> parts(mol.AtomIndexBound());
  const unsigned int count = QZChem::QZDetermineComponents(mol, parts.data());
  if (count < 2) throw RecordError("the molecule is one piece");
  if (!std::ranges::is_sorted(parts)) throw RecordError("atoms are not ordered by component");
}

}  // namespace

const std::vector<std::pair<std::string, Coordinates>>& CoordinateNames() {
  static const std::vector<std::pair<std::string, Coordinates>> names = {
      {"cartesian", Coordinates::Cartesian},
      {"subset", Coordinates::Subset},
      {"quaternion", Coordinates::Quaternion},
      {"cluster", Coordinates::Cluster},
      {"degfree", Coordinates::DegFree},
      {"redundant", Coordinates::Redundant},
      {"zmatrix", Coordinates::Zmatrix},
      {"torsion", Coordinates::Torsion},
  };
  return names;
}

const char* CoordinateName(Coordinates kind) {
  for (const auto& [name, value] : CoordinateNames()) {
    if (value == kind) return name.c_str();
  }
  return "";
}

bool CanFreeze(Coordinates kind) {
  return kind == Coordinates::Subset || kind == Coordinates::Redundant ||
         kind == Coordinates::Zmatrix || kind == Coordinates::Torsion;
}

std::unique_ptr<Variables> MakeVariables(Coordinates kind,
                                         QZMolFunc1& energy,
                                         const QZMolBase& mol,
                                         const std::vector<unsigned int>& frozen) {
  namespace QZ = QZMolPotential;
  switch (kind) {
    case Coordinates::Cartesian:
      return std::make_unique<CartesianVariables>(energy);
    case Coordinates::Subset:
      if (frozen.empty()) throw RecordError("no atom is frozen (--freeze)");
      return Wrap(std::make_unique<QZ::QZSubsetAdaptor>(
                      energy, /*own=*/false, /*restrictInteractions=*/true),
                  mol,
                  frozen,
                  QZ::QZCategorySubsetFixed);
    case Coordinates::Quaternion:
      return Wrap(std::make_unique<QZ::QZQuatAdaptor>(
                      energy, /*own=*/false, /*restrictInteractions=*/false),
                  mol);
    case Coordinates::Cluster:
      RequireOrderedComponents(mol);
      return Wrap(std::make_unique<QZ::QZClusterQuatAdaptor>(
                      energy, /*own=*/false, /*restrictInteractions=*/false),
                  mol);
    case Coordinates::DegFree:
      return Wrap(std::make_unique<QZ::QZDegFreeAdaptor>(energy, /*own=*/false), mol);
    case Coordinates::Redundant:
      return WrapRedundant(energy, mol, frozen);
    case Coordinates::Zmatrix:
      return std::make_unique<ConvertedVariables<QZ::QZZmatAdaptor>>(energy, mol, frozen);
    case Coordinates::Torsion:
      return std::make_unique<ConvertedVariables<QZ::QZTorsionAdaptor>>(energy, mol, frozen);
  }
  throw RecordError("unknown coordinates");
}

}  // namespace Molpot
