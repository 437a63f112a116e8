// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <random>

#include "molpotential/geomderiv.h"

namespace {

using namespace QZMolPotential;
using Long = long double;
using Points = Eigen::Matrix<Long, 3, Eigen::Dynamic, Eigen::ColMajor, 3, 4>;  // an atom a column
using Point = Eigen::Matrix<Long, 3, 1>;
using Value = Long (*)(const Points&);
using Eigen::Vector3d;

// The quantities themselves, each from a formula that the kernels do not use.
Long AngleCosine(const Points& p) {  // law of cosines
  const Long u = (p.col(0) - p.col(1)).norm();
  const Long v = (p.col(2) - p.col(1)).norm();
  return (u * u + v * v - (p.col(0) - p.col(2)).squaredNorm()) / (2.0L * u * v);
}
Long DihedralCosineOf(const Points& p) {  // between the parts of the end bonds across the axis
  const Point axis = (p.col(2) - p.col(1)).normalized();
  const Point u = p.col(0) - p.col(1);
  const Point w = p.col(3) - p.col(2);
  return (u - u.dot(axis) * axis).normalized().dot((w - w.dot(axis) * axis).normalized());
}
Long Wilson(const Points& p) {  // height above the plane, from an orthonormal basis of it
  const Point u = (p.col(0) - p.col(1)).normalized();
  const Point v = p.col(2) - p.col(1);
  const Point e = p.col(3) - p.col(1);
  return std::asin(e.dot(u.cross((v - v.dot(u) * u).normalized())) / e.norm());
}

struct Derivatives {
  explicit Derivatives(Eigen::Index n)
      : gradient(Eigen::VectorXd::Constant(n, std::nan(""))),
        hessian(Eigen::VectorXd::Constant(n * (n + 1) / 2, std::nan(""))) {}
  Eigen::VectorXd gradient;
  Eigen::VectorXd hessian;  // rows up to the diagonal
};

// Central differences with one Richardson step: error (step/scale)⁴, and a tenth of the step for
// first derivatives, whose rounding errors are smaller.
Derivatives Differences(Value f, const Points& at, Long step) {
  const auto moved = [&](Eigen::Index i, Long di, Eigen::Index j, Long dj) {
    Points p = at;
    p.data()[i] += di;
    p.data()[j] += dj;
    return f(p);
  };
  Derivatives d(at.size());
  double* next = d.hessian.data();
  for (Eigen::Index i = 0; i < at.size(); ++i) {
    const auto slope = [&](Long h) { return (moved(i, h, i, 0) - moved(i, -h, i, 0)) / (2 * h); };
    d.gradient[i] = static_cast<double>((4 * slope(step / 10) - slope(step / 5)) / 3);
    for (Eigen::Index j = 0; j <= i; ++j) {
      const auto curvature = [&](Long h) {
        return (moved(i, h, j, h) - moved(i, h, j, -h) - moved(i, -h, j, h) + moved(i, -h, j, -h)) /
               (4 * h * h);
      };
      *next++ = static_cast<double>((4 * curvature(step) - curvature(2 * step)) / 3);
    }
  }
  return d;
}

void ExpectClose(const Eigen::VectorXd& got, const Eigen::VectorXd& want, double rounding = 0.0) {
  const double off = (got - want).cwiseAbs().maxCoeff<Eigen::PropagateNaN>();
  EXPECT_TRUE(off <= 1e-7 * want.cwiseAbs().maxCoeff() + rounding) << off;
}
void ExpectClose(const Derivatives& analytic, Value f, const Points& p, double scale) {
  const Derivatives expected = Differences(f, p, 1e-3L * scale);
  // A gradient that vanishes by symmetry is known to the rounding of the bond vectors only.
  ExpectClose(analytic.gradient, expected.gradient, 5e-14 / (scale * std::min(1.0, scale)));
  ExpectClose(analytic.hessian, expected.hessian);
}

struct Geometries {
  double Between(double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(rng);
  }
  double Length() { return Between(0.8, 2.5); }
  // Off 0 or π by 0.1 to that many decades less.
  double NearEnd(double decades) {
    const double off = std::pow(10.0, Between(-decades, -1.0));
    return Between(0.0, 1.0) < 0.5 ? off : M_PI - off;
  }
  double Angle(bool nearLine) { return nearLine ? NearEnd(3.5) : Between(0.6, 2.6); }
  Eigen::Matrix3d Turn() {
    const Eigen::Vector4d q = Eigen::Vector4d::NullaryExpr([&] { return Between(-1.0, 1.0); });
    return Eigen::Quaterniond(q.normalized()).toRotationMatrix();
  }
  std::mt19937 rng;
};

Vector3d AtAngle(double length, double angle, double phi) {
  return length * Vector3d(std::sin(angle) * std::cos(phi),
                           std::sin(angle) * std::sin(phi),
                           std::cos(angle));
}

TEST(AngleCosineHessian, AgreesWithDifferences) {
  Geometries random{std::mt19937(41)};
  for (int trial = 0; trial < 1500; ++trial) {
    SCOPED_TRACE("seed 41, trial " + std::to_string(trial));
    const Eigen::Matrix3d turn = random.Turn();
    const Vector3d u = turn * AtAngle(random.Length(), random.Angle(trial % 3 == 0), 0.3);
    const Vector3d v = turn * AtAngle(random.Length(), 0.0, 0.0);
    Derivatives analytic(9);
    EXPECT_EQ(secondCosDer(u.data(), v.data(), analytic.hessian.data()),
              u[0] * v[0] + u[1] * v[1] + u[2] * v[2]);
    Points p(3, 3);
    p << u.cast<Long>(), Point::Zero(), v.cast<Long>();
    ExpectClose(analytic.hessian, Differences(AngleCosine, p, 1e-3L).hessian);
  }
}

TEST(DihedralCosineDerivatives, AgreeWithDifferences) {
  Geometries random{std::mt19937(42)};
  for (int trial = 0; trial < 3000; ++trial) {
    SCOPED_TRACE("seed 42, trial " + std::to_string(trial));
    const double angleA = random.Angle(trial % 4 == 1);
    const double angleC = random.Angle(trial % 4 != 0);
    const double phi = trial % 5 > 2 ? random.NearEnd(20.0) : random.Between(-M_PI, M_PI);
    const Eigen::Matrix3d turn = random.Turn();
    const Vector3d a = turn * AtAngle(random.Length(), angleA, 0.0);
    const Vector3d b = turn * AtAngle(random.Length(), 0.0, 0.0);
    const Vector3d c = turn * AtAngle(random.Length(), angleC, phi);
    Derivatives analytic(12);
    const double cosine = secondCosDer(
        a.data(), b.data(), c.data(), analytic.gradient.data(), analytic.hessian.data());
    Points p(3, 4);
    p << a.cast<Long>(), Point::Zero(), b.cast<Long>(), b.cast<Long>() + c.cast<Long>();
    EXPECT_NEAR(cosine, static_cast<double>(DihedralCosineOf(p)), 1e-11);
    EXPECT_LE(std::abs(cosine), 1.0);
    const double scale = std::min(a.norm() * std::sin(angleA), c.norm() * std::sin(angleC));
    ExpectClose(analytic, DihedralCosineOf, p, scale);
  }
}

TEST(WilsonAngle, DerivativesAgreeWithDifferences) {
  Geometries random{std::mt19937(43)};
  for (int trial = 0; trial < 3000; ++trial) {
    SCOPED_TRACE("seed 43, trial " + std::to_string(trial));
    const double spread = random.Angle(trial % 4 == 1);
    // Above and below the plane, in it, close to it, and close to its normal.
    const double tilt = trial % 4 == 2   ? random.NearEnd(20.0)
                        : trial % 4 == 3 ? M_PI / 2 - std::pow(10.0, random.Between(-2.0, -1.0))
                                         : random.Between(-1.4, 1.4);
    const double around = random.Between(-M_PI, M_PI);
    const Eigen::Matrix3d turn = random.Turn();
    const double u = random.Length();
    const double v = random.Length();
    const Vector3d b(random.Between(-3, 3), random.Between(-3, 3), random.Between(-3, 3));
    const Vector3d a = b + turn * AtAngle(u, M_PI / 2, 0.0);
    const Vector3d c = b + turn * AtAngle(v, M_PI / 2, spread);
    const Vector3d d = b + turn * AtAngle(random.Length(), M_PI / 2 - tilt, around);
    Derivatives analytic(12);
    const double angle = QZd2Wilson_dx2(
        analytic.gradient.data(), analytic.hessian.data(), a.data(), b.data(), c.data(), d.data());
    Eigen::VectorXd gradient(12);
    EXPECT_EQ(QZdWilson_dx(gradient.data(), a.data(), b.data(), c.data(), d.data()), angle);
    EXPECT_TRUE(gradient == analytic.gradient);
    EXPECT_EQ(QZWilson(a.data(), b.data(), c.data(), d.data()), angle);
    EXPECT_NEAR(angle, tilt > M_PI / 2 ? M_PI - tilt : tilt, 1e-11);
    Points p(3, 4);
    p << a.cast<Long>(), b.cast<Long>(), c.cast<Long>(), d.cast<Long>();
    const double scale =
        std::min({u, v, 1.0}) * std::sin(spread) * std::max(1e-3, std::abs(std::cos(tilt)));
    ExpectClose(analytic, Wilson, p, scale);
  }
}

// Outside when it is on the other side of the first direction or turned further than the second.
TEST(OutsideVectors, DirectionsAreToldByTheirAngleSeenAlongTheNormal) {
  const double p0[3] = {5.0, 2.0, 3.0};
  const double p1[3] = {4.0, 2.0, 3.0};
  const double p2[3] = {3.0, 3.0, 3.0};
  for (int degrees = -174; degrees < 180; degrees += 10) {
    const Vector3d p3 = Vector3d(4.0, 2.0, 3.5) + AtAngle(1.5, M_PI / 2, degrees * M_PI / 180.0);
    EXPECT_EQ(isOutsideVectors(p0, p1, p2, p3.data()), degrees < 0 || degrees > 135) << degrees;
  }
}

}  // namespace
