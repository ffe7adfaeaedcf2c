# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""The client as a user meets it: what it says, where, and with which exit status."""

import os
import signal
import socket
import struct
import subprocess
import unittest

from harness import MB, EndToEnd, programs, start, wait_for

NOT_RUNNING = "Fluvane isn't running.\n"


class Commands(EndToEnd):
    locations = {"/slow/": 1 * MB, "/": 0}

    def check(self, arguments, status, output="", error=""):
        with self.subTest(arguments=arguments):
            result = self.application.client(*arguments)
            self.assertEqual((result.returncode, result.stdout, result.stderr), (status, output, error))

    def test_without_the_application(self):
        self.check(["list"], 1, error=NOT_RUNNING)
        self.check(["Foo"], 2, error="Unknown command 'Foo'. Try: fluvane help\n")
        watched = self.application.client(program="fluvane-watch")
        self.assertEqual((watched.returncode, watched.stderr), (1, NOT_RUNNING))

    def test_beside_the_application(self):
        for number in (1, 2):
            self.server.make_file(f"part{number}.zip", 100)
        (self.folder / "links.txt").write_text(f"Get these: <{self.server.link('/part[1-2].zip')}>.\nNot ftp://host/x.\n")
        self.application.start()
        result = self.application.client("add", "links.txt", "--to", "in", cwd=self.folder)
        self.assertEqual((result.returncode, result.stdout), (0, "Added download 1\nAdded download 2\n"), result)
        files = [self.application.finished(number)["file"] for number in (1, 2)]
        self.assertEqual(files, [f"{self.folder}/in/part{number}.zip" for number in (1, 2)])
        before = self.application.command("list")
        for arguments, status, output, error in (
            (["add", "ftp://host/file"], 1, "", "Give at least one http or https link: fluvane add <link>\n"),
            (["remove", "all"], 1, "", "No download all. `fluvane list` shows their numbers.\n"),
            (["limit", "0,5"], 0, "Up to 500 KB/s\n", ""),
            (["limit", "OFF"], 0, "No limit\n", ""),
            (["pause", "all"], 0, "", ""),
        ):
            self.check(arguments, status, output, error)
        self.assertEqual(self.application.command("list"), before, "nothing came of any of it")

    def test_add_starts_the_application(self):
        self.server.make_file("file.bin", 1000)
        # Its caller may ignore its children, as do theirs after them.
        result = self.application.client("add", self.server.link("/file.bin"), "--to", str(self.folder),
                                         preexec_fn=lambda: signal.signal(signal.SIGCHLD, signal.SIG_IGN))
        self.assertEqual((result.returncode, result.stdout), (0, "Added download 1\n"), result)
        with socket.socket(socket.AF_UNIX) as connection:
            connection.connect(self.application.socket)
            pid = struct.unpack("3i", connection.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, 12))[0]
        self.application.finished(1)
        os.kill(pid, signal.SIGTERM)
        self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]), 0)
        self.assertFalse(os.path.exists(self.application.socket))
        self.check(["list"], 1, error=NOT_RUNNING)

    def test_watching_in_a_terminal(self):
        self.server.make_file("slow.bin", 50 * MB)
        self.application.start()
        number = self.application.add(self.server.link("/slow/slow.bin"))
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
        self.application.command("pause", str(number))
        paused = self.application.client(str(number), program="fluvane-watch")
        self.assertEqual(paused.returncode, 1)
        self.assertEqual(paused.stderr, "Download 1 is paused. `fluvane resume 1` carries on with it.\n")


if __name__ == "__main__":
    unittest.main()
