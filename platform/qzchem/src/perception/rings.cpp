// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "perception/rings.h"

#include <GraphMol/MolOps.h>
#include <GraphMol/RWMol.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace QZChem {
namespace {

struct Edge {
  unsigned int atom;
  unsigned int bond;
};
using Graph = std::vector<std::vector<Edge>>;  // by atom

Graph GraphOf(const RDKit::ROMol& mol) {
  Graph graph(mol.getNumAtoms());
  for (const RDKit::Bond* bond : mol.bonds()) {
    graph[bond->getBeginAtomIdx()].push_back({bond->getEndAtomIdx(), bond->getIdx()});
    graph[bond->getEndAtomIdx()].push_back({bond->getBeginAtomIdx(), bond->getIdx()});
  }
  return graph;
}

// Depth-first search without recursion. A bond is a bridge, and in no ring, when nothing below it
// leads back to it or above (R. Tarjan, Inf. Process. Lett. 2, 160 (1974)).
class RingBondSearch {
 public:
  RingBondSearch(const Graph& graph, unsigned int numBonds)
      : graph_(graph), order_(graph.size(), 0), low_(graph.size(), 0), isRing_(numBonds, 1) {
    for (unsigned int atom = 0; atom < graph.size(); ++atom) {
      if (order_[atom] == 0) searchFrom(atom);
    }
  }
  const std::vector<char>& IsRing() const { return isRing_; }

 private:
  static constexpr unsigned int kNoBond = static_cast<unsigned int>(-1);
  struct Frame {
    unsigned int atom;
    unsigned int viaBond;
    std::size_t next;  // of the atom's edges
  };

  void enter(unsigned int atom, unsigned int viaBond) {
    order_[atom] = low_[atom] = ++counter_;
    frames_.push_back({atom, viaBond, 0});
  }
  void searchFrom(unsigned int root) {
    enter(root, kNoBond);
    while (!frames_.empty()) {
      Frame& frame = frames_.back();
      if (frame.next == graph_[frame.atom].size()) {
        leave();
        continue;
      }
      const Edge edge = graph_[frame.atom][frame.next++];
      if (edge.bond == frame.viaBond) continue;
      if (order_[edge.atom] == 0) {
        enter(edge.atom, edge.bond);
      } else {
        low_[frame.atom] = std::min(low_[frame.atom], order_[edge.atom]);
      }
    }
  }
  void leave() {
    const Frame done = frames_.back();
    frames_.pop_back();
    if (frames_.empty()) return;
    const unsigned int parent = frames_.back().atom;
    low_[parent] = std::min(low_[parent], low_[done.atom]);
    if (low_[done.atom] > order_[parent]) isRing_[done.viaBond] = 0;
  }

  const Graph& graph_;
  std::vector<unsigned int> order_;  // of first meeting, from 1; 0: not met
  std::vector<unsigned int> low_;    // the lowest order reached from here downwards
  std::vector<char> isRing_;         // by bond
  std::vector<Frame> frames_;
  unsigned int counter_ = 0;
};

// Atoms joined to `first` by ring bonds; marks them in `isTaken`.
std::vector<unsigned int> RingSystem(unsigned int first,
                                     const Graph& graph,
                                     const std::vector<char>& isRing,
                                     std::vector<char>& isTaken) {
  std::vector<unsigned int> atoms = {first};
  isTaken[first] = 1;
  for (std::size_t i = 0; i < atoms.size(); ++i) {
    for (const Edge& edge : graph[atoms[i]]) {
      if (isRing[edge.bond] == 0 || isTaken[edge.atom] != 0) continue;
      isTaken[edge.atom] = 1;
      atoms.push_back(edge.atom);
    }
  }
  return atoms;
}

// RDKit's rings of one system, in its own numbering.
std::vector<std::vector<int>> RingsOf(const std::vector<unsigned int>& atoms,
                                      const Graph& graph,
                                      const std::vector<char>& isRing,
                                      std::vector<unsigned int>& numberInSystem) {
  RDKit::RWMol system;
  for (const unsigned int atom : atoms) {
    numberInSystem[atom] = system.addAtom(new RDKit::Atom(6), false, true);
  }
  for (const unsigned int atom : atoms) {
    for (const Edge& edge : graph[atom]) {
      if (isRing[edge.bond] == 0 || edge.atom < atom) continue;
      system.addBond(numberInSystem[atom], numberInSystem[edge.atom], RDKit::Bond::SINGLE);
    }
  }
  std::vector<std::vector<int>> rings;
  RDKit::MolOps::symmetrizeSSSR(system, rings);
  return rings;
}

}  // namespace

void FindRings(RDKit::RWMol& mol) {
  const Graph graph = GraphOf(mol);
  const RingBondSearch search(graph, mol.getNumBonds());
  const std::vector<char>& isRing = search.IsRing();
  std::vector<char> isTaken(graph.size(), 0);
  std::vector<unsigned int> numberInSystem(graph.size());
  RDKit::RingInfo& info = *mol.getRingInfo();
  if (info.isInitialized()) info.reset();
  info.initialize();
  for (unsigned int first = 0; first < graph.size(); ++first) {
    const bool hasRing =
        std::ranges::any_of(graph[first], [&](const Edge& edge) { return isRing[edge.bond] != 0; });
    if (!hasRing || isTaken[first] != 0) continue;
    const std::vector<unsigned int> atoms = RingSystem(first, graph, isRing, isTaken);
    for (std::vector<int>& ring : RingsOf(atoms, graph, isRing, numberInSystem)) {
      std::vector<int> bonds;
      for (int& member : ring) member = static_cast<int>(atoms[static_cast<std::size_t>(member)]);
      for (std::size_t i = 0; i < ring.size(); ++i) {
        bonds.push_back(static_cast<int>(
            mol.getBondBetweenAtoms(static_cast<unsigned int>(ring[i]),
                                    static_cast<unsigned int>(ring[(i + 1) % ring.size()]))
                ->getIdx()));
      }
      info.addRing(ring, bonds);
    }
  }
}

}  // namespace QZChem
