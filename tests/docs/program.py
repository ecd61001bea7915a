"""The commands and options of zef_client, as its own help tells them."""
import collections
import functools
import os
import re
import subprocess

CLIENT = os.environ["ZEF_CLIENT"]

Help = collections.namedtuple("Help", "commands options arguments choices defaults valued")

HELP_OPTIONS = {"-h", "--help", "--help-all", "--version"}


@functools.lru_cache(maxsize=None)
def help_of(command=()):
    """What `zef_client COMMAND --help` lists: subcommands, options (but help itself), positional arguments; of options
    and arguments the values that they are restricted to, and the defaults; and the options that take a value."""
    text = subprocess.run([CLIENT, *command, "--help"], check=True, stdout=subprocess.PIPE, text=True).stdout
    heading, listed, choices, defaults, valued = "", collections.defaultdict(list), {}, {}, set()
    for line in text.splitlines():
        if re.match(r"\S.*:$", line):
            heading = line
        entry = re.match(r"  (\S+)(?: [^ {=]+(?: in \[[^]]*\])?(?::?\{([^}]*)\})?(?:=(\S+))?)?", line)
        if entry and line[2] != " ":
            name, values, default = entry.groups()
            listed[heading].append(name)
            choices.update({name: values.split(",")} if values else {})
            defaults.update({name: default} if default else {})
            if re.match(r"  --\S+ (UINT|INT|FLOAT|TEXT)\b", line):
                valued.add(name)
    options = {name for line in listed["Options:"] for name in line.split(",")} - HELP_OPTIONS
    return Help(listed["Subcommands:"], options, listed["Positionals:"], choices, defaults, valued)


def leaf_commands(command=()):
    """Every command that does something, as tuples of words."""
    subcommands = help_of(command).commands
    if not subcommands:
        return [command]
    return [leaf for name in subcommands for leaf in leaf_commands((*command, name))]
