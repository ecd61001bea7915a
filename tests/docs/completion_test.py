"""The bash completion against the program: it offers the commands, options and values that there are, and no others.

Environment: ZEF_SOURCE_DIR, ZEF_CLIENT, ZEF_BASH_COMPLETION (the file that the package bash-completion brings).
"""
import os
import pathlib
import subprocess
import tempfile
import unittest

import program

SOURCE_DIR = pathlib.Path(os.environ["ZEF_SOURCE_DIR"])
COMPLETION = SOURCE_DIR / "packaging" / "bash-completion" / "zef_client"
DRIVER = SOURCE_DIR / "tests" / "docs" / "complete.bash"


def inner_commands(command=()):
    """Every command that has subcommands, the program itself included."""
    subcommands = program.help_of(command).commands
    inner = [found for name in subcommands for found in inner_commands((*command, name))]
    return [command, *inner] if subcommands else []


class CompletionCases:
    """Run twice: with bash-completion and without it."""

    package = ""

    def offered(self, line, folder=None):
        result = subprocess.run(
            ["bash", "--norc", str(DRIVER), str(COMPLETION), line], check=False, cwd=folder, stdin=subprocess.DEVNULL,
            env={"PATH": os.environ["PATH"], "BASH_COMPLETION": self.package}, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, text=True)
        self.assertEqual(result.returncode, 0, result.stdout)
        return result.stdout.split("\n")[:-1]

    def test_offers_the_commands(self):
        for command in inner_commands():
            line = " ".join(["zef_client", *command, ""])
            self.assertEqual(sorted(self.offered(line)), sorted(program.help_of(command).commands), line)

    def test_offers_the_options_of_each_command(self):
        for command in program.leaf_commands():
            line = " ".join(["zef_client", *command, "-"])
            self.assertEqual(set(self.offered(line)), program.help_of(command).options | {"--help"}, line)
        self.assertEqual(set(self.offered("zef_client -")), program.HELP_OPTIONS - {"-h"})

    def test_offers_the_values_of_each_option(self):
        for command in program.leaf_commands():
            for option, values in program.help_of(command).choices.items():
                if option.startswith("--"):
                    for separator in (" ", "="):
                        line = " ".join(["zef_client", *command, option]) + separator
                        self.assertEqual(self.offered(line), values, line)

    def test_offers_the_values_of_each_argument(self):
        looked_at = 0
        for command in program.leaf_commands():
            found = program.help_of(command)
            before = ["zef_client", *command]
            for name in found.arguments:
                if name in found.choices:
                    line = " ".join([*before, ""])
                    self.assertEqual(self.offered(line), found.choices[name], line)
                    looked_at += 1
                before.append(found.choices.get(name, ["word"])[0])
        self.assertEqual(looked_at, 3)

    def test_knows_which_options_take_a_value(self):
        # Behind a flag the next argument may stand, behind any other option only its value.
        found = [program.help_of(command) for command in program.leaf_commands()]
        valued = set().union(*(help_text.valued for help_text in found))
        self.assertGreater(len(valued), 10)
        script = COMPLETION.read_text(encoding="utf-8")
        for name in set().union(*(help_text.options for help_text in found)):
            check = f'eval "$1"; _zef_client_takes_value {name}'
            takes = subprocess.run(["bash", "--norc", "-c", check, "bash", script], check=False).returncode == 0
            self.assertEqual(takes, name in valued, name)

    def test_finishes_what_was_begun(self):
        self.assertEqual(self.offered("zef_client sto"), ["storage"])
        self.assertEqual(self.offered("zef_client status --out"), ["--output"])
        self.assertEqual(self.offered("zef_client status --output j"), ["json"])
        self.assertEqual(self.offered("zef_client status --output=j"), ["json"])
        self.assertEqual(self.offered("zef_client --log-level nonsense"), [])

    def test_passes_over_options_and_their_values(self):
        self.assertEqual(self.offered("zef_client switch --save compression o"), ["on", "off"])
        self.assertEqual(self.offered("zef_client switch compression --timeout 5 o"), ["on", "off"])
        self.assertEqual(self.offered("zef_client switch compression on "), [])

    def test_offers_files_and_folders(self):
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / "site.xml").touch()
            (pathlib.Path(folder) / "site").mkdir()
            for line in ("check si", "show config si", "password verify si", "status --socket si", "run --socket si"):
                self.assertEqual(sorted(self.offered(f"zef_client {line}", folder)), ["site", "site.xml"], line)
            for line in ("run --sysfs si", "keys verify --keys si"):
                self.assertEqual(self.offered(f"zef_client {line}", folder), ["site"], line)
            self.assertEqual(self.offered("zef_client run --socket no", folder), ["none"])
            self.assertEqual(self.offered("zef_client status --socket no", folder), [])

    def test_offers_nothing_and_says_nothing_without_a_running_client(self):
        for line in ("storage delete ", "storage delete-addresses array-1 ", "storage delete-pair array-1 "):
            self.assertEqual(self.offered(f"{program.CLIENT} {line}--socket /nowhere/socket "), [], line)
        self.assertEqual(self.offered("/nowhere/zef_client storage delete "), [])


class WithoutPackageTest(CompletionCases, unittest.TestCase):
    pass


class WithPackageTest(CompletionCases, unittest.TestCase):
    package = os.environ["ZEF_BASH_COMPLETION"]


if __name__ == "__main__":
    unittest.main()
