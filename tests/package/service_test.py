"""What systemd makes of zef_client.service, as far as that can be seen without starting it.

Environment: ZEF_CMAKE, ZEF_PACKAGING_DIR (build folder of packaging/), ZEF_CLIENT, ZEF_SBIN_DIR (where that is
installed), ZEF_UNIT_DIR (where the unit is installed), ZEF_SOURCE_DIR.
"""
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

CLIENT = pathlib.Path(os.environ["ZEF_CLIENT"])
SOURCE_DIR = pathlib.Path(os.environ["ZEF_SOURCE_DIR"])
UNIT = pathlib.Path(os.environ["ZEF_PACKAGING_DIR"]) / "systemd" / "zef_client.service"
CREDENTIALS = SOURCE_DIR / "packaging" / "systemd" / "credentials.conf"
MAX_EXPOSURE = "30"  # 3.0 of 10


def analyze(*arguments):
    """Exit status and all output of systemd-analyze."""
    result = subprocess.run(["systemd-analyze", *(str(word) for word in arguments)], text=True, timeout=120,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                            env=dict(os.environ, SYSTEMD_COLORS="0", SYSTEMD_PAGER="cat"))
    return result.returncode, result.stdout


def settings(text):
    """The assignments of a unit file: {"User": ["zef"]}."""
    found = {}
    for name, value in re.findall(r"(?m)^(\w+)=(.*)$", text):
        found.setdefault(name, []).append(value)
    return found


class ServiceTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="zef-service-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.unit = settings(UNIT.read_text(encoding="utf-8"))

    def write_unit(self, text=None):
        """A copy whose commands exist on this machine."""
        text = text or UNIT.read_text(encoding="utf-8")
        text = re.sub(r"(?m)^(Exec\w+=-?)\S*/zef_client ", lambda match: f"{match.group(1)}{CLIENT} ", text)
        path = self.folder / UNIT.name
        path.write_text(text, encoding="utf-8")
        return path

    def write_drop_in(self, text):
        folder = self.folder / f"{UNIT.name}.d"
        folder.mkdir()
        (folder / CREDENTIALS.name).write_text(text, encoding="utf-8")

    def assert_passes(self):
        unit = self.write_unit()
        self.assertEqual(analyze("verify", "--man=no", unit), (0, ""))
        status, output = analyze("security", "--offline=true", f"--threshold={MAX_EXPOSURE}", unit)
        self.assertEqual(status, 0, output)

    def test_the_unit_passes(self):
        self.assert_passes()

    def test_the_unit_passes_with_the_credentials(self):
        self.write_drop_in(CREDENTIALS.read_text(encoding="utf-8"))
        self.assert_passes()

    def test_a_mistake_in_the_drop_in_would_be_seen(self):
        self.write_drop_in("[Service]\nLoadCredentials=wox_pri.dat:/etc/zef/keys/wox_pri.dat\n")
        _, output = analyze("verify", "--man=no", self.write_unit())
        self.assertIn("'LoadCredentials'", output)

    def test_a_unit_without_protection_would_be_refused(self):
        text = UNIT.read_text(encoding="utf-8")
        open_unit = re.sub(r"(?m)^(Protect|Private|Restrict[A-Z]|SystemCall|Capability|NoNew)\w*=.*\n", "", text)
        status, _ = analyze("security", "--offline=true", f"--threshold={MAX_EXPOSURE}", self.write_unit(open_unit))
        self.assertNotEqual(status, 0)

    def test_the_credentials_are_the_two_key_files(self):
        names = [value.split(":")[0]
                 for value in settings(CREDENTIALS.read_text(encoding="utf-8"))["LoadCredential"]]
        self.assertEqual(names, ["wox_pri.dat", "wox_std.dat"])

    def test_runs_the_installed_program(self):
        program = f"{os.environ['ZEF_SBIN_DIR']}/zef_client"
        self.assertEqual(self.unit["ExecStart"], [f"{program} run"])
        self.assertEqual(self.unit["ExecStartPre"], [f"-{program} check"])
        self.assertEqual(self.unit["ExecReload"], [f"{program} reload"])

    def test_is_not_started_again_where_that_cannot_help(self):
        header = (SOURCE_DIR / "client" / "common" / "ExitCode.h").read_text(encoding="utf-8")
        codes = [re.search(rf"\b{name} = (\d+),", header).group(1)
                 for name in ("Usage", "ConfigInvalid", "NotPermitted", "Credential")]
        self.assertEqual(self.unit["RestartPreventExitStatus"], [" ".join(codes)])
        self.assertEqual(self.unit["Restart"], ["on-failure"])

    def test_is_installed_with_the_example(self):
        stage = self.folder / "stage"
        subprocess.run([os.environ["ZEF_CMAKE"], "-P", str(UNIT.parent.parent / "cmake_install.cmake")], check=True,
                       env=dict(os.environ, DESTDIR=str(stage)), stdout=subprocess.DEVNULL)
        installed = stage / os.environ["ZEF_UNIT_DIR"].lstrip("/") / UNIT.name
        self.assertEqual(installed.read_bytes(), UNIT.read_bytes())
        self.assertEqual(len(list(stage.rglob("credentials.conf"))), 1)


if __name__ == "__main__":
    unittest.main()
