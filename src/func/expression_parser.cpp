// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "func/expression_parser.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <numbers>
#include <string_view>
#include <utility>

namespace QZMolPotential {
namespace {

using Op = ExpressionOp;

struct Failure {
  std::size_t position;
  std::string reason;
};

bool IsLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// Recursive descent; a Failure is thrown where the text stops making sense and caught below.
class Parser {
 public:
  Parser(std::string_view text, const std::map<std::string, double>& constants, unsigned int from)
      : text_(text), constants_(constants), from_(from) {}

  ExpressionProgram Run() {
    try {
      sum();
      skipSpace();
      if (at_ != text_.size()) fail(at_, "expected an operator or the end");
    } catch (const Failure& failure) {
      program_ = {};
      program_.error = "position " + std::to_string(failure.position + 1) + ": " + failure.reason;
    }
    return std::move(program_);
  }

 private:
  [[noreturn]] static void fail(std::size_t position, std::string reason) {
    throw Failure{position, std::move(reason)};
  }
  void skipSpace() {
    while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\t' || text_[at_] == '\n')) {
      ++at_;
    }
  }
  bool accept(std::string_view token) {
    skipSpace();
    if (text_.substr(at_, token.size()) != token) return false;
    at_ += token.size();
    return true;
  }
  void expect(char token) {
    if (!accept({&token, 1})) fail(at_, std::string("expected '") + token + "'");
  }

  void push(ExpressionStep step) {
    program_.steps.push_back(step);
    program_.depth = std::max(program_.depth, ++height_);
  }
  void ofTop(Op op) { program_.steps.push_back({op, 0.0, {}}); }
  void ofTwo(Op op) {
    program_.steps.push_back({op, 0.0, {}});
    --height_;
  }

  void sum() {
    product();
    for (;;) {
      if (accept("+")) {
        product();
        ofTwo(Op::Add);
      } else if (accept("-")) {
        product();
        ofTwo(Op::Subtract);
      } else {
        return;
      }
    }
  }
  void product() {
    sign();
    for (;;) {
      skipSpace();
      if (text_.substr(at_, 2) != "**" && accept("*")) {
        sign();
        ofTwo(Op::Multiply);
      } else if (accept("/")) {
        sign();
        ofTwo(Op::Divide);
      } else {
        return;
      }
    }
  }
  // A sign. Every recursion of the parser passes through here, so that the depth is limited here.
  void sign() {
    constexpr int kDeepest = 200;
    if (++nesting_ > kDeepest) fail(at_, "nested too deeply");
    if (accept("-")) {
      sign();
      ofTop(Op::Negate);
    } else if (accept("+")) {
      sign();
    } else {
      power();
    }
    --nesting_;
  }
  void power() {
    primary();
    if (accept("^") || accept("**")) {
      const std::size_t first = program_.steps.size();
      sign();
      const bool varies =
          std::any_of(program_.steps.begin() + static_cast<std::ptrdiff_t>(first),
                      program_.steps.end(),
                      [](const auto& s) { return s.op > Op::Number && s.op <= Op::Coordinate; });
      ofTwo(varies ? Op::Power : Op::FixedPower);
    }
  }

  void primary() {
    skipSpace();
    if (at_ == text_.size()) fail(at_, "expected a value, found the end");
    if (accept("(")) {
      sum();
      expect(')');
    } else if (IsLetter(text_[at_])) {
      name();
    } else if (IsDigit(text_[at_]) || text_[at_] == '.') {
      double value = 0.0;
      const char* const end = text_.data() + text_.size();
      const auto [stop, status] = std::from_chars(text_.data() + at_, end, value);
      if (status != std::errc()) fail(at_, "not a number");
      at_ = static_cast<std::size_t>(stop - text_.data());
      push({Op::Number, value, {}});
    } else {
      fail(at_, std::string("expected a value, found '") + text_[at_] + "'");
    }
  }

  void name() {
    const std::size_t start = at_;
    while (at_ < text_.size() && (IsLetter(text_[at_]) || IsDigit(text_[at_]))) ++at_;
    const std::string word(text_.substr(start, at_ - start));
    if (!accept("(")) {
      const auto found = constants_.find(word);
      if (found != constants_.end()) return push({Op::Number, found->second, {}});
      if (word == "pi") return push({Op::Number, std::numbers::pi, {}});
      fail(start, "unknown name '" + word + "'");
    }
    static const std::map<std::string_view, Op> ofOne{{"sqrt", Op::Sqrt},
                                                      {"exp", Op::Exp},
                                                      {"log", Op::Log},
                                                      {"sin", Op::Sin},
                                                      {"cos", Op::Cos},
                                                      {"tan", Op::Tan},
                                                      {"abs", Op::Abs}};
    if (const auto one = ofOne.find(word); one != ofOne.end()) {
      sum();
      ofTop(one->second);
    } else if (word == "min" || word == "max") {
      sum();
      expect(',');
      do {
        sum();
        ofTwo(word == "min" ? Op::Min : Op::Max);
      } while (accept(","));
    } else if (word == "distance") {
      geometry(Op::Distance, 2);
    } else if (word == "angle") {
      geometry(Op::Angle, 3);
    } else if (word == "dihedral") {
      geometry(Op::Dihedral, 4);
    } else if (word == "x" || word == "y" || word == "z") {
      geometry(Op::Coordinate, 1);
      program_.steps.back().atoms[1] = static_cast<unsigned int>(word[0] - 'x');
      program_.usesPlaces = true;
    } else {
      fail(start, "unknown function '" + word + "'");
    }
    expect(')');
  }

  void geometry(Op op, std::size_t count) {
    ExpressionStep step{op, 0.0, {}};
    for (std::size_t k = 0; k < count; ++k) {
      if (k != 0) expect(',');
      step.atoms[k] = atom();
      for (std::size_t l = 0; l < k; ++l) {
        if (step.atoms[l] == step.atoms[k]) fail(at_, "the same atom twice");
      }
    }
    push(step);
  }
  // The place of an atom among those involved.
  unsigned int atom() {
    skipSpace();
    unsigned int number = 0;
    const char* const end = text_.data() + text_.size();
    const auto [stop, status] = std::from_chars(text_.data() + at_, end, number);
    if (status != std::errc()) fail(at_, "expected an atom's number");
    if (number < from_) fail(at_, "atoms count from " + std::to_string(from_));
    at_ = static_cast<std::size_t>(stop - text_.data());
    const auto found = std::ranges::find(program_.atoms, number - from_);
    const auto place = static_cast<unsigned int>(found - program_.atoms.begin());
    if (found == program_.atoms.end()) program_.atoms.push_back(number - from_);
    return place;
  }

  std::string_view text_;
  const std::map<std::string, double>& constants_;
  unsigned int from_;
  std::size_t at_ = 0;
  std::size_t height_ = 0;
  int nesting_ = 0;
  ExpressionProgram program_;
};

}  // namespace

ExpressionProgram ParseExpression(const std::string& text,
                                  const std::map<std::string, double>& constants,
                                  unsigned int atomsFrom) {
  if (atomsFrom > 1) {
    ExpressionProgram wrong;
    wrong.error = "atoms count from 0 or 1";
    return wrong;
  }
  return Parser(text, constants, atomsFrom).Run();
}

}  // namespace QZMolPotential
