#!/usr/bin/env python3
"""The golden output of feature.thrift, kept as one SHA-256 per artifact.

    python3 codegen/tests/golden/regenerate.py --diff [REV]   # what changed
    python3 codegen/tests/golden/regenerate.py                # accept it

test_golden.py fails on any change to the emitted text. --diff prints the
unified diff between the output of the generator as committed at REV
(default HEAD) and the working tree's; review it, then rewrite
expected.sha256 and commit it with the change.
"""

import contextlib
import difflib
import hashlib
import io
import json
import os
import subprocess
import sys
import tarfile
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
CODEGEN = os.path.dirname(os.path.dirname(HERE))
CONTRACT = "feature.thrift"
EXPECTED = os.path.join(HERE, "expected.sha256")

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


def digests(artifacts):
    """{relative path: SHA-256 of its text}."""
    return {rel: hashlib.sha256(text.encode("utf-8")).hexdigest() for rel, text in artifacts.items()}


def expected():
    """{relative path: SHA-256} as expected.sha256 (sha256sum's format) lists them."""
    with open(EXPECTED, encoding="utf-8") as f:
        return {rel: digest for digest, rel in (line.split() for line in f if line.strip())}


def generate_at(rev):
    """The output of the generator committed at `rev`, for today's feature.thrift."""
    def git(*args):
        return subprocess.run(("git",) + args, cwd=CODEGEN, check=True, stdout=subprocess.PIPE).stdout

    top = git("rev-parse", "--show-toplevel").decode().strip()
    tree = subprocess.run(["git", "archive", "%s:%s/thriftgen" % (rev, os.path.relpath(CODEGEN, top))],
                          cwd=top, check=True, stdout=subprocess.PIPE).stdout
    with tempfile.TemporaryDirectory() as tmp:
        with tarfile.open(fileobj=io.BytesIO(tree)) as tar:
            tar.extractall(os.path.join(tmp, "thriftgen"))
        script = "import json, sys; from thriftgen import generate; print(json.dumps(generate.generate(%r)))"
        out = subprocess.run([sys.executable, "-c", script % CONTRACT], cwd=HERE, check=True,
                             env=dict(os.environ, PYTHONPATH=tmp), stdout=subprocess.PIPE).stdout
    return json.loads(out)


def main(argv):
    artifacts = generate()
    if argv[:1] == ["--diff"]:
        old = generate_at(argv[1] if len(argv) > 1 else "HEAD")
        for rel in sorted(set(old) | set(artifacts)):
            sys.stdout.writelines(difflib.unified_diff(
                old.get(rel, "").splitlines(True), artifacts.get(rel, "").splitlines(True),
                "a/" + rel, "b/" + rel))
        return 0
    with open(EXPECTED, "w", encoding="utf-8", newline="\n") as f:
        f.writelines("%s  %s\n" % (digest, rel) for rel, digest in digests(artifacts).items())
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
