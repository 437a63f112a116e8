// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "core.h"
#include "forcefields/forcefields.h"

namespace MolPotentialPython {
namespace {

namespace QZ = QZMolPotential;

/// The energy of a ligand, and of host atoms that move with it, in a host.
class HostFunction final : public Function {
 public:
  explicit HostFunction(const QZ::QZHostField& field) : field_(field) {}
  std::unique_ptr<QZ::QZMolFunc2> Make(const QZChem::QZGraphMol& mol) override {
    auto func = std::make_unique<QZ::QZHostFunc>(field_);
    SetUp<TypingError>(*func, mol, "the molecule in its host");
    return func;
  }
  py::dict Energies(const Array& x) {
    auto& func = dynamic_cast<QZ::QZHostFunc&>(Bound());
    const double* coords = Variables(x, func.NumVar());
    const auto parts = Unlocked([&] { return func.GetEnergies(coords); });
    py::dict result;
    result["ligand"] = parts.ligand;
    result["interaction"] = parts.Interaction();
    result["host"] = parts.host;
    return result;
  }

 private:
  QZ::QZHostField field_;
};

class Host {
 public:
  Host(MoleculePtr mol, const std::string& forceField, double cutoff)
      : field_(Options(forceField, cutoff)) {
    Messages messages;
    const bool good = [&] {
      const py::gil_scoped_release release;
      return field_.Setup(mol->mol);
    }();
    if (!good) throw TypingError(messages.Take());
  }
  /// The ligand, or with `flexible` Å the ligand and the host's residues that near, bound.
  std::shared_ptr<HostFunction> Bind(const MoleculePtr& ligand, double flexible) const {
    auto func = std::make_shared<HostFunction>(field_);
    MoleculePtr mol = ligand;
    if (flexible > 0.0) {
      mol = std::make_shared<Molecule>(
          Molecule{field_.Join(ligand->mol, field_.FindNear(ligand->mol, flexible))});
    }
    func->Bind(std::move(mol));
    return func;
  }
  static MoleculePtr LigandOf(const Molecule& joined) {
    return std::make_shared<Molecule>(Molecule{QZ::QZHostField::LigandOf(joined.mol)});
  }
  MoleculePtr HostOf(const Molecule& joined) const {
    return std::make_shared<Molecule>(Molecule{field_.HostOf(joined.mol)});
  }

 private:
  static QZ::QZHostOptions Options(const std::string& forceField, double cutoff) {
    QZ::QZHostOptions options;
    if (!QZ::QZFindForceField(forceField.c_str(), options.forceField)) {
      throw InputError("there is no force field \"" + forceField + "\"");
    }
    if (!(cutoff >= 0.0)) throw InputError("the cutoff must not be negative");
    options.cutoff = cutoff;
    return options;
  }
  QZ::QZHostField field_;
};

}  // namespace

void DefineHosts(py::module_& m) {
  py::class_<HostFunction, Function, std::shared_ptr<HostFunction>>(m, "HostFunction")
      .def("energies",
           &HostFunction::Energies,
           py::arg("x"),
           R"(kcal/mol: "ligand" alone, "interaction" with the host, flexible "host" atoms.)");
  py::class_<Host>(
      m, "HostField", R"(A molecule that others are relaxed in: a protein, say. It is typed once.

cutoff: Å beyond which atoms of the host are not felt; 0: none.)")
      .def(py::init<MoleculePtr, const std::string&, double>(),
           py::arg("host"),
           py::arg("forcefield") = "mmff94",
           py::arg("cutoff") = 10.0)
      .def("function",
           &Host::Bind,
           py::arg("ligand"),
           py::arg("flexible") = 0.0,
           "The energy of `ligand` in the host, bound; with `flexible` > 0 the host's residues "
           "within that distance (Å) move too: its `molecule` holds both.")
      .def_static("ligand_of", &Host::LigandOf, py::arg("joined"))
      .def("host_of", &Host::HostOf, py::arg("joined"));
}

}  // namespace MolPotentialPython
