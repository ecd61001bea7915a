"""Whole processes: loading the library, a life of it, what it answers, and what it takes."""

import pathlib
import re
import shutil
import subprocess
import sys

from rows import OURS, Amount, Programs, Ratio, Row, Script

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests/package"))
import binary

PATIENCE = 60  # seconds that one process may take
BARE = "bare parts"
EMPTY = "an empty library"
PEERS = {"libxml2": "libxml2.so.2", "tinyxml2": "libtinyxml2.so.9", "pugixml": "libpugixml.so.1"}
CXX_HOST = "host in C++"
C_HOST = "host in C"
WORKER_HOST = "host in C++, pool with a worker"

CONFIG_FILE = "/opt/quenlar/vextramo/conf/zef_config.xml"
CONFIG = """<?xml version="1.0"?>
<Config>
    <Uuid type="string">0fd8a4d6-5d0e-4b5e-9a52-3f1f0a1c9e77</Uuid>
    <Deduplication type="string">ON</Deduplication>
    <Compression type="string">ON</Compression>
    <StorageObject>
        <Name>array-1/pool.7</Name>
        <User>zefuser</User>
        <Password>sealed:{password}</Password>
        <LinkType>0</LinkType>
{addresses}
    </StorageObject>
</Config>
"""
ATTEMPTS = 5
LOCAL_ADDRESSES = 2  # from which LifeCycle reaches every address

# With an /opt of its own: writes standard input to the configuration file, then becomes the program.
IN_PRIVATE_OPT = (str(ROOT / "tests/private-opt"), "sh", "-c",
                  'mkdir -p "$(dirname "$0")" && cat >"$0" && exec "$@"', CONFIG_FILE)


def figures(*command, text=""):
    """The numbers that a fresh process prints."""
    process = subprocess.run([str(part) for part in command], check=True, timeout=PATIENCE, input=text, text=True,
                             stdout=subprocess.PIPE)
    return [int(word) for word in process.stdout.split()]


def interleaved(rounds, measurements):
    """A figure of each measurement in each round, in the opposite order in every other round."""
    samples = {key: [] for key in measurements}
    for number in range(rounds):
        for key in list(measurements)[::1 if number % 2 == 0 else -1]:
            samples[key].append(measurements[key]())
    return samples


def library(context):
    """The library as built."""
    return context.build / "libzef_config.so"


def system_library(name):
    """Where the dynamic loader finds a library, so that nobody's loading includes the search."""
    found = re.search(rf"^\s*{re.escape(name)} .*=> (\S+)$", binary.output("/sbin/ldconfig", "-p"), re.MULTILINE)
    return found[1] if found else sys.exit(f"bench: {name} is not installed")


def loads(context, *arguments):
    """(host, who) to a measurement of a process that loads one library."""
    empty = context.program("libzef_bench_empty.so")
    if binary.needed(empty) != binary.needed(library(context)):
        sys.exit(f"bench: {empty} does not need what {library(context)} needs")
    loaded = {OURS: library(context), EMPTY: empty, **{who: system_library(name) for who, name in PEERS.items()}}
    hosts = {CXX_HOST: ("bench_dlopen", loaded), C_HOST: ("bench_dlopen_c", (OURS, EMPTY)),
             WORKER_HOST: ("bench_dlopen_worker", (OURS, EMPTY))}
    return {(host, who): lambda program=program, who=who: figures(context.program(program), loaded[who], *arguments)[0]
            for host, (program, whom) in hosts.items() for who in whom}


def measure_loading(context):
    """Nanoseconds of dlopen."""
    return interleaved(31 if context.is_short else 201, loads(context))


def config(addresses):
    """A configuration file with so many array addresses."""
    lines = (f"        <Ips>192.0.2.{number}</Ips>" for number in range(101, 101 + addresses))
    return CONFIG.format(password="p" * 93, addresses="\n".join(lines))


def life(context, addresses, what):
    """What LifeCycle prints about a life with so many array addresses."""
    return figures(*IN_PRIVATE_OPT, context.program("bench_life_cycle"), addresses * LOCAL_ADDRESSES, what,
                   text=config(addresses))


def measure_lives(context):
    """Nanoseconds of a life and of its parts. What runs first in a process pays for what the second finds ready, so
    both orders count half. Threads wait for a processor when the machine is busy: the fastest of a few processes
    counts."""
    samples = {}
    for _ in range(5 if context.is_short else 21):
        for addresses in (1, 8, 16):
            case = f"{addresses} addresses, {addresses * LOCAL_ADDRESSES} links"
            fastest = [[min(times) for times in zip(*(life(context, addresses, order) for _ in range(ATTEMPTS)))]
                       for order in ("ours-first", "bare-first")]
            for who, times in zip((OURS, BARE), zip(*fastest)):
                samples.setdefault((case, who), []).append(sum(times) / len(times))
    return samples


def kilobytes(kibibytes):
    """In the units that a limit is written in."""
    return kibibytes * 1.024


def measure_memory(context):
    """The file as it is delivered, and by how much a process grows."""
    stripped = context.scratch / "stripped.so"
    shutil.copyfile(library(context), stripped)
    subprocess.run(["strip", stripped], check=True, timeout=PATIENCE)
    rounds = 3 if context.is_short else 11
    samples = {("file, stripped", OURS): [stripped.stat().st_size / 1000],
               ("from before Init to 32 links up", OURS): [kilobytes(life(context, 16, "memory")[0])
                                                           for _ in range(rounds)]}
    growth = interleaved(rounds, loads(context, "memory"))
    samples.update({(f"by dlopen, {host}", who): [kilobytes(value) for value in values]
                    for (host, who), values in growth.items()})
    return samples


ROWS = (
    Row(9, "dlopen, fresh process", Script(measure_loading),
        (Ratio(EMPTY, 1.4, re.escape(CXX_HOST)), Ratio(EMPTY, 1.05, re.escape(C_HOST)),
         Ratio("libxml2", 0.4, re.escape(CXX_HOST)))),
    Row(10, "Init, Start, links up, Finish", Script(measure_lives),
        (Ratio(BARE, 1.15),)),
    Row(13, "credential callback, local address", Programs("bench_queries", rounds=21),
        (Ratio(BARE, 1.3),)),
    Row(14, "size of the library; growth", Script(measure_memory),
        (Amount("kB", 200, "file, stripped"), Amount("kB", 1000, "from before Init .*"))),
)
