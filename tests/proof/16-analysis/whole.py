"""Several sources as one, so that a tool reads what their headers bring once, and not for every file."""

import re

# Names that a source has for itself, in unnamed namespaces or as static; they stand at the beginning of a line.
OWN = re.compile(r"^(?:(?:class|struct|enum class|enum) (\w+)(?: final)?(?: : [^{;]*)? \{|using (\w+) =|"
                 r"(?!using|class|struct|enum|template|return|namespace)[A-Za-z][\w:<>,*& ]*?[ *&](\w+)"
                 r"(?:\(|\[| = |\{|;))",
                 re.MULTILINE)
UNNAMED = re.compile(r"^namespace \{$.*?^\}  // namespace$|^static [^;]*;", re.MULTILINE | re.DOTALL)


def own_names(text):
    """What stands in the unnamed namespaces of a source."""
    return {name for block in UNNAMED.findall(text) for found in OWN.findall(block) for name in found if name}


class Whole:
    """The text of several sources, and where each of its lines comes from."""

    def __init__(self, root, sources):
        self.root = root
        self.sources = sources
        self.text = ""
        self.origins = []  # (source, number of its line), one a line
        texts = {source: (root / source).read_text(encoding="utf-8") for source in sources}
        words = {source: set(re.findall(r"\w+", text)) for source, text in texts.items()}
        for number, source in enumerate(sources):
            others = set().union(*(words[other] for other in sources if other != source))
            text = texts[source]
            # A name that one source has for itself, and another one uses too, gets the number of the source.
            for name in sorted(own_names(text) & others):
                text = re.sub(rf"(?m)^(#include.*)|(?<![\w.:>])({name})(?!\w)",
                              lambda match: match.group(1) or f"{match.group(2)}_{number}", text)
            lines = text.split("\n")
            self.origins += [(source, line + 1) for line in range(len(lines))]
            self.text += text + "\n"

    def origin(self, line):
        """Source and line of a line of the whole, counted from 1."""
        return self.origins[line - 1]
