// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "host/field.h"

#include <algorithm>
#include <cmath>

#include "qzchem/atom.h"
#include "qzchem/residue.h"

namespace QZMolPotential {
namespace {

using QZChem::QZAtomBase;
using QZChem::QZGraphMol;
using QZChem::QZMolBase;
using QZSystem::QZRange;

// The host's atoms that belong with `atom`.
void AppendGroup(const QZGraphMol& host, const QZAtomBase& atom, std::vector<std::uint8_t>& isIn) {
  isIn[atom.GetIndex()] = 1;
  const QZChem::QZResidue* residue = QZChem::QZGetResidue(atom);
  if (residue != nullptr) {
    for (const auto& other : QZRange(host.GetAtoms())) {
      const QZChem::QZResidue* own = QZChem::QZGetResidue(other);
      if (own != nullptr && own->IsSameResidue(*residue)) isIn[other.GetIndex()] = 1;
    }
    return;
  }
  for (const auto& next : QZRange(atom.GetNeighbours())) {
    if (next.GetAtomicNumber() == 1) isIn[next.GetIndex()] = 1;
  }
}

}  // namespace

unsigned int HostAtomsTag() {
  static const unsigned int tag = QZSystem::QZGetTag("QZMolPotential host atoms");
  return tag;
}

QZHostField::QZHostField(const QZHostOptions& options) : options_(options) {}
QZHostField::QZHostField(const QZHostField&) = default;
QZHostField& QZHostField::operator=(const QZHostField&) = default;
QZHostField::~QZHostField() = default;

bool QZHostField::Setup(const QZMolBase& host) {
  auto data = std::make_shared<Data>(
      Data{QZGraphMol(host), {}, nullptr, QZStandardFF(options_.forceField)});
  data->perception = Perception::Find(data->mol, options_.forceField);
  if (data->perception == nullptr) return false;
  data->forceField.SetDielectric(options_.dielectric, options_.distanceDependent);
  data->forceField.SetCutoff(options_.cutoff, options_.cutoffWidth);
  if (!data->forceField.Setup(data->mol)) return false;
  data->coords.resize(3 * std::size_t{data->mol.AtomIndexBound()});
  data->mol.GetCoords(data->coords.data());
  data_ = std::move(data);
  return true;
}

const QZGraphMol* QZHostField::GetHost() const {
  return data_ != nullptr ? &data_->mol : nullptr;
}

std::vector<unsigned int> QZHostField::FindNear(const QZMolBase& mol, double distance) const {
  if (data_ == nullptr) return {};
  std::vector<double> points(3 * std::size_t{mol.AtomIndexBound()});
  mol.GetCoords(points.data());
  std::vector<unsigned int> atoms;
  for (const auto& atom : QZRange(mol.GetAtoms())) atoms.push_back(atom.GetIndex());
  const auto isNear = [&](const double* p) {
    return std::ranges::any_of(atoms, [&](unsigned int atom) {
      const double* q = points.data() + 3 * std::size_t{atom};
      double square = 0.0;
      for (std::size_t k = 0; k < 3; ++k) square += (p[k] - q[k]) * (p[k] - q[k]);
      return square <= distance * distance;
    });
  };
  std::vector<std::uint8_t> isIn(data_->mol.AtomIndexBound());
  for (const auto& atom : QZRange(data_->mol.GetAtoms())) {
    if (isIn[atom.GetIndex()] == 0 && isNear(&data_->coords[3 * std::size_t{atom.GetIndex()}])) {
      AppendGroup(data_->mol, atom, isIn);
    }
  }
  std::vector<unsigned int> found;
  for (unsigned int i = 0; i < isIn.size(); ++i) {
    if (isIn[i] != 0) found.push_back(i);
  }
  return found;
}

QZGraphMol QZHostField::Join(const QZMolBase& ligand, std::vector<unsigned int> flexible) const {
  QZGraphMol joined(ligand);
  if (data_ == nullptr) return joined;
  const QZGraphMol& host = data_->mol;
  std::ranges::sort(flexible);
  flexible.erase(std::unique(flexible.begin(), flexible.end()), flexible.end());
  std::erase_if(flexible, [&](unsigned int i) { return host.GetAtom(i) == nullptr; });
  if (flexible.empty()) return joined;
  std::vector<QZAtomBase*> made(host.AtomIndexBound());
  for (const unsigned int i : flexible) {
    const QZAtomBase& atom = *host.GetAtom(i);
    const double* p = data_->coords.data() + 3 * std::size_t{i};
    made[i] = joined.AddAtom(atom.GetAtomicNumber(), p[0], p[1], p[2]);
    made[i]->SetFormalCharge(atom.GetFormalCharge());
    if (const QZChem::QZResidue* residue = QZChem::QZGetResidue(atom)) {
      QZChem::QZSetResidue(*made[i], *residue);
    }
  }
  for (const auto& bond : QZRange(host.GetBonds())) {
    QZAtomBase* begin = made[bond.GetBegin()->GetIndex()];
    QZAtomBase* end = made[bond.GetEnd()->GetIndex()];
    if (begin != nullptr && end != nullptr) joined.AddBond(begin, end, bond.GetOrder());
  }
  joined.SetData(HostAtomsTag(),
                 HostAtoms{ligand.AtomIndexBound(),
                           std::move(flexible),
                           std::make_shared<const QZGraphMol>(ligand)});
  return joined;
}

QZGraphMol QZHostField::HostOf(const QZMolBase& joined) const {
  if (data_ == nullptr) return QZGraphMol();
  QZGraphMol host(data_->mol);
  const auto* atoms = joined.GetData<HostAtoms>(HostAtomsTag());
  if (atoms == nullptr) return host;
  std::vector<double> coords(3 * std::size_t{joined.AtomIndexBound()});
  joined.GetCoords(coords.data());
  for (std::size_t f = 0; f < atoms->atoms.size(); ++f) {
    host.SetCoords(host.GetAtom(atoms->atoms[f]), &coords[3 * (atoms->ligandBound + f)]);
  }
  return host;
}

QZGraphMol QZHostField::LigandOf(const QZMolBase& joined) {
  QZGraphMol ligand(joined);
  const auto* atoms = joined.GetData<HostAtoms>(HostAtomsTag());
  if (atoms == nullptr) return ligand;
  for (std::size_t f = 0; f < atoms->atoms.size(); ++f) {
    ligand.DeleteAtom(ligand.GetAtom(atoms->ligandBound + static_cast<unsigned int>(f)));
  }
  ligand.DeleteData(HostAtomsTag());
  // Holes at the end would count as variables.
  bool hadHoles = false;
  for (unsigned int i = 0; i < atoms->ligandBound; ++i) hadHoles |= joined.GetAtom(i) == nullptr;
  if (!hadHoles) ligand.Sweep();
  return ligand;
}

namespace {

// True when the ligand's part of `joined` has exactly the atoms and bonds of `ligand`, unchanged.
bool IsUnchanged(const QZGraphMol& ligand, const QZMolBase& joined) {
  std::size_t ends = 0;
  for (const auto& atom : QZRange(ligand.GetAtoms())) {
    const QZAtomBase* now = joined.GetAtom(atom.GetIndex());
    if (now == nullptr || now->GetAtomicNumber() != atom.GetAtomicNumber() ||
        now->GetFormalCharge() != atom.GetFormalCharge() ||
        now->GetIsotope() != atom.GetIsotope() ||
        now->GetRadicalElectrons() != atom.GetRadicalElectrons()) {
      return false;
    }
    ends += now->GetDegree();
  }
  for (const auto& bond : QZRange(ligand.GetBonds())) {
    bool isFound = false;
    for (const auto& now : QZRange(joined.GetAtom(bond.GetBegin()->GetIndex())->GetBonds())) {
      const auto* end = now.GetNeighbour(joined.GetAtom(bond.GetBegin()->GetIndex()));
      isFound = isFound ||
                (end->GetIndex() == bond.GetEnd()->GetIndex() && now.GetOrder() == bond.GetOrder());
    }
    if (!isFound) return false;
  }
  return ends == 2 * std::size_t{ligand.NumBonds()};
}

}  // namespace

QZGraphMol PerceivedLigandOf(const QZMolBase& joined, const HostAtoms& atoms) {
  if (!IsUnchanged(*atoms.ligand, joined)) return QZHostField::LigandOf(joined);
  std::vector<double> coords(3 * std::size_t{joined.AtomIndexBound()});
  joined.GetCoords(coords.data());
  QZGraphMol ligand = *atoms.ligand;
  ligand.SetCoords(coords.data());
  return ligand;
}

}  // namespace QZMolPotential
