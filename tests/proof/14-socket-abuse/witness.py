"""What must go on beside hostile clients: honest requests, links that are lost and come back, tasks of the pool."""

import time

from abuse import PATIENCE, is_answered
from arena import await_that

PAIRS = 4


class Witness:
    """An honest client beside the hostile ones, and links that are lost and must come back."""

    def __init__(self, arena, abuse):
        self.arena = arena
        self.abuse = abuse
        self.asked = self.longest = self.recovered = self.changed = 0

    def ask(self, until):
        while not until.is_set():
            began = time.monotonic()
            answered = is_answered(self.abuse.path)
            self.longest = max(self.longest, time.monotonic() - began)
            self.asked += 1
            if not answered:
                self.abuse.count("an honest request", ["was not answered"])
            until.wait(0.1)

    def lose_links(self, until):
        """Links are lost and come back, which the gateway does, and an address goes and comes, which takes tasks of the
        pool. Seen at the array, not at the socket."""
        while not until.is_set():
            problem = loss_problem(self.arena, PATIENCE)
            self.recovered += not problem
            self.abuse.count("links lost meanwhile", [problem])
            problem = tasks_problem(self.arena, PATIENCE)
            self.changed += not problem
            self.abuse.count("an address deleted and added meanwhile", [problem])


def loss_problem(arena, patience):
    """The array drops all sessions, and new ones must come. Returns what is wrong with that."""
    lost = sorted(arena.sessions())
    arena.run("drop_sessions " + " ".join(lost))
    back = await_that(patience, lambda: len(set(arena.sessions()) - set(lost)) == PAIRS)
    return "" if back else "did not come back"


def tasks_problem(arena, patience):
    """An address is deleted and added, which takes tasks of the pool; its session must go and come. Returns what is
    wrong with that."""
    for operation, sessions in (("storage-delete-addresses", PAIRS - 1), ("storage-add-addresses", PAIRS)):
        try:
            answer = arena.ask(operation, patience, name="array-1", addresses=["127.0.0.10"])
        except (OSError, ValueError) as error:
            return f"{operation}: {error!r}"
        if not answer["ok"] or not await_that(patience, lambda n=sessions: len(arena.sessions()) == n):
            return f"{operation}: {answer}, {arena.sessions()}"
    return ""


def start(arena):
    arena.configure(f"127.0.0.{10 + i}" for i in range(PAIRS))
    arena.start_array()
    arena.start_client()
    arena.await_up(PAIRS)


def state_of(arena):
    """What no hostile client may change."""
    status = arena.ask("status", PATIENCE)["result"]
    links = sorted((row["local"], row["array"], row["state"]) for row in status["links"])
    return status["identity"], status["switches"], status["storage"], links, arena.run("cat $confDir/zef_config.xml")
