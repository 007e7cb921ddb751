"""contract_calls.py CONTRACT OUTPUT_HEADER: writes the table of calls that
the service tests run, read from the contract with a parser of its own (a
few regular expressions) so that a fault in the generator's reading of the
contract is not repeated here. For every call a `Call_<name>`: wire name,
argument tuple, result type and shape, seeds of its sample values, and
`call`, which makes the call through any YolIf; then `RecordingHandler`, a
YolIf that records each call and answers with the sample result. Anything
it does not understand (oneway, throws, maps, sets) stops the build.
"""

import os
import re
import sys

BASE = {"i32": "int32_t", "bool": "bool", "double": "double", "string": "std::string"}
TYPE = r"\w+(?:\s*<[^>]*>)?"
METHOD = re.compile(r"^(%s)\s+(\w+)\s*\((.*)\)$" % TYPE, re.S)
ARG = re.compile(r"^(\d+)\s*:\s*(?:(?:required|optional)\s+)?(%s)\s+(\w+)$" % TYPE, re.S)


def fail(message):
    sys.exit("contract_calls.py: " + message)


def split_top(text):
    """Splits at commas outside <> and ()."""
    parts, depth, cur = [], 0, ""
    for ch in text:
        depth += (ch in "<(") - (ch in ">)")
        if ch == "," and depth == 0:
            parts.append(cur)
            cur = ""
        else:
            cur += ch
    return [p.strip() for p in parts + [cur] if p.strip()]


def parse(text):
    text = re.sub(r"/\*.*?\*/|//[^\n]*|#[^\n]*", " ", text, flags=re.S)
    ns = re.search(r"\bnamespace\s+cpp\s+([\w.]+)", text)
    service = re.search(r"\bservice\s+(\w+)\s*\{(.*?)\n\}", text, re.S)
    if not ns or not service:
        fail("no 'namespace cpp' or no service block")
    ns = ns.group(1).replace(".", "::")
    enums = set(re.findall(r"\benum\s+(\w+)\s*\{", text))
    records = set(re.findall(r"\bstruct\s+(\w+)\s*\{", text))

    def cpp(t):
        element = re.fullmatch(r"list\s*<\s*(.+?)\s*>", t)
        if element:
            return "std::vector<%s>" % cpp(element.group(1))
        if t in BASE:
            return BASE[t]
        if t in enums or t in records:
            return "::%s::%s%s" % (ns, t, "::type" if t in enums else "")
        fail("unknown type '%s'" % t)

    def param(t):  # scalars and enumerations by value
        return cpp(t) if t in enums or t in ("i32", "bool", "double") else "const %s&" % cpp(t)

    calls = []
    for entry in split_top(service.group(2).replace(";", ",")):
        for word in ("oneway", "throws", "map<", "set<"):
            if word in entry:
                fail("'%s' in '%s' is not handled by the test table" % (word, entry))
        m = METHOD.match(entry)
        if not m:
            fail("cannot read call '%s'" % entry)
        result, name = m.group(1).replace(" ", ""), m.group(2)
        args = []
        for a in split_top(m.group(3)):
            am = ARG.match(a)
            if not am:
                fail("cannot read argument '%s' of %s" % (a, name))
            args.append((cpp(am.group(2).replace(" ", "")), param(am.group(2).replace(" ", "")), am.group(3)))
        shape = "none" if result == "void" else "returned" if result in ("i32", "bool") else "out"
        calls.append((name, shape, "NoResult" if shape == "none" else cpp(result), args))
    return service.group(1), ns, calls


def emit(service, ns, calls):
    out = ["// Written by tests/service/contract_calls.py from the contract; do not edit.",
           "#ifndef THRIFTYOL_TESTS_SERVICE_CONTRACT_CALLS_H", "#define THRIFTYOL_TESTS_SERVICE_CONTRACT_CALLS_H",
           "#include <tuple>", "#include <thriftyol/service/%s.h>" % service, '#include "call_support.h"',
           "namespace %s {\nnamespace service_test {" % ns]
    w = out.append
    for index, (name, shape, rtype, args) in enumerate(calls, start=1):
        w("struct Call_%s {" % name)
        w('  static constexpr const char* name = "%s";' % name)
        w("  static constexpr Shape shape = Shape::%s;" % shape)
        w("  using Args = std::tuple<%s>;" % ", ".join(t for t, _, _ in args))
        w("  using Result = %s;" % rtype)
        w("  static constexpr int arg_seed = %d, result_seed = %d;" % (1000 * index, 1000 * index + 500))
        values = ["std::get<%d>(args)" % k for k in range(len(args))]
        w("  static void call(YolIf& iface, [[maybe_unused]] const Args& args, [[maybe_unused]] Result& result) {")
        if shape == "none":
            w("    iface.%s(%s);" % (name, ", ".join(values)))
        elif shape == "returned":
            w("    result = iface.%s(%s);" % (name, ", ".join(values)))
        else:
            w("    iface.%s(%s);" % (name, ", ".join(["result"] + values)))
        w("  }\n};")
    w("using AllCalls = ::%s::testing::TypeList<%s>;" % (ns, ", ".join("Call_" + c[0] for c in calls)))
    w("// Records every call with its arguments, as the call's Args tuple, and")
    w("// answers with the call's sample result.")
    w("class RecordingHandler : public %sIf, public CallRecorder {\n public:" % service)
    for name, shape, rtype, args in calls:
        params = ["%s %s" % (p, n) for _, p, n in args]
        answer = "answer<Call_%s>(Call_%s::Args(%s))" % (name, name, ", ".join(n for _, _, n in args))
        if shape == "none":
            w("  void %s(%s) override { %s; }" % (name, ", ".join(params), answer))
        elif shape == "returned":
            w("  %s %s(%s) override { return %s; }" % (rtype, name, ", ".join(params), answer))
        else:
            params.insert(0, "%s& _return" % rtype)
            w("  void %s(%s) override { _return = %s; }" % (name, ", ".join(params), answer))
    w("};\n}  // namespace service_test\n}  // namespace %s\n#endif" % ns)
    return "\n".join(out) + "\n"


def main(argv):
    if len(argv) != 3:
        sys.stderr.write("usage: contract_calls.py CONTRACT OUTPUT_HEADER\n")
        return 2
    with open(argv[1], encoding="utf-8") as f:
        header = emit(*parse(f.read()))
    if not os.path.exists(argv[2]) or open(argv[2], encoding="utf-8").read() != header:
        with open(argv[2], "w", encoding="utf-8") as f:
            f.write(header)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
