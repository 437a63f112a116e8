# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""Minimisations, scans, normal modes and checks, and what they return."""

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
    gradient in the run's variables; coords shaped as the start; multipliers: dE/dc of every
    constraint."""

    coords: np.ndarray
    energy: float
    converged: bool
    gradient_norm: float
    iterations: int
    evaluations: int
    message: str
    multipliers: list = field(default_factory=list)


@dataclass(repr=False)
class Check(_Report):
    """Worst relative errors of the derivatives against finite differences; hessian is None when it
    was not looked at."""

    gradient: float
    hessian: float | None = None


@dataclass(frozen=True)
class Constraint:
    """A "distance" (Å), "angle" or "torsion" (degrees) of 2, 3 or 4 atoms that a minimisation keeps
    at `value`, or between `low` and `high`; with none of them at what it is in the molecule."""

    kind: str
    atoms: tuple
    value: float | None = None
    low: float | None = None
    high: float | None = None


@dataclass(repr=False)
class NormalModes(_Report):
    """Harmonic vibrations. frequencies: cm⁻¹, imaginary ones negative and first; modes: (modes, N,
    3), displacements of length 1; energies in kcal/mol, entropy in kcal/mol/K, all vibrational."""

    frequencies: np.ndarray
    modes: np.ndarray
    imaginary: int
    gradient_norm: float
    zero_point_energy: float
    entropy: float
    free_energy: float


@dataclass(repr=False)
class Scan(_Report):
    """A relaxed scan. values in `unit`; energies in kcal/mol; slopes: dE/dvalue; coords: (points, N,
    3); a point that was not reached is NaN, and converged says which can be trusted."""

    kind: str
    unit: str
    values: np.ndarray
    energies: np.ndarray
    coords: np.ndarray
    slopes: np.ndarray
    converged: list
    messages: list


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
):
    """Minimises a bound Function from `x0`, (N, 3) or flat.

    coordinates: see `Coordinates`. gradient_tolerance: root mean square, kcal/mol per Å or radian.
    method: "auto", "quasi-newton" or "newton". fixed: indices of atoms that do not move.
    constraints: Constraint objects; their multipliers are dE/dc in kcal/mol per Å or radian.
    callback(iteration, energy, gradient_norm, coords): called at every iteration; False stops.
    raise_on_failure: raise ConvergenceError instead of returning a result that is not converged.
    """
    result = Result(
        **_core._minimize(
            f,
            np.asarray(x0, dtype=float),
            coordinates,
            gradient_tolerance,
            max_iterations,
            method,
            _indices(fixed),
            list(constraints),
            callback,
        )
    )
    if raise_on_failure and not result.converged:
        raise ConvergenceError(result)
    return result


def _indices(atoms):
    return None if atoms is None else [int(atom) for atom in atoms]


def normal_modes(
    f, x, coordinates="cartesian", fixed=None, temperature=298.15, lowest_frequency=0.0
):
    """Normal modes of a bound Function about the minimum `x`.

    coordinates, fixed: modes of these variables only, as in `Coordinates`. temperature: K.
    lowest_frequency: softer modes count as if they had this frequency (cm⁻¹) in entropy and free
    energy. Look at gradient_norm: frequencies mean what they say where it is small.
    """
    x = np.asarray(x, dtype=float)
    system = _core.Coordinates(f, coordinates, x, _indices(fixed))
    return NormalModes(**_core._normal_modes(system, x, temperature, lowest_frequency))


def scan(f, x0, kind, atoms, values, gradient_tolerance=1e-4, max_iterations=5000):
    """Minimises a bound Function at each of `values` (Å or degrees) of a "distance", "angle" or
    "torsion" of `atoms`, forward and back, and keeps the lower energy."""
    values = [float(value) for value in values]
    found = _core._scan(
        f,
        np.asarray(x0, dtype=float),
        kind,
        _indices(atoms),
        values,
        gradient_tolerance,
        max_iterations,
    )
    found["values"] = np.array(values)
    return Scan(kind=kind, unit="Å" if kind == "distance" else "degrees", **found)


def check(f, x, hessian=True):
    """Compares gradient and Hessian of a bound Function with finite differences at `x`."""
    return Check(**_core._check(f, np.asarray(x, dtype=float), hessian))
