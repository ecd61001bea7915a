"""The client as a whole, against a real array."""

import json
import pathlib
import subprocess
import sys

from rows import Amount, Ratio, Row, Script

LOGINS = pathlib.Path(__file__).with_name("logins.py")
PATIENCE = 600  # seconds that a row may take


def arena(what, rounds, short_rounds):
    """Lets logins.py measure in namespaces of its own."""
    def measure(context):
        command = [sys.executable, "-B", LOGINS, what, "--client", context.build / "client" / "zef_client",
                   "--bare", context.program("bench_bare_logins"), "--loaded", context.program("bench_loaded_logins"),
                   "--needed", context.program("bench_needed_logins"),
                   "--stopwatch", context.program("bench_stopwatch"),
                   "--rounds", str(short_rounds if context.is_short else rounds)]
        done = subprocess.run(command, timeout=PATIENCE, stdout=subprocess.PIPE, text=True, check=False)
        if done.returncode != 0:
            sys.exit(f"bench: {what}: ended with {done.returncode}: {done.stdout}")
        return {(case, who): figures for case, who, figures in json.loads(done.stdout.splitlines()[-1])}
    return Script(measure)


ROWS = (
    Row(11, "client, from start to all links up", arena("logins", 21, 7),
        (Ratio("bare logins", 1.15, r"\d+ pairs?", reach=3),)),
    Row(12, "the same, half of the addresses dead", arena("dead-addresses", 9, 3),
        # A hundredth is for the timers, which are never early.
        (Amount("deadlines per address", 1.01, r"\d of \d silent"), Ratio("one local address", 1.15),
         Ratio("live addresses alone", 1.15))),
)
