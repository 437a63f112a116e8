# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""The program `molpot`, which comes with the package."""

import os
import pathlib
import shutil
import sys


def program():
    """The path of the program `molpot`: the package's own, else the first on the path."""
    own = pathlib.Path(__file__).resolve().parent / "bin" / "molpot"
    if own.exists():
        return str(own)
    # Where the package's sources are links, the compiled module tells where the package is.
    from . import _core

    beside = pathlib.Path(_core.__file__).parent / "bin" / "molpot"
    found = str(beside) if beside.exists() else shutil.which("molpot")
    if found is None:
        raise FileNotFoundError("the program molpot was not installed with the package")
    return found


def main():
    """Becomes the program, with the arguments of this process."""
    path = program()
    os.execv(path, [path, *sys.argv[1:]])
