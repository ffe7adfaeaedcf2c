# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""The application on a screen: shown in a tray, given a link by a drop, watched, and its file revealed."""

import contextlib
import json
import os
import pathlib
import signal
import subprocess
import sys
import unittest

import dbus

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "FluvaneNotices"))
from desk import FILE_MANAGER, MOCK, NOTIFICATIONS, Desk  # noqa: E402
from harness import MB, Application, EndToEnd, programs, wait_for  # noqa: E402

WATCHER = "org.kde.StatusNotifierWatcher"
ITEM = "org.kde.StatusNotifierItem"
MENU = "com.canonical.dbusmenu"


class OnScreen(Application):
    """With a display instead of without."""

    def spawn(self):
        with open(self.folder / "output", "ab") as output:
            return subprocess.Popen([programs / "fluvane"], env=self.environment, stdout=output, stderr=output,
                                    stdin=subprocess.DEVNULL)

    def screen(self):
        return json.loads(self.command("state"))

    def window(self, name):
        return next((window for window in self.screen()["windows"] if window["name"] == name), None)

    def window_shown(self, name):
        return wait_for(lambda: self.window(name), f"the window {name}")


class Screen(EndToEnd):
    locations = {"/": 3 * MB}

    def setUp(self):
        super().setUp()
        self.desk = Desk()
        self.addCleanup(self.desk.close)
        self.desk.start_bus()
        self.start_display()
        self.application = OnScreen(self.folder / "app", {
            "DBUS_SESSION_BUS_ADDRESS": self.desk.address, "DISPLAY": self.desk.environment["DISPLAY"],
            "HOME": str(self.folder / "app"), "XDG_CURRENT_DESKTOP": ""})
        self.addCleanup(self._stop_application)  # before its display ends

    def start_display(self):
        self.desk.start_display("1280x800")
        self.desk.environment["HOME"] = str(self.folder)
        self.desk.start("openbox", stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def start_tray(self):
        """A host that shows what is registered."""
        self.desk.start_service(WATCHER, sys.executable, "-m", "dbusmock", WATCHER, "/StatusNotifierWatcher", WATCHER)
        watcher = dbus.Interface(self.desk.bus.get_object(WATCHER, "/StatusNotifierWatcher", introspect=False), MOCK)
        watcher.AddMethod(WATCHER, "RegisterStatusNotifierItem", "s", "", "")
        watcher.AddProperty(WATCHER, "IsStatusNotifierHostRegistered", True)
        watcher.EmitSignal(WATCHER, "StatusNotifierHostRegistered", "", dbus.Array([], signature="v"))
        self.watcher = watcher

    def item(self):
        """The name on the bus of what is in the tray."""
        name = wait_for(lambda: [str(arguments[0]) for _, arguments in
                                 self.watcher.GetMethodCalls("RegisterStatusNotifierItem")], "an item in the tray")[-1]
        return self.desk.bus.get_object(name, "/StatusNotifierItem", introspect=False)

    def property(self, item, name):
        return dbus.Interface(item, "org.freedesktop.DBus.Properties").Get(ITEM, name)

    def menu_labels(self, item):
        menu = self.desk.bus.get_object(item.bus_name, str(self.property(item, "Menu")), introspect=False)
        _, (_, _, children) = dbus.Interface(menu, MENU).GetLayout(0, 1, dbus.Array([], signature="s"))
        return [str(child[1].get("label", "")).replace("_", "") for child in children]

    def drop(self, text, x, y):
        # It stays: whoever is given a drop asks for the data afterwards.
        self.desk.start(programs / "Tests/Screen/DragSource", text)
        self.id_of("^source$")
        self.xdotool("mousemove", 60, 30, "mousedown", 1)
        # A drag begins with a movement and is told to whoever is under the pointer with each.
        for step in range(20):
            self.xdotool("mousemove", 60 + (x - 60) * (step + 1) // 20, 30 + (y - 30) * (step + 1) // 20)
        self.xdotool("mousemove", x + 2, y + 2, "mousemove", x, y, "mouseup", 1)

    def xdotool(self, *words):
        return subprocess.run(["xdotool", *map(str, words)], env=self.desk.environment, capture_output=True,
                              text=True).stdout

    def id_of(self, title):
        return wait_for(lambda: self.xdotool("search", "--onlyvisible", "--name", title).split(), f"{title} shown")[0]

    def key(self, title, keys):
        window = self.id_of(title)

        def in_front():
            self.xdotool("windowactivate", window)
            return self.xdotool("getactivewindow").strip() == window
        wait_for(in_front, f"{title} in front")
        self.xdotool("key", keys)

    def place_of(self, title):
        out = self.xdotool("getwindowgeometry", "--shell", self.id_of(title))
        values = dict(line.split("=") for line in out.splitlines() if "=" in line)
        return {name: int(values[name]) for name in ("X", "Y", "WIDTH", "HEIGHT")}

    def test_a_download_from_the_drop_to_the_file_manager(self):
        self.start_tray()
        self.desk.start_service(NOTIFICATIONS, "dunst", "-conf", os.devnull)
        self.desk.start_file_manager()
        original = self.server.make_file("film of the summer.bin", 24 * MB)
        app = self.application.start()

        welcome = app.window_shown("welcome")
        self.assertTrue(welcome["texts"])
        self.key("Welcome", "Escape")
        wait_for(lambda: not app.window("welcome"), "the welcome closes")
        item = self.item()
        self.assertIn("Quit Fluvane", self.menu_labels(item))

        dbus.Interface(item, ITEM).Activate(0, 0)
        app.window_shown("downloads")
        place = self.place_of("^Downloads")
        self.drop(self.server.link("/film%20of%20the%20summer.bin"), place["X"] + place["WIDTH"] // 3,
                  place["Y"] + place["HEIGHT"] // 2)
        new = app.window_shown("new-download")
        self.assertEqual([row["text"].split(",")[0] for rows in new["lists"] for row in rows["rows"]],
                         ["film of the summer.bin"])
        self.assertEqual(app.list(), [], "nothing downloads unasked")
        self.key("New Download", "ctrl+Return")
        wait_for(lambda: app.list(), "the download on the list")

        def row():
            window = app.window("downloads")
            rows = [row["text"] for rows in window["lists"] for row in rows["rows"]] if window else []
            return next((text for text in rows if "film of the summer.bin" in text), "")
        wait_for(lambda: "MB/s" in row() and "connection" in row(), "its speed in the list")
        wait_for(lambda: any("film of the summer" in label and "%" in label for label in self.menu_labels(item)),
                 "its progress in the tray's menu")
        finished = app.finished(1)
        self.assert_identical(finished["file"], original)
        wait_for(lambda: "24 MB, finished " in row(), "the row is finished")

        notices = dbus.Interface(self.desk.bus.get_object(NOTIFICATIONS, "/org/freedesktop/Notifications",
                                                          introspect=False), "org.dunstproject.cmd0")
        wait_for(lambda: app.screen()["notifications"], "the notice is sent")
        wait_for(lambda: self.clicked(notices), "the notice is clicked")
        shown = wait_for(lambda: self.desk.calls(FILE_MANAGER, "ShowItems"), "the file in the file manager")
        self.assertIn("film%20of%20the%20summer.bin", str(shown[0][0][0]))

        pictures = app.command("snapshot", str(self.folder / "pictures"), "end").splitlines()
        self.assertEqual({pathlib.Path(path).name for path in pictures}, {"end-downloads.png", "end-tray.png"})
        for path in pictures:
            self.assertGreater(os.path.getsize(path), 200)

    def clicked(self, notices):
        with contextlib.suppress(dbus.DBusException):
            notices.NotificationAction(dbus.UInt32(0))
        return self.desk.calls(FILE_MANAGER, "ShowItems")

    def test_without_a_tray_it_stays_within_reach(self):
        app = self.application.start()
        app.client("settings")
        app.window_shown("settings")
        self.assertEqual(app.spawn().wait(20), 0)
        app.window_shown("downloads")
        self.key("^Downloads", "ctrl+w")
        wait_for(lambda: not app.window("downloads"), "the window closes")
        told = [notice["title"] for notice in app.screen()["notifications"]]
        self.assertEqual(told, ["Fluvane is still running"])
        self.assertFalse(app.screen()["tray"]["shown"])
        self.start_tray()
        self.item()
        wait_for(lambda: app.screen()["tray"]["shown"], "the item once there is a host")

    def test_a_display_that_does_not_answer_ends_nothing(self):
        self.application.environment["DISPLAY"] = ":9999"
        self.application.start()
        self.assertEqual(self.application.ask("show"),
                         (False, "There's no window to show: Fluvane runs without a display."))


if __name__ == "__main__":
    unittest.main()
