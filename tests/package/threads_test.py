"""The table of docs/threads.md, which says what may run beside what, against the list of exported functions.

Environment: ZEF_SOURCE_DIR, ZEF_EXPORT_LIST.
"""
import os
import pathlib
import re
import unittest

import binary

DOCUMENT = pathlib.Path(os.environ["ZEF_SOURCE_DIR"]) / "docs" / "threads.md"
HEAD = "| Kind | Functions | May run beside |"


def rows():
    """Kind, functions and neighbours of every row."""
    lines = DOCUMENT.read_text(encoding="utf-8").split(HEAD)[1].splitlines()[2:]
    for line in lines[:lines.index("")]:
        yield [cell.strip() for cell in line.strip("|").split(" | ")]


def exported():
    """The names of the exported functions, without arguments: what the table says goes for all overloads."""
    return {re.match(r"[\w:~]+(\[\])?", symbol).group() for symbol in binary.symbol_list(os.environ["ZEF_EXPORT_LIST"])}


class ThreadsTest(unittest.TestCase):
    def setUp(self):
        self.named = [name for _, functions, _ in rows() for name in re.findall(r"`([^`]+)`", functions)]

    def test_every_exported_function_stands_in_the_table(self):
        self.assertGreater(len(exported()), 100)
        self.assertEqual(sorted(exported() - set(self.named)), [])

    def test_the_table_names_exported_functions_only(self):
        self.assertEqual(sorted(set(self.named) - exported()), [])

    def test_a_function_is_of_one_kind(self):
        self.assertEqual(sorted(name for name in set(self.named) if self.named.count(name) > 1), [])

    def test_every_kind_says_what_it_may_run_beside(self):
        kinds = [kind for kind, _, _ in rows()]
        self.assertEqual(len(kinds), len(set(kinds)))
        self.assertEqual([kind for kind, _, beside in rows() if not beside], [])


if __name__ == "__main__":
    unittest.main()
