"""The generator's whole output for the feature contract, against the files kept under golden/expected/.

After an intended change to the output, run `python3 codegen/tests/golden/regenerate.py`
and review the resulting diff of golden/expected/.
"""

import difflib
import io
import os
import tempfile
import unittest
from contextlib import redirect_stdout

from thriftgen import generate as thriftgen

from .golden import regenerate

HINT = "if the change is intended, run: python3 codegen/tests/golden/regenerate.py"


class GoldenOutputTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.actual = regenerate.generate()
        cls.expected = regenerate.expected_files()

    def test_same_set_of_files(self):
        missing = sorted(set(self.expected) - set(self.actual))
        extra = sorted(set(self.actual) - set(self.expected))
        if missing or extra:
            self.fail("expected but no longer generated: %s; generated but not expected: %s\n%s"
                      % (missing, extra, HINT))

    def test_every_file_matches(self):
        for rel in sorted(set(self.expected) & set(self.actual)):
            with self.subTest(rel):
                want, got = self.expected[rel], self.actual[rel]
                if want != got:
                    diff = "".join(difflib.unified_diff(
                        want.splitlines(keepends=True), got.splitlines(keepends=True),
                        "expected/" + rel, "generated/" + rel))
                    self.fail("%s differs from the generator's output:\n%s\n%s" % (rel, diff, HINT))

    def test_generated_text_is_plain_lines(self):
        for rel, text in self.actual.items():
            with self.subTest(rel):
                self.assertTrue(text.endswith("\n"), "no final newline")
                self.assertNotIn("\r", text)
                self.assertNotIn("\t", text)
                trailing = [n for n, line in enumerate(text.splitlines(), 1) if line != line.rstrip()]
                self.assertEqual(trailing, [], "lines with trailing blanks")


class DeterminismTest(unittest.TestCase):
    def test_two_runs_give_identical_output_in_the_same_order(self):
        first, second = regenerate.generate(), regenerate.generate()
        self.assertEqual(list(first.items()), list(second.items()))

    def test_write_if_changed_touches_only_changed_files(self):
        with tempfile.TemporaryDirectory() as tmp:
            path = os.path.join(tmp, "types", "x_types.h")
            self.assertTrue(thriftgen.write_if_changed(path, "int a;\n"))
            past = 1_000_000_000
            os.utime(path, (past, past))

            self.assertFalse(thriftgen.write_if_changed(path, "int a;\n"))
            self.assertEqual(os.stat(path).st_mtime, past)

            self.assertTrue(thriftgen.write_if_changed(path, "int b;\n"))
            self.assertNotEqual(os.stat(path).st_mtime, past)
            with open(path, encoding="utf-8") as f:
                self.assertEqual(f.read(), "int b;\n")
            self.assertEqual(os.listdir(os.path.dirname(path)), ["x_types.h"])

    def test_command_line_writes_every_artifact_then_nothing_on_a_rerun(self):
        with tempfile.TemporaryDirectory() as tmp, regenerate.in_golden_dir() as contract:
            with redirect_stdout(io.StringIO()) as first:
                self.assertEqual(thriftgen.main(["--out", tmp, contract]), 0)
            with redirect_stdout(io.StringIO()) as second:
                self.assertEqual(thriftgen.main(["--out", tmp, contract]), 0)
            with redirect_stdout(io.StringIO()) as listed:
                self.assertEqual(thriftgen.main(["--list", contract]), 0)
            written = {}
            for root, _dirs, files in os.walk(tmp):
                for name in files:
                    path = os.path.join(root, name)
                    with open(path, encoding="utf-8", newline="") as f:
                        written[os.path.relpath(path, tmp).replace(os.sep, "/")] = f.read()
        artifacts = regenerate.generate()
        self.assertEqual(written, artifacts)
        self.assertEqual(first.getvalue().splitlines(), ["thriftgen: wrote %s" % rel for rel in artifacts])
        self.assertEqual(second.getvalue(), "")
        self.assertEqual(listed.getvalue().splitlines(), list(artifacts))


if __name__ == "__main__":
    unittest.main()
