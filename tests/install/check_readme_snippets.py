#!/usr/bin/env python3
"""Every C++ snippet of the README is a marked region of an example program,
word for word, so that the documentation cannot drift away from code that is
compiled and run.

A region is the lines between `// [name]` and `// [name-end]` in a source
file under the examples folder, without their common indentation. A ```cpp
block of the README must equal one region.

    check_readme_snippets.py README.md examples/
"""

import difflib
import os
import re
import sys
import textwrap

FENCE = re.compile(r"^```cpp\n(.*?)^```$", re.S | re.M)
MARK = re.compile(r"^\s*// \[([A-Za-z0-9_-]+)\]\s*$")


def snippets(readme_text):
    """The ```cpp blocks of the README: (line number, text)."""
    return [(readme_text.count("\n", 0, m.start()) + 1, m.group(1))
            for m in FENCE.finditer(readme_text)]


def regions(path, text):
    """{name: text} of the marked regions of one source file. Unclosed,
    unopened or repeated markers are errors."""
    found, open_at = {}, {}
    lines = text.splitlines(keepends=True)
    for number, line in enumerate(lines, 1):
        m = MARK.match(line)
        if not m:
            continue
        name = m.group(1)
        if name.endswith("-end"):
            start = open_at.pop(name[:-len("-end")], None)
            if start is None:
                raise ValueError("%s:%d: [%s] without its start" % (path, number, name))
            found[name[:-len("-end")]] = textwrap.dedent("".join(lines[start:number - 1]))
        elif name in open_at or name in found:
            raise ValueError("%s:%d: [%s] marked twice" % (path, number, name))
        else:
            open_at[name] = number
    if open_at:
        name, start = next(iter(open_at.items()))
        raise ValueError("%s:%d: [%s] is never closed by [%s-end]" % (path, start, name, name))
    return found


def all_regions(examples_dir):
    """{"file: name": text} over every C++ source under `examples_dir`."""
    out = {}
    for root, _dirs, files in sorted(os.walk(examples_dir)):
        for name in sorted(files):
            if not name.endswith((".cpp", ".h")):
                continue
            path = os.path.join(root, name)
            with open(path, encoding="utf-8") as f:
                for region, text in regions(path, f.read()).items():
                    out["%s: [%s]" % (os.path.relpath(path, examples_dir), region)] = text
    return out


def check(readme_text, examples):
    """The problems found, as texts; none when every snippet is a region."""
    blocks = snippets(readme_text)
    if not blocks:
        return ["the README has no ```cpp snippet: nothing was checked"]
    problems = []
    for line, block in blocks:
        if block in examples.values():
            continue
        closest = max(examples, key=lambda k: difflib.SequenceMatcher(None, examples[k], block).ratio(),
                      default=None)
        text = "README.md:%d: this snippet is no marked region of the examples" % line
        if closest is not None:
            diff = difflib.unified_diff(examples[closest].splitlines(keepends=True),
                                        block.splitlines(keepends=True), closest, "README.md:%d" % line)
            text += "; against the closest one:\n" + "".join(diff)
        problems.append(text)
    return problems


def main(argv):
    if len(argv) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    with open(argv[1], encoding="utf-8") as f:
        readme_text = f.read()
    try:
        examples = all_regions(argv[2])
    except ValueError as e:
        print(e, file=sys.stderr)
        return 1
    problems = check(readme_text, examples)
    for problem in problems:
        print(problem, file=sys.stderr)
    if not problems:
        print("%d snippets, each a region of the examples" % len(snippets(readme_text)))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
