# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""Libraries of molecules minimised on many machines with Dask.

    python3 -m molpotential.distributed --scheduler tcp://host:8786 library.sdf.gz -o relaxed.sdf

Records go out in chunks and come back in the order of the input. A chunk lost with its worker is
tried again elsewhere; a record that keeps killing workers is set aside alone. What is written is
final: after the client itself has died, the same call goes on behind it.
"""

import argparse
import gzip
import itertools
import json
import os
import sys
from collections import deque
from dataclasses import asdict, dataclass

from . import _core
from ._core import InputError, MolPotentialError
from ._molecules import Molecule
from ._runs import minimize

CHUNK = 50  # records; a few seconds of work


@dataclass
class Summary:
    """Counts of records: written (converged or not), of these not converged, and rejected."""

    written: int = 0
    unconverged: int = 0
    rejected: int = 0


def _open(path):
    with open(path, "rb") as stream:
        packed = stream.read(2) == b"\x1f\x8b"
    return gzip.open(path, "rt") if packed else open(path)


def _format(path):
    name = os.fspath(path).lower().removesuffix(".gz")
    if name.endswith((".sdf", ".sd", ".mol")):
        return "sdf"
    if name.endswith((".smi", ".smiles")):
        return "smi"
    raise InputError(f"{path}: libraries are .sdf or .smi files, also with .gz")


def _records(inputs):
    """(format, text) of every record, in order, one at a time in memory."""
    for path in inputs:
        kind = _format(path)
        with _open(path) as stream:
            if kind == "smi":
                yield from (("smi", line) for line in stream if line.strip())
                continue
            lines = []
            for line in stream:
                lines.append(line)
                if line.startswith("$$$$"):
                    yield "sdf", "".join(lines)
                    lines = []
            if any(line.strip() for line in lines):
                yield "sdf", "".join(lines)


def _molecule(kind, text):
    if kind == "smi":
        smiles, _, title = text.strip().partition(" ")
        mol = Molecule.from_smiles(smiles)
        mol.title = title.strip()
        return mol
    mol, _, error = next(_core._read_text(text, kind))
    if error:
        raise InputError(error.split(": ", 2)[-1])
    return mol


def minimize_record(kind, text, forcefield="mmff94", **options):
    """One record minimised: its SDF text, whether it converged, and "" or why it failed."""
    try:
        mol = _molecule(kind, text)
        result = minimize(_core.ForceField(forcefield, mol), mol.coords, **options)
    except MolPotentialError as error:
        return "", False, str(error)
    mol.coords = result.coords
    mol.set_data("molpotential.converged", "yes" if result.converged else "no")
    mol.set_data("molpotential.energy", f"{result.energy:.10g}")
    mol.set_data("molpotential.gradient", f"{result.gradient_norm:.3e}")
    mol.set_data("molpotential.iterations", str(result.iterations))
    mol.set_data("molpotential.reason", result.message)
    return mol.to_text("sdf"), result.converged, ""


def _minimize_chunk(records, options):
    return [minimize_record(kind, text, **options) for kind, text in records]


class _Journal:
    """The output, written in order, and beside it how far it is complete."""

    def __init__(self, output, rejects):
        self.output, self.rejects = os.fspath(output), os.fspath(rejects)
        self.state_path = self.output + ".progress"
        self.state = {"records": 0, "bytes": [0, 0], "summary": asdict(Summary())}
        self.resumed = os.path.exists(self.state_path)
        if self.resumed:
            with open(self.state_path) as stream:
                self.state = json.load(stream)
        elif os.path.exists(self.output):
            raise InputError(f"{self.output} exists")
        self.streams = []
        for path, size in zip((self.output, self.rejects), self.state["bytes"]):
            stream = open(path, "r+b" if self.resumed else "wb")
            stream.truncate(size)  # what was written after the last mark may be incomplete
            stream.seek(size)
            self.streams.append(stream)
        self.summary = Summary(**self.state["summary"])

    def add(self, records, results):
        for (_, raw), (text, converged, error) in zip(records, results):
            self.state["records"] += 1
            if error:
                self.summary.rejected += 1
                self.streams[1].write(raw.encode())
                print(f"record {self.state['records']}: {error}", file=sys.stderr)
                continue
            self.summary.written += 1
            self.summary.unconverged += not converged
            self.streams[0].write(text.encode())
        self._mark()

    def _mark(self):
        for stream in self.streams:
            stream.flush()
            os.fsync(stream.fileno())
        self.state["bytes"] = [stream.tell() for stream in self.streams]
        self.state["summary"] = asdict(self.summary)
        with open(self.state_path + ".new", "w") as stream:
            json.dump(self.state, stream)
        os.replace(self.state_path + ".new", self.state_path)

    def finish(self):
        for stream in self.streams:
            stream.close()
        os.remove(self.state_path)


def _settle(client, records, future, options):
    """The results of a chunk; where it keeps killing workers, record by record."""
    from distributed.scheduler import KilledWorker

    try:
        return future.result()
    except KilledWorker:
        if len(records) == 1:
            return [("", False, "the record keeps killing the process that works on it")]
    results = []
    for record in records:  # one at a time, so that a killer takes nobody with it
        alone = client.submit(_minimize_chunk, [record], options, pure=False)
        results += _settle(client, [record], alone, options)
    return results


def minimize_files(
    inputs, output, client=None, rejects=None, chunk=CHUNK, progress=None, **options
):
    """Minimises every record of SDF or SMILES files and writes them in order to an SDF file.

    inputs: a path or several. client: a dask.distributed Client; None: in this process. rejects:
    where records that fail go as they are, by default output + ".rejects". progress(summary) is
    called after every chunk. options: forcefield, and those of `minimize`. Returns a Summary.
    The client holds a few chunks for each worker, however long the input is. A call that died is
    continued by the same call; an output that is complete is not overwritten.
    """
    inputs = [inputs] if isinstance(inputs, (str, os.PathLike)) else list(inputs)
    rejects = rejects or os.fspath(output) + ".rejects"
    for path in inputs:
        if any(os.path.exists(o) and os.path.samefile(path, o) for o in (output, rejects)):
            raise InputError(f"{path} is an input and an output")
    journal = _Journal(output, rejects)
    records = itertools.islice(_records(inputs), journal.state["records"], None)
    chunks = iter(lambda: list(itertools.islice(records, chunk)), [])

    def settled(part, results):
        journal.add(part, results)
        if progress is not None:
            progress(journal.summary)

    if client is None:
        for part in chunks:
            settled(part, _minimize_chunk(part, options))
    else:
        waiting = deque()
        while True:
            room = 4 * max(1, len(client.scheduler_info()["workers"]))
            while len(waiting) < room and (part := next(chunks, None)):
                waiting.append((part, client.submit(_minimize_chunk, part, options, pure=False)))
            if not waiting:
                break
            part, future = waiting.popleft()
            settled(part, _settle(client, part, future, options))
    journal.finish()
    return journal.summary


def main(arguments=None):
    parser = argparse.ArgumentParser(
        prog="python3 -m molpotential.distributed",
        description="Minimises the records of SDF or SMILES files on the workers of a Dask cluster.",
    )
    parser.add_argument("inputs", nargs="+", metavar="INPUT", help=".sdf or .smi, also with .gz")
    parser.add_argument("-o", "--output", required=True, help="SDF file, in the order of the input")
    parser.add_argument("--scheduler", help="address of the Dask scheduler; default: this process")
    parser.add_argument("--rejects", help="records that fail; default: OUTPUT.rejects")
    parser.add_argument("--forcefield", default="mmff94", help="mmff94, mmff94s or uff")
    parser.add_argument("--coordinates", default="cartesian", help="as molpot --coordinates")
    parser.add_argument("--chunk", type=int, default=CHUNK, help="records a task (default 50)")
    args = parser.parse_args(arguments)
    client = None
    if args.scheduler:
        from distributed import Client

        client = Client(args.scheduler)

    def show(summary):
        print(f"\r{summary.written + summary.rejected} records", end="", file=sys.stderr)

    try:
        summary = minimize_files(
            args.inputs,
            args.output,
            client=client,
            rejects=args.rejects,
            chunk=args.chunk,
            progress=show if sys.stderr.isatty() else None,
            forcefield=args.forcefield,
            coordinates=args.coordinates,
        )
    except (MolPotentialError, OSError) as error:
        print(f"molpotential.distributed: {error}", file=sys.stderr)
        return 2
    print(
        f"{summary.written} written, {summary.unconverged} of them not converged, "
        f"{summary.rejected} rejected"
    )
    return 1 if summary.rejected or summary.unconverged else 0


if __name__ == "__main__":
    sys.exit(main())
