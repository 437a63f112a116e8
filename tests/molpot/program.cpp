// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpot/program.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <deque>
#include <fstream>
#include <iomanip>
#include <regex>
#include <set>
#include <sstream>

namespace TestMolpot {
namespace {

namespace fs = std::filesystem;

std::string Located(const std::string& name) {
  return name.starts_with("data/") ? MOLPOTENTIAL_DATA_DIR + name.substr(4) : name;
}

}  // namespace

namespace {

// Runs a program in a folder with its standard streams on files; its output and how it ended.
ProgramResult RunIn(const fs::path& folder,
                    std::deque<std::string> words,
                    const std::string& input) {
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  const Scratch streams;
  streams.File("in", input);
  const pid_t child = fork();
  if (child == 0) {
    if (chdir(folder.c_str()) != 0 || !std::freopen((streams / "in").c_str(), "r", stdin) ||
        !std::freopen((streams / "out").c_str(), "w", stdout) ||
        !std::freopen((streams / "err").c_str(), "w", stderr)) {
      _exit(126);
    }
    execv(argv[0], argv.data());
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status),
          streams.Read("out"),
          streams.Read("err")};
}

}  // namespace

ProgramResult Scratch::Molpot(const std::string& commandLine, const std::string& input) const {
  std::istringstream line(commandLine);
  std::deque<std::string> words{MOLPOT_PROGRAM};
  for (std::string word; line >> std::quoted(word, '\'');) words.push_back(Located(word));
  return RunIn(path_, words, input);
}

ProgramResult Scratch::Shell(const std::string& script) const {
  static const std::regex folder("\\bdata/");
  const std::string located = std::regex_replace(script, folder, MOLPOTENTIAL_DATA_DIR "/");
  return RunIn(
      path_,
      {"/bin/sh", "-c", "molpot=" MOLPOT_PROGRAM "\nmolpot() { $molpot \"$@\"; }\n" + located},
      {});
}

Scratch::Scratch() {
  std::string name = (fs::temp_directory_path() / "molpot-test-XXXXXX").string();
  path_ = mkdtemp(name.data());
}

Scratch::~Scratch() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

void Scratch::File(const std::string& name, const std::string& text) const {
  std::ofstream(path_ / name, std::ios::binary) << text;
}

void Scratch::File(const std::string& name, const QZChem::QZGraphMol& mol) const {
  QZChem::qzmolostream((*this / name).c_str()).Write(mol);
}

std::string Scratch::Read(const std::string& name) const {
  std::ostringstream text;
  text << std::ifstream(path_ / Located(name), std::ios::binary).rdbuf();
  return text.str();
}

std::vector<QZChem::QZGraphMol> Scratch::Molecules(const std::string& name) const {
  QZChem::qzmolistream in((path_ / Located(name)).c_str());
  std::vector<QZChem::QZGraphMol> molecules;
  for (QZChem::QZGraphMol mol; QZChem::QZReadMolecule(in, mol);) molecules.push_back(mol);
  return molecules;
}

std::string Scratch::List() const {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(path_)) names.insert(entry.path().filename());
  std::string list;
  for (const auto& name : names) list += name + " ";
  return list;
}

}  // namespace TestMolpot
