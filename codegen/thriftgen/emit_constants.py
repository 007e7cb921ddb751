"""Emits types/<name>_constants.{h,cpp}: the constants holder. The contract
declares no constants, so the holder is empty; it exists, constructed at
load, so that code written against generated constants builds and links."""

from . import cpp
from .printer import Printer

_HEADER = """
    $banner$
    #ifndef $guard$
    #define $guard$

    #include <thriftyol/types/$name$_types.h>

    namespace $ns$ {

    class $cls$ {
     public:
      $cls$();
    };

    extern const $cls$ $instance$;

    }  // namespace $ns$

    #endif  // $guard$
"""

_SOURCE = """
    $banner$
    #include <thriftyol/$header$>

    namespace $ns$ {

    $cls$::$cls$() {}

    const $cls$ $instance$;

    }  // namespace $ns$
"""


def emit(program):
    base = "types/%s_constants" % program.name
    names = {
        "banner": cpp.banner(program),
        "cls": "%sConstants" % program.name,
        "instance": "g_%s_constants" % program.name,
        "ns": cpp.namespace(program),
    }
    header, source = Printer(), Printer()
    header.emit(_HEADER, guard=cpp.header_guard(base + ".h"), name=program.name, **names)
    source.emit(_SOURCE, header=base + ".h", **names)
    return {base + ".h": header.text(), base + ".cpp": source.text()}
