"""The same with a whole client: while it writes its configuration file for an administrator, one of its system calls
fails, or it is killed in front of it."""

import os
import pathlib
import signal
import subprocess

from arena import Arena, ArenaError, await_that

CONFIG = "/opt/quenlar/vextramo/conf/zef_config.xml"
CALLS = ("openat", "newfstatat", "fstat", "read", "write", "fsync", "chmod", "fchmod", "rename", "close", "unlink")
MOST = 4       # of the calls of a kind that one request makes


class SavingClient:
    """One client whose file is written over and over. Its array does not answer, which is nothing to a save."""

    def __init__(self, proof, errors):
        self.proof = proof
        self.hows = ["signal=KILL", *(f"error={error}" for error in errors)]
        self.client = proof.builds / "dev/client/zef_client"
        self.missed = 0
        self.arena = Arena(self.client)
        self.arena.configure(["127.0.0.11"])
        self.config = pathlib.Path(self.arena.inside(CONFIG))
        self.start()
        self.texts = {}
        for switch in ("on", "off"):  # off is what the file has
            self.ask(switch)
            self.texts[switch] = self.config.read_bytes()

    def start(self):
        self.arena.start_client("--log-level", "error")
        if not await_that(60, self.answers):
            raise ArenaError(f"the client does not answer: {self.arena.output()[-2000:]}")

    def answers(self):
        try:
            return self.arena.ask("status")["ok"]
        except (OSError, ValueError):  # a killed one has left its socket
            return False

    def ask(self, switch):
        """Whether a request to change and save is said to be done."""
        said = self.arena.run(f'status=0; timeout 60 "$client" switch compression {switch} --save >$workDir/said 2>&1 || '
                              "status=$?; echo $status", timeout=90)
        return said.split()[-1] == "0"

    def attempt(self, call, index, how):
        old = self.config.read_bytes()
        switch = "off" if old == self.texts["on"] else "on"
        trace = self.proof.work / "client.trace"
        trace.unlink(missing_ok=True)
        with subprocess.Popen(["strace", "-f", "-qq", "-o", trace, f"--inject={call}:{how}:when={index}", "-p",
                               str(self.arena.pid)], stderr=subprocess.DEVNULL) as tracer:
            tracer_is_there = await_that(60, lambda: self.traced(tracer.pid))
            done = self.ask(switch)
            killed = not os.path.exists(f"/proc/{self.arena.pid}/stat") or self.is_dead()
            if not killed:
                tracer.send_signal(signal.SIGINT)
            tracer.wait(60)
        text = trace.read_text(encoding="utf-8", errors="replace") if trace.exists() else ""
        if not tracer_is_there or not ("(INJECTED)" in text or killed):
            self.missed += 1
        else:
            found = self.config.read_bytes()
            wrong = ("torn" if found not in self.texts.values() else
                     "reported as saved, and it is not" if done and found != self.texts[switch] else "")
            self.proof.trial(wrong == "", f"client, {call} {index} {how}: {wrong}")
        self.recover(killed)

    def traced(self, tracer):
        with open(f"/proc/{self.arena.pid}/status", encoding="ascii") as status:
            return f"TracerPid:\t{tracer}\n" in status.read()

    def is_dead(self):
        with open(f"/proc/{self.arena.pid}/stat", encoding="utf-8") as stat:
            return stat.read().rpartition(")")[2].split()[0] in "ZX"

    def recover(self, killed):
        """A client that runs, with a whole file that says what the client does."""
        if killed or self.is_dead():
            self.arena.reap_client()
            self.start()
        for switch in ("on", "off"):
            if not self.ask(switch) and self.config.read_bytes() != self.texts[switch]:
                self.proof.trial(False, f"the next save does not work: {self.config.read_bytes()!r}"[:300])

    def at_random(self):
        draw = self.proof.random
        self.attempt(draw.choice(CALLS), draw.randint(1, MOST), draw.choice(self.hows))

    def close(self):
        print(f"client: not counted, since nothing was hit: {self.missed}")
        self.arena.close()
