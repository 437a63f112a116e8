// Copyright (c) the molpotential authors.
// SPDX-License-Identifier: BSD-3-Clause
#include <cmath>
#include <cstdio>
#include <memory>
#include <numbers>

#include "commands/commands.h"
#include "constr/constr.h"
#include "input/errors.h"
#include "input/records.h"
#include "input/words.h"
#include "output/console.h"
#include "output/files.h"
#include "output/tables.h"
#include "run/energy.h"
#include "run/interrupt.h"

namespace Molpot {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
// Holds the dihedral within some 0.03 degrees against a torque of 10 kcal/mol/rad.
constexpr double kHold = 1.0e4;

struct ScanArguments {
  Source source;
  Task task;
  std::string torsion;
  double from = -180.0;
  double to = 180.0;
  double step = 15.0;
  std::string output;
};

struct ScanPoint {
  double angle;    // asked for, degrees
  double reached;  // degrees
  double energy;   // of the force field alone
  QZOpt::QZOptResult result;
};

std::string CsvText(const std::vector<ScanPoint>& points, double lowest) {
  std::string text =
      "angle_deg,reached_deg,energy_kcal_mol,relative_kcal_mol,iterations,converged\n";
  for (const ScanPoint& p : points) {
    char line[160];
    std::snprintf(line,
                  sizeof line,
                  "%.4f,%.4f,%.6f,%.6f,%u,%s\n",
                  p.angle,
                  p.reached,
                  p.energy,
                  p.energy - lowest,
                  p.result.iterations,
                  p.result.converged ? "yes" : "no");
    text += line;
  }
  return text;
}

void Plot(const std::vector<ScanPoint>& points, double lowest, const std::string& path) {
  // The path stands between single quotes, in which gnuplot doubles a quote.
  std::string quoted;
  for (const char c : path) quoted += c == '\'' ? std::string("''") : std::string(1, c);
  std::FILE* gnuplot = popen("gnuplot", "w");
  if (gnuplot == nullptr) throw UsageError("gnuplot cannot be started for " + path);
  std::fprintf(gnuplot,
               "set terminal svg size 720,480 background 'white'\nset output '%s'\n"
               "set xlabel 'torsion / degrees'\nset ylabel 'relative energy / kcal/mol'\n"
               "set grid\nunset key\nplot '-' using 1:2 with linespoints pointtype 7\n",
               quoted.c_str());
  for (const ScanPoint& p : points) {
    std::fprintf(gnuplot, "%.6f %.6f\n", p.angle, p.energy - lowest);
  }
  std::fputs("e\n", gnuplot);
  if (pclose(gnuplot) != 0) throw UsageError(path + ": gnuplot could not draw the plot");
}

class Scan {
 public:
  Scan(const Task& task, QZChem::QZGraphMol& mol, std::vector<unsigned int> atoms)
      : task_(task),
        mol_(mol),
        atoms_(std::move(atoms)),
        field_(MakeForceField(task.forceField)),
        hold_(kHold, 0.0) {
    hold_.SetTorsion(atoms_[0], atoms_[1], atoms_[2], atoms_[3]);
    sum_.Add(*field_, /*own=*/false);
    sum_.Add(hold_, /*own=*/false);
    if (!sum_.Setup(mol_)) throw RecordError(task.forceField + " cannot describe this molecule");
  }

  // Relaxes the molecule with its torsion at `degrees`, from where it stands.
  ScanPoint Relax(double degrees) {
    const auto atom = [this](std::size_t k) { return mol_.GetAtom(atoms_[k]); };
    // In a ring no side can be turned; the restraint then pulls the torsion along.
    QZChem::QZSetTorsion(mol_, atom(0), atom(1), atom(2), atom(3), degrees * kDegree);
    hold_.Set_phi0(degrees * kDegree);
    std::vector<double> x(std::size_t{3} * mol_.AtomIndexBound());
    mol_.GetCoords(x.data());
    ScanPoint point{degrees, 0.0, 0.0, {}};
    point.result = QZOpt::QZMinimizer(task_.optimizer).Minimize(sum_, x.data());
    mol_.SetCoords(x.data());
    point.reached = QZChem::QZGetTorsion(mol_, atom(0), atom(1), atom(2), atom(3)) / kDegree;
    point.energy = (*field_)(x.data());
    mol_.SetEnergy(point.energy);
    return point;
  }

 private:
  const Task& task_;
  QZChem::QZGraphMol& mol_;
  std::vector<unsigned int> atoms_;
  std::unique_ptr<QZMolPotential::QZStandardFF> field_;
  QZConstr::QZTorsionAngleRestraint hold_;
  QZMolPotential::QZGenericFF sum_;
};

std::vector<unsigned int> OneTorsion(const AtomTuple& tuple, const QZChem::QZMolBase& mol) {
  const auto groups = tuple.Resolve(mol);
  if (groups.size() > 1) {
    PrintMessage("--torsion: \"" + tuple.Text() + "\" matches " + std::to_string(groups.size()) +
                 " times, the first is scanned");
  }
  return groups.front();
}

unsigned int NumPoints(const ScanArguments& args) {
  if (!(args.step > 0.0) || !(args.to >= args.from)) {
    throw UsageError("--step must be positive and --to not below --from");
  }
  // A hair above the quotient, so that --to itself is met despite rounding.
  const double count = std::floor((args.to - args.from) / args.step + 1e-9) + 1.0;
  if (count > 100000.0) throw UsageError("--step: more than 100,000 points");
  return static_cast<unsigned int>(count);
}

int RunScan(ScanArguments& args) {
  std::vector<std::string> words = Words(args.torsion);
  const AtomTuple tuple("--torsion", 4, words);
  ExpectEnd("--torsion", words);
  const unsigned int count = NumPoints(args);
  unsigned int failed = 0;
  auto records = ReadAll(args.source.input, args.source.format, failed);
  if (failed > 0 || records.size() != 1) {
    throw UsageError(args.source.input + ": a scan takes a file of one good record");
  }
  std::vector<NamedPath> outputs;
  for (const char* ending : {".csv", ".sdf", ".svg"}) {
    outputs.push_back({std::string("-o (") + ending + ")", args.output + ending});
  }
  RequireDistinct({{"the input", args.source.input}}, outputs);
  const InterruptGuard guard;
  OutputPath svg(args.output + ".svg");
  TextOutput csv(args.output + ".csv");
  MolOutput geometries(args.output + ".sdf");
  Outcome& record = records.front();
  Prepare(args.task, record.mol);
  Scan scan(args.task, record.mol, OneTorsion(tuple, record.mol));
  std::vector<ScanPoint> points;
  for (unsigned int i = 0; i < count; ++i) {
    points.push_back(scan.Relax(args.from + i * args.step));
    if (IsInterrupted()) return kInterrupted;
    CheckStandardOutput();
    const ScanPoint& p = points.back();
    char text[64];
    std::snprintf(text, sizeof text, "%.4f", p.reached);
    QZChem::QZSetSDData(record.mol, "Torsion (degrees)", text);
    std::snprintf(text, sizeof text, "%.6f", p.energy);
    QZChem::QZSetSDData(record.mol, "Energy (kcal/mol)", text);
    geometries.Write(record.mol);
    std::printf("%9.3f°  %14.5f kcal/mol  %5u iterations%s\n",
                p.angle,
                p.energy,
                p.result.iterations,
                p.result.converged ? "" : "  not converged");
  }
  double lowest = points.front().energy;
  bool allConverged = true;
  for (const ScanPoint& p : points) {
    lowest = std::min(lowest, p.energy);
    allConverged = allConverged && p.result.converged;
  }
  csv.Write(CsvText(points, lowest));
  csv.Commit();
  geometries.Commit();
  Plot(points, lowest, svg.Temporary());
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
    PrintMessage(args.source.input + ": record 1: " + error.what());
    return kSomeFailed;
  }
}

}  // namespace

void AddScan(CLI::App& app, Action& action) {
  auto args = std::make_shared<ScanArguments>();
  CLI::App& command = *app.add_subcommand(
      "scan", "Relax a molecule at a series of torsion angles: energies, geometries and a plot");
  args->source.AddTo(command, args->task);
  command
      .add_option("--torsion",
                  args->torsion,
                  "\"i j k l\": atom numbers from 1, or a SMARTS with map numbers 1 to 4")
      ->required();
  command.add_option("--from", args->from, "First angle, degrees")
      ->check(kFinite)
      ->capture_default_str();
  command.add_option("--to", args->to, "Last angle, degrees")
      ->check(kFinite)
      ->capture_default_str();
  command.add_option("--step", args->step, "Degrees between points")
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
  command.callback([args, &action] { action = [args] { return ReportRecordErrors(*args); }; });
}

}  // namespace Molpot
