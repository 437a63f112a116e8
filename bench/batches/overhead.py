#!/usr/bin/python3
"""A library through `molpot minimize -j 2` and through molpotential.distributed on two workers.

    PYTHONPATH=build/release/python bench/batches/overhead.py LIBRARY.sdf [ROUNDS]

Prints the seconds of both in turn, the cluster's start aside, whether the outputs are the same bytes,
and the peak memory of the client, which is a process of its own.
"""
import filecmp
import importlib
import os
import resource
import subprocess
import sys
import tempfile
import time


def run_program(library, place):
    from molpotential._program import program

    begun = time.perf_counter()
    command = [program(), "minimize", library, "-o", os.path.join(place, "program.sdf"), "-j", "2"]
    subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)
    return time.perf_counter() - begun


def client(library, place):
    """In a process of its own: the seconds, and its memory before and at its peak, MiB."""
    from distributed import Client, LocalCluster

    from molpotential.distributed import minimize_files

    with LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster:
        with Client(cluster.scheduler_address) as connected:
            connected.run(importlib.import_module, "molpotential.distributed")  # part of the start
            before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024
            begun = time.perf_counter()
            cpu = time.process_time()
            out = os.path.join(place, "distributed.sdf")
            summary = minimize_files(library, out, client=connected)
            seconds = time.perf_counter() - begun
            cpu = time.process_time() - cpu
    peak = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024
    print(seconds, before, peak, cpu, summary.records)


def run_distributed(library, place):
    command = [sys.executable, __file__, "--client", library, place]
    run = subprocess.run(command, stdout=subprocess.PIPE, text=True, stderr=subprocess.DEVNULL)
    return [float(value) for value in run.stdout.split()]


def main():
    if sys.argv[1] == "--client":
        return client(*sys.argv[2:])
    library, rounds = sys.argv[1], int(sys.argv[2]) if len(sys.argv) > 2 else 1
    for _ in range(rounds):
        with tempfile.TemporaryDirectory() as place:
            program = run_program(library, place)
            seconds, before, peak, cpu, records = run_distributed(library, place)
            outputs = (os.path.join(place, name) for name in ("program.sdf", "distributed.sdf"))
            equal = filecmp.cmp(*outputs, shallow=False)
        print(
            f"{records:.0f} records: molpot -j 2 {program:.1f} s, two workers {seconds:.1f} s "
            f"({100 * (seconds / program - 1):+.1f} %), outputs {'equal' if equal else 'DIFFER'}; "
            f"client {before:.0f} MiB before, {peak:.0f} MiB at most, {cpu:.1f} s of CPU with the scheduler",
            flush=True,
        )


if __name__ == "__main__":
    main()
