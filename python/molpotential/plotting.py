# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""Pictures of runs and scans with matplotlib."""

import numpy as np

from ._runs import _posed


class Recorder:
    """A callback for `minimize` that keeps every iteration: iterations, energies (kcal/mol), gradients
    (root mean square, kcal/mol per Å or radian), coords (each (N, 3) in Å)."""

    def __init__(self, keep_coords=True):
        self.keep_coords = keep_coords
        self.iterations, self.energies, self.gradients, self.coords = [], [], [], []

    def __call__(self, iteration, energy, gradient_norm, coords):
        self.iterations.append(iteration)
        self.energies.append(energy)
        self.gradients.append(gradient_norm)
        if self.keep_coords:
            self.coords.append(coords)

    def frame(self):
        """The run as a pandas DataFrame: energy and gradient by iteration."""
        import pandas

        columns = {"energy": self.energies, "gradient": self.gradients}
        return pandas.DataFrame(columns, index=pandas.Index(self.iterations, name="iteration"))

    def molecules(self, mol):
        """The iterations as copies of a molecule: a trajectory to be written to a file."""
        rows = zip(self.iterations, self.energies, self.gradients, self.coords)
        return [
            _posed(mol, x, {"Iteration": i, "Energy": f"{energy:.10g}", "Gnorm": f"{gradient:.10g}"})
            for i, energy, gradient, x in rows
        ]


def plot_run(recorder, axes=None):
    """Energy (linear) and gradient (logarithmic) against the iteration; returns the axes."""
    import matplotlib.pyplot as plt

    if axes is None:
        axes = plt.subplots()[1]
    axes.plot(recorder.iterations, recorder.energies, color="tab:blue")
    axes.set_xlabel("iteration")
    axes.set_ylabel("energy (kcal/mol)", color="tab:blue")
    right = axes.twinx()
    right.semilogy(recorder.iterations, recorder.gradients, color="tab:red")
    right.set_ylabel("RMS gradient (kcal/mol/Å)", color="tab:red")
    return axes


def _label(kind, unit):
    return f"{kind} ({unit})"


def _mark_degrees(axis, kind):
    from matplotlib.ticker import MultipleLocator

    if kind == "torsion":
        axis.set_major_locator(MultipleLocator(60))


def _plot_map(scan, axes):
    energies = scan.energies - np.nanmin(scan.energies)
    levels = axes.contourf(scan.values, scan.values2, energies.T, 20, cmap="viridis")
    axes.figure.colorbar(levels, ax=axes, label="relative energy (kcal/mol)")
    places = np.array([(a, b) for a in scan.values for b in scan.values2])
    bad = places[~np.asarray(scan.converged).ravel()]
    if len(bad):
        axes.plot(bad[:, 0], bad[:, 1], "wo", markersize=3)
    _mark_degrees(axes.xaxis, scan.kind)
    _mark_degrees(axes.yaxis, scan.kind2)
    axes.set_xlabel(_label(scan.kind, scan.unit))
    axes.set_ylabel(_label(scan.kind2 + " 2", scan.unit2))


def plot_scan(scan, axes=None):
    """Relative energy (kcal/mol) against the driven value, or over two of them as a map; points that
    did not converge are open circles. Returns the axes."""
    import matplotlib.pyplot as plt

    if axes is None:
        axes = plt.subplots()[1]
    if scan.kind2:
        _plot_map(scan, axes)
        return axes
    energies = np.asarray(scan.energies) - np.nanmin(scan.energies)
    values = np.asarray(scan.values)
    good = np.asarray(scan.converged, dtype=bool)
    axes.plot(values, energies, color="tab:blue")
    axes.plot(values[good], energies[good], "o", color="tab:blue")
    axes.plot(values[~good], energies[~good], "o", color="tab:blue", markerfacecolor="white")
    _mark_degrees(axes.xaxis, scan.kind)
    axes.set_xlabel(_label(scan.kind, scan.unit))
    axes.set_ylabel("relative energy (kcal/mol)")
    return axes
