"""Servers, answers and clients with a defect, which the detectors must notice."""

import contextlib
import ctypes
import os
import pathlib
import random
import signal
import socket
import threading
import time
from concurrent.futures import ThreadPoolExecutor

from abuse import PATIENCE, is_answered, never_reads, problem_of, slow
from arena import Arena, connected, stop_process
from witness import PAIRS, loss_problem, start, state_of, tasks_problem


def control_held(proof):
    """A server that reads from one client until its request is there is held by a slow one."""
    path = str(proof.work / "naive.sock")
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(path)
        listener.listen()

        def serve():
            with contextlib.suppress(OSError):
                while True:
                    connection, _ = listener.accept()
                    with connection, connection.makefile("rb") as requests:
                        requests.readline()
                        connection.sendall(b'{"version": 1, "ok": true, "result": {}}\n')

        server = threading.Thread(target=serve, daemon=True)
        server.start()
        answered_before = is_answered(path, 2)
        with connected(path, PATIENCE) as slow:
            slow.sendall(b"{")
            time.sleep(0.1)
            proof.control("a server that a slow client holds", answered_before and not is_answered(path, 2))
        listener.shutdown(socket.SHUT_RDWR)
        server.join(5)


def control_never_ended(proof):
    """A server that reads and answers whoever is there, for as long as they are."""
    path = str(proof.work / "patient.sock")
    until = threading.Event()
    with socket.socket(socket.AF_UNIX) as listener, ThreadPoolExecutor(4) as pool:
        listener.bind(path)
        listener.listen()

        def serve():
            connection, _ = listener.accept()
            with connection, contextlib.suppress(OSError):
                connection.sendall(b'{"version":1,"ok":true,"result":{}}\n')
                while connection.recv(4096):
                    pass

        for _ in range(2):
            pool.submit(serve)
        dripping = pool.submit(slow, path, random.Random(proof.seed), until)
        deaf = pool.submit(never_reads, path, until)
        until.wait(0.5)
        until.set()
        proof.control("a slow client that is never ended", dripping.result() == "it was never ended")
        proof.control("a deaf client that is never ended", deaf.result()[0] == "it was never ended")


class HeldThread:
    """Keeps one thread of another process from running, by ptrace: the others go on."""

    SEIZE, INTERRUPT, DETACH = 0x4206, 0x4207, 17
    WAIT_FOR_ANY_THREAD = 0x40000000

    def __init__(self, thread):
        self.thread = thread
        self.libc = ctypes.CDLL(None, use_errno=True)

    def call(self, request):
        if self.libc.ptrace(ctypes.c_long(request), ctypes.c_long(self.thread), None, None) != 0:
            raise OSError(ctypes.get_errno(), "ptrace")

    def __enter__(self):
        self.call(self.SEIZE)
        self.call(self.INTERRUPT)
        os.waitpid(self.thread, self.WAIT_FOR_ANY_THREAD)
        return self

    def __exit__(self, *_):
        self.call(self.DETACH)


def worker_of(pid):
    """The thread that carries out the pool's tasks."""
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        if (task / "comm").read_text(encoding="ascii").startswith("zef-pool"):
            return int(task.name)
    raise OSError(f"process {pid} has no worker")


def control_stands_still(proof):
    """A client whose worker is held: requests are taken, and nothing comes of them. And one that stands still."""
    with Arena(proof.builds / "dev/client/zef_client") as arena:
        start(arena)
        hold(proof, arena)
        stop(proof, arena)


def hold(proof, arena):
    with HeldThread(worker_of(arena.pid)):
        answered = is_answered(arena.socket_path())
        problem = tasks_problem(arena, 3)
        proof.control("a worker that is held while others are answered",
                      answered and problem.startswith("storage-add-addresses"))
    arena.await_up(PAIRS)
    proof.control("a worker that is let go, which must not be reported", tasks_problem(arena, PATIENCE) == "")


def stop(proof, arena):
    proof.control("honest requests to a client that is stopped",
                  stop_process(arena.pid) and not is_answered(arena.socket_path(), 2))
    proof.control("links of a client that is stopped", loss_problem(arena, 4) != "")
    os.kill(arena.pid, signal.SIGCONT)
    arena.await_up(PAIRS)
    proof.control("a client that goes on, which must not be reported", loss_problem(arena, PATIENCE) == "")


def control_answers(proof):
    for what, line in (("an answer that is no JSON", b"no\n"),
                       ("a success in place of a refusal", b'{"version":1,"ok":true,"result":{}}\n'),
                       ("a refusal without an error", b'{"version":1,"ok":false}\n'), ("no answer", b"")):
        proof.control(what, problem_of(line) != "")


def control_state(proof, arena):
    before = state_of(arena)
    arena.ask("switch", name="deduplication", value="off")
    proof.control("a switch that was changed", state_of(arena) != before)
    arena.ask("switch", name="deduplication", value="on")
    proof.control("nothing changed, which must not be reported", state_of(arena) == before)
