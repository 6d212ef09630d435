#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Reads a window of Keeper as a screen reader does: check_accessibility.py program command

The window has an X server, a session bus and an accessibility bus of its own. The command `tessaly` then hides a column.
"""

import os
import subprocess
import sys

from surroundings import Surroundings, skip, skip_without, wait_for

ACCESSIBLE = "org.a11y.atspi.Accessible"
PROPERTIES = "org.freedesktop.DBus.Properties"
# The numbers of the roles in AT-SPI. The toolkits have different roles for the same thing.
BUTTON, CHECK_BOX, FIELD, LIST, TEXT, WINDOW = {43, 62, 129}, {7}, {61, 79}, {55, 65, 66}, {29, 32, 43, 56, 57}, {23, 69}
CONTROLS = BUTTON | CHECK_BOX | FIELD | LIST | WINDOW
EXPECTED = [
    (WINDOW, "shelf — Keeper"), (FIELD, "Search"), (LIST, "Files"), (BUTTON, "Copy Path"), (BUTTON, "Save as CSV"),
    (BUTTON, "Save as Zip"), (BUTTON, "Save Log"), (BUTTON, "Columns"), (BUTTON, "Find Duplicates"),
    (CHECK_BOX, "Hidden Files"), (CHECK_BOX, "Only Duplicates"), (TEXT, "Size"), (TEXT, "a.txt"), (TEXT, "A")]


try:
    import dbus
    import dbus.bus
except ImportError:
    skip("not installed: python3-dbus")


class Desktop(Surroundings):
    """The X server and the buses."""

    def start_display(self):
        # The number of this process. Another number could be that of a server that has just ended.
        display = f":{1000 + os.getpid() % 25000 * 2}"
        self.environment |= {"GDK_BACKEND": "x11", "QT_QPA_PLATFORM": "xcb", "DISPLAY": display}
        reading, writing = os.pipe()
        self.start("Xvfb", display, "-displayfd", writing, "-nolisten", "tcp", "-noreset", "-screen", "0", "1100x700x24",
                   pass_fds=[writing], stderr=subprocess.DEVNULL)
        os.close(writing)
        if not os.read(reading, 20):
            skip("no X server could be started")

    def accessibility_bus(self):
        address = f"unix:path={self.directory}/bus"
        daemon = self.start("dbus-daemon", "--session", "--nofork", "--print-address=1", f"--address={address}",
                            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        address = daemon.stdout.readline().decode().strip()
        self.environment |= {"DBUS_SESSION_BUS_ADDRESS": address, "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"}
        try:
            proxy = dbus.bus.BusConnection(address).get_object("org.a11y.Bus", "/org/a11y/bus")
            return dbus.bus.BusConnection(str(proxy.GetAddress(dbus_interface="org.a11y.Bus")))
        except dbus.DBusException as error:
            skip(f"no accessibility bus (package at-spi2-core): {error}")


def has_place(proxy):
    """Whether an object is not invisible. Qt keeps the header of a hidden column, with a width of 0."""
    try:
        _, _, width, _ = proxy.GetExtents(dbus.UInt32(1), dbus_interface="org.a11y.atspi.Component")
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


def check(desktop, program, command):
    desktop.start_display()
    bus = desktop.accessibility_bus()
    (desktop.shelf / "a.txt").write_text("x")
    desktop.start(program, desktop.shelf)
    found = wait_for(lambda: set(objects(bus)),
                     lambda found: all(any((role, name) in found for role in roles) for roles, name in EXPECTED),
                     f"Not all of {EXPECTED} were found")
    nameless = [(role, name) for role, name in found if role in CONTROLS and (not name or name.startswith("Gtk"))]
    if nameless:
        sys.exit(f"Without a name: {nameless}")
    desktop.run(command, "defaults", "write", "org.example.keeper", "shows-size", "-bool", "false")
    wait_for(lambda: {name for role, name in objects(bus)}, lambda names: "Size" not in names,
             "The column Size is still there")


if __name__ == "__main__":
    skip_without("Xvfb", "dbus-daemon")
    with Desktop() as desktop:
        check(desktop, *sys.argv[1:])
