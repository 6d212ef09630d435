#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The surroundings of a window in a test: directories, settings and processes of its own, which end with the test."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time

SKIPPED = 77


def skip(reason):
    print(reason)
    sys.exit(SKIPPED)


def skip_without(*tools):
    missing = [tool for tool in tools if shutil.which(tool) is None]
    if missing:
        skip(f"not installed: {missing}")


def wait_for(read, condition, text):
    """Reads until the condition holds for the result. Stops the test after 20 s."""
    end = time.monotonic() + 20
    while not condition(found := read()):
        if time.monotonic() > end:
            sys.exit(f"{text}: {found}")
    return found


class Surroundings:
    def __init__(self):
        self.temporary = tempfile.TemporaryDirectory()
        self.directory = pathlib.Path(self.temporary.name)
        self.processes = []
        self.environment = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "GSK_RENDERER": "cairo",
                            "GDK_DEBUG": "gl-disable", "GSETTINGS_BACKEND": "memory"}
        for name in ("HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_RUNTIME_DIR", "XDG_CACHE_HOME"):
            (self.directory / name).mkdir(mode=0o700)
            self.environment[name] = str(self.directory / name)
        self.shelf = self.directory / "shelf"
        self.shelf.mkdir()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for process in reversed(self.processes):
            process.kill()
            process.wait()
        self.temporary.cleanup()

    def start(self, *command, **options):
        process = subprocess.Popen([str(part) for part in command], env=self.environment, **options)
        self.processes.append(process)
        return process

    def run(self, *command):
        """Runs a command to its end. Returns what it writes, or nothing if it fails."""
        result = subprocess.run([str(part) for part in command], env=self.environment, capture_output=True, text=True,
                                timeout=20, check=False)
        return result.stdout if result.returncode == 0 else ""
