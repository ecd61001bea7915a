"""Runs the commands of one document, as they are printed and in its order, and compares what it shows of their output.

Lines that are shown are compared word by word. Words that differ each time (times, encrypted texts, process numbers)
need only be of the same kind; a line "..." stands for any number of lines.

What a reader would do besides is done here: type the array's password, put the encrypted one into the configuration
file, leave `zef_client run` running in one terminal and go on in another one, wait until the links are up.

Environment: ZEF_DOCUMENT, ZEF_SOURCE_DIR, ZEF_BUILD_DIR, ZEF_CMAKE, ZEF_CXX, ZEF_GENERATOR, ZEF_WORK_DIR, ZEF_PASSWORD.
"""
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import time

import documents

DOCUMENT = pathlib.Path(os.environ["ZEF_DOCUMENT"])
SOURCE_DIR = pathlib.Path(os.environ["ZEF_SOURCE_DIR"])
WORK_DIR = pathlib.Path(os.environ["ZEF_WORK_DIR"])
CONFIG = pathlib.Path("/opt/quenlar/vextramo/conf/zef_config.xml")
KEYS = CONFIG.parent / "WOX" / "wox_pri.dat"
PLACEHOLDER = "what zef_client password encrypt printed"
PATIENCE_SECONDS = 60

# Words that differ each time, and what they are compared as.
KINDS = (
    ("an encrypted text", r"zef1:\S+"),
    ("a time", r"\d{4}-\d\d-\d\d[T ]?[\d:.]*Z?|\d\d:\d\d:\d\d\S*"),
    ("a process", r"(?:(?<=pid )|(?<=\"pid\": )|(?<=PID: ))\d+"),
)


class Failed(Exception):
    """What the document shows is not what happens."""


def compared(line):
    """The words of a line, those that differ each time replaced by what they are."""
    for name, pattern in KINDS:
        line = re.sub(rf"(?<!\w)(?:{pattern})", f"<{name}>", line)
    return line.split()


def matches(shown, printed):
    """Whether the printed lines are those that are shown."""
    if not shown:
        return not printed
    if shown[0].strip() == "...":
        return any(matches(shown[1:], printed[skipped:]) for skipped in range(len(printed) + 1))
    return bool(printed) and compared(shown[0]) == compared(printed[0]) and matches(shown[1:], printed[1:])


def without_blank_ends(lines):
    text = "\n".join(lines).strip("\n")
    return text.split("\n") if text else []


def without_secrets(text):
    return re.sub(KINDS[0][1], f"<{KINDS[0][0]}>", text)


def shell(command):
    """Runs a command as a reader does, who types the password where it is asked for. Returns all that it prints."""
    result = subprocess.run(["bash", "-c", command], cwd=SOURCE_DIR, check=False, text=True, timeout=600,
                            input=os.environ["ZEF_PASSWORD"] + "\n", stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    if os.environ["ZEF_PASSWORD"] in result.stdout:
        raise Failed("the password is printed")
    if result.returncode != 0:
        raise Failed(f"exit status {result.returncode}:\n{without_secrets(result.stdout)}")
    return result.stdout


def wait_until(what, succeeds):
    deadline = time.monotonic() + PATIENCE_SECONDS
    while not succeeds():
        if time.monotonic() > deadline:
            raise Failed(f"this did not happen: {what}")
        time.sleep(0.1)


def covered_elsewhere():
    """The commands that other tests stand for: {command: test}."""
    files = (pathlib.Path(os.environ["ZEF_BUILD_DIR"]) / "tests").rglob("CTestTestfile.cmake")
    tests = {name for file in files
             for name in re.findall(r"^add_test\((?:\[=\[)?\"?([\w.-]+)", file.read_text(encoding="utf-8"), re.M)}
    covered = {}
    for line in (SOURCE_DIR / "tests/docs/covered-elsewhere.txt").read_text(encoding="utf-8").splitlines():
        if line and not line.startswith("#"):
            command, test = line.split("\t")
            if test not in tests:
                raise Failed(f"covered-elsewhere.txt names a test that there is not: {test}")
            covered[command] = test
    return covered


class Reader:
    """Somebody who does what a document says."""

    def __init__(self):
        self.sealed = None
        self.service = None
        self.program = None
        self.elsewhere = covered_elsewhere()

    def prepare(self):
        """What a document may take for granted unless it begins with it: keys, and a configuration file."""
        if not KEYS.exists():
            shell(f"mkdir -p {CONFIG.parent} && zef_client keys init")
        if not CONFIG.exists():
            block = next(block for block in documents.blocks(SOURCE_DIR / "README.md") if block.kind == "xml")
            self.configure(block)

    def configure(self, block):
        if not KEYS.exists():
            self.prepare()
        if self.sealed is None:
            self.sealed = shell("zef_client password encrypt").strip()
        CONFIG.write_text("\n".join(block.lines).replace(PLACEHOLDER, self.sealed) + "\n", encoding="utf-8")
        shell(f"zef_client check {CONFIG}")

    def needs_preparation(self, command):
        return re.match(r"zef_client (?!keys init|password encrypt|--)", command)

    def run(self, command):
        if command.text in self.elsewhere:
            print(f"{command.where}: {command.text}   (covered by {self.elsewhere[command.text]})")
            return
        print(f"{command.where}: {command.text}", flush=True)
        if self.needs_preparation(command.text):
            self.prepare()
        if re.match(r"zef_client run\b", command.text):
            self.serve(command)
        elif re.search(r" --watch\b", command.text):
            self.watch(command)
        else:
            self.run_to_its_end(command)

    def run_to_its_end(self, command):
        """A command that only looks is repeated until it shows what the document does: links take their time."""
        only_looks = re.match(r"zef_client (status|links|base-config)\b", command.text)
        shown = without_blank_ends(command.shown)
        deadline = time.monotonic() + (PATIENCE_SECONDS if only_looks else 0)
        while True:
            printed = without_blank_ends(shell(command.text).splitlines())
            if command.text.startswith("zef_client password encrypt"):
                self.sealed = printed[-1]
            if not shown or matches(shown, printed):
                return
            if time.monotonic() > deadline:
                raise Failed(without_secrets("\n".join(["it prints", *printed, "but is shown to print", *shown])))
            time.sleep(0.2)

    def serve(self, command):
        if self.service is not None:
            raise Failed("the client runs already")
        log = WORK_DIR / "client.out"
        with open(log, "wb") as output:
            self.service = subprocess.Popen(["bash", "-c", f"exec {command.text}"], stdin=subprocess.DEVNULL,
                                            stdout=output, stderr=subprocess.STDOUT)
        def links_are_up():
            if self.service.poll() is not None:
                raise Failed(f"the client ended with {self.service.returncode}:\n{log.read_text(encoding='utf-8')}")
            return subprocess.run(["zef_client", "links", "--check"], check=False, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.DEVNULL).returncode == 0
        wait_until("all links are up", links_are_up)
        shown = without_blank_ends(command.shown)
        wait_until(f"the client prints\n{shown}", lambda: matches(
            shown or ["..."], without_blank_ends(log.read_text(encoding="utf-8").splitlines())))

    def watch(self, command):
        process = subprocess.Popen(["bash", "-c", f"exec {command.text}"], stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        first = process.stdout.readline()
        process.send_signal(signal.SIGINT)
        rest, _ = process.communicate(timeout=PATIENCE_SECONDS)
        if process.returncode != 0 or not first.strip():
            raise Failed(f"exit status {process.returncode}:\n{first}{rest}")

    def compile(self, block):
        """A program is compiled with the lines for CMake that follow it, or else those that every program needs."""
        self.program = WORK_DIR / "program"
        self.program.mkdir(exist_ok=True)
        (self.program / "main.cpp").write_text("\n".join(block.lines) + "\n", encoding="utf-8")

    def build_and_run(self, block):
        if self.program is None:
            raise Failed("there is no program to build")
        self.prepare()
        platform = SOURCE_DIR / "tests/package/host"
        shutil.copy2(platform / "HostPlatform.cpp", self.program / "Platform.cpp")
        shutil.copy2(platform / "HostPlatform.h", self.program)
        lines = ["cmake_minimum_required(VERSION 3.22)", "project(document LANGUAGES CXX)", *block.lines]
        (self.program / "CMakeLists.txt").write_text("\n".join(lines) + "\n", encoding="utf-8")
        cmake, build = os.environ["ZEF_CMAKE"], self.program / "build"
        installed = WORK_DIR / "installed"
        shell(f"'{cmake}' --install '{os.environ['ZEF_BUILD_DIR']}' --component zef_config --prefix '{installed}'")
        shell(f"'{cmake}' -S '{self.program}' -B '{build}' -G '{os.environ['ZEF_GENERATOR']}' "
              f"-DCMAKE_CXX_COMPILER='{os.environ['ZEF_CXX']}' -DCMAKE_CXX_FLAGS='-Wall -Wextra -Werror' "
              f"-DCMAKE_PREFIX_PATH='{installed}' && '{cmake}' --build '{build}'")
        print(shell(f"'{build / 'service'}'"))

    def read(self, block):
        if block.kind in ("console", "commands"):
            for command in documents.commands(block):
                try:
                    self.run(command)
                except Failed as problem:
                    raise Failed(f"{command.where}: {command.text}\n{problem}") from None
        elif block.kind == "xml":
            print(f"{block.where}: a configuration file")
            self.configure(block)
        elif block.kind == "cpp":
            self.compile(block)
        elif block.kind == "cmake":
            print(f"{block.where}: a program")
            self.build_and_run(block)

    def finish(self):
        """The reader interrupts the client."""
        if self.service is not None:
            if self.service.poll() is not None:
                raise Failed(f"the client has ended with {self.service.returncode} meanwhile")
            self.service.send_signal(signal.SIGINT)
            if self.service.wait(PATIENCE_SECONDS) != 0:
                raise Failed(f"the client ended with {self.service.returncode}")


def main():
    reader = None
    try:
        found = documents.blocks(DOCUMENT)
        reader = Reader()
        for block in found:
            reader.read(block)
        reader.finish()
    except (Failed, documents.UnknownBlock, subprocess.TimeoutExpired) as problem:
        print(f"FAILED: {problem}", file=sys.stderr)
        return 1
    finally:
        if reader is not None and reader.service is not None and reader.service.poll() is None:
            reader.service.kill()
    if any(block.kind == "cpp" for block in found) != any(block.kind == "cmake" for block in found):
        print("FAILED: a program that is not built", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
