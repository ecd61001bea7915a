"""How documents are read, and what they say in passing: commands and files in the middle of a sentence exist.

Environment: ZEF_SOURCE_DIR, ZEF_CLIENT.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import documents
import program

SOURCE_DIR = pathlib.Path(os.environ["ZEF_SOURCE_DIR"])
ALL = [SOURCE_DIR / "README.md", *sorted((SOURCE_DIR / "docs").glob("*.md")),
       *sorted((SOURCE_DIR / "docs" / "man").glob("*.scd"))]


class BlocksTest(unittest.TestCase):
    def blocks(self, name, text):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / name
            path.write_text(text, encoding="utf-8")
            return documents.blocks(path)

    def test_console_blocks_have_commands_with_their_output(self):
        block, = self.blocks("a.md", "Text\n\n```console\n$ one \\\n  more\nshown\n# two\n```\n")
        self.assertEqual(documents.commands(block), [documents.Command("one \\\n  more", ["shown"], "a.md:4"),
                                                     documents.Command("two", [], "a.md:7")])

    def test_blocks_without_a_word_are_commands(self):
        block, = self.blocks("a.md", "```\none\n\ntwo\n```\n")
        self.assertEqual([command.text for command in documents.commands(block)], ["one", "two"])

    def test_blocks_of_manuals_are_known_by_their_first_line(self):
        found = self.blocks("a.8.scd", "```\n$ one\n```\n\n```\n<?xml\\\\n\n```\n")
        self.assertEqual([block.kind for block in found], ["console", "xml"])
        self.assertEqual(found[1].lines, ["<?xml\\n"])

    def test_other_blocks_are_refused(self):
        for name, text in (("a.md", "```sh\none\n```\n"), ("a.8.scd", "```\none\n```\n"), ("a.md", "```\none\n")):
            with self.subTest(text=text), self.assertRaises(documents.UnknownBlock):
                self.blocks(name, text)

    def test_output_without_a_command_is_refused(self):
        block, = self.blocks("a.md", "```console\nshown\n```\n")
        with self.assertRaises(documents.UnknownBlock):
            documents.commands(block)


class CoveredElsewhereTest(unittest.TestCase):
    def test_every_command_of_the_list_is_shown_somewhere(self):
        shown = {command.text for path in ALL for block in documents.blocks(path)
                 if block.kind in ("console", "commands") for command in documents.commands(block)}
        lines = (SOURCE_DIR / "tests" / "docs" / "covered-elsewhere.txt").read_text(encoding="utf-8").splitlines()
        listed = {line.split("\t")[0] for line in lines if line and not line.startswith("#")}
        self.assertEqual(listed - shown, set())


class SentencesTest(unittest.TestCase):
    @staticmethod
    def spans(path):
        """What stands between backquotes, or in a manual between asterisks."""
        text = re.sub(r"^\s*```.*?^\s*```", "", path.read_text(encoding="utf-8"), flags=re.S | re.M)
        if path.suffix == ".md":
            return re.findall(r"`([^`]+)`", text)
        return re.findall(r"\*((?:[^*\\]|\\.)+)\*", text)

    def test_every_command_in_a_sentence_exists(self):
        for path in ALL:
            for span in self.spans(path):
                words = span.split()
                if words[:1] != ["zef_client"]:
                    continue
                command = ()
                for word in words[1:]:
                    if word not in program.help_of(command).commands:
                        break
                    command = (*command, word)
                with self.subTest(document=path.name, command=span):
                    rest = words[1 + len(command):]
                    options = {word for word in rest if word.startswith("-")}
                    self.assertLessEqual(options, program.help_of(command).options | program.HELP_OPTIONS)
                    if rest and not options:
                        self.assertNotEqual(program.help_of(command).arguments, [], "it takes no argument")

    def test_every_file_of_the_repository_in_a_sentence_exists(self):
        folders = "|".join(path.name for path in SOURCE_DIR.iterdir() if path.is_dir() and path.name != "build")
        for path in ALL:
            for span in self.spans(path):
                if re.fullmatch(rf"(?:{folders})/[\w./-]*", span):
                    with self.subTest(document=path.name, file=span):
                        self.assertTrue((SOURCE_DIR / span).exists())

    def test_every_link_between_documents_leads_somewhere(self):
        for path in ALL:
            if path.suffix == ".md":
                for target in re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", path.read_text(encoding="utf-8")):
                    with self.subTest(document=path.name, target=target):
                        self.assertTrue((path.parent / target).exists())


class ScriptOfAllTestsTest(unittest.TestCase):
    """scripts/test cannot be run by one of the tests that it runs; what it does before them can."""

    def test_refuses_a_preset_that_there_is_not(self):
        refused = subprocess.run([SOURCE_DIR / "scripts" / "test", "nonsense"], check=False, stdout=subprocess.PIPE,
                                 stderr=subprocess.STDOUT, text=True)
        self.assertEqual(refused.returncode, 2)
        self.assertRegex(refused.stdout, r"^test \[PRESET\.\.\.\]:")


class ProofsTest(unittest.TestCase):
    """The proofs take the same builds as the tests; what they do before is tried here."""

    @staticmethod
    def run_command(*command):
        return subprocess.run(command, check=False, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)

    def test_a_soak_asks_how_long(self):
        for arguments in ((), ("soon",), ("0",)):
            with self.subTest(arguments=arguments):
                refused = self.run_command(SOURCE_DIR / "scripts" / "soak", *arguments)
                self.assertEqual(refused.returncode, 2)
                self.assertRegex(refused.stdout, r"^soak SECONDS")

    def test_refuses_a_row_that_there_is_not(self):
        refused = self.run_command(sys.executable, "-B", SOURCE_DIR / "tests" / "proof" / "prove.py", "--rows", "1,99")
        self.assertEqual(refused.returncode, 1)
        self.assertIn("no such rows: [99]", refused.stdout)

    def test_the_document_has_every_row(self):
        text = (SOURCE_DIR / "docs" / "reliability.md").read_text(encoding="utf-8")
        rows = sorted(int(path.parent.name[:2]) for path in (SOURCE_DIR / "tests" / "proof").glob("*/row"))
        for row in rows:
            with self.subTest(row=row):
                self.assertRegex(text, rf"(?m)^\| {row} \|")
        self.assertEqual(rows, list(range(1, len(rows) + 1)))


class ArchitectureTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        text = (SOURCE_DIR / "docs" / "architecture.md").read_text(encoding="utf-8").split("## The client")[1]
        cls.rows = [[cell.strip() for cell in line.split("|")[1:-1]] for line in text.splitlines() if "| `" in line]
        cls.folders = {path.parent.name: path.parent for path in (SOURCE_DIR / "client").glob("*/CMakeLists.txt")}

    def test_lists_the_components_of_the_client(self):
        self.assertEqual(sorted(row[0].strip("`") for row in self.rows), sorted(self.folders))

    def test_tells_which_components_know_which(self):
        for name, _, _, told in self.rows:
            name = name.strip("`")
            known = {include for path in self.folders[name].iterdir() if path.suffix in (".h", ".cpp")
                     for include in re.findall(r'^#include "(\w+)/', path.read_text(encoding="utf-8"), re.M)}
            with self.subTest(component=name):
                if told != "all of them":
                    self.assertEqual(set(re.findall(r"`(\w+)`", told)), known - {name, "common", "log"})


if __name__ == "__main__":
    unittest.main()
