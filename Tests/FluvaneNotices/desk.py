# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""A desktop of the test's own: a bus, played services, a real notification server, and the driver."""

import contextlib
import json
import os
import pathlib
import queue
import signal
import subprocess
import sys
import tempfile
import threading

import dbus
import dbus.bus
import dbus.lowlevel

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "EndToEnd"))
from harness import end, programs, wait_for  # noqa: E402

NOTIFICATIONS = "org.freedesktop.Notifications"
FILE_MANAGER = "org.freedesktop.FileManager1"
MOCK = "org.freedesktop.DBus.Mock"

BUS = """<busconfig><type>session</type><listen>unix:path={folder}/bus</listen><servicedir>{folder}/services</servicedir>
<policy context="default"><allow send_destination="*"/><allow receive_sender="*"/><allow own="*"/></policy></busconfig>"""

# What a folder is opened with where no file manager is on the bus.
OPENER = """#!/bin/sh
printf '%s\\n%s\\n%s\\n' "$1" "$XDG_ACTIVATION_TOKEN" "$DESKTOP_STARTUP_ID" >{folder}/opened.part
mv {folder}/opened.part {folder}/opened
"""


class Desk:
    def __init__(self):
        self.things = contextlib.ExitStack()
        self.folder = pathlib.Path(self.things.enter_context(tempfile.TemporaryDirectory(prefix="fluvane-desk-")))
        for name in ("services", "bin"):
            (self.folder / name).mkdir()
        (self.folder / "bus.conf").write_text(BUS.format(folder=self.folder))
        (self.folder / "bin/xdg-open").write_text(OPENER.format(folder=self.folder))
        (self.folder / "bin/xdg-open").chmod(0o755)
        self.address = f"unix:path={self.folder}/bus"
        self.environment = {**os.environ, "DBUS_SESSION_BUS_ADDRESS": self.address,
                            "PATH": f"{self.folder}/bin:{os.environ['PATH']}"}
        self.environment.pop("DISPLAY", None)

    def close(self):
        self.things.close()

    def start(self, *command, **more):
        process = subprocess.Popen([str(word) for word in command], env=self.environment, **more)

        def stop():
            if process.poll() is None:
                process.send_signal(signal.SIGCONT)
            end(process, signal.SIGKILL)
            for pipe in (process.stdin, process.stdout):
                if pipe:
                    with contextlib.suppress(BrokenPipeError):
                        pipe.close()
        self.things.callback(stop)
        return process

    def start_bus(self):
        self.daemon = self.start("dbus-daemon", "--nofork", f"--config-file={self.folder}/bus.conf",
                                 "--print-address", stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.daemon.stdout.readline()
        self.bus = dbus.bus.BusConnection(self.address)
        self.things.callback(self.bus.close)

    def start_display(self, size):
        """An X server of its own; what is started afterwards is on it."""
        read, write = os.pipe()
        self.start("Xvfb", "-displayfd", write, "-nolisten", "tcp", "-screen", "0", f"{size}x24",
                   pass_fds=[write], stderr=subprocess.DEVNULL)
        os.close(write)
        with os.fdopen(read) as number:
            self.environment["DISPLAY"] = ":" + number.readline().strip()

    def owner(self, name):
        return str(self.bus.get_name_owner(name)) if self.bus.name_has_owner(name) else ""

    def start_service(self, name, *command):
        """A service, once it has its name; what it says is of no interest."""
        process = self.start(*command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_for(lambda: self.owner(name), f"{name} on the bus", interval=0.01)
        return process

    def stop_service(self, name, process):
        end(process, signal.SIGKILL)
        wait_for(lambda: not self.owner(name), f"{name} gone", interval=0.01)

    def start_notifications(self, capabilities="body actions"):
        return self.start_service(NOTIFICATIONS, *mock_notifications(capabilities))

    def start_file_manager(self):
        process = self.start_service(FILE_MANAGER, sys.executable, "-m", "dbusmock", FILE_MANAGER,
                                     "/org/freedesktop/FileManager1", FILE_MANAGER)
        for method in ("ShowItems", "ShowFolders"):
            self.mock(FILE_MANAGER).AddMethod(FILE_MANAGER, method, "ass", "", "")
        return process

    def mock(self, name):
        return dbus.Interface(self.bus.get_object(name, "/" + name.replace(".", "/"), introspect=False), MOCK)

    def calls(self, name, method):
        """The arguments of each call of a played service."""
        return [arguments for _, arguments in self.mock(name).GetMethodCalls(method)]

    def emit(self, signal_name, signature, *arguments):
        self.mock(NOTIFICATIONS).EmitSignal(NOTIFICATIONS, signal_name, signature, dbus.Array(arguments, signature="v"))

    def forge(self, signal_name, signature, *arguments):
        """The server's signal, but of somebody else."""
        message = dbus.lowlevel.SignalMessage("/org/freedesktop/Notifications", NOTIFICATIONS, signal_name)
        message.append(*arguments, signature=signature)
        self.bus.send_message(message)
        self.bus.flush()

    def opened(self):
        """What xdg-open was given: the folder and the token twice."""
        file = self.folder / "opened"
        lines = wait_for(lambda: file.exists() and file.read_text().splitlines(), "a folder opened", interval=0.01)
        file.unlink()
        return lines


def mock_notifications(capabilities):
    return [sys.executable, "-m", "dbusmock", "--template", "notification_daemon", "-p",
            json.dumps({"capabilities": capabilities})]


class Driver:
    def __init__(self, desk):
        self.process = desk.start(programs / "NoticesDriver", stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.told = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.process.stdout:
            self.told.put(json.loads(line))

    def do(self, what, **more):
        self.process.stdin.write(json.dumps({"do": what, **more}).encode() + b"\n")
        self.process.stdin.flush()

    def next(self, seconds=10):
        return self.told.get(timeout=seconds)

    def ask(self, what="here", seconds=10):
        self.do(what)
        return self.next(seconds)
