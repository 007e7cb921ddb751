"""Command line: python3 -m thriftgen [--out DIR] [--list] CONTRACT

Runs parser -> lowering -> emitters and writes each artifact under DIR,
touching a file only when its content changed (so a rebuild after an
unrelated generator edit recompiles nothing that came out the same).
"""

import argparse
import os
import sys

from . import fold, lowering, parser
from .printer import PrinterError


def emitters():
    # Imported here so that a broken emitter still lets --help work.
    from . import emit_constants, emit_dissector, emit_json, emit_mock, emit_samples, emit_service, emit_types
    return [emit_types.emit, emit_constants.emit, emit_service.emit, emit_samples.emit,
            emit_json.emit,
            emit_mock.emit,
            emit_dissector.emit]


def generate(contract_path: str) -> dict:
    """All artifacts of a contract: {relative path: text}, in a fixed order.
    The C++ ones have their long lines folded."""
    program = lowering.lower(parser.parse_file(contract_path))
    out = {}
    for emit in emitters():
        for path, text in emit(program).items():
            if path in out:
                raise PrinterError("two emitters produce %s" % path)
            out[path] = fold.fold(text) if path.endswith((".h", ".cpp")) else text
    return out


def write_if_changed(path: str, text: str) -> bool:
    try:
        with open(path, encoding="utf-8") as f:
            if f.read() == text:
                return False
    except FileNotFoundError:
        pass
    os.makedirs(os.path.dirname(path) or ".", exist_ok=True)
    tmp = path + ".tmp"
    with open(tmp, "w", encoding="utf-8", newline="\n") as f:
        f.write(text)
    os.replace(tmp, path)
    return True


def main(argv=None) -> int:
    ap = argparse.ArgumentParser(prog="thriftgen", description=__doc__.splitlines()[0])
    ap.add_argument("contract")
    ap.add_argument("--out", default=".", help="directory the artifacts are written under")
    ap.add_argument("--list", action="store_true", help="print the artifact paths and write nothing")
    args = ap.parse_args(argv)
    try:
        artifacts = generate(args.contract)
    except parser.ParseError as e:
        print("thriftgen: %s" % e, file=sys.stderr)
        return 1
    for rel, text in artifacts.items():
        if args.list:
            print(rel)
        elif write_if_changed(os.path.join(args.out, rel), text):
            print("thriftgen: wrote %s" % rel)
    return 0
