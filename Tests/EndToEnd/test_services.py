# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""What keeps the machine awake, holds its sleep up and watches the network, beside services that come, go, refuse
and hang, on buses that do the same."""

import shutil
import signal
import time
import unittest

from desk import LOGIN, Desk, Driver
from harness import Test, end, wait_for

REASON = "Fluvane is downloading"
TO_LOGIN = ("idle", "Fluvane", REASON, "block")
OUR_LOCK = ("sleep", "Fluvane", "Fluvane is saving its list", "delay")
REFUSING = "raise dbus.exceptions.DBusException('Permission denied', name='org.freedesktop.DBus.Error.AccessDenied')"
QUICK = 3  # seconds; whoever waits for an answer on a bus waits for 5 at least


class ServicesTest(Test):
    def setUp(self):
        super().setUp()
        self.desk = self.enterContext(Desk(self.folder / "desk"))
        self.desk.start_bus()
        self.start_driver()
        self.connected()

    def start_driver(self, **environment):
        self.driver = self.enterContext(Driver(self.desk, **environment))
        self.driver.do("serve")
        self.driver.do("start")

    def connected(self):
        return {self.driver.next("connected") for _ in range(2)}

    def play_login(self, refusing=False):
        if not refusing:
            return self.desk.play_login()
        return self.desk.play(LOGIN, {"Inhibit": ("ssss", "h", REFUSING)}, interface=LOGIN + ".Manager")

    def locks(self, login, *expected):
        """Of either kind, as the login manager knows them."""
        wait_for(lambda: login.locks() == set(expected), f"{expected} held")


class Power(ServicesTest):
    def play_gnome(self):
        self.to_gnome = ("org.example.Fluvane", 0, REASON, 4)
        return self.play("org.gnome.SessionManager", "susu", "Uninhibit")

    def play_kde(self):
        self.to_kde = ("Fluvane", REASON)
        return self.play("org.freedesktop.PowerManagement", "ss", "UnInhibit", "/Inhibit")

    def play(self, name, signature, release, below=""):
        return self.desk.play(name, {"Inhibit": (signature, "u", "ret = len(self.call_log)"), release: ("u", "", "")},
                              "/" + name.replace(".", "/") + below, name + below.replace("/", "."))

    def holds(self, service, *expected):
        """Asked for and not given back; what it granted bears the number of the call."""
        def held():
            kept = {}
            for number, (_, method, arguments) in enumerate(service.mock.GetCalls(), 1):
                if method == "Inhibit":
                    kept[number] = tuple(arguments)
                else:
                    del kept[arguments[0]]
            return list(kept.values()) == list(expected)
        wait_for(held, f"{expected} held", 10)

    def keep_awake(self, on):
        self.driver.do("keep-awake", on=on)

    def test_asks_the_most_preferred_and_anew_when_services_come_and_go(self):
        self.keep_awake(True)
        self.keep_awake(True)
        login = self.play_login()
        self.locks(login, TO_LOGIN, OUR_LOCK)
        kde = self.play_kde()
        self.holds(kde, self.to_kde)
        self.locks(login, OUR_LOCK)
        for goes in (True, False):
            gnome = self.play_gnome()
            self.holds(gnome, self.to_gnome)
            self.holds(kde)
            if goes:
                gnome.end()
                self.holds(kde, self.to_kde)
        self.keep_awake(False)
        self.keep_awake(False)
        self.holds(gnome)
        self.driver.ask("catch-up")
        self.holds(kde)
        self.locks(login, OUR_LOCK)
        self.keep_awake(True)
        self.holds(gnome, self.to_gnome)
        self.driver.ask("catch-up")
        self.holds(kde)
        self.assertEqual(self.driver.told("error"), [])

    def test_releases_what_is_granted_too_late(self):
        gnome = self.play_gnome()
        gnome.hang()
        self.driver.ask("catch-up")
        self.keep_awake(True)
        self.keep_awake(False)
        self.driver.ask("catch-up")
        gnome.go_on()
        wait_for(lambda: gnome.calls("Inhibit"), "it was asked")
        self.holds(gnome)

    def test_waits_for_none_that_hangs(self):
        gnome, login = self.play_gnome(), self.play_login()
        gnome.hang()
        self.driver.ask("catch-up")
        for on in (True, False, True):
            self.keep_awake(on)
            self.locks(login, OUR_LOCK, *[TO_LOGIN] * on)
        gnome.go_on()
        self.holds(gnome, self.to_gnome)
        self.locks(login, OUR_LOCK)
        self.assertEqual(len(gnome.calls("Inhibit")), 1)

    def test_tells_of_a_refusal_once(self):
        refusal = f"couldn't keep the machine awake through {LOGIN}: Permission denied"
        login = self.play_login(refusing=True)
        told = []
        for number in range(3):
            self.keep_awake(True)
            wait_for(lambda: len(self.asked(login)) > number, "it was asked")
            self.driver.ask("catch-up")
            self.keep_awake(False)
            told += [error for error in self.driver.told("error") if "awake" in error]
        self.assertEqual(told, [refusal])
        self.keep_awake(True)
        kde = self.play_kde()
        self.holds(kde, self.to_kde)
        login.end()
        login = self.play_login(refusing=True)
        wait_for(lambda: login.calls("Inhibit"), "it was asked for a lock")
        self.driver.ask("catch-up")
        self.holds(kde, self.to_kde)
        self.assertEqual(self.asked(login), [], "who needn't be")

    def asked(self, login):
        return [arguments for arguments in login.calls("Inhibit") if arguments[0] == "idle"]


class Sleep(ServicesTest):
    def setUp(self):
        super().setUp()
        self.login = self.play_login()
        self.locks(self.login, OUR_LOCK)

    def prepare(self, sleep):
        """What the watch tells of it."""
        self.login.prepare_for_sleep(sleep)
        self.driver.ask("catch-up")
        return self.driver.told("sleep")

    def test_is_held_up_until_we_are_done(self):
        for _ in range(2):
            self.assertEqual(self.prepare(True), [True])
            self.assertEqual(self.prepare(True), [])
            self.locks(self.login, OUR_LOCK)
            self.driver.do("may-sleep")
            self.locks(self.login)
            self.assertEqual(self.prepare(False), [False])
            self.locks(self.login, OUR_LOCK)

    def test_done_that_comes_late_leaves_the_next_lock_alone(self):
        self.assertEqual(self.prepare(True) + self.prepare(False), [True, False])
        self.locks(self.login, OUR_LOCK)
        self.driver.do("may-sleep")
        self.driver.ask("catch-up")
        self.locks(self.login, OUR_LOCK)

    def test_a_new_login_manager_gets_a_new_lock(self):
        for sleeping in (False, True):
            if sleeping:
                self.assertEqual(self.prepare(True), [True])
            self.login.end()
            self.login = self.play_login()
            self.locks(self.login, OUR_LOCK)
            self.assertEqual(self.driver.told("sleep"), [False] * sleeping, "it may have woken unseen")

    def test_others_cannot_pretend(self):
        self.desk.forge("/org/freedesktop/login1", LOGIN + ".Manager", "PrepareForSleep", "b", True)
        self.assertEqual(self.prepare(False), [])

    def test_a_refusal_is_told_once_and_sleep_seen_all_the_same(self):
        self.login.end()
        self.login = self.play_login(refusing=True)
        self.assertEqual(self.driver.next("error"), "couldn't make sleep wait for the list: Permission denied")
        self.assertEqual(self.prepare(True), [True])
        self.driver.do("may-sleep")
        self.assertEqual(self.prepare(False), [False])
        self.driver.ask("catch-up")
        self.assertEqual(self.driver.told("error"), [])


class Network(ServicesTest):
    def serve(self):
        """Anew, so that a manager which was there already is found."""
        self.driver.ask("catch-up")
        self.driver.told("network")
        self.driver.do("serve")

    def test_is_what_the_manager_says(self):
        rows = [
            ("unknown", 0, 0, "", "online"),
            ("asleep", 10, 0, "", "offline"),
            ("disconnected", 20, 0, "", "offline"),
            ("disconnecting", 30, 0, "", "offline"),
            ("connecting", 40, 0, "", "online"),
            ("local only", 50, 0, "", "online"),
            ("connected", 70, 4, "802-11-wireless", "online"),
            ("the same again", 70, 4, "802-11-wireless", "online"),
            ("not metered, says the user", 70, 2, "802-11-wireless", "online"),
            ("metered, says the user", 70, 1, "802-3-ethernet", "online, lowDataMode"),
            ("metered by a guess", 70, 3, "802-11-wireless", "online, hotspot"),
            ("by bluetooth", 70, 4, "bluetooth", "online, hotspot"),
            ("by phone", 70, 1, "gsm", "online, hotspot"),
            ("by another phone", 60, 2, "cdma", "online, hotspot"),
            ("offline and metered", 20, 3, "", "offline, hotspot"),
        ]
        self.manager = self.desk.play_network()
        self.serve()
        self.assertEqual(self.driver.next("network"), "online")
        self.assertEqual(self.driver.told("waits"), [], "at once, without waiting")
        for name, state, metered, kind, expected in rows:
            with self.subTest(name):
                self.manager.set(State=state, Metered=metered, PrimaryConnectionType=kind)
                self.driver.ask("catch-up")
                self.driver.do("run", seconds=1)
                self.assertEqual(self.driver.next("network"), expected)

    def test_settles_a_second_after_the_first_change(self):
        self.manager = self.desk.play_network()
        self.serve()
        self.assertEqual(self.driver.next("network"), "online")
        self.manager.set(State=30)
        self.assertEqual(self.driver.next("waits"), 1)
        self.driver.do("run", seconds=0.9)
        for state in (20, 40, 60, 20):
            self.manager.set(State=state)
        self.manager.set(WirelessEnabled=False)
        self.driver.ask("catch-up")
        self.assertEqual(self.driver.told("network"), [])
        self.driver.do("run", seconds=0.1)
        self.assertEqual(self.driver.next("network"), "offline")
        self.manager.set(WirelessEnabled=True)  # no change of ours
        self.driver.ask("catch-up")
        self.assertEqual(self.driver.told("waits"), [])

    def test_is_there_without_a_manager_unless_one_restarts(self):
        self.assertEqual(self.driver.next("network"), "online", "at once")
        self.manager = self.desk.play_network(State=20)
        self.assertEqual(self.driver.next("network"), "offline", "once it comes")
        self.manager.end()
        self.assertEqual(self.driver.next("waits"), 1)
        self.driver.do("run", seconds=0.9)
        self.manager = self.desk.play_network(State=20)
        self.assertEqual(self.driver.next("waits"), 1)
        self.driver.do("run", seconds=1)
        self.assertEqual(self.driver.next("network"), "offline", "a restart is no change")
        end(self.desk.daemon)
        self.assertEqual(self.driver.next("waits"), 1)
        self.driver.do("run", seconds=1)
        self.assertEqual(self.driver.next("network"), "online")

    def test_nothing_is_said_for_a_manager_that_hangs(self):
        self.manager = self.desk.play_network(State=20)
        self.manager.hang()
        self.serve()
        self.driver.ask("catch-up")
        self.driver.do("run", seconds=60)
        self.assertEqual(self.driver.told("network"), [])
        self.manager.go_on()
        self.assertEqual(self.driver.next("network"), "offline")


class Buses(ServicesTest):
    def setUp(self):
        Test.setUp(self)
        self.desk = self.enterContext(Desk(self.folder / "desk"))

    def test_come_when_they_can_and_again(self):
        self.start_driver()
        self.driver.next("missing")  # its socket's folder isn't there yet, either
        self.assertEqual(self.driver.next("network"), "online")
        for number in range(3):
            self.desk.start_bus()
            self.assertEqual(self.connected(), {"session", "system"})
            if number == 1:
                self.driver.do("keep-awake", on=True)
                self.locks(self.play_login(), TO_LOGIN, OUR_LOCK)
            end(self.desk.daemon)
            self.assertEqual({self.driver.next("lost") for _ in range(2)}, {"session", "system"})
            if number == 0:
                shutil.rmtree(self.desk.folder / "run")
        self.desk.start_bus()
        self.locks(self.play_login(), TO_LOGIN, OUR_LOCK)

    def test_one_that_hangs_holds_nobody_up(self):
        self.desk.start_bus()
        login = self.play_login()
        self.start_driver(DBUS_SESSION_BUS_ADDRESS=self.desk.mute_bus())
        self.driver.do("keep-awake", on=True)
        began = time.monotonic()
        self.locks(login, TO_LOGIN, OUR_LOCK)
        self.assertLess(time.monotonic() - began, QUICK)
        self.assertEqual(self.driver.told("connected"), ["system"])
        began = time.monotonic()
        self.driver.stop()
        self.assertLess(time.monotonic() - began, QUICK, "ends while it connects")

    def test_no_call_waits_for_one_that_stops_answering(self):
        self.desk.start_bus()
        self.start_driver()
        self.connected()
        self.desk.daemon.send_signal(signal.SIGSTOP)
        began = time.monotonic()
        for _ in range(2):
            self.driver.do("serve")
            self.driver.do("keep-awake", on=True)
            self.driver.ask()
        self.assertLess(time.monotonic() - began, QUICK)

    def test_are_where_the_environment_says(self):
        self.start_driver()
        for name, address, folder, expected in (
            ("said", "unix:abstract=x", "/run/user/1", "unix:abstract=x"),
            ("the user's bus", "", "/run/user/1", "unix:path=/run/user/1/bus"),
            ("an odd folder", "", "/run/a b;c", "unix:path=/run/a%20b%3Bc/bus"),
            ("would have to be started", "autolaunch:", "/run/user/1", ""),
            ("none", "", "", ""),
        ):
            with self.subTest(name):
                answer = self.driver.ask("address", DBUS_SESSION_BUS_ADDRESS=address, XDG_RUNTIME_DIR=folder)
                self.assertEqual(answer, expected)


if __name__ == "__main__":
    unittest.main()
