#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether tests sleep: check_sleeps.py root

A test that sleeps in order to pass fails on a busy machine. ALLOWED names the files that may sleep, with the maximum
number of sleeps and the reason.
"""

import re

import tree

SLEEP = re.compile(r"\b(?:sleep_for|sleep_until|usleep|nanosleep|clock_nanosleep)\s*\(|::sleep\(\s*\d+\s*\)")
COMMENT = re.compile(r"//.*")
ALLOWED = {
    "tests/Support/WaitUntil.hpp": (1, "the pause between two looks of the one loop that waits for a condition"),
    "tests/Support/WakeUps.hpp": (1, "the time in which no thread may wake up"),
    "tests/Platform/Linux/DelayedWorkTests.cpp": (5, "stretches a call, so that others overlap with it"),
    "tests/SettingsAndObservation/DefaultTests.cpp": (1, "stretches a call, so that the release meets it"),
    "tests/system/journald/PrivateJournal.cpp": (2, "the pause between two looks at another process"),
    "tests/system/network/ServiceTests.cpp": (1, "lets the wait begin before the cable is plugged in"),
    "tests/system/services/PowerTests.cpp": (1, "a service that answers late"),
    "tests/tools/tessaly/DefaultsCommandTests.cpp": (2, "the pause between two signals to another process"),
}


def check(root, allowed=None):
    allowed = ALLOWED if allowed is None else allowed
    complaints = []
    for path in sorted((root / "tests").rglob("*.?pp")):
        name = str(path.relative_to(root))
        lines = [number for number, line in enumerate(tree.read(path).splitlines(), 1)
                 if SLEEP.search(COMMENT.sub("", line))]
        limit = allowed.get(name, (0, ""))[0]
        complaints += [f"{name}:{number} sleeps" for number in lines[limit:]]
        if len(lines) < limit:
            complaints.append(f"{name} sleeps {len(lines)} times; the list of exceptions allows {limit}")
    return complaints


def self_test():
    sleep = "std::this_thread::sleep_for(1ms);\n"
    files = {"tests/ATests.cpp": "co_await Task<>::sleep(1s, clock);\n// usleep(1) is not a call.\n",
             "tests/Support/Wait.hpp": sleep}
    allowed = {"tests/Support/Wait.hpp": (1, "the one loop that waits")}
    with tree.small_tree(files) as root:
        tree.expect(check(root, allowed))
        tree.expect(check(root, {}), "tests/Support/Wait.hpp:1 sleeps")
        tree.expect(check(root, {"tests/Support/Wait.hpp": (2, "two loops")}), "sleeps 1 times; the list of exceptions")
    for name, text, complaint in (("tests/Support/Wait.hpp", sleep * 2, "Wait.hpp:2 sleeps"),
                                  ("tests/BTests.cpp", "  ::usleep(100);\n", "BTests.cpp:1 sleeps"),
                                  ("tests/BTests.cpp", "int a;\n::sleep(1);\n", "BTests.cpp:2 sleeps")):
        with tree.small_tree(files | {name: text}) as root:
            tree.expect(check(root, allowed), complaint)


tree.main(check, self_test)
