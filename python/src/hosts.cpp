// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "core.h"
#include "forcefields/forcefields.h"
#include "qzopt/optimizers.h"

namespace MolPotentialPython {
namespace {

namespace QZ = QZMolPotential;

/// The energy of a ligand, and of host atoms that move with it, in a host.
class HostFunction final : public Summed {
 public:
  explicit HostFunction(const QZ::QZHostField& field) : field_(field) {}

  py::dict Energies(const Array& x) {
    const auto parts = energiesAt(x);
    py::dict result;
    result["ligand"] = parts.ligand;
    result["interaction"] = parts.Interaction();
    result["van_der_waals"] = parts.vanDerWaals;
    result["electrostatics"] = parts.electrostatics;
    result["host"] = parts.host;
    return result;
  }
  /// What the ligand's own energy is above that of its nearest minimum without the host.
  double Strain(const Array& x, double gradientTolerance) {
    const double bound = energiesAt(x).ligand;
    QZChem::QZGraphMol joined = GetMolecule()->mol;
    joined.SetCoords(x.data());
    const QZChem::QZGraphMol ligand = QZ::QZHostField::LigandOf(joined);
    const QZ::QZHostOptions& options = field_.GetOptions();
    QZ::QZStandardFF field(options.forceField);
    field.SetDielectric(options.dielectric, options.distanceDependent);
    SetUp<TypingError>(field, ligand, "the free ligand");
    std::vector<double> coords(std::size_t{3} * ligand.NumAtoms());
    ligand.GetCoords(coords.data());
    QZOpt::QZOptOptions run;
    run.gradientTolerance = gradientTolerance;
    const auto relaxed =
        Unlocked([&] { return QZOpt::QZMinimizer(run).Minimize(field, coords.data()); });
    if (!relaxed.converged) throw Error("the free ligand did not converge: " + relaxed.message);
    return bound - relaxed.energy;
  }
  py::array_t<int> FlexibleAtoms() const {
    const auto& atoms = hostFunc().GetFlexibleAtoms();
    py::array_t<int> result(static_cast<py::ssize_t>(atoms.size()));
    std::copy(atoms.begin(), atoms.end(), result.mutable_data());
    return result;
  }

 private:
  std::unique_ptr<QZ::QZGenericFF2> MakeBase(const QZChem::QZGraphMol& mol) override {
    auto sum = std::make_unique<QZ::QZGenericFF2>();
    sum->Add(static_cast<QZ::QZMolFunc2&>(*new QZ::QZHostFunc(field_)), /*own=*/true);
    SetUp<TypingError>(*sum, mol, "the molecule in its host");
    return sum;
  }
  QZ::QZHostFunc& hostFunc() const {
    const auto& sum = dynamic_cast<const QZ::QZGenericFF2&>(Bound());
    return dynamic_cast<QZ::QZHostFunc&>(*sum.GetComponentPotentials().front());
  }
  QZ::QZHostFunc::Energies energiesAt(const Array& x) {
    const double* coords = Variables(x, Bound().NumVar());
    return Unlocked([&] {
      const std::lock_guard turn(Mutex());
      return hostFunc().GetEnergies(coords);
    });
  }

  QZ::QZHostField field_;
};

class Host {
 public:
  Host(const MoleculePtr& mol,
       const std::string& forceField,
       double cutoff,
       double dielectric,
       bool distanceDependent)
      : field_(Options(forceField, cutoff, dielectric, distanceDependent)) {
    Messages messages;
    const bool good = [&] {
      const py::gil_scoped_release release;
      return field_.Setup(mol->mol);
    }();
    if (!good) throw TypingError(messages.Take());
    messages.Deliver();
  }
  /// The ligand, or the ligand and the host's flexible atoms, bound.
  std::shared_ptr<HostFunction> Bind(const MoleculePtr& ligand, const py::object& flexible) const {
    auto func = std::make_shared<HostFunction>(field_);
    const std::vector<unsigned int> atoms = flexibleAtoms(ligand->mol, flexible);
    MoleculePtr mol = ligand;
    if (!atoms.empty()) {
      mol = std::make_shared<Molecule>(Molecule{field_.Join(ligand->mol, atoms)});
    }
    func->Bind(std::move(mol));
    return func;
  }
  unsigned int NumAtoms() const { return field_.GetHost()->NumAtoms(); }
  static MoleculePtr LigandOf(const Molecule& joined) {
    return std::make_shared<Molecule>(Molecule{QZ::QZHostField::LigandOf(joined.mol)});
  }
  MoleculePtr HostOf(const Molecule& joined) const {
    return std::make_shared<Molecule>(Molecule{field_.HostOf(joined.mol)});
  }

 private:
  static QZ::QZHostOptions Options(const std::string& forceField,
                                   double cutoff,
                                   double dielectric,
                                   bool distanceDependent) {
    QZ::QZHostOptions options;
    if (!QZ::QZFindForceField(forceField.c_str(), options.forceField)) {
      throw InputError("there is no force field \"" + forceField + "\" (mmff94, mmff94s, uff)");
    }
    if (!(cutoff >= 0.0)) throw InputError("the cutoff must not be negative");
    if (!(dielectric > 0.0)) throw InputError("the dielectric constant must be positive");
    options.cutoff = cutoff;
    options.dielectric = dielectric;
    options.distanceDependent = distanceDependent;
    return options;
  }
  // Å about the ligand, or atoms of the host.
  std::vector<unsigned int> flexibleAtoms(const QZChem::QZGraphMol& ligand,
                                          const py::object& flexible) const {
    if (flexible.is_none()) return {};
    if (py::isinstance<py::float_>(flexible) || py::isinstance<py::int_>(flexible)) {
      const auto distance = flexible.cast<double>();
      if (!(distance >= 0.0)) throw InputError("flexible: the distance must not be negative");
      return distance > 0.0 ? field_.FindNear(ligand, distance) : std::vector<unsigned int>();
    }
    return Resolve(ToAtoms(flexible), *field_.GetHost(), "flexible");
  }
  QZ::QZHostField field_;
};

}  // namespace

void DefineHosts(py::module_& m) {
  py::class_<HostFunction, Summed, std::shared_ptr<HostFunction>>(
      m,
      "HostFunction",
      "The energy of a ligand in a host, and of host atoms that move with it: of the coordinates "
      "of "
      "`molecule`, which holds the ligand's atoms first.")
      .def("energies",
           &HostFunction::Energies,
           py::arg("x"),
           "A dict, kcal/mol, at `x`, (N, 3) or flat in Å: \"ligand\" alone, \"interaction\" with "
           "the "
           "host as the sum of \"van_der_waals\" and \"electrostatics\", flexible \"host\" atoms.")
      .def("strain",
           &HostFunction::Strain,
           py::arg("x"),
           py::arg("gradient_tolerance") = 1e-4,
           "The ligand's own energy at `x`, (N, 3) or flat in Å, above that of the minimum it "
           "relaxes "
           "to without the host; kcal/mol.")
      .def("__repr__",
           [](const HostFunction& self) {
             return "<HostFunction of " + std::to_string(self.GetMolecule()->mol.NumAtoms()) +
                    " atoms, " + std::to_string(self.FlexibleAtoms().size()) +
                    " of them the host's>";
           })
      .def_property_readonly("flexible_atoms",
                             &HostFunction::FlexibleAtoms,
                             "The host's indices of the atoms that move too, (atoms,).");
  py::class_<Host>(
      m, "HostField", R"(A molecule that others are relaxed in: a protein, say. It is typed once.

cutoff: Å beyond which atoms of the host are not felt; 0: none. dielectric, distance_dependent: as for
`ForceField`.)")
      .def(py::init<MoleculePtr, const std::string&, double, double, bool>(),
           py::arg("host").none(false),
           py::arg("forcefield") = "mmff94",
           py::arg("cutoff") = 10.0,
           py::arg("dielectric") = 1.0,
           py::arg("distance_dependent") = false)
      .def(
          "function",
          &Host::Bind,
          py::arg("ligand").none(false),
          py::arg("flexible") = 0.0,
          "The energy of `ligand` in the host, bound. flexible: the host's residues within that "
          "distance (Å) move too, or the host's atoms of a selection or of indices: the function's "
          "`molecule` holds ligand and flexible atoms.")
      .def_static("ligand_of",
                  &Host::LigandOf,
                  py::arg("joined"),
                  "The ligand of a function's `molecule`, with its coordinates.")
      .def("host_of",
           &Host::HostOf,
           py::arg("joined"),
           "The whole host, its flexible atoms where a function's `molecule` has them.");
}

}  // namespace MolPotentialPython
