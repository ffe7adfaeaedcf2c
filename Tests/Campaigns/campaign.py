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
import time
import urllib.parse

sys.path += [str(pathlib.Path(__file__).parents[1] / "EndToEnd"),
             str(pathlib.Path(__file__).parents[2] / "Benchmarks/Races")]
import harness


class Case:
    """`random` is the case's own chance, `folder` its folder. What is counted is added up over the cases, of what is
    measured the most is told."""

    def __init__(self, seed, number, folder):
        self.number, self.folder = number, folder
        self.random = random.Random(f"{seed}-{number}")
        self.counted, self.measured = collections.Counter(), {}

    def count(self, what, times=1):
        self.counted[what] += times

    def measure(self, what, value):
        self.measured[what] = max(value, self.measured.get(what, value))


def main(play, cases=None, missing=None):
    """Runs `play(case)` for each case: `cases` of them when they are a fixed table, else as many as are asked for.
    `missing` is a sentence if this machine can't run it."""
    arguments = _arguments(cases)
    if missing:
        print(f"{_name()}: left out: {missing}")
    elif arguments.case is not None:
        _play_one(play, arguments)
    elif not _play_all(arguments, cases):
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
        case = Case(arguments.seed, arguments.case, folder)
        play(case)
    print(json.dumps({"counted": case.counted, "measured": case.measured}))


def _play_all(arguments, cases):
    began = time.monotonic()
    count = arguments.count or (1 << 40 if arguments.minutes and not cases else cases or 10)
    deadline = began + arguments.minutes * 60 if arguments.minutes else float("inf")
    results, lost = Results(), []

    def run(number):
        if time.monotonic() > deadline:
            return
        command = [sys.executable, "-B", sys.argv[0], str(harness.programs), "--seed", arguments.seed,
                   "--case", str(number)]
        result = subprocess.run(command, capture_output=True, text=True)
        if result.returncode == 0:
            results.take(json.loads(result.stdout.splitlines()[-1]))
        else:
            lost.append(number)
            print(f"FAILED: {' '.join(command[2:])}\n{result.stdout[-4000:]}{result.stderr[-8000:]}", flush=True)

    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        numbers = iter(range(arguments.first, arguments.first + count))
        pending = {pool.submit(run, number) for number in _some(numbers, arguments.jobs)}
        while pending:
            done, pending = concurrent.futures.wait(pending, return_when=concurrent.futures.FIRST_COMPLETED)
            for each in done:
                each.result()
            if time.monotonic() <= deadline:
                pending |= {pool.submit(run, number) for number in _some(numbers, len(done))}
    print(f"{_name()}: {results.cases + len(lost):,} cases with seed {arguments.seed} in "
          f"{time.monotonic() - began:,.0f} s: {len(lost)} failed; {results}")
    return not lost and results.cases > 0


def _some(numbers, most):
    return list(itertools.islice(numbers, most))


class Results:
    def __init__(self):
        self.cases, self.counted, self.measured = 0, collections.Counter(), {}

    def take(self, result):
        self.cases += 1
        self.counted.update(result["counted"])
        for what, value in result["measured"].items():
            self.measured[what] = max(value, self.measured.get(what, value))

    def __str__(self):
        return ", ".join([f"{value:,} {what}" for what, value in self.counted.items()] +
                         [f"at most {value:,.1f} {what}" for what, value in self.measured.items()])


# -- The judgement

def path_of(url):
    return pathlib.Path(urllib.parse.unquote(urllib.parse.urlsplit(url).path))


class Judge:
    """Knows what was served: `content` maps the last component of a link to the bytes behind it."""

    def __init__(self, content):
        self.content = content

    def source(self, record):
        return self.content[path_of(record["url"]).name]

    def on_disk(self, application, leaving=()):
        """What holds at any moment when the application isn't running: what the list claims is on the disk, and what
        is in the folder is on the list. Returns the bytes claimed. Of downloads that are being removed the file goes
        before the entry: `leaving` are their numbers."""
        return sum(self._claim(record) for record in self.records(application) if record["id"] not in leaving)

    def records(self, application):
        if not application.list_file.exists():
            return []
        return json.loads(application.list_file.read_text())["downloads"]

    def _claim(self, record):
        source = self.source(record)
        if "finished" in record["state"]:
            self._same(path_of(record["file"]).read_bytes(), source, record["file"])
            return len(source)
        claimed = [piece for piece in record["pieces"] if piece["done"] > 0]
        if not claimed:
            return 0
        places = [path_of(record["partial"])]
        if "finishing" in record["state"]:  # it may be moved already
            places.append(path_of(record["folder"]) / record["name"])
        for path in places:
            if path.exists():
                with open(path, "rb") as file:
                    return sum(self._piece(record, piece, file, source) for piece in claimed)
        if not record["resumable"]:  # it begins anew, and the old file goes first
            return 0
        raise AssertionError(f"what is claimed isn't there: {record}")

    def _piece(self, record, piece, file, source):
        file.seek(piece["start"])
        self._same(file.read(piece["done"]), source[piece["start"]:piece["start"] + piece["done"]],
                   f"{record['partial']} from {piece['start']}")
        return piece["done"]

    @staticmethod
    def _same(ours, source, where):
        if ours != source:
            first = next((i for i, (a, b) in enumerate(zip(ours, source)) if a != b), min(len(ours), len(source)))
            raise AssertionError(f"{where}: wrong at byte {first}; {len(ours)} bytes where {len(source)} are right")

    def at_end(self, application, names, folder=None):
        """All is finished: the folder holds exactly the files `names` (of file: last component of its link), identical
        to their sources, and the list exactly their entries."""
        folder = pathlib.Path(folder or application.downloads)
        found = {entry.relative_to(folder).as_posix() for entry in folder.rglob("*") if not entry.is_dir()}
        assert found == set(names), f"the folder holds {sorted(found)} instead of {sorted(names)}"
        for name, source in names.items():
            self._same((folder / name).read_bytes(), self.content[source], name)
        listed = sorted(entry["file"] for entry in application.list() if entry["state"] == "finished")
        assert listed == sorted(str(folder / name) for name in names), f"the list has {listed}"
