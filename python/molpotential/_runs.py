# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""Minimisations, scans, normal modes and checks, and what they return."""

import time
from dataclasses import dataclass, field, fields

import numpy as np

from . import _core
from ._core import MolPotentialError


class ConvergenceError(MolPotentialError):
    """A run that did not converge, raised on request; `result` is what it reached."""

    def __init__(self, result):
        super().__init__(result.message)
        self.result = result


class _Report:
    """A readable table of the fields that are no arrays."""

    def _rows(self):
        for item in fields(self):
            value = getattr(self, item.name)
            if isinstance(value, np.ndarray):
                value = f"array of shape {value.shape}"
            elif isinstance(value, float):
                value = f"{value:.6g}"
            yield item.name, value

    def to_dict(self):
        """The fields that are no arrays, by name: a row for pandas.DataFrame."""
        values = {item.name: getattr(self, item.name) for item in fields(self)}
        return {name: v for name, v in values.items() if not isinstance(v, np.ndarray)}

    def __repr__(self):
        rows = list(self._rows())
        width = max(len(name) for name, _ in rows)
        return "\n".join(f"{name:>{width}}: {value}" for name, value in rows)

    def _repr_html_(self):
        rows = "".join(f"<tr><th>{name}</th><td>{value}</td></tr>" for name, value in self._rows())
        return f"<table>{rows}</table>"


@dataclass(repr=False)
class Result(_Report):
    """What a minimisation reached. energy in kcal/mol; gradient_norm: root mean square of the
    gradient in the run's variables, kcal/mol per Å or radian; coords shaped as the start, Å;
    multipliers: dE/dc of every constraint; method: that of the last steps."""

    coords: np.ndarray
    energy: float
    converged: bool
    gradient_norm: float
    iterations: int
    evaluations: int
    message: str
    multipliers: list = field(default_factory=list)
    method: str = ""
    coordinates: str = "cartesian"
    variables: int = 0


@dataclass(repr=False)
class Check(_Report):
    """Worst relative errors of the derivatives against finite differences, and the variables that
    have them; hessian is None when it was not looked at."""

    gradient: float
    hessian: float | None = None
    gradient_at: int = 0
    hessian_at: tuple = (0, 0)

    def passes(self, tolerance=1e-4):
        """Whether no error is above the tolerance."""
        return self.gradient <= tolerance and (self.hessian is None or self.hessian <= tolerance)


@dataclass(frozen=True)
class Constraint:
    """What a minimisation keeps at `value`, or between `low` and `high`; with none of them at what it
    is at the start.

    kind: "distance" (Å), "angle" or "torsion" (degrees) of 2, 3 or 4 atoms; "distance-difference" of
    atoms 0 and 1 less that of 2 and 3, "plane-height" of atom 3 above that of 0, 1 and 2,
    "centroid-distance" of two groups of atoms, "rmsd" of atoms from `reference`, (atoms, 3), after
    superposition (all Å). Atoms are indices; groups may be selections.
    """

    kind: str
    atoms: tuple
    value: float | None = None
    low: float | None = None
    high: float | None = None
    reference: object = None


@dataclass(repr=False)
class NormalModes(_Report):
    """Harmonic vibrations about `coords`, (N, 3) in Å. frequencies: (modes,) in cm⁻¹, imaginary ones
    negative and first; modes: (modes, N, 3), displacements of length 1; energies in kcal/mol, entropy
    in kcal/mol/K, all vibrational."""

    frequencies: np.ndarray
    modes: np.ndarray
    imaginary: int
    gradient_norm: float
    zero_point_energy: float
    entropy: float
    free_energy: float
    coords: np.ndarray = field(default_factory=lambda: np.empty((0, 3)))

    def animation(self, mode, frames=20, amplitude=0.5):
        """One period of a mode: (frames, N, 3) in Å, the atom that moves most by `amplitude` Å."""
        return _core._animate(self.modes[mode], self.coords, frames, amplitude)

    def molecules(self, mol, mode, frames=20, amplitude=0.5):
        """The same as copies of a molecule, to be written to a file."""
        data = {"Mode": mode + 1, "Frequency (cm-1)": f"{self.frequencies[mode]:.10g}"}
        return [_posed(mol, x, data) for x in self.animation(mode, frames, amplitude)]


@dataclass(repr=False)
class Scan(_Report):
    """A relaxed scan. values (points,) in `unit`; energies (points,) in kcal/mol; slopes (points,):
    dE/dvalue; coords: (points, N, 3) in Å; a point that was not reached is NaN, and converged says
    which can be trusted.

    With a second coordinate, `values2` in `unit2`: energies (points, points2), slopes (points,
    points2, 2), coords (points, points2, N, 3).
    """

    kind: str
    unit: str
    values: np.ndarray
    energies: np.ndarray
    coords: np.ndarray
    slopes: np.ndarray
    converged: np.ndarray
    messages: list
    kind2: str = ""
    unit2: str = ""
    values2: np.ndarray = field(default_factory=lambda: np.empty(0))

    def _places(self):
        if not self.kind2:
            return [(value,) for value in self.values]
        return [(first, second) for first in self.values for second in self.values2]

    def frame(self):
        """The points as a pandas DataFrame: energy, relative energy, slopes, converged."""
        import pandas

        names = [f"{self.kind} ({self.unit})"]
        slopes = {"slope": self.slopes.ravel()}
        if self.kind2:
            names.append(f"{self.kind2} 2 ({self.unit2})")
            slopes = {f"slope {k + 1}": self.slopes[..., k].ravel() for k in (0, 1)}
        columns = {
            "energy": self.energies.ravel(),
            "relative": (self.energies - self.energies[self.converged].min(initial=np.inf)).ravel(),
            **slopes,
            "converged": self.converged.ravel(),
        }
        index = pandas.MultiIndex.from_tuples(self._places(), names=names)
        if not self.kind2:
            index = pandas.Index(self.values, name=names[0])
        return pandas.DataFrame(columns, index=index)

    def molecules(self, mol):
        """The points that were reached as copies of a molecule, to be written to a file."""
        labels = [f"{self.kind.capitalize()} ({self.unit})"]
        if self.kind2:
            labels.append(f"{self.kind2.capitalize()} 2 ({self.unit2})")
        rows = zip(
            self._places(),
            self.energies.ravel(),
            self.converged.ravel(),
            self.messages,
            self.coords.reshape(-1, *self.coords.shape[-2:]),
        )
        found = []
        for place, energy, converged, message, x in rows:
            if np.isnan(energy):
                continue
            data = {label: f"{value:.4f}" for label, value in zip(labels, place)}
            data["Energy (kcal/mol)"] = f"{energy:.10g}"
            data["molpotential.converged"] = "yes" if converged else "no"
            data["molpotential.reason"] = message
            found.append(_posed(mol, x, data))
        return found


@dataclass(repr=False)
class Comparison:
    """One minimisation in every coordinate system: results and seconds by name, and why others were
    refused."""

    results: dict
    seconds: dict
    refused: dict

    def frame(self):
        """A pandas DataFrame, a row for each coordinate system."""
        import pandas

        rows = {
            name: {**result.to_dict(), "seconds": self.seconds[name]}
            for name, result in self.results.items()
        }
        columns = "variables iterations evaluations seconds energy gradient_norm converged".split()
        return pandas.DataFrame.from_dict(rows, orient="index", columns=columns)

    def __repr__(self):
        heading = f"{'coordinates':>13} {'variables':>9} {'evaluations':>11} {'s':>8} {'energy':>12}"
        lines = [heading]
        for name, result in self.results.items():
            mark = "" if result.converged else "  not converged"
            lines.append(
                f"{name:>13} {result.variables:>9} {result.evaluations:>11} "
                f"{self.seconds[name]:>8.3f} {result.energy:>12.4f}{mark}"
            )
        lines += [f"{name:>13} -: {reason}" for name, reason in self.refused.items()]
        return "\n".join(lines)

    def _repr_html_(self):
        return f"<pre>{self!r}</pre>"


def _posed(mol, x, data):
    copy = mol.copy()
    copy.coords = x
    for tag, value in data.items():
        copy.set_data(tag, str(value))
    return copy


def _plain(x0):
    return np.ascontiguousarray(x0, dtype=float)


def minimize(
    f,
    x0,
    coordinates="cartesian",
    gradient_tolerance=1e-4,
    max_iterations=5000,
    method="auto",
    fixed=None,
    constraints=(),
    callback=None,
    raise_on_failure=False,
    move=None,
    max_seconds=None,
):
    """Minimises a bound Function from `x0`, (N, 3) or flat in Å.

    coordinates: see `Coordinates`. gradient_tolerance: root mean square, kcal/mol per Å or radian.
    method: "auto", "quasi-newton" or "newton". fixed: atoms that do not move, as indices or a
    selection; move: the atoms that do, all others being fixed. max_seconds: after which it stops.
    constraints: Constraint objects; their multipliers are dE/dc in kcal/mol per Å or radian.
    callback(iteration, energy, gradient_norm, coords): called at every iteration; False stops.
    raise_on_failure: raise ConvergenceError instead of returning a result that is not converged.
    """
    options = _core._Options(gradient_tolerance, max_iterations, method, max_seconds)
    result = Result(
        **_core._minimize(
            f, _plain(x0), coordinates, options, fixed, move, list(constraints), callback
        )
    )
    if raise_on_failure and not result.converged:
        raise ConvergenceError(result)
    return result


def minimize_conformers(
    f,
    coords,
    coordinates="cartesian",
    gradient_tolerance=1e-4,
    max_iterations=5000,
    method="auto",
    fixed=None,
    move=None,
    max_seconds=None,
    threads=1,
):
    """Minimises a bound Function from each of several starts, `coords` (C, N, 3) in Å, and returns
    a list of Result in their order; threads: how many at once, else as `minimize`."""
    options = _core._Options(gradient_tolerance, max_iterations, method, max_seconds)
    places = np.array(coords, dtype=float)
    found = _core._minimize_conformers(f, places, coordinates, options, fixed, move, threads)
    return [
        Result(coords=x, coordinates=coordinates, **values) for x, values in zip(places, found)
    ]


def compare(f, x0, coordinates=None, fixed=None, gradient_tolerance=1e-4, max_iterations=5000):
    """The same minimisation from `x0`, (N, 3) or flat in Å, in several coordinate systems, by
    default all; see `minimize`."""
    found = Comparison({}, {}, {})
    for name in coordinates or _core.COORDINATES:
        begun = time.perf_counter()
        try:
            found.results[name] = minimize(
                f, x0, name, gradient_tolerance, max_iterations, fixed=fixed
            )
        except MolPotentialError as error:
            found.refused[name] = str(error)
        found.seconds[name] = time.perf_counter() - begun
    return found


def normal_modes(
    f,
    x,
    coordinates="cartesian",
    fixed=None,
    temperature=298.15,
    lowest_frequency=0.0,
    move=None,
    masses=(),
    atoms_held=False,
):
    """Normal modes of a bound Function about the minimum `x`, (N, 3) or flat in Å.

    coordinates, fixed, move: modes of these variables only, as in `Coordinates`. temperature: K.
    lowest_frequency: softer modes count as if they had this frequency (cm⁻¹) in entropy and free
    energy. masses: (N,) in u in place of the elements', 0 for those. atoms_held: atoms that internal
    variables do not move are held in space. Look at gradient_norm: frequencies mean what they say
    where it is small.
    """
    x = _plain(x)
    system = _core.Coordinates(f, coordinates, x, fixed=fixed, move=move)
    masses = [float(mass) for mass in masses]
    found = _core._normal_modes(system, x, temperature, lowest_frequency, masses, atoms_held)
    return NormalModes(coords=x.reshape(-1, 3).copy(), **found)


def _unit(kind):
    return "degrees" if kind in ("angle", "torsion") else "Å"


def scan(
    f,
    x0,
    kind,
    atoms,
    values,
    gradient_tolerance=1e-4,
    max_iterations=5000,
    second=None,
    constraints=(),
    callback=None,
):
    """Minimises a bound Function from `x0`, (N, 3) or flat in Å, at each of `values` (Å or degrees)
    of a "distance", "angle" or "torsion" of `atoms`, forward and back, and keeps the lower energy.

    kind may be any other of a `Constraint` but "rmsd". second: (kind, atoms, values) of another one,
    for a map. constraints: hold at every point. callback(run, runs, energy): called after each
    minimisation; False stops.
    """
    drives = [(kind, atoms, [float(value) for value in values])]
    if second is not None:
        drives.append((second[0], second[1], [float(value) for value in second[2]]))
    options = _core._Options(gradient_tolerance, max_iterations)
    found = _core._scan(f, _plain(x0), drives, list(constraints), options, callback)
    first = np.array(drives[0][2])
    if second is None:
        found["slopes"] = found["slopes"][:, 0]
        return Scan(kind, _unit(kind), first, **found)
    other = np.array(drives[1][2])
    shape = (len(first), len(other))
    for name in ("energies", "slopes", "coords", "converged"):
        found[name] = found[name].reshape(*shape, *found[name].shape[1:])
    return Scan(
        kind,
        _unit(kind),
        first,
        **found,
        kind2=second[0],
        unit2=_unit(second[0]),
        values2=other,
    )


def check(f, x, hessian=True, step=1e-5):
    """Compares gradient and Hessian of a bound Function, at `x`, (N, 3) or flat in Å, or of
    `Coordinates`, at variables, with finite differences; step: theirs, relative to max(1, |x|)."""
    return Check(**_core._check(f, _plain(x), hessian, step))
