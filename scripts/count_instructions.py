#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Counts the instructions of key operations, and compares them with the accepted counts.

Each operation runs under callgrind for N and for 2 N times. The difference divided by N excludes the start and the end
of the process. Unlike times, these counts repeat from run to run, so a higher count is slower code. They hold for one
compiler and one set of system libraries (Debian 12 and clang 19).

    scripts/count_instructions.py --build build/bench            prints a Markdown table; exit status 1 on a regression
    scripts/count_instructions.py --build build/bench --update   accepts the present figures
"""

import argparse
import json
import os
import pathlib
import re
import subprocess
import sys

root = pathlib.Path(__file__).resolve().parent.parent
accepted_file = root / "benchmarks" / "instruction-counts.json"
tolerance = 0.02


def program_in(build: pathlib.Path) -> pathlib.Path:
    for path in sorted(build.rglob("tessaly_instruction_counts")):
        if path.is_file() and os.access(path, os.X_OK):
            return path
    sys.exit(f"No tessaly_instruction_counts under {build}: configure with -DTESSALY_BENCHMARKS=ON and build it")


def instructions(program: pathlib.Path, operation: str, times: int) -> int:
    run = subprocess.run(
        ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", str(program), operation, str(times)],
        capture_output=True, text=True)
    if run.returncode != 0:
        sys.exit(f"{operation}: {run.stderr}")
    collected = re.search(r"Collected : (\d+)", run.stderr)
    if not collected:
        sys.exit(f"{operation}: callgrind printed no count:\n{run.stderr}")
    return int(collected[1])


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=pathlib.Path, default=root / "build" / "bench")
    parser.add_argument("--times", type=int, default=2000)
    parser.add_argument("--update", action="store_true")
    arguments = parser.parse_args()

    program = program_in(arguments.build)
    names = subprocess.run([program, "--list"], check=True, capture_output=True, text=True).stdout.splitlines()
    accepted = json.loads(accepted_file.read_text()) if accepted_file.exists() else {}

    measured = {}
    regressions = []
    print("| operation | instructions | accepted |")
    print("| --- | ---: | ---: |")
    for name in names:
        once = instructions(program, name, arguments.times)
        twice = instructions(program, name, 2 * arguments.times)
        measured[name] = round((twice - once) / arguments.times, 1)
        before = accepted.get(name)
        print(f"| {name} | {measured[name]:.0f} | {'' if before is None else f'{before:.0f}'} |", flush=True)
        if before is not None and measured[name] > before * (1 + tolerance) + 0.5:
            regressions.append(f"{name}: {before:.0f} instructions before, {measured[name]:.0f} now")

    if arguments.update:
        accepted_file.write_text(json.dumps(measured, indent=2) + "\n")
        return 0
    for regression in regressions:
        print(regression, file=sys.stderr)
    return 1 if regressions else 0


if __name__ == "__main__":
    sys.exit(main())
