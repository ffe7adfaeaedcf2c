# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""What becomes of a finished file: its name, its origin, its checksum; several downloads at once, and one over several
connections."""

import contextlib
import os
import time
import unittest

from harness import MB, EndToEnd, sha256, wait_for


class Finishing(EndToEnd):
    locations = {"/slow/": 1 * MB, "/": 0}

    def setUp(self):
        super().setUp()
        self.original = self.server.make_file("file.bin", 5 * MB)

    def test_nothing_is_ever_replaced(self):
        folder = self.application.downloads
        (folder / "file.bin").write_text("mine")
        (folder / "file (2).bin").symlink_to("nowhere")
        self.application.start()
        numbers = [self.application.add(self.server.link("/slow/file.bin")) for _ in range(3)]
        taken = folder / "file (1).bin"
        with open(taken, "x") as file:
            file.write("taken while it came in")
        files = {self.application.finished(number)["file"] for number in numbers}
        self.assertEqual(len(files), 3)
        for file in files:
            self.assert_identical(file, self.original)
        self.assertEqual((folder / "file.bin").read_text(), "mine")
        self.assertEqual(taken.read_text(), "taken while it came in")
        self.assertEqual(os.readlink(folder / "file (2).bin"), "nowhere")
        self.assertEqual(len(list(folder.iterdir())), 6)

    def test_a_checksum_is_compared_and_the_origin_noted_without_a_password(self):
        self.application.start()
        link = self.server.link("/file.bin")
        right = self.application.add(link.replace("//", "//user:secret@"), "--checksum", sha256(self.original))
        wrong = self.application.add(link, "--checksum", "0" * 40)
        for number, status in ((right, 0), (wrong, 1)):
            watched = self.application.client(str(number), program="fluvane-watch")
            self.assertEqual(watched.returncode, status, watched)
        self.assertIn("doesn't match", watched.stderr)
        self.assertFalse(self.application.download(wrong)["checksumMatches"])
        self.assertEqual(self.application.command("checksum", str(wrong), sha256(self.original)),
                         "Checking the finished file")
        wait_for(lambda: self.application.download(wrong).get("checksumMatches"), "the second look matches")
        with contextlib.suppress(OSError):  # not every file system has extended attributes
            os.setxattr(self.application.downloads, "user.fluvane.test", b"1")
            self.assertIn("user.xdg.origin.url", os.listxattr(self.application.download(right)["file"]))
            origin = os.getxattr(self.application.download(right)["file"], "user.xdg.origin.url")
            self.assertEqual(origin.decode(), link)

    def test_tiny_files(self):
        self.application.start()
        for size in (0, 1):
            original = self.server.make_file(f"of-{size}", size)
            number = self.application.add(self.server.link(f"/of-{size}"))
            self.assert_identical(self.application.finished(number)["file"], original)

    def test_a_shared_limit_holds_and_all_get_on(self):
        self.server.make_file("big.bin", 200 * MB)
        self.application.start()
        self.assertEqual(self.application.command("limit", "3"), "Up to 3 MB/s")
        numbers = [self.application.add(self.server.link("/big.bin")) for _ in range(3)]
        received = lambda: [entry["downloaded"] for entry in self.application.list()]
        wait_for(lambda: all(count > 0 for count in received()) and sum(received()) > 6 * MB, "all have begun")
        began, before = time.monotonic(), received()
        wait_for(lambda: sum(received()) - sum(before) > 15 * MB, "five seconds' bytes", interval=0.1)
        rate = (sum(received()) - sum(before)) / (time.monotonic() - began)
        # Progress is told some times a second, so a look can be off by a part of a second's bytes.
        self.assertAlmostEqual(rate / (3 * MB), 1, delta=0.1)
        for number, was, now in zip(numbers, before, received()):
            self.assertGreater(now, was, f"download {number} stands still")


class Growth(EndToEnd):
    locations = {"/": 4 * MB}

    def test_connections_come_up_while_they_help(self):
        # So big that no piece ends, and no measuring begins anew, before 8 connections run.
        size = (1 << 30) if os.environ.get("FLUVANE_BIG") else 240 * MB
        original = self.server.make_file("big.bin", size)
        self.application.start()
        number = self.application.add(self.server.link("/big.bin"))
        seen = []

        def step():
            entry = self.application.download(number)
            if entry["state"] == "downloading" and entry["connections"] not in seen:
                seen.append(entry["connections"])
            return entry["state"] == "finished"
        wait_for(step, "the file is in", 120, 0.02)
        self.assertEqual([count for count in seen if count in (2, 4, 8)][:3], [2, 4, 8], seen)
        self.assertLessEqual(max(seen), 8)
        self.assert_identical(self.application.finished(number)["file"], original)
        self.assertFalse(list(self.application.downloads.glob("*.fluvane")))


if __name__ == "__main__":
    unittest.main()
