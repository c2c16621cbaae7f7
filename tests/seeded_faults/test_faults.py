"""Which faults are seeded, and how the judgements on those that change nothing are kept."""
import unittest

from tests.seeded_faults.faults import faults_in, in_random_order, read_judgements

# Lines, and their faulty variants.
LINES = {
    "  if (a < b)": {"  if (a <= b)", "  if (false && (a < b))"},
    "  return a == b && !c;": {"  return a != b && !c;", "  return a == b || !c;",
                               "  return a == b && c;", "  return {};"},
    "constexpr int kMost = 0x10;": {"constexpr int kMost = 0x11;", "constexpr int kMost = 0xF;"},
    "  return false;": {"  return true;"},
    "  return 0;": {"  return 1;"},
    "  return std::nullopt;": set(),
    "    continue;": {"    {}"},
    "  send(message);": {"  {}"},
    "  count += length;": {"  count -= length;", "  {}"},
    "  Socket socket(family);": set(),
    "  std::vector<int> numbers;": set(),
    '  print(u"a < 1");  // but not a < 2': {'  print(u"x < 1");  // but not a < 2',
                                             "  {}  // but not a < 2"},
    "  find('x');": {"  find('y');", "  {}"},
    "#define LIMIT 60": set(),
    "// if (a < b)": set(),
    "/* a == b */": set(),
}


class Faults(unittest.TestCase):
    def test_each_line_has_the_faults_that_it_can_have(self):
        for line, after in LINES.items():
            with self.subTest(line):
                self.assertEqual({fault.after for fault in faults_in("a.cpp", line)}, after)

    def test_comment_over_several_lines_is_left_alone(self):
        faults = faults_in("a.cpp", "/* a == b\n   c == d */\nx = y == z;")
        self.assertEqual({fault.number for fault in faults}, {3})

    def test_fault_changes_one_line_and_nothing_else(self):
        text = "int a = 1;\nbool b = a == 1;\nint c = 1;\n"
        for fault in faults_in("a.cpp", text):
            before, after = text.split("\n"), fault.applied_to(text).split("\n")
            changed = [number for number, lines in enumerate(zip(before, after), 1)
                       if lines[0] != lines[1]]
            self.assertEqual((len(before), changed), (len(after), [fault.number]))

    def test_equal_lines_have_faults_of_their_own(self):
        first, second = faults_in("a.cpp", "  return false;\n  return false;")
        self.assertNotEqual(first.key, second.key)

    def test_order_depends_on_the_seed_and_not_on_other_lines(self):
        text = "a = b == c;\nd = 10 + e;\nf = !g;"
        faults = faults_in("a.cpp", text)
        one, two = (in_random_order(faults, seed) for seed in (1, 2))
        self.assertEqual(one, in_random_order(list(reversed(faults)), 1))
        self.assertNotEqual(one, two)
        moved = in_random_order(faults_in("a.cpp", "\n\n" + text), 1)
        self.assertEqual([fault.key for fault in moved], [fault.key for fault in one])

    def test_judgement_is_remembered_by_what_the_run_prints(self):
        fault, *_ = faults_in("a.cpp", "if (a < b)")
        text = f"# About this file.\n\n{fault.key}\n= Both are never equal,\n  for a reason.\n"
        self.assertEqual(read_judgements(text), {fault.key: "Both are never equal,\n  for a reason."})
        self.assertEqual(read_judgements("# Nothing yet.\n"), {})

    def test_judgement_without_a_reason_is_refused(self):
        fault, *_ = faults_in("a.cpp", "if (a < b)")
        with self.assertRaises(ValueError):
            read_judgements(f"{fault.key}\n")


if __name__ == "__main__":
    unittest.main()
