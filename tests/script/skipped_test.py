"""tests/skipped.py: each form in which a test program reports skipped cases and the reasons."""

import os
import subprocess
import sys
import tempfile
import unittest

SKIPPED = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../skipped.py")

LOG = """\
1/5 Testing: krctl.doctor
1/5 Test: krctl.doctor
test_one (doctor_test.User.test_one) ... ok
test_two (doctor_test.User.test_two) ... skipped 'only root can be another user'
Test Passed.
2/5 Testing: scenario.task.a-case
skipped task.a-case (0.1 s)
  there is no user 1001
on sqlite: 0 passed, 0 FAILED, 1 skipped, 0 not for this engine
Test Skipped.
3/5 Testing: recorder.Trust
[ RUN      ] Trust.Holds
/src/trust_test.cpp:83: Skipped
no other user

[  SKIPPED ] Trust.Holds (0 ms)
[ RUN      ] Trust.Works
[       OK ] Trust.Works (0 ms)
Test Passed.
4/5 Testing: other
Test Skipped.
5/5 Testing: plain
Test Passed.
"""


class SkippedTest(unittest.TestCase):
    def output_for(self, log):
        with tempfile.NamedTemporaryFile("w", prefix="kestora-script-", encoding="utf-8") as file:
            file.write(log)
            file.flush()
            return subprocess.run([sys.executable, "-B", SKIPPED, file.name], check=True, text=True,
                                  capture_output=True, timeout=60).stdout.splitlines()

    def test_every_skipped_case_is_named_with_its_reason(self):
        self.assertEqual(self.output_for(LOG), [
            "Skipped, with the reason:",
            "  krctl.doctor: doctor_test.User.test_two: only root can be another user",
            "  scenario.task.a-case: there is no user 1001",
            "  recorder.Trust: Trust.Holds: no other user",
            "  other: gives no reason",
        ])

    def test_a_log_without_skipped_cases_gets_a_line_that_reports_it(self):
        self.assertEqual(self.output_for("1/1 Testing: plain\nTest Passed.\n"), ["No case was skipped."])


if __name__ == "__main__":
    unittest.main()
