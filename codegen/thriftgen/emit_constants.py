"""Emits types/<name>_constants.{h,cpp}: the constants holder. The contract
declares no constants, so the holder is empty; it exists, constructed at
load, so that code written against generated constants builds and links."""

from . import cpp
from .printer import Printer


def emit(program):
    base = "types/%s_constants" % program.name
    names = {
        "cls": "%sConstants" % program.name,
        "instance": "g_%s_constants" % program.name,
        "ns": cpp.namespace(program),
    }
    return {
        base + ".h": _header(program, base + ".h", names),
        base + ".cpp": _source(program, base + ".h", names),
    }


def _header(program, path, names):
    p = Printer()
    p.print(cpp.banner(program))
    p.print(
        "#ifndef $guard$\n"
        "#define $guard$\n"
        "\n"
        "#include <thriftyol/types/$name$_types.h>\n"
        "\n"
        "namespace $ns$ {\n"
        "\n"
        "class $cls$ {\n"
        " public:\n"
        "  $cls$();\n"
        "};\n"
        "\n"
        "extern const $cls$ $instance$;\n"
        "\n"
        "}  // namespace $ns$\n"
        "\n"
        "#endif  // $guard$\n",
        guard=cpp.header_guard(path), name=program.name, **names)
    return p.text()


def _source(program, header_path, names):
    p = Printer()
    p.print(cpp.banner(program))
    p.print(
        "#include <thriftyol/$header$>\n"
        "\n"
        "namespace $ns$ {\n"
        "\n"
        "$cls$::$cls$() {}\n"
        "\n"
        "const $cls$ $instance$;\n"
        "\n"
        "}  // namespace $ns$\n",
        header=header_path, **names)
    return p.text()
