#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Measures every table of docs/measurements, and writes it into its page.

    scripts/update_measurements.py --build build/bench [--only times ...]

The build must be a Release build with -DTESSALY_BENCHMARKS=ON. Leave the machine alone meanwhile.
"""

import argparse
import datetime
import os
import pathlib
import platform
import re
import subprocess
import sys

root = pathlib.Path(__file__).resolve().parent.parent
pages = root / "docs" / "measurements"


def output(*command, accepted=(0,)) -> str:
    run = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE, text=True)
    if run.returncode not in accepted:
        sys.exit(f"{command[0]} ended with status {run.returncode}")
    return run.stdout.strip()


def program(build: pathlib.Path, name: str) -> pathlib.Path:
    for path in sorted(build.rglob(name)):
        if path.is_file() and os.access(path, os.X_OK):
            return path
    sys.exit(f"No {name} under {build}")


def machine(compiler: str) -> str:
    cpu_text = pathlib.Path("/proc/cpuinfo").read_text()
    cpu = re.search(r"^model name\s*:\s*(.*)$", cpu_text, re.MULTILINE)
    system = re.search(r'^PRETTY_NAME="?([^"\n]*)', pathlib.Path("/etc/os-release").read_text(), re.MULTILINE)
    rows = {
        "processor": f"{cpu[1] if cpu else platform.machine()}, {os.cpu_count()} cores",
        "virtual machine": "yes" if re.search(r"^flags\s*:.*\bhypervisor\b", cpu_text, re.MULTILINE) else "no",
        "system": system[1] if system else "unknown",
        "kernel": platform.release(),
        "compiler": output(compiler, "--version").splitlines()[0],
        "C library": " ".join(platform.libc_ver()),
        "date": datetime.date.today().isoformat(),
        "load average before the run (1 and 15 minutes)": "{0:.1f} and {2:.1f}".format(*os.getloadavg()),
    }
    return "\n".join(["| | |", "| --- | --- |"] + [f"| {name} | {value} |" for name, value in rows.items()])


def main() -> None:
    sections = ("machine", "times", "instructions", "footprint")
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=pathlib.Path, default=root / "build" / "bench")
    parser.add_argument("--compiler", default="clang++-19")
    parser.add_argument("--only", nargs="+", choices=sections, default=sections)
    arguments = parser.parse_args()

    scripts = root / "scripts"
    measure = {
        "machine": lambda: machine(arguments.compiler),
        "times": lambda: output(program(arguments.build, "tessaly_bench"), "--markdown",
                                f"--json={arguments.build / 'results.json'}"),
        # Status 1 reports a regression, which belongs on its page like any other figure.
        "instructions": lambda: output(scripts / "count_instructions.py", "--build", arguments.build, accepted=(0, 1)),
        "footprint": lambda: output(scripts / "measure_footprint.py", "--build", arguments.build,
                                    "--compiler", arguments.compiler),
    }
    for section in sections:
        if section not in arguments.only:
            continue
        figures = measure[section]()
        page = pages / f"{section}.md"
        pattern = re.compile(rf"(<!-- begin {section} -->\n).*?(<!-- end {section} -->)", re.DOTALL)
        text, replaced = pattern.subn(lambda match: f"{match[1]}{figures}\n{match[2]}", page.read_text())
        if replaced != 1:
            sys.exit(f"{page.name} has no place for {section}")
        page.write_text(text)


if __name__ == "__main__":
    main()
