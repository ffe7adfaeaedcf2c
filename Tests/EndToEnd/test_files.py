# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""What the desktop does with files for the user: shows, opens and throws them away."""

import os
import unittest
from urllib.parse import unquote_to_bytes

from desk import Desk, Driver
from harness import Test, end, wait_for


class Files(Test):
    def setUp(self):
        super().setUp()
        self.desk = self.enterContext(Desk(self.folder / "desk"))
        self.desk.start_bus()
        self.driver = self.start_driver()

    def start_driver(self, **environment):
        driver = self.enterContext(Driver(self.desk, **environment))
        driver.do("start")
        while driver.next("connected") != "session":
            pass
        return driver

    def file(self, name):
        path = self.folder / name
        path.write_text("bytes")
        return path

    def show(self, path, token=""):
        self.driver.do("show", file=str(path), token=token)

    def test_are_selected_in_the_file_manager_whatever_their_names(self):
        manager = self.desk.play_file_manager()
        names = {"a b": "a%20b", "100%25#?&.zip": "100%2525%23%3F&.zip", "ä 日本": "%C3%A4%20%E6%97%A5%E6%9C%AC",
                 "[1];'\"<>|\\": None}
        for name in names:
            self.show(self.file(name), "t")
        self.show(self.folder / "gone")
        wait_for(lambda: manager.calls("ShowFolders") and len(manager.calls("ShowItems")) == len(names), "files shown")
        base = self.folder.as_uri() + "/"
        for (name, encoded), ((item,), token) in zip(names.items(), manager.calls("ShowItems")):
            self.assertEqual(token, "t")
            if encoded:
                self.assertEqual(item, base + encoded)
            self.assertEqual(unquote_to_bytes(str(item)), os.fsencode(f"file://{self.folder / name}"))
        self.assertEqual([list(call) for call in manager.calls("ShowFolders")], [[[base], ""]])

    def test_have_their_folder_opened_without_a_file_manager(self):
        self.driver = self.start_driver(PATIENCE="0.5")
        (self.folder / "Ä %20 #").mkdir()
        self.show(self.file("Ä %20 #/x"), "t1")
        self.assertEqual(self.desk.opened(), [str(self.folder / "Ä %20 #"), "t1", "t1"])
        self.desk.play_file_manager().hang()
        self.show(self.folder / "gone")
        self.show(self.folder / "no folder/gone")
        self.assertEqual(self.desk.opened(), [str(self.folder), "", ""])
        end(self.desk.daemon)
        self.show(self.folder / "gone")
        self.assertEqual(self.desk.opened()[0], str(self.folder))

    def test_are_opened_by_the_desktop_which_may_have_no_program(self):
        file = self.file("a b;c.txt")
        for what, given, status, problem in (
            (file.as_uri(), str(file), 0, None),
            (file.as_uri(), str(file), 2, "a b;c.txt couldn't be opened: there's no program for it."),
            (f"file://{self.folder}/gone.iso", f"{self.folder}/gone.iso", 4,
             "gone.iso couldn't be opened: it isn't there anymore."),
            ("http://a.example/b?c", "http://a.example/b?c", 3,
             "http://a.example/b?c couldn't be opened: there's no program for it."),
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
        self.driver = self.start_driver(PATH="/nowhere")
        self.driver.do("open", what=file.as_uri())
        self.assertEqual(self.driver.next("problem"), "a b;c.txt couldn't be opened: xdg-open isn't installed.")

    def throw_away(self, path):
        """Why it couldn't, or nothing."""
        self.driver.do("trash", file=str(path))
        return self.driver.next("trashed")

    def test_can_be_put_back_from_the_wastebasket(self):
        file = self.file("größe %1.iso")
        trash = self.desk.folder / "share/Trash"
        self.assertEqual(self.throw_away(file), "")
        self.assertFalse(file.exists())
        self.assertEqual((trash / "files" / file.name).read_text(), "bytes")
        self.assertTrue((trash / f"info/{file.name}.trashinfo").exists())
        self.assertEqual(self.throw_away(file), "", "gone already")
        self.assertNotEqual(self.throw_away("/proc/self/status"), "")
        trash.parent.rename(self.folder / "elsewhere")
        trash.parent.write_text("no folder")
        file = self.file("stays")
        self.assertEqual(self.throw_away(file), "There's no wastebasket.")
        self.assertTrue(file.exists())


if __name__ == "__main__":
    unittest.main()
