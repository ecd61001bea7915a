"""What the documents say: their blocks, and what the manuals declare.

A block of a document is of one of these kinds. In Markdown the word after the fence tells, in a manual the block's
first line, since literal blocks of manuals have no such word:

    console     lines that begin with "$ " (any user) or "# " (root) are commands, which go on behind a backslash at the
                end; what follows a command is what it prints, where "..." stands for any number of lines
    commands    every line is a command (no word after the fence)
    xml         a configuration file (a manual's begins with "<?xml")
    cpp         a program (a manual's begins with "#include")
    cmake       lines of a CMakeLists.txt (a manual's begins with "find_package")
    text        a picture
"""
import collections
import re

Block = collections.namedtuple("Block", "kind lines where")
Command = collections.namedtuple("Command", "text shown where")

KIND_OF_FENCE = {"console": "console", "": "commands", "xml": "xml", "cpp": "cpp", "cmake": "cmake", "text": "text"}
KIND_OF_FIRST_LINE = (("console", r"[$#] "), ("xml", r"<\?xml"), ("cpp", r"#include"), ("cmake", r"find_package\("))


class UnknownBlock(Exception):
    """A block that the convention above does not cover."""


def kind_of(path, fence, first_line):
    if str(path).endswith(".md"):
        if fence in KIND_OF_FENCE:
            return KIND_OF_FENCE[fence]
        raise UnknownBlock(f"a block that begins with ```{fence}")
    for kind, pattern in KIND_OF_FIRST_LINE:
        if re.match(pattern, first_line):
            return kind
    raise UnknownBlock(f"a block that begins with the line {first_line!r}")


def literal(path, line):
    """A line of a literal block without what stands there for scdoc: tabs around it, backslashes in front."""
    return line if str(path).endswith(".md") else re.sub(r"\\(.)", r"\1", line.lstrip("\t"))


def blocks(path):
    """The blocks of a document, in its order."""
    found, fence, lines, begin = [], None, [], 0
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        if fence is None and line.lstrip().startswith("```"):
            fence, lines, begin = line.strip()[3:], [], number
        elif fence is not None and line.strip() == "```":
            where = f"{path.name}:{begin}"
            try:
                found.append(Block(kind_of(path, fence, lines[0] if lines else ""), lines, where))
            except UnknownBlock as problem:
                raise UnknownBlock(f"{where}: {problem}") from None
            fence = None
        elif fence is not None:
            lines.append(literal(path, line))
    if fence is not None:
        raise UnknownBlock(f"{path.name}:{begin}: a block that never ends")
    return found


def commands(block):
    """The commands of a block, with the lines that each is shown to print."""
    name, begin = block.where.split(":")
    found, open_command = [], False
    for number, line in enumerate(block.lines, int(begin) + 1):
        where = f"{name}:{number}"
        if open_command:
            found[-1] = found[-1]._replace(text=f"{found[-1].text}\n{line}")
        elif block.kind == "commands" and line.strip():
            found.append(Command(line, [], where))
        elif block.kind == "console" and re.match(r"[$#] ", line):
            found.append(Command(line[2:], [], where))
        elif block.kind == "console":
            if not found:
                raise UnknownBlock(f"{where}: output in front of every command")
            found[-1].shown.append(line)
        open_command = bool(found) and line.endswith("\\") and not found[-1].shown
    return found


def plain(text):
    """scdoc's text without its markup."""
    text = re.sub(r"\\(.)", lambda match: f"\0{ord(match[1])}\0", text)
    text = re.sub(r"\*|(?<![A-Za-z0-9])_|_(?![A-Za-z0-9])", "", text)
    return re.sub("\0([0-9]+)\0", lambda match: chr(int(match[1])), text)


def sections(path):
    """Heading to lines, for the sections (not subsections) of a manual."""
    found, heading = collections.OrderedDict(), None
    for line in path.read_text(encoding="utf-8").splitlines():
        if line.startswith("# "):
            heading = line[2:]
            found[heading] = []
        elif heading is not None:
            found[heading].append(line)
    return found


def terms(lines):
    """What stands in front of an indented text, with its markup: a list of (term, text)."""
    found, pending = [], []
    for line in lines:
        if line.startswith("\t") and pending:
            found.append((" ".join(pending), []))
            pending = []
        if line.startswith("\t"):
            if found:
                found[-1][1].append(line[1:])
        else:
            pending = [*pending, line] if line.strip() and not line.startswith("#") else []
    return [(term, text) for term, text in found]


def table(lines):
    """The rows of the first table among the lines, without its heading: lists of plain texts."""
    rows = []
    for line in lines:
        if re.match(r"\[\[|\|", line):
            rows.append([plain(line[2:].strip())])
        elif rows and line.startswith(":"):
            rows[-1].append(plain(line[2:].strip()))
        elif rows and line.startswith(" "):
            rows[-1][-1] += " " + plain(line.strip())
        elif rows:
            break
    return rows[1:]
