#!/usr/bin/env python3
"""Measures the library beside its peers and beside what cannot be done without, in one run, and prints a line for each
goal: row, what is measured, compared with what, ratio, goal, whether it is met, and the case that it is worst in."""

import argparse
import dataclasses
import json
import os
import pathlib
import platform
import re
import statistics
import subprocess
import sys
import tempfile
import time

from client.rows import ROWS as CLIENT_ROWS
from document.rows import ROWS as DOCUMENT_ROWS
from pool.rows import ROWS as POOL_ROWS
from process.rows import ROWS as PROCESS_ROWS
from rows import OURS, Programs

ROOT = pathlib.Path(__file__).resolve().parents[1]
ROWS = sorted((*CLIENT_ROWS, *DOCUMENT_ROWS, *POOL_ROWS, *PROCESS_ROWS), key=lambda row: row.number)
PATIENCE = 900  # seconds that one program may take
GUARD = 2       # how many times its goal a ratio may be before the guard fails
LINE = "{:>3}  {:<38}  {:<26}  {:>7}  {:>6}  {:<3}  {}"


@dataclasses.dataclass(frozen=True)
class Context:
    """What a script of a row gets."""
    build: pathlib.Path  # the folder of the build
    is_short: bool
    scratch: pathlib.Path  # gone after the run

    def program(self, name):
        """Where a program of the benchmarks is."""
        found = sorted((self.build / "bench").glob(f"*/{name}"))
        if not found:
            sys.exit(f"bench: {name} is not in {self.build}")
        return found[0]


def run_program(context, programs):
    """Every round of every benchmark of a program."""
    rounds, seconds = ((programs.short_rounds, programs.short_seconds) if context.is_short else
                       (programs.rounds, programs.seconds))
    out = context.scratch / "result.json"
    subprocess.run([context.program(programs.program), f"--benchmark_filter={programs.filter}",
                    f"--benchmark_repetitions={rounds}", "--benchmark_enable_random_interleaving=true",
                    f"--benchmark_min_time={seconds}", f"--benchmark_out={out}", "--benchmark_out_format=json"],
                   check=True, timeout=PATIENCE, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, cwd=ROOT)
    samples = {}
    for entry in json.loads(out.read_text(encoding="utf-8"))["benchmarks"]:
        if entry["run_type"] != "iteration":
            continue
        if "error_message" in entry:
            sys.exit(f"bench: {entry['name']}: {entry['error_message']}")
        name = re.sub(r"/(real_time|manual_time|process_time|(iterations|min_time|repeats|threads):[\d.]+)", "", entry["name"])
        case, _, who = name.rpartition("/")
        samples.setdefault((case, who), []).append(entry[programs.clock])
    return samples


def print_cases(medians):
    """Ours in relation to everything else, case by case."""
    for case in dict.fromkeys(case for case, _ in medians):
        others = ", ".join(f"{medians[case, OURS] / value:.2f} × {who}" for (other, who), value in medians.items()
                           if other == case and who != OURS)
        print(f"       {case}: {others or format(medians[case, OURS], '.4g')}", flush=True)


def print_goals(row, medians, short_of):
    """A line for each goal. Collects those of which the guard would say that they are not held."""
    for goal in row.goals:
        ratios = goal.ratios(medians)
        if not ratios:
            sys.exit(f"bench: row {row.number} has measured nothing for {goal.title()}")
        case, worst = max(ratios.items(), key=lambda item: item[1])
        print(LINE.format(row.number, row.what, goal.title(), f"{worst:.2f}", f"{goal.limit:g}",
                          "yes" if worst <= goal.limit else "NO", case), flush=True)
        if worst > GUARD * goal.limit:
            short_of.append(f"row {row.number}, {goal.title()}, {case}: {worst:.2f}, more than {GUARD} times {goal.limit:g}")


def machine():
    """What it was measured on, in one line."""
    cpuinfo = pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8")
    name = re.search(r"^model name\s*: (.*)$", cpuinfo, re.MULTILINE)
    return f"{os.cpu_count()} processors {name[1] if name else platform.machine()}, Linux {platform.release()}"


def main():
    parser = argparse.ArgumentParser(prog="bench", description=__doc__)
    parser.add_argument("--rows", help="numbers of the rows to measure, such as 1,4,7; all by default")
    parser.add_argument("--short", action="store_true", help="fewer and shorter rounds: less than three minutes in all")
    parser.add_argument("--cases", action="store_true", help="also print each case and everybody who was measured in it")
    parser.add_argument("--guard", action="store_true", help=f"fail where a ratio is worse than {GUARD} times its goal")
    parser.add_argument("--build", type=pathlib.Path, required=True, help=argparse.SUPPRESS)
    options = parser.parse_args()
    wanted = [int(number) for number in options.rows.split(",")] if options.rows else [row.number for row in ROWS]
    if unknown := set(wanted) - {row.number for row in ROWS}:
        sys.exit(f"bench: no such rows: {sorted(unknown)}")

    start = time.monotonic()
    print(f"On {machine()}.")
    print(LINE.format("row", "what", "compared with", "ratio", "goal", "met", "worst case"), flush=True)
    short_of = []
    for row in ROWS:
        if row.number not in wanted:
            continue
        with tempfile.TemporaryDirectory(prefix="zef-bench-") as scratch:
            context = Context(options.build.resolve(), options.short, pathlib.Path(scratch))
            samples = (run_program(context, row.measure) if isinstance(row.measure, Programs) else
                       row.measure.measure(context))
        medians = {key: statistics.median(values) for key, values in samples.items()}
        print_goals(row, medians, short_of)
        if options.cases:
            print_cases(medians)
    print(f"Took {time.monotonic() - start:.0f} s.")
    if options.guard and short_of:
        print("\n".join(short_of), file=sys.stderr)
        sys.exit(1)


if __name__ == "__main__":
    main()
