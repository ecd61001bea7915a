"""How libzef_config.so is linked, and how it and zef_client are hardened.

Environment: ZEF_LIBRARY, ZEF_VERSION; ZEF_CLIENT if it is built.
"""
import os
import re
import unittest

import binary
import hardening

LIBRARY = os.environ["ZEF_LIBRARY"]
BINARIES = [LIBRARY] + ([os.environ["ZEF_CLIENT"]] if "ZEF_CLIENT" in os.environ else [])
RUN_TIME = re.compile(r"lib(mxml|stdc\+\+|gcc_s|c|m)\.so\.\d+|ld-linux.*\.so\.\d+")


class HardeningTest(unittest.TestCase):
    def test_needs_mini_xml_and_the_run_time_alone(self):
        needed = binary.needed(LIBRARY)
        self.assertIn("libmxml.so.1", needed)
        self.assertEqual([name for name in needed if not RUN_TIME.fullmatch(name)], [])

    def test_has_its_name_and_version_links(self):
        folder, file = os.path.split(LIBRARY)
        version = os.environ["ZEF_VERSION"]
        self.assertEqual(file, f"libzef_config.so.{version}")
        self.assertEqual(binary.dynamic_entries(LIBRARY, "SONAME"), ["Library soname: [libzef_config.so.1]"])
        for link in ("libzef_config.so", "libzef_config.so.1"):
            self.assertTrue(os.path.islink(os.path.join(folder, link)))
            self.assertTrue(os.path.samefile(os.path.join(folder, link), LIBRARY))

    def test_looks_for_libraries_in_no_folder_of_its_own(self):
        self.assertEqual(binary.dynamic_entries(LIBRARY, "RPATH") + binary.dynamic_entries(LIBRARY, "RUNPATH"), [])

    def test_has_no_weakness(self):
        for path in BINARIES:
            with self.subTest(path=path):
                self.assertEqual(hardening.weaknesses(path), [])


class FortifyTest(unittest.TestCase):
    def test_calls_checking_variants_of_library_functions(self):
        for path in BINARIES:
            with self.subTest(path=path):
                self.assertTrue(hardening.is_fortified(path))


if __name__ == "__main__":
    unittest.main()
