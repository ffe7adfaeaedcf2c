# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""The application on the desktop's buses: started twice, called, given garbage, beside services that hang."""

import json
import pathlib
import random
import signal
import socket
import subprocess
import sys
import unittest

import dbus
import dbus.lowlevel

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "FluvaneNotices"))
from desk import NOTIFICATIONS, Desk  # noqa: E402
from harness import MB, EndToEnd, programs, wait_for  # noqa: E402

OURS = "org.fluvane.Fluvane"
PATH = "/org/fluvane/Fluvane"
DOOR = "org.freedesktop.Application"
LOGIN = "org.freedesktop.login1"
NO_WINDOW = "There's no window to show: Fluvane runs without a display."
NO_DATA = dbus.Dictionary({}, signature="sv")


class Desktop(EndToEnd):
    locations = {"/": 2 * MB}
    with_bus = True

    def setUp(self):
        super().setUp()
        self.desk = Desk()
        self.addCleanup(self.desk.close)
        if self.with_bus:
            self.desk.start_bus()
            self.use_bus(self.desk.address)
            self.desk.environment["DBUS_SYSTEM_BUS_ADDRESS"] = self.desk.address

    def use_bus(self, address):
        for bus in ("SESSION", "SYSTEM"):
            self.application.environment[f"DBUS_{bus}_BUS_ADDRESS"] = address

    def door(self):
        wait_for(lambda: self.desk.owner(OURS), "its name on the bus", interval=0.01)
        return dbus.Interface(self.desk.bus.get_object(OURS, PATH, introspect=False), DOOR)

    def logged(self, text):
        return wait_for(lambda: text in (self.application.ask("log") or ("", ""))[1], f"'{text}' in the log")


class Calls(Desktop):
    def test_calls_of_the_desktop_ask_for_windows_and_download_nothing(self):
        self.application.start()
        door = self.door()
        door.Activate({"activation-token": "token"}, signature="a{sv}")
        door.Open(["fluvane://add?url=http://127.0.0.1:9/a", "file:///nowhere"], NO_DATA, signature="asa{sv}")
        door.ActivateAction("pause-all", dbus.Array([], signature="v"), NO_DATA, signature="sava{sv}")
        self.logged("no window to confirm 1 links that another program handed over")
        self.assertEqual(self.application.list(), [])

    def test_garbage_gets_errors_and_changes_nothing(self):
        self.application.start()
        self.door()
        owner = self.desk.owner(OURS)
        generator = random.Random(1)
        values = ["", "x" * 5000, "\u202efluvane://add?url=http://127.0.0.1:9/a", 7, -1.5, True, dbus.ObjectPath("/a/b"),
                  dbus.Array(["http://127.0.0.1:9/b"] * 9, signature="s"), dbus.Array([1, 2], signature="i"), NO_DATA,
                  dbus.Dictionary({"activation-token": dbus.Array([1], signature="i")}, signature="sv")]
        for number in range(10_000):
            call = dbus.lowlevel.MethodCallMessage(
                owner, generator.choice([PATH, "/", PATH + "/x"]),
                generator.choice([DOOR, "org.freedesktop.DBus.Properties", "a.b"]),
                generator.choice(["Activate", "Open", "ActivateAction", "Get", "Set", "GetAll", "X"]))
            call.append(*generator.choices(values, k=generator.randrange(5)))
            call.set_no_reply(number % 100 != 0)
            if number % 100 == 0:
                self.desk.bus.send_message_with_reply(call, lambda _: None, 1)
            else:
                self.desk.bus.send_message(call)
        self.desk.bus.flush()
        self.door().Activate(NO_DATA, signature="a{sv}", timeout=60)  # it has been through all of them
        self.assertEqual(self.application.list(), [])

    def test_garbage_at_the_socket_the_scheme_and_the_settings_changes_nothing(self):
        self.application.start()
        before = json.loads(self.application.command("export"))["settings"]
        generator = random.Random(2)
        parts = ["fluvane:", "//", "add", "settings", "?url=", "&referrer=", "%00", "%", "\u202e", "\x00", "[1-", "9]",
                 "http://", "h", "/", "{", "}", "\ud7ff", "pane=", "file:", "--open", " " * 900, "\U0001f600"]
        for number in range(10_000):
            text = "".join(generator.choices(parts, k=generator.randrange(1, 12)))
            if number % 10 == 0:
                self.assertIsNotNone(self.application.ask("--open", "", *[text] * generator.randrange(3)))
            else:
                with socket.socket(socket.AF_UNIX) as connection:
                    connection.connect(self.application.socket)
                    connection.sendall(generator.choice(["", "[", '["list"', '["x",']).encode() + text.encode())
        settings = self.application.folder / "config/Fluvane/settings.json"
        settings.parent.mkdir(parents=True, exist_ok=True)
        for number in range(50):
            settings.write_text("".join(generator.choices(parts + ['"settings"', ":", ","], k=200)), errors="replace")
        self.logged("settings")
        self.assertEqual(json.loads(self.application.command("export"))["settings"], before)
        self.assertEqual(self.application.list(), [])

    def test_a_second_start_hands_over(self):
        self.application.start()
        notes = self.folder / "notes.txt"
        notes.write_text("see http://127.0.0.1:9/a")
        rows = [
            ([], 0, "Fluvane is already running.\n"),
            (["--background"], 0, "Fluvane is already running.\n"),
            (["--headless", "--verbose"], 0, "Fluvane is already running.\n"),
            (["--headless"], 0, "Fluvane is already running.\n"),
            (["--open", "fluvane://elsewhere"], 0, ""),
            (["--open", "fluvane://add?url=http://127.0.0.1:9/a"], 1, NO_WINDOW + "\n"),
            (["--open", notes.name], 1, NO_WINDOW + "\n"),
            (["--open", str(notes)], 1, NO_WINDOW + "\n"),
            (["--open", notes.as_uri()], 1, NO_WINDOW + "\n"),
            (["--open", "nothing at all"], 1, "No links found.\n"),
            (["--dbus-service"], 0, "Fluvane is already running.\n"),
            (["--action", "resume-all"], 0, ""),
            (["--action", "nonsense"], 1, "Fluvane has no such action.\n"),
        ]
        for arguments, status, said in rows:
            with self.subTest(arguments):
                ended = self.application.client(*arguments, cwd=self.folder)
                self.assertEqual((ended.returncode, ended.stdout, ended.stderr), (status, "", said))
        self.assertEqual(self.application.list(), [])

    def test_a_start_while_the_first_ends_or_hangs(self):
        self.application.start()
        first = self.application.process
        first.send_signal(signal.SIGSTOP)
        waits = self.application.client("--open", "fluvane://elsewhere")
        self.assertEqual((waits.returncode, waits.stderr), (1, "Fluvane is already running, but doesn't answer.\n"))
        second = self.application.spawn()
        first.kill()  # what the second waits for
        first.wait()
        self.application.process = second
        wait_for(lambda: self.application.ask("list") is not None, "the second has taken over")

    def test_an_action_reaches_an_application_that_is_only_starting(self):
        original = self.server.make_file("a.bin", 20 * MB)
        self.application.start()
        number = self.application.add(self.server.link("/a.bin"))
        self.application.stop()
        first = subprocess.Popen([programs / "fluvane", "--action", "pause-all"], env=self.application.environment)
        self.application.process = first
        wait_for(lambda: self.application.ask("list") is not None, "it answers")
        wait_for(lambda: self.application.state(number) == "paused", "it is paused")
        self.application.command("resume", str(number))
        self.assert_identical(self.application.finished(number)["file"], original)

    def test_the_bus_starts_it(self):
        (self.desk.folder / f"services/{OURS}.service").write_text(
            f"[D-BUS Service]\nName={OURS}\nExec={programs}/fluvane --dbus-service\n")
        environment = dbus.Dictionary({key: value for key, value in self.application.environment.items()
                                       if key.startswith(("XDG_", "DBUS_", "HOME"))}, signature="ss")
        bus = dbus.Interface(self.desk.bus.get_object("org.freedesktop.DBus", "/org/freedesktop/DBus"),
                             "org.freedesktop.DBus")
        bus.UpdateActivationEnvironment(environment)
        bus.ReloadConfig()
        door = dbus.Interface(self.desk.bus.get_object(OURS, PATH, introspect=False), DOOR)
        door.Open(["fluvane://add?url=http://127.0.0.1:9/a"], NO_DATA, signature="asa{sv}", timeout=30)
        self.logged("no window to confirm 1 links that another program handed over")
        self.assertEqual(self.application.client("--action", "nonsense").returncode, 1)
        pid = int(bus.GetConnectionUnixProcessID(OURS))
        subprocess.run(["kill", str(pid)], check=True)
        wait_for(lambda: not self.desk.owner(OURS), "it ended")


class Services(Desktop):
    def test_a_download_keeps_the_machine_awake_and_is_told(self):
        self.desk.start_notifications()
        self.desk.start_service(LOGIN, sys.executable, "-m", "dbusmock", "--template", "logind")
        login = dbus.Interface(self.desk.bus.get_object(LOGIN, "/org/freedesktop/login1"), LOGIN + ".Manager")

        def inhibitors(kind):
            return [entry for entry in login.ListInhibitors() if entry[0] == kind]

        self.server.make_file("a.bin", 20 * MB)
        self.application.start()
        wait_for(lambda: inhibitors("sleep"), "a delay lock")
        self.assertEqual(inhibitors("idle"), [])
        number = self.application.add(self.server.link("/a.bin"))
        kind, who, why, mode, *_ = wait_for(lambda: inhibitors("idle"), "the machine kept awake")[0]
        self.assertEqual((who, why, mode), ("Fluvane", "Fluvane is downloading", "block"))
        self.application.finished(number)
        notices = wait_for(lambda: self.desk.calls(NOTIFICATIONS, "Notify"), "a notice")
        self.assertEqual([str(text) for text in notices[0][3:5]], ["a.bin", "Downloaded to files."])
        wait_for(lambda: not inhibitors("idle"), "the machine may sleep")

    def test_without_a_bus_it_starts_at_once(self):
        self.use_bus(f"unix:path={self.folder}/nowhere")
        self.application.start()
        self.assertNotIn("error", self.application.command("log"))


class Hanging(Desktop):
    with_bus = False

    def test_a_bus_that_never_answers_holds_nothing_up(self):
        mute = socket.socket(socket.AF_UNIX)
        self.addCleanup(mute.close)
        mute.bind(str(self.folder / "mute"))
        mute.listen(8)
        self.use_bus(f"unix:path={self.folder}/mute")
        original = self.server.make_file("a.bin", 6 * MB)
        self.application.start()
        number = self.application.add(self.server.link("/a.bin"))
        self.assertIn("org.freedesktop.login1: not found", self.application.command("diagnostics"))
        self.application.finished(number)
        self.assert_identical(self.application.download(number)["file"], original)


if __name__ == "__main__":
    unittest.main()
