"""One record class in C++: its declaration and its out-of-line definitions.

Every record the generator emits goes through here, in one of five kinds:

- RECORD: a data record of the contract, with fingerprints, value
  semantics, ==, swap and the one-line text form (operator<<);
- ARGS and RESULT: the call envelopes a processor reads and writes; they
  own their values;
- PARGS: what a client writes, pointing at the caller's arguments;
- PRESULT: what a client reads, pointing at the caller's result storage.

declare() prints into a header, define() into a source file, both at the
left margin (namespace bodies are not indented). Each construct is a
template below; long lines are folded afterwards, over the whole file.
"""

from . import cpp, model
from .printer import Printer

# For the emitters that still fold statement by statement; they will not
# need it once their output, too, is left to the fold pass.
from .fold import LIMIT as COLUMN_LIMIT, fold_statement as fold  # noqa: F401


def declare(p: Printer, struct: model.Struct) -> None:
    """The class declaration, its __isset structure and, for data records,
    the free swap and operator<< declarations."""
    def isset_struct():
        if struct.has_isset and struct.kind != model.PARGS:
            p.emit(_ISSET_STRUCT, flags="".join("bool %s = false;\n" % f.name
                                                for f in _by_id(struct) if f.has_isset),
                   **_names(struct))

    p.emit(_DECLARATION[struct.kind],
           isset_struct=isset_struct,
           doc=cpp.comment_block(struct.doc),
           members=lambda: _members(p, struct),
           isset_member=_isset_member(struct),
           setters=lambda: _each(p, _SETTER_DECLARATION, struct),
           pointers=lambda: _each(p, _POINTER_MEMBER, struct,
                                  const="const " if struct.kind == model.PARGS else ""),
           fingerprint=struct.fingerprint,
           **_names(struct))


def define(p: Printer, struct: model.Struct) -> None:
    """The out-of-line definitions of everything declare() declared."""
    for part in _DEFINITION[struct.kind]:
        part(p, struct)


# --- Declarations -----------------------------------------------------------

_ISSET_STRUCT = """
    struct $isset$ {
      $flags$
    };

"""

_RECORD_DECLARATION = """
    $isset_struct$
    $doc$
    class $cls$ {
     public:
      static const char* ascii_fingerprint;  // = "$fingerprint$"
      static const uint8_t binary_fingerprint[16];

      $cls$() = default;
      $cls$(const $cls$&) = default;
      $cls$($cls$&&) noexcept = default;
      $cls$& operator=(const $cls$&) = default;
      $cls$& operator=($cls$&&) noexcept = default;
      virtual ~$cls$() noexcept;

      $members$

      $isset_member$

      $setters$

      bool operator==(const $cls$& rhs) const;
      bool operator!=(const $cls$& rhs) const { return !(*this == rhs); }

      uint32_t read($protocol$* iprot);
      uint32_t write($protocol$* oprot) const;
    };

    void swap($cls$& a, $cls$& b);
    std::ostream& operator<<(std::ostream& out, const $cls$& obj);
"""

# ARGS and RESULT: the envelopes that own their values.
_OWNING_DECLARATION = """
    $isset_struct$
    $doc$
    class $cls$ {
     public:
      $cls$() = default;
      virtual ~$cls$() noexcept;

      $members$

      $isset_member$

      $setters$

      uint32_t read($protocol$* iprot);
      uint32_t write($protocol$* oprot) const;
    };
"""

_PARGS_DECLARATION = """
    $doc$
    class $cls$ {
     public:
      virtual ~$cls$() noexcept;

      $pointers$

      uint32_t write($protocol$* oprot) const;
    };
"""

_PRESULT_DECLARATION = """
    $isset_struct$
    $doc$
    class $cls$ {
     public:
      virtual ~$cls$() noexcept;

      $pointers$

      $isset_member$

      uint32_t read($protocol$* iprot);
    };
"""

_DECLARATION = {
    model.RECORD: _RECORD_DECLARATION,
    model.ARGS: _OWNING_DECLARATION,
    model.RESULT: _OWNING_DECLARATION,
    model.PARGS: _PARGS_DECLARATION,
    model.PRESULT: _PRESULT_DECLARATION,
}

_MEMBER = """
    $doc$
    $type$ $name$$init$;
"""

_POINTER_MEMBER = """
    $const$$type$* $name$ = nullptr;
"""

_SETTER_DECLARATION = """
    void __set_$name$($param$ val);
"""


def _members(p, struct):
    for f in _by_id(struct):
        p.emit(_MEMBER, doc=cpp.comment_block(f.doc), init=_initialiser(f.type), **_field(f))


def _isset_member(struct):
    return "%s __isset;" % cpp.isset_struct(struct) if struct.has_isset else ""


# --- Definitions ------------------------------------------------------------

_FINGERPRINTS = """
    const char* $cls$::ascii_fingerprint = "$fingerprint$";
    const uint8_t $cls$::binary_fingerprint[16] = {
        $first_half$,
        $second_half$,
    };

"""

_DESTRUCTOR = """
    $cls$::~$cls$() noexcept = default;

"""

_SETTER = """
    void $cls$::__set_$name$($param$ val) {
      this->$name$ = val;
      $raise_flag$
    }

"""

# Equal when the required and default fields are equal and every optional
# field has the same flag and, where it is set, the same value.
_EQUALITY = """
    bool $cls$::operator==(const $cls$& $rhs$) const {
      $comparisons$
      return true;
    }

"""

_COMPARE = """
    if ($name$ != rhs.$name$) {
      return false;
    }
"""

_COMPARE_OPTIONAL = """
    if (__isset.$name$ != rhs.__isset.$name$) {
      return false;
    }
    if (__isset.$name$ && $name$ != rhs.$name$) {
      return false;
    }
"""

# Reads fields by id until the field stop. A field of an unknown id, or of a
# known id with another wire type, is skipped; a value that arrives twice is
# read twice. A missing required field fails the read after the record's
# end, keeping whatever was read.
_READ = """
    uint32_t $cls$::read($protocol$* iprot) {
      uint32_t xfer = 0;
      std::string fname;
      ::apache::thrift::protocol::TType ftype;
      int16_t fid;

      xfer += iprot->readStructBegin(fname);

      $required_flags$

      while (true) {
        xfer += iprot->readFieldBegin(fname, ftype, fid);
        if (ftype == ::apache::thrift::protocol::T_STOP) {
          break;
        }
        $dispatch$
        xfer += iprot->readFieldEnd();
      }

      xfer += iprot->readStructEnd();

      $check_required$
      return xfer;
    }

"""

_REQUIRED_FLAG = """
    bool isset_$name$ = false;
"""

_CHECK_REQUIRED = """
    if ($missing$) {
      throw ::apache::thrift::protocol::TProtocolException(
          ::apache::thrift::protocol::TProtocolException::INVALID_DATA);
    }
"""

_SKIP_ALL = """
    xfer += iprot->skip(ftype);
"""

_SWITCH = """
    switch (fid) {
      $cases$
      default:
        xfer += iprot->skip(ftype);
        break;
    }
"""

_CASE = """
    case $id$:
      if (ftype == $wire$) {
        $read$
        $flag$ = true;
      } else {
        xfer += iprot->skip(ftype);
      }
      break;
"""

_READ_VALUE = {
    "enum": """
        int32_t ecast;
        xfer += iprot->readI32(ecast);
        $value$ = static_cast<$type$>(ecast);
    """,
    "struct": """
        xfer += $member$read(iprot);
    """,
    "list": """
        xfer += ::thriftyol::detail::readList(iprot, $value$);
    """,
    "base": """
        xfer += iprot->$call$($value$);
    """,
}

# An envelope's write. The records it holds are written through their
# exported write.
_ENVELOPE_WRITE = """
    uint32_t $cls$::write($protocol$* oprot) const {
      $body$
    }

"""

# A data record's write is an inline function of this source file,
# writeRecord(const R&, TProtocol*), which the exported R::write calls. The
# records of the file that hold another record, as a field or in a list,
# call its writeRecord directly: no call through the library's symbol table,
# and a small record can be inlined into its parent's loop. The contract
# declares a record before its use, so the writeRecord of every record a
# record holds is defined above it.
_RECORD_WRITE = """
    namespace {

    // $cls$::write; the records below that hold one
    // call it directly.
    inline uint32_t writeRecord(const $cls$& $obj$, $protocol$* oprot) {
      $body$
    }

    }  // namespace

    uint32_t $cls$::write($protocol$* oprot) const {
      return writeRecord(*this, oprot);
    }

"""

# Required and default fields are always written, optional ones only under
# their flag.
_WRITE_BODY = """
    $depth$
    uint32_t xfer = 0;
    xfer += oprot->writeStructBegin("$cls$");
    $fields$

    xfer += oprot->writeFieldStop();
    xfer += oprot->writeStructEnd();
    return xfer;
"""

_DEPTH_GUARD = "::thriftyol::detail::OutputDepthGuard depth(oprot);"
_NO_DEPTH_GUARD = "// A result does not count towards the output depth; what it carries does."

_WRITE_FIELD = """

    xfer += oprot->writeFieldBegin("$name$", $wire$, $id$);
    $write$
    xfer += oprot->writeFieldEnd();
"""

_WRITE_OPTIONAL_FIELD = """

    if ($owner$__isset.$name$) {
      xfer += oprot->writeFieldBegin("$name$", $wire$, $id$);
      $write$
      xfer += oprot->writeFieldEnd();
    }
"""

_WRITE_VALUE = {
    "enum": """
        xfer += oprot->writeI32(static_cast<int32_t>($value$));
    """,
    "struct": """
        xfer += $write_record$;
    """,
    "list": """
        xfer += oprot->writeListBegin($elem_wire$, static_cast<uint32_t>($member$size()));
        for (const auto& $elem$ : $value$) {
          $write_elem$
        }
        xfer += oprot->writeListEnd();
    """,
    "base": """
        xfer += oprot->$call$($value$);
    """,
}

_SWAP = """
    void swap($cls$& $a$, $cls$& $b$) {
      $using$
      $swaps$
      $swap_isset$
    }

"""

# The one-line text form: R(name=value, ...), "<null>" for an optional field
# whose flag is clear. Each value is built as a string first and inserted as
# one piece.
_TEXT = """
    std::ostream& operator<<(std::ostream& out, const $cls$& $obj$) {
      $using_optional$
      $using_value$
      out << "$cls$(";
      $fields$
      out << ")";
      return out;
    }
"""

_TEXT_FIELD = """
    out << "$label$" << valueText(obj.$name$);
"""

_TEXT_OPTIONAL_FIELD = """
    out << "$label$" << optionalText(obj.__isset.$name$, obj.$name$);
"""


def _define_fingerprints(p, struct):
    digest = bytes.fromhex(struct.fingerprint)
    p.emit(_FINGERPRINTS, fingerprint=struct.fingerprint,
           first_half=", ".join("0x%02X" % b for b in digest[:8]),
           second_half=", ".join("0x%02X" % b for b in digest[8:]), **_names(struct))


def _define_destructor(p, struct):
    p.emit(_DESTRUCTOR, **_names(struct))


def _define_setters(p, struct):
    for f in _by_id(struct):
        p.emit(_SETTER, raise_flag="this->__isset.%s = true;" % f.name
               if f.req == model.OPTIONAL else "", **_field(f), **_names(struct))


def _define_equality(p, struct):
    def comparisons():
        for f in _by_id(struct):
            p.emit(_COMPARE_OPTIONAL if f.req == model.OPTIONAL else _COMPARE, name=f.name)

    p.emit(_EQUALITY, rhs=_parameter("rhs", struct), comparisons=comparisons, **_names(struct))


def _define_read(p, struct, pointers=False):
    required = [f for f in _by_id(struct) if f.req == model.REQUIRED]

    def case(f):
        ref = _Ref(f.name, pointers)
        p.emit(_CASE, read=lambda: _read_value(p, f.type, ref), wire=cpp.wire_type(f.type),
               flag=("this->__isset." if f.has_isset else "isset_") + f.name, id=f.id)

    def dispatch():
        if struct.fields:
            p.emit(_SWITCH, cases=lambda: [case(f) for f in _by_id(struct)])
        else:
            p.emit(_SKIP_ALL)

    def check_required():
        if required:
            p.emit(_CHECK_REQUIRED, missing=" || ".join("!isset_%s" % f.name for f in required))

    p.emit(_READ,
           required_flags=lambda: [p.emit(_REQUIRED_FLAG, name=f.name) for f in required],
           dispatch=dispatch, check_required=check_required, **_names(struct))


def _read_value(p, t, ref):
    p.emit(_READ_VALUE.get(t.kind, _READ_VALUE["base"]), value=ref.value, member=ref.member,
           type=cpp.type_name(t), call=cpp.read_call(t) if t.kind in model.BASE_TYPES else "")


def _define_presult_read(p, struct):
    _define_read(p, struct, pointers=True)


def _define_record_write(p, struct):
    p.emit(_RECORD_WRITE, obj=_parameter("obj", struct), **_names(struct),
           body=lambda: _write_body(p, struct, "obj.", pointers=False, guard=True,
                                    write_record=lambda ref: "writeRecord(%s, oprot)" % ref.value))


def _define_envelope_write(p, struct):
    pointers = struct.kind == model.PARGS
    p.emit(_ENVELOPE_WRITE, **_names(struct),
           body=lambda: _write_body(p, struct, "this->", pointers,
                                    guard=struct.kind != model.RESULT,
                                    write_record=lambda ref: "%swrite(oprot)" % ref.member))


def _write_body(p, struct, owner, pointers, guard, write_record):
    """Fields are reached through `owner` ("this->" or "obj."); a record held
    by value or in a list is written by the call `write_record(ref)`."""
    def fields():
        for f in _by_id(struct):
            ref = _Ref(f.name, pointers, owner)
            p.emit(_WRITE_OPTIONAL_FIELD if f.req == model.OPTIONAL else _WRITE_FIELD,
                   owner=owner, wire=cpp.wire_type(f.type), id=f.id, name=f.name,
                   write=lambda: _write_value(p, f.type, ref, write_record))

    p.emit(_WRITE_BODY, depth=_DEPTH_GUARD if guard else _NO_DEPTH_GUARD, fields=fields,
           cls=struct.name)


def _write_value(p, t, ref, write_record, depth=0):
    elem = "elem" if depth == 0 else "elem%d" % depth
    p.emit(_WRITE_VALUE.get(t.kind, _WRITE_VALUE["base"]), value=ref.value, member=ref.member,
           write_record=write_record(ref), elem=elem,
           call=cpp.write_call(t) if t.kind in model.BASE_TYPES else "",
           elem_wire=cpp.wire_type(t.elem) if t.elem else "",
           write_elem=lambda: _write_value(p, t.elem, _Ref.local(elem), write_record, depth + 1))


def _define_swap(p, struct):
    p.emit(_SWAP, a=_parameter("a", struct), b=_parameter("b", struct),
           using="using std::swap;" if struct.fields else "",
           swaps="".join("swap(a.%s, b.%s);\n" % (f.name, f.name) for f in _by_id(struct)),
           swap_isset="swap(a.__isset, b.__isset);" if struct.has_isset else "",
           **_names(struct))


def _define_text(p, struct):
    fields = _by_id(struct)

    def each_field():
        for i, f in enumerate(fields):
            p.emit(_TEXT_OPTIONAL_FIELD if f.req == model.OPTIONAL else _TEXT_FIELD,
                   label=("" if i == 0 else ", ") + f.name + "=", name=f.name)

    p.emit(_TEXT, obj=_parameter("obj", struct), fields=each_field,
           using_optional="using ::thriftyol::text::optionalText;"
           if any(f.req == model.OPTIONAL for f in fields) else "",
           using_value="using ::thriftyol::text::valueText;"
           if any(f.req != model.OPTIONAL for f in fields) else "",
           **_names(struct))


_DEFINITION = {
    model.RECORD: [_define_fingerprints, _define_destructor, _define_setters, _define_equality,
                   _define_read, _define_record_write, _define_swap, _define_text],
    model.ARGS: [_define_destructor, _define_setters, _define_read, _define_envelope_write],
    model.RESULT: [_define_destructor, _define_setters, _define_read, _define_envelope_write],
    model.PARGS: [_define_destructor, _define_envelope_write],
    model.PRESULT: [_define_destructor, _define_presult_read],
}


# --- Helpers ----------------------------------------------------------------


def _names(struct):
    """The variables every record template uses."""
    return {
        "cls": struct.name,
        "isset": cpp.isset_struct(struct),
        "protocol": cpp.PROTOCOL,
    }


def _field(f):
    """The variables of a template about one field."""
    return {"name": f.name, "type": cpp.type_name(f.type), "param": cpp.param_type(f.type)}


def _each(p, template, struct, **variables):
    """The template once per field, in id order."""
    for f in _by_id(struct):
        p.emit(template, **_field(f), **variables)


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
