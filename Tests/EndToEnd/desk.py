# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""A desktop of a test's own: a message bus, services played on it, a display. Needs the distribution's Python,
which has the modules for buses."""

import collections
import contextlib
import json
import os
import pathlib
import select
import signal
import socket
import subprocess
import sys

import dbus
import dbus.bus

from harness import Ended, end, programs, start, wait_for

NOTIFICATIONS = "org.freedesktop.Notifications"
FILE_MANAGER = "org.freedesktop.FileManager1"
LOGIN = "org.freedesktop.login1"
NETWORK = "org.freedesktop.NetworkManager"

_BUS = """<busconfig><type>session</type><listen>{address}</listen><servicedir>{folder}/services</servicedir>
<policy context="default"><allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/></policy></busconfig>"""

# What a file or folder is opened with: notes what it is given, and exits as it is told to.
_OPENER = """#!/bin/sh
status=$(cat {folder}/opener-exits 2>/dev/null)
printf '%s\\n%s\\n' "$1" "$XDG_ACTIVATION_TOKEN" >{folder}/opened.part
mv {folder}/opened.part {folder}/opened
exit ${{status:-0}}
"""


class Desk(Ended):
    """A bus that plays both the session's and the system's, and whatever else is started; `environment` leads
    there. What is on it can hang and come back like anybody: SIGSTOP and SIGCONT to `daemon` or a service's `process`."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        for name in ("services", "bin"):
            (self.folder / name).mkdir(parents=True)
        (self.folder / "bin/xdg-open").write_text(_OPENER.format(folder=self.folder))
        (self.folder / "bin/xdg-open").chmod(0o755)
        self.address = f"unix:path={self.folder}/run/bus"
        self.environment = {
            "DBUS_SESSION_BUS_ADDRESS": self.address, "DBUS_SYSTEM_BUS_ADDRESS": self.address, "DISPLAY": "",
            "HOME": str(self.folder), "PATH": f"{self.folder}/bin:{os.environ['PATH']}"}
        self._things = contextlib.ExitStack()

    def stop(self):
        self._things.close()

    def start(self, *command, environment=None, **options):
        """Whatever belongs to a desktop; ended with it."""
        environment = {**os.environ, **self.environment, **(environment or {})}
        process = start(command, environment, **{"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL, **options})
        self._things.callback(end, process, signal.SIGKILL)
        return process

    def _start_ready(self, *command):
        """What tells that it is ready on the descriptor whose place in the command is marked: the process, its line."""
        read, write = os.pipe()
        process = self.start(*(word.replace("READY", str(write)) for word in command), pass_fds=[write])
        os.close(write)
        with os.fdopen(read) as ready:
            return process, ready.readline().strip()

    def start_bus(self):
        (self.folder / "run").mkdir(exist_ok=True)
        (self.folder / "bus.conf").write_text(_BUS.format(folder=self.folder, address=self.address))
        self.daemon, _ = self._start_ready("dbus-daemon", "--nofork", f"--config-file={self.folder}/bus.conf",
                                           "--print-address=READY")
        self.bus = dbus.bus.BusConnection(self.address)
        self._things.callback(self.bus.close)

    def mute_bus(self, name="mute"):
        """The address of a bus that takes connections and never says a word."""
        mute = self._things.enter_context(socket.socket(socket.AF_UNIX))
        mute.bind(str(self.folder / name))
        mute.listen(8)
        return f"unix:path={self.folder}/{name}"

    def start_display(self, size):
        """An X server; what is started afterwards is on it."""
        _, number = self._start_ready("Xvfb", "-displayfd", "READY", "-nolisten", "tcp", "-screen", "0", f"{size}x24")
        self.environment["DISPLAY"] = ":" + number

    def owner(self, name):
        try:
            return str(self.bus.get_name_owner(name))
        except dbus.exceptions.DBusException as error:
            if not error.get_dbus_name().endswith(".NameHasNoOwner"):
                raise
            return ""

    def object(self, name, path=None):
        return self.bus.get_object(name, path or "/" + name.replace(".", "/"), introspect=False)

    def start_service(self, name, *command, path=None, **options):
        """A service, once it has its name; what it says is of no interest."""
        process = self.start(*command, **options)
        wait_for(lambda: self.owner(name), f"{name} on the bus")
        return Service(self, name, self.object(name, path), process)

    def can_start(self, name, *command):
        """The bus starts the service from now on when it is called."""
        (self.folder / f"services/{name}.service").write_text(
            f"[D-BUS Service]\nName={name}\nExec={' '.join(map(str, command))}\n")
        self.object("org.freedesktop.DBus").ReloadConfig(dbus_interface="org.freedesktop.DBus")

    def play(self, name, methods, path=None, interface=None, properties=None):
        """A service with the given methods: name: (signature, that of the answer, Python that sets `ret`)."""
        path = path or "/" + name.replace(".", "/")
        played = {"name": name, "path": path, "interface": interface or name, "methods": methods,
                  "properties": properties or {}}
        return self.start_service(name, *_mock(pathlib.Path(__file__).with_name("played.py")), path=path,
                                  environment={"PLAYED": json.dumps(played)})

    def play_notifications(self, capabilities="body actions"):
        return self.start_service(NOTIFICATIONS, *_mock("notification_daemon", {"capabilities": capabilities}))

    def play_file_manager(self):
        return self.play(FILE_MANAGER, {name: ("ass", "", "") for name in ("ShowItems", "ShowFolders")})

    def play_login(self):
        return self.start_service(LOGIN, *_mock("logind"))

    def play_network(self, **properties):
        return self.play(NETWORK, {}, properties={
            "State": 70, "Metered": 0, "PrimaryConnectionType": "", "WirelessEnabled": True, **properties})

    def opened(self):
        """What xdg-open was given: what is opened and the token."""
        file = self.folder / "opened"
        lines = wait_for(lambda: file.exists() and file.read_text().splitlines(), "something opened")
        file.unlink()
        return lines


def _mock(template, parameters=None):
    return [sys.executable, "-B", "-m", "dbusmock", "--session", "-t", template, "-p", json.dumps(parameters or {})]


class Service:
    """A service on a desk's bus, in most cases one that python-dbusmock plays."""

    def __init__(self, desk, name, served, process):
        self.desk, self.name, self.object, self.process = desk, name, served, process
        self.mock = dbus.Interface(served, "org.freedesktop.DBus.Mock")

    def calls(self, method):
        """The arguments of each call of the method."""
        return [arguments for _, arguments in self.mock.GetMethodCalls(method)]

    def emit(self, signal_name, signature, *arguments, interface=None):
        self.mock.EmitSignal(interface or self.name, signal_name, signature, dbus.Array(arguments, signature="v"))

    def set(self, **properties):
        """What is changed at once is told at once; numbers are unsigned."""
        values = {name: dbus.UInt32(value) if type(value) is int else value for name, value in properties.items()}
        self.mock.UpdateProperties(self.name, dbus.Dictionary(values, signature="sv"))

    def prepare_for_sleep(self, sleep):
        """The login manager's signal."""
        self.emit("PrepareForSleep", "b", sleep, interface=LOGIN + ".Manager")

    def locks(self):
        """What the login manager granted, but for who holds it."""
        return {tuple(lock[:4]) for lock in self.object.ListInhibitors(dbus_interface=LOGIN + ".Manager")}

    def end(self):
        end(self.process, signal.SIGKILL)
        wait_for(lambda: not self.desk.owner(self.name), f"{self.name} gone")


class Driver(Ended):
    """The classes for the desktop's services at the end of a pipe, without the application around them."""

    def __init__(self, desk):
        self.process = desk.start(programs / "Tests/EndToEnd/DesktopDriver", stderr=None, stdin=subprocess.PIPE,
                                  environment={"XDG_DATA_HOME": str(desk.folder / "share")}, stdout=subprocess.PIPE,
                                  bufsize=0)
        self._told = collections.defaultdict(collections.deque)

    def stop(self):
        self.process.stdin.close()
        status = self.process.wait(30)
        self.process.stdout.close()
        if status != 0:
            raise AssertionError(f"the driver ended with {status}")

    def do(self, what, /, **more):
        self.process.stdin.write(json.dumps({"do": what, **more}).encode() + b"\n")

    def next(self, kind):
        """The next of the kind that is told."""
        while not self._told[kind]:
            if not select.select([self.process.stdout], [], [], 20)[0]:
                raise AssertionError(f"waited in vain: {kind}")
            for told, what in json.loads(self.process.stdout.readline()).items():
                self._told[told].append(what)
        return self._told[kind].popleft()

    def ask(self, what="here", /, **more):
        """For its answer, before which everything is told that had happened."""
        self.do(what, **more)
        return self.next("answer")

    def told(self, kind):
        """All of the kind that was told so far and not yet looked at."""
        self.ask()
        return [self._told[kind].popleft() for _ in range(len(self._told[kind]))]
