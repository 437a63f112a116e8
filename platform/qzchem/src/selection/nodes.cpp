// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "selection/nodes.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>

#include "kernels/cells.h"
#include "qzchem/residue.h"
#include "qzchem/subsearch.h"
#include "qzchem/topology.h"

namespace QZChem {
namespace {

using QZMolPotential::LoadAtom;
using Marks = QZSelection::Node::Marks;

bool Contains(const std::vector<NumberRange>& ranges, long long number, char insertionCode) {
  return std::ranges::any_of(ranges, [&](const NumberRange& range) {
    return number >= range.first && number <= range.last &&
           (range.insertionCode == ' ' || range.insertionCode == insertionCode);
  });
}

long long Largest(const std::vector<NumberRange>& ranges) {
  return std::ranges::max(ranges, {}, &NumberRange::last).last;
}

std::string UpperCase(std::string text) {
  std::ranges::transform(
      text, text.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

// Atoms for which a test holds that needs nothing but the atom.
template <class Test>
struct AtomNode final : QZSelection::Node {
  explicit AtomNode(Test made) : test(std::move(made)) {}
  std::string Mark(const QZMolBase& mol, Marks& marks) const override {
    for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
      marks[atom.GetIndex()] = test(atom) ? 1 : 0;
    }
    return "";
  }
  Test test;
};

template <class Test>
SelectionNode MakeAtomNode(Test test) {
  return std::make_shared<const AtomNode<Test>>(std::move(test));
}

// The same for a test of residues; a molecule without any is a failure.
template <class Test>
struct ResidueNode final : QZSelection::Node {
  explicit ResidueNode(Test made) : test(std::move(made)) {}
  std::string Mark(const QZMolBase& mol, Marks& marks) const override {
    bool hasResidues = false;
    for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
      const QZResidue* residue = QZGetResidue(atom);
      if (residue == nullptr) continue;
      hasResidues = true;
      marks[atom.GetIndex()] = test(*residue) ? 1 : 0;
    }
    return hasResidues ? "" : "the molecule has no residues or chains";
  }
  Test test;
};

template <class Test>
SelectionNode MakeResidueNode(Test test) {
  return std::make_shared<const ResidueNode<Test>>(std::move(test));
}

struct ResidueNumbers final : QZSelection::Node {
  std::string Mark(const QZMolBase& mol, Marks& marks) const override {
    const auto test = [this](const QZResidue& residue) {
      return Contains(ranges, residue.number, residue.insertionCode) &&
             (chain.empty() || residue.chain == chain);
    };
    if (std::string error = ResidueNode(test).Mark(mol, marks); !error.empty()) return error;
    // A ligand's name may be a number: who means it is told how to say so.
    const std::string number = std::to_string(ranges.front().first);
    const bool isAny = std::ranges::find(marks, 1) != marks.end();
    if (isAny || ranges.size() > 1 || ranges.front().last != ranges.front().first) return "";
    for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
      const QZResidue* residue = QZGetResidue(atom);
      if (residue == nullptr || residue->name != number) continue;
      return std::string("no residue has the number ")
          .append(number)
          .append(", but one has that name: residue \"")
          .append(number)
          .append("\"");
    }
    return "";
  }
  std::vector<NumberRange> ranges;
  std::string chain;
};

struct AtomNumbers final : QZSelection::Node {
  std::string Mark(const QZMolBase& mol, Marks& marks) const override {
    const long long count = static_cast<long long>(mol.AtomIndexBound());
    const long long largest = Largest(ranges);
    if (largest >= count + firstNumber) {
      return "there is no atom " + std::to_string(largest) + ", the last one is " +
             std::to_string(count - 1 + firstNumber);
    }
    for (const NumberRange& range : ranges) {
      for (long long number = range.first; number <= range.last; ++number) {
        const auto index = static_cast<unsigned int>(number - firstNumber);
        if (mol.GetAtom(index) == nullptr) {
          return "there is no atom " + std::to_string(number);
        }
        marks[index] = 1;
      }
    }
    return "";
  }
  std::vector<NumberRange> ranges;
  long long firstNumber = 0;
};

struct Components final : QZSelection::Node {
  std::string Mark(const QZMolBase& mol, Marks& marks) const override {
    std::vector<unsigned int> parts(mol.AtomIndexBound());
    const unsigned int count = QZDetermineComponents(mol, parts.data());
    if (Largest(ranges) > count) {
      return "there is no component " + std::to_string(Largest(ranges)) + ", the molecule has " +
             std::to_string(count);
    }
    for (std::size_t i = 0; i < parts.size(); ++i) {
      marks[i] = parts[i] != 0 && Contains(ranges, parts[i], ' ') ? 1 : 0;
    }
    return "";
  }
  std::vector<NumberRange> ranges;
};

struct Within final : QZSelection::Node {
  std::string Mark(const QZMolBase& mol, Marks& marks) const override {
    Marks centres(marks.size(), 0);
    if (std::string error = of->Mark(mol, centres); !error.empty()) return error;
    std::vector<double> coords(3 * marks.size());
    mol.GetCoords(coords.data());
    std::vector<unsigned int> centreAtoms;
    for (unsigned int i = 0; i < centres.size(); ++i) {
      if (centres[i] != 0) centreAtoms.push_back(i);
    }
    const auto placeOf = [&](std::size_t k) { return LoadAtom(coords.data(), centreAtoms[k]); };
    QZMolPotential::CellList cells;
    cells.Build(centreAtoms.size(), distance, placeOf);
    for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
      const auto place = LoadAtom(coords.data(), atom.GetIndex());
      char& mark = marks[atom.GetIndex()];
      cells.ForEachNear(place, distance, [&](std::size_t k) {
        const auto d = place - placeOf(k);
        if (std::hypot(d.x, d.y, d.z) <= distance) mark = 1;
      });
    }
    return "";
  }
  double distance = 0.0;
  SelectionNode of;
};

struct Combined final : QZSelection::Node {
  std::string Mark(const QZMolBase& mol, Marks& marks) const override {
    Marks other(marks.size(), 0);
    if (std::string error = a->Mark(mol, marks); !error.empty()) return error;
    if (std::string error = b->Mark(mol, other); !error.empty()) return error;
    for (std::size_t i = 0; i < marks.size(); ++i) {
      const bool isMarked = both ? marks[i] != 0 && other[i] != 0 : marks[i] != 0 || other[i] != 0;
      marks[i] = isMarked ? 1 : 0;
    }
    return "";
  }
  SelectionNode a;
  SelectionNode b;
  bool both = false;
};

struct Not final : QZSelection::Node {
  std::string Mark(const QZMolBase& mol, Marks& marks) const override {
    Marks other(marks.size(), 0);
    if (std::string error = of->Mark(mol, other); !error.empty()) return error;
    for (const auto& atom : QZSystem::QZRange(mol.GetAtoms())) {
      marks[atom.GetIndex()] = other[atom.GetIndex()] == 0 ? 1 : 0;
    }
    return "";
  }
  SelectionNode of;
};

struct Smarts final : QZSelection::Node {
  std::string Mark(const QZMolBase& mol, Marks& marks) const override {
    std::vector<unsigned int> atoms;
    std::string error;
    if (!search.MatchAtoms(mol, atoms, error)) return error;
    for (const unsigned int atom : atoms) marks[atom] = 1;
    return "";
  }
  QZSubSearch search;
};

SelectionNode Combine(SelectionNode a, SelectionNode b, bool both) {
  auto node = std::make_shared<Combined>();
  node->a = std::move(a);
  node->b = std::move(b);
  node->both = both;
  return node;
}

}  // namespace

SelectionNode SelectAll() {
  return MakeAtomNode([](const QZAtomBase&) { return true; });
}

SelectionNode SelectHydrogens() {
  return MakeAtomNode([](const QZAtomBase& atom) { return atom.GetAtomicNumber() == 1; });
}

SelectionNode SelectAtoms(std::vector<NumberRange> ranges, unsigned int firstNumber) {
  auto node = std::make_shared<AtomNumbers>();
  node->ranges = std::move(ranges);
  node->firstNumber = firstNumber;
  return node;
}

SelectionNode SelectComponents(std::vector<NumberRange> ranges) {
  auto node = std::make_shared<Components>();
  node->ranges = std::move(ranges);
  return node;
}

SelectionNode SelectChains(std::vector<std::string> names) {
  return MakeResidueNode([names = std::move(names)](const QZResidue& residue) {
    return std::ranges::find(names, residue.chain) != names.end();
  });
}

SelectionNode SelectResidueNames(std::vector<std::string> names) {
  for (std::string& name : names) name = UpperCase(name);
  return MakeResidueNode([names = std::move(names)](const QZResidue& residue) {
    return std::ranges::find(names, UpperCase(residue.name)) != names.end();
  });
}

SelectionNode SelectResidueNumbers(std::vector<NumberRange> ranges, std::string chain) {
  auto node = std::make_shared<ResidueNumbers>();
  node->ranges = std::move(ranges);
  node->chain = std::move(chain);
  return node;
}

SelectionNode SelectWithin(double distance, SelectionNode of) {
  auto node = std::make_shared<Within>();
  node->distance = distance;
  node->of = std::move(of);
  return node;
}

SelectionNode SelectNot(SelectionNode of) {
  auto node = std::make_shared<Not>();
  node->of = std::move(of);
  return node;
}

SelectionNode SelectBoth(SelectionNode a, SelectionNode b) {
  return Combine(std::move(a), std::move(b), /*both=*/true);
}

SelectionNode SelectEither(SelectionNode a, SelectionNode b) {
  return Combine(std::move(a), std::move(b), /*both=*/false);
}

SelectionNode SelectSmarts(const std::string& smarts, std::string& error) {
  auto node = std::make_shared<Smarts>();
  if (node->search.Init(smarts.c_str(), /*reorder=*/false)) return node;
  error = node->search.GetError();
  return nullptr;
}

}  // namespace QZChem
