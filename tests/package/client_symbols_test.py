"""zef_client exports everything that libzef_config.so expects from the process that loads it.

Environment: ZEF_LIBRARY, ZEF_PLATFORM_LIST, ZEF_CLIENT.
"""
import os
import unittest

import binary

LIBRARY = os.environ["ZEF_LIBRARY"]


class ClientSymbolsTest(unittest.TestCase):
    def test_exports_the_whole_platform(self):
        listed = binary.symbol_list(os.environ["ZEF_PLATFORM_LIST"])
        # Compared by the names the loader looks for: a constructor has two, and the library asks for one of them.
        expected = {name for name in binary.undefined(LIBRARY) if binary.readable([name]) <= listed}
        self.assertEqual(binary.readable(expected), listed)
        self.assertEqual(sorted(expected - set(binary.defined(os.environ["ZEF_CLIENT"]))), [])


if __name__ == "__main__":
    unittest.main()
