// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <utility>

namespace QZSystem {

/// A function of one argument. The two numbers have no meaning here; they are part of the
/// template's signature, which callers rely on.
template <class A, class R, int ArgKind, int ResultKind>
class QZUnaryFunction {
 public:
  virtual ~QZUnaryFunction() = default;
  virtual R operator()(const A&) const = 0;

 protected:
  QZUnaryFunction() = default;
  QZUnaryFunction(const QZUnaryFunction&) = default;
  QZUnaryFunction& operator=(const QZUnaryFunction&) = default;
};

/// A copyable yes/no question about one object; `CreateCopy` is owned by the caller.
template <class T>
class QZUnaryPredicate : public QZUnaryFunction<T, bool, 1, 1> {
 public:
  bool operator()(const T&) const override = 0;
  virtual QZUnaryPredicate* CreateCopy() const = 0;
};

/// A copyable yes/no question about two objects; `CreateCopy` is owned by the caller.
template <class A, class B>
class QZBinaryPredicate {
 public:
  virtual ~QZBinaryPredicate() = default;
  virtual bool operator()(const A&, const B&) const = 0;
  virtual QZBinaryPredicate* CreateCopy() const = 0;

 protected:
  QZBinaryPredicate() = default;
  QZBinaryPredicate(const QZBinaryPredicate&) = default;
  QZBinaryPredicate& operator=(const QZBinaryPredicate&) = default;
};

/// A predicate from any copyable callable `bool(const T&)`.
template <class T, class F>
class QZUnaryCallable final : public QZUnaryPredicate<T> {
 public:
  explicit QZUnaryCallable(F f) : f_(std::move(f)) {}
  bool operator()(const T& x) const override { return f_(x); }
  QZUnaryCallable* CreateCopy() const override { return new QZUnaryCallable(*this); }

 private:
  F f_;
};

/// A predicate from any copyable callable `bool(const A&, const B&)`.
template <class A, class B, class F>
class QZBinaryCallable final : public QZBinaryPredicate<A, B> {
 public:
  explicit QZBinaryCallable(F f) : f_(std::move(f)) {}
  bool operator()(const A& a, const B& b) const override { return f_(a, b); }
  QZBinaryCallable* CreateCopy() const override { return new QZBinaryCallable(*this); }

 private:
  F f_;
};

/// Makes a predicate from a copyable callable `bool(const T&)`, for example a lambda.
template <class T, class F>
auto QZMakeUnaryPredicate(F f) {
  return QZUnaryCallable<T, F>(std::move(f));
}

/// Makes a predicate from a copyable callable `bool(const A&, const B&)`.
template <class A, class B, class F>
auto QZMakeBinaryPredicate(F f) {
  return QZBinaryCallable<A, B, F>(std::move(f));
}

/// A predicate that always gives the same answer.
template <class T, bool Answer>
class QZUnaryConstant : public QZUnaryPredicate<T> {
 public:
  bool operator()(const T&) const override { return Answer; }
  QZUnaryConstant* CreateCopy() const override { return new QZUnaryConstant(*this); }
};

/// A predicate of two objects that always gives the same answer.
template <class A, class B, bool Answer>
class QZBinaryConstant : public QZBinaryPredicate<A, B> {
 public:
  bool operator()(const A&, const B&) const override { return Answer; }
  QZBinaryConstant* CreateCopy() const override { return new QZBinaryConstant(*this); }
};

template <class T>
class QZUnaryTrue final : public QZUnaryConstant<T, true> {};
template <class T>
class QZUnaryFalse final : public QZUnaryConstant<T, false> {};
template <class A, class B>
class QZBinaryTrue final : public QZBinaryConstant<A, B, true> {};
template <class A, class B>
class QZBinaryFalse final : public QZBinaryConstant<A, B, false> {};

}  // namespace QZSystem
