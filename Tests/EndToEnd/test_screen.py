# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""The application on a screen with a window manager and real keys: handed a link, watched, its file shown, the machine
kept awake meanwhile."""

import contextlib
import itertools
import json
import os
import re
import subprocess
import unittest

import dbus
import dbus.lowlevel
import reader
from desk import NOTIFICATIONS, Desk
from harness import MB, Application, EndToEnd, sha256, wait_for

CHOOSER = "org.freedesktop.portal.FileChooser"
FILM = "film of the summer.bin"


class OnScreen(Application):
    """With a display."""

    arguments = ()

    def screen(self):
        return json.loads(self.command("state"))

    def window(self, name):
        return next((window for window in self.screen()["windows"] if window["name"] == name), None)

    def window_shown(self, name):
        return wait_for(lambda: self.window(name), f"the window {name}")

    def rows(self, name):
        """What the lists of a window show."""
        return [row["text"] for rows in (self.window(name) or {"lists": []})["lists"] for row in rows["rows"]]


class Screen(EndToEnd):
    locations = {"/": 3 * MB, "/quick/": 30 * MB}

    def setUp(self):
        super().setUp()
        self.desk = self.enterContext(Desk(self.folder / "desk"))
        self.desk.start_bus()
        self.desk.start_display("1280x800")
        self.desk.start("openbox")
        self.application = self.use(OnScreen(self.folder / "app", {**self.desk.environment, "XDG_CURRENT_DESKTOP": ""}))

    def xdotool(self, *words):
        return subprocess.run(["xdotool", *map(str, words)], env={**os.environ, **self.desk.environment},
                              capture_output=True, text=True).stdout

    def key(self, title, keys):
        window = wait_for(lambda: self.xdotool("search", "--onlyvisible", "--name", title).split(), f"{title} shown")[0]

        def in_front():
            self.xdotool("windowactivate", window)
            return self.xdotool("getactivewindow").strip() == window
        wait_for(in_front, f"{title} in front")
        self.xdotool("key", keys)

    def test_a_download_from_the_link_to_the_file_manager(self):
        dunst = self.desk.start_service(NOTIFICATIONS, "dunst", "-conf", os.devnull)
        files = self.desk.play_file_manager()
        login = self.desk.play_login()
        original = self.server.make_file(FILM, 24 * MB)
        app = self.application.start()

        locks = lambda: {lock[0] for lock in login.locks()}
        self.assertTrue(app.window_shown("welcome")["texts"])
        self.key("Welcome", "Escape")
        wait_for(lambda: not app.window("welcome"), "the welcome closes")
        wait_for(lambda: locks() == {"sleep"}, "sleep would be held up")
        self.assertEqual(app.client("show").returncode, 0)
        app.window_shown("downloads")
        self.assertEqual(app.client("--open", self.server.link("/" + FILM.replace(" ", "%20"))).returncode, 0)
        app.window_shown("new-download")
        self.assertEqual([row.split(",")[0] for row in app.rows("new-download")], [FILM])
        self.assertEqual(app.list(), [], "nothing downloads unasked")
        self.key("New Download", "ctrl+Return")
        wait_for(lambda: app.list(), "the download on the list")
        wait_for(lambda: locks() == {"sleep", "idle"}, "the machine is kept awake")
        row = lambda: next((text for text in app.rows("downloads") if FILM in text), "")
        wait_for(lambda: "MB/s" in row() and "connection" in row(), "its speed in the list")
        self.assertEqual(app.client("settings").returncode, 0)
        self.key("Settings", "Tab")  # whoever looks at the list is told nothing
        self.assert_identical(app.finished(1)["file"], original)
        wait_for(lambda: "24 MB, finished " in row(), "the row is finished")
        wait_for(lambda: locks() == {"sleep"}, "the machine may sleep")

        wait_for(lambda: app.screen()["notifications"], "the notice is sent")

        def clicked():
            with contextlib.suppress(dbus.DBusException):  # it isn't on the screen yet
                dunst.object.NotificationAction(dbus.UInt32(0), dbus_interface="org.dunstproject.cmd0")
            return files.calls("ShowItems")
        ((item,), _), *_ = wait_for(clicked, "the file in the file manager")
        self.assertIn(FILM.replace(" ", "%20"), item)

    def test_a_download_by_what_a_screen_reader_is_told(self):
        windows = reader.windows(self.desk)
        self.application.environment.update(self.desk.environment)
        original = self.server.make_file(FILM, 40 * MB)
        app = self.application.start()
        row = lambda name: getattr(windows.find("list item", name), "name", "")
        said = lambda words, name=FILM: wait_for(lambda: re.search(f"^{name}: {words}", row(name)), f"{name}: {words}")
        runs = r"(\d+) %, .* connection"
        focused = lambda: [one.role for one in windows.all() if "focused" in one.states]
        on = lambda *roles: wait_for(lambda: focused() == [*roles], f"only {roles} has the focus")
        on_row = lambda: on("list", "list item")

        windows.press("Start")
        windows.shown("label", "No downloads")
        on("push button")
        self.key("^Downloads", "ctrl+n")
        new = windows.shown("dialog", "New Download")
        on("text")
        self.xdotool("type", self.server.link("/quick/" + FILM.replace(" ", "%20")))
        new.shown("label", "40 MB, ")
        app.command("limit", "1")  # so that there is time to look
        new.press("Download")
        said(runs)
        on_row()
        self.key("^Downloads", "space")
        paused = said(r"Paused at (\d+) %")
        self.assertEqual(windows.shown("graphic", "Pieces").get("CurrentValue", "Value"), int(paused[1]))
        windows.press("Resume")
        said(runs)
        self.key("^Downloads", "ctrl+i")
        wait_for(lambda: not windows.find("filler", "Details"), "the details close")
        self.key("^Downloads", "ctrl+i")
        details = windows.shown("filler", "Details")
        details.shown("tree item", "Connection 2")
        self.read_details(details)
        self.key("^Downloads", "F2")
        asked = windows.shown("dialog", "Rename")
        asked.shown("text", "Name").call("EditableText", "SetTextContents", "renamed.bin")
        asked.press("Rename")
        said(runs, "renamed.bin")
        self.key("^Downloads", "ctrl+l")  # the limit is off
        said("40 MB, finished", "renamed.bin")
        self.assert_identical(app.finished(1)["file"], original)
        windows.press("Checksum")
        asked = windows.shown("dialog", "Checksum")
        asked.shown("text", "Checksum").call("EditableText", "SetTextContents", sha256(original))
        asked.press("Check")
        asked.shown("label", "The file's SHA-256 matches.")
        asked.press("Close")
        on_row()
        self.key("^Downloads", "Delete")
        windows.shown("label", "Removed 1 download.")
        self.assertEqual(row(""), "")
        windows.press("Undo")
        said("40 MB, finished", "renamed.bin")
        on_row()

    def read_details(self, details):
        told = [(one.role, one.name, one.description, one.states) for one in details.all()]
        for (role, name, _, _), (value, of, description, states) in itertools.pairwise(told):
            self.assertNotIn("<", description)
            self.assertNotIn("editable", states, of)
            if value == "text":
                self.assertEqual((role, name), ("label", of), "its label is read before it")
        connections = [name for _, name, _, _ in told if name.startswith("Connection ")]
        self.assertEqual(len(connections), len(set(connections)), connections)

    def test_a_folder_is_chosen_in_the_desktops_own_window(self):
        def portal():
            return self.desk.play("org.freedesktop.portal.Desktop", {"OpenFile": ("ssa{sv}", "o", "ret = '/asked'")},
                                  path="/org/freedesktop/portal/desktop", interface=CHOOSER, properties={"version": 3})

        def ask():
            self.key("Settings", "space")
            return wait_for(lambda: asked.calls("OpenFile"), "asked for a folder")[0]

        app = self.application.start()
        asked = portal()  # later than the application
        app.command("settings")
        self.key("Settings", "ctrl+2")
        self.key("Settings", "Tab")
        window, title, options = ask()
        self.assertTrue(window.startswith("x11:"), window)
        self.assertEqual((title, options["directory"], options["accept_label"]), ("Choose Folder", True, "_Choose"))
        sender = self.desk.owner("org.fluvane.Fluvane")[1:].replace(".", "_")
        answer = dbus.lowlevel.SignalMessage(
            f"/org/freedesktop/portal/desktop/request/{sender}/{options['handle_token']}",
            "org.freedesktop.portal.Request", "Response")
        answer.append(dbus.UInt32(0), {"uris": dbus.Array(["file:///tmp/my%20films"])}, signature="ua{sv}")
        self.desk.bus.send_message(answer)
        kept = app.folder / "config/Fluvane/settings.json"
        wait_for(lambda: kept.exists() and "/tmp/my films" in kept.read_text(), "the folder kept")
        asked.end()
        self.key("Settings", "space")
        app.window_shown("folderDialog")  # the program's own

    def test_without_a_tray_it_stays_within_reach(self):
        app = self.application.start()
        self.assertEqual(app.spawn().wait(20), 0)
        app.window_shown("downloads")
        self.key("^Downloads", "ctrl+w")
        wait_for(lambda: not app.window("downloads"), "the window closes")
        self.assertEqual([notice["title"] for notice in app.screen()["notifications"]], ["Fluvane is still running"])
        self.assertFalse(app.screen()["tray"]["shown"])

    def test_a_display_that_does_not_answer_ends_nothing(self):
        self.application.environment["DISPLAY"] = ":9999"
        self.application.start()
        self.assertEqual(self.application.ask("show"),
                         (False, "There's no window to show: Fluvane runs without a display."))


if __name__ == "__main__":
    unittest.main()
