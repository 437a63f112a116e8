// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <array>
#include <cmath>
#include <functional>
#include <map>
#include <numbers>

#include "constr/constr.h"
#include "core.h"

namespace MolPotentialPython {
namespace {

namespace QZ = QZMolPotential;
using QZ::QZMolFunc1;
using QZ::QZMolFunc2;
using QZChem::QZGraphMol;

constexpr double kDegree = std::numbers::pi / 180.0;

/// A term that a callable makes for a molecule.
class Term final : public Function {
 public:
  using Maker = std::function<std::unique_ptr<QZMolFunc1>(const QZGraphMol&)>;
  Term(const char* name, Maker maker) : name_(name), maker_(std::move(maker)) {}
  std::unique_ptr<QZMolFunc2> Make(const QZGraphMol& mol) override {
    std::unique_ptr<QZMolFunc2> func = WithHessian(maker_(mol));
    SetUp(*func, mol, name_);
    return func;
  }

 private:
  const char* name_;
  Maker maker_;
};

void RequireNonNegative(const char* what, double value) {
  if (std::isfinite(value) && value >= 0.0) return;
  throw InputError(std::string(what) + " must be a number and not negative");
}

const QZChem::QZAtomBase& AtomOf(const QZGraphMol& mol, unsigned int index) {
  const auto* atom = mol.GetAtom(index);
  if (atom == nullptr) throw InputError("there is no atom " + std::to_string(index));
  return *atom;
}

std::shared_ptr<Function> PositionRestraint(
    const py::object& atoms, double width, double strength, double onset, double exponent) {
  static const char* kName = "PositionRestraint";
  RequireNonNegative("the width", width);
  RequireNonNegative("the strength", strength);
  RequireNonNegative("the onset", onset);
  if (exponent != 2.0 && onset != 0.0) throw InputError("an onset goes with the exponent 2");
  return std::make_shared<Term>(kName, [=, chosen = ToAtoms(atoms)](const QZGraphMol& mol) {
    std::unique_ptr<QZConstr::QZPositionRestraint> restraint;
    if (exponent == 2.0) {
      auto harmonic = std::make_unique<QZConstr::QZHarmonicPotential>(strength, width);
      harmonic->SetOnset(onset);
      restraint = std::move(harmonic);
    } else {
      restraint = std::make_unique<QZConstr::QZPowerPotential>(width, strength, exponent);
    }
    restraint->Set(Members(Resolve(chosen, mol, kName)), QZ::QZCategoryPositional);
    return restraint;
  });
}

std::shared_ptr<Function> Tether(
    const py::object& atoms, const Array& points, double width, double strength, double onset) {
  static const char* kName = "Tether";
  RequireNonNegative("the width", width);
  RequireNonNegative("the strength", strength);
  RequireNonNegative("the onset", onset);
  std::vector<double> places(points.data(), points.data() + points.size());
  return std::make_shared<Term>(kName, [=, chosen = ToAtoms(atoms)](const QZGraphMol& mol) {
    const std::vector<unsigned int> indices = Resolve(chosen, mol, kName);
    if (places.size() != 3 * indices.size()) {
      throw InputError("Tether: there must be a point, (atoms, 3), for each of the " +
                       std::to_string(indices.size()) + " atoms");
    }
    auto tether = std::make_unique<QZConstr::QZTetherRestraint>(strength, width);
    tether->SetOnset(onset);
    for (std::size_t k = 0; k < indices.size(); ++k) {
      tether->AddTarget(indices[k], places[3 * k], places[3 * k + 1], places[3 * k + 2]);
    }
    return tether;
  });
}

std::shared_ptr<Function> TetherTo(const MoleculePtr& reference,
                                   const std::string& smarts,
                                   double width,
                                   double strength,
                                   double onset) {
  RequireNonNegative("the width", width);
  RequireNonNegative("the strength", strength);
  RequireNonNegative("the onset", onset);
  // A copy: the reference may change afterwards.
  const auto kept = std::make_shared<const QZGraphMol>(reference->mol);
  return std::make_shared<Term>("TetherTo", [=](const QZGraphMol& mol) {
    QZConstr::QZPlaces places;
    std::string error;
    if (!QZConstr::QZFindPlaces(*kept, mol, smarts, places, error)) {
      throw InputError("TetherTo: " + error);
    }
    auto tether = std::make_unique<QZConstr::QZTetherRestraint>(strength, width);
    tether->SetOnset(onset);
    for (std::size_t k = 0; k < places.atoms.size(); ++k) {
      const double* p = &places.points[3 * k];
      tether->AddTarget(places.atoms[k], p[0], p[1], p[2]);
    }
    return tether;
  });
}

template <class Wall>
std::shared_ptr<Function> MakeWall(
    const char* name, Wall wall, const py::object& atoms, double k, double onset) {
  RequireNonNegative("k", k);
  RequireNonNegative("the onset", onset);
  wall.SetOnset(onset);
  std::optional<Atoms> chosen;
  if (!atoms.is_none()) chosen = ToAtoms(atoms);
  return std::make_shared<Term>(name, [=](const QZGraphMol& mol) {
    auto made = std::make_unique<Wall>(wall);
    if (chosen.has_value())
      made->Set(Members(Resolve(*chosen, mol, name)), QZ::QZCategoryPositional);
    return made;
  });
}

std::shared_ptr<Function> SphereWall(const std::array<double, 3>& centre,
                                     double radius,
                                     double k,
                                     const py::object& atoms,
                                     double onset) {
  RequireNonNegative("the radius", radius);
  return MakeWall("SphereWall", QZConstr::QZSphereWall(centre, radius, k), atoms, k, onset);
}

std::shared_ptr<Function> BoxWall(const std::array<double, 3>& low,
                                  const std::array<double, 3>& high,
                                  double k,
                                  const py::object& atoms,
                                  double onset) {
  for (std::size_t axis = 0; axis < 3; ++axis) {
    if (!(low[axis] <= high[axis])) throw InputError("a box's low must not be above its high");
  }
  return MakeWall("BoxWall", QZConstr::QZBoxWall(low, high, k), atoms, k, onset);
}

std::shared_ptr<Function> DistancePenalty(unsigned int i,
                                          unsigned int j,
                                          double distance,
                                          double k) {
  return std::make_shared<Term>("the distance penalty", [=](const QZGraphMol& mol) {
    return std::make_unique<QZConstr::QZDistanceQuadPenalty>(
        AtomOf(mol, i), AtomOf(mol, j), distance, k);
  });
}

std::shared_ptr<Function> DistanceBand(
    unsigned int i, unsigned int j, double low, double high, double k, double onset) {
  if (!(low <= high)) throw InputError("the lower limit is above the upper");
  RequireNonNegative("the onset", onset);
  return std::make_shared<Term>("the distance band", [=](const QZGraphMol& mol) {
    auto band = std::make_unique<QZConstr::QZDistLimitPenalty>(
        AtomOf(mol, i), AtomOf(mol, j), low, high, k);
    band->SetOnset(onset);
    return band;
  });
}

std::shared_ptr<Function> TorsionPenalty(unsigned int i,
                                         unsigned int j,
                                         unsigned int k,
                                         unsigned int l,
                                         double degrees,
                                         double force,
                                         double width,
                                         double onset) {
  RequireNonNegative("the width", width);
  RequireNonNegative("the onset", onset);
  return std::make_shared<Term>("the torsion penalty", [=](const QZGraphMol& mol) {
    for (const unsigned int atom : {i, j, k, l}) AtomOf(mol, atom);
    auto restraint = std::make_unique<QZConstr::QZTorsionAngleRestraint>(force, degrees * kDegree);
    restraint->SetTorsion(i, j, k, l);
    restraint->SetWidth(width * kDegree);
    restraint->SetOnset(onset * kDegree);
    return restraint;
  });
}

std::shared_ptr<Function> HoldTorsions(double k) {
  RequireNonNegative("k", k);
  return std::make_shared<Term>("HoldTorsions", [=](const QZGraphMol& mol) {
    auto sum = std::make_unique<QZ::QZGenericFF2>();
    for (const auto& [a, b, c, d] : QZConstr::QZFindRotorTorsions(mol)) {
      const double now =
          QZChem::QZGetTorsion(mol, mol.GetAtom(a), mol.GetAtom(b), mol.GetAtom(c), mol.GetAtom(d));
      auto restraint = std::make_unique<QZConstr::QZTorsionAngleRestraint>(k, now);
      restraint->SetTorsion(a, b, c, d);
      sum->Add(static_cast<QZMolFunc2&>(*restraint.release()), /*own=*/true);
    }
    if (sum->GetComponentPotentials().empty()) {
      throw InputError("HoldTorsions: the molecule has no rotatable bond");
    }
    return sum;
  });
}

std::shared_ptr<Function> Expression(const std::string& text, const py::kwargs& constants) {
  std::map<std::string, double> values;
  for (const auto& [name, value] : constants) {
    values[name.cast<std::string>()] = value.cast<double>();
  }
  const QZ::QZExpressionFunc parsed(text, values, /*atomsFrom=*/0);
  if (!parsed.GetError().empty()) throw InputError(text + ": " + parsed.GetError());
  return std::make_shared<Term>("the expression", [parsed](const QZGraphMol&) {
    return std::make_unique<QZ::QZExpressionFunc>(parsed);
  });
}

}  // namespace

void DefineTerms(py::module_& m) {
  m.def("PositionRestraint",
        &PositionRestraint,
        py::arg("atoms"),
        py::arg("width") = 0.0,
        py::arg("strength") = 50.0,
        py::arg("onset") = 0.0,
        py::arg("exponent") = 2.0,
        R"(Holds atoms (indices or a selection) near where they are when it is bound, or where a
minimisation starts: free within `width` Å, then strength (kcal/mol/Å²) times the squared excess.

onset: Å over which the curvature rises beyond the width, in place of a step. exponent: of the excess,
in place of 2; strength is in kcal/mol/Å to that power then.)");
  m.def(
      "Tether",
      &Tether,
      py::arg("atoms"),
      py::arg("points"),
      py::arg("width") = 0.0,
      py::arg("strength") = 50.0,
      py::arg("onset") = 0.0,
      R"(Holds atoms (indices or a selection) near given points, (atoms, 3) in Å: free within `width` Å,
then strength (kcal/mol/Å²) times the squared excess; onset as for PositionRestraint.)");
  m.def(
      "TetherTo",
      &TetherTo,
      py::arg("reference").none(false),
      py::arg("smarts") = "",
      py::arg("width") = 0.0,
      py::arg("strength") = 50.0,
      py::arg("onset") = 0.0,
      R"(Holds atoms near where a reference molecule has theirs: those that a SMARTS matches in both, or
without one the largest common substructure. Of symmetric ways the nearest counts. width and onset in
Å, strength in kcal/mol/Å², as for Tether.)");
  m.def(
      "SphereWall",
      &SphereWall,
      py::arg("centre"),
      py::arg("radius"),
      py::arg("k"),
      py::arg("atoms") = py::none(),
      py::arg("onset") = 0.0,
      "Keeps atoms (indices or a selection; None: all) inside a sphere: k (kcal/mol/Å²) times the "
      "squared excess of the distance from `centre`, (3,) in Å; onset: Å, as for "
      "PositionRestraint.");
  m.def("BoxWall",
        &BoxWall,
        py::arg("low"),
        py::arg("high"),
        py::arg("k"),
        py::arg("atoms") = py::none(),
        py::arg("onset") = 0.0,
        "Keeps atoms (indices or a selection; None: all) inside a box along the axes: k "
        "(kcal/mol/Å²) "
        "times the squared excess of x, y and z beyond `low` and `high`, (3,) in Å, which may be "
        "infinite; onset: Å, as for PositionRestraint.");
  m.def("DistancePenalty",
        &DistancePenalty,
        py::arg("i"),
        py::arg("j"),
        py::arg("distance"),
        py::arg("k"),
        "k (r - distance)² for two atoms; Å, kcal/mol/Å².");
  m.def("DistanceBand",
        &DistanceBand,
        py::arg("i"),
        py::arg("j"),
        py::arg("low"),
        py::arg("high"),
        py::arg("k"),
        py::arg("onset") = 0.0,
        "k times the squared excess of the distance of two atoms outside low to high; Å, "
        "kcal/mol/Å². onset: Å over which the curvature rises beyond the limits.");
  m.def("TorsionPenalty",
        &TorsionPenalty,
        py::arg("i"),
        py::arg("j"),
        py::arg("k"),
        py::arg("l"),
        py::arg("degrees"),
        py::arg("k_"),
        py::arg("width") = 0.0,
        py::arg("onset") = 0.0,
        "k_ (φ - degrees)², the difference taken the short way round; k_ in kcal/mol/rad². width: "
        "degrees either way that cost nothing; onset: degrees over which the curvature rises "
        "beyond.");
  m.def(
      "HoldTorsions",
      &HoldTorsions,
      py::arg("k"),
      "Holds the torsion of every rotatable bond as it is when bound: k (φ - φ0)², kcal/mol/rad².");
  m.def("Expression",
        &Expression,
        py::arg("text"),
        R"(An energy term written as an expression, in kcal/mol, with exact derivatives:

    mp.Expression("0.5*k*(distance(1,2) - distance(3,4))**2", k=10.0)

+ - * / ** ^, sqrt exp log sin cos tan abs min max, distance(i,j) in Å, angle(i,j,k) and
dihedral(i,j,k,l) in radians, x(i) y(i) z(i) in Å; atoms count from 0; names are the constants given.)");
}

}  // namespace MolPotentialPython
