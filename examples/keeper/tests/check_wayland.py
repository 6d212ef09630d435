#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Drives a window of Keeper by keys under Wayland, in a compositor without a screen: check_wayland.py program"""

import itertools
import json
import os
import sys

from surroundings import Surroundings, skip, skip_without, wait_for

NOBODY = 65534
TITLE = "shelf — Keeper"


def start_compositor(surroundings):
    directory = surroundings.directory
    surroundings.environment |= {"WLR_BACKENDS": "headless", "WLR_RENDERER": "pixman", "WLR_LIBINPUT_NO_DEVICES": "1"}
    (directory / "config").write_text("xwayland disable\n")
    options = {}
    if os.getuid() == 0:  # The compositor refuses to run as root.
        options = {"user": NOBODY, "group": NOBODY, "extra_groups": []}
        for path in (directory, *directory.rglob("*")):
            os.chown(path, NOBODY, NOBODY)
    with open(directory / "sway.log", "w", encoding="utf-8") as log:
        compositor = surroundings.start("sway", "-c", directory / "config", stdout=log, stderr=log, **options)
    runtime = directory / "XDG_RUNTIME_DIR"
    wait_for(lambda: list(runtime.glob("sway-ipc*")), lambda found: found or compositor.poll() is not None, "No sway")
    if compositor.poll() is not None:
        skip("sway does not run here: " + (directory / "sway.log").read_text())
    surroundings.environment |= {"SWAYSOCK": str(next(runtime.glob("sway-ipc*"))), "WAYLAND_DISPLAY": "wayland-1",
                                 "GDK_BACKEND": "wayland", "QT_QPA_PLATFORM": "wayland",
                                 # The toolkits leak when the program ends, and their threads wait in ways that the
                                 # thread sanitizer does not see.
                                 "ASAN_OPTIONS": "detect_leaks=0", "TSAN_OPTIONS": "ignore_noninstrumented_modules=1"}


def windows(node):
    if node.get("app_id"):
        yield node
    for child in node.get("nodes", []) + node.get("floating_nodes", []):
        yield from windows(child)


def shown(surroundings):
    tree = surroundings.run("swaymsg", "-t", "get_tree")
    return list(windows(json.loads(tree))) if tree else []


def check(surroundings, program):
    start_compositor(surroundings)
    for name in ("a", "b", "Résumé.pdf"):
        (surroundings.shelf / name).touch()
    with open(surroundings.directory / "log", "w", encoding="utf-8") as log:
        keeper = surroundings.start(program, surroundings.shelf, stdout=log, stderr=log)
    found = wait_for(lambda: shown(surroundings), lambda found: found or keeper.poll() is not None, "No window")
    said = (surroundings.directory / "log").read_text()
    if "platform plugin" in said:
        skip("Qt has no plugin for Wayland (package qt6-wayland): " + said)
    # By the identifier the compositor finds the desktop entry and the icon.
    facts = [(window["name"], window["app_id"], window["shell"]) for window in found]
    if facts != [(TITLE, "org.example.keeper", "xdg_shell")]:
        sys.exit(f"The windows are {facts}: {said}")
    # The keys are pressed until they have their effect. A compositor without a keyboard gives each command a new one,
    # whose keys come too early if the window has not read its layout yet. So each command waits longer than the one
    # before. The list also follows the search in later turns only. The layout of such a keyboard has one level, so the
    # letter of the shortcut is a capital one.
    pauses = (50 * 2**attempt for attempt in itertools.count())

    def press(pause, *keys):
        surroundings.run("wtype", "-s", pause, *keys)

    def copied():
        pause = next(pauses)
        press(pause, "-M", "ctrl", "a", "-m", "ctrl", "resume")
        press(pause, "-M", "ctrl", "-M", "shift", "C")
        return surroundings.run("timeout", "2", "wl-paste", "-n")

    def ended():
        press(next(pauses), "-M", "ctrl", "q")
        return keeper.poll() is not None

    wait_for(copied, lambda text: text == str(surroundings.shelf / "Résumé.pdf"), "The path was not copied, but")
    wait_for(ended, lambda has_ended: has_ended, "Keeper did not end")
    if keeper.returncode != 0:
        sys.exit(f"Keeper ended with {keeper.returncode}: " + (surroundings.directory / "log").read_text())


if __name__ == "__main__":
    skip_without("sway", "swaymsg", "wtype", "wl-paste")
    with Surroundings() as own:
        check(own, sys.argv[1])
