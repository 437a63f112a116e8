// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <cstdio>
#include <cstdlib>
#include <numbers>

#include "constr/constr.h"
#include "core.h"

namespace MolPotentialPython {
namespace {

using QZChem::QZGraphMol;
using QZSystem::QZRange;

constexpr double kToDegrees = 180.0 / std::numbers::pi;

template <class T>
py::array_t<int> Indices(const std::vector<T>& indices) {
  py::array_t<int> result(static_cast<py::ssize_t>(indices.size()));
  std::copy(indices.begin(), indices.end(), result.mutable_data());
  return result;
}

py::array_t<int> Select(const Molecule& self, const std::string& selection) {
  return Indices(Resolve(selection, self.mol, "select"));
}

std::vector<std::vector<unsigned int>> Match(const Molecule& self,
                                             const std::string& smarts,
                                             std::optional<unsigned int> maps) {
  QZChem::QZSubSearch search;
  if (!search.Init(smarts.c_str(), false)) {
    throw InputError("SMARTS \"" + smarts + "\": " + search.GetError());
  }
  std::vector<std::vector<unsigned int>> matches;
  if (maps.has_value()) {
    std::string error;
    if (!search.MatchMapped(self.mol, *maps, matches, error)) {
      throw InputError("SMARTS \"" + smarts + "\": " + error);
    }
    return matches;
  }
  const auto found = Unlocked([&] {
    return std::unique_ptr<QZSystem::QZIterBase<QZChem::QZMatchBase>>(
        search.Match(self.mol, /*unique=*/true));
  });
  for (; found->IsValid(); ++*found) {
    auto& atoms = matches.emplace_back();
    for (const auto& pair : QZRange((**found).GetPairs())) {
      atoms.push_back(pair.target->GetIndex());
    }
  }
  return matches;
}

py::array_t<int> RotatableTorsions(const Molecule& self) {
  const auto torsions = QZConstr::QZFindRotorTorsions(self.mol);
  py::array_t<int> result({static_cast<py::ssize_t>(torsions.size()), py::ssize_t{4}});
  int* out = result.mutable_data();
  for (const auto& torsion : torsions) out = std::copy(torsion.begin(), torsion.end(), out);
  return result;
}

/// Calls `work`, which answers true for success; else throws what the library says.
template <class Work>
void Demand(const char* otherwise, Work work) {
  Messages messages;
  const bool good = [&] {
    const py::gil_scoped_release release;
    return work();
  }();
  if (good) return messages.Deliver();
  const std::string reason = messages.Take();
  throw InputError(reason.empty() ? otherwise : reason);
}

int AddHydrogens(Molecule& self) {
  int added = 0;
  Demand("hydrogens cannot be added", [&] {
    added = QZChem::QZAddHydrogens(self.mol);
    return added >= 0;
  });
  return added;
}

Array Conformers(const Molecule& self, unsigned int count, double rms, unsigned int seed) {
  if (!(rms >= 0.0)) throw InputError("the deviation of conformers must not be negative");
  QZChem::QZConformerOptions options;
  options.count = count;
  options.rmsThreshold = rms;
  options.seed = seed;
  std::vector<std::vector<double>> conformers;
  Demand("no conformer can be made",
         [&] { return QZChem::QZMakeConformers(self.mol, options, conformers); });
  Array result({static_cast<py::ssize_t>(conformers.size()),
                static_cast<py::ssize_t>(self.mol.NumAtoms()),
                py::ssize_t{3}});
  double* out = result.mutable_data();
  for (const auto& coords : conformers) out = std::copy(coords.begin(), coords.end(), out);
  return result;
}

MoleculePtr Subset(const Molecule& self, const py::object& atoms, bool cap) {
  auto part = std::make_shared<Molecule>();
  const auto members = Members(Resolve(ToAtoms(atoms), self.mol, "subset"));
  if (!QZChem::QZSubsetMol(part->mol,
                           self.mol,
                           members,
                           /*adjustHydrogens=*/cap,
                           /*keepMapIndex=*/true,
                           nullptr,
                           nullptr)) {
    throw InputError("subset: there are no atoms in it");
  }
  return part;
}

py::list Residues(const Molecule& self) {
  py::list all;
  for (const auto& atom : QZRange(self.mol.GetAtoms())) {
    const QZChem::QZResidue* residue = QZChem::QZGetResidue(atom);
    if (residue == nullptr) {
      all.append(py::none());
      continue;
    }
    py::dict one;
    one["name"] = residue->name;
    one["number"] = residue->number;
    one["insertion_code"] = std::string(1, residue->insertionCode);
    one["chain"] = residue->chain;
    one["atom_name"] = residue->atomName;
    one["hetero"] = residue->isHetero;
    all.append(one);
  }
  return all;
}

void SetResidue(Molecule& self, unsigned int atom, const py::dict& values) {
  auto* place = self.mol.GetAtom(atom);
  if (place == nullptr) throw InputError("there is no atom " + std::to_string(atom));
  QZChem::QZResidue residue;
  residue.name = values["name"].cast<std::string>();
  residue.number = values["number"].cast<int>();
  residue.insertionCode = (values["insertion_code"].cast<std::string>() + " ").front();
  residue.chain = values["chain"].cast<std::string>();
  residue.atomName = values["atom_name"].cast<std::string>();
  residue.isHetero = values["hetero"].cast<bool>();
  QZChem::QZSetResidue(*place, residue);
}

/// The atoms of a distance, angle or torsion, each there and none twice.
std::vector<QZChem::QZAtomBase*> Distinct(QZGraphMol& mol, const std::vector<unsigned int>& atoms) {
  std::vector<QZChem::QZAtomBase*> found;
  for (const unsigned int index : Resolve(atoms, mol, "atoms")) {
    auto* atom = mol.GetAtom(index);
    if (std::find(found.begin(), found.end(), atom) != found.end()) {
      throw InputError("atom " + std::to_string(index) + " is named twice");
    }
    found.push_back(atom);
  }
  if (found.size() < 2 || found.size() > 4) {
    throw InputError("two atoms are a distance, three an angle, four a torsion");
  }
  return found;
}

double Measure(Molecule& self, const std::vector<unsigned int>& atoms) {
  const auto a = Distinct(self.mol, atoms);
  if (a.size() == 2) return QZChem::QZGetDistance(self.mol, a[0], a[1]);
  if (a.size() == 3) return kToDegrees * QZChem::QZGetAngle(self.mol, a[0], a[1], a[2]);
  return kToDegrees * QZChem::QZGetTorsion(self.mol, a[0], a[1], a[2], a[3]);
}

void SetInternal(Molecule& self, const std::vector<unsigned int>& atoms, double value) {
  const auto a = Distinct(self.mol, atoms);
  Demand("it cannot be set so: a bond of a ring, atoms in line, or a value out of range", [&] {
    if (a.size() == 2) return QZChem::QZSetDistance(self.mol, a[0], a[1], value);
    const double angle = value / kToDegrees;
    if (a.size() == 3) return QZChem::QZSetAngle(self.mol, a[0], a[1], a[2], angle, nullptr);
    return QZChem::QZSetTorsion(self.mol, a[0], a[1], a[2], a[3], angle);
  });
}

template <class Adaptor>
bool Print(const QZGraphMol& mol) {
  Adaptor adaptor;
  if (!adaptor.Setup(mol)) return false;
  std::vector<double> vars(std::max<std::size_t>(7, std::size_t{3} * mol.AtomIndexBound()));
  adaptor.GetAdaptedVariables(mol, vars.data());
  return true;
}

/// What the adaptors print to standard output, which is glibc's to replace; the interpreter's lock
/// is held meanwhile.
std::string Report(const Molecule& self, const std::string& kind) {
  bool (*print)(const QZGraphMol&) = nullptr;
  if (kind == "zmatrix") print = &Print<QZMolPotential::QZZmatAdaptor>;
  if (kind == "torsion") print = &Print<QZMolPotential::QZTorsionAdaptor>;
  if (kind == "rigid") print = &Print<QZMolPotential::QZRigidAdaptor>;
  if (print == nullptr) {
    throw InputError("there is no report of \"" + kind + "\" (zmatrix, torsion, rigid)");
  }
  char* text = nullptr;
  std::size_t size = 0;
  FILE* const output = stdout;
  FILE* const memory = open_memstream(&text, &size);
  if (memory == nullptr) throw Error("out of memory");
  stdout = memory;
  const bool good = print(self.mol);
  stdout = output;
  std::fclose(memory);
  std::string report(text, size);
  std::free(text);
  if (!good) throw InputError("the molecule has no atoms");
  return report;
}

/// Bond orders and charges for what has none.
class Templates {
 public:
  void AddSmiles(const std::string& smiles, const std::string& residue) {
    std::string error;
    if (!templates_.AddSmiles(residue, smiles, error)) throw InputError(smiles + ": " + error);
  }
  void AddFile(const std::string& path) {
    std::string error;
    if (!templates_.AddFile(path, error)) throw InputError(path + ": " + error);
  }
  void Apply(Molecule& mol) const {
    std::string error;
    if (!Unlocked([&] { return templates_.Apply(mol.mol, error); })) throw InputError(error);
  }

 private:
  QZChem::QZTemplates templates_;
};

double Deviation(const Array& a, const Array& b, bool superpose) {
  const double* points = Variables(b, static_cast<std::size_t>(a.size()));
  if (a.size() % 3 != 0 || a.size() == 0) throw InputError("points are arrays of shape (N, 3)");
  const auto count = static_cast<unsigned int>(a.size() / 3);
  return QZChem::QZRMSD(a.data(), points, count, superpose, nullptr, nullptr);
}

}  // namespace

void DefineChemistry(py::module_& m, MoleculeClass& molecule) {
  molecule
      .def(
          "select",
          &Select,
          py::arg("selection"),
          R"(Indices of the atoms that a selection in words names, ascending, at the present coordinates.

"[#6]C(=O)O" (a SMARTS), "atoms 0-5,7" (counting from 0), "residue LIG", "residue 45:A", "chain A",
"component 2", "hydrogens", "all", "within 6 of residue LIG" (Å), joined by and, or, not, parentheses.)")
      .def("subset",
           &Subset,
           py::arg("atoms"),
           py::arg("cap") = false,
           "A new molecule of some atoms (indices or a selection) in their order, with the bonds "
           "between them; bonds that are cut leave open valences, or with `cap` end in hydrogens.")
      .def("match",
           &Match,
           py::arg("smarts"),
           py::arg("maps") = py::none(),
           "Atom indices of every unique match of a SMARTS, in the pattern's order; with `maps` "
           "only "
           "those of the atoms with map numbers 1 to `maps`, in that order.")
      .def_property_readonly("rotatable_torsions",
                             &RotatableTorsions,
                             "A torsion of every rotatable bond, methyls and hydroxyls excepted: "
                             "atom indices, (torsions, 4).")
      .def("add_hydrogens",
           &AddHydrogens,
           "Adds the hydrogens that valence asks for, with positions, behind the other atoms; "
           "returns "
           "their number. A drawing stays flat: see make_coordinates.")
      .def(
          "make_coordinates",
          [](Molecule& self) {
            Demand("no three-dimensional coordinates can be made",
                   [&] { return QZChem::QZMakeCoordinates(self.mol); });
          },
          "Replaces all coordinates by new three-dimensional ones, made from bonds and "
          "stereochemistry; always the same.")
      .def(
          "keep_largest_fragment",
          [](Molecule& self) { return QZChem::QZKeepLargestFragment(self.mol); },
          "Removes all connected parts but the one with most heavy atoms, as of salts; True when "
          "there were others.")
      .def("conformers",
           &Conformers,
           py::arg("count"),
           py::arg("rms") = 0.5,
           py::arg("seed") = QZChem::QZConformerOptions().seed,
           "New conformers, (conformers, N, 3) in Å, in no order of energy: up to `count`, their "
           "heavy atoms at least `rms` Å apart.")
      .def_property_readonly(
          "is_flat",
          [](const Molecule& self) { return QZChem::QZLooksTwoDimensional(self.mol); },
          "True for the coordinates of a drawing.")
      .def_property_readonly(
          "missing",
          [](const Molecule& self) { return QZChem::QZFindMissing(self.mol); },
          "The first hydrogens or bond orders that are missing, in words (atoms counting from 1 "
          "there); \"\" for a molecule that force fields can take.")
      .def_property_readonly("residues",
                             &Residues,
                             "Of each atom a dict of name, number, insertion_code, chain, "
                             "atom_name and hetero, or None "
                             "where the file had no residues; pandas.DataFrame takes it.")
      .def("_set_residue", &SetResidue)
      .def("measure",
           &Measure,
           py::arg("atoms"),
           "The distance (Å) of two atoms, the angle or signed torsion (degrees) of three or four.")
      .def("set_internal",
           &SetInternal,
           py::arg("atoms"),
           py::arg("value"),
           "Moves a whole side of the molecule so that a distance (Å), angle or torsion (degrees) "
           "takes a value.")
      .def("report",
           &Report,
           py::arg("coordinates"),
           "The molecule's \"zmatrix\", \"torsion\" angles or \"rigid\" placement as a table to "
           "print; "
           "Å and degrees.");
  py::class_<Templates>(
      m, "_Templates", "Bond orders and charges for residues of PDB files and for XYZ.")
      .def(py::init<>())
      .def("add_smiles", &Templates::AddSmiles)
      .def("add_file", &Templates::AddFile)
      .def("apply", &Templates::Apply);
  m.def(
      "rmsd",
      &Deviation,
      py::arg("a"),
      py::arg("b"),
      py::arg("superpose") = true,
      "Root mean square deviation in Å of two sets of points, (N, 3), after the best superposition "
      "unless told otherwise.");
}

}  // namespace MolPotentialPython
