"""What a benchmark row is made of."""

import dataclasses
import re
from collections.abc import Callable

OURS = "ours"


@dataclasses.dataclass(frozen=True)
class Programs:
    """Measures with a Google Benchmark program of this folder: the benchmarks that the filter matches, interleaved, each
    so many rounds of so many seconds. A benchmark is named CASE/WHO, and WHO is "ours" or whom ours is compared with.
    `clock` is what counts: "cpu_time" where one thread computes, "real_time" where threads or the kernel take part."""
    program: str
    filter: str = "."
    clock: str = "cpu_time"
    rounds: int = 9
    seconds: float = 0.05
    short_rounds: int = 7
    short_seconds: float = 0.01


@dataclasses.dataclass(frozen=True)
class Script:
    """Measures with a function: (Context) -> {(case, who): [a figure for each round]}."""
    measure: Callable


@dataclasses.dataclass(frozen=True)
class Ratio:
    """Ours is at most so many times that of another one, in each case that the pattern matches as a whole. Where that is
    out of reach, `reach` is what can be had: the guard goes by it."""
    peer: str
    limit: float
    cases: str = ".*"
    reach: float | None = None

    def title(self):
        return f"vs. {self.peer}"

    def ratios(self, medians):
        """Case to ratio."""
        return {case: value / medians[case, self.peer] for (case, who), value in medians.items()
                if who == OURS and re.fullmatch(self.cases, case) and (case, self.peer) in medians}


@dataclasses.dataclass(frozen=True)
class Growth:
    """Ours in a large case is at most so many times ours in a small one, each divided by the number of things in it.
    `pairs` are (small case, its number, large case, its number). With `beside` it is the growth of
    another one that counts in place of the numbers: who pays for larger cases' cache misses, too."""
    what: str
    limit: float
    pairs: tuple
    beside: str | None = None

    def title(self):
        return self.what

    def ratios(self, medians):
        """Small and large case to ratio."""
        found = {}
        for small, small_number, large, large_number in self.pairs:
            expected = (medians[large, self.beside] / medians[small, self.beside] if self.beside else
                        large_number / small_number)
            found[f"{small} to {large}"] = medians[large, OURS] / medians[small, OURS] / expected
        return found


@dataclasses.dataclass(frozen=True)
class Amount:
    """Ours is at most so much, in the unit given."""
    unit: str
    limit: float
    cases: str = ".*"

    def title(self):
        return self.unit

    def ratios(self, medians):
        return {case: value for (case, who), value in medians.items() if who == OURS and re.fullmatch(self.cases, case)}


@dataclasses.dataclass(frozen=True)
class Row:
    """One row: its number, what is measured in at most 40 characters, how, and the goals."""
    number: int
    what: str
    measure: Programs | Script
    goals: tuple
