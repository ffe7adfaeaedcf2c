# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""The application without a display on the desktop's buses: started twice, called, beside a bus that hangs."""

import json
import os
import pathlib
import re
import signal
import unittest

import dbus
from desk import Desk
from harness import MB, EndToEnd, programs, wait_for

OURS = "org.fluvane.Fluvane"
DOOR = "org.freedesktop.Application"
NO_WINDOW = "There's no window to show: Fluvane runs without a display.\n"
RUNNING = "Fluvane is already running.\n"
LINK = "fluvane://add?url=http://127.0.0.1:9/a"
NO_DATA = dbus.Dictionary({}, signature="sv")


class Desktop(EndToEnd):
    locations = {"/": 2 * MB}

    def setUp(self):
        super().setUp()
        self.desk = self.enterContext(Desk(self.folder / "desk"))
        self.desk.start_bus()
        for bus in ("SESSION", "SYSTEM"):
            self.application.environment[f"DBUS_{bus}_BUS_ADDRESS"] = self.desk.address

    def saved(self):
        saved = json.loads(self.application.list_file.read_text())["downloads"][0]
        return sum(piece["done"] for piece in saved["pieces"])

    def test_calls_of_the_desktop_start_it_and_download_nothing(self):
        bus = dbus.Interface(self.desk.object("org.freedesktop.DBus"), "org.freedesktop.DBus")
        environment = {name: value for name, value in self.application.environment.items()
                       if name.startswith(("XDG_", "DBUS_", "HOME"))}
        bus.UpdateActivationEnvironment(dbus.Dictionary(environment, signature="ss"))
        self.desk.can_start(OURS, programs / "fluvane", "--dbus-service")
        door = dbus.Interface(self.desk.object(OURS), DOOR)
        for link in ("x" * 5000, "\u202e" + LINK, "[1-9]", "fluvane:%00", LINK):
            door.Open([link, "file:///nowhere"], NO_DATA, signature="asa{sv}", timeout=30)
        with self.assertRaises(dbus.DBusException):
            door.Open(7)
        door.Activate({"activation-token": dbus.Array([1], signature="i")}, signature="a{sv}")
        door.ActivateAction("pause-all", dbus.Array([], signature="v"), NO_DATA, signature="sava{sv}")
        asked = "no window to confirm 1 links that another program handed over"
        # It may still be waiting for its first word on the network, before which nobody answers.
        wait_for(lambda: asked in (self.application.ask("log") or ("", ""))[1], "the last of them in the log")
        self.assertEqual(self.application.list(), [])
        os.kill(bus.GetConnectionUnixProcessID(OURS), signal.SIGTERM)
        wait_for(lambda: not self.desk.owner(OURS), "it ended")

    def test_a_second_start_hands_over(self):
        self.application.start()
        wait_for(lambda: self.desk.owner(OURS), "its name on the bus")
        notes = self.folder / "notes.txt"
        notes.write_text("see http://127.0.0.1:9/a")
        for arguments, status, said in (
            ([], 0, RUNNING),
            (["--open", "fluvane://elsewhere"], 0, ""),
            (["--open", notes.name], 1, NO_WINDOW),
            (["--open", notes.as_uri()], 1, NO_WINDOW),
            (["--action", "nonsense"], 1, "Fluvane has no such action.\n"),
        ):
            ended = self.application.client(*arguments, cwd=self.folder)
            self.assertEqual((ended.returncode, ended.stdout, ended.stderr), (status, "", said), arguments)
        entry = (pathlib.Path(__file__).parents[2] / "Resources/Desktop/org.fluvane.Fluvane.desktop").read_text()
        for action in re.findall(r"^\[Desktop Action (.*)\]$", entry, re.MULTILINE):
            self.assertIn(self.application.client("--action", action).stderr, ("", NO_WINDOW), action)
        self.assertEqual(self.application.list(), [])

    def test_a_start_while_the_first_ends_or_hangs(self):
        first = self.application.start().process
        first.send_signal(signal.SIGSTOP)
        waits = self.application.client("--open", "fluvane://elsewhere")
        self.assertEqual((waits.returncode, waits.stderr), (1, "Fluvane is already running, but doesn't answer.\n"))
        second = self.application.spawn()
        self.application.kill()  # what the second waits for
        self.application.up(second)

    def test_sleep_and_the_network_reach_the_downloads(self):
        login, network = self.desk.play_login(), self.desk.play_network()
        self.server.make_file("a.bin", 400 * MB)
        number = self.application.start().add(self.server.link("/a.bin"))
        self.application.downloaded(number, 12 * MB)
        reached = self.application.download(number)["downloaded"]
        login.prepare_for_sleep(True)
        wait_for(lambda: {lock[0] for lock in login.locks()} == {"idle"}, "the machine may sleep")
        self.assertGreaterEqual(self.saved(), reached)
        for properties, state in (({"State": 20}, "offline"), ({"State": 70, "Metered": 3}, "limited-network"),
                                  ({"Metered": 0}, "downloading")):
            network.set(**properties)
            wait_for(lambda: self.application.state(number) == state, state)
        login.prepare_for_sleep(False)
        wait_for(lambda: {lock[0] for lock in login.locks()} == {"idle", "sleep"}, "the next sleep would be held up")
        reached = self.application.download(number)["downloaded"]
        self.assertEqual(self.application.stop(), 0)
        self.assertGreaterEqual(self.saved(), reached, "an end saves everything")

    def test_a_bus_that_never_answers_holds_nothing_up(self):
        for bus in ("SESSION", "SYSTEM"):
            self.application.environment[f"DBUS_{bus}_BUS_ADDRESS"] = self.desk.mute_bus(bus)
        original = self.server.make_file("a.bin", 3 * MB)
        number = self.application.start().add(self.server.link("/a.bin"))
        self.assertIn("org.freedesktop.login1: not found", self.application.command("diagnostics"))
        self.assert_identical(self.application.finished(number)["file"], original)


if __name__ == "__main__":
    unittest.main()
