"""The parser: the legal forms the golden contract does not use, and how bad input fails.
What the golden contract uses is pinned, through the output, by test_golden.py."""

import unittest

from thriftgen import parser

NS = "namespace cpp yol\n"  # line 1 of every error case below


def shape(program):
    return ([(e.name, [(m.name, m.value) for m in e.members]) for e in program.enums],
            [(s.name, [(f.id, f.name, f.type.name, f.req) for f in s.fields]) for s in program.structs],
            [(f.name, f.returns.name, [(a.id, a.name) for a in f.args]) for f in program.services[0].functions])


class AcceptedTest(unittest.TestCase):
    def test_separators_foreign_namespaces_hash_comments_and_limits(self):
        text = ("namespace java com.acme.yol\n" + NS + "# a comment\n"
                "enum E {{ LOW = -2147483648{0} HIGH = 2147483647{0} }}\n"
                "struct S {{ 32767: required E e{0} 1: optional list<E> es{0} }}\n"
                "service Y {{ void f(1: i32 a{0} 2: S s){0} i32 g(){0} }}\n")
        shapes = [shape(parser.parse_text("ok.thrift", text.format(sep))) for sep in (",", ";", "")]
        self.assertEqual(shapes[0], shapes[1])
        self.assertEqual(shapes[0], shapes[2])
        self.assertEqual(shapes[0], (
            [("E", [("LOW", -2**31), ("HIGH", 2**31 - 1)])],
            [("S", [(1, "es", "list<E>", "optional"), (32767, "e", "E", "required")])],
            [("f", "void", [(1, "a"), (2, "s")]), ("g", "i32", [])]))


class ParseErrorTest(unittest.TestCase):
    # (text, line of the error, a part of the message that must be there)
    CASES = [
        (NS + "struct S {\n  1: required Foo a,\n}\n", 3, "unknown type 'Foo'"),
        (NS + "struct N {\n  1: optional list<N> kids,\n}\n", 3, "unknown type 'N'"),
        (NS + "/*\n\n*/\n/** doc\n */\nstruct S {\n  1: required Foo a\n}\n", 8, "unknown type 'Foo'"),
        (NS + "struct S {\n  1: required i64 a,\n}\n", 3, "'i64' (not supported)"),
        (NS + "service Y {\n  oneway void f(),\n}\n", 3, "'oneway' (not supported)"),
        (NS + "struct S {\n  1: required void a,\n}\n", 3, "'void' (not supported)"),
        (NS + "struct S {\n  1: required 5 a,\n}\n", 3, "expected a type"),
        (NS + "\ntypedef i32 Id\n", 3, "expected 'namespace', 'enum', 'struct' or 'service', got 'typedef'"),
        (NS + 'include "other.thrift"\n', 2, "'include' is not supported"),
        (NS + "service Y {\n  void f()\n    throws (1: Oops o),\n}\n", 4, "declared exceptions are not supported"),
        (NS + "service Y extends Base {\n}\n", 2, "expected '{', got 'extends'"),
        (NS + "service Y {\n  i32 f(1: i32 a,\n        2: i32 b = 5),\n}\n", 4, "default values are not supported"),
        (NS + "service Y {\n  void f(1: required i32 a),\n}\n", 3, "take no requiredness"),
        (NS + "struct S {\n  1: required i32 a,\n  1: required i32 b,\n}\n", 4, "field id 1 used twice in 'S'"),
        (NS + "service Y {\n  void f(1: i32 a,\n         2: i32 a),\n}\n", 4, "field 'a' declared twice in 'f'"),
        (NS + "struct S {\n  0: required i32 a,\n}\n", 3, "field id 0 out of range 1..32767"),
        (NS + "struct S {\n  32768: required i32 a,\n}\n", 3, "field id 32768 out of range 1..32767"),
        (NS + "struct S {\n  required i32 a,\n}\n", 3, "expected a field id or '}'"),
        (NS + "service Y {\n  void f(i32 a),\n}\n", 3, "expected an argument id or ')'"),
        (NS + "struct S {\n  1 required i32 a,\n}\n", 3, "expected ':' after the field id"),
        (NS + "struct S {\n  1: required list<i32 a,\n}\n", 3, "'>' closing 'list<'"),
        (NS + "service Y {\n  void f,\n}\n", 3, "expected '(' after the call name"),
        (NS + "service Y {\n  void f(),\n  i32 f(),\n}\n", 4, "call 'f' declared twice"),
        (NS + "enum E {\n  A = 1,\n  B = 1,\n}\n", 4, "value 1 used twice in 'E'"),
        (NS + "enum E {\n  A = 1,\n  A = 2,\n}\n", 4, "member 'A' declared twice"),
        (NS + "enum E {\n  A,\n}\n", 3, "expected '=' and an explicit value"),
        (NS + "enum E {\n  A = 2147483648,\n}\n", 3, "value 2147483648 does not fit in i32"),
        (NS + "enum E {\n  A = -2147483649,\n}\n", 3, "value -2147483649 does not fit in i32"),
        (NS + "enum E {\n}\n", 2, "enumeration 'E' has no members"),
        (NS + "enum A {\n  X = 1,\n}\nstruct A {\n  1: required i32 x,\n}\n", 5, "'A' is already declared"),
        (NS + "struct i32 {\n  1: required i32 a,\n}\n", 2, "got 'i32' (a reserved word)"),
        (NS + "struct A {\n  1: i32 class,\n}\n", 3, "got 'class' (a reserved word)"),
        (NS + "\n/* a comment\n   that never ends\nstruct S {}\n", 3, "unterminated comment"),
        (NS + "struct S {\n  1: required i32 a @\n}\n", 3, "unexpected character '@'"),
        ("", 1, "expected 'namespace cpp NAME', got end of file"),
        ("namespace py yol\nenum E {\n  A = 1,\n}\n", 1, "expected a 'namespace cpp NAME' declaration"),
        ("namespace {\n", 1, "expected a language after 'namespace', got '{'"),
        (NS + "namespace cpp other\n", 2, "namespace cpp declared twice"),
        ("namespace cpp a.b\n", 1, "expected a namespace name, got 'a.b'"),
    ]

    def test_each_error_names_file_line_and_fault(self):
        for text, line, fragment in self.CASES:
            with self.subTest(text):
                with self.assertRaises(parser.ParseError) as cm:
                    parser.parse_text("bad.thrift", text)
                self.assertIn(fragment, cm.exception.message)
                self.assertEqual(str(cm.exception), "bad.thrift:%d: %s" % (line, cm.exception.message))


if __name__ == "__main__":
    unittest.main()
