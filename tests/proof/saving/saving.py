"""What the proofs of saving have in common: the program that saves and loads, and file systems to do it on."""

import pathlib
import subprocess

PROGRAM = "dev/tests/proof/saving/zef_proof_saver"
TIMEOUT = 120


class Saver:
    """Runs zef_proof_saver; see tests/proof/saving/main.cpp for its commands."""

    def __init__(self, builds):
        self.program = builds / PROGRAM

    def command(self, *arguments):
        return [str(self.program), *map(str, arguments)]

    def run(self, *arguments, prefix=()):
        """Returns the exit status and what was printed. Standard error is left alone."""
        command = [*prefix, *self.command(*arguments)]
        result = subprocess.run(command, stdout=subprocess.PIPE, timeout=TIMEOUT, check=False)
        return result.returncode, result.stdout.decode()

    def counts(self, *arguments):
        """Runs it, and returns the numbers that it prints as NAME N NAME N."""
        status, text = self.run(*arguments)
        if status != 0:
            raise RuntimeError(f"{arguments}: status {status}")
        words = text.split()
        return dict(zip(words[::2], map(int, words[1::2])))

    def version_of(self, path):
        """The version whose whole text the file holds; -1 for none."""
        return self.counts("which", path)["version"]

    def put(self, path, version):
        """Makes the file hold a version, without a saver."""
        path.write_bytes(self.text(version))

    def text(self, version):
        return self.run("text", version)[1].encode()


def unmount(folder):
    subprocess.run(["umount", str(folder)], check=True)


def unmount_all(folder):
    """What is mounted at or below a folder, so that the folder can go."""
    mounts = pathlib.Path("/proc/mounts").read_text(encoding="utf-8").splitlines()
    for place in reversed([line.split()[1] for line in mounts]):
        if place == str(folder) or place.startswith(f"{folder}/"):
            unmount(place)


def temporary_of(target):
    return pathlib.Path(f"{target}.bak")
