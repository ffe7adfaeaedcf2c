# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""The files beside the programs, as they are installed: each is taken by the tool that reads it, and each knows
the commands that the program knows."""

import configparser
import os
import re
import shlex
import shutil
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


class Installed(unittest.TestCase):
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


class Shipped(Installed):
    def test_the_tool_that_reads_a_file_takes_it(self):
        share = self.share
        # What a service may have, the validator knows of applications only.
        service = (share / "kio/servicemenus/fluvane-download.desktop").read_text()
        menu = self.folder / "menu.desktop"
        menu.write_text(service.replace("\nType=Service\n", "\nType=Application\nExec=fluvane --open %U\n"))
        self.assertNotEqual(service, menu.read_text())
        manuals = list((share / "man/man1").glob("*.gz"))
        self.assertEqual(len(manuals), 2)
        rows = [("desktop-file-validate", share / "applications/org.fluvane.Fluvane.desktop"),
                ("desktop-file-validate", menu),
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
        icon = desktop["Desktop Entry"]["Icon"]
        for place in (f"scalable/apps/{icon}.svg", f"symbolic/apps/{icon}-symbolic.svg"):
            self.assertTrue((self.share / "icons/hicolor" / place).exists(), place)

    def test_the_file_managers_script_hands_over_what_is_selected(self):
        """With the program and what tells of the selection played by scripts."""
        tools = self.folder / "tools"
        tools.mkdir()
        played = self.folder / "played/bin/fluvane"
        script = self.folder / "played/share/fluvane/scripts/download-with-fluvane"
        for path in (played, script):
            path.parent.mkdir(parents=True)
        shutil.copy(self.share / "fluvane/scripts/download-with-fluvane", script)
        for path, text in ((played, 'printf "%s\\n" "$@"'),
                           (tools / "xclip", "echo 'See https://host/a.iso, or <http://b.test/c>. ftp://no'")):
            path.write_text(f"#!/bin/sh\n{text}\n")
            path.chmod(0o755)
        for arguments, environment, expected in (
            (["a b", "c"], {}, ["--open", "a b", "c"]),
            (["x"], {"NAUTILUS_SCRIPT_SELECTED_URIS": "file:///a%20b\nhttps://x/*\n"},
             ["--open", "file:///a%20b", "https://x/*"]),
            ([], {}, ["--open", "https://host/a.iso", "http://b.test/c"]),
        ):
            with self.subTest(arguments=arguments):
                handed = run(script, *arguments, env={"PATH": f"{tools}:/usr/bin:/bin", **environment}, cwd=self.folder)
                self.assertEqual(handed.stdout.splitlines(), expected)


class Completions(Installed):
    """In the shells themselves, beside a running application that has downloads with awkward names."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        application = cls.enterClassContext(Application(cls.folder / "app")).start()
        port = free_port()
        for name in ("one.iso", "two%22%20%5C.iso"):
            application.add(f"http://127.0.0.1:{port}/{name}")
        cls.here = cls.folder / "here"
        (cls.here / "folder").mkdir(parents=True)
        (cls.here / HOSTILE).write_text("")
        cls.environment = {**application.environment, "HOME": str(cls.folder), "LC_ALL": "C.UTF-8",
                           "PATH": f"{cls.prefix / 'bin'}:{os.environ['PATH']}"}

    def bash(self, *words):
        script = """source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))
            "$(complete -p "$1" | sed 's/.*-F \\([^ ]*\\).*/\\1/')" 2>/dev/null; printf '%s\\n' "${COMPREPLY[@]}" """
        return self.lines("bash", "-c", script, "bash", self.share / "bash-completion/completions" / words[0], *words)

    def fish(self, *words):
        line = " ".join(word and shlex.quote(word) for word in words)
        script = f"source {self.share}/fish/vendor_completions.d/{words[0]}.fish; complete -C {shlex.quote(line)}"
        return [found.split("\t")[0] for found in self.lines("fish", "--no-config", "-c", script)]

    def zsh(self, *words):
        # The functions that would draw say what they are given; _arguments acts as it does for the word at hand.
        script = """_describe() { print -rl -- "${(@)${(P)@[-1]}%%:*}" }; compadd() { shift; print -rl -- $@ }
            _files() { print -rl -- *(N) }; _directories() { print -rl -- *(N/) }
            _arguments() { local spec; for spec; do case $spec in
                $((CURRENT - 1)):*|'*:'*) spec=${spec##*:}
                    if [[ $spec == \\(* ]]; then print -rl -- ${=spec//[()]/}; else eval $spec; fi; esac; done }
            file=$1; shift; words=("$@"); CURRENT=$#; PREFIX=$words[-1]; service=$1
            functions[complete_it]=$(<$file); complete_it"""
        return self.lines("zsh", "-f", "-c", script, "zsh", self.share / "zsh/vendor-completions/_fluvane", *words)

    def lines(self, *command):
        return list(filter(None, run(*command, env=self.environment, cwd=self.here).stdout.splitlines()))

    def test_every_shell_offers_the_same(self):
        for words, expected in {
            ("fluvane", ""): self.commands,
            ("fluvane", "pause", ""): ["1", "2", "all"],
            ("fluvane", "REMOVE", ""): ["1", "2"],
            ("fluvane", "link", "1", ""): [],
            ("fluvane", "prioritize", "1", ""): ["off"],
            ("fluvane", "limit", ""): ["off"],
            ("fluvane", "checksum", "2", ""): ["none"],
            ("fluvane", "settings", ""): ["about", "connections", "files", "general", "rules"],
            ("fluvane", "import", ""): [HOSTILE, "folder"],
            ("fluvane", "snapshot", ""): ["folder"],
            ("fluvane", "list", ""): [],
            ("fluvane-watch", ""): ["1", "2"],
        }.items():
            for shell in (self.bash, self.fish, self.zsh):
                with self.subTest(shell=shell.__name__, words=words):
                    offered = [name.replace("folder/", "folder") for name in shell(*words)]
                    self.assertEqual(sorted(offered), sorted(expected))

    def test_a_folder_is_completed_with_folders_and_a_number_shown_with_its_name(self):
        self.assertEqual(self.bash("fluvane", "add", "--to", ""), ["folder"])
        self.assertEqual(self.fish("fluvane", "add", "--to", ""), ["folder/"])
        script = f"source {self.share}/fish/vendor_completions.d/fluvane.fish; __fluvane_numbers"
        shown = self.lines("fish", "--no-config", "-c", script)
        self.assertEqual([line.rsplit(",", 1)[0] for line in shown], ["1\tone.iso", "2\ttwo\" -.iso"])


if __name__ == "__main__":
    unittest.main()
