"""Builds the library's tests with one changed source file, and runs them."""

import os
import pathlib
import resource
import shutil
import signal
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
from proof import ROOT

TESTS = "tests/zef_config_tests"
LIBRARY = "libzef_config.so"
# A host with trace points of its own, asked about the file that calls them.
TRACE_POINT_TESTS = "tests/tracepoint/zef_config_tracepoint_tests"
TRACE_POINT_FILE = "src/mgmt/config/ZefConfig.cpp"
LIBRARY_OBJECTS = "CMakeFiles/zef_config_objects.dir/"
COPIED = ("src", "threadpool", "platform", "tests/mgmt", "tests/threadpool", "tests/support")

# Of a run that hangs: all tests take two seconds of processor time. What waits instead is given up later.
PROCESSOR_SECONDS = 20
SECONDS = 120
ADDRESS_SPACE = 1 << 30

# The suites that show most of a file's defects, to be asked first. The others follow.
FIRST = {
    "ConfigMgr.cpp": "ConfigMgrTest.*",
    "ConfigNode.cpp": "ConfigNodeTest.*:MymxmlDeleteTest.*",
    "CredentialCallbacks.cpp": "*CredentialCallbacksTest.*",
    "DeduplicationConfig.cpp": "DeduplicationConfig*",
    "FibreChannel.cpp": "FibreChannelTest.*",
    "LinkTasks.cpp": "LinkTasksTest.*",
    "OrdinaryLog.h": "SourceNameTest.*:LinkTasksTest.*",
    "ProtocolLog.cpp": "ProtocolLog*",
    "ProtocolLog.h": "ProtocolLog*",
    "SafeSave.cpp": "SafeSaveTest.*:*SavedDocumentTest.*:LongDocumentTest.*",
    "SaveLayout.cpp": "SaveLayoutTest.*:Xml*",
    "ScopedWipe.h": "ScopedWipeTest.*",
    "TextList.cpp": "ZefStorageManagerTest.*:ZefStorageCreationTest.*",
    "ThreadPool.h": "ThreadPoolCommitTest.*",
    "UuidConfig.cpp": "UuidConfig*",
    "WholeMatch.cpp": "ZefStorage*",
    "ZefConfig.cpp": "ZefConfig*",
    "ZefStorage.cpp": "ZefStorageTest.*",
    "ZefStorageController.cpp": "Storage*",
    "ZefStorageManager.cpp": "ZefStorage*",
}

# Tests that compile a header of the library themselves, beside the library's own sources.
TESTS_OF_HEADER = {
    "ThreadPool.h": ("tests/threadpool/ThreadPoolCommitTest.cpp", "tests/mgmt/config/storage/StorageLoadingTest.cpp",
                     "tests/support/FakePlatform.cpp"),
    "ScopedWipe.h": ("tests/mgmt/config/storage/ScopedWipeTest.cpp",),
    "ProtocolLog.h": ("tests/mgmt/config/ProtocolLogTest.cpp",),
    "OrdinaryLog.h": ("tests/mgmt/config/ProtocolLogTest.cpp",),
}


class DoesNotCompile(Exception):
    """The change is none that a compiler takes."""


class Workbench:
    """A copy of the sources, which the commands of a build are applied to. The build itself stays as it is."""

    def __init__(self, build, folder):
        self.build = build
        self.folder = folder
        self.copy = folder / "copy"
        self.objects = {}  # of the library, as compiled here: object in the build: object here
        for name in COPIED:
            shutil.copytree(ROOT / name, self.copy / name)
        self._copy_include_folder()
        commands = self._commands(TESTS)
        self.link = next(part for part in commands[-1].split(" && ") if f"-o {TESTS}" in part)
        self.link_library = next(part for command in self._commands(LIBRARY) for part in command.split(" && ")
                                 if f"-o {LIBRARY}" in part)
        self.compile = {}  # source, as the build names it: (object, command)
        for command in commands:
            words = command.split()
            if "-c" in words and words[-1].startswith(f"{ROOT}/") and words[words.index("-o") + 1] in self.link:
                self.compile[words[-1][len(f"{ROOT}/"):]] = (words[words.index("-o") + 1], command)
        self.users = self._users_of_headers()

    def _commands(self, target):
        """What builds a target, and all that it needs."""
        return subprocess.run(["ninja", "-C", str(self.build), "-t", "commands", target], check=True, text=True,
                              capture_output=True).stdout.splitlines()

    def _copy_include_folder(self):
        """The build's folder of installed names, leading into the copy."""
        for path in (self.build / "include").rglob("*.h"):
            target = self.copy / "include" / path.relative_to(self.build / "include")
            target.parent.mkdir(parents=True, exist_ok=True)
            target.symlink_to(self.copy / path.resolve().relative_to(ROOT))

    def _users_of_headers(self):
        """Header: the library's sources that include it."""
        users = {}
        listed = subprocess.run(["ninja", "-C", str(self.build), "-t", "deps"], check=True, text=True,
                                capture_output=True).stdout
        sources = {name: source for source, (name, _) in self.compile.items() if name.startswith(LIBRARY_OBJECTS)}
        for block in listed.split("\n\n"):
            head, *lines = block.strip().splitlines() or [""]
            source = sources.get(head.split(":")[0])
            for line in lines if source else []:
                header = (self.build / line.strip()).resolve()
                if header.is_relative_to(ROOT) and header.suffix == ".h":
                    users.setdefault(str(header.relative_to(ROOT)), []).append(source)
        return users

    def _compile(self, source):
        """Compiles a source of the copy without optimising; returns (object in the build, object here)."""
        name, command = self.compile[source]
        target = self.folder / (name.replace("/", "_"))
        command = command.replace(f"{self.build}/include", f"{self.copy}/include")
        words = [word.replace(f"{ROOT}/", f"{self.copy}/") if not word.startswith(str(self.build)) else word
                 for word in command.split()]
        words = [f"-I{self.copy}" if word == f"-I{ROOT}" else word for word in words]
        words[words.index("-o") + 1] = str(target)
        if name.startswith(LIBRARY_OBJECTS):
            words += ["-O0", "-g0", "-U_FORTIFY_SOURCE"]
        for option in ("-MD", "-MT", "-MF"):
            if option in words:
                at = words.index(option)
                del words[at:at + (1 if option == "-MD" else 2)]
        result = subprocess.run([*words, "-w"], cwd=self.build, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                                text=True, check=False, timeout=300)
        if result.returncode != 0:
            raise DoesNotCompile(result.stderr)
        return name, target

    def compile_library(self):
        """Compiles all sources of the library once, as they are."""
        for source, (name, _) in self.compile.items():
            if name.startswith(LIBRARY_OBJECTS):
                _, here = self._compile(source)
                kept = here.with_suffix(".kept.o")
                here.rename(kept)
                self.objects[name] = kept

    def try_change(self, file, begin, end, text):
        """The first test that fails when the text from `begin` to `end` of a file is another one; None if none does."""
        path = self.copy / file
        source = path.read_text(encoding="utf-8")
        path.write_text(source[:begin] + text + source[end:], encoding="utf-8")
        try:
            return self._try(file)
        finally:
            path.write_text(source, encoding="utf-8")

    def _try(self, file):
        base = pathlib.PurePath(file).name
        sources = [file] if file in self.compile else [*self.users.get(file, []), *TESTS_OF_HEADER.get(base, ())]
        objects = {**self.objects, **dict(self._compile(source) for source in sources)}
        program = self._link(self.link, objects, "tests")
        first = FIRST.get(base, "*")
        chosen = dict.fromkeys((first, "*" if first == "*" else f"-{first}"))
        failure = next(filter(None, (self._run(program, one) for one in chosen)), None)
        if failure is None and file == TRACE_POINT_FILE:
            self._link(self.link_library, objects, "libzef_config.so.1")
            failure = self._run(self.build / TRACE_POINT_TESTS, "*")
        return failure

    def _link(self, command, objects, name):
        target = self.folder / name
        words = [str(objects.get(word, word)) for word in command.split()]
        words[words.index("-o") + 1] = str(target)
        linked = subprocess.run([*words, "-fuse-ld=gold"], cwd=self.build, stdout=subprocess.DEVNULL,
                                stderr=subprocess.PIPE, text=True, check=False, timeout=300)
        if linked.returncode != 0:
            raise DoesNotCompile(linked.stderr)
        return target

    def _run(self, program, chosen):
        """What ended the chosen tests: the first one that failed, or a crash or hang. None when all passed. All that
        they start ends with them."""
        run = subprocess.Popen(
            ["unshare", *([] if os.geteuid() == 0 else ["-Ur"]), "--pid", "--fork", "--kill-child", "--mount-proc",
             str(ROOT / "tests/private-opt"), str(program), "--gtest_fail_fast", f"--gtest_filter={chosen}"],
            cwd=self.folder, env={**os.environ, "LD_LIBRARY_PATH": str(self.folder)}, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, text=True, errors="replace", preexec_fn=limit, start_new_session=True)
        try:
            output = run.communicate(timeout=SECONDS)[0]
        except subprocess.TimeoutExpired:
            os.killpg(run.pid, signal.SIGKILL)
            run.communicate()
            return "hangs"
        if run.returncode == 0:
            return None
        failed = [line for line in output.splitlines() if line.startswith("[  FAILED  ]")]
        return failed[0][13:].split(" (")[0].split(",")[0] if failed else f"ends with {run.returncode}"


def limit():
    """Keeps a changed library from taking the machine with it."""
    resource.setrlimit(resource.RLIMIT_CPU, (PROCESSOR_SECONDS, PROCESSOR_SECONDS))
    resource.setrlimit(resource.RLIMIT_AS, (ADDRESS_SPACE, ADDRESS_SPACE))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
