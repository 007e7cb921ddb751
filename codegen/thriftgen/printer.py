"""A text printer with `$var$` substitution, after the style of protobuf's.

Templates are written as indented raw strings and printed with emit():

    p = Printer()
    p.emit('''
        class $name$ {
         public:
          $members$
        };
    ''', name="stFeatures", members=lambda: print_members(p))

Every `$name$` must be given; an unknown variable, or a lone `$`, is an
error rather than a silent hole in the output. `$$` prints one `$`.
Indentation is applied at the start of each non-empty line.
"""

import contextlib
import re
import textwrap

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
        """Prints a template as it stands, continuing the current line."""
        self._write(self.substitute(template, variables))

    def emit(self, template: str, **variables) -> None:
        """Prints a template written as an indented raw string.

        The template loses its first newline, its common indentation and the
        blanks before its closing quotes. A line that holds nothing but one
        `$var$` is replaced by that value, every line of it at that line's
        column: an empty value (or None) drops the line altogether, and a
        callable is called with no arguments to print there itself, at that
        column. A line dropped for an empty value, or a callable that prints
        nothing, takes the blank line just above it along, so that an empty
        section leaves no gap. Elsewhere in a line a value is substituted in place, and a
        value of several lines keeps the line's indentation on each of them.
        """
        text = template[1:] if template.startswith("\n") else template
        text = textwrap.dedent(text)
        # The blanks before the closing quotes belong to no line.
        text = re.sub(r"\n[ \t]+\Z", "\n", text)
        blank_above = False
        for line in text.splitlines(keepends=True):
            if not line.strip():
                if blank_above:
                    self._write("\n")
                blank_above = True
                continue
            self._emit_line(line, variables, template, blank_above)
            blank_above = False
        if blank_above:
            self._write("\n")

    def _emit_line(self, line: str, variables: dict, template: str, blank_above: bool) -> None:
        body = line.rstrip("\n")
        margin = body[: len(body) - len(body.lstrip())]
        alone = _VAR.fullmatch(body.strip())
        if alone and alone.group(1) is not None:
            name = alone.group(1)
            if name not in variables:
                raise PrinterError("unknown variable $%s$ in template %r" % (name, template))
            value = variables[name]
            if callable(value):
                saved = len(self._parts), self._at_line_start
                if blank_above:
                    self._write("\n")
                printed_from = len(self._parts)
                with self._margin(margin):
                    value()
                if len(self._parts) == printed_from:
                    del self._parts[saved[0]:]
                    self._at_line_start = saved[1]
            elif value is not None and str(value) != "":
                text = str(value)
                if blank_above:
                    self._write("\n")
                with self._margin(margin):
                    self._write(text if text.endswith("\n") else text + "\n")
            return
        if blank_above:
            self._write("\n")
        for name in _VAR.findall(body):
            if name and callable(variables.get(name)):
                raise PrinterError("callable $%s$ must stand alone on its line" % name)
        with self._margin(margin):
            self._write(self.substitute(line[len(margin):], variables))

    def _write(self, text: str) -> None:
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
        with self._margin(self._unit * levels):
            yield

    @contextlib.contextmanager
    def _margin(self, margin: str):
        saved = self._indent
        self._indent += margin
        try:
            yield
        finally:
            self._indent = saved

    def text(self) -> str:
        return "".join(self._parts)
