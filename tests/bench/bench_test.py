"""How the benchmarks make verdicts of what they have measured.

Environment: ZEF_SOURCE_DIR.
"""
import contextlib
import io
import os
import pathlib
import re
import sys
import unittest
from unittest import mock

sys.path.insert(0, str(pathlib.Path(os.environ["ZEF_SOURCE_DIR"]) / "bench"))

import bench
from rows import Amount, Growth, Ratio, Row, Script

MEDIANS = {("small", "ours"): 2.0, ("small", "peer"): 4.0, ("large", "ours"): 300.0, ("large", "peer"): 100.0,
           ("large", "other"): 1.0}


def row_of(goal, *rounds):
    """A row that measures these figures for "ours" one after another, and 1 for "peer"."""
    figures = iter(rounds)
    return Row(1, "what", Script(lambda _: {("case", "ours"): [next(figures)], ("case", "peer"): [1.0]}), (goal,))


class GoalTest(unittest.TestCase):
    def test_a_ratio_is_ours_by_the_peers_in_each_case_that_both_have(self):
        self.assertEqual(Ratio("peer", 1).ratios(MEDIANS), {"small": 0.5, "large": 3.0})
        self.assertEqual(Ratio("other", 1).ratios(MEDIANS), {"large": 300.0})
        self.assertEqual(Ratio("peer", 1, "sm.*").ratios(MEDIANS), {"small": 0.5})
        self.assertEqual(Ratio("peer", 1, "sm").ratios(MEDIANS), {})

    def test_growth_is_counted_for_each_thing(self):
        self.assertEqual(Growth("growth", 1, (("small", 1, "large", 100),)).ratios(MEDIANS), {"small to large": 1.5})

    def test_an_amount_is_what_it_is(self):
        self.assertEqual(Amount("kB", 1).ratios(MEDIANS), {"small": 2.0, "large": 300.0})


class VerdictTest(unittest.TestCase):
    def test_the_worst_case_counts(self):
        verdict, = bench.judge(Row(1, "what", None, (Ratio("peer", 2),)), MEDIANS)
        self.assertEqual((verdict.case, verdict.ratio, verdict.is_met(), verdict.is_held()), ("large", 3.0, False, True))

    def test_a_limit_that_is_reached_is_met(self):
        verdict, = bench.judge(Row(1, "what", None, (Ratio("peer", 3),)), MEDIANS)
        self.assertTrue(verdict.is_met())

    def test_the_guard_lets_twice_the_goal_pass_and_no_more(self):
        for limit, is_held in ((1.5, True), (1.49, False)):
            verdict, = bench.judge(Row(1, "what", None, (Ratio("peer", limit),)), MEDIANS)
            self.assertEqual(verdict.is_held(), is_held)

    def test_the_guard_goes_by_what_can_be_reached(self):
        for reach, is_held in ((1.5, True), (1.49, False)):
            verdict, = bench.judge(Row(1, "what", None, (Ratio("peer", 0.1, reach=reach),)), MEDIANS)
            self.assertEqual((verdict.is_met(), verdict.is_held()), (False, is_held))

    def test_a_goal_without_a_measurement_is_an_error(self):
        with self.assertRaises(SystemExit):
            bench.judge(Row(1, "what", None, (Ratio("nobody", 1),)), MEDIANS)

    def test_medians_are_taken_of_all_rounds(self):
        row = Row(1, "what", Script(lambda _: {("case", "ours"): [9.0, 1.0, 2.0]}), ())
        self.assertEqual(bench.measure(row, None), {("case", "ours"): 2.0})

    def test_the_lines_say_whether_a_goal_is_met(self):
        for limit, word in ((3, "yes"), (2, "NO")):
            row = Row(1, "what", None, (Ratio("peer", limit),))
            with contextlib.redirect_stdout(io.StringIO()) as out:
                bench.print_verdicts(row, bench.judge(row, MEDIANS))
            self.assertEqual(out.getvalue().split(), ["1", "what", "vs.", "peer", "3.00", str(limit), word, "large"])


class GuardTest(unittest.TestCase):
    def is_held(self, *rounds):
        with contextlib.redirect_stdout(io.StringIO()):
            return bench.is_held(row_of(Ratio("peer", 1), *rounds), None)

    def test_it_measures_again_before_it_fails(self):
        self.assertTrue(self.is_held(2.0))
        self.assertTrue(self.is_held(9.0, 9.0, 2.0))
        self.assertFalse(self.is_held(9.0, 9.0, 9.0))

    def run_main(self, *arguments):
        with mock.patch.object(sys, "argv", ["bench", "--build", "build", *arguments]), \
                contextlib.redirect_stdout(io.StringIO()):
            bench.main()

    def test_only_the_guard_fails_for_what_is_not_met(self):
        with mock.patch.object(bench, "ROWS", [row_of(Ratio("peer", 1), *[9.0] * 4)]):
            self.run_main()
            with self.assertRaisesRegex(SystemExit, r"\[1\]"):
                self.run_main("--guard")


class RowsTest(unittest.TestCase):
    def test_the_document_has_a_line_for_every_goal(self):
        document = (pathlib.Path(os.environ["ZEF_SOURCE_DIR"]) / "docs/performance.md").read_text(encoding="utf-8")
        table = document.split("```text\n")[1].split("```")[0]
        shown = [re.fullmatch(r" +(\d+)  (.{38})  (.{26}) +[\d.]+ +([\d.]+)  (yes|NO ) .*", line)
                 for line in table.splitlines()[2:]]
        self.assertEqual([(int(line[1]), line[2].rstrip(), line[3].rstrip(), float(line[4])) for line in shown[:-1]],
                         [(row.number, row.what, goal.title(), goal.limit) for row in bench.ROWS for goal in row.goals])

    def test_every_row_is_there_once_and_fits_its_line(self):
        self.assertEqual([row.number for row in bench.ROWS], sorted({row.number for row in bench.ROWS}))
        for row in bench.ROWS:
            self.assertLessEqual(len(row.what), 38, row.what)
            self.assertTrue(row.goals, row.what)


if __name__ == "__main__":
    unittest.main()
