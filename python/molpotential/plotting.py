# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""Pictures of runs and scans with matplotlib."""

import numpy as np


class Recorder:
    """A callback for `minimize` that keeps every iteration: iteration, energy, gradient, coords."""

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
        """The run as a pandas DataFrame."""
        import pandas

        columns = {"energy": self.energies, "gradient": self.gradients}
        return pandas.DataFrame(columns, index=pandas.Index(self.iterations, name="iteration"))


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


def plot_scan(scan, axes=None):
    """Relative energy against the driven value; points that did not converge are open circles."""
    import matplotlib.pyplot as plt

    if axes is None:
        axes = plt.subplots()[1]
    energies = np.asarray(scan.energies) - np.nanmin(scan.energies)
    axes.plot(scan.values, energies, color="tab:blue")
    good = np.asarray(scan.converged, dtype=bool)
    values = np.asarray(scan.values)
    axes.plot(values[good], energies[good], "o", color="tab:blue")
    axes.plot(values[~good], energies[~good], "o", color="tab:blue", markerfacecolor="white")
    if scan.unit == "degrees":
        axes.set_xticks(np.arange(-180, 181, 60))
    axes.set_xlabel(f"{scan.kind} ({scan.unit})")
    axes.set_ylabel("relative energy (kcal/mol)")
    return axes
