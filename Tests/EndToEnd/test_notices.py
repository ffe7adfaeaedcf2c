# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""Notices on real and played servers, that come, go, restart and hang."""

import html
import re
import shlex
import shutil
import signal
import time
import unittest

import dbus
from desk import NOTIFICATIONS, Desk, Driver, mock_notifications
from harness import Test, end, wait_for

FILE = "/tmp/Films/a b.mkv"
CLICK = ["default", "Show in Folder"]


class NoticesTest(Test):
    def setUp(self):
        super().setUp()
        self.desk = self.enterContext(Desk(self.folder / "desk"))
        self.desk.start_bus()
        self.start_driver()

    def start_driver(self, **environment):
        self.driver = self.enterContext(Driver(self.desk, **environment))
        self.driver.do("start")

    def finish(self, *names, **more):
        for name in names:
            self.driver.do("finished", name=name, **more)

    def notices(self, server, count=1):
        """What the played server was asked to show, once it is so many."""
        calls = wait_for(lambda: [*server.calls("Notify")][count - 1:] and server.calls("Notify"), f"{count} notices")
        self.assertEqual(len(calls), count)
        return calls

    def titles(self, server, *expected):
        self.assertEqual([str(call[3]) for call in self.notices(server, len(expected))], list(expected))


class Notices(NoticesTest):
    def test_say_what_became_of_a_download(self):
        server = self.desk.play_notifications()
        mismatch = ("Its SHA-256 doesn't match the one given, so it may not be the file you meant to get. "
                    "It's in Films; don't open it unless you know why.")
        expired = "The link expired. Paste a fresh one to carry on; nothing downloaded is lost."
        rows = [
            ("finished", dict(name="a b.mkv", file=FILE),
             "a b.mkv", "Downloaded to Films.", CLICK, "transfer.complete", 1),
            ("finished", dict(name="x", folder="/"), "x", "Downloaded to /.", [], "transfer.complete", 1),
            ("finished", dict(folder="/tmp/Ä & <b>", file=FILE, differs=False),
             "from-link.zip", "Downloaded to Ä & <b>.", CLICK, "transfer.complete", 1),
            ("finished", dict(name="x", file=FILE, differs=True), "x", mismatch, CLICK, "transfer.error", 2),
            ("failed", dict(name="x", file=FILE, reason="No <space> left."),
             "x", "No <space> left.", [], "transfer.error", 1),
            ("expired", dict(url="https://h.org/%C3%A4.iso"), "ä.iso", expired, [], "transfer.error", 1),
        ]
        self.driver.do("wanted", on=False)
        for on in (False, True):
            self.driver.do("wanted", on=on)
            for what, given, *_ in rows:
                self.driver.do(what, **given)
        for (_, _, title, body, actions, category, urgency), call in zip(rows, self.notices(server, len(rows))):
            hints = {str(key): value for key, value in call[6].items()}
            self.assertEqual((str(call[0]), int(call[1]), str(call[2])), ("Fluvane", 0, "org.fluvane.Fluvane"))
            self.assertEqual((str(call[3]), str(call[4]), list(call[5])), (title, body, actions))
            self.assertEqual((hints["desktop-entry"], hints["category"], hints["urgency"]),
                             ("org.fluvane.Fluvane", category, urgency))
            self.assertIsInstance(hints["urgency"], dbus.Byte)
        self.assertEqual(self.driver.ask("sent"), [[title, body] for _, _, title, body, *_ in rows])
        self.driver.do("wanted", on=False)
        self.driver.do("tell", title="Fluvane", body="A newer one is there.")  # isn't about a download
        self.assertEqual(self.notices(server, len(rows) + 1)[-1][3:5], ["Fluvane", "A newer one is there."])

    def test_show_their_file_when_clicked(self):
        server = self.desk.play_notifications()
        self.finish("1", file="/tmp/1 ä%.zip")
        self.finish("2", file="/tmp/2")
        self.finish("3")
        self.notices(server, 3)
        self.driver.ask("catch-up")
        clicked = "ActionInvoked"
        for name, signature, *arguments in (
                (clicked, "us", dbus.UInt32(7), "default"),     # another program's
                (clicked, "us", dbus.UInt32(3), "default"),     # without a file
                (clicked, "us", dbus.UInt32(1), "other"),
                (clicked, "s", "1"),
                ("NotificationClosed", "uu", dbus.UInt32(2), dbus.UInt32(2)),
                (clicked, "us", dbus.UInt32(2), "default"),     # closed
                (clicked, "us", dbus.UInt32(1), "default"),
                ("ActivationToken", "us", dbus.UInt32(1), "token-1"),
                (clicked, "us", dbus.UInt32(1), "default")):
            server.emit(name, signature, *arguments)
        self.desk.forge("/org/freedesktop/Notifications", NOTIFICATIONS, clicked, "us", dbus.UInt32(1), "default")
        self.driver.ask("catch-up")
        self.assertEqual(self.driver.told("clicked"),
                         [["file:///tmp/1%20%C3%A4%25.zip", token] for token in ("", "token-1")])

    def test_suit_a_server_that_was_restarted(self):
        for capabilities, name, folder, body, actions in (
                ("body actions", "1", "/a&b", "Downloaded to a&b.", CLICK),
                ("body body-markup", "2", "/a&b<i>", "Downloaded to a&amp;b&lt;i&gt;.", [])):
            server = self.desk.play_notifications(capabilities)
            self.finish(name, folder=folder, file="/tmp/" + name)
            self.assertEqual(list(self.notices(server)[0][4:6]), [body, actions])
            server.end()
        server = self.desk.play_notifications("actions")
        self.finish("3")
        self.finish("4", file="/tmp/4")
        self.notices(server, 2)
        self.driver.ask("catch-up")
        for number in (1, 2):  # those of earlier servers, too
            server.emit("ActionInvoked", "us", dbus.UInt32(number), "default")
        self.driver.ask("catch-up")
        self.assertEqual(self.driver.told("clicked"), [["file:///tmp/4", ""]])

    def test_are_kept_for_a_server_that_comes_soon_even_with_its_bus(self):
        self.driver.next("connected")
        end(self.desk.daemon)
        self.driver.next("lost")
        self.finish(*map(str, range(150)))
        self.driver.ask()
        self.desk.start_bus()
        self.titles(self.desk.play_notifications(), *map(str, range(50, 150)))
        self.assertEqual(len(self.driver.ask("sent")), 100)

    def test_are_dropped_when_none_comes(self):
        self.start_driver(PATIENCE="0.5")
        self.finish("early")
        self.driver.ask()
        late = time.monotonic() + 0.5
        wait_for(lambda: time.monotonic() > late, "the end of patience")
        server = self.desk.play_notifications()
        self.finish("late")
        self.titles(server, "late")

    def test_start_a_server_that_the_bus_knows(self):
        (self.desk.folder / "bin/server").write_text("#!/bin/sh\nexec " + shlex.join(mock_notifications("body")))
        (self.desk.folder / "bin/server").chmod(0o755)
        self.desk.can_start(NOTIFICATIONS, self.desk.folder / "bin/server")
        self.finish("x")
        wait_for(lambda: self.desk.owner(NOTIFICATIONS), "a server started")
        self.titles(self.desk.service(NOTIFICATIONS), "x")

    def test_outlive_a_server_that_dies_with_them(self):
        server = self.desk.play_notifications()
        self.finish("1")
        self.titles(server, "1")
        server.hang()
        self.finish("2")
        self.driver.ask("catch-up")
        server.end()
        self.titles(self.desk.play_notifications(), "2")

    def test_never_wait_for_a_server_or_bus_that_hangs(self):
        def expect_quick_answers():
            began = time.monotonic()
            for number in range(20):
                self.finish(str(number), file=FILE)
                self.driver.do("show", file=FILE)
            self.driver.ask()
            self.assertLess(time.monotonic() - began, 1)

        self.driver.next("connected")
        silent = self.desk.play_notifications()
        silent.hang()
        expect_quick_answers()
        silent.end()
        known = self.desk.play_notifications()
        self.notices(known, 20)
        for hanging in (known.process, self.desk.daemon):
            hanging.send_signal(signal.SIGSTOP)
            expect_quick_answers()
        self.desk.daemon.send_signal(signal.SIGCONT)
        known.go_on()
        self.notices(known, 60)


@unittest.skipUnless(shutil.which("dunst") and shutil.which("Xvfb"), "needs dunst and Xvfb")
class RealServer(NoticesTest):
    def test_shows_names_as_they_are_with_markup_and_without(self):
        self.desk.start_display("640x480")
        for markup in ("full", "no"):
            with self.subTest(markup=markup):
                (self.desk.folder / "dunstrc").write_text(f"[global]\nmarkup = {markup}\n")
                dunst = self.desk.start_service(NOTIFICATIONS, "dunst", "-conf", self.desk.folder / "dunstrc")
                self.assertEqual(self.read_on_the_screen(dunst),
                                 "a & <b>.mkv\nDownloaded to R&D <i> &amp; \u2066ä.")
                dunst.end()

    def read_on_the_screen(self, dunst):
        """Shows a notice, clicks it, and gives what was to be read on it."""
        commands = dbus.Interface(dunst.object, "org.dunstproject.cmd0")
        properties = dbus.Interface(dunst.object, dbus.PROPERTIES_IFACE)
        self.finish("a & <b>.mkv", folder="/R&D <i> &amp; \u2066ä", file=FILE)
        wait_for(lambda: properties.Get("org.dunstproject.cmd0", "displayedLength") == 1, "a notice on the screen")
        commands.NotificationAction(dbus.UInt32(0))
        self.assertEqual(self.driver.next("clicked")[0], "file:///tmp/Films/a%20b.mkv")
        commands.NotificationCloseAll()
        notice, = wait_for(commands.NotificationListHistory, "the notice in the history")
        self.assertEqual((notice["appname"], notice["category"]), ("Fluvane", "transfer.complete"))
        return html.unescape(re.sub("<.*?>", "", notice["message"]))


if __name__ == "__main__":
    unittest.main()
