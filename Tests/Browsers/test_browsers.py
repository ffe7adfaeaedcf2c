# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""Real browsers, the extension, the host and the application together: wherever it ends, a file arrives exactly once, in
Fluvane or in the browser, whole. `/usr/bin/python3 Tests/Browsers/test_browsers.py <build folder> [Firefox | Chromium]`"""

import contextlib
import hashlib
import json
import os
import pathlib
import random
import signal
import sys
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "EndToEnd"))

from harness import Application, free_port, scene, wait_for  # noqa: E402

import awkward  # noqa: E402
import drive  # noqa: E402

DIGEST = hashlib.sha256(awkward.BODY).digest()
FLUVANE, BROWSER = "Fluvane", "the browser"


class Desktop(Application):
    """With windows that nobody sees, as without any it takes no offers."""

    arguments = ("--background",)

    def __init__(self, folder):
        super().__init__(folder, {"QT_QPA_PLATFORM": "offscreen", "HOME": str(folder)})
        self.settings = self.folder / "config/Fluvane/settings.json"
        self.settings.parent.mkdir(parents=True)
        self.configure(startOffersAtOnce=True)

    def configure(self, **settings):
        """To be read at the next start."""
        chosen = {"folder": str(self.downloads), "hasCompletedOnboarding": True, **settings}
        self.settings.write_text(json.dumps({"application": "Fluvane", "version": "0.1.0", "built": "2026-01-01",
                                             "settings": chosen}))

    def own(self):
        """The processes of this application, whoever has started them."""
        mark = f"XDG_DATA_HOME={self.environment['XDG_DATA_HOME']}".encode()
        for entry in pathlib.Path("/proc").iterdir():
            with contextlib.suppress(OSError):
                if entry.name.isdigit() and mark in (entry / "environ").read_bytes().split(b"\0") \
                        and pathlib.Path(os.readlink(entry / "exe")).name == "fluvane":
                    yield int(entry.name)

    def kill_all(self):
        def is_gone():  # a host may start it once more
            left = list(self.own())
            for pid in left:
                with contextlib.suppress(ProcessLookupError):
                    os.kill(pid, signal.SIGKILL)
            return not left
        wait_for(is_gone, "it is gone")
        if self.process:
            self.process.wait()
        self.process = None

    def restart(self, **settings):
        self.kill_all()
        self.configure(**settings)
        return self.start()


class Cases:
    """For one browser after the other; each starts once."""

    @classmethod
    def setUpClass(cls):
        cls.folder = cls.enterClassContext(scene())
        cls.site = cls.enterClassContext(awkward.Site(free_port()))
        cls.application = Desktop(cls.folder / "app")
        cls.addClassCleanup(cls.application.kill_all)
        cls.browser = cls.enterClassContext(cls.kind(cls.folder / "browser", cls.application.environment)).start()
        cls.browser.choose_everything()

    @contextlib.contextmanager
    def case(self, name, **settings):
        """With an application that begins whatever it is offered, or with these settings."""
        with self.subTest(name):
            if settings or not list(self.application.own()):
                self.application.restart(**(settings or {"startOffersAtOnce": True}))
            try:
                yield
            finally:
                for file in (file for place in self.places.values() for file in place.iterdir()):
                    file.unlink()
                if settings:
                    self.application.kill_all()

    @property
    def places(self):
        return {FLUVANE: self.application.downloads, BROWSER: self.browser.downloads}

    def click(self, case, hurry=True):
        """With a browser that is through in some seconds, or slow enough to be overtaken."""
        self.site.speed = 2_000_000 if hurry else 150_000
        self.browser.open(self.site.link())
        self.browser.run(f"document.getElementById('{case}').click()")

    def arrived(self, seconds=40):
        """Who has got the file, when nothing is going on anymore."""
        def whole():
            return [who for who, place in self.places.items() for file in place.iterdir()
                    if file.stat().st_size == awkward.SIZE and hashlib.sha256(file.read_bytes()).digest() == DIGEST
                    and file.suffix == ".bin"]
        def is_quiet():
            return whole() and not self.browser.hosts() and not self.unfinished()
        try:
            wait_for(is_quiet, "the file arrives", seconds, 0.1)
        except AssertionError as problem:
            raise AssertionError(f"{problem}: {self.files()}, hosts {self.browser.hosts()}") from None
        self.assertLessEqual(sum(len(names) for names in self.files().values()), 1, self.files())
        return whole()[0]

    def unfinished(self):
        return [name for names in self.files().values() for name in names if not name.endswith(".bin")]

    def files(self):
        return {who: {file.name: file.stat().st_size for file in place.iterdir()} for who, place in self.places.items()}

    def asked(self, path):
        return [headers for _, asked, headers in self.site.asked if asked.startswith(path)]

    def test_each_kind_of_link(self):
        for link, where in {"plain": FLUVANE, "attribute": FLUVANE, "cookie": FLUVANE, "redirect": FLUVANE, "signed": FLUVANE,
                            "answers-late": FLUVANE, "single": BROWSER, "page": BROWSER, "post": BROWSER,
                            "blob": BROWSER}.items():
            with self.case(link):
                self.click(link, hurry=where == BROWSER)
                self.assertEqual(self.arrived(), where)

    def test_a_site_is_left_to_the_browser(self):
        with self.case("left"):
            self.browser.leave("Http://127.0.0.1:80/", "example.org")
            before = len(self.site.asked)
            self.click("plain")
            self.assertEqual(self.arrived(), BROWSER)
            self.assertNotIn("HEAD", [method for method, *_ in self.site.asked[before:]], "it wasn't offered")
        self.browser.leave()

    def test_the_menu_opens_new_download(self):
        with self.case("menu", startOffersAtOnce=True):
            before = len(self.application.list())
            self.browser.open(self.site.link())
            self.browser.choose_in_menu("cookie", self.site.link())
            wait_for(lambda: "/cookie/file.bin" in self.shown(), "the link is there")
            self.browser.run("getSelection().selectAllChildren(document.body)")
            self.browser.choose_in_menu(None, self.site.link())
            wait_for(lambda: all(f"/{one}/file.bin" in self.shown() for one in ("cookie", "signed")), "the links are there")
            self.assertEqual(len(self.application.list()), before, "nothing begins by itself")

    def shown(self):
        """What is in New Download."""
        windows = json.loads(self.application.command("state"))["windows"]
        return next((json.dumps(window) for window in windows if window["name"] == "new-download"), "")

    def test_nobody_answers_in_time(self):
        with self.case("late", startOffersAtOnce=False):
            self.click("plain", hurry=False)
            wait_for(self.browser.hosts, "it is offered")
            wait_for(lambda: not self.browser.hosts(), "it is given up", 32, 0.1)
            self.assertEqual(len(self.unfinished()), 1, "the browser goes on")
            self.site.speed = 2_000_000
            self.assertEqual(self.arrived(), BROWSER)

    def test_fluvane_is_not_there(self):
        with self.case("refuses", offerSites={"127.0.0.1": False}):
            self.click("plain")
            self.assertEqual(self.arrived(), BROWSER)
        with self.case("isn't installed"):
            self.browser.tell_host("--uninstall")
            self.addCleanup(self.browser.tell_host)
            self.click("plain")
            self.assertEqual(self.arrived(), BROWSER)
            self.browser.tell_host()
        with self.case("doesn't run"):
            self.application.kill_all()
            self.click("plain", hurry=False)
            self.assertEqual(self.arrived(), FLUVANE)

    def test_the_host_is_killed(self):
        chance = random.Random(13)
        for after in (chance.uniform(0.05, 1.0) for _ in range(4)):
            # Fluvane takes longer than it waits for somebody to ask about the offer.
            with self.case(f"after {after:.2f} s", startOffersAtOnce=True, speedLimit=1_000_000):
                self.click("plain")
                time.sleep(after)  # any moment is as good
                for pid in self.browser.hosts():
                    os.kill(pid, signal.SIGKILL)
                self.arrived()

    def test_fluvane_is_killed(self):
        """Killed between its own beginning and the word to the browser, it stands still until it is told who has it."""
        chance = random.Random(13)
        for after in (chance.uniform(0.05, 1.0) for _ in range(4)):
            with self.case(f"after {after:.2f} s"):
                self.click("plain")
                time.sleep(after)
                self.application.kill_all()
                self.application.start()
                self.arrived()

    def test_the_browser_is_killed(self):
        chance = random.Random(31)
        for after in (chance.uniform(0.2, 1.5) for _ in range(3)):
            with self.case(f"after {after:.2f} s"):
                self.click("plain")
                time.sleep(after)
                self.browser.kill()
                self.browser.start()
                # What it hadn't handed over is its own to carry on with; what Fluvane has been given, that finishes.
                wait_for(lambda: not self.browser.hosts() and all(
                    entry["state"] in ("finished", "paused") for entry in self.application.list()), "it is settled", 40, 0.1)
                # Twice where it was killed before its word of that was on the disk and Fluvane was through already.
                self.assertTrue(any(awkward.SIZE in names.values() for names in self.files().values()) or self.unfinished(),
                                "somebody has it, or can carry on")


class InChromium(Cases, unittest.TestCase):
    kind = drive.Chromium


class InFirefox(Cases, unittest.TestCase):
    kind = drive.Firefox


if __name__ == "__main__":
    unittest.main(verbosity=2)
