# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""A file comes over 2, 4, then 8 connections and is the same in the end."""

import os
import unittest

from harness import MB, EndToEnd, sha256, wait_for


class Growth(EndToEnd):
    locations = {"/": 4 * MB}

    def test_connections_come_up_while_they_help(self):
        # So big that no piece ends, and no measuring begins anew, before 8 connections run.
        size = (1 << 30) if os.environ.get("FLUVANE_BIG") else 240 * MB
        original = self.server.make_file("big.bin", size)
        self.application.start()
        number = self.application.add(self.server.link("/big.bin"), "--checksum", sha256(original))
        seen = []

        def step():
            entry = self.application.download(number)
            if entry["state"] == "downloading" and entry["connections"] not in seen:
                seen.append(entry["connections"])
            return entry["state"] == "finished"
        wait_for(step, "the file is in", 120, 0.02)

        targets = [count for count in seen if count in (2, 4, 8)]
        self.assertEqual(targets[:3], [2, 4, 8], seen)
        self.assertLessEqual(max(seen), 8)
        entry = self.application.finished(number)
        self.assertTrue(entry["checksumMatches"])
        self.assert_identical(entry["file"], original)
        self.assertFalse(list(self.application.downloads.glob("*.fluvane")))


if __name__ == "__main__":
    unittest.main()
