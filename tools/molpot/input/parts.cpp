// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "input/parts.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "input/errors.h"
#include "input/words.h"
#include "output/format.h"

namespace Molpot {

void Parts::Refuse(const std::string& reason) const {
  throw UsageError(origin_.Label() + ": " + reason);
}

double Parts::Number(const char* name) {
  const std::optional<double> value = OptionalNumber(name);
  if (!value.has_value()) Refuse(std::string("the number \"") + name + "\" is missing");
  return *value;
}

double Parts::NonNegative(const char* name) {
  const double value = Number(name);
  if (value < 0.0) Refuse(std::string("\"") + name + "\" must not be negative");
  return value;
}

double Parts::Positive(const char* name) {
  const double value = Number(name);
  if (!(value > 0.0)) Refuse(std::string("\"") + name + "\" must be positive");
  return value;
}

double Parts::NonNegative(const char* name, double fallback) {
  const double value = OptionalNumber(name).value_or(fallback);
  if (value < 0.0) Refuse(std::string("\"") + name + "\" must not be negative");
  return value;
}

void Parts::addConstant(const std::string& name, double value, Formula& formula) const {
  const auto isPart = [](unsigned char c) { return c == '_' || std::isalnum(c) != 0; };
  const bool isName = !name.empty() && std::ranges::all_of(name, isPart) &&
                      std::isdigit(static_cast<unsigned char>(name[0])) == 0;
  if (!isName) Refuse("\"" + name + "\" cannot be the name of a constant");
  if (!formula.constants.emplace(name, value).second) {
    Refuse("the constant \"" + name + "\" is given twice");
  }
}

WordParts::WordParts(const std::string& option, const std::string& argument)
    : Parts({option, argument}), words_(Words(argument)) {}

AtomTuple WordParts::Atoms(unsigned int count) {
  return {From().Label(), count, words_};
}

AtomSelection WordParts::Selection(unsigned int maxNumbers) {
  std::vector<double> numbers;
  AtomSelection selection(From().option, From().argument, maxNumbers, numbers);
  words_.clear();
  for (const double number : numbers) words_.push_back(FullDigits(number));
  return selection;
}

std::string WordParts::Text(const char* name) {
  if (words_.empty()) Refuse(std::string("\"") + name + "\" is missing");
  std::string word = words_.front();
  words_.erase(words_.begin());
  return word;
}

Parts::Formula WordParts::Expression(const char* /*name*/) {
  words_.clear();
  std::istringstream parts(From().argument);
  Formula formula;
  std::getline(parts, formula.text, ';');
  for (std::string part; std::getline(parts, part, ';');) {
    const std::size_t equals = part.find('=');
    const std::vector<std::string> name = Words(part.substr(0, equals));
    const std::vector<std::string> number =
        Words(equals == std::string::npos ? "" : part.substr(equals + 1));
    double value = 0.0;
    if (name.size() != 1 || number.size() != 1 || !ParseNumber(number.front(), value)) {
      Refuse("\"name = number\" is needed in place of \"" + part + "\"");
    }
    addConstant(name.front(), value, formula);
  }
  return formula;
}

std::optional<std::string> WordParts::OptionalText(const char* name) {
  double value = 0.0;
  if (words_.empty() || ParseNumber(words_.front(), value)) return std::nullopt;
  return Text(name);
}

std::optional<double> WordParts::OptionalNumber(const char* name) {
  if (words_.empty()) return std::nullopt;
  return TakeNumber(From().Label(), name, words_);
}

std::vector<double> WordParts::Point(const char* name) {
  std::vector<double> point(3);
  for (double& value : point) value = Number(name);
  return point;
}

std::optional<Parts::Range> WordParts::OptionalRange() {
  if (words_.empty()) return std::nullopt;
  const double low = Number("value");
  return Range{low, OptionalNumber("high").value_or(low)};
}

void WordParts::End() {
  ExpectEnd(From().Label(), words_);
}

JsonParts::JsonParts(const std::string& option, const nlohmann::json& entry, std::string folder)
    : Parts({option, ""}),
      entry_(std::make_unique<const nlohmann::json>(entry)),
      folder_(std::move(folder)) {}

JsonParts::~JsonParts() = default;

const nlohmann::json* JsonParts::find(const char* name) {
  taken_.insert(name);
  const auto found = entry_->find(name);
  return found == entry_->end() ? nullptr : &*found;
}

const nlohmann::json& JsonParts::get(const char* name) {
  const nlohmann::json* value = find(name);
  if (value == nullptr) Refuse(std::string("\"") + name + "\" is missing");
  return *value;
}

AtomTuple JsonParts::Atoms(unsigned int count) {
  const nlohmann::json& value = get("atoms");
  std::vector<std::string> words;
  if (value.is_string()) words = Words(value.get<std::string>());
  if (value.is_array()) {
    for (const auto& number : value) {
      if (!number.is_number_unsigned()) Refuse("\"atoms\" must be numbers from 1, or a text");
      words.push_back(number.dump());
    }
  }
  AtomTuple atoms(From().option, count, words);
  ExpectEnd(From().option + ": \"atoms\"", words);
  return atoms;
}

AtomSelection JsonParts::Selection(unsigned int /*maxNumbers*/) {
  return {From().option, Text("atoms")};
}

std::optional<AtomSelection> JsonParts::OptionalSelection() {
  if (find("atoms") == nullptr) return std::nullopt;
  return Selection(0);
}

std::string JsonParts::Text(const char* name) {
  const nlohmann::json& value = get(name);
  if (!value.is_string()) Refuse(std::string("\"") + name + "\" must be a text");
  return value.get<std::string>();
}

Parts::Formula JsonParts::Expression(const char* name) {
  Formula formula{Text(name), {}};
  const nlohmann::json* constants = find("constants");
  if (constants == nullptr) return formula;
  if (!constants->is_object()) Refuse("\"constants\" must be an object of numbers");
  for (const auto& [constant, value] : constants->items()) {
    if (!value.is_number()) Refuse("the constant \"" + constant + "\" must be a number");
    addConstant(constant, value.get<double>(), formula);
  }
  return formula;
}

std::string JsonParts::File(const char* name) {
  return (std::filesystem::path(folder_) / Text(name)).string();
}

std::optional<std::string> JsonParts::OptionalText(const char* name) {
  if (find(name) == nullptr) return std::nullopt;
  return Text(name);
}

std::optional<double> JsonParts::OptionalNumber(const char* name) {
  const nlohmann::json* value = find(name);
  if (value == nullptr) return std::nullopt;
  if (!value->is_number()) Refuse(std::string("\"") + name + "\" must be a number");
  return value->get<double>();
}

std::vector<double> JsonParts::Point(const char* name) {
  const nlohmann::json& value = get(name);
  std::vector<double> point;
  if (value.is_array()) {
    for (const auto& number : value) {
      if (number.is_number()) point.push_back(number.get<double>());
    }
  }
  if (point.size() != 3 || value.size() != 3) {
    Refuse(std::string("\"") + name + "\" must be three numbers");
  }
  return point;
}

std::optional<Parts::Range> JsonParts::OptionalRange() {
  const std::optional<double> value = OptionalNumber("value");
  const bool isRange = find("low") != nullptr || find("high") != nullptr;
  if (value.has_value() && isRange) Refuse("either \"value\" or \"low\" and \"high\" is needed");
  if (value.has_value()) return Range{*value, *value};
  if (!isRange) return std::nullopt;
  const double low = Number("low");
  return Range{low, Number("high")};
}

void JsonParts::End() {
  for (const auto& [name, value] : entry_->items()) {
    if (name != "kind" && name != "comment" && !taken_.contains(name)) {
      Refuse("there is no \"" + name + "\" here");
    }
  }
}

}  // namespace Molpot
