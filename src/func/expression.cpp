// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpotential/expression.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "func/expression_parser.h"
#include "kernels/angle.h"
#include "kernels/dihedral_hessian.h"
#include "kernels/distance.h"
#include "qzchem/mol.h"
#include "qzsystem/error.h"

namespace QZMolPotential {
namespace {

using Op = ExpressionOp;

// How much is computed beside the value.
enum class Level { Value, Gradient, Hessian };

// A function of one number with its derivatives.
struct Outer1 {
  double value;
  double first;
  double second;
};

Outer1 PowerOf(double a, double n) {
  const double value = std::pow(a, n);
  // 0 · 0⁻¹ would not be 0.
  const double first = n == 0.0 ? 0.0 : n * std::pow(a, n - 1.0);
  const double second = n == 0.0 || n == 1.0 ? 0.0 : n * (n - 1.0) * std::pow(a, n - 2.0);
  return {value, first, second};
}

Outer1 Apply(Op op, double a) {
  switch (op) {
    case Op::Negate:
      return {-a, -1.0, 0.0};
    case Op::Sqrt: {
      const double root = std::sqrt(a);
      return {root, 0.5 / root, -0.25 / (a * root)};
    }
    case Op::Exp: {
      const double e = std::exp(a);
      return {e, e, e};
    }
    case Op::Log:
      return {std::log(a), 1.0 / a, -1.0 / (a * a)};
    case Op::Sin:
      return {std::sin(a), std::cos(a), -std::sin(a)};
    case Op::Cos:
      return {std::cos(a), -std::sin(a), -std::cos(a)};
    case Op::Tan: {
      const double t = std::tan(a);
      return {t, 1.0 + t * t, 2.0 * t * (1.0 + t * t)};
    }
    default:  // Abs
      return {std::abs(a), a > 0.0 ? 1.0 : a < 0.0 ? -1.0 : 0.0, 0.0};
  }
}

}  // namespace

struct QZExpressionFunc::Data {
  std::string text;
  ExpressionProgram program;
  unsigned int numAtoms = 0;
  // The stack: for each place a value, a gradient over the atoms involved, a packed Hessian.
  std::vector<double> store{};

  std::size_t NumLocal() const { return 3 * program.atoms.size(); }
  std::size_t Size() const { return 1 + NumLocal() + PackedSize(NumLocal()); }

  template <Level kLevel>
  const double* Run(const double* x);
  template <Level kLevel>
  void pushGeometry(const ExpressionStep& step, const double* x, double* out) const;
  template <Level kLevel>
  void applyOuter(const Outer1& f, double* a) const;
  template <Level kLevel>
  void applyTwo(Op op, double* a, double* b) const;

  void AddGradient(const double* result, double* grad) const {
    for (std::size_t k = 0; k < program.atoms.size(); ++k) {
      AddToAtom(grad, program.atoms[k], LoadAtom(result + 1, k));
    }
  }
};

namespace {

// A number on the stack with its derivatives.
struct Place {
  double* gradient;
  double* hessian;
  Place(double* at, std::size_t n) : gradient(at + 1), hessian(at + 1 + n) {}
};

}  // namespace

template <Level kLevel>
void QZExpressionFunc::Data::pushGeometry(const ExpressionStep& step,
                                          const double* x,
                                          double* out) const {
  const auto [i, j, k, l] = step.atoms;
  const auto at = [&](unsigned int place) { return LoadAtom(x, program.atoms[place]); };
  const Place to(out, NumLocal());
  PackedSink sink(to.hessian);
  switch (step.op) {
    case Op::Distance: {
      const PointDistance d(at(i), at(j));
      out[0] = d.r;
      if (kLevel == Level::Gradient) AddDistanceGradient(to.gradient, {i, j}, d, 1.0);
      if (kLevel == Level::Hessian) {
        AddDistanceDerivatives(sink, to.gradient, {i, j}, d, 1.0, 0.0);
      }
      break;
    }
    case Op::Angle: {
      const VectorAngle angle(at(i) - at(j), at(k) - at(j));
      out[0] = angle.Angle();
      if (kLevel == Level::Gradient) {
        AddAngleGradient(to.gradient, {i, j, k}, angle.Gradient(angle.Slopes(1.0, 0.0)));
      }
      if (kLevel == Level::Hessian) {
        AddAngleDerivatives(sink, to.gradient, {i, j, k}, angle, 1.0, 0.0);
      }
      break;
    }
    case Op::Dihedral: {
      const DihedralCosine dihedral(at(i), at(j), at(k), at(l));
      out[0] = dihedral.SignedAngle();
      if (kLevel == Level::Gradient && !dihedral.IsDegenerate()) {
        const auto g = dihedral.AngleGradient();
        for (std::size_t m = 0; m < 4; ++m) AddToAtom(to.gradient, step.atoms[m], g[m]);
      }
      if (kLevel == Level::Hessian) {
        AddDihedralDerivatives(sink, to.gradient, {i, j, k, l}, dihedral, 1.0, 0.0);
      }
      break;
    }
    case Op::Coordinate:  // the axis stands second
      out[0] = x[3 * std::size_t{program.atoms[i]} + j];
      if (kLevel != Level::Value) to.gradient[3 * std::size_t{i} + j] = 1.0;
      break;
    default:
      out[0] = step.number;
  }
}

// f(a):  f' ∇a,  f' ∇²a + f'' ∇a⊗∇a.
template <Level kLevel>
void QZExpressionFunc::Data::applyOuter(const Outer1& f, double* a) const {
  const std::size_t n = NumLocal();
  const Place of(a, n);
  a[0] = f.value;
  if (kLevel == Level::Hessian) {
    double* h = of.hessian;
    for (std::size_t r = 0; r < n; ++r) {
      for (std::size_t c = 0; c <= r; ++c, ++h) {
        *h = f.first * *h + f.second * of.gradient[r] * of.gradient[c];
      }
    }
  }
  if (kLevel == Level::Value) return;
  for (std::size_t r = 0; r < n; ++r) of.gradient[r] *= f.first;
}

// The result takes the place of a. A bilinear operation on a and b:
//   s ∇a + t ∇b,  s ∇²a + t ∇²b + m (∇a⊗∇b + ∇b⊗∇a).
template <Level kLevel>
void QZExpressionFunc::Data::applyTwo(Op op, double* a, double* b) const {
  const std::size_t n = NumLocal();
  double s = 1.0;
  double t = 1.0;
  double mixed = 0.0;
  switch (op) {
    case Op::FixedPower:
      return applyOuter<kLevel>(PowerOf(a[0], b[0]), a);
    case Op::Power:
      if (kLevel == Level::Value) return applyOuter<kLevel>(PowerOf(a[0], b[0]), a);
      applyOuter<kLevel>(Apply(Op::Log, a[0]), a);
      applyTwo<kLevel>(Op::Multiply, a, b);
      return applyOuter<kLevel>(Apply(Op::Exp, a[0]), a);
    case Op::Divide:
      applyOuter<kLevel>(PowerOf(b[0], -1.0), b);
      [[fallthrough]];
    case Op::Multiply:
      s = b[0];
      t = a[0];
      mixed = 1.0;
      a[0] *= b[0];
      break;
    case Op::Add:
      a[0] += b[0];
      break;
    case Op::Subtract:
      t = -1.0;
      a[0] -= b[0];
      break;
    default: {  // Min, Max: the first of equal ones
      const bool second = op == Op::Min ? b[0] < a[0] : b[0] > a[0];
      s = second ? 0.0 : 1.0;
      t = 1.0 - s;
      // NaN on either side stays NaN.
      a[0] = std::isnan(a[0]) || !(second || std::isnan(b[0])) ? a[0] : b[0];
    }
  }
  const Place to(a, n);
  const Place with(b, n);
  if (kLevel == Level::Hessian) {
    for (std::size_t r = 0, e = 0; r < n; ++r) {
      for (std::size_t c = 0; c <= r; ++c, ++e) {
        to.hessian[e] =
            s * to.hessian[e] + t * with.hessian[e] +
            mixed * (to.gradient[r] * with.gradient[c] + with.gradient[r] * to.gradient[c]);
      }
    }
  }
  if (kLevel == Level::Value) return;
  for (std::size_t r = 0; r < n; ++r) to.gradient[r] = s * to.gradient[r] + t * with.gradient[r];
}

template <Level kLevel>
const double* QZExpressionFunc::Data::Run(const double* x) {
  const std::size_t size = Size();
  const std::size_t used = kLevel == Level::Value      ? 1
                           : kLevel == Level::Gradient ? 1 + NumLocal()
                                                       : size;
  double* top = store.data();  // beyond the last one
  for (const ExpressionStep& step : program.steps) {
    if (step.op <= Op::Coordinate) {
      std::fill_n(top, used, 0.0);
      pushGeometry<kLevel>(step, x, top);
      top += size;
    } else if (step.op < Op::Add) {
      applyOuter<kLevel>(Apply(step.op, top[-static_cast<std::ptrdiff_t>(size)]), top - size);
    } else {
      top -= size;
      applyTwo<kLevel>(step.op, top - size, top);
    }
  }
  return store.data();
}

QZExpressionFunc::QZExpressionFunc(const std::string& expression,
                                   const std::map<std::string, double>& constants,
                                   unsigned int atomsFrom)
    : data_(Data{expression, ParseExpression(expression, constants, atomsFrom)}) {
  data_->store.resize(data_->program.depth * data_->Size());
}
QZExpressionFunc::QZExpressionFunc(const QZExpressionFunc&) = default;
QZExpressionFunc& QZExpressionFunc::operator=(const QZExpressionFunc&) = default;
QZExpressionFunc::~QZExpressionFunc() = default;

const std::string& QZExpressionFunc::GetExpression() const {
  return data_->text;
}
const std::string& QZExpressionFunc::GetError() const {
  return data_->program.error;
}

bool QZExpressionFunc::Setup(const QZChem::QZMolBase& mol) {
  data_->numAtoms = 0;
  if (!data_->program.error.empty()) {
    QZSystem::QZThrow.Warning(
        "Expression '%s': %s", data_->text.c_str(), data_->program.error.c_str());
    return false;
  }
  for (const unsigned int atom : data_->program.atoms) {
    if (mol.GetAtom(atom) != nullptr) continue;
    QZSystem::QZThrow.Warning("Atom of expression '%s' does not occur in molecule %s",
                              data_->text.c_str(),
                              mol.GetTitle());
    return false;
  }
  data_->numAtoms = mol.AtomIndexBound();
  return true;
}

void QZExpressionFunc::Clear() {
  data_->numAtoms = 0;
}
unsigned int QZExpressionFunc::NumVar() const {
  return 3 * data_->numAtoms;
}
bool QZExpressionFunc::IsFrameInvariant() const {
  return !data_->program.usesPlaces;
}

double QZExpressionFunc::operator()(const double* x) {
  if (data_->store.empty()) return 0.0;
  return *data_->Run<Level::Value>(x);
}

double QZExpressionFunc::operator()(const double* x, double* grad) {
  if (data_->store.empty()) return 0.0;
  const double* result = data_->Run<Level::Gradient>(x);
  data_->AddGradient(result, grad);
  return *result;
}

bool QZExpressionFunc::operator()(const double* x, double* hessian, double* grad) {
  if (data_->store.empty()) return false;
  const double* result = data_->Run<Level::Hessian>(x);
  if (grad != nullptr) data_->AddGradient(result, grad);
  const std::vector<unsigned int>& atoms = data_->program.atoms;
  const std::size_t n = data_->NumLocal();
  const double* h = result + 1 + n;
  for (std::size_t r = 0; r < n; ++r) {
    for (std::size_t c = 0; c <= r; ++c) {
      const std::size_t row = 3 * std::size_t{atoms[r / 3]} + r % 3;
      const std::size_t column = 3 * std::size_t{atoms[c / 3]} + c % 3;
      hessian[PackedIndex(std::max(row, column), std::min(row, column))] += *h++;
    }
  }
  return true;
}

QZSystem::QZIterBase<QZOpt::QZFComponent>* QZExpressionFunc::GetFComponents(const double* x) {
  const double energy = x != nullptr ? (*this)(x) : 0.0;
  return new QZSystem::QZVectorIter<QZOpt::QZFComponent>({{"Expression", energy}});
}

}  // namespace QZMolPotential
