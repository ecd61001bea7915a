"""The pages that scripts/docs makes of the public headers.

Environment: ZEF_SOURCE_DIR, ZEF_EXPORT_LIST, ZEF_PLATFORM_LIST.
"""
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

import binary

SOURCE_DIR = pathlib.Path(os.environ["ZEF_SOURCE_DIR"])
PARTS = ("docs/Doxyfile", "platform", "scripts/docs", "src", "threadpool")
INSTALLED = re.compile(r"(?m)^\s+((?:src|threadpool|platform)/\S+\.h)\)?$")  # in cmake/Library.cmake


class DocsTest(unittest.TestCase):
    def setUp(self):
        """A copy of what the pages are made of."""
        folder = tempfile.TemporaryDirectory(prefix="zef-docs-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        for part in PARTS:
            origin, copy = SOURCE_DIR / part, self.folder / part
            copy.parent.mkdir(parents=True, exist_ok=True)
            (shutil.copytree if origin.is_dir() else shutil.copy2)(origin, copy)

    def make_pages(self):
        result = subprocess.run([str(self.folder / "scripts" / "docs")], text=True, timeout=300,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        return result.returncode, result.stdout

    def test_every_declaration_is_documented(self):
        self.assertEqual(self.make_pages(), (0, "build/api/index.html\n"))

    def test_a_declaration_without_a_comment_would_be_an_error(self):
        header = self.folder / "platform" / "Memory.h"
        text = header.read_text(encoding="utf-8")
        header.write_text(text.replace("#include <cstddef>\n", "#include <cstddef>\n\nint Undocumented();\n"),
                          encoding="utf-8")
        status, output = self.make_pages()
        self.assertNotEqual(status, 0)
        self.assertIn("Undocumented() (function) of file Memory.h is not documented", output)

    def test_every_installed_header_has_a_page(self):
        headers = INSTALLED.findall((SOURCE_DIR / "cmake" / "Library.cmake").read_text(encoding="utf-8"))
        self.assertEqual(self.make_pages()[0], 0)
        pages = {path.name for path in (self.folder / "build" / "api").glob("*_8h.html")}
        self.assertEqual(sorted(pages), sorted(f"{pathlib.Path(header).stem}_8h.html" for header in headers))

    def test_every_symbol_stands_on_a_page(self):
        self.assertEqual(self.make_pages()[0], 0)
        pages = "".join(path.read_text(encoding="utf-8") for path in (self.folder / "build" / "api").glob("*.html"))
        words = set(re.findall(r"~?\w+", pages))
        names = set()
        for symbol_list in ("ZEF_EXPORT_LIST", "ZEF_PLATFORM_LIST"):
            symbols = binary.symbol_list(os.environ[symbol_list])
            names |= {re.sub(r"[(<].*", "", symbol).split("::")[-1] for symbol in symbols if "operator" not in symbol}
        self.assertEqual(sorted(names - words), [])


if __name__ == "__main__":
    unittest.main()
