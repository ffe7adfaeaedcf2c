# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""By what a server knows who asks: it opens the file, reaches nobody else, and is nowhere but where it is kept."""

import contextlib
import os
import pathlib
import stat
import unittest

from harness import MB, Application, Server, Test, wait_for

SECRETS = {kind: f"secret{kind}7e31" for kind in ("cookie", "header", "token", "agent")}
KNOWN = (f'if ($cookie_sid != {SECRETS["cookie"]}) {{ return 403; }} if ($http_x_key != {SECRETS["header"]}) '
         f'{{ return 403; }} if ($http_authorization != "Bearer {SECRETS["token"]}") {{ return 403; }} '
         f'if ($http_user_agent != {SECRETS["agent"]}) {{ return 403; }}')


def has_secret(text, but=()):
    return [kind for kind, secret in SECRETS.items() if kind not in but and secret in text]


class Sessions(Test):
    def setUp(self):
        super().setUp()
        self.other = self.enterContext(Server(self.folder / "other", {"/": 2 * MB}, address="127.0.0.2"))
        self.server = self.enterContext(Server(self.folder / "server", {
            "/": KNOWN + f"limit_rate {2 * MB};", "/go/": KNOWN + f"return 302 {self.other.link('/away.bin')};"}))
        self.application = self.use(Application(self.folder / "app", {"FLUVANE_LOG": "debug"}))
        (self.folder / "cookies.txt").write_text(
            f"# Netscape HTTP Cookie File\n#HttpOnly_127.0.0.1\tFALSE\t/\tFALSE\t0\tsid\t{SECRETS['cookie']}\n")
        (self.folder / "headers").write_text(f"X-Key: {SECRETS['header']}\nAuthorization: Bearer {SECRETS['token']}\n")

    def add(self, path):
        added = self.application.client(
            "add", self.server.link(path), "--to", self.application.downloads, "--cookies", "cookies.txt", "--header",
            "@headers", "--user-agent", SECRETS["agent"], cwd=self.folder)
        self.assertEqual(added.returncode, 0, added)
        return int(added.stdout.split()[-1])

    def kept(self):
        return list((self.application.runtime / "fluvane").glob("*"))

    def assert_nowhere(self):
        """But in the file for it, which is its owner's alone."""
        for file in self.application.folder.rglob("*"):
            if file.is_file() and self.application.runtime not in file.parents:
                self.assertFalse(has_secret(file.read_bytes().decode(errors="replace")), file)
                for name in os.listxattr(file):
                    self.assertFalse(has_secret(os.getxattr(file, name).decode(errors="replace")), (file, name))
        for command in ("log", "diagnostics", "list", "export", "state"):
            self.assertFalse(has_secret(self.application.ask(command)[1]), command)
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            for name in ("cmdline", "environ"):
                with contextlib.suppress(OSError):  # it has ended, or is another user's
                    self.assertFalse(has_secret((process / name).read_bytes().decode(errors="replace")), process)

    def test_a_file_behind_a_session_comes_whole_after_a_kill_and_nothing_leaks(self):
        original = self.server.make_file("file.bin", 30 * MB)
        self.application.start()
        number = self.add("/file.bin")
        wait_for(lambda: self.application.download(number)["connections"] > 1, "several connections")
        self.application.downloaded(number, 5 * MB)
        [file] = self.kept()
        self.assertEqual(sorted(has_secret(file.read_text())), sorted(SECRETS))
        self.assertEqual([stat.S_IMODE(path.stat().st_mode) for path in (file, file.parent)], [0o600, 0o700])
        self.assert_nowhere()
        self.application.kill()
        self.application.start()
        self.assert_identical(self.application.finished(number)["file"], original)
        self.assert_nowhere()
        self.assertEqual(self.kept(), [], "it is forgotten with the download")
        self.assertEqual({line.split()[0] for line in self.server.asked()} - {"206", "499"}, set())

    def test_another_host_sees_nothing_of_it(self):
        original = self.other.make_file("away.bin", 20 * MB)
        self.application.start()
        self.assert_identical(self.application.finished(self.add("/go/x"))["file"], original)
        asked = self.other.asked()
        self.assertGreater(len(asked), 2, "pieces were asked for straight")
        for line in asked:
            self.assertFalse(has_secret(line, but=("agent",)), line)
        self.assert_nowhere()

    def test_without_what_was_kept_a_fresh_link_is_waited_for(self):
        self.server.make_file("file.bin", 30 * MB)
        self.application.start()
        number = self.add("/file.bin")
        self.application.downloaded(number, 5 * MB)
        self.application.kill()
        self.kept()[0].unlink()  # as the end of the machine does
        self.application.start()
        wait_for(lambda: self.application.state(number) == "link-expired", "it waits")
        self.assertNotIn("403", [line.split()[0] for line in self.server.asked()])


if __name__ == "__main__":
    unittest.main()
