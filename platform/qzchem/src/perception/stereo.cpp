// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "perception/stereo.h"

#include <GraphMol/MolOps.h>
#include <GraphMol/RWMol.h>

#include <cmath>
#include <list>
#include <optional>

#include "files/records.h"
#include "perception/drawing.h"
#include "topology/mol_impl.h"

namespace QZChem {
namespace {

using RDGeom::Point3D;

unsigned int HandednessTag() {
  static const unsigned int tag = QZSystem::QZGetTag("QZChem handedness");
  return tag;
}
unsigned int SidesTag() {
  static const unsigned int tag = QZSystem::QZGetTag("QZChem sides");
  return tag;
}

// As SMILES said, by the order of the atom's bonds; void when bonds have come or gone since.
struct Handedness {
  int sign;
  unsigned int degree;
};

// Of the first other neighbours at both ends, in the order of their bonds.
enum class Sides { Cis, Trans, Open };

std::vector<unsigned int> NeighboursOf(const RDKit::Atom& atom) {
  std::vector<unsigned int> neighbours;
  for (const RDKit::Bond* bond : atom.getOwningMol().atomBonds(&atom)) {
    neighbours.push_back(bond->getOtherAtomIdx(atom.getIdx()));
  }
  return neighbours;
}

// Neighbours of one end of a double bond, heavy ones first: drawn hydrogens stand where there was
// room.
std::optional<unsigned int> Reference(const RDKit::Atom& end, unsigned int partner, bool any) {
  std::optional<unsigned int> hydrogen;
  for (const unsigned int neighbour : NeighboursOf(end)) {
    if (neighbour == partner) continue;
    if (any || end.getOwningMol().getAtomWithIdx(neighbour)->getAtomicNum() != 1) return neighbour;
    if (!hydrogen) hydrogen = neighbour;
  }
  return hydrogen;
}

double Volume(const Stereo::Centre& centre, const RDKit::Conformer& places) {
  const Point3D& origin = places.getAtomPos(centre.atom);
  const auto step = [&](std::size_t k) {
    Point3D direction = places.getAtomPos(centre.neighbours[k]) - origin;
    if (direction.length() > 1e-6) direction.normalize();
    return direction;
  };
  return step(0).dotProduct(step(1).crossProduct(step(2)));
}

// Whether a and d stand on one side of b=c; none where either is nearly in line with it.
std::optional<bool> IsCis(const unsigned int (&atoms)[4], const RDKit::Conformer& places) {
  constexpr double kInLine = 0.1;  // sine; a drawn triple bond or allene has no sides
  const Point3D axis = places.getAtomPos(atoms[2]) - places.getAtomPos(atoms[1]);
  const Point3D first =
      axis.crossProduct(places.getAtomPos(atoms[0]) - places.getAtomPos(atoms[1]));
  const Point3D second =
      axis.crossProduct(places.getAtomPos(atoms[3]) - places.getAtomPos(atoms[2]));
  const double length = axis.length();
  const auto sine = [&](const Point3D& normal, unsigned int end, unsigned int from) {
    const double r = (places.getAtomPos(end) - places.getAtomPos(from)).length();
    return length > 1e-6 && r > 1e-6 ? normal.length() / (length * r) : 0.0;
  };
  if (sine(first, atoms[0], atoms[1]) < kInLine || sine(second, atoms[3], atoms[2]) < kInLine) {
    return std::nullopt;
  }
  return first.dotProduct(second) > 0.0;
}

bool MayHaveSides(const RDKit::Bond& bond) {
  constexpr unsigned int kSmallestRing = 8;  // in smaller rings double bonds are cis
  if (bond.getBondType() != RDKit::Bond::DOUBLE || bond.getIsAromatic()) return false;
  const RDKit::RingInfo& rings = *bond.getOwningMol().getRingInfo();
  return rings.numBondRings(bond.getIdx()) == 0 ||
         rings.minBondRingSize(bond.getIdx()) >= kSmallestRing;
}

void AssignSides(const QZBondBase& bond, RDKit::Bond& converted, bool byPlaces, Stereo& stereo) {
  if (!MayHaveSides(converted)) return;
  converted.setStereo(RDKit::Bond::STEREONONE);
  const auto* said = bond.GetData<Sides>(SidesTag());
  if ((said != nullptr && *said == Sides::Open) || (said == nullptr && !byPlaces)) return;
  const unsigned int b = converted.getBeginAtomIdx();
  const unsigned int c = converted.getEndAtomIdx();
  const auto a = Reference(*converted.getBeginAtom(), c, /*any=*/!byPlaces);
  const auto d = Reference(*converted.getEndAtom(), b, /*any=*/!byPlaces);
  if (!a || !d) return;
  Stereo::DoubleBond sides{{*a, b, c, *d}, false};
  if (byPlaces) {
    const auto isCis = IsCis(sides.atoms, converted.getOwningMol().getConformer());
    if (!isCis) return;
    sides.isCis = *isCis;
  } else {
    sides.isCis = *said == Sides::Cis;
  }
  converted.setStereoAtoms(*a, *d);
  converted.setStereo(sides.isCis ? RDKit::Bond::STEREOCIS : RDKit::Bond::STEREOTRANS);
  stereo.doubleBonds.push_back(sides);
}

void AssignSaidHandedness(const QZMolBase& mol, RDKit::RWMol& converted) {
  unsigned int next = 0;
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    RDKit::Atom* centre = converted.getAtomWithIdx(next++);
    const auto* said = atom.GetData<Handedness>(HandednessTag());
    if (said == nullptr || said->degree != atom.GetDegree()) continue;
    centre->setChiralTag(said->sign > 0 ? RDKit::Atom::CHI_TETRAHEDRAL_CCW
                                        : RDKit::Atom::CHI_TETRAHEDRAL_CW);
  }
  RDKit::MolOps::assignStereochemistry(converted, /*cleanIt=*/true, /*force=*/true);
}

// What the coordinates can tell: nothing when all are the same, as from SMILES; with different
// heights they are those of a structure whatever the record calls them.
Dimension DimensionOf(const QZMolBase& mol) {
  const std::vector<double>& coords = QZMolAccess::Impl(mol).coords;
  bool isPoint = true;
  bool isFlat = true;
  const double* first = nullptr;
  for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
    const double* xyz = &coords[std::size_t{3} * atom.GetIndex()];
    if (first == nullptr) first = xyz;
    isPoint = isPoint && xyz[0] == first[0] && xyz[1] == first[1] && xyz[2] == first[2];
    isFlat = isFlat && xyz[2] == first[2];
  }
  if (isPoint) return Dimension::Unknown;
  return isFlat ? Dimension::Two : Dimension::Three;
}

std::string NameOf(const RDKit::RWMol& mol, unsigned int atom) {
  return mol.getAtomWithIdx(atom)->getSymbol() + " " + std::to_string(atom + 1);
}

}  // namespace

Stereo AssignStereo(const QZMolBase& mol, RDKit::RWMol& converted) {
  const Dimension dimension = DimensionOf(mol);
  switch (dimension) {
    case Dimension::Two:
      AssignDrawnStereo(mol, converted);
      break;
    case Dimension::Three:
      RDKit::MolOps::assignStereochemistryFrom3D(converted);
      break;
    case Dimension::Unknown:
      AssignSaidHandedness(mol, converted);
      break;
  }
  Stereo stereo;
  for (const RDKit::Atom* atom : converted.atoms()) {
    const auto tag = atom->getChiralTag();
    const bool isLeft = tag == RDKit::Atom::CHI_TETRAHEDRAL_CCW;
    if (!isLeft && tag != RDKit::Atom::CHI_TETRAHEDRAL_CW) continue;
    Stereo::Centre centre{atom->getIdx(), NeighboursOf(*atom), isLeft ? 1 : -1};
    if (centre.neighbours.size() == 3 || centre.neighbours.size() == 4) {
      stereo.centres.push_back(std::move(centre));
    }
  }
  const std::unique_ptr<QZSystem::QZIterBase<QZBondBase>> bond(mol.GetBonds());
  for (RDKit::Bond* perceived : converted.bonds()) {
    AssignSides(**bond, *perceived, dimension != Dimension::Unknown, stereo);
    ++*bond;
  }
  return stereo;
}

std::string FindChange(const Stereo& expected,
                       const RDKit::RWMol& mol,
                       const RDKit::Conformer& conformer) {
  for (const Stereo::Centre& centre : expected.centres) {
    if (Volume(centre, conformer) * centre.sign <= 0.0) {
      return "the handedness of atom " + NameOf(mol, centre.atom) + " is not kept";
    }
  }
  for (const Stereo::DoubleBond& bond : expected.doubleBonds) {
    if (IsCis(bond.atoms, conformer).value_or(!bond.isCis) != bond.isCis) {
      return std::string("the double bond between atoms ") + NameOf(mol, bond.atoms[1]) + " and " +
             NameOf(mol, bond.atoms[2]) + " does not stay " + (bond.isCis ? "cis" : "trans");
    }
  }
  return "";
}

void KeepStereo(const RDKit::Atom& source, QZAtomBase& atom) {
  const auto tag = source.getChiralTag();
  if (tag != RDKit::Atom::CHI_TETRAHEDRAL_CCW && tag != RDKit::Atom::CHI_TETRAHEDRAL_CW) return;
  // Ours are in the order of their numbers.
  std::list<int> ours;
  for (const RDKit::Bond* bond : source.getOwningMol().atomBonds(&source)) {
    ours.push_back(static_cast<int>(bond->getIdx()));
  }
  ours.sort();
  const bool isOdd = source.getPerturbationOrder(ours) % 2 != 0;
  const int sign = (tag == RDKit::Atom::CHI_TETRAHEDRAL_CCW) != isOdd ? 1 : -1;
  atom.SetData(HandednessTag(), Handedness{sign, source.getDegree()});
}

void KeepStereo(const RDKit::Bond& source, QZBondBase& bond) {
  if (source.getBondType() != RDKit::Bond::DOUBLE) return;
  const auto stereo = source.getStereo();
  if (stereo == RDKit::Bond::STEREOANY || source.getBondDir() == RDKit::Bond::EITHERDOUBLE) {
    bond.SetData(SidesTag(), Sides::Open);
    return;
  }
  const bool isCis = stereo == RDKit::Bond::STEREOCIS || stereo == RDKit::Bond::STEREOZ;
  const bool isTrans = stereo == RDKit::Bond::STEREOTRANS || stereo == RDKit::Bond::STEREOE;
  const auto& atoms = source.getStereoAtoms();
  if ((!isCis && !isTrans) || atoms.size() != 2) return;
  const auto a = Reference(*source.getBeginAtom(), source.getEndAtomIdx(), /*any=*/true);
  const auto d = Reference(*source.getEndAtom(), source.getBeginAtomIdx(), /*any=*/true);
  if (!a || !d) return;
  const bool isOther = (static_cast<int>(*a) != atoms[0]) != (static_cast<int>(*d) != atoms[1]);
  bond.SetData(SidesTag(), isCis != isOther ? Sides::Cis : Sides::Trans);
}

}  // namespace QZChem
