# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""Records of libraries in chunks, and the program run on a chunk."""

import gzip
import json
import os
import re
import subprocess
import sys
import tempfile
from collections import deque
from dataclasses import dataclass, field, replace

from ._core import InputError
from ._program import program as find_program

_BLOCK = 1 << 20  # bytes read at once
_END = {"sdf": re.compile(rb"^\$\$\$\$[^\n]*\n", re.M), "smi": re.compile(rb"\n")}
# Options of the program that a batch has its own way of.
_OWN = frozenset(
    "output rejects json table trajectory host_output dry_run keep_partial input_format smiles"
    " accept_unconverged".split()
)
_ENDED_FROM_OUTSIDE = (-15, -2, -1, 130)  # SIGTERM, SIGINT, SIGHUP


def to_arguments(options):
    """The program's arguments for options by name: True is a flag, a list repeats."""
    arguments = []
    for name, value in options.items():
        if name in _OWN:
            raise InputError(f"a batch has no option {name}")
        if name == "arguments":
            arguments += list(value)
            continue
        if name == "host":
            value = os.path.abspath(value)
        for one in value if isinstance(value, (list, tuple)) else [value]:
            if one is not None and one is not False:
                arguments.append("--" + name.replace("_", "-"))
                arguments += [] if one is True else [str(one)]
    return arguments


@dataclass
class Outcome:
    """What became of a chunk: text to be written and counts; messages are (number, text), numbers
    counting from 1 in the chunk."""

    output: bytes = b""
    rejects: bytes = b""
    records: int = 0
    written: int = 0
    unconverged: int = 0
    rejected: int = 0
    messages: list = field(default_factory=list)


@dataclass
class Chunk:
    """Records of one file as they are; `end`: the file's number and the byte behind them."""

    kind: str
    data: bytes
    end: tuple

    def pieces(self, size):
        """Its records, `size` of them at a time, as chunks with their own ends."""
        ends = [match.end() for match in _END[self.kind].finditer(self.data)][size - 1 :: size]
        if not ends or ends[-1] < len(self.data):
            ends.append(len(self.data))
        begin, (index, behind) = 0, self.end
        for end in ends:
            place = (index, behind - len(self.data) + end)
            yield Chunk(self.kind, self.data[begin:end], place)
            begin = end

    def split(self):
        """Its records as chunks of one."""
        return [part for part in self.pieces(1) if part.data.strip()]

    def halves(self):
        """Its records as two chunks, the first empty where there is only one."""
        records = self.split()
        middle = len(records) // 2
        return [
            replace(self, data=b"".join(record.data for record in part))
            for part in (records[:middle], records[middle:])
        ]

    def rejected(self, reason):
        """The outcome of a single record that cannot be worked on."""
        return Outcome(rejects=self.data, records=1, rejected=1, messages=[(1, reason)])


def _format(path):
    name = path.lower().removesuffix(".gz")
    if name.endswith((".sdf", ".sd", ".mol")):
        return "sdf"
    if name.endswith((".smi", ".smiles")):
        return "smi"
    raise InputError(f"{path}: libraries are .sdf or .smi files, also with .gz")


def _open(path, offset):
    with open(path, "rb") as stream:
        packed = stream.read(2) == b"\x1f\x8b"
    stream = gzip.open(path) if packed else open(path, "rb")
    stream.seek(offset)
    return stream


def chunks(inputs, position, size):
    """The records of all files behind a position, `size` of them at a time; one chunk and a block
    of a file are held."""
    if size < 1:
        raise InputError("a chunk has at least one record")
    kinds = [_format(path) for path in inputs]
    for index in range(position[0], len(inputs)):
        offset = position[1] if index == position[0] else 0
        with _open(inputs[index], offset) as stream:
            for data in _cut(stream, _END[kinds[index]], size):
                offset += len(data)
                if data.strip():
                    yield Chunk(kinds[index], data, (index, offset))


def tapered(parts, last, size):
    """The chunks, the `last` ones in pieces of `size` records, so that workers end together."""
    held = deque()
    for part in parts:
        held.append(part)
        if len(held) > last:
            yield held.popleft()
    for part in held:
        yield from part.pieces(size)


def _cut(stream, end, size):
    """The bytes of a stream in pieces of `size` records, the last one as it comes."""
    kept, count, searched = b"", 0, 0
    while block := stream.read(_BLOCK):
        kept += block
        # A mark that the block's end cuts in two is found with the next block.
        whole = kept.rfind(b"\n") + 1
        begin = 0
        for match in end.finditer(kept, searched, whole):
            count += 1
            if count == size:
                yield kept[begin : match.end()]
                begin, count = match.end(), 0
        kept, searched = kept[begin:], max(0, whole - begin)
    if kept:
        yield kept


def run_chunk(chunk, arguments, compress, program):
    """`molpot minimize` on a chunk. Where it dies its halves are tried, down to the record that kills
    it. Raises InputError for arguments that it refuses."""
    outcome = _run(chunk, arguments, program or find_program())
    if compress and outcome.output:
        outcome.output = gzip.compress(outcome.output, 6, mtime=0)
    return outcome


def _scratch():
    """A directory that goes with the worker."""
    if "distributed" not in sys.modules:
        return None
    from distributed import get_worker

    try:
        return get_worker().local_directory
    except ValueError:  # this is no worker
        return None


def _environment():
    """That of this process, without what Dask's nannies set to hand memory back to the system at
    every turn, which makes the program half as slow again."""
    return {name: value for name, value in os.environ.items() if name != "MALLOC_TRIM_THRESHOLD_"}


def _run(chunk, arguments, program):
    with tempfile.TemporaryDirectory(prefix="molpotential-", dir=_scratch()) as place:
        output, rejects = os.path.join(place, "out.sdf"), os.path.join(place, "rejects")
        command = [program, "minimize", "-", "--input-format", chunk.kind, "--json"]
        command += ["-o", output, "--rejects", rejects, *arguments]
        run = subprocess.run(command, input=chunk.data, capture_output=True, env=_environment())
        if run.returncode in (0, 1):
            lines = [json.loads(line) for line in run.stdout.splitlines()]
            return _outcome(lines, _content(output), _content(rejects))
    said = run.stderr.decode(errors="replace").strip()
    if run.returncode == 2:
        lines = [line for line in said.splitlines() if not line.startswith("Run with --help")]
        raise InputError(lines[-1] if lines else "molpot refuses its arguments")
    if run.returncode in _ENDED_FROM_OUTSIDE:
        raise RuntimeError(f"molpot was ended from outside ({run.returncode})")
    return _set_aside(chunk, arguments, program, run.returncode)


def _content(path):
    with open(path, "rb") as stream:
        return stream.read()


def _outcome(lines, output, rejects):
    bad = [line for line in lines if "error" in line]
    slow = [line for line in lines if line.get("converged") is False]
    messages = [(line["record"], line["error"]) for line in bad]
    messages += [(line["record"], "not converged: " + line["reason"]) for line in slow]
    return Outcome(
        output,
        rejects,
        records=max((line["record"] for line in lines), default=0),
        written=len(lines) - len(bad),
        unconverged=len(slow),
        rejected=len({line["record"] for line in bad if "conformer" not in line}),
        messages=sorted(messages),
    )


def _set_aside(chunk, arguments, program, code):
    """The outcome of a chunk whose run died, without the record that did it."""
    halves = chunk.halves()
    if not halves[0].data:
        how = f"by signal {-code}" if code < 0 else f"with status {code}"
        return chunk.rejected(f"molpot ends {how} when it works on this record")
    first, second = (_run(half, arguments, program) for half in halves)
    return Outcome(
        first.output + second.output,
        first.rejects + second.rejects,
        first.records + second.records,
        first.written + second.written,
        first.unconverged + second.unconverged,
        first.rejected + second.rejected,
        first.messages + [(first.records + n, text) for n, text in second.messages],
    )
