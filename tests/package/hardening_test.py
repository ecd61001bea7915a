"""How libzef_config.so is linked and hardened.

Environment: ZEF_LIBRARY, ZEF_VERSION.
"""
import os
import re
import unittest

import binary

LIBRARY = os.environ["ZEF_LIBRARY"]
RUN_TIME = re.compile(r"lib(mxml|stdc\+\+|gcc_s|c|m)\.so\.\d+|ld-linux.*\.so\.\d+")


def program_headers(kind):
    """Flag texts, such as "RW", of the program headers of a kind."""
    lines = binary.readelf(LIBRARY, "--program-headers").splitlines()
    return [re.sub(r"0x\S+|\s", "", line.split(None, 1)[1]) for line in lines if line.split()[:1] == [kind]]


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

    def test_is_read_only_after_relocation(self):
        self.assertEqual(len(program_headers("GNU_RELRO")), 1)
        self.assertEqual(binary.dynamic_entries(LIBRARY, "FLAGS"), ["BIND_NOW"])
        self.assertEqual(binary.dynamic_entries(LIBRARY, "FLAGS_1"), ["Flags: NOW"])

    def test_has_no_text_relocations(self):
        self.assertEqual(binary.dynamic_entries(LIBRARY, "TEXTREL"), [])

    def test_has_no_memory_that_is_both_written_and_executed(self):
        stack = program_headers("GNU_STACK")
        self.assertEqual(len(stack), 1)
        for flags in stack + program_headers("LOAD"):
            self.assertRegex(flags, r"R")
            self.assertFalse("W" in flags and "E" in flags, flags)
        self.assertNotIn("E", stack[0])

    def test_guards_its_stack(self):
        self.assertIn("__stack_chk_fail", {name.split("@")[0] for name in binary.undefined(LIBRARY)})


class FortifyTest(unittest.TestCase):
    def test_calls_checking_variants_of_library_functions(self):
        names = {name.split("@")[0] for name in binary.undefined(LIBRARY)}
        self.assertNotEqual([name for name in names if re.fullmatch(r"__\w+_chk", name)], [])


if __name__ == "__main__":
    unittest.main()
