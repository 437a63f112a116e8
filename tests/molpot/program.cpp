// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include "molpot/program.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

namespace TestMolpot {

namespace fs = std::filesystem;

ProgramResult Molpot(const std::vector<std::string>& args,
                     const std::string& input,
                     double interruptAfter) {
  const Scratch scratch;
  const std::string in = scratch.File("in", input);
  const std::string out = scratch / "out";
  const std::string err = scratch / "err";
  std::vector<char*> argv{const_cast<char*>(MOLPOT_PROGRAM)};
  for (const auto& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    if (std::freopen(in.c_str(), "r", stdin) == nullptr ||
        std::freopen(out.c_str(), "w", stdout) == nullptr ||
        std::freopen(err.c_str(), "w", stderr) == nullptr) {
      _exit(126);
    }
    execv(MOLPOT_PROGRAM, argv.data());
    _exit(127);
  }
  if (interruptAfter > 0.0) {
    std::this_thread::sleep_for(std::chrono::duration<double>(interruptAfter));
    kill(child, SIGINT);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return {
      WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), ReadFile(out), ReadFile(err)};
}

Scratch::Scratch() {
  std::string name = (fs::temp_directory_path() / "molpot-test-XXXXXX").string();
  path_ = mkdtemp(name.data());
}

Scratch::~Scratch() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string Scratch::File(const std::string& name, const std::string& text) const {
  std::ofstream(path_ / name, std::ios::binary) << text;
  return (path_ / name).string();
}

std::vector<std::string> Scratch::List() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(path_)) {
    names.push_back(entry.path().filename().string());
  }
  std::ranges::sort(names);
  return names;
}

std::string ReadFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

std::string Data(const std::string& name) {
  return std::string(MOLPOTENTIAL_DATA_DIR) + "/" + name;
}

std::vector<QZChem::QZGraphMol> ReadMolecules(const std::string& path) {
  QZChem::qzmolistream in(path.c_str());
  std::vector<QZChem::QZGraphMol> molecules;
  for (QZChem::QZGraphMol mol; QZChem::QZReadMolecule(in, mol);) molecules.push_back(mol);
  return molecules;
}

}  // namespace TestMolpot
