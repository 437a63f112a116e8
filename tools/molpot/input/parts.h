// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <map>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "input/selection.h"

namespace Molpot {

/// Where a restraint was asked for, as messages name it.
struct Origin {
  std::string option;    // "--restrain", or "file.json: entry 2 (restrain)"
  std::string argument;  // of an option
  std::string Label() const { return argument.empty() ? option : option + " \"" + argument + "\""; }
};

/// The parts of one restraint: the words of an option's argument, taken in their order, or the
/// values of a JSON object, taken by name. Whatever cannot be taken throws a UsageError that names
/// the origin.
class Parts {
 public:
  struct Range {
    double low;
    double high;
  };
  struct Formula {
    std::string text;
    std::map<std::string, double> constants;
  };

  explicit Parts(Origin origin) : origin_(std::move(origin)) {}
  Parts(const Parts&) = delete;
  Parts& operator=(const Parts&) = delete;
  virtual ~Parts() = default;

  const Origin& From() const { return origin_; }
  [[noreturn]] void Refuse(const std::string& reason) const;

  /// "atoms": `count` atoms in order.
  virtual AtomTuple Atoms(unsigned int count) = 0;
  /// "atoms": a selection with at most `maxNumbers` numbers behind it.
  virtual AtomSelection Selection(unsigned int maxNumbers) = 0;
  /// The same where an option has no place for it.
  virtual std::optional<AtomSelection> OptionalSelection() = 0;
  virtual std::string Text(const char* name) = 0;
  /// The whole argument, "formula; name = number; ...", or a text with "constants" beside it.
  virtual Formula Expression(const char* name) = 0;
  /// A file; in a JSON file its name counts from that file's folder.
  virtual std::string File(const char* name) = 0;
  /// A word that is no number.
  virtual std::optional<std::string> OptionalText(const char* name) = 0;
  virtual std::optional<double> OptionalNumber(const char* name) = 0;
  virtual std::vector<double> Point(const char* name) = 0;
  /// "value", or "low" and "high"; one or two words, or none.
  virtual std::optional<Range> OptionalRange() = 0;
  /// Refuses what was not taken.
  virtual void End() = 0;

  /// A finite number. The others check its sign.
  double Number(const char* name);
  double NonNegative(const char* name);
  double Positive(const char* name);
  double NonNegative(const char* name, double fallback);

 protected:
  void addConstant(const std::string& name, double value, Formula& formula) const;

 private:
  Origin origin_;
};

/// The parts of an option's argument.
class WordParts final : public Parts {
 public:
  WordParts(const std::string& option, const std::string& argument);
  AtomTuple Atoms(unsigned int count) override;
  AtomSelection Selection(unsigned int maxNumbers) override;
  std::optional<AtomSelection> OptionalSelection() override { return std::nullopt; }
  std::string Text(const char* name) override;
  Formula Expression(const char* name) override;
  std::string File(const char* name) override { return Text(name); }
  std::optional<std::string> OptionalText(const char* name) override;
  std::optional<double> OptionalNumber(const char* name) override;
  std::vector<double> Point(const char* name) override;
  std::optional<Range> OptionalRange() override;
  void End() override;

 private:
  std::vector<std::string> words_;
};

/// The parts of an entry of a JSON file, an object.
class JsonParts final : public Parts {
 public:
  /// `option` names the entry; `folder` is the file's.
  JsonParts(const std::string& option, const nlohmann::json& entry, std::string folder);
  ~JsonParts() override;
  AtomTuple Atoms(unsigned int count) override;
  AtomSelection Selection(unsigned int maxNumbers) override;
  std::optional<AtomSelection> OptionalSelection() override;
  std::string Text(const char* name) override;
  Formula Expression(const char* name) override;
  std::string File(const char* name) override;
  std::optional<std::string> OptionalText(const char* name) override;
  std::optional<double> OptionalNumber(const char* name) override;
  std::vector<double> Point(const char* name) override;
  std::optional<Range> OptionalRange() override;
  void End() override;

 private:
  const nlohmann::json* find(const char* name);
  const nlohmann::json& get(const char* name);

  std::unique_ptr<const nlohmann::json> entry_;
  std::string folder_;
  std::set<std::string> taken_;
};

}  // namespace Molpot
