// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "molpotential/geomderiv.h"

namespace {

using namespace QZMolPotential;
using Long = long double;
using Point = Eigen::Matrix<Long, 3, 1>;
using Points = std::vector<Point>;
using Value = std::function<Long(const Points&)>;

// The quantities themselves, each from a formula that the kernels do not use.
Long AngleCosine(const Points& p) {  // law of cosines
  const Long u = (p[0] - p[1]).norm();
  const Long v = (p[2] - p[1]).norm();
  return (u * u + v * v - (p[0] - p[2]).squaredNorm()) / (2.0L * u * v);
}
Long DihedralCosineOf(const Points& p) {  // between the parts of the end bonds across the axis
  const Point axis = (p[2] - p[1]).normalized();
  const Point u = p[0] - p[1];
  const Point w = p[3] - p[2];
  return (u - u.dot(axis) * axis).normalized().dot((w - w.dot(axis) * axis).normalized());
}
Long Wilson(const Points& p) {  // height above the plane, from an orthonormal basis of it
  const Point u = (p[0] - p[1]).normalized();
  const Point v = p[2] - p[1];
  const Point e = p[3] - p[1];
  return std::asin(e.dot(u.cross((v - v.dot(u) * u).normalized())) / e.norm());
}

struct Derivatives {
  Eigen::VectorXd gradient;
  Eigen::MatrixXd hessian;
};

// Central differences with one Richardson step: error (step/scale)⁴, and a tenth of the step for
// first derivatives, whose rounding errors are smaller.
Derivatives Differences(const Value& f, const Points& at, Long step) {
  const auto moved = [&](Eigen::Index i, Long di, Eigen::Index j, Long dj) {
    Points p = at;
    p[static_cast<std::size_t>(i / 3)][i % 3] += di;
    p[static_cast<std::size_t>(j / 3)][j % 3] += dj;
    return f(p);
  };
  const auto size = static_cast<Eigen::Index>(3 * at.size());
  Derivatives d{Eigen::VectorXd(size), Eigen::MatrixXd(size, size)};
  for (Eigen::Index i = 0; i < size; ++i) {
    const auto slope = [&](Long h) { return (moved(i, h, i, 0) - moved(i, -h, i, 0)) / (2 * h); };
    d.gradient[i] = static_cast<double>((4 * slope(step / 10) - slope(step / 5)) / 3);
    for (Eigen::Index j = 0; j <= i; ++j) {
      const auto curvature = [&](Long h) {
        return (moved(i, h, j, h) - moved(i, h, j, -h) - moved(i, -h, j, h) + moved(i, -h, j, -h)) /
               (4 * h * h);
      };
      d.hessian(i, j) = d.hessian(j, i) =
          static_cast<double>((4 * curvature(step) - curvature(2 * step)) / 3);
    }
  }
  return d;
}

Eigen::MatrixXd Unpacked(const std::vector<double>& packed, Eigen::Index n) {
  Eigen::MatrixXd h(n, n);
  std::size_t next = 0;
  for (Eigen::Index i = 0; i < n; ++i) {
    for (Eigen::Index j = 0; j <= i; ++j) h(i, j) = h(j, i) = packed[next++];
  }
  return h;
}

double Largest(const Eigen::MatrixXd& m) {
  return m.cwiseAbs().maxCoeff<Eigen::PropagateNaN>();
}

// Moving all atoms changes nothing; turning them turns the gradient: H (ω x r) = ω x g.
void ExpectInvariance(const Derivatives& d, const Points& p, double tolerance) {
  const auto atoms = static_cast<Eigen::Index>(p.size());
  for (int axis = 0; axis < 3; ++axis) {
    const Eigen::Vector3d e = Eigen::Vector3d::Unit(axis);
    Eigen::VectorXd shift(3 * atoms);
    Eigen::VectorXd turn(3 * atoms);
    Eigen::VectorXd turned(3 * atoms);
    for (Eigen::Index k = 0; k < atoms; ++k) {
      shift.segment<3>(3 * k) = e;
      turn.segment<3>(3 * k) = e.cross(p[static_cast<std::size_t>(k)].cast<double>());
      turned.segment<3>(3 * k) = e.cross(d.gradient.segment<3>(3 * k).eval());
    }
    const double size = std::max(Largest(d.hessian), Largest(d.gradient));
    EXPECT_TRUE(std::abs(shift.dot(d.gradient)) <= tolerance * size);
    EXPECT_TRUE(std::abs(turn.dot(d.gradient)) <= tolerance * size);
    EXPECT_TRUE(Largest(d.hessian * shift) <= tolerance * size);
    EXPECT_TRUE(Largest(d.hessian * turn - turned) <= tolerance * size);
  }
}

void ExpectAgreement(const Derivatives& analytic, const Value& f, const Points& p, double scale) {
  const Derivatives expected = Differences(f, p, 1e-3L * scale);
  // A gradient that vanishes by symmetry is known to the rounding of the bond vectors only.
  const double rounding = 5e-14 / (scale * std::min(1.0, scale));
  EXPECT_TRUE(Largest(analytic.gradient - expected.gradient) <=
              1e-7 * Largest(expected.gradient) + rounding)
      << Largest(analytic.gradient - expected.gradient) << " at scale " << scale;
  EXPECT_TRUE(Largest(analytic.hessian - expected.hessian) <= 1e-7 * Largest(expected.hessian));
  ExpectInvariance(analytic, p, 1e-10);
}

// Bond lengths, angles away from or close to 0 and π, dihedrals anywhere, close to planar or
// planar.
class Geometries {
 public:
  explicit Geometries(unsigned int seed) : rng_(seed) {}

  double Between(double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(rng_);
  }
  double Length() { return Between(0.8, 2.5); }
  double Angle(bool nearLine) {
    const double off = std::pow(10.0, Between(-3.5, -1.0));
    return nearLine ? (Between(0.0, 1.0) < 0.5 ? off : M_PI - off) : Between(0.6, 2.6);
  }
  double Dihedral(int kind) {
    const double off = kind == 2 ? 0.0 : std::pow(10.0, Between(-9.0, -1.0));
    return kind == 0 ? Between(-M_PI, M_PI) : (Between(0.0, 1.0) < 0.5 ? off : M_PI - off);
  }
  Eigen::Matrix3d Turn() {
    return Eigen::Quaterniond(
               Eigen::Vector4d(Between(-1, 1), Between(-1, 1), Between(-1, 1), Between(-1, 1)))
        .normalized()
        .toRotationMatrix();
  }

 private:
  std::mt19937 rng_;
};

Eigen::Vector3d AtAngle(double length, double angle, double phi) {
  return length * Eigen::Vector3d(std::sin(angle) * std::cos(phi),
                                  std::sin(angle) * std::sin(phi),
                                  std::cos(angle));
}

TEST(AngleCosineHessian, AgreesWithDifferences) {
  Geometries random(41);
  for (int trial = 0; trial < 1500; ++trial) {
    SCOPED_TRACE("seed 41, trial " + std::to_string(trial));
    const Eigen::Matrix3d turn = random.Turn();
    const Eigen::Vector3d u = turn * AtAngle(random.Length(), random.Angle(trial % 3 == 0), 0.3);
    const Eigen::Vector3d v = turn * AtAngle(random.Length(), 0.0, 0.0);
    std::vector<double> packed(45, std::nan(""));
    EXPECT_EQ(secondCosDer(u.data(), v.data(), packed.data()),
              u[0] * v[0] + u[1] * v[1] + u[2] * v[2]);
    const Points p{u.cast<Long>(), Point::Zero(), v.cast<Long>()};
    const Derivatives expected = Differences(AngleCosine, p, 1e-3L);
    const Eigen::MatrixXd hessian = Unpacked(packed, 9);
    EXPECT_TRUE(Largest(hessian - expected.hessian) <= 1e-7 * Largest(expected.hessian));
  }
}

TEST(DihedralCosineDerivatives, AgreeWithDifferences) {
  Geometries random(42);
  for (int trial = 0; trial < 3000; ++trial) {
    SCOPED_TRACE("seed 42, trial " + std::to_string(trial));
    const double angleA = random.Angle(trial % 4 == 1);
    const double angleC = random.Angle(trial % 4 != 0);
    const double phi = random.Dihedral(trial % 5 > 2 ? trial % 5 - 2 : 0);
    const Eigen::Matrix3d turn = random.Turn();
    const Eigen::Vector3d a = turn * AtAngle(random.Length(), angleA, 0.0);
    const Eigen::Vector3d b = turn * AtAngle(random.Length(), 0.0, 0.0);
    const Eigen::Vector3d c = turn * AtAngle(random.Length(), angleC, phi);
    const double scale = std::min(a.norm() * std::sin(angleA), c.norm() * std::sin(angleC));
    Derivatives analytic{Eigen::VectorXd::Constant(12, std::nan("")), {}};
    std::vector<double> packed(78, std::nan(""));
    const double cosine =
        secondCosDer(a.data(), b.data(), c.data(), analytic.gradient.data(), packed.data());
    analytic.hessian = Unpacked(packed, 12);
    const Points p{a.cast<Long>(), Point::Zero(), b.cast<Long>(), b.cast<Long>() + c.cast<Long>()};
    EXPECT_NEAR(cosine, static_cast<double>(DihedralCosineOf(p)), 1e-11);
    EXPECT_LE(std::abs(cosine), 1.0);
    ExpectAgreement(analytic, DihedralCosineOf, p, scale);
  }
}

TEST(WilsonAngle, DerivativesAgreeWithDifferences) {
  Geometries random(43);
  for (int trial = 0; trial < 3000; ++trial) {
    SCOPED_TRACE("seed 43, trial " + std::to_string(trial));
    const double spread = random.Angle(trial % 4 == 1);
    // Above and below the plane, in it, close to it, and close to its normal.
    const double tilt = trial % 4 == 2   ? random.Dihedral(1 + trial % 8 / 4)
                        : trial % 4 == 3 ? M_PI / 2 - std::pow(10.0, random.Between(-2.0, -1.0))
                                         : random.Between(-1.4, 1.4);
    const double around = random.Between(-M_PI, M_PI);
    const Eigen::Matrix3d turn = random.Turn();
    const double u = random.Length();
    const double v = random.Length();
    const Eigen::Vector3d b(random.Between(-3, 3), random.Between(-3, 3), random.Between(-3, 3));
    const Eigen::Vector3d a = b + turn * Eigen::Vector3d(u, 0, 0);
    const Eigen::Vector3d c = b + turn * Eigen::Vector3d(v * cos(spread), v * sin(spread), 0);
    const Eigen::Vector3d d =
        b + random.Length() * (turn * Eigen::Vector3d(std::cos(tilt) * std::cos(around),
                                                      std::cos(tilt) * std::sin(around),
                                                      std::sin(tilt)));
    const double scale =
        std::min({u, v, 1.0}) * std::sin(spread) * std::max(1e-3, std::abs(std::cos(tilt)));
    Derivatives analytic{Eigen::VectorXd::Constant(12, std::nan("")), {}};
    std::vector<double> packed(78, std::nan(""));
    const double angle = QZd2Wilson_dx2(
        analytic.gradient.data(), packed.data(), a.data(), b.data(), c.data(), d.data());
    analytic.hessian = Unpacked(packed, 12);
    Eigen::VectorXd gradient(12);
    EXPECT_EQ(QZdWilson_dx(gradient.data(), a.data(), b.data(), c.data(), d.data()), angle);
    EXPECT_TRUE(gradient == analytic.gradient);
    EXPECT_EQ(QZWilson(a.data(), b.data(), c.data(), d.data()), angle);
    const double folded = tilt > M_PI / 2 ? M_PI - tilt : tilt;
    EXPECT_NEAR(angle, folded, 1e-11);
    const Points p{a.cast<Long>(), b.cast<Long>(), c.cast<Long>(), d.cast<Long>()};
    ExpectAgreement(analytic, Wilson, p, scale);
  }
}

TEST(WilsonAngle, SignFollowsTheNormalAndNoBondIsNotANumber) {
  const double a[3] = {1, 0, 0};
  const double b[3] = {0, 0, 0};
  const double c[3] = {0, 1, 0};
  const double above[3] = {-1, -1, 0.1};
  const double normal[3] = {0, 0, 2};
  EXPECT_GT(QZWilson(a, b, c, above), 0.0);
  EXPECT_LT(QZWilson(c, b, a, above), 0.0);
  EXPECT_DOUBLE_EQ(QZWilson(a, b, c, normal), M_PI / 2);
  EXPECT_TRUE(std::isnan(QZWilson(a, b, c, b)));
}

// t, seen in the plane of u and w, at `angle` from u towards w: outside when it is on the other
// side of u or turned further from u than w is.
TEST(OutsideVectors, DirectionsAreToldByTheirAngleSeenAlongTheNormal) {
  std::mt19937 rng(51);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  int outside = 0;
  for (int trial = 0; trial < 5000; ++trial) {
    const Eigen::Vector3d p1 = 3.0 * Eigen::Vector3d(uniform(rng), uniform(rng), uniform(rng));
    const Eigen::Vector3d u(uniform(rng), uniform(rng), uniform(rng));
    const Eigen::Vector3d w(uniform(rng), uniform(rng), uniform(rng));
    const Eigen::Vector3d along = u.normalized();
    const Eigen::Vector3d across = (w - w.dot(along) * along).normalized();
    const double sector = std::atan2(w.dot(across), w.dot(along));
    const double angle = M_PI * uniform(rng);
    if (std::min(std::abs(angle), std::abs(angle - sector)) < 1e-3 || sector < 1e-2 ||
        sector > M_PI - 1e-2 || M_PI - std::abs(angle) < 1e-3) {
      continue;
    }
    // A component along the plane's normal does not matter.
    const Eigen::Vector3d t =
        (1.5 + uniform(rng)) * (std::cos(angle) * along + std::sin(angle) * across) +
        (trial % 2 == 0 ? 0.0 : 3.0 * uniform(rng)) * along.cross(across);
    const Eigen::Vector3d p0 = p1 + u;
    const Eigen::Vector3d p2 = p1 + w;
    const Eigen::Vector3d p3 = p1 + t;
    const bool expected = angle < 0.0 || angle > sector;
    outside += expected ? 1 : 0;
    EXPECT_EQ(isOutsideVectors(p0.data(), p1.data(), p2.data(), p3.data()), expected)
        << "seed 51, trial " << trial << ", sector " << sector << ", angle " << angle;
  }
  EXPECT_GT(outside, 1000);
}

}  // namespace
