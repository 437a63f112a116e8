# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""Libraries of molecules minimised on many machines with Dask.

    python3 -m molpotential.distributed --scheduler tcp://host:8786 library.sdf.gz -o relaxed.sdf.gz

Records go out in chunks, each to a run of `molpot minimize`, and come back in the order of the input:
the output is what one run of the program would have written. A chunk lost with its worker is tried
again elsewhere; a record that kills what works on it is set aside alone. What is written is final:
after the client itself has died, the same call goes on behind it.
"""

import argparse
import itertools
import sys
import time
from collections import deque

from ._core import InputError, MolPotentialError
from ._journal import Journal, Summary
from ._records import chunks, run_chunk, tapered, to_arguments

CHUNK = 500  # records: a second of work, beside which starting the program is little
_AHEAD = 4  # chunks a thread of the cluster that are read before the oldest one is done

__all__ = ["CHUNK", "Summary", "minimize_files"]


class _Room:
    """How many chunks may be under way, as workers come and go."""

    def __init__(self, client):
        self._client = client
        self._until = 0.0
        self._threads = 1

    def size(self):
        if time.monotonic() >= self._until:  # asking the scheduler takes milliseconds
            self._threads = max(1, sum(self._client.nthreads().values()))
            self._until = time.monotonic() + 1.0
        return _AHEAD * self._threads


class _Line:
    """Progress on one line of standard error."""

    def __init__(self):
        self._begun = self._shown = time.monotonic()
        self._before = None

    def __call__(self, summary):
        now = time.monotonic()
        if self._before is None:
            self._before = summary.records
        if now - self._shown < 0.5:
            return
        self._shown = now
        rate = (summary.records - self._before) / (now - self._begun)
        text = f"\r{summary.records} records, {summary.rejected} rejected, {rate:.1f}/s "
        print(text, end="", file=sys.stderr, flush=True)


def _submit(client, chunk, call):
    return client.submit(run_chunk, chunk, *call, pure=False, retries=2)


def _settle(client, chunk, future, call):
    """What became of a chunk: several outcomes where it kept killing workers and its records were
    tried one by one, so that a killer takes no other with it."""
    from distributed.scheduler import KilledWorker

    try:
        return [future.result()]
    except KilledWorker:
        records = chunk.split()
    if len(records) == 1:
        return [chunk.rejected("the record keeps killing the worker that works on it")]
    outcomes = []
    for record in records:
        outcomes += _settle(client, record, _submit(client, record, call), call)
    return outcomes


def _outcomes(parts, client, call, size):
    """(chunk, its outcomes) in order, as they are done."""
    if client is None:
        for chunk in parts:
            yield chunk, [run_chunk(chunk, *call)]
        return
    room = _Room(client)
    parts = tapered(parts, room.size() // _AHEAD, max(1, size // _AHEAD))
    waiting = deque()
    while True:
        for chunk in itertools.islice(parts, max(0, room.size() - len(waiting))):
            waiting.append((chunk, _submit(client, chunk, call)))
        if not waiting:
            return
        chunk, future = waiting.popleft()
        yield chunk, _settle(client, chunk, future, call)


def minimize_files(
    inputs, output, client=None, rejects=None, chunk=CHUNK, progress=None, program=None, **options
):
    """Minimises every record of SDF or SMILES files and writes them in order to an SDF file.

    inputs: a path or several, .sdf or .smi, also compressed. output: ".gz" compresses. client: a
    dask.distributed Client; None: one record after the other in this process. rejects: where records
    that fail go as they are, by default output + ".rejects". chunk: records a task. progress: True
    for a line on standard error, or called with the Summary after every chunk. program: the `molpot`
    that workers run, by default the one that was installed with the package there.

    options: those of `molpot minimize`, by name: forcefield="uff", coordinates="zmatrix",
    add_hydrogens=True, gradient_tolerance=1e-5, freeze="[#6]", restrain=["[#8] 0.3 10"],
    conformers=10, time_limit=60, host="protein.pdb" ... In them atoms count from 1, and files must be
    there for every worker.

    Returns a Summary. The client holds a few chunks for each worker, however long the input is. A
    call that died is continued by the same call; a complete output is not overwritten.
    """
    call = (to_arguments(options), str(output).endswith(".gz"), program)
    journal = Journal(inputs, output, rejects, call[0])
    notify = _Line() if progress is True else progress
    parts = chunks(journal.inputs, journal.position, chunk)
    with journal:
        for part, outcomes in _outcomes(parts, client, call, chunk):
            for outcome in outcomes:
                journal.add(outcome)
            journal.reached(part.end)
            if notify is not None:
                notify(journal.summary)
        journal.finish()
    return journal.summary


def main(arguments=None):
    """The command line; returns its exit status."""
    parser = argparse.ArgumentParser(
        prog="python3 -m molpotential.distributed",
        description="Minimises the records of SDF or SMILES files on the workers of a Dask cluster.",
        epilog="What stands behind -- goes to `molpot minimize` as it is: -- --forcefield uff",
    )
    parser.add_argument("inputs", nargs="+", metavar="INPUT", help=".sdf or .smi, also with .gz")
    parser.add_argument("-o", "--output", required=True, help="SDF file, in the order of the input")
    parser.add_argument("--scheduler", help="address of the Dask scheduler; default: this process")
    parser.add_argument("--rejects", help="records that fail; default: OUTPUT.rejects")
    parser.add_argument("--forcefield", default="mmff94", help="mmff94, mmff94s or uff")
    parser.add_argument("--coordinates", default="cartesian", help="as molpot --coordinates")
    parser.add_argument("--chunk", type=int, default=CHUNK, help=f"records a task ({CHUNK})")
    arguments = list(sys.argv[1:] if arguments is None else arguments)
    more = arguments[arguments.index("--") + 1 :] if "--" in arguments else []
    args = parser.parse_args(arguments[: len(arguments) - len(more) - ("--" in arguments)])
    client = None
    if args.scheduler:
        from distributed import Client

        client = Client(args.scheduler)
    try:
        summary = minimize_files(
            args.inputs,
            args.output,
            client=client,
            rejects=args.rejects,
            chunk=args.chunk,
            progress=True if sys.stderr.isatty() else None,
            forcefield=args.forcefield,
            coordinates=args.coordinates,
            arguments=more,
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
