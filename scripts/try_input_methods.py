#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Types into the forms of the examples through real input methods, and compares what the forms save.

    scripts/try_input_methods.py <build directory> [GTK|Qt]...

Each run has an X server, a session bus and an input method of its own: ibus with the engine anthy, and fcitx5 with its
engine anthy. A run whose programs are not installed is skipped with the reason. The exit status is 1 after a failure.

The packages of Debian: dbus, fcitx5, fcitx5-anthy, fcitx5-frontend-gtk4, fcitx5-frontend-qt6, ibus, ibus-anthy,
ibus-gtk4, x11-utils, xdotool, xvfb.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time

FORMS = {"GTK": "gtk_form/tessaly_gtk_form", "Qt": "qt_form/tessaly_qt_form"}
SETTINGS = "[org/freedesktop/ibus/engine/anthy/common]\ninput-mode=0\n"
PROFILE = ("[Groups/0]\nName=Default\nDefault Layout=us\nDefaultIM=anthy\n\n"
           "[Groups/0/Items/0]\nName=anthy\nLayout=\n\n[GroupOrder]\n0=Default\n")
FILES = {".config/glib-2.0/settings/keyfile": SETTINGS, ".config/fcitx5/profile": PROFILE}
PROGRAMS = {"ibus": ["ibus-daemon", "/usr/libexec/ibus-engine-anthy"], "fcitx": ["fcitx5"]}
ALWAYS_NEEDED = ["Xvfb", "dbus-daemon", "xdotool", "xev"]

# Full-width letters and digits are those of anthy. "leave" gives the keyboard to another window during the composition.
TITLE = ["k", "a", "Return", "Tab", "Tab"]
CASES = [
    ("a composed text, and a composed number over the old one",
     {"ibus": TITLE + ["End", "BackSpace", "BackSpace", "1", "2", "Return", "Return"],
      "fcitx": TITLE + ["ctrl+a", "1", "2", "Return", "Return"]}, ["Title: か", "Volume: 12 %"]),
    ("a number beyond the range", {"ibus": TITLE + ["End", "0", "Return", "Return"],
                                   "fcitx": TITLE + ["End", "0", "Return", "Return"]}, ["Title: か", "Volume: 100 %"]),
    ("a composition that is given up", {"ibus": TITLE + ["End", "1", "Escape", "Escape"],
                                        "fcitx": TITLE + ["End", "1", "Escape", "Escape"]},
     ["Title: か", "Volume: 80 %"]),
    ("another window takes the focus during the composition", {"fcitx": TITLE + ["ctrl+a", "3", "0", "leave"]},
     ["Title: か", "Volume: 30 %"]),
]


class Desktop:
    """An X server, a bus, an input method, and a user at the keyboard."""

    def __init__(self, method, home):
        self.processes = []
        self.environment = {"PATH": os.environ["PATH"], "HOME": home, "XDG_RUNTIME_DIR": home, "LANG": "C.UTF-8",
                            "GDK_DEBUG": "gl-disable", "GSK_RENDERER": "cairo", "GTK_A11Y": "none",
                            "GSETTINGS_BACKEND": "keyfile", "GTK_IM_MODULE": method, "QT_IM_MODULE": method,
                            "QT_QPA_PLATFORM": "xcb", "GDK_BACKEND": "x11", "XMODIFIERS": "@im=" + method}
        for name, contents in FILES.items():
            path = pathlib.Path(home, name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(contents)
        reading, writing = os.pipe()
        self.start(["Xvfb", "-displayfd", str(writing), "-screen", "0", "900x700x24", "-nolisten", "tcp"],
                   pass_fds=[writing])
        os.close(writing)
        self.environment["DISPLAY"] = ":" + os.read(reading, 16).decode().strip()
        bus = self.start(["dbus-daemon", "--session", "--nofork", "--print-address=1"], stdout=subprocess.PIPE)
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = bus.stdout.readline().decode().strip()
        self.start_method(method)

    def start(self, command, **options):
        options.setdefault("stdout", subprocess.DEVNULL)
        process = subprocess.Popen(command, env=self.environment, stderr=subprocess.DEVNULL, **options)
        self.processes.append(process)
        return process

    def output(self, *command):
        return subprocess.run(command, env=self.environment, capture_output=True, text=True, check=False).stdout.strip()

    def start_method(self, method):
        if method == "ibus":
            self.start(["ibus-daemon", "--panel=disable", "--config=disable", "--emoji-extension=disable"])
            self.wait(lambda: self.output("ibus", "engine", "anthy") == "" and self.output("ibus", "engine") == "anthy",
                      "the engine of ibus")
        else:
            self.start(["fcitx5", "--disable=wayland,clipboard,kimpanel,xim"])
            self.wait(lambda: self.output("fcitx5-remote") in ("0", "1", "2"), "fcitx5")
            time.sleep(1)

    def wait(self, condition, what):
        limit = time.monotonic() + 20
        while not condition():
            if time.monotonic() > limit:
                raise TimeoutError("no answer within 20 s: " + what)
            time.sleep(0.1)

    def window(self, title):
        self.wait(lambda: self.output("xdotool", "search", "--onlyvisible", "--name", title), title)
        return self.output("xdotool", "search", "--onlyvisible", "--name", title).split()[0]

    def focus(self, window):
        self.output("xdotool", "windowfocus", "--sync", window)
        time.sleep(0.7)

    def press(self, key):
        self.output("xdotool", "key", key)
        time.sleep(0.3)  # An engine in another process gives no sign when it has answered.

    def close(self):
        for process in reversed(self.processes):
            process.terminate()
            process.wait()


def saved(program, title, method, keys):
    """The lines that the form prints after these keys, and after the button at its end."""
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as home:
        desktop = Desktop(method, home)
        try:
            desktop.start(["xev", "-name", "elsewhere", "-geometry", "60x60+830+630"])
            form = desktop.start([program], stdout=subprocess.PIPE)
            window = desktop.window(title)
            elsewhere = desktop.window("^elsewhere$")
            time.sleep(1)
            desktop.focus(window)
            for key in keys:
                if key == "leave":
                    desktop.focus(elsewhere)
                    desktop.focus(window)
                else:
                    desktop.press(key)
            for key in ["Tab"] * 6 + ["space"]:
                desktop.press(key)
            return form.communicate(timeout=20)[0].decode().splitlines()
        finally:
            desktop.close()


def main(build, toolkits):
    failures = 0
    for toolkit in toolkits or FORMS:
        program = str(pathlib.Path(build, "examples", FORMS[toolkit]).resolve())
        for method, programs in PROGRAMS.items():
            missing = [name for name in [program] + ALWAYS_NEEDED + programs if shutil.which(name) is None]
            if missing:
                print(f"skipped {toolkit}, {method}: not installed: {', '.join(missing)}")
                continue
            for name, keys, expected in CASES:
                if method not in keys:
                    continue
                lines = saved(program, f"Track .{toolkit}.", method, keys[method])
                absent = [line for line in expected if line not in lines]
                failures += bool(absent)
                print(f"{'failed' if absent else 'passed'} {toolkit}, {method}: {name}", flush=True)
                if absent:
                    print(f"  expected {absent} in {lines}", flush=True)
    return 1 if failures else 0


if __name__ == "__main__":
    if len(sys.argv) < 2 or any(toolkit not in FORMS for toolkit in sys.argv[2:]):
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1], sys.argv[2:]))
