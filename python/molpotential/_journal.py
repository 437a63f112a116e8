# Copyright (c) the molpotential authors.
# SPDX-License-Identifier: BSD-3-Clause
"""The output of a batch, written in order, and beside it how far it is complete."""

import json
import os
import sys
import time
from dataclasses import asdict, dataclass

from ._core import InputError

_INTERVAL = 1.0  # seconds between marks: what is done again after a death


@dataclass
class Summary:
    """Counts: records that were read, molecules written (of a record with conformers several), of
    these not converged, and records rejected."""

    records: int = 0
    written: int = 0
    unconverged: int = 0
    rejected: int = 0


class Journal:
    """A new output, or one that an earlier call did not complete."""

    def __init__(self, inputs, output, rejects, arguments):
        self.inputs = [os.fspath(inputs)] if isinstance(inputs, (str, os.PathLike)) else inputs
        self.inputs = [os.fspath(path) for path in self.inputs]
        self._paths = [os.fspath(output)]
        self._paths.append(os.fspath(rejects) if rejects else self._paths[0] + ".rejects")
        self._state_path = self._paths[0] + ".progress"
        self._check_files()
        job = {"inputs": [os.path.abspath(path) for path in self.inputs], "arguments": arguments}
        self._state = {"job": job, "position": [0, 0], "bytes": [0, 0]}
        self.summary = Summary()
        resumed = os.path.exists(self._state_path)
        if resumed:
            with open(self._state_path, encoding="utf-8") as stream:
                self._state = json.load(stream)
            if self._state["job"] != job:
                raise InputError(
                    f"{self._paths[0]} was begun with other inputs or options; to begin anew, remove "
                    f"it and {self._state_path}"
                )
            self.summary = Summary(**self._state["summary"])
        elif os.path.exists(self._paths[0]):
            raise InputError(f"{self._paths[0]} exists")
        self.position = tuple(self._state["position"])
        self._streams = []
        self._marked = time.monotonic()
        for path, size in zip(self._paths, self._state["bytes"]):
            stream = open(path, "r+b" if resumed else "wb")
            stream.truncate(size)  # what was written after the last mark may be incomplete
            stream.seek(size)
            self._streams.append(stream)

    def _check_files(self):
        for path in self.inputs:
            if not os.path.exists(path):
                raise InputError(f"{path}: there is no such file")
            for other in (*self._paths, self._state_path):
                if os.path.exists(other) and os.path.samefile(path, other):
                    raise InputError(f"{path} is an input and an output")
        if os.path.abspath(self._paths[0]) == os.path.abspath(self._paths[1]):
            raise InputError(f"{self._paths[0]}: output and rejects are one file")

    def __enter__(self):
        return self

    def __exit__(self, kind, *_):
        if kind is not None and self.summary.records == 0:  # nothing to go on from
            for path in (*self._paths, self._state_path):
                if os.path.exists(path):
                    os.remove(path)
        for stream in self._streams:
            stream.close()

    def add(self, outcome):
        """Takes a chunk's outcome, the chunks being in order."""
        for number, message in outcome.messages:
            print(f"record {self.summary.records + number}: {message}", file=sys.stderr)
        self._streams[0].write(outcome.output)
        self._streams[1].write(outcome.rejects)
        self.summary.records += outcome.records
        self.summary.written += outcome.written
        self.summary.unconverged += outcome.unconverged
        self.summary.rejected += outcome.rejected

    def reached(self, position):
        """Everything before `position`, a file's number and its byte, is added."""
        self._state["position"] = list(position)
        if time.monotonic() - self._marked >= _INTERVAL:
            self._mark()

    def _mark(self):
        for stream in self._streams:
            stream.flush()
            os.fsync(stream.fileno())
        self._state["bytes"] = [stream.tell() for stream in self._streams]
        self._state["summary"] = asdict(self.summary)
        with open(self._state_path + ".new", "w", encoding="utf-8") as stream:
            json.dump(self._state, stream)
        os.replace(self._state_path + ".new", self._state_path)
        self._marked = time.monotonic()

    def finish(self):
        """The output is complete."""
        self._mark()
        os.remove(self._state_path)
