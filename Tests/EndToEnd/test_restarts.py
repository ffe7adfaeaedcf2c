# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""Kills, restarts and a clean end: no byte is lost that was known to be saved, and none is wrong."""

import json
import os
import unittest

from harness import MB, EndToEnd

RATE = 4 * MB
# A save at most every 2 s, and the time that syncing and writing take.
SAVED_EVERY = 2.5


class Restarts(EndToEnd):
    locations = {"/": RATE}

    def test_carries_on_after_being_killed(self):
        size = (1 << 30) if os.environ.get("FLUVANE_BIG") else 120 * MB
        original = self.server.make_file("big.bin", size)
        self.application.start()
        number = self.application.add(self.server.link("/big.bin"))
        allowed = 0
        for part in (0.05, 0.2, 0.45, 0.8):
            self.application.downloaded(number, int(size * part))
            before = self.application.download(number)
            self.application.kill()
            allowed += SAVED_EVERY * RATE * max(before["connections"], 1)
            self.application.start()
        entry = self.application.finished(number, 300)
        self.assert_identical(entry["file"], original)
        self.server.stop()  # so that every request is in its log
        again = self.server.sent() - size
        # What a connection whose end was cut off had on its way comes on top.
        self.assertLessEqual(again, allowed + 4 * MB, "bytes fetched twice")

    def test_ends_cleanly_and_carries_on(self):
        original = self.server.make_file("big.bin", 30 * MB)
        self.application.start()
        number = self.application.add(self.server.link("/big.bin"))
        self.application.downloaded(number, 8 * MB)
        self.assertNotIn("error", self.application.command("log"), "there is no bus, which is no error")
        self.assertEqual(self.application.stop(), 0)
        saved = json.loads(self.application.list_file.read_text())["downloads"][0]
        self.assertEqual(list(saved["state"]), ["downloading"])
        self.assertGreaterEqual(sum(piece["done"] for piece in saved["pieces"]), 8 * MB)
        self.assertFalse(os.path.exists(self.application.socket))
        self.application.start()
        self.assert_identical(self.application.finished(number)["file"], original)
        self.server.stop()
        self.assertLessEqual(self.server.sent() - 30 * MB, 4 * MB, "bytes fetched twice")


if __name__ == "__main__":
    unittest.main()
