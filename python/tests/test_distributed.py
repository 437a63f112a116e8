# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
import gzip
import json
import os
import signal
import subprocess
import sys
import time

import pytest
from conftest import DATA

import molpotential as mp
from molpotential import _records as records
from molpotential import distributed as batch
from molpotential._program import program

dask_distributed = pytest.importorskip("distributed")


@pytest.fixture
def library(tmp_path):
    names = ["butane", "benzene", "cyclohexane", "aspirin"]
    texts = [(DATA / f"{name}.sdf").read_text() for name in names]
    path = tmp_path / "library.sdf"
    path.write_text("".join(texts[i % 4] for i in range(24)))
    return path


@pytest.fixture
def alone(tmp_path, library):
    """What one run of the program makes of the library."""
    out = tmp_path / "alone.sdf"
    subprocess.run(
        [program(), "minimize", library, "-o", out], check=True, stdout=subprocess.DEVNULL
    )
    return out.read_bytes()


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


def test_worker_killed_half_way_loses_and_doubles_nothing(tmp_path, library, alone, client):
    killed = []

    def kill_one(progress):
        if not killed and progress.written >= 6:
            killed.append(next(iter(client.run(os.getpid).values())))
            os.kill(killed[0], signal.SIGKILL)

    together = tmp_path / "together.sdf"
    summary = batch.minimize_files(library, together, client=client, chunk=2, progress=kill_one)
    assert killed
    assert (summary.records, summary.written, summary.rejected) == (24, 24, 0)
    assert together.read_bytes() == alone
    # What comes back compressed is the same.
    packed = tmp_path / "together.sdf.gz"
    batch.minimize_files(library, packed, client=client, chunk=5)
    assert gzip.decompress(packed.read_bytes()) == alone
    assert len(mp.read(packed)) == 24


def worker_that_dies(chunk, arguments, compress, program):
    if b"poison" in chunk.data:
        os._exit(1)
    return records.run_chunk(chunk, arguments, compress, program)


def poisoned(library):
    text = library.read_text()
    second = text.index("$$$$\n") + 5
    library.write_text(text[:second] + "poison" + text[second:])
    end = text.index("$$$$\n", second) + 5
    return ("poison" + text[second:end]).encode()


def test_record_that_kills_its_worker_is_set_aside_alone(
    tmp_path, library, alone, client, monkeypatch
):
    raw = poisoned(library)
    monkeypatch.setattr(batch, "run_chunk", worker_that_dies)
    client.register_worker_plugin(_TestPath())
    out = tmp_path / "out.sdf"
    summary = batch.minimize_files(library, out, client=client, chunk=4)
    assert (summary.records, summary.written, summary.rejected) == (24, 23, 1)
    assert (tmp_path / "out.sdf.rejects").read_bytes() == raw
    good = alone.split(b"$$$$\n")
    assert out.read_bytes() == b"$$$$\n".join(good[:1] + good[2:])


class _TestPath(dask_distributed.WorkerPlugin):
    """Lets workers, new ones too, import this file."""

    name = "test path"

    def setup(self, worker):
        sys.path.insert(0, os.path.dirname(__file__))


def test_record_that_kills_the_program_is_set_aside_alone(tmp_path, library, alone, capsys):
    raw = poisoned(library)
    mortal = tmp_path / "molpot"
    mortal.write_text(
        f"#!{sys.executable}\n"
        "import os, subprocess, sys\n"
        "data = sys.stdin.buffer.read()\n"
        "if b'poison' in data: os.kill(os.getpid(), 11)\n"
        f"sys.exit(subprocess.run([{program()!r}, *sys.argv[1:]], input=data).returncode)\n"
    )
    mortal.chmod(0o755)
    out = tmp_path / "out.sdf"
    summary = batch.minimize_files(library, out, chunk=7, program=str(mortal))
    assert (summary.records, summary.written, summary.rejected) == (24, 23, 1)
    assert (tmp_path / "out.sdf.rejects").read_bytes() == raw
    good = alone.split(b"$$$$\n")
    assert out.read_bytes() == b"$$$$\n".join(good[:1] + good[2:])
    assert "record 2: molpot ends by signal 11" in capsys.readouterr().err


def test_a_client_that_was_killed_is_continued(tmp_path, library, alone):
    out = tmp_path / "out.sdf"
    code = (
        "import sys, time\n"
        "from molpotential import _journal, distributed\n"
        "_journal._INTERVAL = 0.0\n"
        "distributed.minimize_files(sys.argv[1], sys.argv[2], chunk=2,"
        " progress=lambda _: time.sleep(0.1))"
    )
    client = subprocess.Popen([sys.executable, "-c", code, library, out])
    state = tmp_path / "out.sdf.progress"
    while not (state.exists() and json.loads(state.read_text())["summary"]["written"] >= 8):
        assert client.poll() is None
        time.sleep(0.02)
    client.kill()
    client.wait()
    with open(out, "ab") as stream:  # as if it had died while writing
        stream.write(b"half a rec")
    with pytest.raises(mp.InputError, match="other inputs or options"):
        batch.minimize_files(library, out, forcefield="uff")
    seen = []
    batch.minimize_files(library, out, chunk=2, progress=lambda s: seen.append(s.written))
    assert seen[0] >= 10 and out.read_bytes() == alone and not state.exists()
    with pytest.raises(mp.InputError, match="exists"):
        batch.minimize_files(library, out)
    with pytest.raises(mp.InputError, match="input and an output"):
        batch.minimize_files(library, library)


def test_options_are_the_programs(tmp_path, library):
    out, other = tmp_path / "out.sdf", tmp_path / "other.sdf"
    arguments = ["--forcefield", "uff", "--freeze", "[#6]", "--restrain", "[#8] 0.1 5"]
    arguments += ["--restrain", "[#1] 0.2 1"]
    subprocess.run(
        [program(), "minimize", library, "-o", other, *arguments], stdout=subprocess.DEVNULL
    )
    summary = batch.minimize_files(
        library, out, forcefield="uff", freeze="[#6]", restrain=["[#8] 0.1 5", "[#1] 0.2 1"], chunk=9
    )
    assert out.read_bytes() == other.read_bytes() and 0 < summary.rejected < 24
    with pytest.raises(mp.InputError, match="sorcery"):
        batch.minimize_files(library, tmp_path / "new.sdf", sorcery=True)
    assert not (tmp_path / "new.sdf").exists()  # nothing to go on from
    with pytest.raises(mp.InputError, match="trajectory"):
        batch.minimize_files(library, tmp_path / "new.sdf", trajectory="t.sdf")


def test_smiles_and_bad_records(tmp_path, capsys):
    path = tmp_path / "library.smi"
    path.write_text("CCO ethanol\nC1CC broken\n\nCCN ethylamine\n")
    out = tmp_path / "out.sdf"
    assert batch.main([str(path), "-o", str(out), "--", "--add-hydrogens"]) == 1
    assert "record 2: " in capsys.readouterr().err
    assert [mol.title for mol in mp.read(out)] == ["ethanol", "ethylamine"]
    assert mp.read(out)[0].data["molpotential.converged"] == "yes"
    assert (tmp_path / "out.sdf.rejects").read_text() == "C1CC broken\n"
    assert batch.main([str(tmp_path / "none.sdf"), "-o", str(out)]) == 2


@pytest.mark.parametrize("kind, end", [("sdf", b"$$$$\n"), ("sdf", b"$$$$\r\n"), ("smi", b"\n")])
def test_chunks_hold_every_byte_once(tmp_path, kind, end, monkeypatch):
    bodies = [b"C" * (1 + 37 * i % 50) + (b"\nmore $$$$" if kind == "sdf" else b"") for i in range(60)]
    data = b"".join(body + (b"\n" if kind == "sdf" else b"") + end for body in bodies)[: -len(end)]
    path = tmp_path / f"a.{kind}.gz"
    path.write_bytes(gzip.compress(data))
    for block in (3, 64, 1 << 20):
        monkeypatch.setattr(records, "_BLOCK", block)
        parts = list(records.chunks([str(path)], (0, 0), 7))
        assert b"".join(part.data for part in parts) == data
        assert [len(part.split()) for part in parts] == [7] * 8 + [4]
        tail = list(records.tapered(iter(parts), 2, 3))
        assert [len(part.split()) for part in tail] == [7] * 7 + [3, 3, 1, 3, 1]
        assert b"".join(part.data for part in tail) == data
        behind = [sum(len(part.data) for part in tail[: k + 1]) for k in range(len(tail))]
        assert [part.end for part in tail] == [(0, place) for place in behind]
        rest = list(records.chunks([str(path)], parts[3].end, 7))
        assert [part.data for part in rest] == [part.data for part in parts[4:]]


def test_reading_holds_one_chunk_at_a_time(tmp_path):
    import tracemalloc

    path = tmp_path / "long.smi.gz"
    line = b"C" * 200 + b" a title\n"
    with gzip.open(path, "wb", 1) as stream:
        for _ in range(100):
            stream.write(line * 2000)  # 42 MB in all
    tracemalloc.start()
    count = sum(len(part.data) for part in records.chunks([str(path)], (0, 0), 500))
    peak = tracemalloc.get_traced_memory()[1]
    tracemalloc.stop()
    assert count == 200_000 * len(line) and peak < 8e6
