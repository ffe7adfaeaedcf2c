# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""What the campaigns share: how they are asked for and repeated, and the judgement. Standard library only.

A campaign is a number of cases. A case depends on nothing but the seed and its number, has a folder, and is a process
of its own, so that nothing of one reaches another; it ends well, or with the sentence that says what was lost."""

import argparse
import collections
import concurrent.futures
import itertools
import json
import os
import pathlib
import random
import subprocess
import sys
import tempfile
import time
import urllib.parse

sys.path += [str(pathlib.Path(__file__).parents[1] / "EndToEnd"),
             str(pathlib.Path(__file__).parents[2] / "Benchmarks/Races")]
import harness

os.environ["PATH"] += ":/usr/sbin:/sbin"
SHIM = ("-shared", "-fPIC", "-U_FORTIFY_SOURCE")  # with the source, of what `preload` loads


class Tally:
    """What is counted is added up over the cases, of what is measured the most is told."""

    def __init__(self):
        self.counted, self.measured = collections.Counter(), collections.Counter()

    def count(self, what, times=1):
        self.counted[what] += times

    def measure(self, what, value):
        self.measured |= {what: value}

    def __str__(self):
        return ", ".join([f"{value:,} {what}" for what, value in self.counted.items() if value] +
                         [f"at most {value:,.1f} {what}" for what, value in self.measured.items()])


class Case(Tally):
    """`random` is the case's own chance, `folder` its folder."""

    def __init__(self, seed, number, folder, minutes):
        super().__init__()
        self.seed, self.number, self.folder, self.minutes = seed, number, folder, minutes
        self.random = random.Random(f"{seed}-{number}")


def main(play, cases=None, missing=None, lasting=False, built=()):
    """Runs `play(case)` for each case: `cases` of them when they are a fixed table, else as many as are asked for.
    With `lasting` it is each case that takes the minutes asked for (`case.minutes`, else None). `missing` is a sentence
    if this machine can't run it. What a compiler makes of `built` is at $FLUVANE_BUILT."""
    arguments = _arguments(cases)
    with tempfile.TemporaryDirectory() as folder:
        if built and not missing and "FLUVANE_BUILT" not in os.environ:  # else it is the whole campaign's
            os.environ["FLUVANE_BUILT"] = f"{folder}/built"
            run(os.environ.get("CXX", "c++"), "-std=c++20", "-O2", "-o", f"{folder}/built", *built)
        if missing:
            print(f"{_name()}: left out: {missing}")
        elif arguments.case is not None:
            _play_one(play, arguments)
        elif not _play_all(arguments, cases, lasting):
            sys.exit(1)


def _name():
    return pathlib.Path(sys.argv[0]).name


def _arguments(cases):
    parser = argparse.ArgumentParser(description=sys.modules["__main__"].__doc__, epilog="A folder of built programs "
                                     "may come first; else they are those of build/release.",
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seed", default="1", help="whatever chance begins with (1)")
    parser.add_argument("--count", type=int, help=f"so many cases ({cases or 10})")
    parser.add_argument("--minutes", type=float, help="cases until the time is over, instead of a number of them")
    parser.add_argument("--from", type=int, default=0, dest="first", help="the first case's number (0)")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="cases at once (one for each processor)")
    parser.add_argument("--case", type=int, help="only the case with this number, and all that it says")
    return parser.parse_args()


def _play_one(play, arguments):
    with harness.scene() as folder:
        case = Case(arguments.seed, arguments.case, folder, arguments.minutes)
        play(case)
    print(json.dumps([case.counted, case.measured]))


def _play_all(arguments, cases, lasting):
    began, all_, ended = time.monotonic(), Tally(), []
    numbers = itertools.count(arguments.first)
    if arguments.count or cases or not arguments.minutes:
        numbers = iter(range(arguments.first, arguments.first + (arguments.count or cases or 10)))
    deadline = began + arguments.minutes * 60 if arguments.minutes and not lasting else float("inf")
    minutes = ("--minutes", str(arguments.minutes)) if lasting and arguments.minutes else ()

    def work(_):
        while time.monotonic() <= deadline and (number := next(numbers, None)) is not None:
            command = [sys.argv[0], str(harness.programs), "--seed", arguments.seed, "--case", str(number), *minutes]
            result = subprocess.run([sys.executable, "-B", *command], capture_output=True, text=True)
            ended.append(result.returncode == 0)
            if result.returncode == 0:
                counted, measured = json.loads(result.stdout.splitlines()[-1])
                all_.counted.update(counted)
                all_.measured |= measured
            else:
                sentence = result.stderr.strip().rpartition("\n")[2][:2000]
                print(f"FAILED: {' '.join(command)}\n{sentence}\n{result.stdout[-4000:]}{result.stderr[-8000:]}",
                      flush=True)

    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        list(pool.map(work, range(arguments.jobs)))
    print(f"{_name()}: {len(ended):,} cases with seed {arguments.seed} in {time.monotonic() - began:,.0f} s: "
          f"{ended.count(False)} failed; {all_}")
    return ended and all(ended)


# -- What they do alike

class Refused(Exception):
    """What a program, the first word, couldn't do on this machine."""


def run(*words):
    """What the program told."""
    try:
        return subprocess.run([*map(str, words)], check=True, capture_output=True, text=True).stdout.strip()
    except (FileNotFoundError, subprocess.CalledProcessError) as problem:
        raise Refused(words[0], getattr(problem, "stderr", str(problem)).strip()) from None


def preload():
    """The environment of a program that is to have in it what was built."""
    ours = "verify_asan_link_order=0"  # the sanitizer wants to be first, but need not be
    return {"LD_PRELOAD": os.environ["FLUVANE_BUILT"],
            "ASAN_OPTIONS": ":".join(filter(None, (os.environ.get("ASAN_OPTIONS"), ours)))}


def processor(process):
    """Seconds of its time that a process has had, if there is one."""
    file = pathlib.Path(f"/proc/{process.pid}/stat")
    fields = file.read_text().rsplit(")")[-1].split() if process.poll() is None else [0] * 13
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def path_of(url):
    return pathlib.Path(urllib.parse.unquote(urllib.parse.urlsplit(url).path))


# -- The judgement

class Judge:
    """Knows what was served: `content` maps the last component of a link to the bytes behind it."""

    def __init__(self, content):
        self.content = content

    def source(self, record):
        return self.content[path_of(record["url"]).name]

    def on_disk(self, application, gone=()):
        """What holds at any moment when the application isn't running: what the list claims is on the disk, but for the
        files of the numbers `gone`, and each unfinished file is on the list. Returns the bytes claimed."""
        known = {path_of(record["partial"]) for record in self.saved(application) if "partial" in record}
        strays = set(application.downloads.rglob("*.fluvane")) - known
        assert not strays, f"unfinished files that nobody knows: {strays}"
        return sum(self.claim(record) for record in self.records(application) if record["id"] not in gone)

    @staticmethod
    def saved(application):
        """The list with the removed ones whose files are to be deleted."""
        file = application.list_file
        return json.loads(file.read_text())["downloads"] if file.exists() else []

    def records(self, application):
        return [record for record in self.saved(application) if not record.get("removed")]

    def claim(self, record):
        """The bytes of one entry that are claimed, and right."""
        source, moving = self.source(record), record.get("moving")
        other = path_of(moving["folder"]) / moving["name"] if moving else None  # it is in either place
        if "finished" in record["state"]:
            file = path_of(record["file"])
            self._same((other if other and not file.exists() else file).read_bytes(), source, file)
            return len(source)
        claimed = [piece for piece in record["pieces"] if piece["done"] > 0]
        complete = all(piece["done"] == piece.get("end", -1) - piece["start"] for piece in claimed)
        if not claimed or not (record["resumable"] or complete):
            return 0  # it begins anew, whatever there is
        moved = [other.with_name(f"{other.name}.fluvane")] if other else []
        for path in (path_of(record["partial"]), path_of(record["folder"]) / record["name"], *moved):
            if path.exists():  # under the one name or, once moved, under the other
                ours = path.read_bytes()
                for first, past in ((piece["start"], piece["start"] + piece["done"]) for piece in claimed):
                    self._same(ours[first:past], source[first:past], f"{path} from {first}, claimed by {record}")
                return sum(piece["done"] for piece in claimed)
        raise AssertionError(f"what is claimed isn't there: {record}")

    @staticmethod
    def _same(ours, source, where):
        if ours != source:
            first = len(os.path.commonprefix([ours, source]))
            raise AssertionError(f"{where}: wrong at byte {first}; {len(ours)} bytes where {len(source)} are right")

    def at_end(self, application, names, *others):
        """All is finished: the application's folder and the others hold exactly the files `names` (path or, in the
        folder, name: last component of its link), identical to their sources, and the list exactly their entries."""
        folder = application.downloads
        names = {str(folder / name): source for name, source in names.items()}
        found = {str(entry) for each in (folder, *others) for entry in each.rglob("*") if not entry.is_dir()}
        assert found == set(names), f"there is {sorted(found)} instead of {sorted(names)}"
        for name, source in names.items():
            self._same(pathlib.Path(name).read_bytes(), self.content[source], name)
        listed = sorted(entry["file"] for entry in application.list() if entry["state"] == "finished")
        assert listed == sorted(names), f"the list has {listed}"
