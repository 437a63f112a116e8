// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <ForceField/ForceField.h>
#include <Geometry/point.h>

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <tuple>
#include <utility>
#include <vector>

namespace QZMolPotential {

/// What RDKit's contributions need around them: the coordinates without holes, and the table of
/// distances that contributions on the same coordinates share. It serves one thread at a time.
class Engine final : public ForceFields::ForceField {
 public:
  /// `atomIndices`: our index by RDKit's; `indexBound`: one past our largest index.
  Engine(std::vector<unsigned int> atomIndices, unsigned int indexBound);
  Engine(const Engine& other) : Engine(other.atomIndices_, other.indexBound_) {}
  Engine& operator=(const Engine&) = delete;

  unsigned int NumVar() const { return 3 * indexBound_; }
  unsigned int IndexOf(unsigned int atom) const { return atomIndices_[atom]; }
  /// Takes the full coordinates `x` and returns them without holes. The distances are forgotten
  /// when the coordinates differ from those of the last call.
  double* Bind(const double* x);
  /// Where contributions add their gradient: `grad` itself, or without holes a buffer that
  /// `AddGradient` adds to `grad`.
  double* GradientTarget(double* grad);
  void AddGradient(double* grad);

 private:
  bool hasHoles() const { return atomIndices_.size() != indexBound_; }

  std::vector<unsigned int> atomIndices_;
  unsigned int indexBound_;
  RDGeom::Point3D unused_;  // coordinates are always handed over explicitly
  std::vector<double> coords_;
  std::vector<double> grad_;
};

/// Contributions of one kind, stored by value.
class Contributions {
 public:
  /// Atoms of one contribution in RDKit's numbering.
  using Atoms = std::vector<unsigned int>;
  /// The force field whose distances contributions use, and whether their atoms, which RDKit's
  /// objects do not tell, are remembered beside them.
  struct Owner {
    ForceFields::ForceField& field;
    bool keepsAtoms = false;
  };

  Contributions() = default;
  Contributions(const Contributions&) = default;
  Contributions& operator=(const Contributions&) = delete;
  virtual ~Contributions() = default;
  virtual double Energy(double* coords) const = 0;
  /// The energy; the gradient is added into `grad`.
  virtual double EnergyAndGradient(double* coords, double* grad) const = 0;
  virtual std::size_t Size() const = 0;
  /// Calls visit(energy, atoms) for each contribution; none when the atoms were not kept.
  virtual void ForEach(double* coords,
                       const std::function<void(double, const Atoms&)>& visit) const = 0;
  virtual std::unique_ptr<Contributions> Copy() const = 0;
  /// Makes `owner` the force field whose distances are used.
  virtual void Bind(ForceFields::ForceField& owner) = 0;
};

template <class C>
class ContributionsOf final : public Contributions {
 public:
  /// C(field, atoms..., args...).
  template <std::size_t N, class... Args>
  void Add(const Owner& owner, const std::array<unsigned int, N>& atoms, Args&&... args) {
    std::apply(
        [&](auto... atom) {
          items_.emplace_back(&owner.field, atom..., std::forward<Args>(args)...);
        },
        atoms);
    if (owner.keepsAtoms) atoms_.emplace_back(atoms.begin(), atoms.end());
  }
  void Add(const Owner& owner, const Atoms& atoms, const C& contribution) {
    items_.emplace_back(contribution).Bind(owner.field);
    if (owner.keepsAtoms) atoms_.push_back(atoms);
  }
  void Reserve(std::size_t count) { items_.reserve(count); }
  void Shrink() { items_.shrink_to_fit(); }

  double Energy(double* coords) const override {
    double energy = 0.0;
    for (const Item& item : items_) energy += item.getEnergy(coords);
    return energy;
  }
  double EnergyAndGradient(double* coords, double* grad) const override {
    double energy = 0.0;
    for (const Item& item : items_) {
      energy += item.getEnergy(coords);
      item.getGrad(coords, grad);
    }
    return energy;
  }
  std::size_t Size() const override { return items_.size(); }
  void ForEach(double* coords,
               const std::function<void(double, const Atoms&)>& visit) const override {
    for (std::size_t i = 0; i < atoms_.size(); ++i) visit(items_[i].getEnergy(coords), atoms_[i]);
  }
  std::unique_ptr<Contributions> Copy() const override {
    return std::make_unique<ContributionsOf>(*this);
  }
  void Bind(ForceFields::ForceField& owner) override {
    for (Item& item : items_) item.Bind(owner);
  }

 private:
  // Final, so that the loops above call without dispatch.
  struct Item final : C {
    using C::C;
    explicit Item(const C& other) : C(other) {}
    void Bind(ForceFields::ForceField& owner) { this->dp_forceField = &owner; }
  };
  std::vector<Item> items_;
  std::vector<Atoms> atoms_;
};

}  // namespace QZMolPotential
