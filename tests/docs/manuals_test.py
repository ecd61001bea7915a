"""The manuals against what they describe.

Environment: ZEF_SOURCE_DIR, ZEF_MANUALS (folder of the compiled pages), ZEF_CLIENT, ZEF_VERSION.
"""
import os
import pathlib
import re
import subprocess
import unittest
import xml.etree.ElementTree

import documents
import program

SOURCE_DIR = pathlib.Path(os.environ["ZEF_SOURCE_DIR"])
MANUALS = pathlib.Path(os.environ["ZEF_MANUALS"])
PAGES = ("libzef_config.3", "zef_config.xml.5", "zef_platform.7", "zef_client.8")


def source(page):
    return SOURCE_DIR / "docs" / "man" / f"{page}.scd"


def squeezed(text):
    """A declaration without spaces where they have no meaning."""
    return re.sub(r" ?([^\w ]) ?", r"\1", " ".join(text.split()))


def declarations(header):
    """The declarations of a header, squeezed: no comments, attributes and export macros, no bodies."""
    text = re.sub(r"//[^\n]*|/\*.*?\*/", "", header.read_text(encoding="utf-8"), flags=re.S)
    text = re.sub(r"^#(?:[^\n]*\\\n)*[^\n]*$", "", text, flags=re.M)
    text = re.sub(r"\bZEF_(CONFIG|PLATFORM)_API\b|__attribute__\(\(.*\)\)(?=;)", "", text)
    text = re.sub(r"\b(extern|static|explicit) (?!\")", "", text)
    return {squeezed(piece) for piece in re.split(r"[;{}]|\bpublic:", text) if piece.strip()}


def name_of(term):
    return re.search(r"\*([^*]+)\*", term.replace("\\*", "")).group(1)


class PagesTest(unittest.TestCase):
    def test_there_is_no_other_page(self):
        self.assertEqual(sorted(path.stem for path in (SOURCE_DIR / "docs" / "man").glob("*.scd")), sorted(PAGES))

    def test_a_checker_has_nothing_to_say(self):
        for page in PAGES:
            with self.subTest(page=page):
                checked = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", str(MANUALS / page)], check=False,
                                         stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
                self.assertEqual((checked.returncode, checked.stdout), (0, ""))

    def test_each_page_shows_its_name_and_the_version(self):
        for page in PAGES:
            with self.subTest(page=page):
                shown = subprocess.run(["mandoc", "-T", "ascii", str(MANUALS / page)], check=True,
                                       stdout=subprocess.PIPE, text=True).stdout
                name, section = page.rsplit(".", 1)
                self.assertTrue(shown.startswith(f"{name}({section})"), shown[:80])
                self.assertIn(f"zef_config {os.environ['ZEF_VERSION']}", shown)

    def test_references_lead_to_pages(self):
        for page in PAGES:
            for name, section in re.findall(r"\*([\w.]+)\*\(([1-9])\)", source(page).read_text(encoding="utf-8")):
                if name != "printf":
                    self.assertIn(f"{name}.{section}", PAGES, page)


class PlatformTest(unittest.TestCase):
    """zef_platform(7)"""

    @classmethod
    def setUpClass(cls):
        cls.described = {}
        for heading, lines in documents.sections(source("zef_platform.7")).items():
            header = re.search(r"\((\S+\.h)\)$", heading)
            if header:
                cls.described[header.group(1)] = [term for term, _ in documents.terms(lines)]

    def test_describes_the_symbols_of_the_list_and_no_others(self):
        text = (SOURCE_DIR / "platform" / "symbols.txt").read_text(encoding="utf-8")
        listed = [line.split("(")[0] for line in text.splitlines() if line and not line.startswith("#")]
        described = [name_of(term) for found in self.described.values() for term in found]
        self.assertEqual(sorted(described), sorted(listed))

    def test_shows_the_declarations_of_the_headers(self):
        for name, found in self.described.items():
            folder = "threadpool" if name == "ThreadPool.h" else "."
            declared = declarations(SOURCE_DIR / folder / name)
            for term in found:
                name = name_of(term)
                shown = squeezed(documents.plain(term).replace(name, name.rsplit("::", 1)[-1], 1))
                with self.subTest(symbol=name_of(term)):
                    self.assertIn(shown, declared)

    def test_says_something_about_each(self):
        for heading, lines in documents.sections(source("zef_platform.7")).items():
            for term, text in documents.terms(lines):
                self.assertGreater(len(" ".join(text)), 20, f"{heading}: {term}")


class LibraryTest(unittest.TestCase):
    """libzef_config(3)"""

    def test_shows_the_declarations_of_the_main_header(self):
        lines = documents.sections(source("libzef_config.3"))["SYNOPSIS"]
        shown = {squeezed(documents.plain(line.rstrip("+").rstrip().rstrip(";"))) for line in lines if ");" in line}
        header = SOURCE_DIR / "src" / "mgmt" / "config" / "ZefConfig.h"
        self.assertEqual(shown, {piece for piece in declarations(header) if piece.endswith(")")})

    def test_names_every_header_that_is_installed(self):
        text = source("libzef_config.3").read_text(encoding="utf-8")
        listed = (SOURCE_DIR / "cmake" / "Library.cmake").read_text(encoding="utf-8")
        headers = re.search(r"set\(ZEF_CONFIG_PUBLIC_HEADERS(.*?)\)", listed, re.S).group(1).split()
        for header in headers:
            name = header.rsplit("/", 1)[1]
            if name != "ZefConfigApi.h":
                self.assertIn(f"zef_config/{name}", text)

    def test_names_every_class_and_nothing_that_is_not_exported(self):
        text = source("libzef_config.3").read_text(encoding="utf-8")
        exports = (SOURCE_DIR / "src" / "mgmt" / "config" / "exports.txt").read_text(encoding="utf-8")
        for name in set(re.findall(r"^(\w+)::", exports, re.M)):
            self.assertIn(f"*{name}*", text)
        for name in re.findall(r"\*(Zef\w+)\*", text):
            self.assertRegex(exports, rf"(?m)^{name}\b")


class ConfigFileTest(unittest.TestCase):
    """zef_config.xml(5)"""

    def test_describes_the_elements_of_the_schema_and_no_others(self):
        schema = xml.etree.ElementTree.parse(SOURCE_DIR / "client" / "check" / "zef_config.xsd")
        in_schema = {element.get("name")
                     for element in schema.iter("{http://www.w3.org/2001/XMLSchema}element") if element.get("name")}
        described = {name_of(term)
                     for heading, lines in documents.sections(source("zef_config.xml.5")).items()
                     if heading.startswith("ELEMENTS OF ") for term, _ in documents.terms(lines)}
        self.assertEqual(described | {"Config"}, in_schema)


class ClientTest(unittest.TestCase):
    """zef_client(8)"""

    @classmethod
    def setUpClass(cls):
        cls.sections = documents.sections(source("zef_client.8"))
        cls.usages = {}  # command as a tuple of words: (usage, text)
        for term, text in documents.terms(cls.sections["COMMANDS"]):
            words = documents.plain(re.match(r"\*([^*]*)\*", term).group(1)).split()
            cls.usages[tuple(words[1:])] = (term, text)
        cls.common = cls.options_below(cls.sections["COMMON OPTIONS"])

    @staticmethod
    def options_below(lines):
        """Options by the subsection that they stand in."""
        found, heading = {}, ""
        for line in lines:
            if line.startswith("## "):
                heading = line[3:]
            elif not line.startswith("\t"):
                found.setdefault(heading, set()).update(re.findall(r"(?<![\w-])--?[a-z][a-z-]*", documents.plain(line)))
        return found

    def expected_options(self, usage):
        shown = set(re.findall(r"(?<![\w-])--[a-z][a-z-]*", documents.plain(usage)))
        for group in ("log options", "key options", "control options"):
            if f"_{group}_" in usage:
                shown |= self.common[group.capitalize()]
        return shown

    def test_describes_the_commands_of_the_program_and_no_others(self):
        self.assertEqual(sorted(self.usages), sorted(program.leaf_commands()))

    def test_shows_the_options_of_each_command(self):
        for command, (usage, _) in self.usages.items():
            with self.subTest(command=" ".join(command)):
                self.assertEqual(self.expected_options(usage), program.help_of(command).options)

    def test_describes_every_option_that_it_shows(self):
        shared = set().union(*self.common.values())
        below = {}  # an option may be described below one of several commands of its subsection
        for command, (usage, text) in self.usages.items():
            described = {name for line in text for name in re.findall(r"^\*(--[a-z-]+)\*", line)}
            below.setdefault(command[0], set()).update(described)
        for command, (usage, _) in self.usages.items():
            own = set(re.findall(r"(?<![\w-])--[a-z][a-z-]*", documents.plain(usage)))
            everywhere = shared | below[command[0]] | below.get("links", set()) | {"--save"}
            self.assertEqual(own - everywhere, set(), " ".join(command))
        self.assertIn("*--save*", "\n".join(self.sections["COMMANDS"]))

    def test_shows_the_options_of_the_program_itself(self):
        text = "\n".join(self.sections["SYNOPSIS"])
        for option in sorted(program.HELP_OPTIONS - {"-h"}):
            self.assertIn(f"*{option}*", text)
            subprocess.run([program.CLIENT, option], check=True, stdout=subprocess.DEVNULL)

    def test_shows_the_defaults_that_the_help_tells(self):
        shown = {}
        for text in re.split(r"^(?=\*--)", "\n".join(self.usages[("run",)][1]), flags=re.M)[1:]:
            option, *described = documents.plain(text).split()
            default = re.search(r"Default: ([\w/.]*\w)\.$", " ".join(described))
            if default:
                shown[option] = default.group(1)
        told = program.help_of(("run",)).defaults
        self.assertEqual(shown, {name: told.get(name) for name in shown})
        self.assertEqual(set(told) - set(shown), self.common["Log options"])

    def test_explains_the_exit_statuses_as_the_program_does(self):
        code = (SOURCE_DIR / "client" / "common" / "ExitCode.cpp").read_text(encoding="utf-8")
        names = re.findall(r'\{ExitCode::\w+, "([^"]+)", "([^"]+)"\}', code)
        rows = documents.table(self.sections["EXIT STATUS"])
        self.assertEqual([row[:2] for row in rows], [[str(number), name] for number, (name, _) in enumerate(names)])
        for (_, name, explained), (_, meaning) in zip(rows, names):
            self.assertTrue(explained.startswith(meaning), name)
            self.assertGreater(len(explained), len(meaning), name)
        self.assertGreater(len(rows), 5)

    def test_explains_messages_that_there_are(self):
        sources = "".join(path.read_text(encoding="utf-8") for folder in ("src", "client")
                          for path in (SOURCE_DIR / folder).rglob("*.cpp"))
        rows = documents.table(self.sections["MESSAGES"])
        self.assertGreater(len(rows), 5)
        for message, _ in rows:
            pieces = [piece.strip() for piece in re.split(r"\b(?:[A-Z]{5,}|N|\d+)\b", message)]
            for piece in pieces:
                self.assertIn(piece, sources, message)
            self.assertGreater(max(map(len, pieces)), 5, message)

    def test_explains_every_state_of_a_link(self):
        code = (SOURCE_DIR / "client" / "gateway" / "LinkState.cpp").read_text(encoding="utf-8")
        body = re.search(r"LinkPhaseName\(.*?^}", code, re.S | re.M).group(0)
        states = set(re.findall(r'case LinkPhase::\w+:\s+return "([^"]+)"', body))
        explained = {row[0] for row in documents.table(self.sections["LINKS"])}
        self.assertEqual(explained, states | {"no link"})


if __name__ == "__main__":
    unittest.main()
