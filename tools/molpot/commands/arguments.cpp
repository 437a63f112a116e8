// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <cmath>

#include "commands/commands.h"

namespace Molpot {

namespace {

CLI::Validator Number(const char* what, bool (*isGood)(double)) {
  return {[what, isGood](std::string& text) {
            double value = 0.0;
            const bool isNumber = CLI::detail::lexical_cast(text, value) && std::isfinite(value);
            return isNumber && isGood(value) ? std::string() : "\"" + text + "\" is no " + what;
          },
          ""};
}

}  // namespace

const CLI::Validator kPositive = Number("positive number", [](double v) { return v > 0.0; });
const CLI::Validator kFinite = Number("finite number", [](double) { return true; });

void RefuseEmptyArguments(CLI::App& app) {
  const CLI::Validator notEmpty(
      [](std::string& text) {
        const bool isBlank = text.find_first_not_of(" \t\r\n") == std::string::npos;
        return isBlank ? std::string("the argument is empty") : std::string();
      },
      "");
  for (CLI::App* command : app.get_subcommands([](CLI::App*) { return true; })) {
    for (CLI::Option* option : command->get_options()) {
      if (option->get_items_expected_max() > 0) option->check(notEmpty);
    }
  }
}

void AddTimeLimit(CLI::App& command, Task& task, const std::string& help) {
  command.add_option("--time-limit", task.timeLimit, help + ". Default: none")->check(kPositive);
}

void AddSource(CLI::App& command, SourceArguments& source, Task& task) {
  const auto addList = [&command](const char* name, auto& into, const char* help) {
    command.add_option(name, into, help)
        ->expected(1)
        ->allow_extra_args(false)  // else "[C]" would be taken for a list
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  };
  command.add_option("INPUT",
                     source.path,
                     "Molecules: .sdf .mol .mol2 .pdb .xyz .smi, also with .gz; - is standard "
                     "input");
  addList("--smiles",
          source.smiles,
          "A molecule in place of INPUT: \"SMILES [title]\". May be repeated");
  command.add_option("--input-format",
                     source.format,
                     "Format of the input whatever its name: sdf, mol2, pdb, xyz or smi. Default: "
                     "by the extension, sdf for standard input");
  command.add_option("--model", source.model, "Model of a PDB file, from 1; 0: each is a record")
      ->capture_default_str();
  command
      .add_option("--alternate-location",
                  source.alternateLocation,
                  "Letter of the alternate locations of a PDB file that are read. Default: the "
                  "first of a residue")
      ->check([](const std::string& text) {
        return text.size() == 1 ? std::string() : "\"" + text + "\" is no letter";
      });
  addList("--template",
          source.templates,
          "Bond orders and charges for residues of PDB files and for XYZ: \"RES SMILES\", "
          "\"SMILES\" for any, or an SDF file whose titles are the residues. May be repeated");
  command
      .add_option(
          "--forcefield", task.forceField, "Force field: mmff94, mmff94s or uff, in either case")
      ->check(CLI::IsMember({"mmff94", "mmff94s", "uff"}, CLI::ignore_case))
      ->capture_default_str();
  command.add_option("--dielectric", task.dielectric, "Relative permittivity of the surroundings")
      ->check(kPositive)
      ->capture_default_str();
  command.add_flag("--distance-dependent-dielectric",
                   task.distanceDependent,
                   "The permittivity grows with the distance (times r / Å)");
  command
      .add_option("--cutoff",
                  task.cutoff,
                  "Å beyond which atoms do not interact, smoothly over the last 2 Å. Default: "
                  "every pair interacts")
      ->check(kPositive);
  command.add_flag("--largest-fragment",
                   task.largestFragment,
                   "Keep the connected part with most heavy atoms only, as of salts");
  command.add_flag("--add-hydrogens",
                   task.addHydrogens,
                   "Add missing hydrogens with coordinates, and make new coordinates for "
                   "two-dimensional records. Default: such records fail");
}

std::vector<NamedPath> InputFiles(const SourceArguments& source, const Task& task) {
  std::vector<NamedPath> files;
  if (!source.path.empty()) files.push_back({"the input", source.path});
  for (const auto& path : source.templates) files.push_back({"--template", path});
  for (const auto& path : task.restraints.Files()) files.push_back({"a file of a restraint", path});
  return files;
}

void SourceArguments::Parse(Task& task) const {
  if (!templates.empty()) task.templates = ReadTemplates(templates);
}

void RestraintArguments::AddSelectionsTo(CLI::App& command) {
  command
      .add_option(
          "--freeze",
          freeze,
          "Atoms that do not move: a SMARTS, \"atoms 1-20,33\", \"residue LIG\", \"residue "
          "45:A\", \"chain A\", \"component 2\", \"hydrogens\", \"within 6 of residue LIG\", "
          "joined by and, or, not and parentheses. Atoms count from 1")
      ->group("Restraints");
  command
      .add_option("--move", move, "The atoms that move, all others being frozen; as for --freeze")
      ->group("Restraints");
}

void RestraintArguments::AddTo(CLI::App& command, bool takesConstraints) {
  constraints = takesConstraints;
  // One argument holds all that belongs to one restraint, so an option takes exactly one.
  const auto add = [&command](const std::string& name, auto& into, const std::string& help) {
    command.add_option("--" + name, into, help + ". May be repeated")
        ->expected(1)
        ->allow_extra_args(false)  // else "[C]" would be taken for a list
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->group("Restraints");
  };
  AddSelectionsTo(command);
  for (const RestraintKind& kind : RestraintKinds()) {
    if (kind.isConstraint && !takesConstraints) continue;
    add(kind.name, byKind[kind.name], kind.help);
  }
  add("restraints",
      files,
      "A JSON file with a list of such restraints, each an object with the option's name as "
      "\"kind\" (restraints.schema.json describes it)");
}

void RestraintArguments::Parse(Task& task) const {
  for (const RestraintKind& kind : RestraintKinds()) {
    const auto arguments = byKind.find(kind.name);
    if (arguments == byKind.end()) continue;
    for (const std::string& argument : arguments->second) task.restraints.Add(kind, argument);
  }
  for (const std::string& path : files) task.restraints.AddFile(path, constraints);
  if (!freeze.empty()) task.freeze.emplace("--freeze", freeze);
  if (!move.empty()) task.move.emplace("--move", move);
}

}  // namespace Molpot
