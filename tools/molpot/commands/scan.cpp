// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>

#include "commands/commands.h"
#include "input/drive.h"
#include "input/errors.h"
#include "output/console.h"
#include "output/files.h"
#include "output/format.h"
#include "output/plot.h"
#include "output/tables.h"
#include "run/interrupt.h"
#include "run/relaxed_scan.h"

namespace Molpot {
namespace {

struct ScanArguments {
  SourceArguments source;
  Task task;
  RestraintArguments restraints;
  std::vector<std::string> scans;
  std::string torsion;
  double from = -180.0;
  double to = 180.0;
  double step = 15.0;
  std::string output;
};

std::vector<Drive> Drives(const ScanArguments& args) {
  std::vector<Drive> drives;
  if (!args.torsion.empty()) {
    drives.push_back(Drive::Torsion(args.torsion, args.from, args.to, args.step));
  }
  for (const auto& text : args.scans) drives.push_back(Drive::Parse(text));
  if (drives.empty() || drives.size() > 2) {
    throw UsageError("--scan: one or two coordinates are scanned");
  }
  return drives;
}

// "angle_deg" of a single coordinate, "torsion1_deg" of the first of two.
std::string Heading(const std::vector<Drive>& drives, std::size_t k, const std::string& what) {
  return what + (drives.size() > 1 ? std::to_string(k + 1) : "") + "_";
}

std::string CsvText(const RelaxedScan& scan,
                    const std::vector<Drive>& drives,
                    const std::vector<QZOpt::QZScanPoint>& points,
                    double lowest) {
  std::string text;
  std::string slopes;
  for (std::size_t k = 0; k < drives.size(); ++k) {
    const std::string name = drives[k].IsTorsion() ? "angle" : drives[k].Name();
    text += Heading(drives, k, name) + drives[k].UnitWord() + "," + Heading(drives, k, "reached") +
            drives[k].UnitWord() + ",";
    slopes += "," + Heading(drives, k, "slope") + "kcal_mol_" +
              (std::string(drives[k].Unit()) == "Å" ? "A" : "rad");
  }
  text += "energy_kcal_mol,relative_kcal_mol,iterations,converged" + slopes + "\n";
  for (const QZOpt::QZScanPoint& p : points) {
    for (std::size_t k = 0; k < drives.size(); ++k) {
      text += Format("%.4f,%.4f,", p.targets[k] / drives[k].ToLibrary(), scan.Reached(k, p));
    }
    text += Format(
        "%.6f,%.6f,%u,%s", p.energy, p.energy - lowest, p.iterations, p.converged ? "yes" : "no");
    for (const double slope : p.slopes) text += Format(",%.6f", slope);
    text += "\n";
  }
  return text;
}

void WriteGeometries(const RelaxedScan& scan,
                     const std::vector<Drive>& drives,
                     const std::vector<QZOpt::QZScanPoint>& points,
                     QZChem::QZGraphMol& mol,
                     MolOutput& output) {
  for (const QZOpt::QZScanPoint& point : points) {
    if (point.x.empty()) continue;
    mol.SetCoords(scan.Coords(point).data());
    mol.SetEnergy(point.energy);
    for (std::size_t k = 0; k < drives.size(); ++k) {
      std::string name = drives[k].Name();
      name[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[0])));
      const std::string number = k > 0 ? " 2" : "";
      QZChem::QZSetSDData(
          mol,
          name + number + (drives[k].IsTorsion() || name == "Angle" ? " (degrees)" : " (A)"),
          Format("%.4f", scan.Reached(k, point)));
    }
    QZChem::QZSetSDData(mol, "Energy (kcal/mol)", FullDigits(point.energy));
    QZChem::QZSetSDData(mol, "molpotential.converged", point.converged ? "yes" : "no");
    QZChem::QZSetSDData(mol, "molpotential.reason", point.message);
    output.Write(mol);
  }
}

ScanPlot MakePlot(const std::string& title,
                  const std::vector<Drive>& drives,
                  const std::vector<QZOpt::QZScanPoint>& points,
                  double lowest) {
  ScanPlot plot;
  plot.title = title;
  for (const Drive& drive : drives) {
    plot.labels.push_back(std::string(drive.Name()) + " " + drive.AtomsText() + " / " +
                          (drive.Unit() == std::string("Å") ? "Å" : "degrees"));
    plot.isTorsion.push_back(drive.IsTorsion());
  }
  for (const QZOpt::QZScanPoint& p : points) {
    ScanPlot::Sample sample{{}, p.energy - lowest, p.converged};
    for (std::size_t k = 0; k < drives.size(); ++k) {
      sample.targets.push_back(p.targets[k] / drives[k].ToLibrary());
    }
    plot.samples.push_back(sample);
  }
  return plot;
}

// Prints the points and tells whether all are good. Energies of failed points may be anything, and
// the lowest is that of a good one where there is one.
bool PrintPoints(const std::vector<Drive>& drives,
                 const std::vector<QZOpt::QZScanPoint>& points,
                 double& lowest) {
  lowest = std::numeric_limits<double>::infinity();
  bool allConverged = true;
  for (const QZOpt::QZScanPoint& p : points) {
    for (std::size_t k = 0; k < drives.size(); ++k) {
      std::printf("%9.3f%s ", p.targets[k] / drives[k].ToLibrary(), drives[k].Unit());
    }
    std::printf(" %14.5f kcal/mol  %5u iterations%s\n",
                p.energy,
                p.iterations,
                p.converged ? "" : ("  not converged: " + p.message).c_str());
    if (p.converged) lowest = std::min(lowest, p.energy);
    allConverged = allConverged && p.converged;
  }
  for (const QZOpt::QZScanPoint& p : points) {
    if (!std::isfinite(lowest) && std::isfinite(p.energy)) lowest = p.energy;
  }
  return allConverged;
}

int RunScan(ScanArguments& args) {
  const std::vector<Drive> drives = Drives(args);
  args.restraints.Parse(args.task);
  args.source.Parse(args.task);
  std::vector<NamedPath> outputs;
  for (const char* ending : {".csv", ".sdf", ".svg"}) {
    outputs.push_back({std::string("-o (") + ending + ")", args.output + ending});
  }
  RequireDistinct(InputFiles(args.source, args.task), outputs);
  unsigned int failed = 0;
  auto records = ReadAll(args.source, failed);
  if (failed > 0 || records.size() != 1) {
    throw UsageError(args.source.Name() + ": a scan takes a file of one good record");
  }
  const InterruptGuard guard;
  OutputPath svg(args.output + ".svg");
  TextOutput csv(args.output + ".csv");
  MolOutput geometries(args.output + ".sdf");
  QZChem::QZGraphMol& mol = records.front().mol;
  Prepare(args.task, mol);
  RelaxedScan scan(args.task, mol, drives);
  const std::vector<QZOpt::QZScanPoint> points = scan.Run();
  if (IsInterrupted()) {
    PrintMessage("interrupted; nothing is written");
    return kInterrupted;
  }
  double lowest = 0.0;
  const bool allConverged = PrintPoints(drives, points, lowest);
  CheckStandardOutput();
  WriteGeometries(scan, drives, points, mol, geometries);
  csv.Write(CsvText(scan, drives, points, lowest));
  Draw(MakePlot(records.front().title, drives, points, lowest), svg.Temporary());
  csv.Commit();
  geometries.Commit();
  svg.Commit();
  std::printf("%s.csv, %s.sdf and %s.svg written\n",
              args.output.c_str(),
              args.output.c_str(),
              args.output.c_str());
  return allConverged ? kAllGood : kSomeFailed;
}

int ReportRecordErrors(ScanArguments& args) {
  try {
    return RunScan(args);
  } catch (const RecordError& error) {
    PrintMessage(args.source.Name() + ": record 1: " + error.what());
    return kSomeFailed;
  }
}

}  // namespace

void AddScan(CLI::App& app, Action& action) {
  auto args = std::make_shared<ScanArguments>();
  CLI::App& command =
      *app.add_subcommand("scan",
                          "Relax a molecule along one or two torsions, distances or angles: "
                          "energies, geometries and a plot");
  AddSource(command, args->source, args->task);
  command
      .add_option("--scan",
                  args->scans,
                  "\"atoms from to step\", Å or degrees: two atoms are a distance, three an angle, "
                  "four a torsion. Atom numbers from 1, or a SMARTS with map numbers. Twice for a "
                  "map")
      ->expected(1)
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  command.add_option("--torsion",
                     args->torsion,
                     "\"i j k l\" or a SMARTS with map numbers 1 to 4: scanned by the next three");
  command.add_option("--from", args->from, "First angle of --torsion, degrees")
      ->check(kFinite)
      ->capture_default_str();
  command.add_option("--to", args->to, "Last angle of --torsion, degrees")
      ->check(kFinite)
      ->capture_default_str();
  command.add_option("--step", args->step, "Degrees between points of --torsion")
      ->check(kPositive)
      ->capture_default_str();
  command.add_option("-o,--output", args->output, "Prefix of the results: .csv, .sdf and .svg")
      ->required();
  command
      .add_option("--gradient-tolerance",
                  args->task.optimizer.gradientTolerance,
                  "RMS gradient of convergence, kcal/mol/Å")
      ->check(kPositive)
      ->capture_default_str();
  command
      .add_option("--max-iterations",
                  args->task.optimizer.maxIterations,
                  "Iterations a point and direction")
      ->capture_default_str();
  args->restraints.AddTo(command, /*takesConstraints=*/true);
  AddTimeLimit(command,
               args->task,
               "Seconds a point and direction, after which the point counts as not converged");
  command.callback([args, &action] { action = [args] { return ReportRecordErrors(*args); }; });
}

}  // namespace Molpot
