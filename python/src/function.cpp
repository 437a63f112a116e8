// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <functional>
#include <map>
#include <numbers>
#include <set>
#include <variant>

#include "constr/constr.h"
#include "core.h"
#include "forcefields/forcefields.h"

namespace MolPotentialPython {
namespace {

namespace QZ = QZMolPotential;
using QZ::QZMolFunc1;
using QZ::QZMolFunc2;
using QZChem::QZGraphMol;

constexpr double kDegree = std::numbers::pi / 180.0;

/// Atoms as indices or as a SMARTS.
using Atoms = std::variant<std::string, std::vector<unsigned int>>;

std::vector<unsigned int> Resolve(const Atoms& atoms, const QZGraphMol& mol, const char* what) {
  std::set<unsigned int> found;
  if (const auto* smarts = std::get_if<std::string>(&atoms)) {
    QZChem::QZSubSearch search;
    if (!search.Init(smarts->c_str(), false)) {
      throw InputError("SMARTS \"" + *smarts + "\": " + search.GetError());
    }
    for (const auto& match : QZSystem::QZRange(search.Match(mol, true))) {
      for (const auto& pair : QZSystem::QZRange(match.GetPairs())) {
        found.insert(pair.target->GetIndex());
      }
    }
    if (found.empty())
      throw InputError(std::string(what) + ": \"" + *smarts + "\" matches nothing");
    return {found.begin(), found.end()};
  }
  return std::get<std::vector<unsigned int>>(atoms);
}

const QZChem::QZAtomBase& AtomOf(const QZGraphMol& mol, unsigned int index) {
  const auto* atom = mol.GetAtom(index);
  if (atom == nullptr) throw InputError("there is no atom " + std::to_string(index));
  return *atom;
}

/// A term that a callable makes for a molecule; a function without a Hessian gets one by
/// differences.
class Term final : public Function {
 public:
  using Maker = std::function<std::unique_ptr<QZMolFunc1>(const QZGraphMol&)>;
  Term(const char* name, Maker maker) : name_(name), maker_(std::move(maker)) {}
  std::unique_ptr<QZMolFunc2> Make(const QZGraphMol& mol) override {
    std::unique_ptr<QZMolFunc1> made = maker_(mol);
    std::unique_ptr<QZMolFunc2> func(dynamic_cast<QZMolFunc2*>(made.get()));
    if (func != nullptr) {
      static_cast<void>(made.release());
    } else {
      func = std::make_unique<QZ::QZNumericMolFunc2>(*made.release(), /*own=*/true);
    }
    SetUp(*func, mol, name_);
    return func;
  }

 private:
  const char* name_;
  Maker maker_;
};

std::shared_ptr<Function> PositionRestraint(const Atoms& atoms, double width, double strength) {
  return std::make_shared<Term>("the position restraint", [=](const QZGraphMol& mol) {
    std::set<const QZChem::QZAtomBase*> members;
    for (const unsigned int i : Resolve(atoms, mol, "PositionRestraint")) {
      members.insert(&AtomOf(mol, i));
    }
    auto restraint = std::make_unique<QZConstr::QZHarmonicPotential>(strength, width);
    restraint->Set(QZChem::IsMemberPtr<QZChem::QZAtomBase>(std::move(members)),
                   QZ::QZCategoryPositional);
    return restraint;
  });
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
    unsigned int i, unsigned int j, double low, double high, double k) {
  return std::make_shared<Term>("the distance band", [=](const QZGraphMol& mol) {
    return std::make_unique<QZConstr::QZDistLimitPenalty>(
        AtomOf(mol, i), AtomOf(mol, j), low, high, k);
  });
}

std::shared_ptr<Function> TorsionPenalty(
    unsigned int i, unsigned int j, unsigned int k, unsigned int l, double degrees, double force) {
  return std::make_shared<Term>("the torsion penalty", [=](const QZGraphMol& mol) {
    for (const unsigned int atom : {i, j, k, l}) AtomOf(mol, atom);
    auto restraint = std::make_unique<QZConstr::QZTorsionAngleRestraint>(force, degrees * kDegree);
    restraint->SetTorsion(i, j, k, l);
    return restraint;
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

/// MMFF94, MMFF94s or UFF of one molecule, and what is added to it.
class ForceField final : public Function {
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
    if (!QZ::QZFindForceField(name.c_str(), kind_)) {
      throw InputError("there is no force field \"" + name + "\"");
    }
    Bind(std::move(mol));
  }
  const std::string& Name() const { return name_; }

  std::unique_ptr<QZMolFunc2> Make(const QZGraphMol& mol) override {
    auto field = std::make_unique<QZ::QZStandardFF>(kind_);
    if (cutoff_.has_value()) {
      if (!(*cutoff_ > 0.0)) throw InputError("the cutoff must be positive");
      field->SetCutoff(*cutoff_);
    }
    field->SetDielectric(dielectric_, distanceDependent_);
    SetUp<TypingError>(*field, mol, name_.c_str());
    return field;
  }
  void Bind(MoleculePtr mol) override {
    auto field = Make(mol->mol);
    std::vector<std::unique_ptr<QZMolFunc2>> added;
    for (const auto& term : terms_) added.push_back(term->Make(mol->mol));
    for (const auto& func : added) Sum(*field).Add(*func, /*own=*/false);
    func_ = std::move(field);
    added_ = std::move(added);
    mol_ = std::move(mol);
  }
  Array PartialCharges() const {
    const auto charges = dynamic_cast<const QZ::QZStandardFF&>(*func_).GetPartialCharges();
    return MakeArray({static_cast<py::ssize_t>(charges.size())}, charges.data());
  }
  void Add(const std::shared_ptr<Function>& term) {
    if (term.get() == this) throw InputError("a force field cannot be added to itself");
    added_.push_back(term->Make(mol_->mol));
    Sum(*func_).Add(*added_.back(), /*own=*/false);
    terms_.push_back(term);
  }

 private:
  static QZ::QZGenericFF2& Sum(QZMolFunc2& func) { return dynamic_cast<QZ::QZGenericFF2&>(func); }

  std::string name_;
  QZ::QZForceFieldKind kind_{};
  std::optional<double> cutoff_;
  double dielectric_;
  bool distanceDependent_;
  std::vector<std::shared_ptr<Function>> terms_;
  std::vector<std::unique_ptr<QZMolFunc2>> added_;
};

/// A class that Python code derives from mp.Function.
class UserFunction final : public Function {
 public:
  std::unique_ptr<QZMolFunc2> Make(const QZGraphMol& mol) override;

  double EnergyAndGradient(const double* x, double* grad, std::size_t n) {
    const py::gil_scoped_acquire lock;
    try {
      const py::function method = py::get_override(this, "energy_and_gradient");
      if (!method) throw Error("the function has no energy_and_gradient");
      const py::object answer = method(View(x, n));
      if (!py::isinstance<py::sequence>(answer) || py::len(answer) != 2) {
        throw Error("energy_and_gradient must return (energy, gradient)");
      }
      AddTo(grad, answer[py::int_(1)], n, "gradient");
      return answer[py::int_(0)].cast<double>();
    } catch (py::error_already_set& error) {
      Abandon(error);
    } catch (const py::cast_error&) {
      throw Error("energy_and_gradient must return (energy, gradient)");
    }
  }
  /// False where the class has none. The lower triangle is added to `packed`.
  bool Hessian(const double* x, double* packed, std::size_t n) {
    const py::gil_scoped_acquire lock;
    try {
      const py::function method = py::get_override(this, "hessian");
      if (!method) return false;
      const auto matrix = method(View(x, n)).cast<Array>();
      if (static_cast<std::size_t>(matrix.size()) != n * n) {
        throw Error("hessian must return an array of shape (3N, 3N)");
      }
      for (std::size_t r = 0; r < n; ++r) {
        for (std::size_t c = 0; c <= r; ++c) *packed++ += matrix.data()[r * n + c];
      }
      return true;
    } catch (py::error_already_set& error) {
      Abandon(error);
    }
  }

 private:
  // A read-only array over the library's own coordinates: it lives as long as the call.
  static py::array View(const double* x, std::size_t n) {
    py::array view(py::dtype::of<double>(), {static_cast<py::ssize_t>(n)}, x, py::none());
    view.attr("flags").attr("writeable") = false;
    return view;
  }
  static void AddTo(double* out, const py::handle& values, std::size_t n, const char* what) {
    const auto array = py::reinterpret_borrow<py::object>(values).cast<Array>();
    if (static_cast<std::size_t>(array.size()) != n) {
      throw Error(std::string("the ") + what + " has the wrong size");
    }
    for (std::size_t i = 0; out != nullptr && i < n; ++i) out[i] += array.data()[i];
  }
  [[noreturn]] static void Abandon(py::error_already_set& error) {
    const std::string text = error.what();
    KeepPythonError(error);
    throw Error(text);
  }
};

/// The library's view of it; the Python object outlives it.
class UserMolFunc final : public QZMolFunc2 {
 public:
  explicit UserMolFunc(UserFunction& user) : user_(user) {}
  bool Setup(const QZChem::QZMolBase& mol) override {
    numVar_ = 3 * mol.AtomIndexBound();
    unused_.resize(numVar_);
    return true;
  }
  unsigned int NumVar() const override { return numVar_; }
  using QZMolFunc2::operator();
  double operator()(const double* x) override { return (*this)(x, unused_.data()); }
  double operator()(const double* x, double* grad) override {
    return user_.EnergyAndGradient(x, grad, numVar_);
  }
  bool operator()(const double* x, double* hessian, double* grad) override {
    if (!user_.Hessian(x, hessian, numVar_)) QZOpt::NumericHessian(*this, x, hessian, 1e-4);
    if (grad != nullptr) (*this)(x, grad);
    return true;
  }
  QZSystem::QZIterBase<QZOpt::QZFComponent>* GetFComponents(const double* x) override {
    const double value = x != nullptr ? (*this)(x) : 0.0;
    return new QZSystem::QZVectorIter<QZOpt::QZFComponent>({{"Python function", value}});
  }
  QZMolFunc2* CreateCopy() const override { return new UserMolFunc(*this); }

 private:
  UserFunction& user_;
  unsigned int numVar_ = 0;
  std::vector<double> unused_;
};

std::unique_ptr<QZMolFunc2> UserFunction::Make(const QZGraphMol& mol) {
  auto func = std::make_unique<UserMolFunc>(*this);
  func->Setup(mol);
  return func;
}

double Energy(Function& self, const Array& x) {
  QZMolFunc2& func = self.Bound();
  const double* vars = Variables(x, func.NumVar());
  return Unlocked([&] { return func(vars); });
}

py::tuple EnergyAndGradient(Function& self, const Array& x) {
  QZMolFunc2& func = self.Bound();
  const double* vars = Variables(x, func.NumVar());
  Array grad = Like(x);
  double* out = grad.mutable_data();
  const double energy = Unlocked([&] { return func(vars, out); });
  return py::make_tuple(energy, grad);
}

Array Hessian(Function& self, const Array& x) {
  QZMolFunc2& func = self.Bound();
  const std::size_t n = func.NumVar();
  const double* vars = Variables(x, n);
  std::vector<double> packed(n * (n + 1) / 2);
  if (!Unlocked([&] { return func(vars, packed.data(), nullptr); })) {
    throw Error("the Hessian cannot be computed");
  }
  return Unpack(packed, n);
}

py::dict Components(Function& self, const Array& x) {
  QZMolFunc2& func = self.Bound();
  const double* vars = Variables(x, func.NumVar());
  py::dict result;
  const auto parts = Unlocked([&] {
    return std::unique_ptr<QZSystem::QZIterBase<QZOpt::QZFComponent>>(func.GetFComponents(vars));
  });
  for (; parts->IsValid(); ++*parts) {
    const py::str name((**parts).GetName());
    const double before = result.contains(name) ? result[name].cast<double>() : 0.0;
    result[name] = before + (**parts).GetValue();
  }
  return result;
}

py::dict Check(Function& self, const Array& x, bool hessian) {
  QZMolFunc2& func = self.Bound();
  const double* vars = Variables(x, func.NumVar());
  QZ::QZCheckFunc check;
  check.SetCheckHessian(hessian);
  const auto found = Unlocked([&] { return check.Check(func, vars); });
  py::dict result;
  result["gradient"] = found.gradient.error;
  if (found.hasHessian) result["hessian"] = found.hessian.error;
  return result;
}

}  // namespace

void Function::Bind(MoleculePtr mol) {
  func_ = Make(mol->mol);
  mol_ = std::move(mol);
}

QZMolFunc2& Function::Bound() const {
  if (func_ == nullptr) throw InputError("the function is not bound to a molecule (bind it first)");
  return *func_;
}

void DefineFunctions(py::module_& m) {
  py::class_<Function, UserFunction, std::shared_ptr<Function>>(
      m, "Function", R"(A term of the energy, of Cartesian coordinates in Å, in kcal/mol.

Derive from it for a term of your own: define energy_and_gradient(x), x flat and read-only,
returning (energy, gradient), and hessian(x) of shape (3N, 3N) if you have it.)")
      .def(py::init_alias<>())
      .def(
          "bind",
          [](std::shared_ptr<Function> self, MoleculePtr mol) {
            self->Bind(std::move(mol));
            return self;
          },
          py::arg("mol"),
          "Binds the term to a molecule, so that it can be evaluated alone; returns it.")
      .def_property_readonly("molecule", &Function::GetMolecule, "The bound molecule, or None.")
      .def("energy", &Energy, py::arg("x"), "The energy at `x`, (N, 3) or flat, Å; kcal/mol.")
      .def("energy_and_gradient",
           &EnergyAndGradient,
           py::arg("x"),
           "The energy and its gradient, an array like `x` in kcal/mol/Å.")
      .def("hessian", &Hessian, py::arg("x"), "Second derivatives, (3N, 3N) in kcal/mol/Å².")
      .def("components", &Components, py::arg("x"), "The energy of every named part.");
  py::class_<ForceField, Function, std::shared_ptr<ForceField>>(
      m,
      "ForceField",
      R"(MMFF94, MMFF94s or UFF ("mmff94", "mmff94s", "uff") of a molecule with hydrogens and 3D coordinates.

cutoff: distance in Å beyond which non-bonded pairs are left out, smoothly; None: all pairs.
dielectric: constant of the electrostatics; distance_dependent: charges interact by 1/r².
Raises TypingError for a molecule that the force field cannot describe.)")
      .def(py::init<const std::string&, MoleculePtr, std::optional<double>, double, bool>(),
           py::arg("name"),
           py::arg("mol"),
           py::arg("cutoff") = py::none(),
           py::arg("dielectric") = 1.0,
           py::arg("distance_dependent") = false)
      .def_property_readonly("charges", &ForceField::PartialCharges, "Partial charges, (N,); e.")
      .def_property_readonly("name", &ForceField::Name)
      .def("add",
           &ForceField::Add,
           py::arg("term"),
           py::keep_alive<1, 2>(),
           "Adds a Function: a restraint, a penalty or one of your own.");
  m.def("PositionRestraint",
        &PositionRestraint,
        py::arg("atoms"),
        py::arg("width") = 0.0,
        py::arg("strength") = 50.0,
        "Holds atoms (indices or SMARTS) near where the molecule has them: free within `width` Å, "
        "then strength (kcal/mol/Å²) times the squared excess.");
  m.def("DistancePenalty",
        &DistancePenalty,
        py::arg("i"),
        py::arg("j"),
        py::arg("distance"),
        py::arg("k"),
        "k (r - distance)²; Å, kcal/mol/Å².");
  m.def("DistanceBand",
        &DistanceBand,
        py::arg("i"),
        py::arg("j"),
        py::arg("low"),
        py::arg("high"),
        py::arg("k"),
        "k times the squared excess of r outside low to high; Å, kcal/mol/Å².");
  m.def("TorsionPenalty",
        &TorsionPenalty,
        py::arg("i"),
        py::arg("j"),
        py::arg("k"),
        py::arg("l"),
        py::arg("degrees"),
        py::arg("k_"),
        "k_ (φ - degrees)², the difference taken the short way round; k_ in kcal/mol/rad².");
  m.def("Expression",
        &Expression,
        py::arg("text"),
        R"(An energy term written as an expression, in kcal/mol, with exact derivatives:

    mp.Expression("0.5*k*(distance(1,2) - distance(3,4))**2", k=10.0)

+ - * / ** ^, sqrt exp log sin cos tan abs min max, distance(i,j) in Å, angle(i,j,k) and
dihedral(i,j,k,l) in radians, x(i) y(i) z(i) in Å; atoms count from 0; names are the constants given.)");
  m.def("_check", &Check, py::arg("f"), py::arg("x"), py::arg("hessian") = true);
}

}  // namespace MolPotentialPython
