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
GUARD_ATTEMPTS = 3
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


def measure(row, context):
    """The median of each case for each who was measured."""
    samples = run_program(context, row.measure) if isinstance(row.measure, Programs) else row.measure.measure(context)
    return {key: statistics.median(values) for key, values in samples.items()}


@dataclasses.dataclass(frozen=True)
class Verdict:
    """What came of one goal."""
    goal: object
    case: str  # the worst
    ratio: float

    def is_met(self):
        return self.ratio <= self.goal.limit

    def is_held(self):
        """Whether the guard lets it pass."""
        return self.ratio <= GUARD * (getattr(self.goal, "reach", None) or self.goal.limit)


def judge(row, medians):
    """A verdict for each goal of a row."""
    verdicts = []
    for goal in row.goals:
        ratios = goal.ratios(medians)
        if not ratios:
            sys.exit(f"bench: row {row.number} has measured nothing for {goal.title()}")
        verdicts.append(Verdict(goal, *max(ratios.items(), key=lambda item: item[1])))
    return verdicts


def print_verdicts(row, verdicts):
    """A line for each goal."""
    for verdict in verdicts:
        print(LINE.format(row.number, row.what, verdict.goal.title(), f"{verdict.ratio:.2f}", f"{verdict.goal.limit:g}",
                          "yes" if verdict.is_met() else "NO", verdict.case), flush=True)


def print_cases(medians):
    """Ours in relation to everybody else, case by case."""
    for case in dict.fromkeys(case for case, _ in medians):
        others = ", ".join(f"{medians[case, OURS] / value:.2f} × {who}" for (other, who), value in medians.items()
                           if other == case and who != OURS)
        print(f"       {case}: {others or format(medians[case, OURS], '.4g')}", flush=True)


def is_held(row, context):
    """Measures a row for the guard. What is not held is measured again: something else may have kept the machine busy."""
    for _ in range(GUARD_ATTEMPTS):
        verdicts = judge(row, measure(row, context))
        print_verdicts(row, verdicts)
        if all(verdict.is_held() for verdict in verdicts):
            return True
    return False


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
    parser.add_argument("--guard", action="store_true",
                        help=f"the short form; fails where a ratio stays worse than {GUARD} times its goal")
    parser.add_argument("--build", type=pathlib.Path, required=True, help=argparse.SUPPRESS)
    options = parser.parse_args()
    wanted = [int(number) for number in options.rows.split(",")] if options.rows else [row.number for row in ROWS]
    if unknown := set(wanted) - {row.number for row in ROWS}:
        sys.exit(f"bench: no such rows: {sorted(unknown)}")

    start = time.monotonic()
    print(f"On {machine()}.")
    print(LINE.format("row", "what", "compared with", "ratio", "goal", "met", "worst case"), flush=True)
    not_held = []
    for row in ROWS:
        if row.number not in wanted:
            continue
        with tempfile.TemporaryDirectory(prefix="zef-bench-") as scratch:
            context = Context(options.build.resolve(), options.short or options.guard, pathlib.Path(scratch))
            if options.guard:
                if not is_held(row, context):
                    not_held.append(row.number)
                continue
            medians = measure(row, context)
        print_verdicts(row, judge(row, medians))
        if options.cases:
            print_cases(medians)
    print(f"Took {time.monotonic() - start:.0f} s.")
    if not_held:
        sys.exit(f"bench: rows that are worse than {GUARD} times their goal: {not_held}")


if __name__ == "__main__":
    main()
