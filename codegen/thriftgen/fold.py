"""Folds the lines of a finished C++ file that run past the column limit.

The emitters write every declaration and statement on one line; fold()
then breaks the long ones the way clang-format's Google style would, in
the subset of that style the generated code needs:

- a condition breaks after && or || (else after != or ==), the operator
  ending the line, continuation lines aligned after `if (`;
- a stream insertion breaks before <<, aligned under the first <<;
- an initialisation breaks after =, the value four blanks in (and the
  declared name on a line of its own if even `type name =` is too long);
- `x += call(...)` breaks after += when the call then fits whole;
- a call or declaration breaks between its arguments, aligned after the
  parenthesis, or after a break following the parenthesis, four blanks in;
- a declaration without initialiser breaks before the declared name;
- a definition whose qualified name leaves no room for the rest breaks
  after the name's last `::`, the rest four blanks in;
- a function body written on the line of its declaration (`f() { return x; }`) opens on its own
  lines.

Continuation lines that are still too long are folded again. A line is
left as it is when no rule makes it fit, and comments, preprocessor lines
and lines ending in a comment are never touched; string literals are
never broken. Folding only ever changes blanks and line breaks.
"""

LIMIT = 80


def fold(text: str, limit: int = LIMIT) -> str:
    """The text with every line longer than `limit` folded where possible."""
    out, in_comment = [], False
    for line in text.split("\n"):
        stripped = line.lstrip()
        if in_comment or stripped.startswith("/*"):
            # A block comment runs on until the line that closes it.
            in_comment = "*/" not in (line if in_comment else stripped[2:])
            out.append(line)
            continue
        if len(line) <= limit or stripped.startswith(("//", "#")) or _has_comment(stripped):
            out.append(line)
            continue
        column = len(line) - len(stripped)
        out.extend(" " * column + part if part else part
                   for part in _Folder(limit).statement(column, stripped))
    return "\n".join(out)


def fold_statement(column: int, text: str, limit: int = LIMIT) -> list:
    """The lines of one statement that starts at `column`, relative to it."""
    return _Folder(limit).statement(column, text)


def _has_comment(text):
    depths = _depths(text)
    return any(depths[i] is not None and text.startswith("//", i) for i in range(len(text)))


class _Folder:
    def __init__(self, limit):
        self.limit = limit

    def statement(self, column, text, nested=False):
        """A nested fold (of a continuation line) does not break right after
        an opening parenthesis."""
        if self.fits(column, [text]):
            return [text]
        rules = [self.inline_body, self.condition, self.stream, self.assignment, self.compound,
                 self.call_aligned, self.call_broken, self.declaration, self.scope]
        if nested:
            rules.remove(self.call_broken)
        for rule in rules:
            lines = rule(column, text)
            if lines:
                lines = self.refold(column, lines)
                if self.fits(column, lines):
                    return lines
        return [text]

    def refold(self, column, lines):
        """Folds again each continuation line that is still too long."""
        result = lines[:1]
        for line in lines[1:]:
            indent = len(line) - len(line.lstrip())
            result.extend(" " * indent + part
                          for part in self.statement(column + indent, line.lstrip(), nested=True))
        return result

    def fits(self, column, lines):
        return all(column + len(line) <= self.limit for line in lines)

    def pack(self, column, first, pieces, indent):
        """Greedily appends pieces (joined by blanks) to the line `first`,
        starting a line of `indent` blanks where one would run too long."""
        lines, current = [], first
        for piece in pieces:
            candidate = current + " " + piece
            if self.fits(column, [candidate]):
                current = candidate
            else:
                lines.append(current)
                current = " " * indent + piece
        lines.append(current)
        return lines

    def inline_body(self, column, text):
        cuts = _find_all(text, " { ", 0)
        if not cuts or not text.endswith("; }") or text.startswith("{"):
            return None
        return [text[:cuts[0] + 2], "  " + text[cuts[0] + 3:-2], "}"]

    def condition(self, column, text):
        keyword = next((k for k in ("if (", "while (") if text.startswith(k)), None)
        if keyword is None:
            return None
        # Break after the loosest operators there are, keeping each operator
        # at the end of the line before the break.
        for operators in ((" && ", " || "), (" != ", " == ")):
            cuts = sorted(cut for op in operators for cut in _find_all(text, op, 1))
            if cuts:
                pieces = _split(text, [cut + 3 for cut in cuts], 1)
                return self.pack(column, pieces[0], pieces[1:], len(keyword))
        return None

    def stream(self, column, text):
        cuts = _find_all(text, " << ", 0)
        if len(cuts) < 2:
            return None
        pieces = _split(text, cuts[1:], 1)
        return self.pack(column, pieces[0], pieces[1:], cuts[0] + 1)

    def assignment(self, column, text):
        cuts = _find_all(text, " = ", 0)
        if not cuts:
            return None
        head, rest = text[:cuts[0] + 2], text[cuts[0] + 3:]
        lines = [head]
        if not self.fits(column, lines):
            # The declared name goes on a line of its own, the value below it.
            name_at = head.rfind(" ", 0, len(head) - 2)
            if name_at <= 0:
                return None
            lines = [head[:name_at], "    " + head[name_at + 1:]]
        indent = " " * (4 * len(lines))
        return lines + [indent + line for line in self.statement(column + len(indent), rest)]

    def compound(self, column, text):
        """`xfer += call(...)` breaks after += when the call then fits whole."""
        cuts = _find_all(text, " += ", 0)
        if not cuts:
            return None
        lines = [text[:cuts[0] + 3], "    " + text[cuts[0] + 4:]]
        return lines if self.fits(column, lines) else None

    def call_aligned(self, column, text):
        return self.call(column, text, broken=False)

    def call_broken(self, column, text):
        return self.call(column, text, broken=True)

    def call(self, column, text, broken):
        """Arguments aligned after the parenthesis, or (broken) on the lines
        after it, four blanks in."""
        parts = _call_parts(text)
        if parts is None:
            return None
        head, args, tail = parts
        pieces = [arg + "," for arg in args[:-1]] + [args[-1] + tail]
        if broken:
            return [head] + self.pack(column, "    " + pieces[0], pieces[1:], 4)
        return self.pack(column, head + pieces[0], pieces[1:], len(head))

    def scope(self, column, text):
        """`Outer::~Outer() noexcept = default;` breaks after `Outer::`."""
        depths = _depths(text)
        open_at = next((i for i, c in enumerate(text) if c == "(" and depths[i] == 0), None)
        cut = text.rfind("::", 0, open_at or 0)
        if cut <= 0 or " " in text[:cut]:
            return None
        return [text[:cut + 2], "    " + text[cut + 2:]]

    def declaration(self, column, text):
        """A declaration without initialiser breaks before the declared name."""
        if not text.endswith(";") or any(c in text for c in '()="'):
            return None
        cut = text.rfind(" ")
        if cut <= 0:
            return None
        return [text[:cut], "    " + text[cut + 1:]]


def _depths(text):
    """The bracket depth at each character, None inside string and
    character literals."""
    depths, depth, quote, escaped = [], 0, None, False
    for c in text:
        if quote:
            depths.append(None)
            if escaped:
                escaped = False
            elif c == "\\":
                escaped = True
            elif c == quote:
                quote = None
            continue
        if c in "\"'":
            depths.append(None)
            quote = c
            continue
        if c in ")]}":
            depth -= 1
        depths.append(depth)
        if c in "([{":
            depth += 1
    return depths


def _find_all(text, token, depth):
    """Positions of `token` outside literals at bracket depth `depth`."""
    depths = _depths(text)
    found, start = [], text.find(token)
    while start >= 0:
        if depths[start] == depth:
            found.append(start)
        start = text.find(token, start + 1)
    return found


def _split(text, cuts, width, start=0):
    """Cuts text into pieces at the given positions, dropping the `width`
    characters of each cut."""
    pieces = []
    for cut in cuts:
        pieces.append(text[start:cut])
        start = cut + width
    pieces.append(text[start:])
    return pieces


def _call_parts(text):
    """(head ending in '(', [arguments], tail starting with ')') of the first
    call at depth 0, or None."""
    if text.startswith(("if (", "while (", "for (")):
        return None
    depths = _depths(text)
    open_at = next((i for i, c in enumerate(text) if c == "(" and depths[i] == 0), None)
    if open_at is None:
        return None
    close_at = next((i for i in range(open_at + 1, len(text))
                     if text[i] == ")" and depths[i] == 0), None)
    if close_at is None or close_at == open_at + 1:
        return None
    args, start = [], open_at + 1
    for i in range(open_at + 1, close_at):
        if text[i] == "," and depths[i] == 1:
            args.append(text[start:i].strip())
            start = i + 1
    args.append(text[start:close_at].strip())
    return text[:open_at + 1], args, text[close_at:]
