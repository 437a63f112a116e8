// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "core.h"
#include "forcefields/forcefields.h"

namespace MolPotentialPython {
namespace {

namespace QZ = QZMolPotential;

/// MMFF94, MMFF94s or UFF of one molecule, and what is added to it.
class ForceField final : public Summed {
 public:
  ForceField(const std::string& name,
             MoleculePtr mol,
             std::optional<double> cutoff,
             double dielectric,
             bool distanceDependent)
      : name_(name),
        cutoff_(cutoff),
        dielectric_(dielectric),
        distanceDependent_(distanceDependent) {
    if (!(dielectric > 0.0)) throw InputError("the dielectric constant must be positive");
    if (cutoff.has_value() && !(*cutoff > 0.0)) throw InputError("the cutoff must be positive");
    if (!QZ::QZFindForceField(name.c_str(), kind_)) {
      throw InputError("there is no force field \"" + name + "\" (mmff94, mmff94s, uff)");
    }
    Bind(std::move(mol));
  }
  const std::string& Name() const { return name_; }
  Array PartialCharges() const {
    const auto charges = dynamic_cast<const QZ::QZStandardFF&>(Bound()).GetPartialCharges();
    return MakeArray({static_cast<py::ssize_t>(charges.size())}, charges.data());
  }

 private:
  std::unique_ptr<QZ::QZGenericFF2> MakeBase(const QZChem::QZGraphMol& mol) override {
    if (QZChem::QZLooksTwoDimensional(mol)) {
      throw InputError(
          "the coordinates are two-dimensional (the molecule's make_coordinates() makes others)");
    }
    auto field = std::make_unique<QZ::QZStandardFF>(kind_);
    if (cutoff_.has_value()) field->SetCutoff(*cutoff_);
    field->SetDielectric(dielectric_, distanceDependent_);
    try {
      SetUp<TypingError>(*field, mol, name_.c_str());
    } catch (const TypingError& error) {
      const std::string missing = QZChem::QZFindMissing(mol);
      if (missing.empty()) throw;
      std::string text = error.what();
      if (text.find(missing) == std::string::npos) text += ": " + missing;
      throw TypingError(text + " [atoms from 1; " +
                        (QZChem::QZHasBondOrders(mol) ? "add_hydrogens()" : "apply_templates()") +
                        " of the molecule adds them]");
    }
    return field;
  }

  std::string name_;
  QZ::QZForceFieldKind kind_{};
  std::optional<double> cutoff_;
  double dielectric_;
  bool distanceDependent_;
};

}  // namespace

void DefineForceField(py::module_& m) {
  py::class_<ForceField, Summed, std::shared_ptr<ForceField>>(
      m,
      "ForceField",
      R"(MMFF94, MMFF94s or UFF ("mmff94", "mmff94s", "uff") of a molecule with hydrogens and 3D coordinates.

cutoff: distance in Å beyond which non-bonded pairs are left out, smoothly; None: all pairs.
dielectric: constant of the electrostatics; distance_dependent: charges interact by 1/r².
Raises TypingError for a molecule that the force field cannot describe.)")
      .def(py::init<const std::string&, MoleculePtr, std::optional<double>, double, bool>(),
           py::arg("name"),
           py::arg("mol").none(false),
           py::arg("cutoff") = py::none(),
           py::arg("dielectric") = 1.0,
           py::arg("distance_dependent") = false)
      .def_property_readonly("charges",
                             &ForceField::PartialCharges,
                             "Partial charges, (N,) in e; of UFF, which has none, (0,).")
      .def_property_readonly("name", &ForceField::Name, "The name it was made with.")
      .def("__repr__", [](const ForceField& self) {
        const QZChem::QZGraphMol& mol = self.GetMolecule()->mol;
        return "<ForceField " + self.Name() + " of \"" + mol.GetTitle() + "\", " +
               std::to_string(mol.NumAtoms()) + " atoms>";
      });
}

}  // namespace MolPotentialPython
