"""Two builds of libzef_config.so from two copies of the sources, in two places, are the same file.

Environment: ZEF_SOURCE_DIR, ZEF_CMAKE, ZEF_CXX, ZEF_GENERATOR, ZEF_BUILD_TYPE, ZEF_EXPORT_LIST.
"""
import filecmp
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

import binary

SOURCE_DIR = pathlib.Path(os.environ["ZEF_SOURCE_DIR"])
# What the library is made of.
PARTS = ("CMakeLists.txt", "CMakePresets.json", "cmake", "docs", "platform", "src", "threadpool")


def build(source, build_dir, **surroundings):
    """Copies the sources to a folder, builds the library in another one and returns its file."""
    source.mkdir(parents=True)
    for part in PARTS:
        origin = SOURCE_DIR / part
        (shutil.copytree if origin.is_dir() else shutil.copy2)(origin, source / part)
    cmake = os.environ["ZEF_CMAKE"]
    environment = dict(os.environ, **surroundings)
    for command in (
        [cmake, "-S", str(source), "-B", str(build_dir), "-G", os.environ["ZEF_GENERATOR"],
         f"-DCMAKE_BUILD_TYPE={os.environ['ZEF_BUILD_TYPE']}", f"-DCMAKE_CXX_COMPILER={os.environ['ZEF_CXX']}",
         "-DBUILD_TESTING=OFF", "-DZEF_BUILD_CLIENT=OFF"],
        [cmake, "--build", str(build_dir), "--target", "zef_config", "--parallel", "2"],
    ):
        subprocess.run(command, check=True, env=environment, stdout=subprocess.DEVNULL)
    return build_dir / "libzef_config.so"


class ReproducibleBuildTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="zef-reproducible-")
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        inside = cls.folder / "one"  # with its build folder inside, as the presets have it
        cls.first = build(inside, inside / "build" / "here", TZ="UTC", LC_ALL="C")
        cls.second = build(cls.folder / "the other" / "copy", cls.folder / "elsewhere", TZ="Asia/Tokyo", LC_ALL="C.UTF-8")

    def test_both_builds_are_the_same_byte_for_byte(self):
        self.assertTrue(filecmp.cmp(self.first, self.second, shallow=False))

    def test_no_build_names_its_place(self):
        for library in (self.first, self.second):
            self.assertFalse(str(self.folder).encode() in library.read_bytes(), library)  # assertNotIn prints both

    def test_exports_do_not_depend_on_the_kind_of_build(self):
        # An optimiser that puts a template's instance into its only caller has none left to export.
        listed = binary.symbol_list(os.environ["ZEF_EXPORT_LIST"])
        self.assertEqual(sorted(binary.readable(binary.defined(self.first)) ^ listed), [])


if __name__ == "__main__":
    unittest.main()
