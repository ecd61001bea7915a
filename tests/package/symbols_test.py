"""The dynamic symbols of libzef_config.so against the two lists that the repository keeps of them.

Environment: ZEF_LIBRARY, ZEF_EMPTY_LIBRARY (built alike from nothing), ZEF_EXPORT_LIST, ZEF_PLATFORM_LIST.
"""
import os
import unittest

import binary

LIBRARY = os.environ["ZEF_LIBRARY"]


def expected_from_the_host():
    """Undefined symbols that no NEEDED library and not the compiler's own start-up code accounts for."""
    provided = set(binary.undefined(os.environ["ZEF_EMPTY_LIBRARY"]))
    for file in binary.needed_files(LIBRARY).values():
        provided |= set(binary.defined(file))
    return set(binary.undefined(LIBRARY)) - provided


class SymbolsTest(unittest.TestCase):
    def assert_list(self, list_file, found):
        listed = binary.symbol_list(list_file)
        self.assertEqual(sorted(listed - found), [], f"listed in {list_file}, but not in the library")
        self.assertEqual(sorted(found - listed), [], f"in the library, but not listed in {list_file}")

    def test_exports_what_the_list_says(self):
        self.assert_list(os.environ["ZEF_EXPORT_LIST"], binary.readable(binary.defined(LIBRARY)))

    def test_expects_from_the_host_what_the_list_says(self):
        self.assert_list(os.environ["ZEF_PLATFORM_LIST"], binary.readable(expected_from_the_host()))

    def test_exports_functions_only(self):
        letters = set(binary.defined(LIBRARY).values())
        self.assertEqual(letters, {"T", "W"})  # W: the instances of commit, which hosts may have too

    def test_looks_up_nothing_of_its_own_but_hooks(self):
        # It would take time whenever the library is loaded, and a program's function of that name would be called.
        relocations = [line.split() for line in binary.readelf(LIBRARY, "--relocs").splitlines() if " R_" in line]
        names = {words[4].split("@")[0] for words in relocations if len(words) > 4}
        self.assertIn("yrlog", names)
        self.assertEqual(names & set(binary.defined(LIBRARY)), {"ZefConfigInitTracePoint", "ZefConfigExitTracePoint"})

    def test_gives_its_symbols_no_version(self):
        self.assertEqual([name for name in binary.defined(LIBRARY) if "@" in name], [])
        self.assertNotIn("Version definition", binary.readelf(LIBRARY, "--version-info"))

    def test_binds_no_symbol_as_unique(self):
        # One would keep the library in memory after dlclose.
        self.assertNotIn("UNIQUE", binary.readelf(LIBRARY, "--symbols"))


if __name__ == "__main__":
    unittest.main()
