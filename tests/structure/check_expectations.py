#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether an expectation stands behind an `if` that may skip it: check_expectations.py root

A test whose only check is skipped passes without a check. So no line reads `if (...) EXPECT_...`. ALLOWED names the
conditions that cannot hide a failure, with the reason.
"""

import re

import tree

CONDITIONAL = re.compile(r"^\s*(?:\} else |else )?if (?:constexpr )?(\(.*?\)) \{?\s*(?:EXPECT|ASSERT)_")
ONE_BY_ONE = "the loop also meets elements that fulfil the condition"
PRIVILEGES = "prepares the test, which holds with and without the privileges"
EITHER_WAY = "another expectation says whether the condition has to hold"
ALLOWED = {
    ("tests/Concurrency/AsyncStreamsTests.cpp", "(last)"): ONE_BY_ONE,
    ("tests/Concurrency/AsyncStreamsTests.cpp", "(last >= 0)"): ONE_BY_ONE,
    ("tests/Concurrency/ReducedReplayAsyncStreamTests.cpp", "(received > 0)"): ONE_BY_ONE,
    ("tests/Concurrency/ReducedReplayAsyncStreamTests.cpp", "(j > 0)"): ONE_BY_ONE,
    ("tests/Core/Foundation/UTTypeTests.cpp", "(::geteuid() == 0)"): PRIVILEGES,
    ("tests/Core/Foundation/UTTypeTests.cpp", "(::getuid() == 0)"): PRIVILEGES,
    ("tests/Core/Tasks/AsyncMergeSequenceTests.cpp", "(errors > 0)"): EITHER_WAY,
    ("tests/Core/Tasks/AsyncStreamIteratorTests.cpp", "(cancellations == 0)"): EITHER_WAY,
    ("tests/FoundationExtensions/NSFileCoordinator+ExtensionsTests.cpp", "(::geteuid() == 0)"): PRIVILEGES,
    ("tests/FoundationExtensions/NSFileCoordinator+ExtensionsTests.cpp", "(::getuid() == 0)"): PRIVILEGES,
    ("tests/Platform/Network/NWPathMonitorTests.cpp", "(paths.size() == 2)"): EITHER_WAY,
    ("tests/Platform/Settings/JournaledUserDefaultsTests.cpp", "(second->synchronize())"): EITHER_WAY,
    ("tests/Platform/Settings/PowerCutTests.cpp", "(key != \"later\")"): ONE_BY_ONE,
    ("tests/SettingsAndObservation/ManyObserversTests.cpp", "(round > 0)"): ONE_BY_ONE,
    ("tests/SettingsAndObservation/UserDefaultsValueTests.cpp", "(optional)"): EITHER_WAY,
    ("tests/SettingsAndObservation/UserDefaultsValueTests.cpp", "(array)"): EITHER_WAY,
    ("tests/SettingsAndObservation/UserDefaultsValueTests.cpp", "(nested)"): EITHER_WAY,
    ("tests/SystemServices/FileManager+FileSystemEventsExtensionsTests.cpp", "(::geteuid() == 0)"): PRIVILEGES,
    ("tests/SystemServices/ReachabilityServiceTests.cpp", "(i % 4 == 0)"): ONE_BY_ONE,
    ("tests/system/network/MeteredTests.cpp", "(name == Name::owned)"): "prepares the stand-in",
    ("tests/system/services/PasteboardTests.cpp", "(user != 0)"): PRIVILEGES,
    ("tests/tools/tessaly/AwakeCommandTests.cpp", "(!IsSkipped())"): "a skipped test is reported as skipped",
}


def check(root, allowed=None):
    allowed = ALLOWED if allowed is None else allowed
    complaints = []
    for path in sorted((root / "tests").rglob("*.?pp")):
        name = str(path.relative_to(root))
        for number, line in enumerate(tree.read(path).splitlines(), 1):
            match = CONDITIONAL.match(line)
            if match and (name, match.group(1)) not in allowed:
                complaints.append(f"{name}:{number} expects something only {match.group(1)}")
    return complaints


def self_test():
    files = {"tests/ATests.cpp": "  EXPECT_TRUE(a);\n  if (a) call();\n  if (b) EXPECT_TRUE(c);\n"}
    allowed = {("tests/ATests.cpp", "(b)"): "because"}
    with tree.small_tree(files) as root:
        tree.expect(check(root, allowed))
    for line, condition in (("  if (a(1) == 2) ASSERT_EQ(b, c);\n", "(a(1) == 2)"), ("if (a) { EXPECT_EQ(b, 1); }\n", "(a)"),
                            ("  } else if (a) EXPECT_EQ(b, 1);\n", "(a)")):
        with tree.small_tree(files | {"tests/BTests.cpp": line}) as root:
            tree.expect(check(root, allowed), f"tests/BTests.cpp:1 expects something only {condition}")


tree.main(check, self_test)
