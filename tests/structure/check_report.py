#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether scripts/report_tests.py counts the outcomes: check_report.py root

Runs tests of each kind with ctest, including failing ones, and compares the summary.
"""

import os
import pathlib
import subprocess
import sys
import tempfile

import tree

PROJECT = r'''
cmake_minimum_required(VERSION 3.25)
project(Tests NONE)
enable_testing()
add_test(NAME Passes COMMAND true)
if(WITH_SKIPPED)
  add_test(NAME SaysSkipped COMMAND sh -c "printf 'a.cpp:3: Skipped\nno bus here\n\n[  SKIPPED ] x\n'")
  set_tests_properties(SaysSkipped PROPERTIES SKIP_REGULAR_EXPRESSION "\\[  SKIPPED \\]")
  add_test(NAME EndsSkipped COMMAND sh -c "echo SKIPPED: no display; exit 77")
  set_tests_properties(EndsSkipped PROPERTIES SKIP_RETURN_CODE 77)
  add_test(NAME IsDisabled COMMAND true)
  set_tests_properties(IsDisabled PROPERTIES DISABLED TRUE)
endif()
if(WITH_FAILED)
  add_test(NAME Fails COMMAND sh -c "echo was wrong; exit 1")
  add_test(NAME IsNotThere COMMAND /nonexistent)
  add_test(NAME Crashes COMMAND sh -c "kill -SEGV $$")
  add_test(NAME HasNoFixture COMMAND true)
  set_tests_properties(HasNoFixture PROPERTIES FIXTURES_REQUIRED F)
  add_test(NAME MakesNoFixture COMMAND false)
  set_tests_properties(MakesNoFixture PROPERTIES FIXTURES_SETUP F)
endif()
'''


def report(root, results, is_ci="false"):
    """The exit status and the lines of a report."""
    result = subprocess.run(["python3", root / "scripts" / "report_tests.py", results], text=True, stdout=subprocess.PIPE,
                            stderr=subprocess.DEVNULL, env=os.environ | {"CI": is_ci}, check=False)
    return result.returncode, result.stdout.splitlines()


def check(root):
    complaints = []
    with tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        (folder / "CMakeLists.txt").write_text(PROJECT, encoding="utf-8")

        def expect(flags, is_ci, status, last, *others):
            subprocess.run(["cmake", "-S", folder, "-B", folder / "build", *flags], check=True, stdout=subprocess.DEVNULL)
            subprocess.run(["ctest", "--test-dir", folder / "build", "--output-junit", folder / "results.xml"], check=False,
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            found, lines = report(root, folder / "results.xml", is_ci)
            if found != status or lines[-1:] != [last] or not set(others) <= set(lines):
                complaints.append(f"With {flags} and CI={is_ci}: status {found} and {lines}")

        on_skipped, on_failed = ("-DWITH_SKIPPED=ON", "-DWITH_FAILED=OFF"), ("-DWITH_SKIPPED=ON", "-DWITH_FAILED=ON")
        expect((), "true", 0, "1 passed, 0 failed, 0 skipped")
        reasons = ("  SaysSkipped: no bus here", "  EndsSkipped: no display", "  IsDisabled: disabled")
        expect(on_skipped, "false", 0, "1 passed, 0 failed, 3 skipped", *reasons)
        expect(on_skipped, "true", 1, "1 passed, 3 failed, 0 skipped", *reasons)
        expect(on_failed, "false", 1, "1 passed, 5 failed, 3 skipped", "  Fails:", "    was wrong", "  Crashes",
               "  IsNotThere:", "  HasNoFixture:")
        if report(root, folder / "gone.xml")[0] == 0:
            complaints.append("A missing result counts as success")
        (folder / "empty.xml").write_text("<testsuite/>", encoding="utf-8")
        if report(root, folder / "empty.xml")[0] == 0:
            complaints.append("A run without tests counts as success")
    return complaints


def self_test():
    # A report that always claims success.
    careless = "print('1 passed, 0 failed, 0 skipped')\n"
    with tree.small_tree({"scripts/report_tests.py": careless}) as root:
        complaints = check(root)
        if len(complaints) != 5:
            sys.exit(f"Expected five complaints, got {complaints}")


tree.main(check, self_test)
