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


class Case:
    """`random` is the case's own chance, `folder` its folder. What is counted is added up over the cases, of what is
    measured the most is told."""

    def __init__(self, seed, number, folder, minutes=None):
        self.seed, self.number, self.folder, self.minutes = seed, number, folder, minutes
        self.random = random.Random(f"{seed}-{number}")
        self.counted, self.measured = collections.Counter(), {}

    def count(self, what, times=1):
        self.counted[what] += times

    def measure(self, what, value):
        self.measured[what] = max(value, self.measured.get(what, value))


def main(play, cases=None, missing=None, lasting=False, shim=None):
    """Runs `play(case)` for each case: `cases` of them when they are a fixed table, else as many as are asked for.
    With `lasting` it is each case that takes the minutes asked for (`case.minutes`, else None). `missing` is a sentence
    if this machine can't run it. `shim` is the source of a library, for `preload`."""
    arguments = _arguments(cases)
    if shim and not missing and "FLUVANE_SHIM" not in os.environ:
        with tempfile.TemporaryDirectory() as folder:
            os.environ["FLUVANE_SHIM"] = f"{folder}/shim.so"
            subprocess.run([os.environ.get("CXX", "c++"), "-std=c++20", "-shared", "-fPIC", "-O2", "-U_FORTIFY_SOURCE",
                            "-o", os.environ["FLUVANE_SHIM"], shim, "-ldl"], check=True)
            return main(play, cases, missing, lasting)
    if missing:
        print(f"{_name()}: left out: {missing}")
    elif arguments.case is not None:
        _play_one(play, arguments)
    elif not _play_all(arguments, cases, lasting):
        sys.exit(1)


def preload():
    """The environment of a program that is to have the campaign's shim in it."""
    ours = "verify_asan_link_order=0"  # the sanitizer wants to be first, but need not be
    return {"LD_PRELOAD": os.environ["FLUVANE_SHIM"],
            "ASAN_OPTIONS": ":".join(filter(None, (os.environ.get("ASAN_OPTIONS"), ours)))}


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
    print(json.dumps({"counted": case.counted, "measured": case.measured}))


def _play_all(arguments, cases, lasting):
    began = time.monotonic()
    count = arguments.count or (1 << 40 if arguments.minutes and not cases else cases or 10)
    deadline = began + arguments.minutes * 60 if arguments.minutes and not lasting else float("inf")
    results, lost = Results(), []

    def run(number):
        if time.monotonic() > deadline:
            return
        command = [sys.executable, "-B", sys.argv[0], str(harness.programs), "--seed", arguments.seed,
                   "--case", str(number), *(("--minutes", str(arguments.minutes)) if lasting and arguments.minutes else ())]
        result = subprocess.run(command, capture_output=True, text=True)
        if result.returncode == 0:
            results.take(json.loads(result.stdout.splitlines()[-1]))
        else:
            lost.append(number)
            print(f"FAILED: {' '.join(command[2:])}\n{result.stdout[-4000:]}{result.stderr[-8000:]}", flush=True)

    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        numbers = iter(range(arguments.first, arguments.first + count))
        pending = {pool.submit(run, number) for number in itertools.islice(numbers, arguments.jobs)}
        while pending:
            done, pending = concurrent.futures.wait(pending, return_when=concurrent.futures.FIRST_COMPLETED)
            for each in done:
                each.result()
            if time.monotonic() <= deadline:
                pending |= {pool.submit(run, number) for number in itertools.islice(numbers, len(done))}
    print(f"{_name()}: {results.cases + len(lost):,} cases with seed {arguments.seed} in "
          f"{time.monotonic() - began:,.0f} s: {len(lost)} failed; {results}")
    return not lost and results.cases > 0


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
        if not application.list_file.exists():
            return []
        return json.loads(application.list_file.read_text())["downloads"]

    def records(self, application):
        return [record for record in self.saved(application) if not record.get("removed")]

    def claim(self, record):
        """The bytes of one entry that are claimed, and right."""
        source = self.source(record)
        if "finished" in record["state"]:
            self._same(path_of(record["file"]).read_bytes(), source, record["file"])
            return len(source)
        claimed = [piece for piece in record["pieces"] if piece["done"] > 0]
        complete = all(piece["done"] == piece.get("end", -1) - piece["start"] for piece in claimed)
        if not claimed or not (record["resumable"] or complete):
            return 0  # it begins anew, whatever there is
        for path in (path_of(record["partial"]), path_of(record["folder"]) / record["name"]):
            if path.exists():  # under the one name or, once moved, under the other
                with open(path, "rb") as file:
                    return sum(self._piece(record, piece, file, source) for piece in claimed)
        raise AssertionError(f"what is claimed isn't there: {record}")

    def _piece(self, record, piece, file, source):
        file.seek(piece["start"])
        self._same(file.read(piece["done"]), source[piece["start"]:piece["start"] + piece["done"]],
                   f"{file.name} from {piece['start']}, claimed by {record}")
        return piece["done"]

    @staticmethod
    def _same(ours, source, where):
        if ours != source:
            first = next((i for i, (a, b) in enumerate(zip(ours, source)) if a != b), min(len(ours), len(source)))
            raise AssertionError(f"{where}: wrong at byte {first}; {len(ours)} bytes where {len(source)} are right")

    def at_end(self, application, names, folder=None, others=()):
        """All is finished: the folder (the application's, if no other is given) and the `others` hold exactly the files
        `names` (path or, in the folder, name: last component of its link), identical to their sources, and the list
        exactly their entries."""
        folder = pathlib.Path(folder or application.downloads)
        names = {str(folder / name): source for name, source in names.items()}
        found = {str(entry) for each in (folder, *others) for entry in each.rglob("*") if not entry.is_dir()}
        assert found == set(names), f"there is {sorted(found)} instead of {sorted(names)}"
        for name, source in names.items():
            self._same(pathlib.Path(name).read_bytes(), self.content[source], name)
        listed = sorted(entry["file"] for entry in application.list() if entry["state"] == "finished")
        assert listed == sorted(names), f"the list has {listed}"
