"""The same with a whole client: while it writes its configuration file for an administrator, one of the system calls
of the thread that saves fails, from the opening of the temporary file to the sync of the folder, or the client is
killed in front of it."""

import collections
import os
import pathlib
import re
import signal
import subprocess

from arena import Arena, ArenaError, await_that

CONFIG = "/opt/quenlar/vextramo/conf/zef_config.xml"
OPENED = f'"{CONFIG}.bak"'
LINE = re.compile(r"^(\d+) +(?:(\w+)\(|<\.\.\. \w+ resumed>)")
# What the thread does when the save is over: it tells the one that answers.
OVER = re.compile(r'^write\(\d+, "\\1\\0\\0\\0\\0\\0\\0\\0", 8|^futex\(')

Call = collections.namedtuple("Call", "name index text")


def calls_of_threads(text):
    """What each thread asked of the kernel, by a trace. A call's index is that among the thread's of the same name."""
    threads = collections.defaultdict(list)
    for line in text.splitlines():
        if not (match := LINE.match(line)):
            continue
        calls, said = threads[match[1]], line[len(match[1]):].strip()
        if match[2]:
            index = 1 + sum(call.name == match[2] for call in calls)
            calls.append(Call(match[2], index, said))
        elif calls:
            calls[-1] = calls[-1]._replace(text=calls[-1].text + said)
    return threads.values()


def calls_of_the_save(text):
    """Those of the thread that saves, from the opening of the temporary file on until the save is over; all of those
    of the thread."""
    for calls in calls_of_threads(text):
        begins = [place for place, call in enumerate(calls) if call.name == "openat" and OPENED in call.text]
        if begins:
            ends = [place for place, call in enumerate(calls) if place > begins[0] and OVER.match(call.text)]
            return calls[begins[0]:(ends + [len(calls)])[0]], calls
    return [], []


def was_hit(text, call, index, killed):
    """Whether it was one of the calls of the save that failed, or that was the last one."""
    saving, all_calls = calls_of_the_save(text)
    if killed:
        return bool(saving) and saving[-1] is all_calls[-1] and saving[-1][:2] == (call, index)
    return any("(INJECTED)" in one.text and one[:2] == (call, index) for one in saving)


class SavingClient:
    """One client whose file is written over and over. Its array does not answer, which is nothing to a save."""

    def __init__(self, proof, errors):
        self.proof = proof
        self.hows = ["signal=KILL", *(f"error={error}" for error in errors)]
        self.client = proof.builds / "dev/client/zef_client"
        self.tried = 0
        self.missed = 0
        self.arena = Arena(self.client)
        self.arena.configure(["127.0.0.11"])
        self.config = pathlib.Path(self.arena.inside(CONFIG))
        self.start()
        self.texts = {}
        for switch in ("on", "off"):
            if not self.ask(switch):
                raise ArenaError(f"nothing can be saved: {self.arena.output()[-2000:]}")
            self.texts[switch] = self.config.read_bytes()
        saving, _ = calls_of_the_save(self.traced_request("on")[0])
        self.known = [call[:2] for call in saving]
        self.recover(False)
        print(f"client: {' '.join(name for name, _ in self.known)}", flush=True)

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
        said = self.arena.run(f'status=0; timeout 60 "$client" switch compression {switch} --save >$workDir/said 2>&1 '
                              "|| status=$?; echo $status", timeout=90)
        return said.split()[-1] == "0"

    def traced_request(self, switch, *options):
        """The trace of a request, "" for none; whether it is said to be done; whether the client was killed."""
        trace = self.proof.work / "client.trace"
        trace.unlink(missing_ok=True)
        with subprocess.Popen(["strace", "-f", "-qq", "-o", trace, *options, "-p", str(self.arena.pid)],
                              stderr=subprocess.DEVNULL) as tracer:
            is_traced = await_that(60, lambda: self.traced(tracer.pid))
            done = self.ask(switch)
            killed = not os.path.exists(f"/proc/{self.arena.pid}/stat") or self.is_dead()
            if not killed:
                tracer.send_signal(signal.SIGINT)
            tracer.wait(60)
        text = trace.read_text(encoding="utf-8", errors="replace") if trace.exists() and is_traced else ""
        return text, done, killed

    def hit(self, call, index, how):
        """A request with that injected: whether the save was hit, and what is wrong, "" for nothing."""
        old = self.config.read_bytes()
        switch = "off" if old == self.texts["on"] else "on"
        text, done, killed = self.traced_request(switch, f"--inject={call}:{how}:when={index}")
        wrong = self.judge(old, switch, done, killed)
        self.recover(killed, call == "close")
        return was_hit(text, call, index, killed), wrong

    def judge(self, old, switch, done, killed):
        """What is wrong with the file after a request, "" for nothing."""
        found = self.config.read_bytes()
        if found not in self.texts.values():
            return "torn"
        if done and found != self.texts[switch]:
            return "reported as saved, and it is not"
        if not done and not killed and found != old:
            return "reported as failed, and it is saved"
        return "a temporary file was left" if not killed and os.path.exists(f"{self.config}.bak") else ""

    def show_controls(self):
        """What the judge must notice after a request that was carried out."""
        def after(defect, spoil, is_told=True):
            old = self.config.read_bytes()
            done = self.ask("on")
            spoil(old)
            wrong = self.judge(old, "on", done and is_told, False)
            self.proof.control(f"client, {defect}", done and wrong.startswith(defect))
            self.config.write_bytes(self.texts["off"])
            pathlib.Path(f"{self.config}.bak").unlink(missing_ok=True)
        after("torn", lambda _: self.config.write_bytes(self.texts["on"][:-20]))
        after("reported as saved", self.config.write_bytes)
        after("reported as failed", lambda _: None, is_told=False)
        after("a temporary file", pathlib.Path(f"{self.config}.bak").write_bytes)
        # The file that is to be changed cannot be opened: a failure in front of the save, which is none of the save.
        is_hit, wrong = self.hit("openat", 1, "error=EIO")
        self.proof.control("client, a failure in front of the save does not count", not is_hit and wrong == "")

    def attempt(self, call, index, how):
        is_hit, wrong = self.hit(call, index, how)
        if is_hit or wrong:
            self.tried += 1
            self.proof.trial(wrong == "", f"client, {call} {index} {how}: {wrong}")
        else:
            self.missed += 1

    def traced(self, tracer):
        with open(f"/proc/{self.arena.pid}/status", encoding="ascii") as status:
            return f"TracerPid:\t{tracer}\n" in status.read()

    def is_dead(self):
        with open(f"/proc/{self.arena.pid}/stat", encoding="utf-8") as stat:
            return stat.read().rpartition(")")[2].split()[0] in "ZX"

    def recover(self, killed, was_not_closed=False):
        """A client that runs, with a whole file that says what the client does."""
        if killed or self.is_dead():
            self.arena.reap_client()
            self.start()
        elif was_not_closed:  # it would run out of descriptors in the end
            self.arena.stop_client()
            self.start()
        for switch in ("on", "off"):
            if not self.ask(switch) or self.config.read_bytes() != self.texts[switch]:
                self.proof.trial(False, f"the next save does not work: {self.config.read_bytes()!r}"[:300])

    def at_random(self):
        draw = self.proof.random
        self.attempt(*draw.choice(self.known), draw.choice(self.hows))

    def close(self):
        print(f"client: {self.tried} tried; not counted, since the save was not hit: {self.missed}")
        if self.missed > self.tried:
            self.proof.trial(False, "client: most attempts did not hit the save")
        self.arena.close()
