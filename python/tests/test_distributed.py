# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
import os

import pytest
from conftest import DATA

import molpotential as mp
from molpotential import distributed as batch

dask_distributed = pytest.importorskip("distributed")


@pytest.fixture
def library(tmp_path):
    names = ["butane", "benzene", "cyclohexane", "aspirin"]
    texts = [(DATA / f"{name}.sdf").read_text() for name in names]
    path = tmp_path / "library.sdf"
    path.write_text("".join(texts[i % 4] for i in range(24)))
    return path


@pytest.fixture
def client():
    """Two worker processes; a task that two workers died of is given up."""
    import dask

    with dask.config.set(
        {"distributed.scheduler.allowed-failures": 1}
    ), dask_distributed.LocalCluster(
        n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None
    ) as cluster, dask_distributed.Client(cluster) as client:
        yield client


def test_worker_killed_half_way_loses_and_doubles_nothing(tmp_path, library, client):
    alone = tmp_path / "alone.sdf"
    summary = batch.minimize_files(library, alone)
    assert (summary.written, summary.unconverged, summary.rejected) == (24, 0, 0)
    killed = []

    def kill_one(progress):
        if not killed and progress.written >= 6:
            killed.append(next(iter(client.run(os.getpid).values())))
            os.kill(killed[0], 9)

    together = tmp_path / "together.sdf"
    summary = batch.minimize_files(library, together, client=client, chunk=2, progress=kill_one)
    assert killed and summary.written == 24
    assert together.read_bytes() == alone.read_bytes()


def poison(kind, text, **options):
    if "poison" in text:
        os._exit(1)
    return batch.minimize_record(kind, text, **options)


def poisoned_chunk(records, options):
    return [poison(kind, text, **options) for kind, text in records]


def test_record_that_kills_its_worker_is_set_aside_alone(tmp_path, library, client, monkeypatch):
    text = library.read_text()
    second = text.index("$$$$\n") + 5
    library.write_text(text[:second] + "poison" + text[second:])
    monkeypatch.setattr(batch, "_minimize_chunk", poisoned_chunk)
    client.register_worker_plugin(_TestPath())
    out = tmp_path / "out.sdf"
    summary = batch.minimize_files(library, out, client=client, chunk=4)
    assert (summary.written, summary.rejected) == (23, 1)
    assert (tmp_path / "out.sdf.rejects").read_text().startswith("poison")
    assert len(mp.read(out)) == 23


class _TestPath(dask_distributed.WorkerPlugin):
    """Lets workers, new ones too, import this file."""

    name = "test path"

    def setup(self, worker):
        import sys

        sys.path.insert(0, os.path.dirname(__file__))


def test_a_call_that_died_is_continued(tmp_path, library):
    class Died(Exception):
        pass

    def die(progress):
        if progress.written >= 8:
            raise Died

    out, whole = tmp_path / "out.sdf", tmp_path / "whole.sdf"
    with pytest.raises(Died):
        batch.minimize_files(library, out, chunk=4, progress=die)
    with open(out, "ab") as stream:  # as if it had died while writing
        stream.write(b"half a rec")
    batch.minimize_files(library, out, chunk=4)
    batch.minimize_files(library, whole, chunk=4)
    assert out.read_bytes() == whole.read_bytes()
    with pytest.raises(mp.InputError, match="exists"):
        batch.minimize_files(library, out)
    with pytest.raises(mp.InputError, match="input and an output"):
        batch.minimize_files(library, library)


def test_smiles_and_bad_records(tmp_path):
    path = tmp_path / "library.smi"
    path.write_text("CCO ethanol\nC1CC broken\nCCN ethylamine\n")
    out = tmp_path / "out.sdf"
    assert batch.main([str(path), "-o", str(out)]) == 1
    assert [mol.title for mol in mp.read(out)] == ["ethanol", "ethylamine"]
    assert mp.read(out)[0].data["molpotential.converged"] == "yes"
    assert (tmp_path / "out.sdf.rejects").read_text() == "C1CC broken\n"
    assert batch.main([str(tmp_path / "none.sdf"), "-o", str(out)]) == 2
