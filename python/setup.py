# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""Builds the library, the program and the compiled module with CMake and puts them into the package.

MOLPOTENTIAL_BUILD_DIR names a configured build tree to use; else one is made for this build.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys

from setuptools import Distribution, setup
from setuptools.command.build_py import build_py

HERE = pathlib.Path(__file__).resolve().parent
VERSION = re.search(r"VERSION (\d+\.\d+\.\d+)", (HERE.parent / "CMakeLists.txt").read_text())[1]


class BuildWithLibrary(build_py):
    def run(self):
        super().run()
        given = os.environ.get("MOLPOTENTIAL_BUILD_DIR")
        tree = pathlib.Path(given or self.get_finalized_command("build").build_temp).resolve()
        if not given:
            options = ["-DCMAKE_BUILD_TYPE=Release", f"-DPython_EXECUTABLE={sys.executable}"]
            options += [f"-DMOLPOTENTIAL_BUILD_{part}=OFF" for part in ("TESTS", "EXAMPLES")]
            options += ["-DMOLPOTENTIAL_BUILD_PYTHON=ON", "-DCMAKE_INSTALL_LIBDIR=lib"]
            if shutil.which("ccache"):
                options.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
            subprocess.check_call(["cmake", "-S", HERE.parent, "-B", tree, *options])
        target = ["--target", "molpotential_python", "--parallel"]
        subprocess.check_call(["cmake", "--build", tree, *target])
        package = pathlib.Path(self.build_lib) / "molpotential"
        stage = tree / "stage"
        shutil.rmtree(stage, ignore_errors=True)
        subprocess.check_call(
            ["cmake", "--install", tree, "--prefix", stage, "--component", "python"]
        )
        for path in stage.rglob("*"):
            # Libraries are looked up by the names of their links; wheels hold files.
            if path.is_dir() or (path.parent.name == "lib" and not path.is_symlink()):
                continue
            place = package / path.relative_to(stage)
            place.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(path, place)


class WithCompiledModule(Distribution):
    def has_ext_modules(self):
        return True


setup(version=VERSION, cmdclass={"build_py": BuildWithLibrary}, distclass=WithCompiledModule)
