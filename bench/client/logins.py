#!/usr/bin/env python3
"""Measures starts of the client against a real array, in namespaces of their own, and prints the samples as JSON: case,
who, figures. Started by rows.py."""

import argparse
import json
import pathlib
import random
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tests" / "proof"))
from arena import Arena
from proof import in_own_namespaces

PATIENCE = 120  # seconds for one start
TARGET = "iqn.2026-11.example.zef:array"
WWN = "6001405e7a11c0de"
LUN = 1
PROBE_MS = 1000  # how long the client tries to reach an address

OURS = "ours"
BARE = "bare logins"
BARE_NEEDED = "bare, needed libraries loaded"
BARE_LOADED = "bare, our libraries loaded"
BARE_PROBED = "bare, our libraries loaded, addresses probed"
LUN_TOLD = "bare, LUN told"
LOGIN_ALONE = "bare, login alone"
LIVE_ALONE = "live addresses alone"
ONE_LOCAL = "one local address"


class Starts:
    """Starts of the client or of the bare program, and the milliseconds from each to the moment when all its sessions
    stand. Both say so on their standard output, which the same program reads. `sleeps` is how often the threads of the
    last one went to sleep meanwhile."""

    def __init__(self, arena, programs):
        self._arena = arena
        self._client = programs.client
        self._programs = {"": programs.bare, "needed": programs.needed, "all": programs.loaded}
        self._stopwatch = programs.stopwatch
        self.sleeps = None

    def client(self, count, *options):
        return self._time(count, count, f'{self._client} run {" ".join(options)}')

    def bare(self, form, addresses, libraries=""):
        """libraries: which ones are loaded besides, the "needed" or "all" of the client's."""
        command = f'{self._programs[libraries]} {form} "$user" "$password" {TARGET} {LUN} {" ".join(addresses)}'
        return self._time(len(addresses), 0 if form == "login" else len(addresses), command)

    def _time(self, count, names, command):
        text = self._arena.run(f'{self._stopwatch} {count} " up" {command} 2>>"$workDir/started.err"', PATIENCE)
        figures, _, output = text.partition("\n")
        milliseconds, sleeps = figures.split()
        if output.count(WWN) != names:
            sys.exit(f"not every session has named the array {WWN}: {output}")
        self.sleeps = int(sleeps)
        return float(milliseconds)


def interleaved(rounds, measures, samples):
    """Takes a sample of each of the measures in each round, in an order that is another one each time."""
    for _ in range(rounds):
        for key in random.sample(list(measures), len(measures)):
            samples.setdefault(key, []).append(measures[key]())


def measure_logins(programs, samples):
    """The client beside bare logins that do the same work: told no more than the addresses. Each array address is reached
    from two local ones, but for the single pair. What else is shown has no goal. It tells what stands between the two:
    bare logins in a process that loads the libraries which no client can do without, or all that the client loads, the
    same with a probe of each address, and how often threads go to sleep, since most of a login is waiting. And it stands
    beside those who do less: the client told the target, bare logins told the LUN, too, and bare logins that do not ask
    for the array's name."""
    with Arena(programs.client) as arena:
        starts = Starts(arena, programs)
        arena.start_array()
        for pairs in (1, 8, 32):
            if pairs > 1:
                arena.run("ip address replace 127.0.0.2/8 dev lo")
            addresses = [f"127.0.1.{1 + i}" for i in range(max(1, pairs // 2))]
            portals = addresses * min(2, pairs)
            arena.configure(addresses)
            case = f"{pairs} pair{'s' * (pairs > 1)}"
            told = f"{case}, target told"
            interleaved(programs.rounds, {
                (case, OURS): lambda: starts.client(pairs),
                (case, BARE): lambda: starts.bare("asked", portals),
                (case, BARE_NEEDED): lambda: starts.bare("asked", portals, "needed"),
                (case, BARE_LOADED): lambda: starts.bare("asked", portals, "all"),
                (case, BARE_PROBED): lambda: starts.bare("probed", portals, "all"),
                (told, OURS): lambda: starts.client(pairs, "--target", TARGET),
                (told, LUN_TOLD): lambda: starts.bare("known", portals),
                (told, LOGIN_ALONE): lambda: starts.bare("login", portals),
            }, samples)
        for who, start in ((OURS, lambda: starts.client(pairs)), (BARE, lambda: starts.bare("asked", portals))):
            for _ in range(programs.rounds):
                start()
                samples.setdefault((f"{case}, sleeps", who), []).append(starts.sleeps)
        arena.run("array_stop")


def lay_cable(arena, addresses):
    """A cable from 10.0.0.1 and 10.0.0.2 to a network namespace that has the array's addresses."""
    arena.run("ip netns add array && ip link add near type veth peer name far netns array")
    arena.run("ip address add 10.0.0.1/24 dev near && ip address add 10.0.0.2/24 dev near && ip link set near up")
    arena.run("ip -n array link set lo up && ip -n array link set far up")
    for address in addresses:
        arena.run(f"ip -n array address add {address}/24 dev far")


def start_array_at(arena, addresses):
    """The array listens at these addresses alone; at others of its host, connections are refused."""
    arena.run(f"arrayPortal={addresses[0]}:3260")
    arena.start_array("ip netns exec array")
    for address in addresses[1:]:
        arena.run(f"array_admin --op new --mode portal --param portal={address}:3260")


def measure_dead_addresses(programs, samples):
    """As many dead addresses as live ones, until the pairs of the live ones are up; the dead ones come first in the order
    in which the client takes them, which is the worst. An address is silent when its answers get lost. What that takes
    longer than without them is told in deadlines, of which each silent address may cost one; and there are two local
    addresses that wait for an answer, which must not take longer than one."""
    live, refusing, silent = ([f"10.0.0.{ten + i}" for i in range(4)] for ten in (30, 20, 10))
    with Arena(programs.client) as arena:
        starts = Starts(arena, programs)
        lay_cable(arena, silent + refusing + live)
        for address in silent:
            arena.run(f"ip -n array rule add from {address} blackhole")
        start_array_at(arena, live)

        def start(addresses, live_pairs):
            arena.configure(addresses)
            return starts.client(live_pairs)

        def held_up():
            return (start(silent + live, 8) - start(live, 8)) / (len(silent) * PROBE_MS)

        def from_one_local():
            arena.run("ip address del 10.0.0.2/24 dev near")
            taken = start(silent[:1] + live[:1], 1)
            arena.run("ip address add 10.0.0.2/24 dev near")
            return taken

        interleaved(programs.rounds, {
            ("4 of 8 refuse", OURS): lambda: start(refusing + live, 8),
            ("4 of 8 refuse", LIVE_ALONE): lambda: start(live, 8),
            ("4 of 8 silent", OURS): held_up,
            ("1 of 2 silent, two local addresses", OURS): lambda: start(silent[:1] + live[:1], 2),
            ("1 of 2 silent, two local addresses", ONE_LOCAL): from_one_local,
        }, samples)
        arena.run("array_stop")


MEASURES = {"logins": measure_logins, "dead-addresses": measure_dead_addresses}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("what", choices=MEASURES)
    for program in ("client", "bare", "needed", "loaded", "stopwatch"):
        parser.add_argument(f"--{program}", required=True)
    parser.add_argument("--rounds", type=int, required=True)
    programs = parser.parse_args()
    in_own_namespaces()
    samples = {}
    MEASURES[programs.what](programs, samples)
    print(json.dumps([[case, who, figures] for (case, who), figures in samples.items()]))


if __name__ == "__main__":
    main()
