"""The template printer: substitution, escaping, errors and indentation."""

import unittest

from thriftgen.printer import Printer, PrinterError


def printed(template, **variables):
    p = Printer()
    p.print(template, **variables)
    return p.text()


class SubstitutionTest(unittest.TestCase):
    def test_variables_are_replaced_each_time_they_occur(self):
        self.assertEqual(printed("$type$ $name$ = $type$();\n", type="stFeatures", name="f"),
                         "stFeatures f = stFeatures();\n")

    def test_values_are_converted_to_text(self):
        self.assertEqual(printed("id $id$, $flag$\n", id=7, flag=True), "id 7, True\n")

    def test_double_dollar_prints_one_dollar(self):
        self.assertEqual(printed("a$$b $x$ $$\n", x="y"), "a$b y $\n")

    def test_substituted_text_is_not_substituted_again(self):
        self.assertEqual(printed("$a$\n", a="$b$", b="no"), "$b$\n")

    def test_unknown_variable_raises(self):
        with self.assertRaisesRegex(PrinterError, r"\$missing\$"):
            printed("$name$ $missing$\n", name="x")

    def test_unbalanced_dollar_raises(self):
        for template in ("cost $5\n", "$name\n", "$name$ $\n", "$$$\n"):
            with self.subTest(template=template):
                with self.assertRaisesRegex(PrinterError, "unbalanced"):
                    printed(template, name="x")


class IndentationTest(unittest.TestCase):
    def test_indent_applies_to_non_empty_lines_only(self):
        p = Printer()
        p.print("class C {\n")
        with p.indent():
            p.print(" public:\n\n")
            with p.indent(2):
                p.print("int a;\n   \nint b;\n")
            p.print("void f();\n")
        p.print("};\n")
        self.assertEqual(p.text(),
                         "class C {\n"
                         "   public:\n"
                         "\n"
                         "      int a;\n"
                         "   \n"
                         "      int b;\n"
                         "  void f();\n"
                         "};\n")

    def test_text_continuing_a_line_is_not_indented_again(self):
        p = Printer()
        with p.indent():
            p.print("int ")
            p.print("$name$", name="x")
            p.print(";\nint y;\n")
        self.assertEqual(p.text(), "  int x;\n  int y;\n")

    def test_substituted_newlines_are_indented_too(self):
        p = Printer(indent_unit="\t")
        with p.indent():
            p.print("$body$\n", body="a;\nb;")
        self.assertEqual(p.text(), "\ta;\n\tb;\n")

    def test_indent_is_restored_after_an_error(self):
        p = Printer()
        with self.assertRaises(PrinterError):
            with p.indent():
                p.print("$oops$\n")
        p.print("x\n")
        self.assertEqual(p.text(), "x\n")


if __name__ == "__main__":
    unittest.main()
