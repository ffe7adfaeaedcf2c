# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""A template for python-dbusmock: the service that the environment describes. It has its methods before anybody
can call it, which it wouldn't if they were added over the bus."""

import json
import os

import dbus

SYSTEM_BUS = False
_played = json.loads(os.environ["PLAYED"])
BUS_NAME, MAIN_OBJ, MAIN_IFACE = (_played[key] for key in ("name", "path", "interface"))


def load(mock, _parameters):
    for name, (taken, given, code) in _played["methods"].items():
        mock.AddMethod(MAIN_IFACE, name, taken, given, code)
    for name, value in _played["properties"].items():
        mock.AddProperty(MAIN_IFACE, name, dbus.UInt32(value) if type(value) is int else value)
