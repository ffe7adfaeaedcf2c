# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""A template for python-dbusmock: a session manager or a power manager that keeps the machine awake, which of them
the environment says. Like the real ones it takes back what it granted to a program that is gone."""

import os

import dbus

from dbusmock import MOCK_IFACE

SYSTEM_BUS = False
is_gnome = os.environ["MOCK_DESKTOP"] == "gnome"
BUS_NAME, MAIN_OBJ, MAIN_IFACE = (
    ("org.gnome.SessionManager", "/org/gnome/SessionManager", "org.gnome.SessionManager") if is_gnome else
    ("org.freedesktop.PowerManagement", "/org/freedesktop/PowerManagement/Inhibit",
     "org.freedesktop.PowerManagement.Inhibit"))


def load(mock, parameters):
    mock.held = {}
    mock.granted = 0
    mock.refusing = parameters.get("refusing", False)


def grant(mock, sender, asked):
    if mock.refusing:
        raise dbus.exceptions.DBusException("Permission denied", name="org.freedesktop.DBus.Error.AccessDenied")
    mock.granted += 1
    cookie = mock.granted
    mock.held[cookie] = asked
    mock.connection.watch_name_owner(sender, lambda owner: owner or mock.held.pop(cookie, None))
    return cookie


if is_gnome:
    @dbus.service.method(MAIN_IFACE, in_signature="susu", out_signature="u", sender_keyword="sender")
    def Inhibit(self, application, window, reason, flags, sender=None):
        return grant(self, sender, f"{application}|{window}|{reason}|{flags}")

    @dbus.service.method(MAIN_IFACE, in_signature="u", out_signature="")
    def Uninhibit(self, cookie):
        del self.held[cookie]
else:
    @dbus.service.method(MAIN_IFACE, in_signature="ss", out_signature="u", sender_keyword="sender")
    def Inhibit(self, application, reason, sender=None):
        return grant(self, sender, f"{application}|{reason}")

    @dbus.service.method(MAIN_IFACE, in_signature="u", out_signature="")
    def UnInhibit(self, cookie):
        del self.held[cookie]


@dbus.service.method(MOCK_IFACE, in_signature="", out_signature="as")
def Held(self):
    return dbus.Array(self.held.values(), signature="s")


@dbus.service.method(MOCK_IFACE, in_signature="", out_signature="u")
def Granted(self):
    return self.granted
