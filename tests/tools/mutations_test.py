"""Tests tools/mutations.py, and checks that tools/survivors.txt lists only existing mutants."""

import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools"))
import mutate
from mutations import mutations_of


def mutants(source):
    return {mutation.applied_to(source) for mutation in mutations_of(source)}


def in_function(statement):
    return f"void f()\n{{\n    {statement}\n}}\n"


class Mutations(unittest.TestCase):
    def test_each_mutant_changes_one_operator_constant_or_statement(self):
        cases = {
            "x = a + b;": {"x = a - b;", ";"},
            "return a + b;": {"return a - b;"},
            "return a < b;": {"return a <= b;"},
            "return a && !b;": {"return a || !b;", "return a && b;"},
            "return a << 1;": {"return a >> 1;", "return a << 2;"},
            "return -a;": {"return a;"},
            "return;": {";"},
            "break;": {";"},
            "throw Refusal(a);": {";"},
            "++a;": {"--a;", ";"},
            "a += b;": {"a -= b;", ";"},
            "return std::min(a, b);": {"return std::max(a, b);"},
            "return false;": {"return true;"},
            "return 0x0F;": {"return 0x10;"},
            "return 10U;": {"return 11U;"},
            'return "a // b";': {'return "";'},
            "if (a == b) {\n    }": {"if (a != b) {\n    }"},
            "if (a && b) {\n    }": {"if (a || b) {\n    }", "if (!(a && b)) {\n    }"},
            "call(a,\n         b);": {";"},
        }
        for statement, expected in cases.items():
            with self.subTest(statement):
                self.assertEqual(mutants(in_function(statement)), set(map(in_function, expected)))

    def test_lines_without_a_supported_operator_constant_or_statement_have_no_mutants(self):
        for statement in [
            "// a + b, 1;",
            "const int a = b;",
            "std::string word;",
            "Bitmap& other = a;",
            "auto found = b;",
            "Bitmap(const Bitmap&) = delete;",
            "std::vector<int>&& a = f();",
            "return a->b;",
            "return ' ';",
            "return std::uint8_t{};",
        ]:
            with self.subTest(statement):
                self.assertEqual(mutants(in_function(statement)), set())
        self.assertEqual(mutants('#include "a/b.h"\n'), set())

    def test_the_statement_of_a_one_line_function_is_removed(self):
        self.assertEqual(mutants("void mark() { dirty = a; }\n"), {"void mark() { ; }\n"})


class Survivors(unittest.TestCase):
    def test_each_known_survivor_is_a_mutant_of_the_product(self):
        self.assertEqual(mutate.stale_survivors(), [])


if __name__ == "__main__":
    unittest.main()
