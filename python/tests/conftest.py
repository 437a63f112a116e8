# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
import pathlib

import pytest

import molpotential as mp

DATA = pathlib.Path(__file__).resolve().parents[2] / "data"


@pytest.fixture
def aspirin():
    return mp.read(DATA / "aspirin.sdf")[0]


@pytest.fixture
def butane():
    return mp.read(DATA / "butane.sdf")[0]
