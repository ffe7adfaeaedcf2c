# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""What the benchmarks have in common."""

import json
import pathlib
import shutil
import tempfile

GiB = 1 << 30


class Table:
    """Measured values with their goals."""

    def __init__(self):
        self.rows = []

    def at_most(self, name, value, goal, unit=""):
        self.add(name, f"{value:.2f}{unit}", f"<= {goal:g}{unit}", value <= goal)

    def at_least(self, name, value, goal, unit=""):
        self.add(name, f"{value:.3f}{unit}", f">= {goal:g}{unit}", value >= goal)

    def equal(self, name, value, goal=True):
        self.add(name, str(value), str(goal), value == goal)

    def add(self, name, value, goal, passed):
        self.rows.append((name, value, goal, "pass" if passed else "FAIL"))
        print(f"  {name}: {value} (goal {goal}) {self.rows[-1][3]}", flush=True)

    def show(self):
        widths = [max(len(row[column]) for row in self.rows) for column in range(4)]
        print("\n" + "\n".join("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip()
                               for row in self.rows))
        return all(row[3] == "pass" for row in self.rows)


def set_simultaneous(application, count):
    settings = json.loads(application.command("export"))
    settings["settings"]["simultaneous"] = count
    file = application.folder / "settings.json"
    file.write_text(json.dumps(settings))
    application.command("import", str(file))


def default_folder():
    """In memory where there is room, so that the programs are measured and not the disk."""
    memory = pathlib.Path("/dev/shm")
    if memory.is_dir() and shutil.disk_usage(memory).free > 6 * GiB:
        return str(memory)
    return tempfile.gettempdir()
