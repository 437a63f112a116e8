// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <utility>
#include <vector>

#include "qzplatform/export.h"

namespace QZMolPotential {

// Small dense problems over plain arrays. A packed symmetric matrix is the lower triangle by rows,
// n(n+1)/2 doubles, element (i, j), j <= i, at i(i+1)/2 + j. A full matrix is by rows, (i, j) at
// i*n + j. A row-pointer matrix is an array of pointers to rows that the caller allocates.

/// Eigenvalues and eigenvectors of a packed symmetric n x n matrix: Householder tridiagonalisation,
/// implicit QL, inverse iteration on the tridiagonal matrix with orthogonalisation inside clusters.
///   a            n(n+1)/2, in; **destroyed** (work space)
///   eigenvalues  n, out, ascending
///   eigenvectors `nvec` rows of n, out: row k belongs to eigenvalue k; may be null when nvec <= 0
/// Rows are orthonormal to 1e-8, also for equal eigenvalues, and at any scale of the matrix, since
/// every tolerance is relative to the matrix. The signs of the rows are arbitrary. Fails: false and
/// a Fatal message when n < 2 or nvec > n; false and a Warning when an element is not finite, all
/// before anything is written, or when the eigenvalues do not converge. Cost: 4/3 n³ + 2 n² nvec
/// operations, holds O(n) doubles. Source: Wilkinson, The Algebraic Eigenvalue Problem, ch. 5
/// (1965); Martin and Wilkinson, Numer. Math. 12, 377 (1968).
QZ_API bool diagonalize(double* a, double* eigenvalues, double** eigenvectors, int n, int nvec);

/// As `diagonalize`, by Eigen's self-adjoint solver; `a` is not modified. Holds some 2 n² doubles.
QZ_API bool eigendiagonalize(
    double* a, double* eigenvalues, double** eigenvectors, int n, int nvec);

/// y = a x with a packed symmetric a; y may not overlap x.
QZ_API void matxvec(double* y, double* a, double* x, int n);

/// Replaces a full n x n matrix by its inverse (Gauss-Jordan with full pivoting, scanned by rows).
/// `determinant` (out) is the plain product of the pivots: it is cut to 1e10 after every step, and
/// interchanges of rows and columns do not change its sign; callers rely on both. A pivot below
/// 1e-8 ends the elimination with determinant 0 and leaves the matrix partly eliminated.
QZ_API void invert(double* a, int n, double& determinant);
/// As above; returns the determinant.
QZ_API double invert(double* a, int n);

/// Singular values and vectors of a full m x n matrix, a = U diag(s) Vᵀ: Householder
/// bidiagonalisation and implicit QR.
///   a  m*n, in, not modified
///   s  min(m+1, n), out, descending, >= 0 (for m < n the last is the zero that a wide matrix has)
///   u  m rows of m, out: u[i][k] is component i of left vector k
///   v  n rows of n, out: v[j][k] is component j of right vector k
/// False, with the outputs untouched, when a value needs more than 30 sweeps or an element is not
/// finite. Source: Golub and Reinsch, Numer. Math. 14, 403 (1970); Dongarra, Bunch, Moler and
/// Stewart, LINPACK Users' Guide, ch. 11 (1979).
QZ_API bool svd(const double* a, unsigned m, unsigned n, double* s, double** u, double** v);

/// Moore-Penrose inverse V S⁺ Uᵀ of a full m x n matrix into `inverse`, a full n x m matrix.
/// Singular values below 1e-12 (absolute) count as zero. False and a Warning, with `inverse`
/// untouched, when the singular values do not converge or an element is not finite.
QZ_API bool mpinvert(const double* a, double* inverse, unsigned m, unsigned n);
/// As above, in place: `a` is a full m x n matrix before the call and its n x m inverse after it.
QZ_API bool mpinvert(double* a, unsigned m, unsigned n);
/// As `mpinvert`, with the k largest singular values only; k = 0 stands for all of them. k may be
/// at most min(m+1, n), the length of the list of singular values that `svd` writes, and callers
/// rely on the +1; for larger k it fails with false and a Warning.
QZ_API bool mpinvert1(const double* a, double* inverse, unsigned m, unsigned n, unsigned k);

/// Plane rotation that turns (a, b) into (r, 0): on return c and s are its cosine and sine, a is r,
/// and b the number from which both can be rebuilt (s when |a| > |b|, otherwise 1/c, or 1 when
/// c = 0). r has the sign of the larger of a and b. a = b = 0 gives c = 1, s = 0.
/// Source: Lawson, Hanson, Kincaid and Krogh, ACM Trans. Math. Softw. 5, 308 (1979).
QZ_API void givens(double& a, double& b, double& c, double& s);

/// Real roots of a x³ + b x² + c x + d. Writes three roots and returns their kind:
///   3  three real roots, in trigonometric order and not sorted;
///   1  a triple root, three times (discriminant in [0, 1e-10]);
///   2  2u - s and twice -u - s with u = pow(-R, 1/3), which is NaN for R > 0: callers rely on it.
/// a = 0: Fatal message, and the computation goes on.
QZ_API int CubicEquation(double a, double b, double c, double d, double* roots);

/// True when n points (3 n doubles, in) lie on a line: the cosine between p1 - p0 and every pi - p0
/// is within 1e-6 of 1 or -1. True for fewer than three points; points that coincide with p0 count
/// as lying on the line.
QZ_API bool IsLinear(const double* points, unsigned n);

/// Fits the straight line y = intercept + slope x to points (x, y) by least squares. `n` divides
/// the sums to form the means; it may differ from the number of points, and callers rely on that.
QZ_API void fit(const std::vector<std::pair<double, double>>& points,
                unsigned n,
                double& intercept,
                double& slope);

}  // namespace QZMolPotential
