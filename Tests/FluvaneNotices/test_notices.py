# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""Notices and the file manager: real and played services, that come, go, restart and hang."""

import html
import os
import re
import shlex
import shutil
import signal
import time
import unittest

import dbus

from desk import FILE_MANAGER, NOTIFICATIONS, Desk, Driver, end, mock_notifications, wait_for

PATIENCE = 3  # seconds, the driver's
FILE = "/tmp/Films/a b.mkv"


class DeskTest(unittest.TestCase):
    with_bus = True

    def setUp(self):
        self.desk = Desk()
        self.addCleanup(self.desk.close)
        if self.with_bus:
            self.desk.start_bus()

    def notices(self, count):
        """What the played server was asked to show, once it is so many."""
        def enough():
            calls = self.desk.calls(NOTIFICATIONS, "Notify")
            return calls if len(calls) >= count else None
        calls = wait_for(enough, f"{count} notices", interval=0.01)
        self.assertEqual(len(calls), count)
        return calls


class Notices(DeskTest):
    def test_say_what_became_of_a_download(self):
        self.desk.start_notifications()
        driver = Driver(self.desk)
        mismatch = ("Its SHA-256 doesn't match the one given, so it may not be the file you meant to get. "
                    "It's in Films; don't open it unless you know why.")
        expired = "The link expired. Paste a fresh one to carry on; nothing downloaded is lost."
        click = ["default", "Show in Folder"]
        rows = [
            (dict(what="finished", name="a b.mkv", file=FILE),
             "a b.mkv", "Downloaded to Films.", click, "transfer.complete", 1),
            (dict(what="finished", name="x", folder="/"), "x", "Downloaded to /.", [], "transfer.complete", 1),
            (dict(what="finished", folder="/tmp/Ä & <b>", file=FILE, differs=False),
             "from-link.zip", "Downloaded to Ä & <b>.", click, "transfer.complete", 1),
            (dict(what="finished", name="x", file=FILE, differs=True), "x", mismatch, click, "transfer.error", 2),
            (dict(what="failed", name="x", file=FILE, reason="No <space> left."),
             "x", "No <space> left.", [], "transfer.error", 1),
            (dict(what="expired", url="https://h.org/%C3%A4.iso"), "ä.iso", expired, [], "transfer.error", 1),
        ]
        for given, *_ in rows:
            driver.do(given.pop("what"), **given)
        for (_, title, body, actions, category, urgency), call in zip(rows, self.notices(len(rows))):
            hints = {str(key): value for key, value in call[6].items()}
            self.assertEqual((str(call[0]), int(call[1]), str(call[2])), ("Fluvane", 0, "org.fluvane.Fluvane"))
            self.assertEqual((str(call[3]), str(call[4]), list(call[5])), (title, body, actions))
            self.assertEqual(hints["desktop-entry"], "org.fluvane.Fluvane")
            self.assertEqual((hints["category"], hints["urgency"]), (category, urgency))
            self.assertIsInstance(hints["urgency"], dbus.Byte)
        self.assertEqual(driver.ask("sent"), [[title, body] for _, title, body, *_ in rows])

    def test_are_not_shown_when_not_wanted(self):
        self.desk.start_notifications()
        driver = Driver(self.desk)
        driver.do("wanted", on=False)
        for what in ("finished", "expired"):
            driver.do(what, name="x")
        driver.do("failed", name="x", reason="y")
        self.assertEqual(driver.ask("sent"), [])
        driver.do("tell", title="Fluvane", body="A newer one is there.")  # isn't about a download
        self.assertEqual([str(text) for text in self.notices(1)[0][3:5]], ["Fluvane", "A newer one is there."])
        driver.do("wanted", on=True)
        driver.do("finished", name="wanted")
        self.assertEqual(self.notices(2)[1][3], "wanted")

    def test_reveal_their_file_once_clicked(self):
        self.desk.start_notifications()
        driver = Driver(self.desk)
        driver.do("finished", name="1", file="/tmp/1 ä%.zip")
        driver.do("finished", name="2", file="/tmp/2")
        driver.do("finished", name="3")
        self.notices(3)
        driver.ask()
        for name, signature, *arguments in (
                ("ActionInvoked", "us", dbus.UInt32(7), "default"),     # another program's
                ("ActionInvoked", "us", dbus.UInt32(3), "default"),     # without a file
                ("ActionInvoked", "us", dbus.UInt32(1), "other"),
                ("ActionInvoked", "s", "1"),
                ("NotificationClosed", "uu", dbus.UInt32(2), dbus.UInt32(2)),
                ("ActionInvoked", "us", dbus.UInt32(2), "default"),     # closed
                ("ActionInvoked", "us", dbus.UInt32(1), "default"),
                ("ActivationToken", "us", dbus.UInt32(1), "token-1"),
                ("ActionInvoked", "us", dbus.UInt32(1), "default")):
            self.desk.emit(name, signature, *arguments)
        self.assertEqual(driver.next(), {"clicked": "file:///tmp/1%20%C3%A4%25.zip", "token": ""})
        self.assertEqual(driver.next(), {"clicked": "file:///tmp/1%20%C3%A4%25.zip", "token": "token-1"})
        self.desk.forge("ActionInvoked", "us", dbus.UInt32(1), "default")
        self.desk.emit("ActivationToken", "us", dbus.UInt32(1), "after")
        self.desk.emit("ActionInvoked", "us", dbus.UInt32(1), "default")
        self.assertEqual(driver.next()["token"], "after", "the forged click was passed over")

    def test_suit_a_server_that_was_restarted(self):
        first = self.desk.start_notifications("body actions")
        driver = Driver(self.desk)
        driver.do("finished", name="1", folder="/a&b", file="/tmp/1")
        self.assertEqual(list(self.notices(1)[0][4:6]), ["Downloaded to a&b.", ["default", "Show in Folder"]])
        self.desk.stop_service(NOTIFICATIONS, first)
        second = self.desk.start_notifications("body body-markup")
        driver.do("finished", name="2", folder="/a&b<i>", file="/tmp/2")
        self.assertEqual(list(self.notices(1)[0][4:6]), ["Downloaded to a&amp;b&lt;i&gt;.", []])
        self.desk.stop_service(NOTIFICATIONS, second)
        self.desk.start_notifications("actions")
        driver.do("finished", name="3")
        driver.do("finished", name="4", file="/tmp/4")
        self.notices(2)
        driver.ask()
        for number in (1, 2):  # those of earlier servers, too
            self.desk.emit("ActionInvoked", "us", dbus.UInt32(number), "default")
        self.assertEqual(driver.next()["clicked"], "file:///tmp/4")

    def test_are_kept_for_a_server_that_comes_soon(self):
        driver = Driver(self.desk)
        for number in range(150):
            driver.do("finished", name=str(number))
        driver.ask()
        self.desk.start_notifications()
        self.assertEqual([str(call[3]) for call in self.notices(100)], [str(n) for n in range(50, 150)])
        self.assertEqual(len(driver.ask("sent")), 100)

    def test_are_dropped_when_none_comes(self):
        driver = Driver(self.desk)
        driver.do("finished", name="early")
        driver.ask()
        late = time.monotonic() + PATIENCE
        wait_for(lambda: time.monotonic() > late, "the end of patience")
        self.desk.start_notifications()
        driver.do("finished", name="late")
        self.assertEqual(self.notices(1)[0][3], "late")

    def test_start_a_server_that_the_bus_knows(self):
        starter = self.desk.folder / "bin/server"
        starter.write_text("#!/bin/sh\nexec " + shlex.join(mock_notifications("body")))
        starter.chmod(0o755)
        (self.desk.folder / "services/n.service").write_text(
            f"[D-BUS Service]\nName={NOTIFICATIONS}\nExec={starter}\n")
        self.desk.daemon.send_signal(signal.SIGHUP)  # reads its services again
        Driver(self.desk).do("finished", name="x")
        wait_for(lambda: self.desk.owner(NOTIFICATIONS), "a server started")
        self.assertEqual(self.notices(1)[0][3], "x")

    def test_outlive_a_server_that_dies_with_them(self):
        first = self.desk.start_notifications()
        driver = Driver(self.desk)
        driver.do("finished", name="1")
        self.notices(1)
        first.send_signal(signal.SIGSTOP)
        driver.do("finished", name="2")
        driver.ask()
        self.desk.stop_service(NOTIFICATIONS, first)
        self.desk.start_notifications()
        self.assertEqual(self.notices(1)[0][3], "2")

    def test_never_wait_for_a_server_or_bus_that_hangs(self):
        driver = Driver(self.desk)
        driver.ask("connect")

        def expect_quick_answers():
            began = time.monotonic()
            for number in range(20):
                driver.do("finished", name=str(number), file=FILE)
                driver.do("show", file=FILE)
            self.assertEqual(driver.ask(), "here")
            self.assertLess(time.monotonic() - began, 1)

        silent = self.desk.start_notifications()
        silent.send_signal(signal.SIGSTOP)
        expect_quick_answers()
        self.desk.stop_service(NOTIFICATIONS, silent)
        known = self.desk.start_notifications()
        self.notices(20)
        for hanging in (known, self.desk.daemon):
            hanging.send_signal(signal.SIGSTOP)
            expect_quick_answers()
        self.desk.daemon.send_signal(signal.SIGCONT)
        known.send_signal(signal.SIGCONT)
        self.notices(60)

class NoticesWithoutABus(DeskTest):
    with_bus = False

    def test_wait_for_a_bus_that_comes_soon(self):
        driver = Driver(self.desk)
        driver.do("finished", name="x")
        self.assertEqual(driver.ask("sent"), [["x", "Downloaded to Films."]])
        self.desk.start_bus()
        self.desk.start_notifications()
        self.assertEqual(self.notices(1)[0][3], "x")


class FilesShown(DeskTest):
    def file(self, name):
        path = self.desk.folder / name
        path.write_text("x")
        return str(path)

    def test_are_selected_whatever_their_names(self):
        self.desk.start_file_manager()
        driver = Driver(self.desk)
        driver.ask("connect")
        names = {"a b": "a%20b", "100%25#?&.zip": "100%2525%23%3F&.zip", "ä 日本": "%C3%A4%20%E6%97%A5%E6%9C%AC",
                 "[1];'\"<>|\\": None, "gone": None}
        for name in list(names)[:-1]:
            driver.do("show", file=self.file(name), token="t")
        driver.do("show", file=str(self.desk.folder / "gone"))
        calls = wait_for(lambda: self.desk.calls(FILE_MANAGER, "ShowFolders") and
                         self.desk.calls(FILE_MANAGER, "ShowItems"), "files shown")
        base = self.desk.folder.as_uri() + "/"
        self.assertEqual(len(calls), 4)
        for (name, encoded), (items, token) in zip(names.items(), calls):
            self.assertEqual(token, "t")
            if encoded:
                self.assertEqual(items, [base + encoded])
            self.assertEqual(bytes(path_of(items[0])), os.fsencode(self.desk.folder / name))
        self.assertEqual([list(call) for call in self.desk.calls(FILE_MANAGER, "ShowFolders")], [[[base], ""]])

    def test_have_their_folder_opened_without_a_file_manager(self):
        driver = Driver(self.desk)
        driver.ask("connect")
        (self.desk.folder / "Ä %20 #").mkdir()
        driver.do("show", file=self.file("Ä %20 #/x"), token="t1")
        self.assertEqual(self.desk.opened(), [str(self.desk.folder / "Ä %20 #"), "t1", "t1"])
        manager = self.desk.start_file_manager()
        manager.send_signal(signal.SIGSTOP)
        driver.do("show", file=str(self.desk.folder / "gone"))
        driver.do("show", file=str(self.desk.folder / "no folder/gone"))
        self.assertEqual(self.desk.opened(), [str(self.desk.folder), "", ""])
        end(self.desk.daemon)
        driver.do("show", file=str(self.desk.folder / "gone"))
        self.assertEqual(self.desk.opened()[0], str(self.desk.folder))


def path_of(location):
    from urllib.parse import unquote_to_bytes
    return unquote_to_bytes(str(location)[len("file://"):])


@unittest.skipUnless(shutil.which("dunst") and shutil.which("Xvfb"), "needs dunst and Xvfb")
class RealServer(DeskTest):
    def start_dunst(self, markup):
        self.desk.start_display("640x480")
        configuration = self.desk.folder / "dunstrc"
        configuration.write_text(f"[global]\nmarkup = {markup}\n")
        self.desk.start_service(NOTIFICATIONS, "dunst", "-conf", configuration)
        return self.desk.bus.get_object(NOTIFICATIONS, "/org/freedesktop/Notifications", introspect=False)

    def read_on_the_screen(self, markup):
        """Shows a notice, clicks it, and gives what was to be read on it."""
        dunst = self.start_dunst(markup)
        commands = dbus.Interface(dunst, "org.dunstproject.cmd0")
        properties = dbus.Interface(dunst, "org.freedesktop.DBus.Properties")
        driver = Driver(self.desk)
        driver.do("finished", name="a & <b>.mkv", folder="/R&D <i> &amp; \u2066ä", file=FILE)
        wait_for(lambda: properties.Get("org.dunstproject.cmd0", "displayedLength") == 1, "a notice on the screen")
        commands.NotificationAction(dbus.UInt32(0))
        self.assertEqual(driver.next()["clicked"], "file:///tmp/Films/a%20b.mkv")
        commands.NotificationCloseAll()
        notice, = wait_for(commands.NotificationListHistory, "the notice in the history")
        self.assertEqual((notice["appname"], notice["category"]), ("Fluvane", "transfer.complete"))
        return html.unescape(re.sub("<.*?>", "", notice["message"]))

    def test_shows_names_as_they_are_with_markup(self):
        self.assertEqual(self.read_on_the_screen("full"), "a & <b>.mkv\nDownloaded to R&D <i> &amp; \u2066ä.")

    def test_shows_names_as_they_are_without_markup(self):
        self.assertEqual(self.read_on_the_screen("no"), "a & <b>.mkv\nDownloaded to R&D <i> &amp; \u2066ä.")


if __name__ == "__main__":
    unittest.main()
