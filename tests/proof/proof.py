"""What the proofs have in common: arguments, counting, positive controls, and the result that `scripts/prove` reads.

A proof is a program tests/proof/NN-NAME/row. It says what it does on standard output, line by line; its last lines are

    control WHAT: noticed          one for each detector, shown something that it must notice; MISSED fails the proof
    tried N failed N

and it exits with 0 only when nothing failed and every control was noticed. Where a machine lacks what the whole proof needs
it prints `not tried here: REASON` instead. Programs in other languages print the same.
"""

import argparse
import atexit
import os
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]


class Proof:
    """One proof's run. In CI it carries out a fixed number of trials, in a soak it goes on until its time is over."""

    def __init__(self, description):
        parser = argparse.ArgumentParser(description=description)
        parser.add_argument("--seed", type=int, default=1, help="of everything that is drawn at random")
        parser.add_argument("--builds", type=pathlib.Path, default=ROOT / "build", help="folder of the builds")
        parser.add_argument("--soak", type=float, metavar="SECONDS", help="go on with the larger figures for that long")
        self.options = parser.parse_args()
        self.seed = self.options.seed
        self.builds = self.options.builds.resolve()
        self.random = random.Random(self.seed)
        self.soak = self.options.soak is not None
        self.tried = 0
        self.failed = 0
        self.controls = 0
        self.missed = 0
        self._end = time.monotonic() + self.options.soak if self.soak else None
        self._work = None
        print(f"seed {self.seed}", flush=True)

    @property
    def work(self):
        """A scratch folder that goes with the run."""
        if self._work is None:
            self._work = pathlib.Path(tempfile.mkdtemp(prefix="zef-proof-"))
            atexit.register(shutil.rmtree, self._work, ignore_errors=True)
        return self._work

    def time_is_over(self):
        """In a soak: whether its time is over. Never in CI, where the number of trials is fixed."""
        return self._end is not None and time.monotonic() >= self._end

    def goes_on(self, trials, soak_trials=None):
        """Whether another trial is due: up to `trials` in CI; in a soak until the time is over, or `soak_trials`."""
        if not self.soak:
            return self.tried < trials
        return not self.time_is_over() and (soak_trials is None or self.tried < soak_trials)

    def trial(self, held, what):
        """Counts one trial, and says what failed."""
        self.tried += 1
        if not held:
            self.failed += 1
            print(f"FAILED: {what}", flush=True)
        return held

    def trials(self, tried, failed, what):
        """Counts trials that a program of its own has carried out."""
        self.tried += tried
        self.failed += failed
        print(f"{what}: {tried} tried, {failed} failed", flush=True)

    def control(self, what, noticed):
        """A detector was shown something that it must notice."""
        self.controls += 1
        self.missed += 0 if noticed else 1
        print(f"control {what}: {'noticed' if noticed else 'MISSED'}", flush=True)

    def finish(self):
        """Prints the result and ends the program."""
        if self.controls == 0:
            print("no positive control was carried out", flush=True)
        print(f"tried {self.tried} failed {self.failed}", flush=True)
        sys.exit(0 if self.tried > 0 and self.failed == 0 and self.controls > 0 and self.missed == 0 else 1)


def mount_tmpfs(folder, options="size=64m"):
    """Only in a mount namespace of one's own. Returns the folder."""
    folder.mkdir(parents=True, exist_ok=True)
    subprocess.run(["mount", "-t", "tmpfs", "-o", options, "zef-proof", str(folder)], check=True)
    return folder


def in_own_namespaces(*kinds):
    """Starts this program anew with mounts, processes and, unless told otherwise, network of its own: all that it starts
    ends with it, and the machine is not touched."""
    if os.environ.get("ZEF_PROOF_NAMESPACES") == "1":
        return
    os.environ["ZEF_PROOF_NAMESPACES"] = "1"
    kinds = kinds or ("--mount", "--net", "--pid")
    command = ["unshare", *kinds, "--fork", "--kill-child", "--mount-proc"]
    if os.geteuid() != 0:
        command += ["--user", "--map-root-user"]
    os.execvp(command[0], command + [sys.executable, *sys.argv])
