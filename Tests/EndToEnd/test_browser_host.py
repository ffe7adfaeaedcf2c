# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""The host that browsers start, as they start it, with somebody hostile at the other end."""

import json
import os
import random
import shutil
import struct
import subprocess
import unittest

from harness import Test, programs, start, wait_for

CALLER = "chrome-extension://knnpebancpjofcjmcbkfjlanglkbgcfl/"
OFFER = {"type": "offer", "offer": "a1", "by": "menu", "link": "http://127.0.0.1/a", "size": 1, "name": "a",
         "cookies": [{"name": "a", "value": "b", "domain": "h", "path": "/", "secure": True, "httpOnly": True,
                      "hostOnly": True}]}


def framed(message):
    return struct.pack("=I", len(message)) + message


def garbage(chance):
    """A message that offers nothing which can be downloaded."""
    offer = json.loads(json.dumps(OFFER))
    spoilt = [lambda: chance.randbytes(chance.randrange(300)),
              lambda: json.dumps(chance.choice([[], 1, None, "offer", [OFFER], {"type": OFFER}])).encode(),
              lambda: json.dumps(OFFER).encode()[:-1 - chance.randrange(200)],
              lambda: b"[" * chance.randrange(100_000 if chance.random() < 0.01 else 100),
              lambda: json.dumps({**offer, "link": chance.choice(
                  ["file:///etc/passwd", "/bin/sh", "ftp://h/a", "fluvane:add?url=http://h/", "http://", 1, None, "",
                   "http://h/\n", "http://h/\0", ["http://h/"], "x" * 70_000])}).encode(),
              lambda: json.dumps({**offer, "type": chance.choice(["add", "--open", "", "remove", "settings"])}).encode(),
              lambda: json.dumps({**offer, chance.choice(["offer", "by"]): chance.choice(
                  ["", "../a", "a" * 65, 1, {}, "a b"])}).encode(),
              lambda: json.dumps({**offer, "name": chance.choice(["/etc/passwd", "../../a", "..", 5])}).encode()]
    return chance.choice(spoilt)()


class BrowserHost(Test):
    def setUp(self):
        super().setUp()
        # Beside an application that leaves a mark when it is started.
        shutil.copy(programs / "fluvane-browser", self.folder)
        self.started = self.folder / "started"
        (self.folder / "fluvane").write_text(f"#!/bin/sh\necho $$ >{self.started}\n")
        (self.folder / "fluvane").chmod(0o755)
        self.environment = {**os.environ, "HOME": str(self.folder), "XDG_DATA_HOME": str(self.folder / "data")}

    def host(self, *arguments, said=None, **options):
        return subprocess.run([self.folder / "fluvane-browser", *arguments], env=self.environment, input=said,
                              capture_output=True, timeout=60, **options)

    def test_garbage_starts_nothing(self):
        chance = random.Random(13)
        said = b"".join(framed(garbage(chance)) for _ in range(10_000))
        for name, bytes_ in (("many", said), ("too long", struct.pack("=I", 1 << 31) + framed(json.dumps(OFFER).encode())),
                             ("cut off", framed(json.dumps(OFFER).encode())[:-1])):
            with self.subTest(name):
                done = self.host(CALLER, said=bytes_)
                self.assertEqual((done.returncode, done.stderr), (0, b""))
                self.assertNotIn(b"agreed", done.stdout)
                self.assertFalse(self.started.exists())

    def test_what_makes_sense_does(self):
        process = start([self.folder / "fluvane-browser", CALLER], self.environment, stdin=subprocess.PIPE)
        process.stdin.write(framed(json.dumps(OFFER).encode()))
        process.stdin.flush()
        wait_for(self.started.exists, "the application is started")
        process.stdin.close()
        self.assertEqual(process.wait(10), 0)

    def test_nobody_else_is_served(self):
        for arguments, status in (((), 2), (("chrome-extension://other/",), 2), (("--help",), 0), (("--version",), 0)):
            with self.subTest(arguments):
                self.assertEqual(self.host(*arguments, said=framed(json.dumps(OFFER).encode())).returncode, status)
                self.assertFalse(self.started.exists())

    def test_it_tells_the_browsers_where_it_is(self):
        wrote = self.host("--install")
        self.assertEqual(wrote.returncode, 0, wrote.stderr)
        files = [line.removeprefix("Wrote ") for line in wrote.stdout.decode().splitlines()]
        for file in files:
            with open(file, encoding="utf-8") as manifest:
                self.assertEqual(json.load(manifest)["path"], str(self.folder / "fluvane-browser"))
        self.assertEqual(self.host("--uninstall").returncode, 0)
        self.assertFalse(any(os.path.exists(file) for file in files))


if __name__ == "__main__":
    unittest.main()
