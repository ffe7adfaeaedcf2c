# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""What runs beside each other: each fetches links into a folder and tells how long it took."""

import os
import pathlib
import subprocess
import time

import harness

PEERS = ("aria2c", "axel", "curl")


class Gap(Exception):
    """The files didn't come in, for this reason."""


def environment(folder, authority):
    """Nothing of the person who runs it: no settings, proxies and display."""
    kept = {name: value for name, value in os.environ.items()
            if not name.lower().endswith("_proxy") and name not in ("DISPLAY", "WAYLAND_DISPLAY")}
    return {**kept, "HOME": str(folder), **({"SSL_CERT_FILE": str(authority)} if authority else {})}


def commands(peer, links, target, authority):
    """One or more, which run one after another."""
    secure = [str(authority)] if authority else []
    if peer == "aria2c":
        (target / "links").write_text("\n".join(links))
        return [["aria2c", "--no-conf", "-q", "-x8", "-s8", "-k1M", "--file-allocation=none", "-d", target, "-i",
                 target / "links", *(f"--ca-certificate={each}" for each in secure)]]
    if peer == "axel":
        return [["axel", "-q", "-n", "8", "-N", *("-k" for _ in secure), "-o", target / link.rsplit("/", 1)[1], link]
                for link in links]
    return [["curl", "-q", "-sSfL", "--noproxy", "*", "--parallel", "--remote-name-all", "--output-dir", target,
             *(word for each in secure for word in ("--cacert", each)), *links]]


def run_peer(peer, links, folder, authority, seconds):
    """Seconds taken."""
    began = time.monotonic()
    for command in commands(peer, links, folder, authority):
        process = harness.start(command, environment(folder, authority), stdout=subprocess.DEVNULL,
                                stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL)
        try:
            process.wait(max(0.01, began + seconds - time.monotonic()))
        except subprocess.TimeoutExpired:
            raise Gap(f"not within {seconds:.0f} s") from None
        finally:
            if process.poll() is None:
                process.kill()
                process.wait()
        if process.returncode != 0:
            raise Gap(f"exit status {process.returncode}")
    return time.monotonic() - began


def run_fluvane(links, folder, authority, seconds):
    """Seconds from the first `add` until the list says that all are finished. The application is a fresh one."""
    application = harness.Application(folder / "app", environment(folder, authority))
    application.downloads = folder
    for name in ("DISPLAY", "WAYLAND_DISPLAY"):
        application.environment.pop(name, None)
    try:
        application.start()
        began = time.monotonic()
        for link in links:
            application.add(link)
        while True:
            entries = application.list()
            if all(entry["state"] == "finished" for entry in entries):
                return time.monotonic() - began
            for entry in entries:
                if entry["state"] in ("failed", "link-expired", "paused"):
                    raise Gap(f"{entry['state']}: {entry.get('reason', '')}")
            if time.monotonic() - began > seconds:
                share = sum(entry["downloaded"] for entry in entries) / 1e6
                raise Gap(f"not within {seconds:.0f} s: {share:.1f} MB, {entries[0]['connections']} connections")
            time.sleep(0.05)
    finally:
        application.stop()


def check(contents, folder):
    for name, content in contents.items():
        path = pathlib.Path(folder) / name
        if not path.is_file():
            raise Gap("no file")
        if harness.sha256(path) != content.digest:
            raise Gap("other bytes")
