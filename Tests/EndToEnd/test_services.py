# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""The classes for the desktop's services, beside services that come, go, restart and hang, on buses that do the same:
what keeps the machine awake, watches the network, shows notices, and what is done with files for the user."""

import os
import shutil
import signal
import time
import unittest
from urllib.parse import unquote_to_bytes

import dbus
from desk import Desk, Driver
from harness import Test, end, wait_for

TO_LOGIN = ("idle", "Fluvane", "Fluvane is downloading", "block")
OUR_LOCK = ("sleep", "Fluvane", "Fluvane is saving its list", "delay")
FILE = "/tmp/Films/a b.mkv"
CLICK = ["default", "Show in Folder"]
QUICK = 3  # seconds; whoever waits for an answer on a bus waits for 5 at least


class ServicesTest(Test):
    def setUp(self):
        super().setUp()
        self.desk = self.enterContext(Desk(self.folder / "desk"))
        self.desk.start_bus()

    def start_driver(self):
        self.driver = self.enterContext(Driver(self.desk))
        self.connected()

    def connected(self):
        self.assertEqual({self.driver.next("connected") for _ in range(2)}, {"session", "system"})

    def keep_awake(self, on):
        self.driver.do("keep-awake", on=on)

    def locks(self, login, *expected):
        """Of either kind, as the login manager knows them."""
        wait_for(lambda: login.locks() == set(expected), f"{expected} held")

    def finish(self, name, **more):
        self.driver.do("finished", name=name, **more)


class Buses(ServicesTest):
    def test_come_when_they_can_and_again(self):
        end(self.desk.daemon)
        shutil.rmtree(self.desk.folder / "run")
        self.driver = self.enterContext(Driver(self.desk))
        self.driver.next("missing")  # its socket's folder isn't there yet, either
        self.assertEqual(self.driver.next("network"), "online")
        self.keep_awake(True)
        for _ in range(2):
            self.desk.start_bus()
            self.connected()
            self.locks(self.desk.play_login(), TO_LOGIN, OUR_LOCK)
            end(self.desk.daemon)
            self.assertEqual({self.driver.next("lost") for _ in range(2)}, {"session", "system"})
            shutil.rmtree(self.desk.folder / "run")

    def test_no_call_waits_for_a_service_or_bus_that_stops_answering(self):
        server = self.desk.play_notifications()
        self.start_driver()
        self.finish("first")
        wait_for(lambda: server.calls("Notify"), "a notice")
        for hanging in (server.process, self.desk.daemon):
            hanging.send_signal(signal.SIGSTOP)
            began = time.monotonic()
            for number in range(20):
                self.finish(str(number))
                self.driver.do("show", file=FILE)
                self.keep_awake(number % 2 == 0)
            self.driver.ask()
            self.assertLess(time.monotonic() - began, QUICK)
        for hanging in (server.process, self.desk.daemon):
            hanging.send_signal(signal.SIGCONT)
        wait_for(lambda: len(server.calls("Notify")) == 41, "all notices")


class Power(ServicesTest):
    def play_gnome(self):
        return self.desk.play("org.gnome.SessionManager", {"Inhibit": ("susu", "u", "ret = len(self.call_log)"),
                                                           "Uninhibit": ("u", "", "")})

    def holds(self, gnome, expected=True):
        """Asked for and not given back; what it granted bears the number of the call."""
        def held():
            granted = set()
            for number, (_, method, arguments) in enumerate(gnome.mock.GetCalls(), 1):
                granted ^= {number if method == "Inhibit" else int(arguments[0])}
            return bool(granted) == expected
        wait_for(held, "held" if expected else "released", 10)

    def test_is_asked_of_the_most_preferred_and_anew_when_services_come_and_go(self):
        self.start_driver()
        self.keep_awake(True)
        login = self.desk.play_login()
        self.locks(login, TO_LOGIN, OUR_LOCK)
        for goes in (True, False):
            gnome = self.play_gnome()
            self.holds(gnome)
            self.assertEqual(gnome.calls("Inhibit"), [["org.example.Fluvane", 0, "Fluvane is downloading", 4]])
            self.locks(login, OUR_LOCK)
            if goes:
                gnome.end()
                self.locks(login, TO_LOGIN, OUR_LOCK)
        self.keep_awake(False)
        self.holds(gnome, False)
        self.driver.ask("catch-up")
        self.locks(login, OUR_LOCK)


class Network(ServicesTest):
    def test_is_what_the_manager_says(self):
        manager = self.desk.play_network(State=20)
        self.start_driver()
        self.assertEqual(self.driver.next("network"), "offline")
        for name, state, metered, kind, expected in (
            ("connecting", 40, 0, "", "online"),
            ("not metered, says the user", 70, 2, "802-11-wireless", "online"),
            ("metered, says the user", 70, 1, "802-3-ethernet", "online, lowDataMode"),
            ("metered by a guess", 70, 3, "802-11-wireless", "online, hotspot"),
            ("disconnected", 20, 0, "", "offline"),
        ):
            with self.subTest(name):
                manager.set(State=state, Metered=metered, PrimaryConnectionType=kind)
                self.driver.ask("catch-up")
                self.assertEqual(self.driver.told("network"), [], "not before it has settled")
                self.driver.do("run", seconds=1)
                self.assertEqual(self.driver.next("network"), expected)
        manager.end()
        self.driver.ask("catch-up")
        self.driver.do("run", seconds=1)
        self.assertEqual(self.driver.next("network"), "online", "nobody to ask")


class Notices(ServicesTest):
    def notices(self, server, count):
        """What the played server was asked to show, once it is so many."""
        calls = wait_for(lambda: [*server.calls("Notify")][count - 1:] and server.calls("Notify"), f"{count} notices")
        self.assertEqual(len(calls), count)
        return calls

    def test_say_what_became_of_a_download(self):
        server = self.desk.play_notifications()
        self.start_driver()
        self.driver.do("wanted", on=False)
        self.finish("unseen")
        self.driver.do("wanted", on=True)
        self.finish("a b.mkv", file=FILE)
        self.finish("x", folder="/tmp/Ä & <b>", file=FILE, differs=True)
        self.driver.do("failed", name="x\u202e", reason="No <space>\nleft.")
        mismatch = ("Its SHA-256 doesn't match the one given, so it may not be the file you meant to get. "
                    "It's in Ä & <b>; don't open it unless you know why.")
        shown = [(*call[3:5], list(call[5]), call[6]["category"], call[6]["urgency"])
                 for call in self.notices(server, 3)]
        self.assertEqual(shown, [("a b.mkv", "Downloaded to Films.", CLICK, "transfer.complete", 1),
                                 ("x", mismatch, CLICK, "transfer.error", 2),
                                 ("x\ufffd", "No <space>\ufffdleft.", [], "transfer.error", 1)])

    def test_suit_a_server_that_was_restarted_and_lead_to_their_file(self):
        server = self.desk.play_notifications("body body-markup")
        self.start_driver()
        self.finish("1", folder="/a&b<i>", file=FILE)
        self.assertEqual(list(self.notices(server, 1)[0][4:6]), ["Downloaded to a&amp;b&lt;i&gt;.", []])
        server.end()
        server = self.desk.play_notifications("actions")
        self.finish("1 ä%", file="/tmp/1 ä%")
        self.finish("without a file")
        self.notices(server, 2)
        self.driver.ask("catch-up")
        server.emit("ActivationToken", "us", dbus.UInt32(1), "token-1")
        for number, action in ((7, "default"), (2, "default"), (1, "other"), (1, "default")):
            server.emit("ActionInvoked", "us", dbus.UInt32(number), action)
        self.driver.ask("catch-up")
        self.assertEqual(self.driver.told("clicked"), [["file:///tmp/1%20%C3%A4%25", "token-1"]])


class Files(ServicesTest):
    def setUp(self):
        super().setUp()
        self.start_driver()

    def file(self, name):
        path = self.folder / name
        path.write_text("bytes")
        return path

    def test_are_shown_in_their_folder_whatever_their_names(self):
        self.driver.do("show", file=str(self.file("x")), token="t1")
        self.assertEqual(self.desk.opened(), [str(self.folder), "t1"], "there is no file manager")
        manager = self.desk.play_file_manager()
        names = ["a b", "100%25#?&.zip", "ä 日本", "[1];'\"<>|\\"]
        for path in [*map(self.file, names), self.folder / "gone"]:
            self.driver.do("show", file=str(path), token="t")
        wait_for(lambda: manager.calls("ShowFolders") and len(manager.calls("ShowItems")) == len(names), "files shown")
        shown = [(unquote_to_bytes(str(item)), token) for (item,), token in manager.calls("ShowItems")]
        self.assertEqual(shown, [(os.fsencode(f"file://{self.folder / name}"), "t") for name in names])
        self.assertEqual([list(call) for call in manager.calls("ShowFolders")], [[[self.folder.as_uri() + "/"], "t"]])

    def test_are_opened_by_the_desktop_which_may_have_no_program(self):
        file = self.file("a b;c.txt")
        for what, given, status, problem in (
            (file.as_uri(), str(file), 0, None),
            (file.as_uri(), str(file), 2, "a b;c.txt couldn't be opened: there's no program for it."),
            ("mailto:a@b.example", None, 0, "mailto:a@b.example can't be opened."),
        ):
            with self.subTest(what, status=status):
                (self.desk.folder / "opener-exits").write_text(str(status))
                self.driver.do("open", what=what)
                if given:
                    self.assertEqual(self.desk.opened()[0], given)
                if problem:
                    self.assertEqual(self.driver.next("problem"), problem)
        self.assertEqual(self.driver.told("problem"), [])

    def test_can_be_put_back_from_the_wastebasket(self):
        def throw_away(path):
            self.driver.do("trash", file=str(path))
            return self.driver.next("trashed")
        file = self.file("größe %1.iso")
        trash = self.desk.folder / "share/Trash"
        self.assertEqual(throw_away(file), "")
        self.assertFalse(file.exists())
        self.assertTrue((trash / f"info/{file.name}.trashinfo").exists())
        self.assertEqual(throw_away(file), "", "gone already")
        trash.parent.rename(self.folder / "elsewhere")
        trash.parent.write_text("no folder")
        file = self.file("stays")
        self.assertEqual(throw_away(file), "There's no wastebasket.")
        self.assertTrue(file.exists())


if __name__ == "__main__":
    unittest.main()
