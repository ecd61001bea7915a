"""What a binary lacks of the protection that the build asks for."""
import re

import binary


def program_headers(path, kind):
    """Flag texts, such as "RW", of the program headers of a kind."""
    lines = binary.readelf(path, "--program-headers").splitlines()
    return [re.sub(r"0x\S+|\s", "", line.split(None, 1)[1]) for line in lines if line.split()[:1] == [kind]]


def undefined_names(path):
    return {name.split("@")[0] for name in binary.undefined(path)}


def weaknesses(path):
    """One text each."""
    found = []
    now = " ".join(binary.dynamic_entries(path, "FLAGS") + binary.dynamic_entries(path, "FLAGS_1"))
    if len(program_headers(path, "GNU_RELRO")) != 1:
        found.append("relocated data stays writable: no RELRO")
    if "BIND_NOW" not in now or not re.search(r"Flags:.*\bNOW\b", now):
        found.append("functions are bound late: no NOW")
    if binary.dynamic_entries(path, "TEXTREL"):
        found.append("code is relocated: TEXTREL")
    if "DYN" not in re.search(r"Type:\s+(\S+)", binary.readelf(path, "--file-header")).group(1):
        found.append("stands at a fixed address: no PIE")
    stack = program_headers(path, "GNU_STACK")
    if len(stack) != 1 or "E" in stack[0]:
        found.append("the stack can be executed")
    if any("W" in flags and "E" in flags for flags in program_headers(path, "LOAD")):
        found.append("memory is both written and executed")
    if "__stack_chk_fail" not in undefined_names(path):
        found.append("the stack has no guard")
    if binary.dynamic_entries(path, "RPATH"):
        found.append("looks for libraries where RPATH says, before anything else")
    return found


def is_fortified(path):
    """Whether it calls checking variants of library functions."""
    return any(re.fullmatch(r"__\w+_chk", name) for name in undefined_names(path))
