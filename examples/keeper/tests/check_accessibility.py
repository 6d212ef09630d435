#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Reads a window of Keeper as a screen reader does: check_accessibility.py program command

The window has an X server, a session bus and an accessibility bus of its own. The command `tessaly` then hides a column.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time

SKIPPED = 77
ACCESSIBLE = "org.a11y.atspi.Accessible"
PROPERTIES = "org.freedesktop.DBus.Properties"
# The numbers of the roles in AT-SPI. The toolkits have different roles for the same thing.
BUTTON, CHECK_BOX, FIELD, LIST, TEXT, WINDOW = {43, 62, 129}, {7}, {61, 79}, {55, 65, 66}, {29, 32, 43, 56, 57}, {23, 69}
CONTROLS = BUTTON | CHECK_BOX | FIELD | LIST | WINDOW
EXPECTED = [
    (WINDOW, "shelf — Keeper"), (FIELD, "Search"), (LIST, "Files"), (BUTTON, "Copy Path"), (BUTTON, "Save as CSV"),
    (BUTTON, "Save as Zip"), (BUTTON, "Save Log"), (BUTTON, "Columns"), (BUTTON, "Find Duplicates"),
    (CHECK_BOX, "Hidden Files"), (CHECK_BOX, "Only Duplicates"), (TEXT, "Size"), (TEXT, "a.txt"), (TEXT, "A")]


def skip(reason):
    print(reason)
    sys.exit(SKIPPED)


try:
    import dbus
    import dbus.bus
except ImportError:
    skip("not installed: python3-dbus")


class Surroundings:
    """The X server, the bus and the settings of a test. They end with it."""

    def __init__(self, directory):
        self.directory = directory
        self.processes = []
        self.environment = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "GDK_BACKEND": "x11", "GSK_RENDERER": "cairo",
                            "GDK_DEBUG": "gl-disable", "GSETTINGS_BACKEND": "memory", "QT_QPA_PLATFORM": "xcb",
                            "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"}
        for name in ("HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_RUNTIME_DIR", "XDG_CACHE_HOME"):
            (directory / name).mkdir(mode=0o700)
            self.environment[name] = str(directory / name)

    def start(self, *command, **options):
        process = subprocess.Popen([str(part) for part in command], env=self.environment, **options)
        self.processes.append(process)
        return process

    def start_display(self):
        # The number of this process. Another number could be that of a server that has just ended.
        display = f":{1000 + os.getpid() % 25000 * 2}"
        reading, writing = os.pipe()
        self.start("Xvfb", display, "-displayfd", writing, "-nolisten", "tcp", "-noreset", "-screen", "0", "1100x700x24",
                   pass_fds=[writing], stderr=subprocess.DEVNULL)
        os.close(writing)
        if not os.read(reading, 20):
            skip("no X server could be started")
        self.environment["DISPLAY"] = display

    def accessibility_bus(self):
        address = f"unix:path={self.directory}/bus"
        daemon = self.start("dbus-daemon", "--session", "--nofork", "--print-address=1", f"--address={address}",
                            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        address = daemon.stdout.readline().decode().strip()
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = address
        try:
            proxy = dbus.bus.BusConnection(address).get_object("org.a11y.Bus", "/org/a11y/bus")
            return dbus.bus.BusConnection(str(proxy.GetAddress(dbus_interface="org.a11y.Bus")))
        except dbus.DBusException as error:
            skip(f"no accessibility bus (package at-spi2-core): {error}")

    def end(self):
        for process in reversed(self.processes):
            process.kill()
            process.wait()


def has_place(proxy):
    """Whether an object is not invisible. Qt keeps the header of a hidden column, with a width of 0."""
    try:
        _, _, width, _ = proxy.GetExtents(dbus.UInt32(0), dbus_interface="org.a11y.atspi.Component")
    except dbus.DBusException:  # Such as an application.
        return True
    return width > 0


def objects(bus, destination="org.a11y.atspi.Registry", path="/org/a11y/atspi/accessible/root"):
    """The number of the role and the name of an object and of all objects below it."""
    proxy = bus.get_object(destination, path, introspect=False)
    try:
        if has_place(proxy):
            yield (int(proxy.GetRole(dbus_interface=ACCESSIBLE)),
                   str(proxy.Get(ACCESSIBLE, "Name", dbus_interface=PROPERTIES)))
        children = proxy.GetChildren(dbus_interface=ACCESSIBLE)
    except dbus.DBusException:  # The object has just ended.
        return
    for name, child in children:
        if not child.endswith("/null"):
            yield from objects(bus, str(name), str(child))


def wait_for(bus, condition, text):
    """Reads the objects until the condition holds for them. Stops the test after 20 s."""
    end = time.monotonic() + 20
    while not condition(found := set(objects(bus))):
        if time.monotonic() > end:
            sys.exit(f"{text}:\n" + "\n".join(map(str, sorted(found))))
    return found


def check(surroundings, program, command):
    surroundings.start_display()
    bus = surroundings.accessibility_bus()
    shelf = surroundings.directory / "shelf"
    shelf.mkdir()
    (shelf / "a.txt").write_text("x")
    surroundings.start(program, shelf)
    found = wait_for(bus, lambda found: all(any((role, name) in found for role in roles) for roles, name in EXPECTED),
                     f"Not all of {EXPECTED} were found")
    nameless = [(role, name) for role, name in found if role in CONTROLS and (not name or name.startswith("Gtk"))]
    if nameless:
        sys.exit(f"Without a name: {nameless}")
    subprocess.run([command, "defaults", "write", "org.example.keeper", "shows-size", "-bool", "false"],
                   env=surroundings.environment, check=True)
    wait_for(bus, lambda found: not any(name == "Size" for role, name in found), "The column Size is still there")


if __name__ == "__main__":
    missing = [tool for tool in ("Xvfb", "dbus-daemon") if shutil.which(tool) is None]
    if missing:
        skip(f"not installed: {missing}")
    with tempfile.TemporaryDirectory() as name:
        own = Surroundings(pathlib.Path(name))
        try:
            check(own, pathlib.Path(sys.argv[1]), sys.argv[2])
        finally:
            own.end()
