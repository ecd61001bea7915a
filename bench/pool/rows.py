"""The task pool."""

import re
import subprocess

from rows import Growth, Programs, Ratio, Row, Script

PATIENCE = 300


def lateness(context):
    """Quantiles of one program's samples, which it takes in turns."""
    rounds, samples = (5, 300) if context.is_short else (9, 1000)
    text = subprocess.run([context.program("bench_lateness"), str(rounds), str(samples)], check=True, timeout=PATIENCE,
                          stdout=subprocess.PIPE, encoding="utf-8").stdout
    found = {}
    for case, who, figure in re.findall(r"^(\w+)/(.*) (-?\d+)$", text, re.MULTILINE):
        found.setdefault((case, who), []).append(int(figure))
    return found


ROWS = (
    Row(1, "commit and run, due at once", Programs("bench_hand_over", clock="real_time", rounds=15, short_rounds=5),
        (Ratio("boost::asio", 0.7), Ratio("bare", 1.5),
         Growth("10 to 100,000 queued", 1.6, tuple(
             (f"{producers}, 10", 1, f"{producers}, 100000", 1) for producers in ("1 producer", "4 producers"))))),
    Row(2, "commit with a delay, for its caller", Programs("bench_timed_commit", clock="real_time", rounds=21),
        (Ratio("boost::asio", 1.0),)),
    Row(3, "lateness of a task", Script(lateness), (Ratio("timerfd loop", 1.3),)),
)
