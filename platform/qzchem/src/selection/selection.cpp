// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "qzchem/selection.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>

#include "selection/nodes.h"

namespace QZChem {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";
// Deeper nesting is no selection that a person writes, and each level takes stack.
constexpr int kMaxDepth = 100;

struct SyntaxError {
  std::size_t at;
  std::string reason;
};

bool SameWord(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, {}, [](unsigned char c) { return std::tolower(c); });
}

std::string Quoted(std::string_view text) {
  return "\"" + std::string(text) + "\"";
}

template <class Number>
bool TakeNumber(std::string_view& text, Number& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return true;
}

// A recursive-descent parser; throws SyntaxError.
class Parser {
 public:
  Parser(std::string_view text, unsigned int firstNumber)
      : text_(text), firstNumber_(firstNumber) {}

  SelectionNode Parse() { return either(); }
  /// Where the selection ends.
  std::size_t GetPosition() const { return at_; }
  /// The words behind it as numbers.
  std::vector<double> Numbers(std::size_t maxNumbers) {
    std::vector<double> numbers;
    while (skipBlanks(), at_ < text_.size()) {
      const std::size_t start = at_;
      std::string_view word = takeWord();
      double value = 0.0;
      const std::string_view whole = word;
      if (!TakeNumber(word, value) || !word.empty() || !std::isfinite(value)) {
        throw SyntaxError{start,
                          maxNumbers == 0 ? Quoted(whole) +
                                                " follows the selection; \"and\" and "
                                                "\"or\" combine selections"
                                          : Quoted(whole) + " is no number"};
      }
      if (numbers.size() == maxNumbers) {
        throw SyntaxError{start, Quoted(whole) + " is one number too many"};
      }
      numbers.push_back(value);
    }
    return numbers;
  }

 private:
  void skipBlanks() { at_ = std::min(text_.find_first_not_of(kBlanks, at_), text_.size()); }

  // The next word, up to a blank or parenthesis; not taken.
  std::string_view peekWord() {
    skipBlanks();
    const std::size_t end = text_.find_first_of(" \t\r\n()", at_);
    return text_.substr(at_, std::min(end, text_.size()) - at_);
  }
  bool takeKeyword(std::string_view keyword) {
    const std::string_view word = peekWord();
    if (!SameWord(word, keyword)) return false;
    at_ += word.size();
    return true;
  }
  std::string_view takeWord() {
    skipBlanks();
    const std::size_t start = at_;
    at_ = std::min(text_.find_first_of(kBlanks, at_), text_.size());
    return text_.substr(start, at_ - start);
  }

  SelectionNode either() {
    SelectionNode node = both();
    while (takeKeyword("or")) node = SelectEither(node, both());
    return node;
  }
  SelectionNode both() {
    SelectionNode node = single();
    while (takeKeyword("and")) node = SelectBoth(node, single());
    return node;
  }
  SelectionNode single() {
    if (++depth_ > kMaxDepth) throw SyntaxError{at_, "the selection is nested too deeply"};
    SelectionNode node = unnested();
    --depth_;
    return node;
  }

  SelectionNode unnested() {
    skipBlanks();
    if (at_ == text_.size()) throw SyntaxError{at_, "a selection is missing"};
    if (takeKeyword("not")) return SelectNot(single());
    if (text_[at_] == '(') return bracketed();
    if (takeKeyword("all")) return SelectAll();
    if (takeKeyword("hydrogens")) return SelectHydrogens();
    if (takeKeyword("within")) return within();
    if (takeKeyword("atoms") || takeKeyword("atom")) {
      return SelectAtoms(ranges(firstNumber_), firstNumber_);
    }
    if (takeKeyword("component") || takeKeyword("components")) return SelectComponents(ranges(1));
    if (takeKeyword("chain")) return SelectChains(names("a chain"));
    if (takeKeyword("residue") || takeKeyword("residues")) return residue();
    return smarts();
  }

  SelectionNode bracketed() {
    const std::size_t open = at_++;
    SelectionNode node = either();
    skipBlanks();
    if (at_ == text_.size()) throw SyntaxError{open, "this parenthesis is not closed"};
    if (text_[at_] != ')') {
      throw SyntaxError{at_, "\"and\", \"or\" or a closing parenthesis was expected"};
    }
    ++at_;
    return node;
  }

  SelectionNode within() {
    const std::string_view word = peekWord();
    const std::size_t start = at_;
    std::string_view rest = word;
    double distance = 0.0;
    if (!TakeNumber(rest, distance) || !rest.empty() || !std::isfinite(distance) ||
        distance <= 0.0) {
      throw SyntaxError{start, "a distance in ångström was expected"};
    }
    at_ += word.size();
    if (!takeKeyword("of")) throw SyntaxError{at_, "\"of\" was expected"};
    return SelectWithin(distance, single());
  }

  // "1-20,33", blanks allowed behind commas.
  std::vector<NumberRange> ranges(long long smallest) {
    std::vector<NumberRange> result;
    do {
      const std::string_view word = peekWord();
      const std::string_view item = word.substr(0, word.find(','));
      std::string_view rest = item;
      const std::optional<NumberRange> range = takeRange(rest);
      if (!range || !rest.empty()) {
        throw SyntaxError{at_, "numbers such as 1-20,33 were expected"};
      }
      if (range->first < smallest) {
        throw SyntaxError{at_, "numbers begin with " + std::to_string(smallest)};
      }
      if (range->last < range->first) {
        throw SyntaxError{at_, "the range " + Quoted(item) + " ends before it begins"};
      }
      result.push_back(*range);
      at_ += item.size();
    } while (takeComma());
    return result;
  }
  static std::optional<NumberRange> takeRange(std::string_view& text) {
    NumberRange range{};
    if (!TakeNumber(text, range.first)) return std::nullopt;
    range.last = range.first;
    if (!text.starts_with('-')) return range;
    text.remove_prefix(1);
    if (!TakeNumber(text, range.last)) return std::nullopt;
    return range;
  }
  bool takeComma() {
    if (at_ >= text_.size() || text_[at_] != ',') return false;
    ++at_;
    return true;
  }

  // A list of names, with or without quotes.
  std::vector<std::string> names(const char* what) {
    std::vector<std::string> result;
    do {
      const std::string_view word = peekWord();
      if (word.starts_with('"')) {
        const std::size_t close = text_.find('"', at_ + 1);
        if (close == std::string_view::npos) throw SyntaxError{at_, "this quote is not closed"};
        result.emplace_back(text_.substr(at_ + 1, close - at_ - 1));
        at_ = close + 1;
      } else {
        const std::string_view name = word.substr(0, word.find(','));
        if (name.empty())
          throw SyntaxError{at_, "the name of " + std::string(what) + " is missing"};
        result.emplace_back(name);
        at_ += name.size();
      }
    } while (takeComma());
    return result;
  }

  // "LIG,HEM" or "45-60,62B:A".
  SelectionNode residue() {
    const std::string_view word = peekWord();
    const bool isNumber =
        !word.empty() && (std::isdigit(static_cast<unsigned char>(word[0])) != 0 ||
                          (word[0] == '-' && word.size() > 1));
    if (!isNumber) return SelectResidueNames(names("a residue"));
    std::vector<NumberRange> result;
    std::string chain;
    do {
      std::string_view item = peekWord();
      const std::size_t start = at_;
      item = item.substr(0, item.find(','));
      std::string_view rest = item;
      std::optional<NumberRange> range = takeRange(rest);
      if (range && range->first == range->last && !rest.empty() &&
          std::isalpha(static_cast<unsigned char>(rest[0])) != 0) {
        range->insertionCode = rest[0];
        rest.remove_prefix(1);
      }
      const bool hasChain = rest.size() > 1 && rest[0] == ':';
      if (!range || range->last < range->first || (!rest.empty() && !hasChain)) {
        throw SyntaxError{start,
                          Quoted(item) +
                              " is no residue number such as 45, 45-60 or 45:A; "
                              "a name that begins with a digit stands in quotes"};
      }
      if (hasChain) chain = rest.substr(1);
      result.push_back(*range);
      at_ += item.size();
      // A chain closes the list: in "45:A,46" it would be unclear whose 46 is meant.
      if (hasChain && at_ < text_.size() && text_[at_] == ',') {
        throw SyntaxError{at_, "the chain stands behind the last number of a list"};
      }
    } while (takeComma());
    return SelectResidueNumbers(std::move(result), std::move(chain));
  }

  SelectionNode smarts() {
    const std::size_t start = at_;
    int round = 0;
    int square = 0;
    for (; at_ < text_.size() && kBlanks.find(text_[at_]) == std::string_view::npos; ++at_) {
      const char c = text_[at_];
      if (c == '[') ++square;
      if (c == ']') --square;
      if (c == '(') ++round;
      if (c == ')' && --round < 0 && square <= 0) break;
    }
    const std::string pattern(text_.substr(start, at_ - start));
    if (pattern.empty()) throw SyntaxError{start, "a selection is missing"};
    std::string reason;
    SelectionNode node = SelectSmarts(pattern, reason);
    if (node == nullptr) {
      throw SyntaxError{
          start,
          Quoted(pattern) + " is neither a word of the grammar nor a SMARTS (" + reason + ")"};
    }
    return node;
  }

  std::string_view text_;
  unsigned int firstNumber_;
  std::size_t at_ = 0;
  int depth_ = 0;
};

}  // namespace

QZSelection::QZSelection() = default;

bool QZSelection::Init(const std::string& text, unsigned int firstNumber) {
  std::vector<double> none;
  return InitWithNumbers(text, 0, none, firstNumber);
}

bool QZSelection::InitWithNumbers(const std::string& text,
                                  unsigned int maxNumbers,
                                  std::vector<double>& numbers,
                                  unsigned int firstNumber) {
  root_.reset();
  text_.clear();
  numbers.clear();
  try {
    Parser parser(text, firstNumber);
    SelectionNode root = parser.Parse();
    const std::size_t end = parser.GetPosition();
    numbers = parser.Numbers(maxNumbers);
    root_ = std::move(root);
    text_ = text.substr(0, text.find_last_not_of(kBlanks, end - 1) + 1);
    error_.clear();
    return true;
  } catch (const SyntaxError& error) {
    error_ =
        "at character " + std::to_string(error.at + 1) + " of \"" + text + "\": " + error.reason;
    return false;
  }
}

bool QZSelection::Select(const QZMolBase& mol,
                         std::vector<unsigned int>& atoms,
                         std::string& error) const {
  atoms.clear();
  if (root_ == nullptr) {
    error = error_;
    return false;
  }
  Node::Marks marks(mol.AtomIndexBound(), 0);
  error = root_->Mark(mol, marks);
  if (!error.empty()) {
    error = "\"" + text_ + "\": " + error;
    return false;
  }
  for (unsigned int i = 0; i < marks.size(); ++i) {
    if (marks[i] != 0) atoms.push_back(i);
  }
  return true;
}

}  // namespace QZChem
