#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Sums up a run of ctest: report_tests.py results.xml

Lists the skipped tests with their reasons, and the failed tests with the end of their output. The last line reads
"N passed, N failed, N skipped". Where the environment says CI=true, a skipped test counts as failed. The exit status is
0 only if at least one test passed and none failed.
"""

import os
import re
import sys
import xml.etree.ElementTree as ET


def reason(case, note):
    """The reason of a skipped test: its own, else that of ctest."""
    said = re.search(r"(?:\S+:\d+: Skipped|^SKIPPED:)\s*(.+)", case.findtext("system-out") or "", re.MULTILINE)
    return said.group(1).strip() if said else note


def what_it_wrote(case):
    """The output of a failed test: the lines of its failures, if any, and the last lines."""
    lines = (case.findtext("system-out") or "").splitlines()
    telling = [line for line in lines[:-12] if re.search(r"Failure|NOT SO|ERROR|error:|Error", line)]
    return "\n    ".join([":" if lines else "", *(line[:200] for line in telling[:4] + lines[-12:])])


def outcome(case):
    """One of "passed", "failed" and "skipped", with the report of the last two."""
    if case.get("status") == "run":
        return "passed", ""
    if case.get("status") == "disabled":
        return "skipped", ": disabled"
    skipped = case.find("skipped")
    note = skipped.get("message", "") if skipped is not None else ""
    # ctest also reports "notrun" for a missing program. Only these two are the choice of a test.
    if note.startswith(("SKIP_RETURN_CODE", "SKIP_REGULAR_EXPRESSION")):
        return "skipped", f": {reason(case, note)}"
    return "failed", what_it_wrote(case)


def main(path, is_ci):
    tests = {"passed": [], "failed": [], "skipped": []}
    try:
        for case in ET.parse(path).getroot().iter("testcase"):
            kind, addition = outcome(case)
            tests[kind].append(case.get("name") + addition)
    except (OSError, ET.ParseError) as error:
        print(f"The tests left no readable result: {error}", file=sys.stderr)
        return 1

    for kind, heading in (("skipped", "Did not run:"), ("failed", "Failed:")):
        if tests[kind]:
            print("\n  ".join([heading, *tests[kind]]))
    if is_ci:
        tests["failed"] += tests["skipped"]
        tests["skipped"] = []
    print(f"{len(tests['passed'])} passed, {len(tests['failed'])} failed, {len(tests['skipped'])} skipped")
    return 0 if tests["passed"] and not tests["failed"] else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], os.environ.get("CI") == "true"))
