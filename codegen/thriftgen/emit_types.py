"""Emits types/<name>_types.{h,cpp}: the enumerations with their name
tables, and the data records of the contract in declaration order."""

from . import cpp, records
from .printer import Printer


def emit(program):
    base = "types/%s_types" % program.name
    return {
        base + ".h": _header(program, base + ".h"),
        base + ".cpp": _source(program, base + ".h"),
    }


def _header(program, path):
    p = Printer()
    guard = cpp.header_guard(path)
    p.print(cpp.banner(program))
    p.print(
        "#ifndef $guard$\n"
        "#define $guard$\n"
        "\n"
        "#include <cstdint>\n"
        "#include <iosfwd>\n"
        "#include <map>\n"
        "#include <string>\n"
        "#include <vector>\n"
        "\n"
        "#include <thrift/Thrift.h>\n"
        "#include <thrift/protocol/TProtocol.h>\n"
        "\n"
        "#include <thriftyol/support/wire.h>\n"
        "\n"
        "namespace $ns$ {\n",
        guard=guard, ns=cpp.namespace(program))
    for enum in program.enums:
        p.print("\n")
        _declare_enum(p, enum)
    if program.structs:
        p.print("\n")
        for struct in program.structs:
            p.print("class $name$;\n", name=struct.name)
    for struct in program.structs:
        p.print("\n")
        records.declare(p, struct)
    p.print(
        "\n"
        "}  // namespace $ns$\n"
        "\n"
        "#endif  // $guard$\n",
        guard=guard, ns=cpp.namespace(program))
    return p.text()


def _declare_enum(p, enum):
    p.print("$doc$", doc=cpp.comment_block(enum.doc))
    p.print("struct $name$ {\n", name=enum.name)
    with p.indent():
        # Fixed to i32: a value read from the wire that no member names is
        # still a valid value of the type, so holding it is well defined.
        p.print("enum type : int32_t {\n")
        with p.indent():
            for member in enum.members:
                p.print("$name$ = $value$,\n", name=member.name, value=member.value)
        p.print("};\n")
    p.print("};\n")
    p.print("\n")
    _line(p, "extern int $values$[$n$];", values=cpp.enum_values_array(enum), n=len(enum.members))
    _line(p, "extern const char* $names$[$n$];", names=cpp.enum_names_array(enum),
          n=len(enum.members))
    _line(p, "extern const std::map<int, const char*> $map$;", map=cpp.enum_names_map(enum))


def _source(program, header_path):
    p = Printer()
    p.print(cpp.banner(program))
    p.print(
        "#include <thriftyol/$header$>\n"
        "\n"
        "#include <ostream>\n"
        "#include <utility>\n"
        "\n"
        "#include <thriftyol/support/enum_names.h>\n"
        "#include <thriftyol/support/text.h>\n"
        "\n"
        "namespace $ns$ {\n",
        header=header_path, ns=cpp.namespace(program))
    # The maps are built at load in contract order (the order of their
    # definitions here) and destroyed in reverse.
    for enum in program.enums:
        p.print("\n")
        _define_enum(p, enum)
    for struct in program.structs:
        p.print("\n")
        records.define(p, struct)
    p.print("}  // namespace $ns$\n", ns=cpp.namespace(program))
    return p.text()


def _define_enum(p, enum):
    p.print("int $values$[$n$] = {\n", values=cpp.enum_values_array(enum), n=len(enum.members))
    with p.indent(2):
        for member in enum.members:
            p.print("$enum$::$name$,\n", enum=enum.name, name=member.name)
    p.print("};\n")
    p.print("const char* $names$[$n$] = {\n", names=cpp.enum_names_array(enum), n=len(enum.members))
    with p.indent(2):
        for member in enum.members:
            p.print('"$name$",\n', name=member.name)
    p.print("};\n")
    _line(p, "const std::map<int, const char*> $map$ = ::thriftyol::detail::nameMap($values$, $names$);",
          map=cpp.enum_names_map(enum), values=cpp.enum_values_array(enum),
          names=cpp.enum_names_array(enum))


def _line(p, template, **variables):
    """One statement at the left margin, folded to the column limit."""
    text = Printer.substitute(template, variables)
    p.print("$text$\n", text="\n".join(records.fold(0, text)))
