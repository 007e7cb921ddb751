"""A text printer with `$var$` substitution, after the style of protobuf's.

    p = Printer()
    p.print("class $name$ {\n", name="stFeatures")
    with p.indent():
        p.print(" public:\n")

Every `$name$` must be given; an unknown variable, or a lone `$`, is an
error rather than a silent hole in the output. `$$` prints one `$`.
Indentation is applied at the start of each non-empty line.
"""

import contextlib
import re

_VAR = re.compile(r"\$([A-Za-z_][A-Za-z0-9_]*)?\$")


class PrinterError(Exception):
    pass


class Printer:
    def __init__(self, indent_unit: str = "  "):
        self._parts = []
        self._indent = ""
        self._unit = indent_unit
        self._at_line_start = True

    def print(self, template: str, **variables) -> None:
        text = self.substitute(template, variables)
        for piece in text.splitlines(keepends=True):
            if self._at_line_start and piece.strip():
                self._parts.append(self._indent)
            self._parts.append(piece)
            self._at_line_start = piece.endswith("\n")

    @staticmethod
    def substitute(template: str, variables: dict) -> str:
        def replace(match):
            name = match.group(1)
            if name is None:
                return "$"
            if name not in variables:
                raise PrinterError("unknown variable $%s$ in template %r" % (name, template))
            return str(variables[name])

        out = _VAR.sub(replace, template)
        # Whatever '$' is left did not form a $var$ pair.
        stripped = _VAR.sub("", template)
        if "$" in stripped:
            raise PrinterError("unbalanced '$' in template %r" % template)
        return out

    @contextlib.contextmanager
    def indent(self, levels: int = 1):
        saved = self._indent
        self._indent += self._unit * levels
        try:
            yield
        finally:
            self._indent = saved

    def text(self) -> str:
        return "".join(self._parts)
