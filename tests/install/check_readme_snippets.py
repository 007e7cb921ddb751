"""Every ```cpp block of the README is, word for word, a region of a source file under the
examples folder: the lines between `// [name]` and `// [name-end]`, without their common
indentation.  usage: check_readme_snippets.py README.md EXAMPLES_DIR
"""
import difflib, pathlib, re, sys, textwrap

readme, examples = map(pathlib.Path, sys.argv[1:3])
marked = re.compile(r"^[ \t]*// \[([\w-]+)\]\n(.*?)^[ \t]*// \[\1-end\]\n", re.M | re.S)
regions = [textwrap.dedent(m.group(2)) for path in sorted(examples.rglob("*"))
           if path.suffix in (".cpp", ".h") for m in marked.finditer(path.read_text())]
blocks = re.findall(r"^```cpp\n(.*?)^```$", readme.read_text(), re.M | re.S)
for block in (b for b in blocks if b not in regions):
    near = max(regions, key=lambda r: difflib.SequenceMatcher(None, r, block).ratio())
    print("a README snippet is no region of the examples; against the nearest one:", file=sys.stderr)
    sys.stderr.writelines(difflib.unified_diff(near.splitlines(True), block.splitlines(True)))
print("%d snippets in %d regions of the examples" % (len(blocks), len(regions)))
sys.exit(0 if blocks and all(b in regions for b in blocks) else 1)
