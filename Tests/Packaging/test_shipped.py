# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""The files beside the programs, as they are installed: each is taken by the tool that reads it, and each knows
the commands that the program knows."""

import configparser
import gzip
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "EndToEnd"))
import harness

HOSTILE = 'it\'s "a$(touch pwned)`\\;*.bin'


def run(*command, **options):
    return subprocess.run([str(part) for part in command], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, timeout=60, **options)


def entry(path):
    parser = configparser.ConfigParser(interpolation=None, strict=True)
    parser.optionxform = str
    parser.read(path, encoding="utf-8")
    return parser


def needs(tool):
    return unittest.skipUnless(shutil.which(tool), f"{tool} is not installed")


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="fluvane-", dir="/tmp"))
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        cls.prefix = cls.folder / "installed"
        installed = run("cmake", "--install", harness.programs, "--prefix", cls.prefix)
        if installed.returncode != 0:
            raise AssertionError(installed.stdout)
        cls.share = cls.prefix / "share"
        cls.program = cls.prefix / "bin/fluvane"
        usage = run(cls.program, "help").stdout
        cls.commands = sorted(set(re.findall(r"^  ([a-z-]+)", usage, re.MULTILINE)) | {"help"})

    def accepts(self, *command, **options):
        result = run(*command, **options)
        self.assertEqual((result.returncode, result.stdout.strip()), (0, ""), command)


class Shipped(Installed):
    def test_the_tool_that_reads_a_file_takes_it(self):
        manuals = {f"manual {path.stem}": ["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", path]
                   for path in (self.share / "man/man1").glob("*.gz")}
        self.assertEqual(len(manuals), 2)
        quiet = {"stdout": subprocess.DEVNULL, "stderr": subprocess.PIPE}
        for name, command in manuals.items():
            with self.subTest(name):
                if shutil.which("man"):
                    result = subprocess.run(command, env={**os.environ, "LC_ALL": "C.UTF-8"}, text=True, **quiet)
                    self.assertEqual(result.stderr, "")
        for name, command in {
            "desktop entry": ["desktop-file-validate", self.share / "applications/org.fluvane.Fluvane.desktop"],
            "bash": ["bash", "-n", self.share / "bash-completion/completions/fluvane"],
            "zsh": ["zsh", "-n", self.share / "zsh/vendor-completions/_fluvane"],
            "fish": ["fish", "-n", self.share / "fish/vendor_completions.d/fluvane.fish"],
            "script of file managers": ["sh", "-n", self.share / "fluvane/scripts/download-with-fluvane"],
        }.items():
            with self.subTest(name):
                if shutil.which(command[0]):
                    self.accepts(*command)

    @needs("appstreamcli")
    def test_software_centres_take_the_description(self):
        path = self.share / "metainfo/org.fluvane.Fluvane.metainfo.xml"
        result = run("appstreamcli", "validate", "--no-net", "--strict", path)
        self.assertEqual(result.returncode, 0, result.stdout)

    @needs("desktop-file-validate")
    def test_the_service_menu_is_an_entry_but_for_its_type(self):
        # What a service may have, the validator knows of applications only.
        text = (self.share / "kio/servicemenus/fluvane-download.desktop").read_text()
        self.assertIn("\nType=Service\n", text)
        copy = self.folder / "menu.desktop"
        copy.write_text(text.replace("Type=Service\n", "Type=Application\nExec=fluvane --open %U\n"))
        self.accepts("desktop-file-validate", copy)

    def test_what_starts_the_program_starts_the_application(self):
        desktop = entry(self.share / "applications/org.fluvane.Fluvane.desktop")
        menu = entry(self.share / "kio/servicemenus/fluvane-download.desktop")
        bus = entry(self.share / "dbus-1/services/org.fluvane.Fluvane.service")
        unit = entry(self.prefix / "lib/systemd/user/fluvane.service")
        starts = [desktop[section]["Exec"] for section in desktop.sections()]
        starts += [menu[section]["Exec"] for section in menu.sections() if "Exec" in menu[section]]
        starts += [bus["D-BUS Service"]["Exec"], unit["Service"]["ExecStart"]]
        for start in starts:
            program, option = shlex.split(start)[:2]
            self.assertEqual(self.prefix / "bin" / program, self.program, start)
            self.assertTrue(option.startswith("--"), f"a word would be read as a command: {start}")
        actions = {section.split()[-1] for section in desktop.sections() if section.startswith("Desktop Action")}
        self.assertEqual(set(filter(None, desktop["Desktop Entry"]["Actions"].split(";"))), actions)
        self.assertEqual(bus["D-BUS Service"]["Name"] + ".desktop", "org.fluvane.Fluvane.desktop")

    def test_icons_have_the_name_that_is_asked_for(self):
        name = entry(self.share / "applications/org.fluvane.Fluvane.desktop")["Desktop Entry"]["Icon"]
        for place in (f"scalable/apps/{name}.svg", f"symbolic/apps/{name}-symbolic.svg"):
            self.assertTrue((self.share / "icons/hicolor" / place).exists(), place)

    def test_the_manual_tells_of_every_command_and_no_other(self):
        text = gzip.open(self.share / "man/man1/fluvane.1.gz", "rt", encoding="utf-8").read()
        section = text.split(".SH COMMANDS")[1].split(".SH OPTIONS")[0].replace("\\-", "-")
        told = re.findall(r"^\.TP\n\.[A-Z]+ \"?([a-z-]+)", section, re.MULTILINE)
        self.assertEqual(sorted(told), self.commands)


class Completions(Installed):
    """In the shells themselves, beside a running application that has downloads with awkward names."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.application = harness.Application(cls.folder / "app").start()
        cls.addClassCleanup(cls.application.stop)
        port = harness.free_port()
        for name in ("one.iso", "two%22%20%5C.iso"):
            cls.application.add(f"http://127.0.0.1:{port}/{name}")
        cls.here = cls.folder / "here"
        (cls.here / "folder").mkdir(parents=True)
        (cls.here / HOSTILE).write_text("")
        cls.environment = {**cls.application.environment, "HOME": str(cls.folder), "LC_ALL": "C.UTF-8",
                           "PATH": f"{cls.prefix / 'bin'}:{os.environ['PATH']}"}

    def bash(self, *words):
        script = """source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))
            "$(complete -p "$1" | sed 's/.*-F \\([^ ]*\\).*/\\1/')" 2>/dev/null; printf '%s\\n' "${COMPREPLY[@]}" """
        return self.lines("bash", "-c", script, "bash", self.share / "bash-completion/completions/fluvane", *words)

    def fish(self, *words):
        line = " ".join(word and shlex.quote(word) for word in words)
        script = f"source {self.share}/fish/vendor_completions.d/fluvane.fish; complete -C {shlex.quote(line)}"
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
        result = run(*command, env=self.environment, cwd=self.here)
        return [line for line in result.stdout.splitlines() if line]

    def test_every_shell_offers_the_same(self):
        files = [HOSTILE, "folder"]
        for words, expected in {
            ("fluvane", ""): self.commands,
            ("fluvane", "pause", ""): ["1", "2", "all"],
            ("fluvane", "REMOVE", ""): ["1", "2"],
            ("fluvane", "link", "1", ""): [],
            ("fluvane", "prioritize", "1", ""): ["off"],
            ("fluvane", "limit", ""): ["off"],
            ("fluvane", "checksum", "2", ""): ["none"],
            ("fluvane", "settings", ""): ["about", "connections", "files", "general", "rules"],
            ("fluvane", "import", ""): files,
            ("fluvane", "snapshot", ""): ["folder"],
            ("fluvane", "list", ""): [],
            ("fluvane-watch", ""): ["1", "2"],
        }.items():
            for shell in (self.bash, self.fish, self.zsh):
                with self.subTest(shell=shell.__name__, words=words):
                    if shutil.which(shell.__name__):
                        offered = [name.replace("folder/", "folder") for name in shell(*words)]
                        self.assertEqual(sorted(offered), sorted(expected))

    def test_only_folders_are_offered_for_a_folder(self):
        self.assertEqual(self.bash("fluvane", "add", "--to", ""), ["folder"])
        if shutil.which("fish"):
            self.assertEqual(self.fish("fluvane", "add", "--to", ""), ["folder/"])

    @needs("fish")
    def test_a_number_is_shown_with_its_name_and_state(self):
        script = f"source {self.share}/fish/vendor_completions.d/fluvane.fish; __fluvane_numbers"
        shown = self.lines("fish", "--no-config", "-c", script)
        self.assertEqual([line.rsplit(",", 1)[0] for line in shown], ["1\tone.iso", "2\ttwo\" -.iso"])


class FileManagerScript(Installed):
    """With the program and what tells of the selection played by scripts."""

    def handed_over(self, *arguments, **environment):
        script = self.share / "fluvane/scripts/download-with-fluvane"
        self.program.unlink()
        self.program.write_text(f'#!/bin/sh\nprintf "%s\\n" "$@" >{self.folder}/handed\n')
        self.program.chmod(0o755)
        (self.folder / "handed").unlink(missing_ok=True)
        tools = self.folder / "tools"
        tools.mkdir(exist_ok=True)
        (tools / "xclip").write_text("#!/bin/sh\necho 'See https://host/a.iso, or <http://b.test/c>. ftp://no'\n")
        (tools / "xclip").chmod(0o755)
        run(script, *arguments, env={"PATH": f"{tools}:/usr/bin:/bin", **environment}, cwd=self.folder)
        handed = self.folder / "handed"
        return handed.read_text().splitlines() if handed.exists() else None

    def test_what_is_selected_is_handed_over(self):
        for arguments, environment, expected in (
            (["a b", "c"], {}, ["--open", "a b", "c"]),
            (["x"], {"NAUTILUS_SCRIPT_SELECTED_URIS": "file:///a%20b\nhttps://x/*\n"},
             ["--open", "file:///a%20b", "https://x/*"]),
            ([], {}, ["--open", "https://host/a.iso", "http://b.test/c"]),
        ):
            with self.subTest(arguments=arguments):
                self.assertEqual(self.handed_over(*arguments, **environment), expected)


if __name__ == "__main__":
    unittest.main()
