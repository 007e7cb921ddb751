"""Emits json/<program>_json.{h,cpp} and json/<program>_calls.h.

<program>_json: a codec (yol::json::Codec<T>) for every enumeration and
record, nlohmann's to_json/from_json hooks for each of them in the
contract's namespace, and the contract as data (records with their fields,
enumerations with their members) for tools that describe it. The mapping's
rules and the codecs of scalars and lists are hand-written, in
<thriftyol/json/json_support.h>.

<program>_calls.h: one descriptor per call of each service (wire name,
signature, argument names and types, the C++ types of the arguments and
the result, and how to make the call on a handler), the list of all
descriptors in contract order, and a handler that hands every call, typed,
to one object. Tools build on these without naming any call themselves.
"""

import re

from . import cpp, model, records
from .emit_service import comment, handler_params, result_type, signature
from .printer import Printer


def emit(program: model.Program) -> dict:
    base = "json/%s_json" % program.name
    calls = "json/%s_calls.h" % program.name
    return {
        base + ".h": _json_header(program, base + ".h"),
        base + ".cpp": _json_source(program, base + ".h"),
        calls: _calls_header(program, calls),
    }


def _statement(p: Printer, text: str, column: int) -> None:
    """One statement at the printer's indentation, which is `column`, folded
    to the column limit."""
    p.print("$text$\n", text="\n".join(records.fold(column, text)))


def _literal(text: str) -> str:
    """A C++ string literal of one line of text."""
    text = " ".join(text.split())
    return '"%s"' % text.replace("\\", "\\\\").replace('"', '\\"')


# --- json/<program>_json.h --------------------------------------------------------

_JSON_HEADER_TOP = """\
$banner$//
// The JSON form of every record and enumeration of the contract, through
// nlohmann::json: `nlohmann::json j = record;` and `j.get<Record>()`, or
// yol::json::toJson / fromJson with a path of your own in the errors. The
// mapping is described in <thriftyol/json/json_support.h>.
#ifndef $guard$
#define $guard$

#include <cstddef>
#include <cstdint>
#include <vector>

#include <nlohmann/json.hpp>

#include <thriftyol/json/json_support.h>
#include <thriftyol/types/$program$_types.h>

namespace $ns$ {
namespace json {
"""

_DESCRIPTIONS = """
// The contract as data, in declaration order.
struct FieldDescription {
  int16_t id;
  const char* requiredness;  // "required", "optional" or "default"
  const char* type;          // as the contract spells it: list<stCANSignal>
  const char* name;
};

struct RecordDescription {
  const char* name;
  const char* doc;
  std::vector<FieldDescription> fields;
};

struct EnumDescription {
  const char* name;
  const char* doc;
  const detail::EnumMember* members;
  std::size_t member_count;
};

const std::vector<RecordDescription>& contractRecords();
const std::vector<EnumDescription>& contractEnums();

}  // namespace json

// nlohmann's hooks, found by argument-dependent lookup. A read error names
// the record or enumeration as the root of its path.
"""


def _enum_type(enum: model.Enum) -> str:
    return "%s::type" % enum.name


def _json_header(program: model.Program, path: str) -> str:
    p = Printer()
    guard = cpp.header_guard(path)
    ns = cpp.namespace(program)
    p.print(_JSON_HEADER_TOP, banner=cpp.banner(program), guard=guard, program=program.name, ns=ns)
    types = [(_enum_type(e), _enum_type(e)) for e in program.enums] + \
            [(s.name, "const %s&" % s.name) for s in program.structs]
    for type_, param in types:
        p.print("\ntemplate <>\nstruct Codec<$type$> {\n", type=type_)
        with p.indent():
            _statement(p, "static void read(const nlohmann::json& j, %s& out, Path& path);" % type_, 2)
            _statement(p, "static nlohmann::json write(%s value);" % param, 2)
        p.print("};\n")
    p.print(_DESCRIPTIONS)
    for type_, param in types:
        _statement(p, "void to_json(nlohmann::json& j, %s value);" % param, 0)
        _statement(p, "void from_json(const nlohmann::json& j, %s& value);" % type_, 0)
    p.print("\n}  // namespace $ns$\n\n#endif  // $guard$\n", ns=ns, guard=guard)
    return p.text()


# --- json/<program>_json.cpp ------------------------------------------------------

_JSON_SOURCE_TOP = """\
$banner$#include <thriftyol/$header$>

#include <cstdint>
#include <iterator>
#include <string>

namespace $ns$ {
namespace json {

using detail::EnumMember;
using detail::missingField;
using detail::readField;
using detail::recordObject;
using detail::unknownKey;

namespace {
"""

def _members_array(enum: model.Enum) -> str:
    return "k%sMembers" % enum.name


def _json_source(program: model.Program, header: str) -> str:
    p = Printer()
    ns = cpp.namespace(program)
    p.print(_JSON_SOURCE_TOP, banner=cpp.banner(program), header=header, ns=ns)
    for enum in program.enums:
        p.print("\nconst EnumMember $array$[] = {\n", array=_members_array(enum))
        with p.indent(2):
            for m in enum.members:
                p.print('{"$name$", $value$},\n', name=m.name, value=m.value)
        p.print("};\n")
    p.print("\n}  // namespace\n")
    for enum in program.enums:
        _enum_codec(p, enum)
    for struct in program.structs:
        _record_read(p, struct)
        _record_write(p, struct)
    _descriptions(p, program)
    p.print("\n}  // namespace json\n")
    _hooks(p, program)
    p.print("\n}  // namespace $ns$\n", ns=ns)
    return p.text()


def _read_head(type_: str) -> str:
    return "void Codec<%s>::read(const nlohmann::json& j, %s& out, Path& path) {" % (type_, type_)


def _enum_codec(p: Printer, enum: model.Enum) -> None:
    type_, members = _enum_type(enum), _members_array(enum)
    p.print("\n")
    _statement(p, _read_head(type_), 0)
    with p.indent():
        _statement(p, "const int32_t value = detail::readEnum(j, \"%s\", %s, std::size(%s), path);"
                   % (enum.name, members, members), 2)
        p.print("out = static_cast<$type$>(value);\n", type=type_)
    p.print("}\n\n")
    _statement(p, "nlohmann::json Codec<%s>::write(%s value) {" % (type_, type_), 0)
    with p.indent():
        _statement(p, "return detail::writeEnum(value, %s, std::size(%s));" % (members, members), 2)
    p.print("}\n")


def _record_read(p: Printer, struct: model.Struct) -> None:
    p.print("\n")
    _statement(p, _read_head(struct.name), 0)
    with p.indent():
        p.print("out = $type$();\n", type=struct.name)
        for f in struct.required_fields:
            p.print("bool have_$name$ = false;\n", name=f.name)
        p.print("for (const auto& item : recordObject(j, path)) {\n")
        with p.indent():
            p.print("const std::string& key = item.first;\n")
            for i, f in enumerate(struct.fields):
                p.print('$kw$ (key == "$name$") {\n', kw="if" if i == 0 else "} else if", name=f.name)
                with p.indent():
                    _statement(p, 'readField(item.second, out.%s, path, "%s");' % (f.name, f.name), 6)
                    if f.req == model.REQUIRED:
                        p.print("have_$name$ = true;\n", name=f.name)
                    else:
                        p.print("out.__isset.$name$ = true;\n", name=f.name)
            p.print("} else {\n  unknownKey(path, key);\n}\n")
        p.print("}\n")
        for f in struct.required_fields:
            p.print('if (!have_$name$) {\n  missingField(path, "$name$");\n}\n', name=f.name)
    p.print("}\n")


def _record_write(p: Printer, struct: model.Struct) -> None:
    p.print("\n")
    _statement(p, "nlohmann::json Codec<%s>::write(const %s& value) {" % (struct.name, struct.name), 0)
    with p.indent():
        p.print("nlohmann::json j = nlohmann::json::object();\n")
        for f in struct.fields:
            assign = 'j["%s"] = toJson(value.%s);' % (f.name, f.name)
            if f.req == model.OPTIONAL:
                p.print("if (value.__isset.$name$) {\n", name=f.name)
                with p.indent():
                    _statement(p, assign, 4)
                p.print("}\n")
            else:
                _statement(p, assign, 2)
        p.print("return j;\n")
    p.print("}\n")


def _descriptions(p: Printer, program: model.Program) -> None:
    p.print("\nconst std::vector<RecordDescription>& contractRecords() {\n")
    with p.indent():
        p.print("static const std::vector<RecordDescription> records = {\n")
        with p.indent(2):
            for struct in program.structs:
                p.print("{$name$,\n $doc$,\n {\n", name=_literal(struct.name), doc=_literal(struct.doc))
                for f in struct.fields:
                    p.print("     {$id$, \"$req$\", $type$, \"$name$\"},\n", id=f.id, req=f.req,
                            type=_literal(f.type.name), name=f.name)
                p.print(" }},\n")
        p.print("};\nreturn records;\n")
    p.print("}\n")
    p.print("\nconst std::vector<EnumDescription>& contractEnums() {\n")
    with p.indent():
        p.print("static const std::vector<EnumDescription> enums = {\n")
        with p.indent(2):
            for enum in program.enums:
                p.print("{$name$,\n $doc$,\n $members$,\n std::size($members$)},\n",
                        name=_literal(enum.name), doc=_literal(enum.doc),
                        members=_members_array(enum))
        p.print("};\nreturn enums;\n")
    p.print("}\n")


def _hooks(p: Printer, program: model.Program) -> None:
    hooks = [(_enum_type(e), _enum_type(e), e.name) for e in program.enums] + \
            [(s.name, "const %s&" % s.name, s.name) for s in program.structs]
    for type_, param, name in hooks:
        p.print("\n")
        _statement(p, "void to_json(nlohmann::json& j, %s value) {" % param, 0)
        p.print("  j = json::toJson(value);\n}\n\n")
        _statement(p, "void from_json(const nlohmann::json& j, %s& value) {" % type_, 0)
        p.print('  json::fromJson(j, value, "$name$");\n}\n', name=name)


# --- json/<program>_calls.h -------------------------------------------------------

_CALLS_TOP = """\
$banner$//
// The calls of the contract as types: one descriptor per call, in namespace
// $ns$::calls and named with the call's wire name, and the list of all of
// them in contract order. A descriptor C has
//   C::name, C::signature    the wire name; "i32 status(1: i32 id)"
//   C::result_type           the result as the contract spells it
//   C::arguments             id, name and declared type of each argument
//   C::Result, C::Args       the result's C++ type (void for none) and a
//                            tuple of the arguments' C++ types
//   C::call(iface, args)     makes the call on a handler (or a client) and
//                            returns its result
// ForwardingHandler<Sink> implements every call of the handler interface
// by handing it to one object: sink.handle<C>(args) returns C::Result.
#ifndef $guard$
#define $guard$

#include <array>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include <thriftyol/service/$service$.h>

namespace $ns$ {
namespace calls {

struct Argument {
  int16_t id;
  const char* name;
  const char* type;  // as the contract spells it: list<stDTC>
};

template <class... C>
struct CallList {
  static constexpr std::size_t size = sizeof...(C);
};
"""


def _calls_header(program: model.Program, path: str) -> str:
    p = Printer()
    guard = cpp.header_guard(path)
    ns = cpp.namespace(program)
    services = program.services
    service_name = services[0].name if services else ""
    p.print(_CALLS_TOP, banner=cpp.banner(program), guard=guard, ns=ns, service=service_name)
    for service in services:
        iface = service.name + "If"
        for fn in service.functions:
            _descriptor(p, fn, iface)
        p.print("\n// Every call of $service$, in contract order.\n", service=service.name)
        p.print("using All$service$Calls = CallList<\n", service=service.name)
        names = [fn.name for fn in service.functions]
        with p.indent(2):
            for i, name in enumerate(names):
                p.print("$name$$sep$\n", name=name, sep="," if i + 1 < len(names) else ">;")
        _forwarding_handler(p, service, iface)
    p.print("\n}  // namespace calls\n}  // namespace $ns$\n\n#endif  // $guard$\n",
            ns=ns, guard=guard)
    return p.text()


def contract_signature(fn: model.Function) -> str:
    """The call as the contract spells it: i32 status(1: i32 id)."""
    args = ", ".join("%d: %s %s" % (a.id, a.type.name, a.name) for a in fn.args)
    return "%s %s(%s)" % (fn.returns.name, fn.name, args)


def _packed(head: str, items, tail: str, column: int) -> str:
    """head + items joined by ", " + tail, the items packed onto lines that
    line up after `head` when the whole does not fit the column limit."""
    whole = head + ", ".join(items) + tail
    if column + len(whole) <= records.COLUMN_LIMIT:
        return whole
    lines, line = [], head
    for i, item in enumerate(items):
        piece = item + ("," if i + 1 < len(items) else tail)
        if line != head and line.strip() and column + len(line) + 1 + len(piece) > records.COLUMN_LIMIT:
            lines.append(line)
            line = " " * len(head) + piece
        else:
            line = line + ("" if line == head else " ") + piece
    lines.append(line)
    return "\n".join(lines)


def _packed_lines(first: str, pieces, rest: str, column: int, suffix: str = ""):
    """The pieces packed onto lines of at most the column limit: the first
    line starts with `first`, the others with `rest`; each ends with
    `suffix`."""
    lines, line = [], first
    for piece in pieces:
        if line not in (first, rest) and \
                column + len(line) + len(piece.rstrip()) + len(suffix) > records.COLUMN_LIMIT:
            lines.append(line + suffix)
            line = rest
        line += piece
    lines.append(line + suffix)
    return [l.rstrip() if not suffix else l for l in lines]


def _descriptor(p: Printer, fn: model.Function, iface: str) -> None:
    result = "void" if fn.returns.is_void else cpp.type_name(fn.returns)
    sig = contract_signature(fn)
    # Long signatures break after the commas between arguments.
    pieces = re.split(r"(?<=, )", sig)
    p.print("\n$comment$\n", comment="\n".join(_packed_lines("// ", pieces, "//     ", 0)))
    p.print("struct $name$ {\n", name=fn.name)
    with p.indent():
        p.print('static constexpr const char* name = "$name$";\n', name=fn.name)
        declaration = "static constexpr const char* signature = "
        if 2 + len(declaration) + len(sig) + 3 <= records.COLUMN_LIMIT:
            p.print("$decl$$sig$;\n", decl=declaration, sig=_literal(sig))
        else:
            literals = _packed_lines('    "', pieces, '    "', 2, suffix='"')
            p.print("$decl$\n$lines$;\n", decl=declaration.rstrip(), lines="\n".join(literals))
        _statement(p, "static constexpr const char* result_type = %s;" % _literal(fn.returns.name), 2)
        p.print("using Result = $result$;\n", result=result)
        p.print("$text$\n", text=_packed("using Args = std::tuple<",
                                        [cpp.type_name(a.type) for a in fn.args], ">;", 2))
        p.print("static constexpr std::array<Argument, $n$> arguments{{\n", n=len(fn.args))
        for a in fn.args:
            p.print('    {$id$, "$name$", $type$},\n', id=a.id, name=a.name, type=_literal(a.type.name))
        p.print("}};\n\n")
        args = ["std::get<%d>(args)" % i for i in range(len(fn.args))]
        param = "const Args& args" if fn.args else "const Args& /* args */"
        _statement(p, "static Result call(%s& iface, %s) {" % (iface, param), 2)
        with p.indent():
            if fn.result_form == "none":
                body = ["iface.%s(%s);" % (fn.name, ", ".join(args))]
            elif fn.result_form == "return":
                body = ["return iface.%s(%s);" % (fn.name, ", ".join(args))]
            else:
                body = ["Result result;",
                        "iface.%s(%s);" % (fn.name, ", ".join(["result"] + args)),
                        "return result;"]
            for line in body:
                _statement(p, line, 4)
        p.print("}\n")
    p.print("};\n")


_FORWARDING_TOP = """
// Hands every call to `sink`, whose handle<C>(const C::Args&) returns
// C::Result for each call descriptor C. The sink is not owned.
template <class Sink>
class ForwardingHandler : public $iface$ {
 public:
  explicit ForwardingHandler(Sink& sink) : sink_(sink) {}
"""


def _forwarding_handler(p: Printer, service: model.Service, iface: str) -> None:
    p.print(_FORWARDING_TOP, iface=iface)
    with p.indent():
        for fn in service.functions:
            p.print("\n")
            _statement(p, signature(result_type(fn), fn.name, handler_params(fn)) + " override {", 2)
            args = "calls::%s::Args(%s)" % (fn.name, ", ".join(a.name for a in fn.args))
            handle = "sink_.template handle<calls::%s>(%s);" % (fn.name, args)
            prefix = {"none": "", "return": "return ", "out": "_return = "}[fn.result_form]
            with p.indent():
                _statement(p, prefix + handle, 4)
            p.print("}\n")
    p.print("\n private:\n  Sink& sink_;\n};\n")
