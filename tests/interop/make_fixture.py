"""Writes the interoperability fixture: what every call of the contract sends
and what it answers, shared by the C++ and the Python ends of the tests.

    python3 make_fixture.py CONTRACT OUT.json    (PYTHONPATH=codegen)

The fixture is plain JSON:
  records  record name -> its fields [{id, name, type, req}] in id order
  enums    enumeration name -> {member: value}
  calls    in contract order: {name, args: [{id, name, type}], result,
           arguments: {arg: value}, answer: value}; a call without result
           has result null and no answer
  failing  a request that the serving handler must fail with a message

Types: "bool", "i32", "double", "string", {"enum": E}, {"record": R},
{"list": T}. Values: records as objects keyed by field name (an unset field
is absent), lists as arrays, enumerations as integers.

The values are deterministic and chosen to be awkward: negative and extreme
integers, enumeration values inside and outside their lists, empty lists and
strings, optional fields left unset, optional bools set to false, non-ASCII
UTF-8 and an embedded NUL. A few calls get hand-picked values (OVERRIDES).
"""

import json
import sys

from thriftgen import model, parser
from thriftgen.generate import write_if_changed

INTS = [7, -42, 2147483647, -2147483648, 65536, -1, 1000003, 99, -7000000]
DOUBLES = [51.477928, -0.1, 1e300, -2.5e-308, 3.5, 5e-324, -7.25, 1234567.125, 100.0]
TEXTS = [
    "Grüße aus Köln",
    "日本語のテキスト",
    "трактор",
    "\U0001F69C Feld",
    "tab\there, newline\nthere",
    "quote \" and backslash \\",
    "nul\u0000inside",
    "plain ascii",
]
LIST_LENGTHS = [2, 0, 3, 1]

# Calls whose values are picked by hand, to be sure these cases travel.
OVERRIDES = {
    "status": {"arguments": {"id": 7}, "answer": 12},
    # Cat 4 is a gap of eCategory, Tel 0 lies below eTelematics, eDataType 7
    # is past its end; the three lists differ in length.
    "SendMsg": {
        "arguments": {
            "Cat": 4,
            "Tel": 0,
            "eType": [2, 0, 7],
            "sKey": ["Drehzahl", "pressão"],
            "sValue": ["1850"],
        },
        "answer": -2147483648,
    },
    "getWanStatus": {"answer": False},
    "getRoamingStatus": {"answer": True},
    "getMerivaultOwner": {"answer": ""},
    "SYS_GetInterfaceList": {"answer": []},
    "MGT_GetConfig": {"answer": {}},
    # A default-requiredness field left out (failure.error_message) still
    # travels, as "".
    "MGT_GetServiceDiscoveryResult": {
        "answer": {
            "error": {"status": 1},
            "failure": {},
            "success": {"urls": ["https://merivault.example/ü", ""]},
            "pending": False,
        }
    },
}

FAILING = {"name": "status", "arguments": {"id": -1}, "message": "busy"}


def type_of(t: model.TypeRef):
    if t.kind in model.BASE_TYPES:
        return t.kind
    if t.kind == "enum":
        return {"enum": t.decl.name}
    if t.kind == "struct":
        return {"record": t.decl.name}
    if t.kind == "list":
        return {"list": type_of(t.elem)}
    raise ValueError("no fixture type for %s" % t.name)


class Values:
    """Deterministic values: each kind walks its own pool with its own counter."""

    def __init__(self):
        self.count = {}

    def next(self, kind: str) -> int:
        n = self.count.get(kind, 0)
        self.count[kind] = n + 1
        return n

    def of(self, t: model.TypeRef):
        if t.kind == "bool":
            return self.next("bool") % 2 == 1
        if t.kind == "i32":
            return INTS[self.next("i32") % len(INTS)]
        if t.kind == "double":
            return DOUBLES[self.next("double") % len(DOUBLES)]
        if t.kind == "string":
            n = self.next("string")
            if n % 13 == 5:
                return ""
            return "%s %d" % (TEXTS[n % len(TEXTS)], n)
        if t.kind == "enum":
            return self.enum_value(t.decl)
        if t.kind == "list":
            length = LIST_LENGTHS[self.next("list") % len(LIST_LENGTHS)]
            return [self.of(t.elem) for _ in range(length)]
        if t.kind == "struct":
            return self.record(t.decl)
        raise ValueError("no value for %s" % t.name)

    def enum_value(self, enum: model.Enum) -> int:
        n = self.next("enum")
        values = sorted(m.value for m in enum.members)
        if n % 5 == 4:
            # Outside the list: a gap if there is one, else past either end.
            gaps = [v for v in range(values[0], values[-1]) if v not in values]
            outside = gaps[:1] + [values[-1] + 1000, values[0] - 5]
            return outside[(n // 5) % len(outside)]
        return values[n % len(values)]

    def record(self, struct: model.Struct) -> dict:
        value = {}
        for f in struct.fields:
            # Roughly one optional or default field in four stays unset.
            if f.req != model.REQUIRED and self.next("skip") % 4 == 3:
                continue
            value[f.name] = self.of(f.type)
        return value


def fixture(program: model.Program) -> dict:
    (service,) = program.services
    values = Values()
    calls = []
    for fn in service.functions:
        call = {
            "name": fn.name,
            "args": [{"id": a.id, "name": a.name, "type": type_of(a.type)} for a in fn.args],
            "result": None if fn.returns.is_void else type_of(fn.returns),
            "arguments": {a.name: values.of(a.type) for a in fn.args},
        }
        if not fn.returns.is_void:
            call["answer"] = values.of(fn.returns)
        call.update(OVERRIDES.get(fn.name, {}))
        calls.append(call)
    return {
        "records": {
            s.name: [
                {"id": f.id, "name": f.name, "type": type_of(f.type), "req": f.req}
                for f in sorted(s.fields, key=lambda f: f.id)
            ]
            for s in program.structs
        },
        "enums": {e.name: {m.name: m.value for m in e.members} for e in program.enums},
        "calls": calls,
        "failing": FAILING,
    }


def check_coverage(doc: dict) -> None:
    """Fails when the values no longer contain the cases they exist for."""
    seen = set()

    def walk(value, t):
        if t == "i32":
            seen.add("negative i32" if value < 0 else "i32")
            if value in (-2147483648, 2147483647):
                seen.add("i32 extreme")
        elif t == "string":
            if any(ord(c) > 127 for c in value):
                seen.add("non-ASCII string")
            if value == "":
                seen.add("empty string")
        elif t == "bool":
            seen.add("bool %s" % value)
        elif isinstance(t, dict) and "enum" in t:
            members = doc["enums"][t["enum"]].values()
            seen.add("enum in list" if value in members else "enum outside list")
        elif isinstance(t, dict) and "list" in t:
            seen.add("list" if value else "empty list")
            for v in value:
                walk(v, t["list"])
        elif isinstance(t, dict) and "record" in t:
            for f in doc["records"][t["record"]]:
                if f["name"] in value:
                    walk(value[f["name"]], f["type"])
                elif f["req"] == model.OPTIONAL:
                    seen.add("unset optional")
                elif f["req"] == model.DEFAULT:
                    seen.add("unset default field")
                else:
                    raise ValueError("required field %s unset" % f["name"])

    for call in doc["calls"]:
        for a in call["args"]:
            walk(call["arguments"][a["name"]], a["type"])
        if call["result"] is not None:
            walk(call["answer"], call["result"])
    wanted = {
        "i32", "negative i32", "i32 extreme", "non-ASCII string", "empty string",
        "bool True", "bool False", "enum in list", "enum outside list", "list",
        "empty list", "unset optional", "unset default field",
    }
    missing = wanted - seen
    if missing:
        raise ValueError("the fixture lost these cases: %s" % ", ".join(sorted(missing)))


def main(argv) -> int:
    if len(argv) != 3:
        print(__doc__.strip().splitlines()[2].strip(), file=sys.stderr)
        return 2
    doc = fixture(parser.parse_file(argv[1]))
    check_coverage(doc)
    write_if_changed(argv[2], json.dumps(doc, ensure_ascii=False, indent=1) + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
