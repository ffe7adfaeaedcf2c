# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""The files beside the programs, as they are installed: each is taken by the tool that reads it, and each knows
the commands that the program knows."""

import base64
import configparser
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import unittest

from harness import Application, free_port, programs, scene

HOSTILE = 'it\'s "a$(touch pwned)`\\;*.bin'


def run(*command, **options):
    return subprocess.run([str(part) for part in command], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, timeout=60, **options)


def entry(path):
    parser = configparser.ConfigParser(interpolation=None, strict=True)
    parser.optionxform = str
    parser.read(path, encoding="utf-8")
    return parser


class Shipped(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = cls.enterClassContext(scene())
        cls.prefix = cls.folder / "installed"
        installed = run("cmake", "--install", programs, "--prefix", cls.prefix)
        if installed.returncode != 0:
            raise AssertionError(installed.stdout)
        cls.share = cls.prefix / "share"
        cls.program = cls.prefix / "bin/fluvane"
        cls.commands = sorted({"help", *re.findall(r"^  ([a-z-]+)", run(cls.program, "help").stdout, re.MULTILINE)})
        # For completions: a running application that has a download with an awkward name.
        application = cls.enterClassContext(Application(cls.folder / "app")).start()
        application.add(f"http://127.0.0.1:{free_port()}/one%22%20%5C.iso")
        cls.here = cls.folder / "here"
        (cls.here / "folder").mkdir(parents=True)
        (cls.here / HOSTILE).write_text("")
        cls.environment = {**application.environment, "HOME": str(cls.folder), "LC_ALL": "C.UTF-8",
                           "PATH": f"{cls.prefix / 'bin'}:{os.environ['PATH']}"}

    def test_the_tool_that_reads_a_file_takes_it(self):
        share = self.share
        manuals = list((share / "man/man1").glob("*.gz"))
        self.assertEqual(len(manuals), 3)
        rows = [("desktop-file-validate", share / "applications/org.fluvane.Fluvane.desktop"),
                ("appstreamcli", "validate", "--no-net", "--strict",
                 share / "metainfo/org.fluvane.Fluvane.metainfo.xml"),
                ("bash", "-n", share / "bash-completion/completions/fluvane"),
                ("zsh", "-n", share / "zsh/vendor-completions/_fluvane"),
                ("fish", "-n", share / "fish/vendor_completions.d/fluvane.fish"),
                ("sh", "-n", share / "fluvane/scripts/download-with-fluvane"),
                *(("sh", "-c", 'man --warnings -E UTF-8 -l -Tutf8 "$0" >"$0.txt"', path) for path in manuals)]
        for command in rows:
            with self.subTest(command):
                result = run(*command, env={**os.environ, "LC_ALL": "C.UTF-8"})
                said = "" if command[0] == "appstreamcli" else result.stdout.strip()
                self.assertEqual((result.returncode, said), (0, ""), result.stdout)

    def test_browsers_are_told_of_the_host_and_the_extension(self):
        extension = json.loads((self.share / "webext/fluvane/manifest.json").read_text())
        digest = hashlib.sha256(base64.b64decode(extension["key"])).hexdigest()[:32]
        number = digest.translate(str.maketrans("0123456789abcdef", "abcdefghijklmnop"))
        written = run(self.prefix / "bin/fluvane-browser", "--install", env={"HOME": self.folder}).stdout
        firefox, chromium = (line.removeprefix("Wrote ") for line in written.splitlines())
        for shipped, by_user, caller in (
                ("lib/mozilla", firefox, ("allowed_extensions", extension["browser_specific_settings"]["gecko"]["id"])),
                ("etc/chromium", chromium, ("allowed_origins", f"chrome-extension://{number}/"))):
            with self.subTest(shipped):
                manifest = json.loads((self.prefix / shipped / "native-messaging-hosts/org.fluvane.fluvane.json").read_text())
                self.assertEqual(manifest, json.loads(pathlib.Path(by_user).read_text()))
                self.assertEqual((manifest["path"], manifest[caller[0]]), (f"{self.prefix}/bin/fluvane-browser", [caller[1]]))

    def test_the_extension_speaks_each_language(self):
        used = set()
        for file in (self.share / "webext/fluvane").glob("*.*"):
            used |= set(re.findall(r'(?:__MSG_|data-text="|\btext\(")(\w+?)(?:__|")', file.read_text()))
        for messages in (self.share / "webext/fluvane/_locales").glob("*/messages.json"):
            known = json.loads(messages.read_text())
            self.assertLessEqual(used, known.keys(), messages)
            self.assertTrue(all(entry["message"] for entry in known.values()), messages)

    def test_what_starts_the_program_starts_the_application(self):
        desktop = entry(self.share / "applications/org.fluvane.Fluvane.desktop")
        bus = entry(self.share / "dbus-1/services/org.fluvane.Fluvane.service")
        unit = entry(self.prefix / "lib/systemd/user/fluvane.service")
        sections = [*desktop.values(), *entry(self.share / "kio/servicemenus/fluvane-download.desktop").values(),
                    *bus.values(), *unit.values()]
        starts = [section[key] for section in sections for key in ("Exec", "ExecStart") if key in section]
        self.assertGreater(len(starts), 3)
        for start in starts:
            program, option = shlex.split(start)[:2]
            self.assertEqual(self.prefix / "bin" / program, self.program, start)
            self.assertTrue(option.startswith("--"), f"a word would be read as a command: {start}")
        actions = {section.split()[-1] for section in desktop.sections() if section.startswith("Desktop Action")}
        self.assertEqual(set(filter(None, desktop["Desktop Entry"]["Actions"].split(";"))), actions)
        self.assertEqual(bus["D-BUS Service"]["Name"], "org.fluvane.Fluvane")
        self.assertIn("x-scheme-handler/fluvane", desktop["Desktop Entry"]["MimeType"].split(";"))

    def bash(self, *words):
        script = """source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))
            "$(complete -p "$1" | sed 's/.*-F \\([^ ]*\\).*/\\1/')" 2>/dev/null; printf '%s\\n' "${COMPREPLY[@]}" """
        offered = run("bash", "-c", script, "bash", self.share / "bash-completion/completions" / words[0], *words,
                      env=self.environment, cwd=self.here).stdout
        return list(filter(None, offered.splitlines()))

    def test_the_shell_offers_what_there_is(self):
        for words, expected in {
            ("fluvane", ""): self.commands,
            ("fluvane", "pause", ""): ["1", "all"],
            ("fluvane", "REMOVE", ""): ["1"],
            ("fluvane", "import", ""): [HOSTILE, "folder"],
            ("fluvane-watch", ""): ["1"],
        }.items():
            with self.subTest(words=words):
                self.assertEqual(sorted(self.bash(*words)), sorted(expected))


if __name__ == "__main__":
    unittest.main()
