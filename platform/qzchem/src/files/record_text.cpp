// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "files/record_text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <string_view>
#include <vector>

namespace QZChem {
namespace {

bool IsFull(const std::string& raw) {
  return raw.size() >= kMaxRecordBytes;
}

// "  3  2  0 ... V2000"
bool IsCountsLine(std::string_view line) {
  const std::string_view text = TrimmedRight(line);
  return (text.ends_with("V2000") || text.ends_with("V3000")) && text.size() >= 11 &&
         std::ranges::all_of(text.substr(0, text.size() - 5),
                             [](unsigned char c) { return c == ' ' || std::isalnum(c) != 0; }) &&
         Trimmed(line).find_first_of("0123456789") == 0;
}

bool NextSdfText(LineSource& in, std::string& raw) {
  constexpr std::size_t kHeaderLines = 3;
  std::vector<std::size_t> starts;  // of the lines since the last counts line
  std::size_t countsLines = 0;
  bool inItem = false;
  std::string line;
  while (!IsFull(raw) && in.Read(line)) {
    if (line.starts_with("$$$$")) {
      raw += line;
      return true;
    }
    const std::string_view text = TrimmedRight(line);
    if (text.empty()) inItem = false;
    // The mark behind the rest of a line that lost its end.
    if (!inItem && text.ends_with("$$$$") && starts.size() > kHeaderLines) {
      raw += line;
      return true;
    }
    const bool isCountsLine = !inItem && IsCountsLine(line);
    if (isCountsLine) ++countsLines;
    // A second molecule, or one behind the rest of a damaged one; blank lines may precede a
    // molecule.
    if (isCountsLine && starts.size() > kHeaderLines &&
        (countsLines > 1 ||
         !Trimmed(std::string_view(raw).substr(0, *(starts.end() - kHeaderLines))).empty())) {
      in.Unread(std::move(line));
      for (std::size_t i = 0; i < kHeaderLines; ++i) {
        in.Unread(raw.substr(starts.back()));
        raw.resize(starts.back());
        starts.pop_back();
      }
      return true;
    }
    // A molecule whose counts line is damaged has ended here all the same.
    if (countsLines == 0 && line.starts_with("M  END")) countsLines = 1;
    if (text.starts_with(">")) inItem = true;
    starts.push_back(raw.size());
    raw += line;
  }
  return !raw.empty();
}

bool NextMol2Text(LineSource& in, std::string& raw) {
  bool hasAtoms = false;
  bool hasBonds = false;
  bool isOpen = false;
  std::string line;
  while (!IsFull(raw) && in.Read(line)) {
    const bool startsBonds = line.starts_with("@<TRIPOS>BOND");
    const bool startsAtoms = line.starts_with("@<TRIPOS>ATOM");
    const bool startsRecord = line.starts_with("@<TRIPOS>MOLECULE");
    // Two lists of atoms or bonds: a line between them that begins a record is damaged.
    const bool isRepeat = (startsAtoms && hasAtoms) || (startsBonds && hasBonds);
    if (isRepeat || (startsRecord && (isOpen || hasAtoms || hasBonds))) {
      in.Unread(std::move(line));
      return true;
    }
    isOpen = isOpen || startsRecord;
    hasAtoms = hasAtoms || startsAtoms;
    hasBonds = hasBonds || startsBonds;
    raw += line;
  }
  return !raw.empty();
}

bool IsPdbAtom(std::string_view line) {
  return line.starts_with("ATOM  ") || line.starts_with("HETATM");
}

// Lines behind a record that hold no molecule of their own.
bool IsPdbTrailer(std::string_view line) {
  constexpr std::array<std::string_view, 6> kTrailers = {
      "CONECT", "MASTER", "TER", "ENDMDL", "END", "REMARK"};
  return TrimmedRight(line).empty() ||
         std::ranges::any_of(kTrailers, [line](auto name) { return line.starts_with(name); });
}

bool NextPdbText(LineSource& in, bool splitModels, std::string& raw) {
  bool hasAtoms = false;
  bool isClosed = false;  // by ENDMDL or END
  bool hasEnded = false;  // by END
  bool hasHeader = false;
  std::string line;
  while (!IsFull(raw) && in.Read(line)) {
    const bool startsModel = line.starts_with("MODEL ");
    const bool isNext = startsModel ? splitModels || hasEnded : isClosed && !IsPdbTrailer(line);
    // A header where an end was lost.
    const bool isHeader = line.starts_with("HEADER") || line.starts_with("COMPND");
    if (hasAtoms && (isNext || isHeader)) {
      in.Unread(std::move(line));
      return true;
    }
    if (IsPdbAtom(line)) hasAtoms = true;
    if (startsModel) isClosed = false;
    hasHeader = hasHeader || isHeader;
    const bool isEnd = TrimmedRight(line) == "END";
    // One that lost its atoms must not take those of the next.
    if (isEnd && hasHeader && !hasAtoms) {
      raw += line;
      return true;
    }
    if (hasAtoms && isEnd) hasEnded = isClosed = true;
    if (hasAtoms && line.starts_with("ENDMDL")) isClosed = true;
    raw += line;
  }
  return !raw.empty();
}

// The number that stands alone on a line; 0 for anything else.
std::size_t LoneCount(std::string_view line) {
  const std::string_view text = Trimmed(line);
  std::size_t count = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
  return error == std::errc() && end == text.data() + text.size() ? count : 0;
}

// A symbol and three more words.
bool LooksLikeXyzAtom(std::string_view line) {
  std::size_t words = 0;
  for (line = Trimmed(line); !line.empty(); line = Trimmed(line)) {
    line.remove_prefix(std::min(line.find_first_of(" \t"), line.size()));
    ++words;
  }
  return words >= 4;
}

// True when the number just read is not the count of a record, because another count and its
// comment follow instead of a comment and atoms.
bool IsStrayCount(LineSource& in) {
  std::string comment;
  if (!in.Read(comment)) return false;
  bool isStray = false;
  if (LoneCount(comment) > 0) {
    std::string line;
    if (in.Read(line)) {
      isStray = !LooksLikeXyzAtom(line);
      in.Unread(std::move(line));
    }
  }
  in.Unread(std::move(comment));
  return isStray;
}

bool NextXyzText(LineSource& in, std::string& raw) {
  std::string line;
  while (in.Read(line) && TrimmedRight(line).empty()) raw += line;
  if (line.empty()) return !raw.empty();
  const std::size_t count = LoneCount(line);
  raw += line;
  if (count > 0 && IsStrayCount(in)) return true;
  if (count > 0 && in.Read(line)) raw += line;  // the comment, whatever it is
  for (std::size_t i = 0; (count == 0 || i < count) && !IsFull(raw) && in.Read(line); ++i) {
    if (LoneCount(line) > 0) {
      in.Unread(std::move(line));
      break;
    }
    raw += line;
  }
  return true;
}

// A line; blank ones go with the next.
bool NextSmilesText(LineSource& in, std::string& raw) {
  std::string line;
  while (in.Read(line)) {
    raw += line;
    if (!Trimmed(line).empty()) return true;
  }
  return false;
}

}  // namespace

bool NextRecordText(LineSource& in, const RecordFormat& format, std::string& raw) {
  raw.clear();
  const auto next = [&] {
    switch (format.kind) {
      case QZMolFormat::MOL2:
        return NextMol2Text(in, raw);
      case QZMolFormat::PDB:
        return NextPdbText(in, format.model == 0, raw);
      case QZMolFormat::XYZ:
        return NextXyzText(in, raw);
      case QZMolFormat::SMILES:
        return NextSmilesText(in, raw);
      case QZMolFormat::SDF:
        break;
    }
    return NextSdfText(in, raw);
  };
  return next() && !Trimmed(raw).empty();
}

}  // namespace QZChem
