// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <array>

#include "core.h"

namespace MolPotentialPython {

MoleculePtr MakeMolecule(QZChem::QZGraphMol mol) {
  mol.Sweep();
  return std::make_shared<Molecule>(Molecule{std::move(mol)});
}

namespace {

using QZChem::QZGraphMol;
using QZSystem::QZRange;

MoleculePtr FromArrays(const std::vector<unsigned int>& numbers,
                       const Array& coords,
                       const std::vector<std::array<unsigned int, 3>>& bonds,
                       const std::vector<int>& charges,
                       const std::string& title) {
  const double* x = Variables(coords, 3 * numbers.size());
  if (!charges.empty() && charges.size() != numbers.size()) {
    throw InputError("there must be one charge for each atom");
  }
  QZGraphMol mol(static_cast<unsigned int>(numbers.size()));
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    auto* atom = mol.AddAtom(numbers[i], x[3 * i], x[3 * i + 1], x[3 * i + 2]);
    if (!charges.empty()) atom->SetFormalCharge(charges[i]);
  }
  for (const auto& [begin, end, order] : bonds) {
    auto* a = mol.GetAtom(begin);
    auto* b = mol.GetAtom(end);
    if (a == nullptr || b == nullptr || mol.AddBond(a, b, order) == nullptr) {
      throw InputError("there can be no bond of order " + std::to_string(order) +
                       " between atoms " + std::to_string(begin) + " and " + std::to_string(end));
    }
  }
  mol.SetTitle(title.c_str());
  return MakeMolecule(std::move(mol));
}

MoleculePtr FromSmiles(const std::string& smiles) {
  Messages messages;
  QZGraphMol mol;
  const bool good = [&] {
    const py::gil_scoped_release release;
    return QZChem::QZSmilesToMol(mol, smiles.c_str()) && QZChem::QZMakeCoordinates(mol);
  }();
  if (!good) {
    const std::string reason = messages.Take();
    throw InputError(reason.empty() ? "SMILES \"" + smiles + "\": no molecule can be made of it"
                                    : reason);
  }
  return MakeMolecule(std::move(mol));
}

Array Coordinates(const Molecule& self) {
  Array result({static_cast<py::ssize_t>(self.mol.NumAtoms()), py::ssize_t{3}});
  self.mol.GetCoords(result.mutable_data());
  return result;
}

template <class T>
py::array_t<int> PerAtom(const Molecule& self, T (QZChem::QZAtomBase::*get)() const) {
  py::array_t<int> result(static_cast<py::ssize_t>(self.mol.NumAtoms()));
  int* out = result.mutable_data();
  for (const auto& atom : QZRange(self.mol.GetAtoms())) *out++ = static_cast<int>((atom.*get)());
  return result;
}

void SetPerAtom(Molecule& self,
                const std::vector<unsigned int>& values,
                void (QZChem::QZAtomBase::*set)(unsigned int)) {
  if (values.size() != self.mol.NumAtoms()) {
    throw InputError("there must be one number for each atom");
  }
  auto value = values.begin();
  for (auto& atom : QZRange(self.mol.GetAtoms())) (atom.*set)(*value++);
}

py::array_t<int> Numbers(const Molecule& self) {
  return PerAtom(self, &QZChem::QZAtomBase::GetAtomicNumber);
}

py::array_t<int> Charges(const Molecule& self) {
  return PerAtom(self, &QZChem::QZAtomBase::GetFormalCharge);
}

py::array_t<int> Bonds(const Molecule& self) {
  py::array_t<int> result({static_cast<py::ssize_t>(self.mol.NumBonds()), py::ssize_t{3}});
  int* out = result.mutable_data();
  for (const auto& bond : QZRange(self.mol.GetBonds())) {
    *out++ = static_cast<int>(bond.GetBegin()->GetIndex());
    *out++ = static_cast<int>(bond.GetEnd()->GetIndex());
    *out++ = static_cast<int>(bond.GetOrder());
  }
  return result;
}

py::dict Data(const Molecule& self) {
  py::dict result;
  for (const std::string& tag : QZChem::QZGetSDTags(self.mol)) {
    result[py::str(tag)] = QZChem::QZGetSDData(self.mol, tag);
  }
  return result;
}

}  // namespace

MoleculeClass DefineMolecules(py::module_& m) {
  MoleculeClass molecule(
      m,
      "Molecule",
      R"(Atoms, bonds and coordinates; see the static methods from_smiles, from_arrays, from_rdkit and
from_ase, and `read`.)");
  molecule.def_static("_from_arrays", &FromArrays)
      .def_static("_from_smiles", &FromSmiles)
      .def(
          "copy",
          [](const Molecule& self) { return std::make_shared<Molecule>(self); },
          "An independent copy; what was perceived of the molecule is shared.")
      .def("__copy__", [](const Molecule& self) { return std::make_shared<Molecule>(self); })
      .def("__len__", [](const Molecule& self) { return self.mol.NumAtoms(); })
      .def_property(
          "title",
          [](const Molecule& self) { return std::string(self.mol.GetTitle()); },
          [](Molecule& self, const std::string& title) { self.mol.SetTitle(title.c_str()); },
          "The record's title.")
      .def_property(
          "coords",
          &Coordinates,
          [](Molecule& self, const Array& x) {
            self.mol.SetCoords(Variables(x, std::size_t{3} * self.mol.NumAtoms()));
          },
          "Cartesian coordinates, (N, 3) in Å; a new array at each access, assign to change them.")
      .def_property_readonly("numbers", &Numbers, "Atomic numbers, (N,).")
      .def_property_readonly("charges", &Charges, "Formal charges, (N,).")
      .def_property(
          "isotopes",
          [](const Molecule& self) { return PerAtom(self, &QZChem::QZAtomBase::GetIsotope); },
          [](Molecule& self, const std::vector<unsigned int>& values) {
            SetPerAtom(self, values, &QZChem::QZAtomBase::SetIsotope);
          },
          "Mass numbers, (N,): 2 for deuterium, 0 for an element as it occurs.")
      .def_property(
          "radicals",
          [](const Molecule& self) {
            return PerAtom(self, &QZChem::QZAtomBase::GetRadicalElectrons);
          },
          [](Molecule& self, const std::vector<unsigned int>& values) {
            SetPerAtom(self, values, &QZChem::QZAtomBase::SetRadicalElectrons);
          },
          "Unpaired electrons of each atom, (N,).")
      .def_property_readonly("bonds", &Bonds, "First atom, second atom, order; (bonds, 3).")
      .def_property_readonly("data", &Data, "The SD data as a dict; `set_data` changes them.")
      .def(
          "set_data",
          [](Molecule& self, const std::string& tag, const std::string& value) {
            if (!QZChem::QZSetSDData(self.mol, tag, value)) {
              throw InputError("\"" + tag + "\" cannot be stored as SD data");
            }
          },
          py::arg("tag"),
          py::arg("value"),
          "Stores a line or more of text as SD data under a tag.");
  return molecule;
}

}  // namespace MolPotentialPython
