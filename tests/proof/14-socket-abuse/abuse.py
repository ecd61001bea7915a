"""What hostile clients do to a control socket, and what comes of it."""

import contextlib
import json
import os
import socket
import threading

from arena import await_that, connected

MANY = 1000             # clients at once
LONGEST_REQUEST = 65536
PATIENCE = 60           # for an answer; no answer within this is none
ENDED_AFTER = 20        # seconds that a client may take for a request, and then for its answer
NOBODY = 65534
STRANGERS = 20          # tries of a user who may not

OPERATIONS = {  # operation: its arguments, of the right kinds and without effect
    "status": {},
    "storage-add": {"name": "nobody", "user": "zefuser", "password": "x", "addresses": ["127.0.0.99"], "save": False},
    "storage-delete": {"name": "nobody", "save": False},
    "storage-add-addresses": {"name": "nobody", "addresses": ["127.0.0.99"], "save": False},
    "storage-delete-addresses": {"name": "nobody", "addresses": ["127.0.0.99"], "save": False},
    "storage-delete-pair": {"name": "nobody", "pair": "127.0.0.1:127.0.0.99", "save": False},
    "storage-set-user": {"name": "nobody", "user": "zefuser", "password": "x", "save": False},
    "switch": {"name": "nothing", "value": "on", "save": False},
    "retry": {},
    "log-level": {"level": "loud"},
    "save": {},
    "reload": {},
    "wait": {"since": "now"},
}
WRONG = [None, True, 0, 1, -1, 1.5, 1e308, 2**64, -2**63, "", " ", "x\0y", "\ud7ff", "\n" * 100, "%s%n", "../../etc",
         "y" * 60000, [], [[]], [None], [1, "x"], ["127.0.0.99"] * 2000, {}, {"name": "array-1"}]


def problem_of(line):
    """Why a line is no refusal; empty when it is one."""
    try:
        answer = json.loads(line)
        error = answer["error"]
        right = (answer["version"] == 1 and answer["ok"] is False and 0 < error["code"] < 10 and error["name"]
                 and error["message"] and line.endswith(b"\n"))
    except (ValueError, KeyError, TypeError) as wrong:
        return f"{wrong!r} in the answer {line[:200]!r}"
    return "" if right else f"the answer is no refusal: {line[:200]!r}"


def problem_of_next(answers, name=b"usage"):
    """Why the next line of a connection is no refusal with an error of this name; empty when it is one."""
    try:
        line = answers.readline()
    except OSError as error:
        return f"{error!r} in place of a refusal"
    return problem_of(line) or ("" if b'"name":"%s"' % name in line else f"another refusal: {line!r}")


def ends(answers):
    """Whether nothing more comes."""
    try:
        return not answers.readline()
    except ConnectionResetError:  # something sent was not read when the client closed
        return True


def is_answered(path, patience=PATIENCE):
    """Whether an honest client gets what it asks for, in that time."""
    try:
        with connected(path, patience) as connection:
            connection.sendall(b'{"version": 1, "op": "status"}\n')
            return json.loads(connection.makefile("rb").readline())["ok"] is True
    except (OSError, ValueError, KeyError):
        return False


def slow(path, dice, until):
    """Byte by byte, slower than a request may come: a refusal, then the end. Returns what is wrong with it."""
    with connected(path, PATIENCE) as connection, connection.makefile("rb") as answers:
        while not until.is_set():
            try:
                connection.sendall(b"{")
            except OSError:
                return problem_of_next(answers, b"timed-out")
            until.wait(dice.uniform(0.01, 0.3))
    return "it was never ended"


def never_reads(path, until):
    """Asks without end and takes the first answer only: is not listened to any more, and ended. Returns what is wrong
    with it, and the number of requests."""
    request = b'{"version": 1, "op": "status"}\n'
    sent, is_heard = 1, True
    with connected(path, PATIENCE) as connection:
        connection.sendall(request)
        if b'"ok":true' not in connection.makefile("rb").readline():
            return "it was not let in", sent
        connection.settimeout(0.5)
        while not until.is_set():
            try:
                sent += connection.send(20 * request) // len(request)
            except TimeoutError:
                is_heard = False
            except OSError:
                return "it was ended while it was listened to" if is_heard else "", sent
    return "it was never ended", sent


class Abuse:
    """The kinds of hostile clients. Each function makes some requests and counts them."""

    # Whose every trial ends with a refusal that is read.
    REFUSED = ("malformed, cut off, nested, random", "wrong arguments of every operation", "huge", "half-closed",
               "slow", "1,000 clients at once")

    def __init__(self, proof, path):
        self.proof = proof
        self.path = path
        self.lock = threading.Lock()
        self.counts = {}
        self.refusals = dict.fromkeys(self.REFUSED, 0)

    def count(self, kind, problems, left_waiting=0):
        """One entry for each request: what was wrong with its end, or nothing."""
        with self.lock:
            self.counts[kind] = self.counts.get(kind, 0) + len(problems)
            if kind in self.refusals:
                self.refusals[kind] += problems.count("") - left_waiting
            for problem in problems:
                self.proof.trial(not problem, f"{kind}: {problem}")

    def exchange(self, lines):
        """Sends lines, all at once, and returns what is wrong with the refusals of each."""
        with connected(self.path, PATIENCE) as connection, connection.makefile("rb") as answers:
            sender = threading.Thread(target=self.send, args=(connection, b"".join(line + b"\n" for line in lines)))
            sender.start()
            problems = [problem_of(answers.readline()) for _ in lines]
            sender.join()
        return [f"{problem} to {line[:200]!r}" if problem else "" for problem, line in zip(problems, lines)]

    @staticmethod
    def send(connection, data):
        with contextlib.suppress(OSError):
            connection.sendall(data)

    # The kinds

    def malformed(self, dice):
        self.count("malformed, cut off, nested, random", self.exchange([malformed(dice) for _ in range(50)]))

    def wrong_arguments(self, dice):
        """All operations with one argument of a wrong kind, missing, or too many; each is refused."""
        lines = []
        for operation, arguments in OPERATIONS.items():
            wrong = dict(arguments)
            name = dice.choice([*arguments, "surplus", "timeout_ms"])
            kind = dice.choice(WRONG)
            if name in wrong and dice.random() < 0.2:
                del wrong[name]
            elif operation == "log-level" or (name == "timeout_ms" and isinstance(kind, int)):
                wrong["surplus"] = kind
            else:
                wrong[name] = kind
            if operation == "log-level" and "level" not in wrong:
                wrong["level"] = dice.choice([value for value in WRONG if value != ""])
            if operation == "wait" and isinstance(wrong.get("since"), int) and not isinstance(wrong.get("since"), bool):
                wrong["since"] = "1"
            lines.append(json.dumps({"version": 1, "op": operation, **wrong}).encode())
        self.count("wrong arguments of every operation", self.exchange(lines))

    def huge(self, dice):
        """Too long by one byte or by a lot, with and without an end: one refusal, then the end."""
        size = dice.choice([LONGEST_REQUEST + 1, 2 * LONGEST_REQUEST, 1 << 20, 1 << 22])
        with connected(self.path, PATIENCE) as connection, connection.makefile("rb") as answers:
            sender = threading.Thread(target=self.send, args=(connection, b"{" * size + dice.choice([b"", b"\n"])))
            sender.start()
            problem = problem_of_next(answers) or ("" if ends(answers) else "more than one answer")
            connection.close()
            sender.join()
        self.count("huge", [problem])

    def half_closed(self, dice):
        """A whole request is answered, half of one is refused, and then it ends."""
        whole = dice.random() < 0.5
        request = b'{"version": 1, "op": "no such thing"}\n'
        with connected(self.path, PATIENCE) as connection, connection.makefile("rb") as answers:
            connection.sendall(request if whole else request[:dice.randrange(1, len(request) - 1)])
            connection.shutdown(socket.SHUT_WR)
            problem = problem_of_next(answers) or ("" if ends(answers) else "it does not end")
        self.count("half-closed", [problem])

    def gone(self, dice):
        """Asks and goes away without the answers, or with the first of them only; whoever comes next is answered."""
        problem = ""
        with connected(self.path, PATIENCE) as connection, connection.makefile("rb") as answers:
            for _ in range(dice.randrange(2, 10)):
                connection.sendall(b'{"version": 1, "op": "status"}\n')
            if dice.random() < 0.5 and b'"ok":true' not in answers.readline():
                problem = "the first of its requests was not answered"
        if not is_answered(self.path):
            problem = "nobody is answered afterwards"
        self.count("gone without the answers", [problem])

    def slow(self, dice, until):
        self.count("slow", [slow(self.path, dice, until)])

    def never_reads(self, until):
        problem, sent = never_reads(self.path, until)
        self.count("never reads", [problem])
        with self.lock:
            kind = "requests of those that never read"
            self.counts[kind] = self.counts.get(kind, 0) + sent

    def many(self):
        """1,000 clients at once: those who find no room are told so, the others are left waiting."""
        with contextlib.ExitStack() as kept:
            problems, open_ones = [], []
            for _ in range(MANY):
                connection = kept.enter_context(connected(self.path, PATIENCE))
                open_ones.append(connection)
            full = await_that(PATIENCE, lambda: not is_answered(self.path))
            let_in = 0
            for connection in open_ones:
                connection.settimeout(0.001)
                try:
                    problems.append(problem_of(connection.recv(4096)))
                except TimeoutError:
                    let_in += 1
                    problems.append("")
                except OSError as error:
                    problems.append(f"{error!r} in place of a refusal")
        if let_in > 64 or not full:
            problems[0] = f"{let_in} of {MANY} clients found room"
        self.count("1,000 clients at once", problems, let_in)
        if not await_that(PATIENCE, lambda: is_answered(self.path)):
            self.count("1,000 clients at once", ["nobody is answered after they have gone"])


def malformed(dice):
    """A line that is no request."""
    kind = dice.randrange(8)
    if kind == 0:
        return bytes(byte for byte in dice.randbytes(dice.randrange(1, 400)) if byte != 10) or b"\0"
    if kind == 1:
        return b"[" * dice.choice([1, 33, 1000, 60000])
    if kind == 2:
        depth = dice.choice([40, 1000, 9000])
        return b'{"version":1,"op":"status","a":' + b'{"a":' * depth + b"1" + b"}" * (depth + 1)
    request = json.dumps({"version": 1, "op": dice.choice(list(OPERATIONS)), "name": "nobody"}).encode()
    if kind == 3:
        return request[:dice.randrange(1, len(request) - 1)]
    if kind == 4:
        version = dice.choice([b"2", b'"1"', b"null", b'1, "version": 1'])
        return request.replace(b'"version": 1', b'"version": ' + version)
    if kind == 5:
        value = dice.choice([b'"\xff\xfe"}', b'"\\ud800"}', b"1e999}", b"9" * 400 + b"}}", b'"\\u0000"}'])
        return request[:-1] + b',"x":' + value
    if kind == 6:
        return dice.choice([b"", b"null", b"[]", b'"status"', b"1", b"\xef\xbb\xbf" + request, b"GET / HTTP/1.1", b"{}",
                            b'{"version": 1}', b'{"version": 1, "op": 1}'])
    operation = "".join(dice.choices("abcdefgh-%\u00e9\u20ac", k=dice.randrange(1, 200)))
    return json.dumps({"version": 1, "op": operation}).encode()


def strangers(arena, abuse):
    """Another user: kept out by the file, and told so by the client when the file lets everybody in. Returns how many
    could not be tried."""
    folder = os.path.dirname(arena.socket_path())
    problems, not_tried = [], 0
    for i in range(STRANGERS):
        is_open = i % 2 == 1
        arena.run(f"chmod {'666' if is_open else '660'} /run/zef/zef_client.sock")
        reading, writing = os.pipe()
        child = os.fork()
        if child == 0:
            with contextlib.suppress(BaseException):
                os.write(writing, stranger(folder))
            os._exit(0)
        os.close(writing)
        with open(reading, "rb") as answer:
            told = answer.read()
        os.waitpid(child, 0)
        if told == b"no other user":
            not_tried += 1
        elif is_open:
            problem = problem_of(told)
            problems.append(problem or ("" if b"not-permitted" in told else f"told {told!r}"))
        else:
            problems.append("" if told == b"kept out" else f"told {told!r}")
    arena.run("chmod 660 /run/zef/zef_client.sock")
    abuse.count("another user", problems)
    return not_tried


def stranger(folder):
    """In a process of its own: becomes another user and asks."""
    os.chdir(folder)
    try:
        os.setgroups([])
        os.setgid(NOBODY)
        os.setuid(NOBODY)
    except OSError:
        return b"no other user"
    with socket.socket(socket.AF_UNIX) as connection:
        connection.settimeout(PATIENCE)
        try:
            connection.connect("zef_client.sock")
        except PermissionError:
            return b"kept out"
        with contextlib.suppress(BrokenPipeError):
            connection.sendall(b'{"version": 1, "op": "status"}\n')
        return connection.makefile("rb").readline()
