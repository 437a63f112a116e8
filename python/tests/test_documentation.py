# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
import inspect
import pathlib
import re
import subprocess
import sys

import molpotential as mp
import molpotential.ase
import molpotential.distributed
import molpotential.plotting
from molpotential._program import program

ROOT = pathlib.Path(__file__).resolve().parents[1]
UNITS = r"Å|kcal/mol|cm⁻¹|`minimize`|molpot minimize"


def public():
    """(name, object) of everything public, members of classes included."""
    modules = [mp, molpotential.ase, molpotential.plotting, molpotential.distributed]
    for module in modules:
        for name in getattr(module, "__all__", None) or vars(module):
            thing = getattr(module, name)
            home = getattr(thing, "__module__", "") or ""
            if name.startswith("_") or not callable(thing) or not home.startswith("molpotential"):
                continue
            yield name, thing
            if inspect.isclass(thing) and not issubclass(thing, Exception):
                for member, value in vars(thing).items():
                    if not member.startswith("_") and (callable(value) or hasattr(value, "fget")):
                        yield f"{name}.{member}", value


def words(thing):
    """Its docstring, without the signature that the compiled module puts in front."""
    text = inspect.getdoc(thing) or ""
    return re.sub(r"^\w+\(.*\) -> .*\n*", "", text)


def test_every_public_name_is_documented():
    seen = list(public())
    assert len(seen) > 100
    assert [name for name, thing in seen if len(words(thing)) < 15] == []
    numbers = [
        (name, words(thing))
        for name, thing in seen
        if re.search(r"energy|gradient|hessian|coords|distance|minimize|scan|modes|Tether|Wall", name)
    ]
    assert len(numbers) > 20
    assert [name for name, text in numbers if not re.search(UNITS, text)] == []
    shapes = ["coords", "numbers", "bonds", "charges", "isotopes", "conformers", "rotatable_torsions"]
    assert all("(" in words(getattr(mp.Molecule, name)) for name in shapes)


def test_every_option_of_the_program_has_its_call():
    readme = (ROOT / "README.md").read_text()
    usage = subprocess.run([program(), "--help"], capture_output=True, text=True, check=True).stdout
    commands = re.findall(r"^  ([a-z-]+)  +\w", usage.split("Subcommands:")[1], re.M)
    assert len(commands) >= 7
    missing = set()
    for command in commands:
        text = subprocess.run([program(), command, "--help"], capture_output=True, text=True).stdout
        options = set(re.findall(r"^ +(?:-\w,)?(--[a-z-]+)", text, re.M)) - {"--help"}
        assert options
        missing |= {option for option in options if f"{option}`" not in readme}
    assert missing == set()
    for call in re.findall(r"`mp\.(\w+)", readme):
        assert hasattr(mp, call), call
    for call in re.findall(r"\bmol\.(\w+)", readme):
        assert hasattr(mp.Molecule, call), call


def test_examples_of_the_readmes_run(tmp_path):
    for path in (ROOT / "README.md", ROOT.parent / "README.md"):
        blocks = re.findall(r"```python\n(.*?)```", path.read_text(), re.S)
        assert blocks
        for block in blocks:
            assert len(block.strip().splitlines()) <= 10
            code = "import matplotlib; matplotlib.use('agg')\n" + block
            subprocess.run([sys.executable, "-c", code], cwd=tmp_path, check=True, timeout=120)
    assert (tmp_path / "run.png").stat().st_size > 5000


def test_users_types_are_checked(tmp_path):
    good = """
import numpy as np
import molpotential as mp
mol = mp.Molecule.from_smiles("CCO")
ff = mp.ForceField("mmff94", mol, cutoff=9.0)
ff.add(mp.PositionRestraint("[#8]", width=0.1))
ff.add(mp.Expression("k*distance(0,1)", k=1.0))
r = mp.minimize(ff, mol.coords, fixed=[0, 1], constraints=[mp.Constraint("distance", (0, 2), 2.5)])
e: float = r.energy
x: np.ndarray = r.coords
f = mp.scan(ff, mol.coords, "torsion", (0, 1, 2, 3), range(0, 180, 30)).frame()
"""
    wrong = "import molpotential as mp\nmp.ForceField(3, 'mol').nothing\n"
    for name, text, status in (("good.py", good, 0), ("wrong.py", wrong, 1)):
        (tmp_path / name).write_text(text)
        command = [sys.executable, "-m", "mypy", "--ignore-missing-imports", "--cache-dir"]
        run = subprocess.run(
            [*command, "/dev/null", name], cwd=tmp_path, capture_output=True, text=True, timeout=300
        )
        assert run.returncode == status, run.stdout
    command = [sys.executable, "-m", "mypy.stubtest", "molpotential._core", "--concise"]
    run = subprocess.run(command, cwd=tmp_path, capture_output=True, text=True, timeout=300)
    # What pybind11's classes are, no stub can say.
    known = re.compile(r"metaclass differs|__init__ is inconsistent|^Found")
    assert [line for line in run.stdout.splitlines() if line and not known.search(line)] == []
