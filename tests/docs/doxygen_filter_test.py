#!/usr/bin/env python3
"""The API reference's input filter (docs/doxygen-filter.py): which // comments
become Doxygen descriptions, and that the line count never changes."""
import importlib.util
import os
import unittest

_FILTER = os.path.join(os.path.dirname(__file__), "..", "..", "docs", "doxygen-filter.py")
_spec = importlib.util.spec_from_file_location("doxygen_filter", _FILTER)
doxygen_filter = importlib.util.module_from_spec(_spec)
_spec.loader.exec_module(doxygen_filter)


def run(text):
    lines = text.splitlines(keepends=True)
    out = doxygen_filter.filter_lines(lines)
    assert len(out) == len(lines), "the filter changed the line count"
    return "".join(out)


class DoxygenFilterTest(unittest.TestCase):
    def test_file_head_becomes_the_file_description(self):
        self.assertEqual(run("// Head, line one.\n// Line two.\n#pragma once\n"),
                         "/// Head, line one.\n/// Line two. \\file\n#pragma once\n")

    def test_file_without_head_comment_is_still_documented(self):
        self.assertEqual(run("int x;\n"), "/** \\file */ int x;\n")
        self.assertEqual(run(""), "")

    def test_block_above_a_declaration_describes_it(self):
        self.assertEqual(run("// H.\n#pragma once\n// Does it.\nint f();\n"),
                         "/// H. \\file\n#pragma once\n/// Does it.\nint f();\n")

    def test_block_above_a_define_describes_it(self):
        self.assertEqual(run("// H.\n#pragma once\n// A record.\n#define F(X) X(0)\n"),
                         "/// H. \\file\n#pragma once\n/// A record.\n#define F(X) X(0)\n")

    def test_section_note_stays_plain(self):
        src = "// H.\n#pragma once\n// ---- Section ----\n\nint f();\n// Before an include.\n#include <x>\n"
        self.assertEqual(run(src), src.replace("// H.", "/// H. \\file"))

    def test_trailing_comment_describes_member_enumerator_and_one_line_function(self):
        src = "// H.\n#pragma once\nstruct S {\n  int a = 0;  // the a\n  E e,  // the e\n" \
              "  int f() const { return a; }  // its a\n};\n"
        self.assertEqual(run(src).splitlines()[3:6],
                         ["  int a = 0;  ///< the a", "  E e,  ///< the e", "  int f() const { return a; }  ///< its a"])

    def test_comments_in_bodies_and_closing_braces_stay_plain(self):
        src = ("// H.\n#pragma once\nnamespace n {\n/// Documented.\ninline int f() {\n  // why\n"
               "  int x = 1;  // reason\n  return x;\n}\n}  // namespace n\n")
        out = run(src).splitlines()
        self.assertEqual(out[5:7], ["  // why", "  int x = 1;  // reason"])
        self.assertEqual(out[9], "}  // namespace n")

    def test_comments_inside_macros_stay_plain(self):
        src = "// H.\n#pragma once\n/// M.\n#define M(X) \\\n  int X;  // in the macro \\\n  int y;\n"
        self.assertEqual(run(src).splitlines()[4], "  int X;  // in the macro \\")

    def test_block_above_a_run_describes_each_declaration(self):
        src = "// H.\n#pragma once\n// Appends.\nvoid a(int);\nvoid b(\n    int);\n\nvoid c();\n"
        self.assertEqual(run(src).splitlines()[3:8],
                         ["/**@{*/ void a(int);", "void b(", "    int); /**@}*/", "", "void c();"])

    def test_run_stops_at_special_members_and_single_declarations_are_no_group(self):
        src = "// H.\n#pragma once\nclass C {\n public:\n  // Makes one.\n  C(int);\n  ~C();\n};\n"
        self.assertNotIn("@{", run(src))

    def test_prose_is_escaped(self):
        self.assertEqual(run("// H.\n#pragma once\n// <b> & \\n @c #d 5% ::type a::b\nint f();\n").splitlines()[2],
                         "/// \\<b\\> \\& \\\\n \\@c \\#d 5\\% \\::type a::b")

    def test_slashes_in_literals_are_no_comment(self):
        src = '// H.\n#pragma once\nstruct S {\n  const char* u = "http://x";  // a URL\n  char c = \'/\';\n};\n'
        self.assertEqual(run(src).splitlines()[3], '  const char* u = "http://x";  ///< a URL')


if __name__ == "__main__":
    unittest.main()
