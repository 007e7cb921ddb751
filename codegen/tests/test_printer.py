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


class EmitTest(unittest.TestCase):
    def emitted(self, template, indent=0, **variables):
        p = Printer()
        with p.indent(indent):
            p.emit(template, **variables)
        return p.text()

    def test_raw_string_template_is_dedented(self):
        self.assertEqual(self.emitted("""
            class $name$ {
             public:
              int a;
            };
        """, name="C"), "class C {\n public:\n  int a;\n};\n")

    def test_empty_variable_alone_drops_its_line(self):
        self.assertEqual(self.emitted("""
            a;
              $doc$
            b;
        """, doc=""), "a;\nb;\n")

    def test_an_empty_section_takes_the_blank_line_above_it_along(self):
        p = Printer()
        template = """
            a;

            $flags$

            $members$

            b;
        """
        p.emit(template, flags="", members=lambda: None)
        p.emit(template, flags="f;", members=lambda: p.print("m;\n"))
        self.assertEqual(p.text(), "a;\n\nb;\n" "a;\n\nf;\n\nm;\n\nb;\n")

    def test_value_alone_is_printed_at_its_column_line_by_line(self):
        self.assertEqual(self.emitted("""
            {
              $body$
            }
        """, indent=1, body="x;\n\ny;"), "  {\n    x;\n\n    y;\n  }\n")

    def test_callback_prints_at_its_column(self):
        p = Printer()
        p.emit("""
            {
              $members$
            }
        """, members=lambda: p.emit("""
            int a;
            $more$
        """, more=lambda: p.print("int b;\n")))
        self.assertEqual(p.text(), "{\n  int a;\n  int b;\n}\n")

    def test_inline_values_with_dollars_are_not_substituted_again(self):
        self.assertEqual(self.emitted("f($a$);\n$b$\n", a="$x$", b="$y$"), "f($x$);\n$y$\n")

    def test_callable_inside_a_line_and_unknown_alone_raise(self):
        with self.assertRaisesRegex(PrinterError, "alone"):
            self.emitted("x = $f$;\n", f=lambda: None)
        with self.assertRaisesRegex(PrinterError, r"\$gone\$"):
            self.emitted("  $gone$\n")
