"""Mutants of a C++ source: every change of one place that a list of operators makes."""

import pathlib
import re
import zlib
from typing import NamedTuple

COMPARISONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
ARITHMETIC = {" + ": " - ", " - ": " + ", " += ": " -= ", "++": "--", "--": "++"}
LOGIC = {"&&": "||", "||": "&&"}
WORDS = {"true": "false", "false": "true", "break": "continue"}
RETURNS = {"0": "-1", "-1": "0"}
# Statements that declare something: without them, or before another one, the rest does not compile.
DECLARATION = re.compile(r"(using|namespace|static|constexpr|const|template|typedef|class|struct|enum|auto)\b|"
                         r"[\w:<>,*& ]+[\s*&]\w+(\[\w*\])?( = .*|\(.*\)|\{.*\})?;$")
SETTING = re.compile(r"\w+\.Set\w+\(")
LOCK_OR_WIPE = re.compile(r"const [\w:<>]*(lock_guard|ScopedWipe)[\w:<>]* \w+\(.*\);$")


class Mutant(NamedTuple):
    """One change: the text from `begin` to `end` of the file becomes `text`."""
    file: str
    kind: str
    line: int
    begin: int
    end: int
    text: str
    before: str  # the line that changes, and what it becomes
    after: str
    nth: int  # of those that read alike

    @property
    def name(self):
        """The same wherever in the file the line stands."""
        return f"{self.file} | {self.kind} | {self.before} | {self.after}" + (f" | {self.nth}" if self.nth > 1 else "")


def mask(source):
    """The source with comments, texts and preprocessor lines blanked, character for character."""
    pattern = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'|^#(?:[^\n]*\\\n)*[^\n]*',
                         re.DOTALL | re.MULTILINE)

    def blank(match):
        text = match.group()
        if text[0] in "\"'":
            return text[0] + "_" * (len(text) - 2) + text[0]
        return re.sub(r"[^\n]", " ", text)

    return pattern.sub(blank, source)


def statements(code):
    """(begin, end) of every statement that is one expression, in a body: no declaration, no jump."""
    for match in re.finditer(r"(?<=[;{}\n])([ ]+)(?![ }])([^;{}#]+;)", code):
        begin, end = match.start(2), match.end(2)
        text = " ".join(match.group(2).split())
        if text.count("(") != text.count(")") or text.endswith("= delete;"):
            continue  # the head of a for; nothing that runs
        before = code[:begin].rstrip()
        if not before or before[-1] not in ";{})":
            continue  # the rest of a longer statement
        if re.match(r"(return|break|continue|case|default|public|private|if|for|while|else|switch|do)\b", text):
            continue
        isDropped = LOCK_OR_WIPE.match(text)
        if not isDropped and (DECLARATION.match(text) or not re.search(r"[(=+-]", text)):
            continue
        yield begin, end, bool(isDropped)


def conditions(code):
    """(begin, end) of what stands in the parentheses of an if or while, unless changing its == does the same."""
    for match in re.finditer(r"\b(?:if|while) \(", code):
        depth, begin = 1, match.end()
        end = begin
        while depth > 0:
            depth += {"(": 1, ")": -1}.get(code[end], 0)
            end += 1
        condition = code[begin:end - 1]
        isOneComparison = re.search(r"[=!]=", condition) and not re.search(r"&&|\|\|", condition)
        if ";" not in condition and not re.search(r"[^=!<>]=[^=]", condition) and not isOneComparison:
            yield begin, end - 1


def changes(code):
    """(kind, begin, end, new text) of every mutant."""
    for match in re.finditer(r"(?<= )(<=|>=|==|!=|<|>)(?= )", code):
        yield "comparison", match.start(), match.end(), COMPARISONS[match.group()]
    for match in re.finditer(r"&&(?= )|\|\|", code):
        yield "logic", match.start(), match.end(), LOGIC[match.group()]
    for match in re.finditer(r" \+ | - | \+= |\+\+|--", code):
        yield "arithmetic", match.start(), match.end(), ARITHMETIC[match.group()]
    for match in re.finditer(r"\b(true|false|break)\b(?=[;,) ])", code):
        yield "word", match.start(), match.end(), WORDS[match.group()]
    for match in re.finditer(r"\breturn (0|-1);", code):
        yield "result", match.start(1), match.end(1), RETURNS[match.group(1)]
    for match in re.finditer(r"(?<![\w.])(\d+)(?=[;,)\]} ])", code):
        if not code[:match.start()].rstrip().endswith(("return", "return -")):
            yield "constant", match.start(), match.end(), str(int(match.group()) + 1)
            if int(match.group()) > 1:
                yield "constant", match.start(), match.end(), str(int(match.group()) - 1)
    for begin, end in conditions(code):
        yield "negated", begin, end, None
    for match in re.finditer(r"(?<=\n)[ ]+((?:return|continue);|return [^;]+;(?=\n[ ]+\}\n[ ]*[^ }\n]))", code):
        yield "early return dropped", match.start(1), match.end(1), ";"
    found = list(statements(code))
    for begin, end, _ in found:
        yield "dropped", begin, end, ";"
    for (begin, middle, isDropped), (middle2, end, isDropped2) in zip(found, found[1:]):
        areSettings = all(SETTING.match(code[at:]) for at in (begin, middle2))  # of one record: in any order
        if not isDropped and not isDropped2 and not areSettings and code[middle:middle2].strip(" ") == "\n":
            yield "swapped", begin, end, None


def chosen(mutants):
    """One mutant of a line, of every second line: which ones is drawn by what they say, so it is the same each time."""
    lines = {}
    for mutant in mutants:
        reads = f"{mutant.file} | {mutant.kind} | {mutant.before} | {mutant.after}"
        lines.setdefault((mutant.file, mutant.line), []).append((zlib.crc32(reads.encode()), mutant))
    return [mutant for drawn, mutant in map(min, lines.values()) if zlib.crc32(mutant.before.encode()) % 2 == 0]


def mutants_of(root, file):
    """All mutants of a file."""
    source = (pathlib.Path(root) / file).read_text(encoding="utf-8")
    code = mask(source)
    made = []
    for kind, begin, end, text in changes(code):
        if kind == "negated":
            text = f"!({source[begin:end]})"
        elif kind == "swapped":
            first, second = source[begin:end].split(";\n", 1)
            text = f"{second}\n{first};"
        lineBegin = source.rfind("\n", 0, begin) + 1
        lineEnd = source.find("\n", end)
        before = " ".join(source[lineBegin:lineEnd].split())
        after = " ".join((source[lineBegin:begin] + text + source[end:lineEnd]).split())
        nth = 1 + sum(other.kind == kind and other.before == before and other.after == after for other in made)
        made.append(Mutant(file, kind, source.count("\n", 0, begin) + 1, begin, end, text, before, after, nth))
    return made
