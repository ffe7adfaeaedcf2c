# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""python-dbusmock's own template of the login manager, with a refusal and a plainer list."""

import dbus

from dbusmock import MOCK_IFACE, mockobject
from dbusmock.templates import logind
from dbusmock.templates.logind import *  # noqa: F401,F403


def load(mock, parameters):
    logind.load(mock, parameters)
    mock.refusing = parameters.get("refusing", False)


@dbus.service.method(logind.MAIN_IFACE, in_signature="ssss", out_signature="h")
def Inhibit(self, what, who, why, mode):
    if self.refusing:
        raise dbus.exceptions.DBusException("Permission denied", name="org.freedesktop.DBus.Error.AccessDenied")
    return logind.Inhibit(self, what, who, why, mode)


@dbus.service.method(MOCK_IFACE, in_signature="", out_signature="as")
def Held(_self):
    held = getattr(mockobject, "inhibitors", [])
    return dbus.Array(["|".join(inhibitor[:4]) for inhibitor in held], signature="s")
