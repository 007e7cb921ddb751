"""The generator's whole output for golden/feature.thrift, against golden/expected.sha256.

After an intended change to the output, review it with
`python3 codegen/tests/golden/regenerate.py --diff` and accept it with
`python3 codegen/tests/golden/regenerate.py`.
"""

import os
import subprocess
import sys
import tempfile
import unittest

from thriftgen import generate as thriftgen

from .golden import regenerate

HINT = "see the change: python3 codegen/tests/golden/regenerate.py --diff; accept it: ... regenerate.py"


class GoldenOutputTest(unittest.TestCase):
    def test_every_artifact_is_the_expected_text(self):
        actual, expected = regenerate.digests(regenerate.generate()), regenerate.expected()
        changed = sorted(rel for rel in set(actual) | set(expected) if actual.get(rel) != expected.get(rel))
        self.assertEqual(changed, [], "artifacts that differ, appeared or disappeared\n" + HINT)
        self.assertEqual(list(actual), list(expected), "artifacts in another order")

    def test_command_line_is_deterministic_and_rewrites_nothing_unchanged(self):
        # Two processes with different string hashing: the second finds every file as it
        # would write it, so it writes (and makes the build recompile) nothing.
        with tempfile.TemporaryDirectory() as out, regenerate.in_golden_dir() as contract:
            def run(seed, *args):
                env = dict(os.environ, PYTHONHASHSEED=seed, PYTHONPATH=regenerate.CODEGEN)
                return subprocess.run([sys.executable, "-m", "thriftgen", "--out", out] + list(args),
                                      env=env, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

            first, second = run("1", contract), run("2", contract)
            written = {}
            for root, _dirs, files in os.walk(out):
                for name in files:
                    with open(os.path.join(root, name), encoding="utf-8", newline="") as f:
                        written[os.path.relpath(f.name, out).replace(os.sep, "/")] = f.read()
            with open(os.path.join(out, "bad.thrift"), "w", encoding="utf-8") as f:
                f.write("namespace cpp bad\nstruct S {\n  1: required Foo a,\n}\n")
            failed = run("1", f.name)
        artifacts = regenerate.generate()
        self.assertEqual((first.returncode, first.stdout.splitlines()),
                         (0, ["thriftgen: wrote %s" % rel for rel in artifacts]))
        self.assertEqual((second.returncode, second.stdout, second.stderr), (0, "", ""))
        self.assertEqual(written, artifacts)
        # A contract error fails the build's generator step, naming file and line.
        self.assertEqual(failed.returncode, 1)
        self.assertTrue(failed.stderr.startswith("thriftgen: %s:3: unknown type 'Foo'" % f.name), failed.stderr)


class ReservedArgumentNameTest(unittest.TestCase):
    def test_argument_named_like_a_local_of_the_generated_code_is_refused(self):
        # `seqid`, `oprot`, `result` and the like are locals of the client and processor.
        with tempfile.TemporaryDirectory() as tmp:
            path = os.path.join(tmp, "clash.thrift")
            with open(path, "w", encoding="utf-8") as f:
                f.write("namespace cpp clash\nservice S {\n  void f(1: i32 seqid),\n}\n")
            with self.assertRaisesRegex(Exception, "S.f: an argument named 'seqid' clashes"):
                thriftgen.generate(path)


if __name__ == "__main__":
    unittest.main()
