// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <cmath>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "files/line_source.h"
#include "topology/mol_impl.h"
#include "files/rdkit_files.h"
#include "files/records.h"

namespace QZChem {
namespace {

// What V2000 has columns for.
constexpr unsigned int kMaxV2000 = 999;
constexpr double kMaxV2000Coordinate = 9999.0;

std::vector<std::string_view> Lines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

// "> 25 <NAME> (3)": NAME; the whole rest of the line where there are no brackets.
std::string DataTag(std::string_view header) {
  const std::size_t open = header.find('<');
  const std::size_t close = header.rfind('>');
  if (open == std::string_view::npos || close <= open)
    return std::string(Trimmed(header.substr(1)));
  return std::string(header.substr(open + 1, close - open - 1));
}

void ReadData(const std::vector<std::string_view>& lines, std::size_t i, QZMolBase& mol) {
  while (i < lines.size()) {
    if (!lines[i].starts_with(">")) {
      ++i;
      continue;
    }
    const std::string tag = DataTag(lines[i++]);
    std::string value;
    for (; i < lines.size() && !TrimmedRight(lines[i]).empty(); ++i) {
      if (lines[i].starts_with("$$$$")) break;
      if (!value.empty()) value += '\n';
      value += lines[i];
    }
    QZSetSDData(mol, tag, value);
  }
}

Dimension DimensionOf(std::string_view programLine) {
  const std::string_view mark = programLine.size() >= 22 ? programLine.substr(20, 2) : "";
  if (mark == "2D") return Dimension::Two;
  return mark == "3D" ? Dimension::Three : Dimension::Unknown;
}

// The atoms that a V3000 block announces, so that a garbled count is found before room is made.
std::size_t AnnouncedAtoms(const std::vector<std::string_view>& lines) {
  constexpr std::string_view kCounts = "M  V30 COUNTS";
  for (const std::string_view line : lines) {
    if (!line.starts_with(kCounts)) continue;
    std::istringstream counts{std::string(line.substr(kCounts.size()))};
    std::size_t atoms = 0;
    return counts >> atoms ? atoms : static_cast<std::size_t>(-1);
  }
  return 0;
}

bool NeedsV3000(const QZGraphMol& mol) {
  if (mol.NumAtoms() > kMaxV2000 || mol.NumBonds() > kMaxV2000) return true;
  const std::vector<double>& coords = QZMolAccess::Impl(mol).coords;
  return std::ranges::any_of(coords,
                             [](double value) { return std::fabs(value) > kMaxV2000Coordinate; });
}

void WriteData(const QZMolBase& mol, std::string& text) {
  for (const auto& [tag, value] : QZMolAccess::Impl(mol).sdData) {
    text += ">  <" + tag + ">\n";
    // A blank line would end the item.
    for (const std::string_view line : Lines(value)) {
      if (!TrimmedRight(line).empty()) text.append(line).append("\n");
    }
    text += "\n";
  }
}

}  // namespace

std::string ReadSdf(const std::string& text, QZGraphMol& mol) {
  const std::vector<std::string_view> lines = Lines(text);
  const auto end =
      std::ranges::find_if(lines, [](std::string_view line) { return line.starts_with("M  END"); });
  if (end == lines.end()) return "The record is cut short: it has no \"M  END\" line";
  if (lines.size() < 4) return "The record has no counts line";
  if (AnnouncedAtoms(lines) > lines.size()) {
    return "The counts line asks for more atoms than the record has lines";
  }
  const auto blockEnd = static_cast<std::size_t>(end->data() + end->size() - text.data());
  std::string error = ParseMolBlock(text.substr(0, blockEnd) + "\n", mol);
  if (!error.empty()) return error;
  mol.SetTitle(std::string(TrimmedRight(lines[0])).c_str());
  SetDimension(mol, DimensionOf(lines[1]));
  ReadData(lines, static_cast<std::size_t>(end - lines.begin()) + 1, mol);
  return "";
}

std::string WriteSdf(const QZGraphMol& mol, std::ostream& out) {
  std::string text;
  std::string error = MakeMolBlock(mol, NeedsV3000(mol), text);
  if (!error.empty()) return error;
  // RDKit takes the title as it is; a line break in it would shift the record.
  std::string title = mol.GetTitle();
  if (title.find_first_of("\r\n") != std::string::npos) {
    const std::size_t length = title.size();
    std::ranges::replace_if(
        title, [](char c) { return c == '\n' || c == '\r'; }, ' ');
    text.replace(0, length, title);
  }
  WriteData(mol, text);
  out << text << "$$$$\n";
  return "";
}

}  // namespace QZChem
