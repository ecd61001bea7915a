"""What the tools of binutils and the dynamic loader say about a binary."""
import re
import subprocess

# What replaces the demangled names that are hard to read, one after the other.
SHORT_NAMES = (
    (" >", ">"),
    ("std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char>>", "std::string"),
    ("std::pair<std::string, std::string>", "IpPair"),
    ("std::vector<IpPair, std::allocator<IpPair>>", "std::vector<IpPair>"),
    ("std::set<std::string, std::less<std::string>, std::allocator<std::string>>", "std::set<std::string>"),
    ("std::pair<int, std::future<decltype ({parm#3}({parm#4}...))>> ", ""),  # what commit returns
    ("_mxml_node_s", "mxml_node_t"),
    ("[abi:cxx11]", ""),
)


def output(*command):
    """Standard output of a tool, whose failure is the test's."""
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def readelf(path, *options):
    return output("readelf", "--wide", *options, str(path))


def dynamic_symbols(path, which):
    """Symbols of the dynamic table as nm names them, with their type letters: {"name@VERSION": "T"}."""
    symbols = {}
    for line in output("nm", "--dynamic", which, str(path)).splitlines():
        letter, name = line.split()[-2:]
        symbols[name.replace("@@", "@")] = letter
    return symbols


def defined(path):
    return dynamic_symbols(path, "--defined-only")


def undefined(path):
    return dynamic_symbols(path, "--undefined-only")


def dynamic_entries(path, tag):
    """Values of a tag of the dynamic section, in its order."""
    lines = readelf(path, "--dynamic").splitlines()
    return [line.split(f"({tag})", 1)[1].strip() for line in lines if f"({tag})" in line]


def needed(path):
    return [re.search(r"\[(.*)\]", entry).group(1) for entry in dynamic_entries(path, "NEEDED")]


def needed_files(path):
    """The files that the dynamic loader takes for the NEEDED entries."""
    files = {}
    for line in output("ldd", str(path)).splitlines():
        match = re.match(r"\s*(\S+) => (/.*) \(0x", line) or re.match(r"\s*()(/\S+) \(0x", line)
        if match:
            files[match.group(1) or match.group(2).rsplit("/", 1)[1]] = match.group(2)
    return {name: files[name] for name in needed(path)}


def readable(names):
    """The spelling of the repository's symbol lists. A constructor has one line for its two symbols."""
    text = subprocess.run(["c++filt"], check=True, input="\n".join(names), stdout=subprocess.PIPE, text=True).stdout
    for long, short in SHORT_NAMES:
        text = text.replace(long, short)
    return set(text.splitlines())


def symbol_list(path):
    """The lines of a symbol list that are not empty and no comments. A symbol stands there once."""
    with open(path, encoding="utf-8") as file:
        lines = [line.strip() for line in file]
    symbols = [line for line in lines if line and not line.startswith("#")]
    twice = {symbol for symbol in symbols if symbols.count(symbol) > 1}
    if twice:
        raise ValueError(f"{path} lists twice: {sorted(twice)}")
    return set(symbols)
