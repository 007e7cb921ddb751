"""The parser: what the accepted subset of the IDL becomes, and how bad input fails."""

import os
import tempfile
import textwrap
import unittest

from thriftgen import model, parser

NS = "namespace cpp yol\n"  # line 1 of most snippets below


def parse(text, path="feature.thrift"):
    return parser.parse_text(path, textwrap.dedent(text))


class AcceptedContractTest(unittest.TestCase):
    SOURCE = """\
        /**
         * The program's doc comment: it belongs to the namespace line and is dropped.
         */
        namespace cpp demo
        namespace py demo_py

        /** Colours,
         * two lines of doc. */
        enum eColour {
          RED = 0,
          GREEN = 1;
          BLUE = 7
          NONE = -1
          FAR = -2147483648,
        }

        // Not a doc comment.
        enum eShade { SYSTEM = 5 }

        /* Not a doc comment either. */
        struct stInner {
          1: required string name,
        }

        /** A record of every kind of field. */
        struct stOuter {
          /** The colour. */
          1: required eColour colour,
          2: optional i32 count;
          3: double ratio
          4: optional list<stInner> inners,
          5: list<eColour> colours,
          6: required stInner inner,
          7: optional list<string> names,
          8: bool flag,
        }

        /** The service. */
        service Demo {
          void ping(),
          /** Counts things. */
          i32 count(1: eColour colour, 2: list<stInner> inners; 3: string s)
          list<stOuter> all()
        }
        """

    @classmethod
    def setUpClass(cls):
        cls.source = textwrap.dedent(cls.SOURCE)
        cls.program = parser.parse_text("/some/dir/demo.thrift", cls.source)
        cls.enums = {e.name: e for e in cls.program.enums}
        cls.structs = {s.name: s for s in cls.program.structs}

    def test_program_names_come_from_the_path_and_the_cpp_namespace(self):
        self.assertEqual(self.program.path, "/some/dir/demo.thrift")
        self.assertEqual(self.program.name, "demo")
        self.assertEqual(self.program.namespace, "demo")

    def test_enumerations_keep_declaration_order_values_and_negatives(self):
        self.assertEqual([e.name for e in self.program.enums], ["eColour", "eShade"])
        colour = self.enums["eColour"]
        self.assertEqual(
            [(m.name, m.value) for m in colour.members],
            [("RED", 0), ("GREEN", 1), ("BLUE", 7), ("NONE", -1), ("FAR", -2**31)])
        # A member name may recur in another enumeration.
        self.assertEqual([(m.name, m.value) for m in self.enums["eShade"].members], [("SYSTEM", 5)])

    def test_fields_have_ids_names_and_all_three_requiredness_kinds(self):
        outer = self.structs["stOuter"]
        self.assertEqual(
            [(f.id, f.name, f.req) for f in outer.fields],
            [(1, "colour", model.REQUIRED), (2, "count", model.OPTIONAL),
             (3, "ratio", model.DEFAULT), (4, "inners", model.OPTIONAL),
             (5, "colours", model.DEFAULT), (6, "inner", model.REQUIRED),
             (7, "names", model.OPTIONAL), (8, "flag", model.DEFAULT)])
        self.assertEqual([f.name for f in outer.required_fields], ["colour", "inner"])
        self.assertEqual([f.name for f in outer.isset_fields],
                         ["count", "ratio", "inners", "colours", "names", "flag"])
        self.assertFalse(self.structs["stInner"].has_isset)

    def test_types_resolve_to_their_declarations(self):
        by_name = {f.name: f.type for f in self.structs["stOuter"].fields}
        self.assertEqual({n: t.name for n, t in by_name.items()}, {
            "colour": "eColour", "count": "i32", "ratio": "double",
            "inners": "list<stInner>", "colours": "list<eColour>", "inner": "stInner",
            "names": "list<string>", "flag": "bool"})
        self.assertEqual(by_name["colour"].kind, "enum")
        self.assertIs(by_name["colour"].decl, self.enums["eColour"])
        self.assertEqual(by_name["inner"].kind, "struct")
        self.assertIs(by_name["inner"].decl, self.structs["stInner"])
        self.assertEqual(by_name["inners"].kind, "list")
        self.assertIs(by_name["inners"].elem.decl, self.structs["stInner"])
        self.assertEqual(by_name["colours"].elem.kind, "enum")
        self.assertIs(by_name["colours"].elem.decl, self.enums["eColour"])
        self.assertEqual([by_name[n].wire_type for n in ("colour", "count", "ratio", "inners", "inner", "flag")],
                         ["T_I32", "T_I32", "T_DOUBLE", "T_LIST", "T_STRUCT", "T_BOOL"])

    def test_calls_keep_order_results_and_arguments(self):
        (service,) = self.program.services
        self.assertEqual(service.name, "Demo")
        self.assertEqual([(f.name, f.returns.name) for f in service.functions],
                         [("ping", "void"), ("count", "i32"), ("all", "list<stOuter>")])
        ping, count, _ = service.functions
        self.assertTrue(ping.returns.is_void)
        self.assertEqual(ping.args, [])
        self.assertEqual([(a.id, a.name, a.type.name, a.req) for a in count.args],
                         [(1, "colour", "eColour", model.DEFAULT),
                          (2, "inners", "list<stInner>", model.DEFAULT),
                          (3, "s", "string", model.DEFAULT)])
        self.assertEqual([f.result_form for f in service.functions], ["none", "return", "out"])

    def test_doc_comments_are_kept_and_plain_comments_are_not(self):
        self.assertEqual(self.enums["eColour"].doc, "Colours,\ntwo lines of doc.")
        self.assertEqual(self.enums["eShade"].doc, "")
        self.assertEqual(self.structs["stInner"].doc, "")
        self.assertEqual(self.structs["stOuter"].doc, "A record of every kind of field.")
        self.assertEqual(self.structs["stOuter"].fields[0].doc, "The colour.")
        self.assertEqual(self.structs["stOuter"].fields[1].doc, "")
        (service,) = self.program.services
        self.assertEqual(service.doc, "The service.")
        self.assertEqual([f.doc for f in service.functions], ["", "Counts things.", ""])

    def test_declarations_record_their_lines(self):
        lines = self.source.splitlines()
        self.assertEqual(lines[self.enums["eColour"].line - 1].strip(), "enum eColour {")
        self.assertEqual(lines[self.structs["stOuter"].line - 1].strip(), "struct stOuter {")
        count = self.program.services[0].functions[1]
        self.assertTrue(lines[count.line - 1].strip().startswith("i32 count("))


class SeparatorsTest(unittest.TestCase):
    def shape(self, program):
        return ([(e.name, [(m.name, m.value) for m in e.members]) for e in program.enums],
                [(s.name, [(f.id, f.name, f.type.name, f.req) for f in s.fields]) for s in program.structs],
                [(s.name, [(f.name, f.returns.name, [(a.id, a.name, a.type.name) for a in f.args])
                           for f in s.functions]) for s in program.services])

    def test_comma_semicolon_and_nothing_separate_alike(self):
        template = NS + (
            "enum E {{ A = 1{0} B = 2{0} }}\n"
            "struct S {{ 1: required E e{0} 2: optional list<E> es{0} }}\n"
            "service Y {{ void f(1: i32 a{0} 2: S s{0}){0} i32 g(){0} }}\n")
        shapes = {sep: self.shape(parse(template.format(sep))) for sep in (",", ";", "")}
        self.assertEqual(shapes[","], shapes[";"])
        self.assertEqual(shapes[","], shapes[""])
        self.assertEqual(shapes[","][1], [("S", [(1, "e", "E", "required"), (2, "es", "list<E>", "optional")])])

    def test_record_fields_are_put_in_id_order(self):
        program = parse(NS + "struct S { 3: i32 c, 1: i32 a, 2: i32 b }\n")
        self.assertEqual([(f.id, f.name) for f in program.structs[0].fields], [(1, "a"), (2, "b"), (3, "c")])


class ParseErrorTest(unittest.TestCase):
    # (what, text, line of the error, a part of the message that must be there)
    CASES = [
        ("unknown type",
         NS + "struct S {\n  1: required Foo a,\n}\n", 3, "unknown type 'Foo'"),
        ("unknown list element type",
         NS + "struct S {\n  1: optional list<Foo> a,\n}\n", 3, "unknown type 'Foo'"),
        ("record used before its declaration",
         NS + "struct A {\n  1: required B b,\n}\nstruct B {\n  1: required i32 x,\n}\n", 3,
         "unknown type 'B'"),
        ("enumeration used before its declaration",
         NS + "struct A {\n  1: required E e,\n}\nenum E {\n  X = 1,\n}\n", 3, "unknown type 'E'"),
        ("record holding itself",
         NS + "struct N {\n  1: optional list<N> kids,\n}\n", 3, "unknown type 'N'"),
        ("i64", NS + "struct S {\n  1: required i64 a,\n}\n", 3, "'i64' (not supported)"),
        ("map", NS + "struct S {\n  1: required map<string, i32> a,\n}\n", 3, "'map' (not supported)"),
        ("set", NS + "struct S {\n  1: required set<i32> a,\n}\n", 3, "'set' (not supported)"),
        ("binary", NS + "service Y {\n  void f(1: binary a),\n}\n", 3, "'binary' (not supported)"),
        ("void field", NS + "struct S {\n  1: required void a,\n}\n", 3, "'void' (not supported)"),
        ("void list element", NS + "service Y {\n  list<void> f(),\n}\n", 3, "'void' (not supported)"),
        ("typedef", NS + "\ntypedef i32 Id\n", 3, "got 'typedef'"),
        ("const", NS + "const i32 MAX = 3\n", 2, "got 'const'"),
        ("exception", NS + "exception Oops {\n  1: string what,\n}\n", 2, "got 'exception'"),
        ("union", NS + "union U {\n  1: i32 a,\n}\n", 2, "got 'union'"),
        ("include without a file name", "include other\n" + NS, 1, "'include' is not supported"),
        ("throws",
         NS + "service Y {\n  void f()\n    throws (1: Oops o),\n}\n", 4, "declared exceptions are not supported"),
        ("oneway", NS + "service Y {\n  oneway void f(),\n}\n", 3, "'oneway' (not supported)"),
        ("extends", NS + "service Y extends Base {\n}\n", 2, "expected '{', got 'extends'"),
        ("default value of a field",
         NS + "struct S {\n  1: optional i32 a = 5,\n}\n", 3, "default values are not supported"),
        ("default value of an argument",
         NS + "service Y {\n  i32 f(1: i32 a,\n        2: i32 b = 5),\n}\n", 4,
         "default values are not supported"),
        ("duplicate field id",
         NS + "struct S {\n  1: required i32 a,\n  1: required i32 b,\n}\n", 4, "field id 1 used twice in 'S'"),
        ("duplicate argument id",
         NS + "service Y {\n  void f(1: i32 a,\n         1: i32 b),\n}\n", 4, "field id 1 used twice in 'f'"),
        ("duplicate field name",
         NS + "struct S {\n  1: required i32 a,\n  2: optional string a,\n}\n", 4, "field 'a' declared twice in 'S'"),
        ("duplicate argument name",
         NS + "service Y {\n  void f(1: i32 a, 2: i32 a),\n}\n", 3, "field 'a' declared twice in 'f'"),
        ("duplicate enum value", NS + "enum E {\n  A = 1,\n  B = 1,\n}\n", 4, "value 1 used twice in 'E'"),
        ("duplicate enum member", NS + "enum E {\n  A = 1,\n  A = 2,\n}\n", 4, "member 'A' declared twice"),
        ("missing '=' in enum", NS + "enum E {\n  A = 1,\n  B 2,\n}\n", 4, "expected '=' and an explicit value"),
        ("enum member without a value", NS + "enum E {\n  A,\n}\n", 3, "expected '=' and an explicit value"),
        ("enum value beyond i32", NS + "enum E {\n  A = 2147483648,\n}\n", 3, "does not fit in i32"),
        ("enum value below i32", NS + "enum E {\n  A = -2147483649,\n}\n", 3, "does not fit in i32"),
        ("field id 0", NS + "struct S {\n  0: required i32 a,\n}\n", 3, "field id 0 out of range 1..32767"),
        ("negative field id", NS + "struct S {\n  -1: required i32 a,\n}\n", 3, "field id -1 out of range"),
        ("field id above 32767",
         NS + "struct S {\n  32768: required i32 a,\n}\n", 3, "field id 32768 out of range 1..32767"),
        ("argument id 0", NS + "service Y {\n  void f(0: i32 a),\n}\n", 3, "field id 0 out of range"),
        ("field without an id", NS + "struct S {\n  required i32 a,\n}\n", 3, "expected a field id or '}'"),
        ("field id without ':'", NS + "struct S {\n  1 required i32 a,\n}\n", 3, "expected ':' after the field id"),
        ("unclosed list", NS + "struct S {\n  1: required list<i32 a,\n}\n", 3, "'>' closing 'list<'"),
        ("call without '('", NS + "service Y {\n  void f,\n}\n", 3, "expected '(' after the call name"),
        ("unterminated comment", NS + "\n/* a comment\n   that never ends\nstruct S {}\n", 3,
         "unterminated comment"),
        ("unterminated doc comment", NS + "enum E { A = 1 }\n/** doc\nenum F { B = 1 }\n", 3,
         "unterminated comment"),
        ("stray character", NS + "struct S {\n  1: required i32 a @\n}\n", 3, "unexpected character '@'"),
        ("lines counted through block comments",
         NS + "/*\n\n*/\n/** doc\n */\nstruct S {\n  1: required Foo a\n}\n", 8, "unknown type 'Foo'"),
        ("missing namespace cpp", "enum E {\n  A = 1,\n}\n", 1, "'namespace cpp NAME'"),
        ("only another language's namespace", "namespace py yol\nenum E { A = 1 }\n", 1, "'namespace cpp NAME'"),
        ("empty file", "", 1, "'namespace cpp NAME', got end of file"),
        ("namespace cpp twice", NS + "namespace cpp other\n", 2, "namespace cpp declared twice"),
        ("dotted cpp namespace", "namespace cpp a.b\n", 1, "expected a namespace name, got 'a.b'"),
        ("unexpected top-level token", NS + "\nstrcut S {\n}\n", 3,
         "expected 'namespace', 'enum', 'struct' or 'service', got 'strcut'"),
        ("';' after a declaration", NS + "enum E {\n  A = 1,\n};\n", 4, "got ';'"),
        ("empty enum", NS + "enum E {\n}\n", 2, "enumeration 'E' has no members"),
        ("duplicate call name", NS + "service Y {\n  void f(),\n  i32 f(),\n}\n", 4, "call 'f' declared twice"),
        ("enum and record of one name",
         NS + "enum A {\n  X = 1,\n}\nstruct A {\n  1: required i32 x,\n}\n", 5, "'A' is already declared"),
        ("two records of one name",
         NS + "struct A {\n  1: required i32 x,\n}\nstruct A {\n  1: required i32 x,\n}\n", 5,
         "'A' is already declared"),
        ("two enumerations of one name", NS + "enum A { X = 1 }\nenum A { Y = 2 }\n", 3, "'A' is already declared"),
    ]

    def test_malformed_input_fails_with_file_line_and_message(self):
        for what, text, line, fragment in self.CASES:
            with self.subTest(what):
                with self.assertRaises(parser.ParseError) as cm:
                    parser.parse_text("bad.thrift", text)
                err = cm.exception
                self.assertEqual((err.path, err.line), ("bad.thrift", line), str(err))
                self.assertIn(fragment, err.message)
                self.assertEqual(str(err), "bad.thrift:%d: %s" % (line, err.message))

    def test_parse_file_names_the_file_it_read(self):
        with tempfile.TemporaryDirectory() as tmp:
            path = os.path.join(tmp, "broken.thrift")
            with open(path, "w", encoding="utf-8") as f:
                f.write(NS + "struct S {\n  1: required Foo a,\n}\n")
            with self.assertRaises(parser.ParseError) as cm:
                parser.parse_file(path)
        self.assertTrue(str(cm.exception).startswith(path + ":3: "), str(cm.exception))


class ReservedWordsAndForeignDeclarationsTest(unittest.TestCase):
    def test_idl_words_are_not_taken_as_type_names(self):
        # `struct i32` would be unreachable (i32 always means the base type);
        # `enum bool` and `struct void` would yield C++ that cannot compile;
        # a record named `required` could not be used as a field type.
        for word in ("bool", "i32", "double", "string", "list", "void",
                     "required", "optional", "struct", "enum", "service", "namespace"):
            for decl in ("struct %s {\n  1: required i32 a,\n}\n", "enum %s {\n  A = 1,\n}\n"):
                text = NS + decl % word
                with self.subTest(text=text):
                    with self.assertRaises(parser.ParseError) as cm:
                        parser.parse_text("bad.thrift", text)
                    self.assertEqual(cm.exception.line, 2)
                    self.assertIn("'%s'" % word, cm.exception.message)

    def test_include_says_it_is_not_supported(self):
        with self.assertRaises(parser.ParseError) as cm:
            parser.parse_text("bad.thrift", NS + 'include "other.thrift"\n')
        self.assertEqual(cm.exception.line, 2)
        self.assertIn("include", cm.exception.message)

    def test_other_languages_dotted_namespaces_are_ignored(self):
        program = parser.parse_text("ok.thrift", "namespace java com.acme.yol\n" + NS)
        self.assertEqual(program.namespace, "yol")

    def test_cpp_keywords_and_argument_requiredness_are_refused(self):
        cases = [
            ("struct A {\n  1: i32 class,\n}\n", "'class' (a reserved word)"),
            ("service S {\n  void f(1: required i32 a),\n}\n", "take no requiredness"),
        ]
        for body, message in cases:
            with self.subTest(body=body):
                with self.assertRaises(parser.ParseError) as cm:
                    parser.parse_text("bad.thrift", NS + body)
                self.assertEqual(cm.exception.line, 3)
                self.assertIn(message, cm.exception.message)


if __name__ == "__main__":
    unittest.main()
