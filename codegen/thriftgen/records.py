"""One record class in C++: its declaration and its out-of-line definitions.

Every record the generator emits goes through here, in one of five kinds:

- RECORD: a data record of the contract, with fingerprints, value
  semantics, ==, swap and the one-line text form (operator<<);
- ARGS and RESULT: the call envelopes a processor reads and writes; they
  own their values;
- PARGS: what a client writes, pointing at the caller's arguments;
- PRESULT: what a client reads, pointing at the caller's result storage.

declare() prints into a header, define() into a source file. Both print
at the left margin (namespace bodies are not indented) and fold lines
longer than COLUMN_LIMIT the way clang-format's Google style would.
"""

import contextlib

from . import cpp, model
from .printer import Printer

COLUMN_LIMIT = 80

_TTYPE = "::apache::thrift::protocol::TType"
_T_STOP = "::apache::thrift::protocol::T_STOP"


def declare(p: Printer, struct: model.Struct) -> None:
    """The class declaration, its __isset structure and, for data records,
    the free swap and operator<< declarations."""
    out = _Out(p)
    if struct.has_isset and struct.kind != model.PARGS:
        _declare_isset(out, struct)
    out.block("$doc$", doc=cpp.comment_block(struct.doc))
    out.line("class $cls$ {", cls=struct.name)
    out.block(" public:\n")
    with out.indent():
        _DECLARE[struct.kind](out, struct)
    out.line("};")
    if struct.kind == model.RECORD:
        out.blank()
        out.line("void swap($cls$& a, $cls$& b);", cls=struct.name)
        out.line("std::ostream& operator<<(std::ostream& out, const $cls$& obj);", cls=struct.name)


def define(p: Printer, struct: model.Struct) -> None:
    """The out-of-line definitions of everything declare() declared."""
    out = _Out(p)
    _DEFINE[struct.kind](out, struct)


# --- Declarations -----------------------------------------------------------


def _declare_isset(out, struct):
    out.line("struct $isset$ {", isset=cpp.isset_struct(struct))
    with out.indent():
        for f in _by_id(struct):
            if f.has_isset:
                out.line("bool $name$ = false;", name=f.name)
    out.line("};")
    out.blank()


def _declare_record(out, struct):
    cls = struct.name
    out.line('static const char* ascii_fingerprint;  // = "$fp$"', fp=struct.fingerprint)
    out.line("static const uint8_t binary_fingerprint[16];")
    out.blank()
    out.line("$cls$() = default;", cls=cls)
    out.line("$cls$(const $cls$&) = default;", cls=cls)
    out.line("$cls$($cls$&&) noexcept = default;", cls=cls)
    out.line("$cls$& operator=(const $cls$&) = default;", cls=cls)
    out.line("$cls$& operator=($cls$&&) noexcept = default;", cls=cls)
    out.line("virtual ~$cls$() noexcept;", cls=cls)
    _declare_members(out, struct)
    _declare_setters(out, struct)
    out.blank()
    out.line("bool operator==(const $cls$& rhs) const;", cls=cls)
    inequality = "bool operator!=(const $cls$& rhs) const {"
    if out.fits(inequality + " return !(*this == rhs); }", cls=cls):
        out.line(inequality + " return !(*this == rhs); }", cls=cls)
    else:
        out.line(inequality, cls=cls)
        with out.indent():
            out.line("return !(*this == rhs);")
        out.line("}")
    _declare_io(out, read=True, write=True)


def _declare_args_or_result(out, struct):
    out.line("$cls$() = default;", cls=struct.name)
    out.line("virtual ~$cls$() noexcept;", cls=struct.name)
    _declare_members(out, struct)
    _declare_setters(out, struct)
    _declare_io(out, read=True, write=True)


def _declare_pargs(out, struct):
    out.line("virtual ~$cls$() noexcept;", cls=struct.name)
    _declare_pointers(out, struct, "const ")
    _declare_io(out, read=False, write=True)


def _declare_presult(out, struct):
    out.line("virtual ~$cls$() noexcept;", cls=struct.name)
    _declare_pointers(out, struct, "")
    if struct.has_isset:
        out.blank()
        out.line("$isset$ __isset;", isset=cpp.isset_struct(struct))
    _declare_io(out, read=True, write=False)


def _declare_members(out, struct):
    if struct.fields:
        out.blank()
    for f in _by_id(struct):
        out.block("$doc$", doc=cpp.comment_block(f.doc))
        out.line("$type$ $name$$init$;", type=cpp.type_name(f.type), name=f.name,
                 init=_initialiser(f.type))
    if struct.has_isset:
        out.blank()
        out.line("$isset$ __isset;", isset=cpp.isset_struct(struct))


def _declare_pointers(out, struct, const):
    """The members of the envelopes that only point at the caller's values."""
    if struct.fields:
        out.blank()
    for f in _by_id(struct):
        out.line("$const$$type$* $name$ = nullptr;", const=const, type=cpp.type_name(f.type),
                 name=f.name)


def _declare_setters(out, struct):
    if struct.fields:
        out.blank()
    for f in _by_id(struct):
        out.line("void __set_$name$($param$ val);", name=f.name, param=cpp.param_type(f.type))


def _declare_io(out, read, write):
    out.blank()
    if read:
        out.line("uint32_t read($proto$* iprot);", proto=cpp.PROTOCOL)
    if write:
        out.line("uint32_t write($proto$* oprot) const;", proto=cpp.PROTOCOL)


_DECLARE = {
    model.RECORD: _declare_record,
    model.ARGS: _declare_args_or_result,
    model.RESULT: _declare_args_or_result,
    model.PARGS: _declare_pargs,
    model.PRESULT: _declare_presult,
}


# --- Definitions ------------------------------------------------------------


def _define_record(out, struct):
    _define_fingerprints(out, struct)
    _define_destructor(out, struct)
    _define_setters(out, struct)
    _define_equality(out, struct)
    _define_read(out, struct, pointers=False)
    _define_record_write(out, struct)
    _define_swap(out, struct)
    _define_text(out, struct)


def _define_args(out, struct):
    _define_destructor(out, struct)
    _define_setters(out, struct)
    _define_read(out, struct, pointers=False)
    _define_write(out, struct, pointers=False, guard=True)


def _define_result(out, struct):
    _define_destructor(out, struct)
    _define_setters(out, struct)
    _define_read(out, struct, pointers=False)
    _define_write(out, struct, pointers=False, guard=False)


def _define_pargs(out, struct):
    _define_destructor(out, struct)
    _define_write(out, struct, pointers=True, guard=True)


def _define_presult(out, struct):
    _define_destructor(out, struct)
    _define_read(out, struct, pointers=True)


_DEFINE = {
    model.RECORD: _define_record,
    model.ARGS: _define_args,
    model.RESULT: _define_result,
    model.PARGS: _define_pargs,
    model.PRESULT: _define_presult,
}


def _define_fingerprints(out, struct):
    digest = bytes.fromhex(struct.fingerprint)
    out.line('const char* $cls$::ascii_fingerprint = "$fp$";', cls=struct.name,
             fp=struct.fingerprint)
    out.line("const uint8_t $cls$::binary_fingerprint[16] = {", cls=struct.name)
    with out.indent(2):
        for half in (digest[:8], digest[8:]):
            out.line("$bytes$,", bytes=", ".join("0x%02X" % b for b in half))
    out.line("};")
    out.blank()


def _define_destructor(out, struct):
    out.line("$cls$::~$cls$() noexcept = default;", cls=struct.name)
    out.blank()


def _define_setters(out, struct):
    for f in _by_id(struct):
        out.line("void $cls$::__set_$name$($param$ val) {", cls=struct.name, name=f.name,
                 param=cpp.param_type(f.type))
        with out.indent():
            out.line("this->$name$ = val;", name=f.name)
            if f.req == model.OPTIONAL:
                out.line("this->__isset.$name$ = true;", name=f.name)
        out.line("}")
        out.blank()


def _define_equality(out, struct):
    """Equal when the required and default fields are equal and every
    optional field has the same flag and, where it is set, the same value."""
    out.line("bool $cls$::operator==(const $cls$& $rhs$) const {", cls=struct.name,
             rhs=_parameter("rhs", struct))
    with out.indent():
        for f in _by_id(struct):
            if f.req == model.OPTIONAL:
                out.line("if (__isset.$name$ != rhs.__isset.$name$) {", name=f.name)
                _return_false(out)
                out.line("if (__isset.$name$ && $name$ != rhs.$name$) {", name=f.name)
            else:
                out.line("if ($name$ != rhs.$name$) {", name=f.name)
            _return_false(out)
        out.line("return true;")
    out.line("}")
    out.blank()


def _return_false(out):
    with out.indent():
        out.line("return false;")
    out.line("}")


def _define_read(out, struct, pointers):
    """Reads fields by id until the field stop. A field of an unknown id, or
    of a known id with another wire type, is skipped; a value that arrives
    twice is read twice. A missing required field fails the read after the
    record's end, keeping whatever was read."""
    fields = _by_id(struct)
    out.line("uint32_t $cls$::read($proto$* iprot) {", cls=struct.name, proto=cpp.PROTOCOL)
    with out.indent():
        out.block(
            "uint32_t xfer = 0;\n"
            "std::string fname;\n"
            "$ttype$ ftype;\n"
            "int16_t fid;\n"
            "\n"
            "xfer += iprot->readStructBegin(fname);\n",
            ttype=_TTYPE)
        required = [f for f in fields if f.req == model.REQUIRED]
        if required:
            out.blank()
        for f in required:
            out.line("bool isset_$name$ = false;", name=f.name)
        out.blank()
        out.line("while (true) {")
        with out.indent():
            out.line("xfer += iprot->readFieldBegin(fname, ftype, fid);")
            out.line("if (ftype == $stop$) {", stop=_T_STOP)
            with out.indent():
                out.line("break;")
            out.line("}")
            if fields:
                _read_switch(out, fields, pointers)
            else:
                out.line("xfer += iprot->skip(ftype);")
            out.line("xfer += iprot->readFieldEnd();")
        out.line("}")
        out.blank()
        out.line("xfer += iprot->readStructEnd();")
        if required:
            out.blank()
            out.line("if ($missing$) {",
                     missing=" || ".join("!isset_%s" % f.name for f in required))
            with out.indent():
                out.line("throw ::apache::thrift::protocol::TProtocolException(")
                out.line("    ::apache::thrift::protocol::TProtocolException::INVALID_DATA);")
            out.line("}")
        out.line("return xfer;")
    out.line("}")
    out.blank()


def _read_switch(out, fields, pointers):
    out.line("switch (fid) {")
    with out.indent():
        for f in fields:
            ref = _Ref(f.name, pointers)
            out.line("case $id$:", id=f.id)
            with out.indent():
                out.line("if (ftype == $wire$) {", wire=cpp.wire_type(f.type))
                with out.indent():
                    _read_value(out, f.type, ref)
                    if f.has_isset:
                        out.line("this->__isset.$name$ = true;", name=f.name)
                    else:
                        out.line("isset_$name$ = true;", name=f.name)
                out.line("} else {")
                with out.indent():
                    out.line("xfer += iprot->skip(ftype);")
                out.line("}")
                out.line("break;")
        out.line("default:")
        with out.indent():
            out.line("xfer += iprot->skip(ftype);")
            out.line("break;")
    out.line("}")


def _read_value(out, t, ref):
    if t.kind == "enum":
        out.line("int32_t ecast;")
        out.line("xfer += iprot->readI32(ecast);")
        out.line("$value$ = static_cast<$type$>(ecast);", value=ref.value, type=cpp.type_name(t))
    elif t.kind == "struct":
        out.line("xfer += $member$read(iprot);", member=ref.member)
    elif t.kind == "list":
        out.line("xfer += ::thriftyol::detail::readList(iprot, $value$);", value=ref.value)
    else:
        out.line("xfer += iprot->$call$($value$);", call=cpp.read_call(t), value=ref.value)


def _define_write(out, struct, pointers, guard):
    """An envelope's write. The records it holds are written through their
    exported write."""
    out.line("uint32_t $cls$::write($proto$* oprot) const {", cls=struct.name,
             proto=cpp.PROTOCOL)
    with out.indent():
        _write_body(out, struct, "this->", pointers, guard, record_call=_write_method)
    out.line("}")
    out.blank()


def _define_record_write(out, struct):
    """A data record's write is an inline function of this source file,
    writeRecord(const R&, TProtocol*), which the exported R::write calls.
    The records of the file that hold another record, as a field or in a
    list, call its writeRecord directly: no call through the library's
    symbol table, and a small record can be inlined into its parent's loop.
    The contract declares a record before its use, so the writeRecord of
    every record a record holds is defined above it."""
    out.line("namespace {")
    out.blank()
    out.line("// $cls$::write; the records below that hold one call it directly.",
             cls=struct.name)
    out.line("inline uint32_t writeRecord(const $cls$& $obj$, $proto$* oprot) {",
             cls=struct.name, obj=_parameter("obj", struct), proto=cpp.PROTOCOL)
    with out.indent():
        _write_body(out, struct, "obj.", False, guard=True, record_call=_write_record)
    out.line("}")
    out.blank()
    out.line("}  // namespace")
    out.blank()
    out.line("uint32_t $cls$::write($proto$* oprot) const {", cls=struct.name,
             proto=cpp.PROTOCOL)
    with out.indent():
        out.line("return writeRecord(*this, oprot);")
    out.line("}")
    out.blank()


def _write_body(out, struct, owner, pointers, guard, record_call):
    """Writes the record between struct begin and end: required and default
    fields always, optional ones only under their flag. Fields are reached
    through `owner` ("this->" or "obj."); `record_call(ref)` is the call
    that writes a record held by value or in a list."""
    if guard:
        out.line("::thriftyol::detail::OutputDepthGuard depth(oprot);")
    else:
        out.line("// A result does not count towards the output depth; what it carries does.")
    out.line("uint32_t xfer = 0;")
    out.line('xfer += oprot->writeStructBegin("$cls$");', cls=struct.name)
    for f in _by_id(struct):
        out.blank()
        if f.req == model.OPTIONAL:
            out.line("if ($owner$__isset.$name$) {", owner=owner, name=f.name)
            with out.indent():
                _write_field(out, f, _Ref(f.name, pointers, owner), record_call)
            out.line("}")
        else:
            _write_field(out, f, _Ref(f.name, pointers, owner), record_call)
    out.blank()
    out.line("xfer += oprot->writeFieldStop();")
    out.line("xfer += oprot->writeStructEnd();")
    out.line("return xfer;")


def _write_field(out, f, ref, record_call):
    out.line('xfer += oprot->writeFieldBegin("$name$", $wire$, $id$);', name=f.name,
             wire=cpp.wire_type(f.type), id=f.id)
    _write_value(out, f.type, ref, record_call)
    out.line("xfer += oprot->writeFieldEnd();")


def _write_value(out, t, ref, record_call, depth=0):
    if t.kind == "enum":
        out.line("xfer += oprot->writeI32(static_cast<int32_t>($value$));", value=ref.value)
    elif t.kind == "struct":
        out.line("xfer += $call$;", call=record_call(ref))
    elif t.kind == "list":
        elem = "elem" if depth == 0 else "elem%d" % depth
        out.line("xfer += oprot->writeListBegin($wire$, static_cast<uint32_t>($member$size()));",
                 wire=cpp.wire_type(t.elem), member=ref.member)
        out.line("for (const auto& $elem$ : $value$) {", elem=elem, value=ref.value)
        with out.indent():
            _write_value(out, t.elem, _Ref.local(elem), record_call, depth + 1)
        out.line("}")
        out.line("xfer += oprot->writeListEnd();")
    else:
        out.line("xfer += oprot->$call$($value$);", call=cpp.write_call(t), value=ref.value)


def _write_method(ref):
    return "%swrite(oprot)" % ref.member


def _write_record(ref):
    return "writeRecord(%s, oprot)" % ref.value


def _define_swap(out, struct):
    out.line("void swap($cls$& $a$, $cls$& $b$) {", cls=struct.name,
             a=_parameter("a", struct), b=_parameter("b", struct))
    with out.indent():
        if struct.fields:
            out.line("using std::swap;")
        for f in _by_id(struct):
            out.line("swap(a.$name$, b.$name$);", name=f.name)
        if struct.has_isset:
            out.line("swap(a.__isset, b.__isset);")
    out.line("}")
    out.blank()


def _define_text(out, struct):
    """The one-line text form: R(name=value, ...), "<null>" for an optional
    field whose flag is clear. Each value is built as a string first and
    inserted as one piece."""
    fields = _by_id(struct)
    out.line("std::ostream& operator<<(std::ostream& out, const $cls$& $obj$) {",
             cls=struct.name, obj=_parameter("obj", struct))
    with out.indent():
        if any(f.req == model.OPTIONAL for f in fields):
            out.line("using ::thriftyol::text::optionalText;")
        if any(f.req != model.OPTIONAL for f in fields):
            out.line("using ::thriftyol::text::valueText;")
        out.line('out << "$cls$(";', cls=struct.name)
        for i, f in enumerate(fields):
            label = ("" if i == 0 else ", ") + f.name + "="
            if f.req == model.OPTIONAL:
                out.line('out << "$label$" << optionalText(obj.__isset.$name$, obj.$name$);',
                         label=label, name=f.name)
            else:
                out.line('out << "$label$" << valueText(obj.$name$);', label=label, name=f.name)
        out.line('out << ")";')
        out.line("return out;")
    out.line("}")


# --- Helpers ----------------------------------------------------------------


def _by_id(struct):
    return sorted(struct.fields, key=lambda f: f.id)


def _parameter(name, struct):
    """A parameter that only a record with fields uses: unnamed otherwise."""
    return name if struct.fields else "/*%s*/" % name


def _initialiser(t):
    if t.kind == "bool":
        return " = false"
    if t.kind == "i32":
        return " = 0"
    if t.kind == "double":
        return " = 0.0"
    if t.kind == "enum":
        return " = static_cast<%s>(0)" % cpp.type_name(t)
    return ""  # strings, lists and records construct empty


class _Ref:
    """How generated code reaches a value: `value` is an lvalue expression,
    `member` the prefix for calling its member functions."""

    def __init__(self, name, pointer, owner="this->"):
        if pointer:
            self.value, self.member = "*%s%s" % (owner, name), "%s%s->" % (owner, name)
        else:
            self.value, self.member = owner + name, "%s%s." % (owner, name)

    @classmethod
    def local(cls, name):
        ref = cls.__new__(cls)
        ref.value, ref.member = name, name + "."
        return ref


class _Out:
    """A Printer that knows the column it prints at, so that line() can fold
    a statement that would run past COLUMN_LIMIT."""

    def __init__(self, p: Printer):
        self._p = p
        self._column = 0

    def line(self, template, **variables):
        """One statement (or declaration line), folded to fit."""
        text = Printer.substitute(template, variables)
        self._p.print("$text$\n", text="\n".join(fold(self._column, text)))

    def fits(self, template, **variables):
        return _fits(self._column, [Printer.substitute(template, variables)])

    def block(self, template, **variables):
        """Lines printed as they are."""
        self._p.print(template, **variables)

    def blank(self):
        self._p.print("\n")

    @contextlib.contextmanager
    def indent(self, levels=1):
        with self._p.indent(levels):
            self._column += 2 * levels
            try:
                yield
            finally:
                self._column -= 2 * levels


# --- Folding long lines -----------------------------------------------------
#
# A small subset of clang-format's Google style, enough for the statements
# above: a condition breaks after && or || (else after != or ==), a stream
# insertion before <<, an initialisation after =, `x += call()` after += when
# the call then fits, a call between its arguments (aligned after the
# parenthesis, or after a break following it), a declaration before its
# name. Continuation lines carry their indentation relative to the
# statement's first line.


def fold(column, text, nested=False):
    """The lines of one statement starting at `column`. A nested fold (of a
    continuation line) does not break right after an opening parenthesis."""
    if _fits(column, [text]):
        return [text]
    rules = [_fold_condition, _fold_stream, _fold_assignment, _fold_compound,
             _fold_call_aligned, _fold_call_broken, _fold_declaration]
    if nested:
        rules.remove(_fold_call_broken)
    for rule in rules:
        lines = rule(column, text)
        if lines:
            lines = _refold(column, lines)
            if _fits(column, lines):
                return lines
    return [text]


def _refold(column, lines):
    """Folds again each continuation line that is still too long."""
    result = lines[:1]
    for line in lines[1:]:
        indent = len(line) - len(line.lstrip())
        result.extend(" " * indent + part
                      for part in fold(column + indent, line.lstrip(), nested=True))
    return result


def _fits(column, lines):
    return all(column + len(line) <= COLUMN_LIMIT for line in lines)


def _depths(text):
    """The parenthesis depth at each character, None inside string literals."""
    depths, depth, quoted, escaped = [], 0, False, False
    for c in text:
        if quoted:
            depths.append(None)
            if escaped:
                escaped = False
            elif c == "\\":
                escaped = True
            elif c == '"':
                quoted = False
            continue
        if c == '"':
            depths.append(None)
            quoted = True
            continue
        if c in ")]}":
            depth -= 1
        depths.append(depth)
        if c in "([{":
            depth += 1
    return depths


def _find_all(text, token, depth):
    """Positions of `token` outside string literals at parenthesis depth `depth`."""
    depths = _depths(text)
    found, start = [], text.find(token)
    while start >= 0:
        if depths[start] == depth:
            found.append(start)
        start = text.find(token, start + 1)
    return found


def _pack(column, first, pieces, indent):
    """Greedily appends pieces (joined by blanks) to the line `first`,
    starting a line of `indent` blanks where one would run too long."""
    lines, current = [], first
    for piece in pieces:
        candidate = current + " " + piece
        if _fits(column, [candidate]):
            current = candidate
        else:
            lines.append(current)
            current = " " * indent + piece
    lines.append(current)
    return lines


def _split(text, cuts, width, start=0):
    """Cuts text into pieces at the given positions, dropping the `width`
    characters of each cut."""
    pieces = []
    for cut in cuts:
        pieces.append(text[start:cut])
        start = cut + width
    pieces.append(text[start:])
    return pieces


def _fold_condition(column, text):
    keyword = next((k for k in ("if (", "while (") if text.startswith(k)), None)
    if keyword is None:
        return None
    # Break after the loosest operators there are, keeping each operator at
    # the end of the line before the break.
    for operators in ((" && ", " || "), (" != ", " == ")):
        cuts = sorted(cut for op in operators for cut in _find_all(text, op, 1))
        if cuts:
            pieces = _split(text, [cut + 3 for cut in cuts], 1)
            return _pack(column, pieces[0], pieces[1:], len(keyword))
    return None


def _fold_stream(column, text):
    cuts = _find_all(text, " << ", 0)
    if len(cuts) < 2:
        return None
    pieces = _split(text, cuts[1:], 1)
    return _pack(column, pieces[0], pieces[1:], cuts[0] + 1)


def _fold_assignment(column, text):
    cuts = _find_all(text, " = ", 0)
    if not cuts:
        return None
    head, rest = text[:cuts[0] + 2], text[cuts[0] + 3:]
    lines = [head]
    if not _fits(column, lines):
        # The declared name goes on a line of its own, the value below it.
        name_at = head.rfind(" ", 0, len(head) - 2)
        if name_at <= 0:
            return None
        lines = [head[:name_at], "    " + head[name_at + 1:]]
    indent = " " * (4 * len(lines))
    return lines + [indent + line for line in fold(column + len(indent), rest)]


def _fold_declaration(column, text):
    """A declaration without initialiser breaks before the declared name."""
    if not text.endswith(";") or any(c in text for c in '()="'):
        return None
    cut = text.rfind(" ")
    if cut <= 0:
        return None
    return [text[:cut], "    " + text[cut + 1:]]


def _fold_compound(column, text):
    """`xfer += call(...)` breaks after += when the call then fits whole."""
    cuts = _find_all(text, " += ", 0)
    if not cuts:
        return None
    lines = [text[:cuts[0] + 3], "    " + text[cuts[0] + 4:]]
    return lines if _fits(column, lines) else None


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


def _fold_call_aligned(column, text):
    return _fold_call(column, text, broken=False)


def _fold_call_broken(column, text):
    return _fold_call(column, text, broken=True)


def _fold_call(column, text, broken):
    """Arguments aligned after the parenthesis, or (broken) on the lines
    after it, four blanks in."""
    parts = _call_parts(text)
    if parts is None:
        return None
    head, args, tail = parts
    pieces = _arguments(args, tail)
    if broken:
        return [head] + _pack(column, "    " + pieces[0], pieces[1:], 4)
    return _pack(column, head + pieces[0], pieces[1:], len(head))


def _arguments(args, tail):
    return [arg + "," for arg in args[:-1]] + [args[-1] + tail]
