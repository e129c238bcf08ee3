"""Tests of tools/changed_tests.py: the changes that require a test to run again."""

import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools"))
import changed_tests


class ChangedTests(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)
        self.data = self.folder / "data" / "inner"
        self.data.mkdir(parents=True)
        (self.data / "first").write_text("1")
        self.program = self.folder / "program"
        self.program.write_text("program")
        self.first_state = self.state()

    def state(self, argument="--all", **properties):
        changed_tests.digest_of.cache_clear()
        properties = {"REQUIRED_FILES": [str(self.folder / "data")], **properties}
        return changed_tests.state_of({
            "command": [str(self.program), argument],
            "properties": [{"name": name, "value": value} for name, value in properties.items()],
        })

    def test_unchanged_files_and_a_pycache_keep_the_state(self):
        (self.data / "first").write_text("1")
        (self.data / "__pycache__").mkdir()
        self.assertEqual(self.state(), self.first_state)

    def test_a_changed_program_changes_the_state(self):
        self.program.write_text("Program")
        self.assertNotEqual(self.state(), self.first_state)

    def test_a_changed_argument_changes_the_state(self):
        self.assertNotEqual(self.state("--some"), self.first_state)

    def test_a_changed_environment_changes_the_state(self):
        self.assertNotEqual(self.state(ENVIRONMENT=["NAME=value"]), self.first_state)

    def test_changed_data_changes_the_state(self):
        (self.data / "first").write_text("2")
        self.assertNotEqual(self.state(), self.first_state)

    def test_added_data_changes_the_state(self):
        (self.data / "second").write_text("")
        self.assertNotEqual(self.state(), self.first_state)

    def test_removed_data_changes_the_state(self):
        (self.data / "first").unlink()
        self.assertNotEqual(self.state(), self.first_state)

    def test_renamed_data_changes_the_state(self):
        (self.data / "first").rename(self.data / "second")
        self.assertNotEqual(self.state(), self.first_state)

    def test_a_file_made_executable_changes_the_state(self):
        (self.data / "first").chmod(0o755)
        self.assertNotEqual(self.state(), self.first_state)

    def test_the_report_distinguishes_passed_failed_and_skipped_tests(self):
        report = self.folder / "report.xml"
        report.write_text(
            '<testsuite><testcase name="a" status="run"/><testcase name="b" status="fail"/>'
            '<testcase name="c" status="notrun"/></testsuite>'
        )
        self.assertEqual(changed_tests.statuses_in(report), {"a": "run", "b": "fail", "c": "notrun"})


if __name__ == "__main__":
    unittest.main()
