"""Emits types/<name>_types.{h,cpp}: the enumerations with their name
tables, and the data records of the contract in declaration order."""

from . import cpp, records
from .printer import Printer

_HEADER = """
    $banner$
    #ifndef $guard$
    #define $guard$

    #include <cstdint>
    #include <iosfwd>
    #include <map>
    #include <string>
    #include <vector>

    #include <thrift/Thrift.h>
    #include <thrift/protocol/TProtocol.h>

    #include <thriftyol/support/wire.h>

    namespace $ns$ {

    $enums$

    $forward_declarations$

    $records$

    }  // namespace $ns$

    #endif  // $guard$
"""

# Fixed to i32: a value read from the wire that no member names is still a
# valid value of the type, so holding it is well defined.
_ENUM_DECLARATION = """
    $doc$
    struct $enum$ {
      enum type : int32_t {
        $members$
      };
    };

    extern int $values$[$n$];
    extern const char* $names$[$n$];
    extern const std::map<int, const char*> $map$;
"""

_SOURCE = """
    $banner$
    #include <thriftyol/$header$>

    #include <ostream>
    #include <utility>

    #include <thriftyol/support/enum_names.h>
    #include <thriftyol/support/text.h>

    namespace $ns$ {

    $enums$

    $records$
    }  // namespace $ns$
"""

# The maps are built at load in contract order (the order of their
# definitions in the source) and destroyed in reverse.
_ENUM_TABLES = """
    int $values$[$n$] = {
        $values_list$
    };
    const char* $names$[$n$] = {
        $names_list$
    };
    const std::map<int, const char*> $map$ = ::thriftyol::detail::nameMap($values$, $names$);
"""


def emit(program):
    base = "types/%s_types" % program.name
    return {
        base + ".h": _header(program, base + ".h"),
        base + ".cpp": _source(program, base + ".h"),
    }


def _header(program, path):
    p = Printer()
    p.emit(_HEADER, banner=cpp.banner(program), guard=cpp.header_guard(path),
           ns=cpp.namespace(program),
           enums=lambda: _separated(p, program.enums, lambda e: _declare_enum(p, e)),
           forward_declarations="".join("class %s;\n" % s.name for s in program.structs),
           records=lambda: _separated(p, program.structs, lambda s: records.declare(p, s)))
    return p.text()


def _source(program, header_path):
    p = Printer()
    p.emit(_SOURCE, banner=cpp.banner(program), header=header_path, ns=cpp.namespace(program),
           enums=lambda: _separated(p, program.enums, lambda e: _define_enum(p, e)),
           records=lambda: _separated(p, program.structs, lambda s: records.define(p, s)))
    return p.text()


def _declare_enum(p, enum):
    p.emit(_ENUM_DECLARATION, doc=cpp.comment_block(enum.doc),
           members="".join("%s = %s,\n" % (m.name, m.value) for m in enum.members),
           **_tables(enum))


def _define_enum(p, enum):
    p.emit(_ENUM_TABLES,
           values_list="".join("%s::%s,\n" % (enum.name, m.name) for m in enum.members),
           names_list="".join('"%s",\n' % m.name for m in enum.members),
           **_tables(enum))


def _tables(enum):
    return {
        "enum": enum.name,
        "n": len(enum.members),
        "values": cpp.enum_values_array(enum),
        "names": cpp.enum_names_array(enum),
        "map": cpp.enum_names_map(enum),
    }


def _separated(p, items, emit_one):
    """Each item after the first below a blank line."""
    for i, item in enumerate(items):
        if i:
            p.print("\n")
        emit_one(item)
