"""examples/host, built against an installed tree outside of the repository, and the guide that explains it.

Environment: ZEF_BUILD_DIR, ZEF_SOURCE_DIR, ZEF_CMAKE, ZEF_CXX, ZEF_GENERATOR.
"""
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

SOURCE_DIR = pathlib.Path(os.environ["ZEF_SOURCE_DIR"])
EXAMPLE = SOURCE_DIR / "examples" / "host"
GUIDE = SOURCE_DIR / "docs" / "host-guide.md"
CMAKE = os.environ["ZEF_CMAKE"]
FLAGS = "-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -D_FORTIFY_SOURCE=2 -O1"
HANG_SECONDS = 120
PASSWORD = "a-real-Secret_42"

CONFIG = f"""\
<?xml version="1.0"?>
<Config>
    <Uuid type="string">0fd8a4d6-5d0e-4b5e-9a52-3f1f0a1c9e77</Uuid>
    <Deduplication type="string">ON</Deduplication>
    <Compression type="string">OFF</Compression>
    <StorageObject>
        <Name type="string">array</Name>
        <User type="string">client_user</User>
        <Password type="string">{PASSWORD}</Password>
        <LinkType type="string">0</LinkType>
        <Ips type="string">127.0.0.1</Ips>
    </StorageObject>
</Config>
"""


def run(*command):
    """Exit status, standard output and standard error of a command."""
    result = subprocess.run([str(word) for word in command], text=True, timeout=HANG_SECONDS, stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE)
    return result.returncode, result.stdout, result.stderr


class HostExampleTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="zef-host-")
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        shutil.copytree(EXAMPLE, cls.folder / "host")
        for command in (
            [CMAKE, "--install", os.environ["ZEF_BUILD_DIR"], "--component", "zef_config",
             "--prefix", cls.folder / "prefix"],
            [CMAKE, "-S", cls.folder / "host", "-B", cls.folder / "build", "-G", os.environ["ZEF_GENERATOR"],
             f"-DCMAKE_PREFIX_PATH={cls.folder / 'prefix'}", f"-DCMAKE_CXX_COMPILER={os.environ['ZEF_CXX']}",
             f"-DCMAKE_CXX_FLAGS={FLAGS}", "-DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF"],
            [CMAKE, "--build", cls.folder / "build"],
        ):
            status, output, errors = run(*command)
            if status != 0:
                raise AssertionError(f"{command} ended with {status}:\n{output}{errors}")

    def run_host(self, config):
        """Runs it with an /opt of its own, which has this configuration."""
        file = self.folder / "zef_config.xml"
        file.write_text(config, encoding="utf-8")
        return run(SOURCE_DIR / "tests" / "private-opt", "/bin/sh", "-c",
                   'mkdir -p /opt/quenlar/vextramo/conf && cp "$1" /opt/quenlar/vextramo/conf/ && exec "$2"',
                   "sh", file, self.folder / "build" / "host")

    def test_connects_tells_who_it_is_and_finishes(self):
        status, output, errors = self.run_host(CONFIG)
        self.assertEqual(output, "link up: client 0fd8a4d6-5d0e-4b5e-9a52-3f1f0a1c9e77, local address 127.0.0.1\n")
        self.assertEqual((status, errors), (0, ""))

    def test_a_configuration_that_is_refused_ends_it_with_the_librarys_message(self):
        status, output, errors = self.run_host(CONFIG.replace("0fd8a4d6", "not-hexadecimal"))
        self.assertEqual((status, output), (1, "no link: client , local address \n"))
        self.assertIn("zef config uuid init error.", errors)

    def test_shows_no_password(self):
        for config in (CONFIG, CONFIG.replace("client_user", "?"), CONFIG.replace("127.0.0.1", "nowhere")):
            _, output, errors = self.run_host(config)
            self.assertFalse(PASSWORD in output + errors, "the password was printed")

    def test_is_short(self):
        lines = [line for file in EXAMPLE.glob("*.cpp") for line in file.read_text(encoding="utf-8").splitlines()]
        self.assertLess(len(lines), 150)

    def test_the_guide_explains_every_header_of_the_platform(self):
        guide = GUIDE.read_text(encoding="utf-8")
        headers = {path.name for path in (SOURCE_DIR / "platform").glob("*.h")} - {"PlatformApi.h"}
        self.assertEqual(sorted(name for name in headers if f"| `{name}` |" not in guide), [])

    def test_the_guide_has_no_copy_of_the_code(self):
        code = {line.strip() for line in (EXAMPLE / "main.cpp").read_text(encoding="utf-8").splitlines()
                if len(line.strip()) > 30 and not line.strip().startswith(("//", "#include"))}
        guide = GUIDE.read_text(encoding="utf-8")
        self.assertEqual([line for line in sorted(code) if line in guide], [])

    def test_what_the_guide_names_exists(self):
        guide = GUIDE.read_text(encoding="utf-8")
        links = re.findall(r"\]\(([^)#]+)\)", guide)
        paths = re.findall(r"`((?:examples|platform|client)/[^`]*)`", guide)
        self.assertEqual([link for link in links if not (GUIDE.parent / link).exists()], [])
        self.assertEqual([path for path in paths if not (SOURCE_DIR / path).exists()], [])
        self.assertTrue(links and paths)


if __name__ == "__main__":
    unittest.main()
