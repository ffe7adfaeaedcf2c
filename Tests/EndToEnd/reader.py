# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""What a screen reader is told of the windows, and does there."""

import contextlib

import dbus

from harness import wait_for

_STATES = {7: "editable", 8: "enabled", 12: "focused", 23: "selected", 25: "showing"}


class Thing:
    """Something in a window, or all windows."""

    def __init__(self, bus, owner, path):
        self._bus, self._place = bus, (owner, path)

    def call(self, interface, method, *arguments):
        return self._bus.call_blocking(*self._place, "org.a11y.atspi." + interface, method, None, arguments, timeout=20)

    def get(self, name, interface="Accessible"):
        return self._bus.call_blocking(*self._place, dbus.PROPERTIES_IFACE, "Get", "ss",
                                       ("org.a11y.atspi." + interface, name), timeout=20)

    name = property(lambda self: str(self.get("Name")))
    description = property(lambda self: str(self.get("Description")))
    role = property(lambda self: str(self.call("Accessible", "GetRoleName")))

    @property
    def states(self):
        bits = self.call("Accessible", "GetState")[0]
        return {state for bit, state in _STATES.items() if bits >> bit & 1}

    def all(self):
        """What shows in it, in the order in which it is read."""
        for child in self.call("Accessible", "GetChildren"):
            thing = Thing(self._bus, *child)
            with contextlib.suppress(dbus.DBusException):  # it went meanwhile
                if thing.role == "application" or "showing" in thing.states:
                    yield thing
                    yield from thing.all()

    def find(self, role, name=""):
        """The first that begins so."""
        with contextlib.suppress(dbus.DBusException):
            return next((one for one in self.all() if one.role == role and one.name.startswith(name)), None)

    def shown(self, role, name=""):
        return wait_for(lambda: self.find(role, name), f"a {role} that begins {name!r}")

    def press(self, name):
        def enabled():
            button = self.find("push button", name)
            return button if button and "enabled" in button.states else None
        wait_for(enabled, f"the button {name} can be pressed").call("Action", "DoAction", dbus.Int32(0))


def windows(desk):
    """Those of what is started afterwards on the desk's display."""
    desk.play("org.a11y.Bus", {"GetAddress": ("", "s", f"ret = {desk.address!r}")}, path="/org/a11y/bus")
    desk.environment["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1"
    desk.start_service("org.a11y.atspi.Registry", "/usr/libexec/at-spi2-registryd")
    return Thing(desk.bus, "org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root")
