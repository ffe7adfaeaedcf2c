# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""What runs beside each other: each fetches links into a folder and tells how long it took."""

import dataclasses
import os
import pathlib
import subprocess
import time

import harness

PEERS = ("aria2c", "axel", "curl")


class Gap(Exception):
    """The files didn't come in, for this reason."""


@dataclasses.dataclass
class Job:
    links: list
    folder: pathlib.Path
    seconds: float  # allowed
    authority: pathlib.Path | None = None  # for TLS
    patient: bool = False  # peers that give up are started again each second, to carry on

    def settings(self):
        trusted = {name: str(self.authority) for name in ("SSL_CERT_FILE", "CURL_CA_BUNDLE") if self.authority}
        return {"HOME": str(self.folder), **trusted}


def alone(environment):
    """Nothing of the proxies and the display of the person who runs it."""
    return {name: value for name, value in environment.items()
            if not name.lower().endswith("_proxy") and name not in ("DISPLAY", "WAYLAND_DISPLAY")}


def commands(peer, job):
    """One or more, which run one after another."""
    if peer == "aria2c":
        (job.folder / "links").write_text("\n".join(job.links))
        return [["aria2c", "--no-conf", "-q", "-x8", "-s8", "-k1M", "--file-allocation=none", "-d", job.folder, "-i",
                 job.folder / "links", *([f"--ca-certificate={job.authority}"] if job.authority else []),
                 *(["-c"] if job.patient else [])]]
    if peer == "axel":
        return [["axel", "-q", "-n", "8", "-N", *(["-k"] if job.authority else []), "-o",
                 job.folder / link.rsplit("/", 1)[1], link] for link in job.links]
    return [["curl", "-q", "-sSfL", "--parallel", "--remote-name-all", "--output-dir", job.folder,
             *(["--cacert", job.authority] if job.authority else []),
             *(["-C", "-"] if job.patient else []), *job.links]]


def run_peer(peer, job):
    """Seconds taken."""
    began = time.monotonic()
    for command in commands(peer, job):
        while status := run(command, job, began + job.seconds):
            if not job.patient:
                raise Gap(f"exit status {status}")
            time.sleep(1)
    return time.monotonic() - began


def run(command, job, deadline):
    """The exit status."""
    process = harness.start(command, {**alone(os.environ), **job.settings()}, stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL)
    try:
        return process.wait(max(0, deadline - time.monotonic()))
    except subprocess.TimeoutExpired:
        raise Gap(f"not within {job.seconds:.0f} s") from None
    finally:
        if process.poll() is None:
            process.kill()
            process.wait()


def run_fluvane(job):
    """Seconds from the first `add` until the list says that all are finished. The application is a fresh one."""
    application = harness.Application(job.folder / "app", job.settings())
    application.environment = alone(application.environment)
    application.downloads = job.folder
    try:
        application.start()
        began = time.monotonic()
        for link in job.links:
            application.add(link)
        while not all_finished(application.list()):
            if time.monotonic() - began > job.seconds:
                raise Gap(f"not within {job.seconds:.0f} s: {progress(application.list())}")
            time.sleep(0.05)
        return time.monotonic() - began
    except (AssertionError, OSError) as problem:  # it doesn't answer any more
        raise Gap(str(problem)) from None
    finally:
        application.stop()


def all_finished(entries):
    for entry in entries:
        if entry["state"] in ("failed", "link-expired", "paused"):
            raise Gap(f"{entry['state']} {entry.get('reason', '')}")
    return all(entry["state"] == "finished" for entry in entries)


def progress(entries):
    amount, running = (sum(entry[key] for entry in entries) for key in ("downloaded", "connections"))
    return f"{amount / harness.MB:.1f} MB, {running} connections"


def check(contents, folder):
    for name, content in contents.items():
        path = pathlib.Path(folder) / name
        if not path.is_file():
            raise Gap("no file")
        if harness.sha256(path) != content.digest:
            raise Gap("other bytes")
