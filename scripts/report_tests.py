#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Sums up a run of ctest: report_tests.py results.xml

Lists what did not run, with the reason, and what failed, then ends with one line: "N passed, N failed, N skipped". Where
the environment says CI=true, a test that did not run counts as failed. The exit status is 0 only if something passed and
nothing failed.
"""

import os
import re
import sys
import xml.etree.ElementTree as ET


def reason(case, note):
    """Why a test did not run: what it said itself, or else what ctest says."""
    said = re.search(r"(?:\S+:\d+: Skipped|^SKIPPED:)\s*(.+)", case.findtext("system-out") or "", re.MULTILINE)
    return said.group(1).strip() if said else note


def outcome(case):
    """One of "passed", "failed" and "skipped", and the reason of the last."""
    if case.get("status") == "run":
        return "passed", ""
    if case.get("status") == "disabled":
        return "skipped", "disabled"
    skipped = case.find("skipped")
    note = skipped.get("message", "") if skipped is not None else ""
    # ctest also says "notrun" of a program that is not there: only these two are a test's own choice.
    if note.startswith(("SKIP_RETURN_CODE", "SKIP_REGULAR_EXPRESSION")):
        return "skipped", reason(case, note)
    return "failed", ""


def main(path, is_ci):
    tests = {"passed": [], "failed": [], "skipped": []}
    try:
        for case in ET.parse(path).getroot().iter("testcase"):
            kind, why = outcome(case)
            tests[kind].append(case.get("name") + (f": {why}" if why else ""))
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
