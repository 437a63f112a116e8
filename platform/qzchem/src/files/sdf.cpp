// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "files/line_source.h"
#include "files/rdkit_files.h"
#include "files/records.h"
#include "topology/mol_impl.h"

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
    // Repeated tags are kept as they stand.
    if (!tag.empty()) QZMolAccess::Impl(mol).sdData.emplace_back(tag, value);
  }
}

Dimension DimensionOf(std::string_view programLine) {
  const std::string_view mark = programLine.size() >= 22 ? programLine.substr(20, 2) : "";
  if (mark == "2D") return Dimension::Two;
  return mark == "3D" ? Dimension::Three : Dimension::Unknown;
}

// True for a line of counts that a record of `numLines` lines can hold.
bool IsPossible(std::string_view counts, std::size_t numLines) {
  std::istringstream words{std::string(counts)};
  for (std::string word; words >> word;) {
    unsigned long long count = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), count);
    if (error == std::errc::result_out_of_range || count > numLines) return false;
    if (error != std::errc()) return true;  // the parser says what is wrong with it
  }
  return true;
}

// Whether the atoms and bonds that the block announces can be there, so that a garbled count is
// found before room is made.
bool HasPossibleCounts(const std::vector<std::string_view>& lines) {
  constexpr std::string_view kPrefix = "M  V30 ";
  constexpr std::string_view kCounts = "COUNTS";
  std::string whole;  // a V3000 line with what continues it
  for (const std::string_view line : lines) {
    if (!line.starts_with(kPrefix)) continue;
    std::string_view text = TrimmedRight(line.substr(kPrefix.size()));
    const bool goesOn = text.ends_with('-');
    if (goesOn) text.remove_suffix(1);
    whole += text;
    if (goesOn) continue;
    if (whole.starts_with(kCounts) && !IsPossible(whole.substr(kCounts.size()), lines.size())) {
      return false;
    }
    whole.clear();
  }
  return true;
}

// "" or a property that would be read as another: "M  RAD  1   3   1" is a singlet, two electrons
// that are paired.
std::string FaultOfProperties(const std::vector<std::string_view>& lines) {
  for (const std::string_view line : lines) {
    if (!line.starts_with("M  RAD")) continue;
    std::istringstream words{std::string(line.substr(6))};
    unsigned int count = 0;
    unsigned int atom = 0;
    unsigned int kind = 0;
    for (words >> count; count > 0 && words >> atom >> kind; --count) {
      if (kind == 1)
        return "Atom " + std::to_string(atom) + " is a singlet, which is not supported";
    }
  }
  return "";
}

// What a text without a molecule looks like.
std::string DescribeOther(const std::vector<std::string_view>& lines) {
  std::size_t numFilled = 0;
  std::size_t numLikeSmiles = 0;
  for (const std::string_view line : lines) {
    if (std::ranges::any_of(line, [](unsigned char c) { return c < 0x20 && c != '\t'; })) {
      return "The record is no SDF: it has binary data";
    }
    const std::string_view text = Trimmed(line);
    if (text.empty() || text == "$$$$") continue;
    if (text.find("V2000") != std::string_view::npos ||
        text.find("V3000") != std::string_view::npos) {
      return "The record is cut short: it has no \"M  END\" line";
    }
    ++numFilled;
    const std::string_view word = text.substr(0, text.find_first_of(" \t"));
    const bool isLikeSmiles =
        word.find_first_not_of("BCNOPSFIHKLMRZabcdeghilnoprstu0123456789()[]=#@+-/\\.%") ==
            std::string_view::npos &&
        word.find_first_of("CNOPSFIcnos") != std::string_view::npos;
    if (isLikeSmiles) ++numLikeSmiles;
  }
  if (numFilled > 0 && numLikeSmiles == numFilled) {
    return "The record is no SDF: it looks like SMILES (a file named .smi)";
  }
  if (!lines.empty() && lines[0].starts_with("@<TRIPOS>")) return "The record is no SDF but MOL2";
  return "The record is no SDF: it has neither a counts line nor an \"M  END\" line";
}

bool IsCountsLine(std::string_view line) {
  const std::string_view text = TrimmedRight(line);
  return text.ends_with("V2000") || text.ends_with("V3000");
}

// A line of the header or of data that a reader would take for a mark.
bool IsMark(std::string_view line) {
  return line.starts_with("$$$$") || line.starts_with("M  END") || line.starts_with(">");
}

bool NeedsV3000(const QZGraphMol& mol) {
  if (mol.NumAtoms() > kMaxV2000 || mol.NumBonds() > kMaxV2000) return true;
  const std::vector<double>& coords = QZMolAccess::Impl(mol).coords;
  return std::ranges::any_of(coords,
                             [](double value) { return std::fabs(value) > kMaxV2000Coordinate; });
}

void WriteData(const QZMolBase& mol, std::string& text, std::string& note) {
  for (const auto& [tag, value] : QZMolAccess::Impl(mol).sdData) {
    std::string name = tag;
    const auto isBad = [](unsigned char c) { return c < 0x20 || c == 0x7f; };
    if (std::ranges::any_of(name, isBad)) {
      std::ranges::replace_if(name, isBad, ' ');
      note = "control characters of the SD tag \"" + name + "\" are written as blanks";
    }
    text += ">  <" + name + ">\n";
    // A blank line would end the item.
    for (const std::string_view line : Lines(value)) {
      if (TrimmedRight(line).empty()) continue;
      if (line.starts_with("$$$$")) {
        note = "a line \"$$$$\" of the SD data \"" + name + "\" is written with a blank before it";
        text += ' ';
      }
      text.append(line).append("\n");
    }
    text += "\n";
  }
}

}  // namespace

std::string ReadSdf(const std::string& text, QZGraphMol& mol) {
  std::vector<std::string_view> lines = Lines(text);
  // Blank lines before the first record, beyond those of its header.
  constexpr std::size_t kHeaderLines = 3;
  const auto counts = std::ranges::find_if(lines, IsCountsLine);
  if (counts != lines.end()) {
    const auto before = static_cast<std::size_t>(counts - lines.begin());
    std::size_t surplus = before > kHeaderLines ? before - kHeaderLines : 0;
    while (surplus > 0 && Trimmed(lines.front()).empty()) {
      lines.erase(lines.begin());
      --surplus;
    }
  }
  const auto header = std::min(kHeaderLines, lines.size());
  const auto end = std::find_if(lines.begin() + static_cast<std::ptrdiff_t>(header),
                                lines.end(),
                                [](std::string_view line) { return line.starts_with("M  END"); });
  if (end == lines.end()) return DescribeOther(lines);
  if (lines.size() < kHeaderLines + 1) return "The record has no counts line";
  if (!HasPossibleCounts(lines)) {
    return "The counts line asks for more atoms or bonds than the record has lines";
  }
  const std::vector<std::string_view> block(lines.begin(), end + 1);
  if (std::string fault = FaultOfProperties(block); !fault.empty()) return fault;
  const char* const first = lines[0].data();
  std::string error = ParseMolBlock(
      std::string(first, static_cast<std::size_t>(end->data() + end->size() - first)) + "\n", mol);
  if (!error.empty()) return error;
  mol.SetTitle(std::string(TrimmedRight(lines[0])).c_str());
  SetDimension(mol, DimensionOf(lines[1]));
  ReadData(lines, static_cast<std::size_t>(end - lines.begin()) + 1, mol);
  return "";
}

std::string WriteSdf(const QZGraphMol& mol,
                     std::string title,
                     std::ostream& out,
                     std::string& note) {
  std::string text;
  std::string error = MakeMolBlock(mol, NeedsV3000(mol), text);
  if (!error.empty()) return error;
  if (IsMark(title)) {
    title = std::string(" ").append(title);
    note = "its title would break the format and is written with a blank before it";
  }
  // RDKit writes the title as it is, line breaks included.
  text.replace(0, std::strlen(mol.GetTitle()), title);
  WriteData(mol, text, note);
  out << text << "$$$$\n";
  return "";
}

}  // namespace QZChem
