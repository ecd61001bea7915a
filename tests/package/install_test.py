"""What `cmake --install` puts in place, and programs that are built with it outside of the tree.

Environment: ZEF_BUILD_DIR, ZEF_BUILD_TYPE, ZEF_LIBRARY, ZEF_VERSION, ZEF_SOURCE_DIR, ZEF_CMAKE, ZEF_CXX, ZEF_GENERATOR.
"""
import os
import pathlib
import shlex
import shutil
import subprocess
import tempfile
import unittest

CMAKE = os.environ["ZEF_CMAKE"]
CXX = os.environ["ZEF_CXX"]
LIBRARY = pathlib.Path(os.environ["ZEF_LIBRARY"])
SOURCE_DIR = pathlib.Path(os.environ["ZEF_SOURCE_DIR"])
PACKAGE_TESTS = SOURCE_DIR / "tests" / "package"
VERSION = os.environ["ZEF_VERSION"]
WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wshadow", "-Werror"]

PUBLIC_HEADERS = (
    "ConfigMgr.h", "ConfigNode.h", "DeduplicationConfig.h", "ThreadPool.h", "UuidConfig.h", "ZefConfig.h",
    "ZefConfigApi.h", "ZefStorage.h", "ZefStorageController.h", "ZefStorageManager.h",
)
PLATFORM_HEADERS = (
    "BoundsChecked.h", "ClientComponents.h", "Gateway.h", "IpUtil.h", "KeyManagement.h", "Log.h", "Memory.h",
    "PlatformApi.h", "SharedBaseConfig.h",
)
HEADERS = PUBLIC_HEADERS + tuple(f"platform/{name}" for name in PLATFORM_HEADERS)
POOL_SOURCES = (
    "TaskBatch.cpp", "TaskBatch.h", "TaskGate.cpp", "TaskGate.h", "TaskPause.cpp", "TaskPause.h", "ThreadPool.cpp",
    "common/Mutex.h", "common/NeverDestroyed.h", "common/ThreadSafety.h",
)
IN_PREFIX = tuple(f"include/zef_config/{name}" for name in HEADERS) + tuple(
    f"share/zef_config/threadpool/{name}" for name in POOL_SOURCES)
INCLUDED = tuple(f"zef_config/{name}" for name in HEADERS)
CMAKE_FILES = (
    "ZefConfigConfig.cmake", "ZefConfigConfigVersion.cmake", "ZefConfigTargets.cmake",
    f"ZefConfigTargets-{os.environ['ZEF_BUILD_TYPE'].lower()}.cmake",
)
IN_LIBDIR = tuple(f"libzef_config.so{suffix}" for suffix in ("", ".1", f".{VERSION}")) + tuple(
    f"cmake/ZefConfig/{name}" for name in CMAKE_FILES) + ("pkgconfig/zef_config.pc",)

MANUALS = ("share/man/man3/libzef_config.3", "share/man/man7/zef_platform.7")

# What the consumer prints: UUID and addresses, then the calls that the library made.
CONSUMER_OUTPUT = """\
0fd8a4d6-5d0e-4b5e-9a52-3f1f0a1c9e77 192.0.2.1;192.0.2.2
ThreadPool(1)
OrnSetClientUuid
ThreadPool::Clear
WoxUtil::Finish
"""


def run(*command, **settings):
    """Standard output of a command, whose failure is the test's."""
    environment = dict(os.environ, **settings.pop("environment", {}))
    result = subprocess.run([str(word) for word in command], env=environment, text=True, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, **settings)
    if result.returncode != 0:
        raise AssertionError(f"{command} ended with {result.returncode}:\n{result.stdout}")
    return result.stdout


def files_below(folder):
    return sorted(str(path.relative_to(folder)) for path in folder.rglob("*") if not path.is_dir())


def cached(build_dir, name):
    """A value of a build folder's cache."""
    for line in (build_dir / "CMakeCache.txt").read_text(encoding="utf-8").splitlines():
        if line.startswith(f"{name}:"):
            return line.split("=", 1)[1]
    raise AssertionError(f"{name} is not cached in {build_dir}")


def configure_with_the_built_library(build_dir, *options):
    """A build folder with other options, which has the library already: only its installation is looked at."""
    run(CMAKE, "-S", SOURCE_DIR, "-B", build_dir, "-G", os.environ["ZEF_GENERATOR"], f"-DCMAKE_CXX_COMPILER={CXX}",
        f"-DCMAKE_BUILD_TYPE={os.environ['ZEF_BUILD_TYPE']}", "-DBUILD_TESTING=OFF", "-DZEF_BUILD_CLIENT=OFF", *options)
    for file in LIBRARY.parent.glob("libzef_config.so*"):
        shutil.copy2(file, build_dir, follow_symlinks=False)


class InstallTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="zef install ")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def install(self, prefix, build_dir=os.environ["ZEF_BUILD_DIR"], **environment):
        run(CMAKE, "--install", build_dir, "--component", "zef_config", *(["--prefix", prefix] if prefix else []),
            environment=environment)

    def installed(self):
        """An installed tree that was moved since."""
        self.install(self.folder / "before")
        (self.folder / "before").rename(self.folder / "moved here")
        return self.folder / "moved here"

    def consumer_sources(self):
        """Copies the consumer out of the source tree."""
        sources = self.folder / "consumer"
        sources.mkdir()
        for name in ("consumer/main.cpp", "consumer/CMakeLists.txt", "host/HostPlatform.cpp", "host/HostPlatform.h"):
            shutil.copy2(PACKAGE_TESTS / name, sources)
        return sources

    def build_with_pkg_config(self, pkg_config_dir):
        def pkg_config(*options):
            return run("pkg-config", *options, "zef_config", environment={"PKG_CONFIG_PATH": str(pkg_config_dir)})

        self.assertEqual(pkg_config("--modversion"), f"{VERSION}\n")
        sources = self.consumer_sources()
        run(CXX, "-std=c++17", *WARNINGS, *shlex.split(pkg_config("--cflags")), sources / "main.cpp",
            sources / "HostPlatform.cpp", "-o", self.folder / "program", "-rdynamic",
            *shlex.split(pkg_config("--libs")), f"-Wl,-rpath,{pkg_config_dir.parent}")
        return run(self.folder / "program")

    def test_installs_these_files_and_no_others(self):
        self.install(self.folder / "prefix")
        library_dir = cached(pathlib.Path(os.environ["ZEF_BUILD_DIR"]), "CMAKE_INSTALL_LIBDIR")
        expected = [*IN_PREFIX, *(f"{library_dir}/{name}" for name in IN_LIBDIR)]
        self.assertEqual(files_below(self.folder / "prefix"), sorted([*expected, *MANUALS]))

    def test_every_header_compiles_on_its_own(self):
        prefix = self.installed()
        mxml = shlex.split(run("pkg-config", "--cflags", "mxml"))
        for name in INCLUDED:
            with self.subTest(header=name):
                run(CXX, "-std=c++17", *WARNINGS, "-fsyntax-only", "-x", "c++", "-", f"-I{prefix / 'include'}", *mxml,
                    input=f"#include <{name}>\n#include <{name}>\n")

    def test_a_consumer_finds_it_with_cmake(self):
        prefix = self.installed()
        build_dir = self.folder / "build"
        run(CMAKE, "-S", self.consumer_sources(), "-B", build_dir, "-G", os.environ["ZEF_GENERATOR"],
            f"-DCMAKE_CXX_COMPILER={CXX}", f"-DCMAKE_PREFIX_PATH={prefix}", "-DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF")
        run(CMAKE, "--build", build_dir)
        self.assertEqual(cached(build_dir, "ZefConfig_DIR"), str(next(prefix.rglob("ZefConfigConfig.cmake")).parent))
        self.assertEqual(run(build_dir / "consumer"), CONSUMER_OUTPUT)

    def test_a_consumer_finds_it_with_pkg_config(self):
        prefix = self.installed()
        pkg_config_dir = next(prefix.rglob("zef_config.pc")).parent
        self.assertEqual(self.build_with_pkg_config(pkg_config_dir), CONSUMER_OUTPUT)

    def test_a_library_folder_may_lie_outside_of_the_prefix(self):
        prefix, library_dir = self.folder / "prefix", self.folder / "libraries" / "here"
        configure_with_the_built_library(self.folder / "build", f"-DCMAKE_INSTALL_PREFIX={prefix}",
                                         f"-DCMAKE_INSTALL_LIBDIR={library_dir}")
        self.install(None, self.folder / "build")
        self.assertEqual(files_below(library_dir), sorted(IN_LIBDIR))
        self.assertEqual(files_below(prefix), sorted([*IN_PREFIX, *MANUALS]))
        self.assertEqual(self.build_with_pkg_config(library_dir / "pkgconfig"), CONSUMER_OUTPUT)

    def test_a_staged_installation_names_its_final_place(self):
        configure_with_the_built_library(self.folder / "build", "-DCMAKE_INSTALL_PREFIX=/usr/local",
                                         "-DCMAKE_INSTALL_LIBDIR=/usr/local/lib/deep/down")
        stage = self.folder / "stage"
        self.install(None, self.folder / "build", DESTDIR=str(stage))
        library_dir = stage / "usr/local/lib/deep/down"
        self.assertEqual(files_below(library_dir), sorted(IN_LIBDIR))
        flags = run("pkg-config", "--cflags", "--libs", "zef_config",
                    environment={"PKG_CONFIG_PATH": str(library_dir / "pkgconfig"),
                                 "PKG_CONFIG_ALLOW_SYSTEM_CFLAGS": "1"}).split()
        self.assertIn("-I/usr/local/include", flags)
        self.assertIn("-L/usr/local/lib/deep/down", flags)


if __name__ == "__main__":
    unittest.main()
