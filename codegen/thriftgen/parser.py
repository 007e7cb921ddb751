"""Parser for the subset of the Thrift IDL that our contract uses.

Accepted, and nothing else:

    namespace cpp NAME
    enum NAME { MEMBER = INT, ... }
    struct NAME { ID: [required|optional] TYPE NAME, ... }
    service NAME { TYPE NAME(ID: TYPE NAME, ...), ... }

with TYPE one of bool, i32, double, string, a declared enumeration or
record, list<TYPE>, and void as a call's result. Separators after
members, fields and calls may be ',' or ';' or nothing. Comments: '//',
'#' and '/* */'; a '/** */' block right before a declaration is kept as
its doc text. A type must be declared before it is used.

Anything else fails with ParseError("FILE:LINE: expected ..., got ...").
"""

import os
import re
from typing import List, Optional, Tuple

from . import model

KEYWORDS_REJECTED = {
    "include", "cpp_include", "typedef", "const", "union", "exception",
    "oneway", "throws", "extends", "senum", "map", "set", "binary", "byte",
    "i8", "i16", "i64", "slist",
}

# Words of the accepted subset: never a name.
KEYWORDS = {
    "namespace", "enum", "struct", "service", "required", "optional",
    "void", "list",
} | set(model.BASE_TYPES)

# C++ keywords: a declaration or member named so would not compile.
CPP_KEYWORDS = {
    "alignas", "alignof", "and", "and_eq", "asm", "auto", "bitand", "bitor",
    "bool", "break", "case", "catch", "char", "char8_t", "char16_t",
    "char32_t", "class", "compl", "concept", "const", "consteval",
    "constexpr", "constinit", "const_cast", "continue", "co_await",
    "co_return", "co_yield", "decltype", "default", "delete", "do", "double",
    "dynamic_cast", "else", "enum", "explicit", "export", "extern", "false",
    "float", "for", "friend", "goto", "if", "inline", "int", "long",
    "mutable", "namespace", "new", "noexcept", "not", "not_eq", "nullptr",
    "operator", "or", "or_eq", "private", "protected", "public", "register",
    "reinterpret_cast", "requires", "return", "short", "signed", "sizeof",
    "static", "static_assert", "static_cast", "struct", "switch", "template",
    "this", "thread_local", "throw", "true", "try", "typedef", "typeid",
    "typename", "union", "unsigned", "using", "virtual", "void", "volatile",
    "wchar_t", "while", "xor", "xor_eq",
}

_TOKEN = re.compile(
    r"""
    (?P<ws>[ \t\r]+)
  | (?P<nl>\n)
  | (?P<doc>/\*\*(?!/).*?\*/)
  | (?P<block>/\*.*?\*/)
  | (?P<line>(//|\#)[^\n]*)
  | (?P<str>"[^"\n]*"|'[^'\n]*')
  | (?P<int>[+-]?\d+)
  | (?P<ident>[A-Za-z_][A-Za-z0-9_.]*)
  | (?P<punct>[{}()<>,;:=])
    """,
    re.VERBOSE | re.DOTALL,
)


class ParseError(Exception):
    def __init__(self, path: str, line: int, message: str):
        super().__init__("%s:%d: %s" % (path, line, message))
        self.path = path
        self.line = line
        self.message = message


class Token:
    __slots__ = ("kind", "text", "line", "doc")

    def __init__(self, kind, text, line, doc=""):
        self.kind = kind
        self.text = text
        self.line = line
        self.doc = doc

    def describe(self) -> str:
        if self.kind == "eof":
            return "end of file"
        return "'%s'" % self.text


def _clean_doc(raw: str) -> str:
    body = raw[3:-2]
    lines = [re.sub(r"^\s*\*?\s?", "", ln).rstrip() for ln in body.splitlines()]
    while lines and not lines[0]:
        lines.pop(0)
    while lines and not lines[-1]:
        lines.pop()
    return "\n".join(lines)


def tokenize(path: str, text: str) -> List[Token]:
    tokens = []
    line = 1
    pos = 0
    pending_doc = ""
    while pos < len(text):
        m = _TOKEN.match(text, pos)
        if m is None:
            if text.startswith("/*", pos):
                raise ParseError(path, line, "unterminated comment")
            raise ParseError(path, line, "unexpected character %r" % text[pos])
        kind = m.lastgroup
        value = m.group(kind)
        if kind == "doc":
            pending_doc = _clean_doc(value)
        elif kind in ("int", "ident", "punct", "str"):
            tokens.append(Token(kind, value, line, pending_doc))
            pending_doc = ""
        line += value.count("\n")
        pos = m.end()
    tokens.append(Token("eof", "", line))
    return tokens


class Parser:
    def __init__(self, path: str, text: str):
        self.path = path
        self.tokens = tokenize(path, text)
        self.pos = 0
        base = os.path.splitext(os.path.basename(path))[0]
        self.program = model.Program(path=path, name=base, namespace="")
        self.types = {}  # name -> Enum or Struct

    # -- token helpers -------------------------------------------------
    @property
    def tok(self) -> Token:
        return self.tokens[self.pos]

    def fail(self, expected: str, tok: Optional[Token] = None):
        tok = tok or self.tok
        raise ParseError(self.path, tok.line, "expected %s, got %s" % (expected, tok.describe()))

    def advance(self) -> Token:
        tok = self.tok
        self.pos += 1
        return tok

    def accept(self, text: str) -> bool:
        if self.tok.kind in ("punct", "ident") and self.tok.text == text:
            self.pos += 1
            return True
        return False

    def expect(self, text: str, what: Optional[str] = None) -> Token:
        if self.tok.kind in ("punct", "ident") and self.tok.text == text:
            return self.advance()
        self.fail(what or "'%s'" % text)

    def identifier(self, what: str, dotted: bool = False) -> Token:
        """A name; IDL words and C++ keywords are refused, since a type or
        member named so could not be used or would not compile."""
        tok = self.tok
        if tok.kind != "ident" or ("." in tok.text and not dotted):
            self.fail(what)
        if tok.text in KEYWORDS or tok.text in KEYWORDS_REJECTED or tok.text in CPP_KEYWORDS:
            raise ParseError(self.path, tok.line, "expected %s, got '%s' (a reserved word)" % (what, tok.text))
        return self.advance()

    def integer(self, what: str) -> int:
        if self.tok.kind != "int":
            self.fail(what)
        return int(self.advance().text)

    def separator(self):
        if not self.accept(","):
            self.accept(";")

    # -- grammar --------------------------------------------------------
    def parse(self) -> model.Program:
        if self.tok.kind == "eof":
            self.fail("'namespace cpp NAME'")
        while self.tok.kind != "eof":
            tok = self.tok
            if tok.text == "namespace":
                self.parse_namespace()
            elif tok.text == "enum":
                self.parse_enum()
            elif tok.text == "struct":
                self.parse_struct()
            elif tok.text == "service":
                self.parse_service()
            elif tok.text in ("include", "cpp_include"):
                raise ParseError(self.path, tok.line,
                                 "'%s' is not supported: the contract is a single file" % tok.text)
            else:
                self.fail("'namespace', 'enum', 'struct' or 'service'")
        if not self.program.namespace:
            raise ParseError(self.path, 1, "expected a 'namespace cpp NAME' declaration")
        return self.program

    def parse_namespace(self):
        self.advance()
        lang = self.tok
        if lang.kind != "ident":
            self.fail("a language after 'namespace'")
        self.advance()
        if lang.text != "cpp":
            # Namespaces for other languages are theirs (often dotted).
            if self.tok.kind != "ident":
                self.fail("a namespace name")
            self.advance()
            return
        name = self.identifier("a namespace name")
        if self.program.namespace:
            raise ParseError(self.path, lang.line, "namespace cpp declared twice")
        self.program.namespace = name.text

    def declare(self, tok: Token, decl):
        if tok.text in self.types:
            raise ParseError(self.path, tok.line, "'%s' is already declared" % tok.text)
        self.types[tok.text] = decl

    def parse_enum(self):
        start = self.advance()
        name = self.identifier("an enumeration name")
        enum = model.Enum(name=name.text, members=[], doc=start.doc, line=start.line)
        self.declare(name, enum)
        self.expect("{")
        seen_names, seen_values = set(), set()
        while not self.accept("}"):
            member = self.identifier("an enumeration member or '}'")
            self.expect("=", "'=' and an explicit value")
            value = self.integer("an integer value")
            if not -2**31 <= value < 2**31:
                raise ParseError(self.path, member.line, "value %d does not fit in i32" % value)
            if member.text in seen_names:
                raise ParseError(self.path, member.line, "member '%s' declared twice" % member.text)
            if value in seen_values:
                raise ParseError(self.path, member.line, "value %d used twice in '%s'" % (value, name.text))
            seen_names.add(member.text)
            seen_values.add(value)
            enum.members.append(model.EnumMember(member.text, value, member.line))
            self.separator()
        if not enum.members:
            raise ParseError(self.path, name.line, "enumeration '%s' has no members" % name.text)
        self.program.enums.append(enum)

    def parse_type(self, allow_void: bool = False) -> model.TypeRef:
        tok = self.tok
        expected = "a type (bool, i32, double, string, list<...>%s or a declared name)" % (
            ", void" if allow_void else "")
        if tok.kind != "ident":
            self.fail(expected)
        self.advance()
        if tok.text == "void" and allow_void:
            return model.TypeRef("void")
        if tok.text in model.BASE_TYPES:
            return model.TypeRef(tok.text)
        if tok.text == "list":
            self.expect("<", "'<' after 'list'")
            elem = self.parse_type()
            self.expect(">", "'>' closing 'list<'")
            return model.TypeRef("list", elem=elem)
        decl = self.types.get(tok.text)
        if decl is None:
            if tok.text in KEYWORDS_REJECTED or tok.text == "void":
                raise ParseError(self.path, tok.line, "expected %s, got '%s' (not supported)" % (expected, tok.text))
            raise ParseError(self.path, tok.line, "unknown type '%s' (types must be declared before use)" % tok.text)
        kind = "enum" if isinstance(decl, model.Enum) else "struct"
        return model.TypeRef(kind, decl=decl)

    def parse_field(self, owner: str, ids: set, names: set, with_req: bool) -> model.Field:
        start = self.tok
        fid = self.integer("a field id")
        if not 1 <= fid <= 32767:
            raise ParseError(self.path, start.line, "field id %d out of range 1..32767" % fid)
        self.expect(":", "':' after the field id")
        req = model.DEFAULT
        if self.tok.text in (model.REQUIRED, model.OPTIONAL):
            if not with_req:
                self.fail("an argument type (call arguments take no requiredness)")
            req = self.advance().text
        ftype = self.parse_type()
        name = self.identifier("a field name")
        if self.tok.text == "=":
            self.fail("',' or the next field (default values are not supported)")
        if fid in ids:
            raise ParseError(self.path, start.line, "field id %d used twice in '%s'" % (fid, owner))
        if name.text in names:
            raise ParseError(self.path, name.line, "field '%s' declared twice in '%s'" % (name.text, owner))
        ids.add(fid)
        names.add(name.text)
        return model.Field(fid, name.text, ftype, req, doc=start.doc, line=start.line)

    def parse_struct(self):
        start = self.advance()
        name = self.identifier("a record name")
        struct = model.Struct(name=name.text, fields=[], doc=start.doc, line=start.line)
        self.expect("{")
        ids, names = set(), set()
        while not self.accept("}"):
            if self.tok.kind != "int":
                self.fail("a field id or '}'")
            struct.fields.append(self.parse_field(name.text, ids, names, with_req=True))
            self.separator()
        struct.fields.sort(key=lambda f: f.id)
        # Declared only once complete: a record cannot hold itself by value.
        self.declare(name, struct)
        self.program.structs.append(struct)

    def parse_service(self):
        start = self.advance()
        name = self.identifier("a service name")
        service = model.Service(name=name.text, functions=[], doc=start.doc, line=start.line)
        self.expect("{")
        seen = set()
        while not self.accept("}"):
            first = self.tok
            returns = self.parse_type(allow_void=True)
            fname = self.identifier("a call name")
            if fname.text in seen:
                raise ParseError(self.path, fname.line, "call '%s' declared twice" % fname.text)
            seen.add(fname.text)
            self.expect("(", "'(' after the call name")
            args, ids, names = [], set(), set()
            while not self.accept(")"):
                if self.tok.kind != "int":
                    self.fail("an argument id or ')'")
                args.append(self.parse_field(fname.text, ids, names, with_req=False))
                self.separator()
            if self.tok.text == "throws":
                self.fail("',' or the next call (declared exceptions are not supported)")
            args.sort(key=lambda f: f.id)
            service.functions.append(model.Function(fname.text, returns, args, doc=first.doc, line=first.line))
            self.separator()
        self.program.services.append(service)


def parse_text(path: str, text: str) -> model.Program:
    return Parser(path, text).parse()


def parse_file(path: str) -> model.Program:
    with open(path, encoding="utf-8") as f:
        return parse_text(path, f.read())
