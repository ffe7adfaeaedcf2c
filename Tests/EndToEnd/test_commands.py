# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""The client as a user meets it: what it says, where, and with which exit status; and that what is asked for holds."""

import contextlib
import os
import signal
import socket
import struct
import subprocess
import time
import unittest

from harness import MB, EndToEnd, programs, start, wait_for

NOT_RUNNING = "Fluvane isn't running.\n"


class Commands(EndToEnd):
    locations = {"/slow/": 1 * MB, "/": 0}

    def check(self, arguments, status, output="", error="", **options):
        result = self.application.client(*arguments, **options)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (status, output, error))

    def test_beside_the_application(self):
        for number in (1, 2):
            self.server.make_file(f"part{number}.zip", 100)
        (self.folder / "links.txt").write_text(f"Get these: <{self.server.link('/part[1-2].zip')}>.\nNot ftp://host/x.\n")
        self.application.start()
        self.check(["add", "links.txt", "--to", "in"], 0, "Added download 1\nAdded download 2\n", cwd=self.folder)
        self.assertEqual(self.application.client("1", "2", program="fluvane-watch").returncode, 0)
        self.assertEqual([entry["file"] for entry in self.application.list()],
                         [f"{self.folder}/in/part{number}.zip" for number in (1, 2)])
        self.check(["pause", "all"], 0)
        self.assertNotIn("error", self.application.command("log"), "there is no bus, which is no error")

    def test_add_starts_the_application(self):
        self.server.make_file("file.bin", 1000)
        self.check(["list"], 1, error=NOT_RUNNING)
        self.check([], 1, error=NOT_RUNNING, program="fluvane-watch")
        # Its caller may ignore its children, as do theirs after them.
        self.check(["add", self.server.link("/file.bin"), "--to", str(self.folder)], 0, "Added download 1\n",
                   preexec_fn=lambda: signal.signal(signal.SIGCHLD, signal.SIG_IGN))
        with socket.socket(socket.AF_UNIX) as connection:
            connection.connect(self.application.socket)
            pid = struct.unpack("3i", connection.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, 12))[0]
        self.application.finished(1)
        os.kill(pid, signal.SIGTERM)
        self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]), 0)
        self.assertFalse(os.path.exists(self.application.socket))

    def test_watching_in_a_terminal(self):
        self.server.make_file("slow.bin", 50 * MB)
        self.application.start()
        self.application.add(self.server.link("/slow/slow.bin"))
        output = self.folder / "shown"
        with open(output, "wb") as file:
            watch = start(["script", "-qec", programs / "fluvane-watch", "/dev/null"],
                          self.application.environment | {"TERM": "xterm", "LC_ALL": "C.UTF-8"}, stdin=subprocess.PIPE,
                          stdout=file, bufsize=0)
        wait_for(lambda: "connection" in output.read_text(errors="replace"), "the download is shown")
        with watch.stdin as keys:
            keys.write(b"\x03")
            self.assertEqual(watch.wait(20), 130)
        self.assertTrue(output.read_bytes().endswith(b"\x1b[?7h\x1b[?25h"), "the cursor comes back")
        self.assertIn("slow.bin", output.read_text(errors="replace"))

    def test_a_checksum_is_compared_and_the_origin_noted_without_a_password(self):
        self.server.make_file("file.bin", 5 * MB)
        self.application.start()
        link = self.server.link("/file.bin")
        self.application.add(link.replace("//", "//user:secret@"), "--checksum", "0" * 40)
        watched = self.application.client("1", program="fluvane-watch")
        self.assertEqual(watched.returncode, 1, watched)
        self.assertIn("doesn't match", watched.stderr)
        with contextlib.suppress(OSError):  # not every file system has extended attributes
            os.setxattr(self.application.downloads, "user.fluvane.test", b"1")
            file = self.application.download(1)["file"]
            self.assertIn("user.xdg.origin.url", os.listxattr(file))
            self.assertEqual(os.getxattr(file, "user.xdg.origin.url").decode(), link)

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


if __name__ == "__main__":
    unittest.main()
