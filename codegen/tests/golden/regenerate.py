#!/usr/bin/env python3
"""Rewrite expected/ from the current generator's output for feature.thrift.

    python3 codegen/tests/golden/regenerate.py

Run it after an intended change to the generator, review the diff of
expected/ like any other change, and commit both together. Files the
generator no longer produces are removed; unchanged files are left alone.
"""

import contextlib
import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
CODEGEN = os.path.dirname(os.path.dirname(HERE))
CONTRACT = "feature.thrift"
EXPECTED = os.path.join(HERE, "expected")

if CODEGEN not in sys.path:
    sys.path.insert(0, CODEGEN)

from thriftgen import generate as thriftgen  # noqa: E402


@contextlib.contextmanager
def in_golden_dir():
    """The contract is always named by the same relative path, wherever the caller stands,
    so that nothing in the output depends on where the checkout lives."""
    saved = os.getcwd()
    os.chdir(HERE)
    try:
        yield CONTRACT
    finally:
        os.chdir(saved)


def generate():
    """{relative path: text} for feature.thrift, as the generator returns it."""
    with in_golden_dir() as contract:
        return thriftgen.generate(contract)


def expected_files():
    """{relative path: text} of what is under expected/, paths with '/' separators."""
    out = {}
    for root, _dirs, files in os.walk(EXPECTED):
        for name in files:
            path = os.path.join(root, name)
            rel = os.path.relpath(path, EXPECTED).replace(os.sep, "/")
            with open(path, encoding="utf-8", newline="") as f:
                out[rel] = f.read()
    return out


def main():
    artifacts = generate()
    for rel in sorted(set(expected_files()) - set(artifacts)):
        os.remove(os.path.join(EXPECTED, rel))
        print("removed %s" % rel)
    for rel, text in artifacts.items():
        if thriftgen.write_if_changed(os.path.join(EXPECTED, rel), text):
            print("wrote %s" % rel)
    for root, dirs, files in os.walk(EXPECTED, topdown=False):
        if root != EXPECTED and not dirs and not files:
            os.rmdir(root)
    return 0


if __name__ == "__main__":
    sys.exit(main())
