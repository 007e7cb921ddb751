"""The fold pass over finished C++ text, at a column limit of 40."""

import unittest

from thriftgen.fold import fold

CASES = [
    # (what, input, expected)
    ("a condition, after && and aligned after `if (`, keeping its indentation",
     "  if (alpha_value && beta_value && gamma_value) {",
     "  if (alpha_value && beta_value &&\n"
     "      gamma_value) {"),
    ("a stream, before << and aligned under the first",
     'out << "first piece" << second << third_value;',
     'out << "first piece" << second\n'
     "    << third_value;"),
    ("an initialisation, after =",
     "const std::string greeting = makeGreeting(name);",
     "const std::string greeting =\n"
     "    makeGreeting(name);"),
    ("a compound assignment, after += when the call then fits",
     "xfer += oprot->writeFieldBegin(name, id);",
     "xfer +=\n"
     "    oprot->writeFieldBegin(name, id);"),
    ("a call, between arguments aligned after the parenthesis",
     "writeSomething(first_argument, second_arg);",
     "writeSomething(first_argument,\n"
     "               second_arg);"),
    ("a declaration, after its parenthesis when aligning cannot fit",
     "uint32_t Record::write(Protocol* oprot) const {",
     "uint32_t Record::write(\n"
     "    Protocol* oprot) const {"),
    ("a member, before its name",
     "std::vector<SomeLongTypeName> the_member_list;",
     "std::vector<SomeLongTypeName>\n"
     "    the_member_list;"),
    ("a definition, after its qualified name when nothing else fits",
     "SomeLongRecordName::~SomeLongRecordName() = default;",
     "SomeLongRecordName::\n"
     "    ~SomeLongRecordName() = default;"),
    ("a body written inline, on lines of its own",
     "  bool operator!=(const R& rhs) const { return !(*this == rhs); }",
     "  bool operator!=(const R& rhs) const {\n"
     "    return !(*this == rhs);\n"
     "  }"),
]

LEFT_ALONE = [
    ("a string literal is never broken", 'f("a literal, with commas, far too long to fit");'),
    ("a comment", "// a comment, with commas, that runs on far past the limit"),
    ("a line ending in a comment", "int alpha_value = beta_value;  // a, note"),
    ("a preprocessor line", "#include <a/very/long/path/that/runs/past/the/limit.h>"),
    ("a block comment", "/*\n * a, long, comment line = that runs past the limit\n */"),
    ("a line that fits", "f(a, b);\n\n  x = y;\n"),
]


class FoldTest(unittest.TestCase):
    def test_long_lines_break_in_the_generated_code_style(self):
        for what, text, expected in CASES:
            with self.subTest(what):
                self.assertEqual(fold(text, limit=40), expected)

    def test_what_must_not_or_need_not_break_is_left_alone(self):
        for what, text in LEFT_ALONE:
            with self.subTest(what):
                self.assertEqual(fold(text, limit=40), text)


if __name__ == "__main__":
    unittest.main()
