"""Writes the table of calls that the service tests run, read straight from
the contract.

Usage: contract_calls.py CONTRACT OUTPUT_HEADER

This is test code: it reads the contract with a parser of its own (a few
regular expressions, enough for the service block and the names of enums
and records) rather than with the generator's, so that a fault in the
generator's reading of the contract is not repeated here.

For every call it writes a `Call_<name>` description: the wire name, the
argument tuple, the result type and shape, the argument and result fields
as they must appear on the wire (id, name, wire type, element type), the
seeds of its sample values, and `call`, which makes the call through any
YolIf. It also writes `RecordingHandler`, a YolIf that records each call
with the arguments it received and answers with the sample result.

Anything in the service block it does not understand (oneway, throws,
maps, sets) stops the build with a message, rather than being left out.
"""

import re
import sys

BASE = {
    "i32": ("int32_t", "T_I32", True),
    "bool": ("bool", "T_BOOL", True),
    "double": ("double", "T_DOUBLE", True),
    "string": ("std::string", "T_STRING", False),
}


class ContractError(Exception):
    pass


def strip_comments(text):
    text = re.sub(r"/\*.*?\*/", " ", text, flags=re.S)
    text = re.sub(r"//[^\n]*", " ", text)
    return re.sub(r"#[^\n]*", " ", text)


class Types:
    def __init__(self, text, ns):
        self.enums = set(re.findall(r"\benum\s+(\w+)\s*\{", text))
        self.records = set(re.findall(r"\bstruct\s+(\w+)\s*\{", text))
        self.ns = ns

    def _list_element(self, t):
        m = re.fullmatch(r"list\s*<\s*(.+?)\s*>", t)
        return m.group(1) if m else None

    def cpp(self, t):
        """The C++ type that holds a value of `t`."""
        element = self._list_element(t)
        if element is not None:
            return "std::vector<%s>" % self.cpp(element)
        if t in BASE:
            return BASE[t][0]
        if t in self.enums:
            return "::%s::%s::type" % (self.ns, t)
        if t in self.records:
            return "::%s::%s" % (self.ns, t)
        raise ContractError("unknown type '%s'" % t)

    def by_value(self, t):
        """Scalars and enumeration values are passed by value."""
        return t in self.enums or (t in BASE and BASE[t][2])

    def param(self, t):
        return self.cpp(t) if self.by_value(t) else "const %s&" % self.cpp(t)

    def wire(self, t):
        """(wire type, element wire type or T_STOP)."""
        element = self._list_element(t)
        if element is not None:
            inner, _ = self.wire(element)
            return "T_LIST", inner
        if t in BASE:
            return BASE[t][1], "T_STOP"
        if t in self.enums:
            return "T_I32", "T_STOP"
        if t in self.records:
            return "T_STRUCT", "T_STOP"
        raise ContractError("unknown type '%s'" % t)

    def shape(self, t):
        if t == "void":
            return "none"
        if t in ("i32", "bool"):
            return "returned"
        return "out"


def split_top(text, sep=","):
    """Splits at `sep` outside <> and ()."""
    parts, depth, cur = [], 0, ""
    for ch in text:
        if ch in "<(":
            depth += 1
        elif ch in ">)":
            depth -= 1
        if ch == sep and depth == 0:
            parts.append(cur)
            cur = ""
        else:
            cur += ch
    if cur.strip():
        parts.append(cur)
    return [p.strip() for p in parts if p.strip()]


METHOD = re.compile(r"^(\w+(?:\s*<[^>]*>)?)\s+(\w+)\s*\((.*)\)$", re.S)
ARG = re.compile(r"^(\d+)\s*:\s*((?:required|optional)\s+)?(\w+(?:\s*<[^>]*>)?)\s+(\w+)$", re.S)


def parse(text):
    text = strip_comments(text)
    ns = re.search(r"\bnamespace\s+cpp\s+([\w.]+)", text)
    if not ns:
        raise ContractError("no 'namespace cpp'")
    types = Types(text, ns.group(1).replace(".", "::"))
    service = re.search(r"\bservice\s+(\w+)\s*\{(.*?)\n\}", text, re.S)
    if not service:
        raise ContractError("no service block")
    calls = []
    for entry in split_top(service.group(2).replace(";", ",")):
        for word in ("oneway", "throws", "map<", "set<"):
            if word in entry:
                raise ContractError("'%s' in '%s' is not handled by the test table" % (word, entry))
        m = METHOD.match(entry)
        if not m:
            raise ContractError("cannot read call '%s'" % entry)
        result, name, arglist = m.group(1).replace(" ", ""), m.group(2), m.group(3)
        args = []
        for a in split_top(arglist):
            am = ARG.match(a)
            if not am:
                raise ContractError("cannot read argument '%s' of %s" % (a, name))
            args.append((int(am.group(1)), am.group(3).replace(" ", ""), am.group(4)))
        calls.append((name, result, args))
    return service.group(1), types, calls


def emit(service, types, calls):
    ns = types.ns
    out = []
    w = out.append
    w("// Written by tests/service/contract_calls.py from the contract; do not edit.")
    w("// The calls of the %s service as the contract declares them." % service)
    w("#ifndef THRIFTYOL_TESTS_SERVICE_CONTRACT_CALLS_H")
    w("#define THRIFTYOL_TESTS_SERVICE_CONTRACT_CALLS_H")
    w("")
    w("#include <cstdint>")
    w("#include <string>")
    w("#include <tuple>")
    w("#include <vector>")
    w("")
    w("#include <thriftyol/service/%s.h>" % service)
    w("")
    w('#include "call_support.h"')
    w("")
    w("namespace %s {" % ns)
    w("namespace service_test {")
    w("")
    w("using ::apache::thrift::protocol::T_BOOL;")
    w("using ::apache::thrift::protocol::T_DOUBLE;")
    w("using ::apache::thrift::protocol::T_I32;")
    w("using ::apache::thrift::protocol::T_LIST;")
    w("using ::apache::thrift::protocol::T_STOP;")
    w("using ::apache::thrift::protocol::T_STRING;")
    w("using ::apache::thrift::protocol::T_STRUCT;")
    w("")
    names = []
    for index, (name, result, args) in enumerate(calls, start=1):
        cls = "Call_" + name
        names.append(cls)
        shape = types.shape(result)
        rtype = "NoResult" if shape == "none" else types.cpp(result)
        sig = ", ".join("%s: %s %s" % (i, t, n) for i, t, n in args)
        w("// %d. %s %s(%s)" % (index, result, name, sig))
        w("struct %s {" % cls)
        w('  static constexpr const char* name = "%s";' % name)
        w("  static constexpr int index = %d;" % index)
        w("  static constexpr Shape shape = Shape::%s;" % shape)
        w("  using Args = std::tuple<%s>;" % ", ".join(types.cpp(t) for _, t, _ in args))
        w("  using Result = %s;" % rtype)
        w("  // Seeds of the sample values: argument k uses arg_seed + k.")
        w("  static constexpr int arg_seed = %d;" % (1000 * index))
        w("  static constexpr int result_seed = %d;" % (1000 * index + 500))
        w("  static std::vector<WireField> arg_fields() {")
        if args:
            w("    return {")
            for i, t, n in args:
                wt, et = types.wire(t)
                w('        {%d, "%s", %s, %s},' % (i, n, wt, et))
            w("    };")
        else:
            w("    return {};")
        w("  }")
        w("  static std::vector<WireField> result_fields() {")
        if shape == "none":
            w("    return {};")
        else:
            wt, et = types.wire(result)
            w('    return {{0, "success", %s, %s}};' % (wt, et))
        w("  }")
        params = ["std::get<%d>(args)" % k for k in range(len(args))]
        args_param = "const Args& args" if args else "const Args& /* args */"
        result_param = "Result& /* result */" if shape == "none" else "Result& result"
        w("  static void call(YolIf& iface, %s, %s) {" % (args_param, result_param))
        if shape == "none":
            w("    iface.%s(%s);" % (name, ", ".join(params)))
        elif shape == "returned":
            w("    result = iface.%s(%s);" % (name, ", ".join(params)))
        else:
            w("    iface.%s(%s);" % (name, ", ".join(["result"] + params)))
        w("  }")
        w("};")
        w("")
    w("using AllCalls = ::%s::testing::TypeList<" % ns)
    for k, cls in enumerate(names):
        w("    %s%s" % (cls, "," if k + 1 < len(names) else ">;"))
    w("")
    w("// Records every call with the arguments it received, as the call's Args")
    w("// tuple, and answers with the call's sample result.")
    w("class RecordingHandler : public %sIf, public CallRecorder {" % service)
    w(" public:")
    for name, result, args in calls:
        shape = types.shape(result)
        cls = "Call_" + name
        params = ["%s %s" % (types.param(t), n) for _, t, n in args]
        values = ", ".join(n for _, _, n in args)
        record = "answer<%s>(%s::Args(%s))" % (cls, cls, values)
        if shape == "none":
            w("  void %s(%s) override { %s; }" % (name, ", ".join(params), record))
        elif shape == "returned":
            w("  %s %s(%s) override {" % (types.cpp(result), name, ", ".join(params)))
            w("    return %s;" % record)
            w("  }")
        else:
            params = ["%s& _return" % types.cpp(result)] + params
            w("  void %s(%s) override {" % (name, ", ".join(params)))
            w("    _return = %s;" % record)
            w("  }")
    w("};")
    w("")
    w("}  // namespace service_test")
    w("}  // namespace %s" % ns)
    w("")
    w("#endif  // THRIFTYOL_TESTS_SERVICE_CONTRACT_CALLS_H")
    return "\n".join(out) + "\n"


def main(argv):
    if len(argv) != 3:
        sys.stderr.write("usage: contract_calls.py CONTRACT OUTPUT_HEADER\n")
        return 2
    with open(argv[1], encoding="utf-8") as f:
        text = f.read()
    try:
        service, types, calls = parse(text)
    except ContractError as e:
        sys.stderr.write("%s: %s\n" % (argv[1], e))
        return 1
    header = emit(service, types, calls)
    try:
        with open(argv[2], encoding="utf-8") as f:
            if f.read() == header:
                return 0
    except OSError:
        pass
    with open(argv[2], "w", encoding="utf-8") as f:
        f.write(header)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
