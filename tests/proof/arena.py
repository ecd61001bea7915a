"""A real client against a real array, in namespaces of their own, for proofs that drive them. What can be asked of
tests/e2e/lib.sh is asked of it, by arena.sh."""

import collections
import json
import os
import re
import selectors
import signal
import socket
import struct
import subprocess
import sys
import time

from proof import ROOT

ARRAY_PORT = 3260
UP = "up"
ESTABLISHED = "01"

# What a process holds. Memory is what it has to itself and no file is behind, in KiB.
Holding = collections.namedtuple("Holding", "descriptors threads memory")


def holding(pid):
    """What a process holds: the least of a few looks, as a question that is being answered holds something too."""
    looks = []
    for _ in range(5):
        looks.append((len(os.listdir(f"/proc/{pid}/fd")), len(os.listdir(f"/proc/{pid}/task")), _private_memory(pid)))
        time.sleep(0.05)
    return Holding(*(min(column) for column in zip(*looks)))


def _private_memory(pid):
    with open(f"/proc/{pid}/smaps_rollup", encoding="ascii") as rollup:
        return int(re.search(r"^Pss_Anon: +(\d+) kB$", rollup.read(), re.MULTILINE)[1])


def growth(before, after, memory_tolerance):
    """What a process holds more than before, in words; empty when there is nothing."""
    found = [f"{after_one - before_one} {name} more" for name, before_one, after_one in
             zip(("descriptors", "threads"), before, after) if after_one > before_one]
    if after.memory > before.memory + memory_tolerance:
        found.append(f"{after.memory - before.memory} KiB more")
    return ", ".join(found)


_LEAKING = """
import os, sys, threading, time
kept = []
leaks = {
    "descriptors": lambda: kept.append(os.dup(0)),
    "threads": lambda: threading.Thread(target=time.sleep, args=(60,), daemon=True).start(),
    "memory": lambda: kept.append(os.urandom(int(sys.argv[1]) * 1024)),
}
for line in sys.stdin:
    leaks.get(line.strip(), lambda: None)()
    print("done", flush=True)
"""


def control_growth(proof, memory_tolerance):
    """Shows a process that leaks to holding and growth."""
    for kind, words in (("descriptors", "1 descriptors more"), ("threads", "1 threads more"), ("memory", "KiB more")):
        with subprocess.Popen([sys.executable, "-c", _LEAKING, str(memory_tolerance + 100)], stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, text=True) as process:
            def tell(line):
                print(line, file=process.stdin, flush=True)
                process.stdout.readline()
            tell("nothing")
            before = holding(process.pid)
            tell(kind)
            noticed = words in growth(before, holding(process.pid), memory_tolerance)
            proof.control(f"a process that leaks {kind}", noticed)
            process.kill()


# What programs with sanitizers are started with.
SANITIZERS = {"ASAN_OPTIONS": "detect_leaks=1:detect_stack_use_after_return=1", "UBSAN_OPTIONS": "print_stacktrace=1",
              "TSAN_OPTIONS": "detect_deadlocks=1:second_deadlock_stack=1"}
_REPORT = re.compile(r"ERROR: \w+Sanitizer|WARNING: ThreadSanitizer|runtime error:|SUMMARY: \w+Sanitizer")


def what_is_wrong(status, text):
    """About the end of a program with sanitizers, by its exit status and what it printed; empty when all is well."""
    report = _REPORT.search(text)
    if report:
        return f"a sanitizer reports: {text[report.start():][:3000]}"
    return f"exit status {status}" if status != 0 else ""


def await_that(seconds, condition, pause=0.1):
    """Whether it comes true in that time."""
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(pause)
    return True


def stop_process(pid, seconds=60):
    """Stops a process and waits until each of its threads stands still: SIGSTOP takes a moment. Whether they do."""
    def stands_still():
        for task in os.listdir(f"/proc/{pid}/task"):
            with open(f"/proc/{pid}/task/{task}/stat", encoding="utf-8", errors="replace") as stat:
                if stat.read().rpartition(")")[2].split()[0] != "T":
                    return False
        return True
    os.kill(pid, signal.SIGSTOP)
    return await_that(seconds, stands_still, pause=0.01)


def connected(path, seconds):
    """A connection to a control socket. One whose queue of newcomers is full is waited for, which takes a socket that
    blocks."""
    connection = socket.socket(socket.AF_UNIX)
    try:
        connection.setsockopt(socket.SOL_SOCKET, socket.SO_SNDTIMEO, struct.pack("ll", int(seconds), 0))
        connection.connect(path)
        connection.settimeout(seconds)
    except OSError:
        connection.close()
        raise
    return connection


class ArenaError(Exception):
    """Something that the proof itself needs does not work."""


class Arena:
    """One client and one array. Used by one thread at a time, but for ask, which any may use. The caller has process
    numbers of its own, see proof.in_own_namespaces."""

    def __init__(self, client, environment=None):
        self._program = subprocess.Popen(
            ["unshare", "--mount", "--net", "bash", "tests/proof/arena.sh"], cwd=ROOT, stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
            env={**os.environ, **(environment or {}), "client": str(client), "python": sys.executable})
        self._output = b""
        self.pid = None  # of the client
        self.work = self.run("echo $workDir").strip()

    def run(self, command, timeout=60):
        """Carries out a line of shell; returns what it printed."""
        self._program.stdin.write(command.encode() + b"\n")
        self._program.stdin.flush()
        end = time.monotonic() + timeout
        with selectors.DefaultSelector() as selector:
            selector.register(self._program.stdout, selectors.EVENT_READ)
            while not (found := re.search(rb"^done (\d+)\n", self._output, re.MULTILINE)):
                if not selector.select(max(0, end - time.monotonic())):
                    raise ArenaError(f"{command}: nothing came of it in {timeout} s: {self._output!r}")
                if not (piece := os.read(self._program.stdout.fileno(), 65536)):
                    raise ArenaError(f"{command}: the shell ended: {self._output!r}")
                self._output += piece
        text, self._output = self._output[:found.start()].decode(errors="replace"), self._output[found.end():]
        if found[1] != b"0":
            raise ArenaError(f"{command}: ended with {found[1].decode()}: {text}")
        return text

    def configure(self, addresses):
        """Keys, and a configuration file with these addresses of the array."""
        self.run("prepare_keys")
        self.run(f'write_config "$uuid" "$user" "$sealed" ON OFF {" ".join(addresses)}')

    def start_array(self, *where):
        self.run(f'array_start "$wwn" "$user" "$password" {" ".join(where)}')

    def start_client(self, *options):
        self.pid = int(self.run(f'start_client {" ".join(options)}; echo $clientPid'))

    def stop_client(self):
        """Whether it ended as it should."""
        self.pid = None
        return self.run("stop_client && echo ended || echo $?").strip() == "ended"

    def reap_client(self):
        """The exit status of a client that ends or has ended: 128 and more for a signal."""
        self.pid = None
        return int(self.run('ended=0; wait "$clientPid" || ended=$?; clientPid=; echo $ended').splitlines()[-1])

    def output(self, last=None):
        """What the client has printed since its start, or so many bytes of its end."""
        with open(f"{self.work}/client.out", "rb") as text:
            if last is not None:
                text.seek(max(0, os.fstat(text.fileno()).st_size - last))
            return text.read().decode(errors="replace")

    def socket_path(self):
        return self.inside("/run/zef/zef_client.sock")

    def inside(self, path):
        """Where a file of theirs is seen from outside."""
        return f"/proc/{self._program.pid}/root{path}"

    def ask(self, operation, timeout=30, **arguments):
        """The client's answer to a request."""
        with connected(self.socket_path(), timeout) as connection:
            connection.sendall(json.dumps({"version": 1, "op": operation, **arguments}).encode() + b"\n")
            return json.loads(connection.makefile("rb").readline())

    def links(self):
        """The client's pairs: (local, array) to what it tells about them. Nothing while it does not answer."""
        try:
            answer = self.ask("status")
        except (OSError, ValueError):
            return {}
        return {(row["local"], row["array"]): row for row in answer["result"]["links"]} if answer["ok"] else {}

    def up(self):
        """The pairs that are up."""
        return {pair for pair, row in self.links().items() if row["state"] == UP}

    def await_up(self, count, seconds=60):
        if not await_that(seconds, lambda: len(self.up()) == count):
            raise ArenaError(f"{len(self.up())} of {count} pairs are up: {self.output()[-2000:]}")

    def sessions(self):
        """What the array has, session number to the client's address."""
        shown = self.run("array_admin --op show --mode target")
        return dict(re.findall(r"I_T nexus: (\d+)\n.*\n(?: .*Connection: \d+\n)? +IP Address: ([0-9.]+)", shown))

    def connections(self, state=ESTABLISHED):
        """How many connections towards an array are in that state in the client's network."""
        with open(f"/proc/{self._program.pid}/net/tcp", encoding="ascii") as table:
            rows = [line.split() for line in table.read().splitlines()[1:]]
        return sum(row[2].endswith(f":{ARRAY_PORT:04X}") and row[3] == state for row in rows)

    def close(self):
        """Ends everything and removes its files."""
        self._program.stdin.close()
        try:
            self._program.wait(20)
        except subprocess.TimeoutExpired:
            self._program.kill()
            self._program.wait()
        self._program.stdout.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()
