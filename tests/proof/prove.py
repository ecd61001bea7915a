#!/usr/bin/env python3
"""Builds what the proofs need, carries them out, as many at once as there are processors, and prints one line for
each: its number, what is proved, how many trials were made and how many failed. Their own output is kept in
build/proof/."""

import argparse
import dataclasses
import os
import pathlib
import re
import secrets
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build"
PATIENCE = 1200  # seconds that a proof may take beyond its soak
CLANG = ["-DCMAKE_CXX_COMPILER=clang++-14", "-DCMAKE_C_COMPILER=clang-14"]

# name: (arguments of the configuration, targets)
BUILDS = {
    "dev": (["--preset", "dev", "-DBUILD_TESTING=ON"], ["zef_client", "zef_config", "zef_proof"]),
    "asan-ubsan": (["--preset", "asan-ubsan", "-DBUILD_TESTING=ON"], ["zef_client", "zef_proof"]),
    "tsan": (["--preset", "tsan", "-DBUILD_TESTING=ON"], ["zef_client", "zef_proof"]),
    "clang": (["--preset", "tsan", "-B", "build/clang", "-DBUILD_TESTING=ON", *CLANG], ["zef_client", "zef_race_programs"]),
    "fuzz": (["--preset", "fuzz"], ["zef_proof"]),
}

# number, folder, what, builds
ROWS = [
    (1, "01-fuzzing", "coverage-guided fuzzing of load, lookup, save, reload", ["fuzz"]),
    (2, "02-round-trip", "values that are set, saved and loaded are the same", ["fuzz"]),
    (3, "03-damaged-files", "damaged configurations are taken whole or refused", ["dev"]),
    (4, "04-allocations", "every allocation failed in turn", ["dev"]),
    (5, "05-system-calls", "every system call of load and save failed in turn", ["dev"]),
    (6, "06-full-disks", "file size limits and full disks lose nothing in silence", ["dev"]),
    (7, "07-killed-saves", "kill -9 during a save", ["dev"]),
    (8, "08-power-cuts", "power cuts during a save on ext4", ["dev"]),
    (9, "09-races", "queries, credentials and requests while pairs come and go", ["tsan", "clang"]),
    (10, "10-recovery", "arrays, links and sessions come back; nothing grows", ["dev"]),
    (11, "11-stops", "a stop ends at once, whatever is under way", ["asan-ubsan", "tsan"]),
    (12, "12-secrets", "no piece of a password in core dumps or logs", ["dev"]),
    (13, "13-unloading", "load, init, start, finish, unload leaves nothing", ["dev"]),
    (14, "14-socket-abuse", "hostile clients of the management socket", ["dev"]),
    (15, "15-mutants", "mutants of the library are killed by its tests", ["dev"]),
    (16, "16-analysis", "static analysis and hardening", ["dev"]),
]


def build(name):
    """Configures and builds; the builds of scripts/test are used again."""
    arguments, targets = BUILDS[name]
    folder = BUILD / name
    folder.mkdir(parents=True, exist_ok=True)
    with open(BUILD / f"{name}.prove.log", "w", encoding="utf-8") as log:
        for command in (["cmake", *arguments],
                        ["cmake", "--build", str(folder), "-j", str(os.cpu_count()), "--target", *targets]):
            if subprocess.run(command, cwd=ROOT, stdout=log, stderr=subprocess.STDOUT, check=False).returncode != 0:
                print(pathlib.Path(log.name).read_text(encoding="utf-8")[-6000:], file=sys.stderr)
                sys.exit(f"prove: the build of {name} failed; all of it is in {log.name}")


@dataclasses.dataclass
class Outcome:
    tried: int
    failed: int
    seconds: float
    holds: bool
    absent: str      # why it could not be tried here
    log_file: pathlib.Path

    def print(self, number, what):
        print(f"{number:>3}  {what:<60}  {self.tried:>9}  {self.failed:>6}  {self.seconds:>5.0f}", flush=True)
        if self.absent:
            print(f"     not tried here: {self.absent}", flush=True)
        elif not self.holds:
            print("\n".join(self.log_file.read_text(encoding="utf-8", errors="replace").splitlines()[-40:]))
            print(f"row {number} does not hold: {self.log_file.relative_to(ROOT)}", flush=True)


def prove(folder, seed, soak):
    """Carries out one proof."""
    log_file = BUILD / "proof" / f"{folder}.log"
    command = ["timeout", "--kill-after=30", str(int(soak or 0) + PATIENCE), ROOT / "tests/proof" / folder / "row",
               "--seed", str(seed), "--builds", BUILD]
    if soak is not None:
        command += ["--soak", str(soak)]
    start = time.monotonic()
    with open(log_file, "w", encoding="utf-8") as log, \
            tempfile.TemporaryDirectory(prefix="zef-prove-", ignore_cleanup_errors=True) as scratch:
        status = subprocess.run(command, cwd=ROOT, stdout=log, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
                                env={**os.environ, "TMPDIR": scratch, "PYTHONDONTWRITEBYTECODE": "1"},
                                check=False).returncode
    text = log_file.read_text(encoding="utf-8", errors="replace")
    result = re.findall(r"^tried (\d+) failed (\d+)$", text, re.MULTILINE)
    tried, failed = map(int, result[-1]) if result else (0, 0)
    controls = re.findall(r"^control .*: (noticed|MISSED)$", text, re.MULTILINE)
    holds = status == 0 and tried > 0 and failed == 0 and "noticed" in controls and "MISSED" not in controls
    absent = re.search(r"^not tried here: (.*)$", text, re.MULTILINE) if tried == 0 and failed == 0 else None
    return Outcome(tried, failed, time.monotonic() - start, holds, absent[1] if absent else "", log_file)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--rows", help="numbers of the proofs to carry out, such as 1,4,7; all by default")
    parser.add_argument("--seed", type=int, help="of everything that is drawn at random; 1 by default, a new one in a soak")
    parser.add_argument("--soak", type=float, metavar="SECONDS", help="the larger figures, for that long in all")
    options = parser.parse_args()
    wanted = [int(number) for number in options.rows.split(",")] if options.rows else [row[0] for row in ROWS]
    if unknown := set(wanted) - {row[0] for row in ROWS}:
        sys.exit(f"prove: no such rows: {sorted(unknown)}")
    rows = [row for row in ROWS if row[0] in wanted]
    seed = options.seed if options.seed is not None else secrets.randbelow(2**31) if options.soak else 1
    (BUILD / "proof").mkdir(parents=True, exist_ok=True)

    start = time.monotonic()
    for name in BUILDS:
        if any(name in builds for *_, builds in rows):
            build(name)
    print(f"built in {time.monotonic() - start:.0f} s; seed {seed}; what each row says is in build/proof/\n")
    print(f"{'row':>3}  {'what':<60}  {'tried':>9}  {'failed':>6}  {'s':>5}")
    jobs = os.cpu_count() or 1
    share = options.soak * min(jobs, len(rows)) / len(rows) if options.soak else None
    with ThreadPoolExecutor(jobs) as pool:
        running = [(number, what, pool.submit(prove, folder, seed, share)) for number, folder, what, _ in rows]
        for number, what, outcome in running:
            outcome.result().print(number, what)
    outcomes = [outcome.result() for _, _, outcome in running]
    absent = sum(bool(outcome.absent) for outcome in outcomes)
    hold = sum(outcome.holds for outcome in outcomes)
    broken = len(outcomes) - hold - absent
    print(f"\n{hold} proofs hold, {broken} do not" + (f", {absent} could not be tried here" if absent else ""))
    sys.exit(1 if broken else 0)


if __name__ == "__main__":
    main()
