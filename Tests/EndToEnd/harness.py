# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""What the end-to-end tests and the benchmarks stand on: a server, the application and its client, each with
its own temporary folder and ended by its own process id. Standard library only."""

import contextlib
import hashlib
import json
import os
import pathlib
import random
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

MB = 1_000_000
MiB = 1 << 20

# Where the programs are: the first argument, else the release build.
_default = pathlib.Path(__file__).resolve().parents[2] / "build/release"
programs = pathlib.Path(sys.argv.pop(1)) if len(sys.argv) > 1 and os.path.isdir(sys.argv[1]) else _default


def wait_for(condition, what, seconds=30, interval=0.05):
    """Polls until the condition gives something true, and returns that."""
    deadline = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise AssertionError(f"waited {seconds} s in vain: {what}")
        time.sleep(interval)


def end(process, how=signal.SIGTERM, seconds=20):
    """Ends a process that we started; returns its exit status."""
    if process.poll() is None:
        process.send_signal(how)
        try:
            process.wait(seconds)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            raise AssertionError(f"process {process.pid} didn't end when asked to")
    return process.returncode


def free_port():
    """Below the range the system hands out, so that it stays free until it is listened on."""
    first, last = map(int, os.environ.get("FLUVANE_TEST_PORTS", "20000-31999").split("-"))
    while True:
        port = random.randint(first, last)
        with socket.socket() as probe:
            with contextlib.suppress(OSError):
                probe.bind(("127.0.0.1", port))
                return port


def sha256(path):
    digest = hashlib.sha256()
    with open(path, "rb") as file:
        while chunk := file.read(MiB):
            digest.update(chunk)
    return digest.hexdigest()


class Server:
    """nginx on loopback. `locations` maps a path prefix to the bytes per second of each connection (0: no limit);
    every prefix serves the same files."""

    def __init__(self, folder, locations, tls=None, workers=1):
        self.folder = pathlib.Path(folder)
        self.files = self.folder / "www"
        self.files.mkdir(parents=True, exist_ok=True)
        self.log = self.folder / "access.log"
        self.port = free_port()
        self.scheme = "https" if tls else "http"
        self._write_configuration(locations, tls, workers)
        nginx = shutil.which("nginx", path=os.environ["PATH"] + ":/usr/sbin")
        self.process = subprocess.Popen(
            [nginx, "-e", str(self.folder / "error.log"), "-c", str(self.folder / "nginx.conf")])
        wait_for(self._answers, "nginx answers")

    def _write_configuration(self, locations, tls, workers):
        user = "user root;" if os.geteuid() == 0 else ""  # else it couldn't look into the folder
        temporary = "\n".join(f"{kind}_temp_path {self.folder}/{kind};"
                              for kind in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        places = "\n".join(f"location {prefix} {{ alias {self.files}/; limit_rate {rate}; }}"
                           for prefix, rate in locations.items())
        secure = f"ssl_certificate {tls[0]}; ssl_certificate_key {tls[1]};" if tls else ""
        (self.folder / "nginx.conf").write_text(f"""
            {user} daemon off; worker_processes {workers}; pid {self.folder}/nginx.pid;
            events {{ worker_connections 256; }}
            http {{
                {temporary}
                sendfile on; tcp_nopush on; keepalive_requests 100000;
                log_format plain '$status $body_bytes_sent $connection $request_uri "$http_range"';
                access_log {self.log} plain;
                server {{ listen 127.0.0.1:{self.port} {"ssl" if tls else ""}; {secure} {places} }}
            }}""")

    def _answers(self):
        if self.process.poll() is not None:
            raise AssertionError("nginx ended: " + (self.folder / "error.log").read_text())
        with contextlib.suppress(OSError):
            socket.create_connection(("127.0.0.1", self.port), 1).close()
            return True
        return False

    def link(self, path):
        return f"{self.scheme}://127.0.0.1:{self.port}{path}"

    def make_file(self, name, size):
        """Bytes that no two places of the file have in common."""
        path = self.files / name
        generator = random.Random(name)
        with open(path, "wb") as file:
            left = size
            while left > 0:
                left -= file.write(generator.randbytes(min(left, 4 * MiB)))
        return path

    def sent(self):
        """Bytes of bodies sent in all requests that have ended."""
        return sum(int(line.split()[1]) for line in self.log.read_text().splitlines())

    def stop(self):
        end(self.process)


class Application:
    """The application without a display, in a data folder of its own, which outlives a start."""

    def __init__(self, folder, environment=None):
        self.folder = pathlib.Path(folder)
        self.downloads = self.folder / "files"
        self.downloads.mkdir(parents=True, exist_ok=True)
        self.environment = {name: value for name, value in os.environ.items()
                            if name.lower() not in ("http_proxy", "https_proxy", "all_proxy")}
        for name in ("DATA", "CONFIG", "STATE"):
            self.environment[f"XDG_{name}_HOME"] = str(self.folder / name.lower())
        for name in ("SESSION", "SYSTEM"):  # nothing of the real desktop's
            self.environment[f"DBUS_{name}_BUS_ADDRESS"] = f"unix:path={self.folder}/no-bus"
        self.environment.update(environment or {})
        self.list_file = self.folder / "data/Fluvane/downloads.json"
        self.socket = str(self.folder / "data/Fluvane/control.sock")
        self.process = None

    def start(self):
        self.process = self.spawn()
        wait_for(self._is_up, "the application answers")
        return self

    def spawn(self):
        with open(self.folder / "output", "ab") as output:
            return subprocess.Popen([programs / "fluvane", "--headless"], env=self.environment, stdout=output,
                                    stderr=output, stdin=subprocess.DEVNULL)

    def _is_up(self):
        if self.process.poll() is not None:
            raise AssertionError("the application ended: " + (self.folder / "output").read_text())
        return self.ask("list") is not None

    def ask(self, *arguments):
        """(ok, text) straight over the socket, None when nobody answers."""
        with socket.socket(socket.AF_UNIX) as connection:
            try:
                connection.connect(self.socket)  # waits for room, as with a time-out it wouldn't
                connection.settimeout(30)
                connection.sendall(json.dumps(arguments).encode())
                connection.shutdown(socket.SHUT_WR)
                answer = b""
                while chunk := connection.recv(65536):
                    answer += chunk
            except (FileNotFoundError, ConnectionError):
                return None
        status, found, text = answer.decode().partition("\n")
        return (status == "ok", text) if found else None

    def command(self, *arguments):
        answer = self.ask(*arguments)
        if not answer or not answer[0]:
            raise AssertionError(f"{arguments}: {answer}")
        return answer[1]

    def add(self, link, *options):
        return int(self.command("add", link, "--to", str(self.downloads), *options).split()[-1])

    def list(self):
        return json.loads(self.command("list"))

    def download(self, number):
        return next(entry for entry in self.list() if entry["id"] == number)

    def state(self, number):
        return self.download(number)["state"]

    def finished(self, number, seconds=120):
        """Waits until the download is finished, and returns it."""
        def look():
            entry = self.download(number)
            if entry["state"] in ("failed", "paused", "link-expired"):
                raise AssertionError(f"it won't finish: {entry}")
            return entry if entry["state"] == "finished" else None
        return wait_for(look, f"download {number} finishes", seconds)

    def client(self, *arguments, program="fluvane", cwd=None, seconds=60, **options):
        """Runs the client as a user does."""
        return subprocess.run([programs / program, *arguments], env=self.environment, cwd=cwd, timeout=seconds,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, **options)

    def memory(self, field="VmHWM"):
        for line in pathlib.Path(f"/proc/{self.process.pid}/status").read_text().splitlines():
            if line.startswith(field + ":"):
                return int(line.split()[1]) * 1024
        raise AssertionError(f"no {field}")

    def cpu(self):
        """Seconds of the processor so far."""
        fields = pathlib.Path(f"/proc/{self.process.pid}/stat").read_text().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def kill(self):
        """As a power cut would end it."""
        self.process.kill()
        self.process.wait()
        self.process = None

    def stop(self):
        status = end(self.process) if self.process else 0
        self.process = None
        return status


class EndToEnd(unittest.TestCase):
    """Each test has a server and an application, neither of which outlives it."""

    locations = {"/": 0}

    def setUp(self):
        # A short path: a socket's is limited.
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="fluvane-", dir="/tmp"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.server = Server(self.folder / "server", self.locations)
        self.addCleanup(self.server.stop)
        self.application = Application(self.folder / "app")
        self.addCleanup(self._stop_application)

    def _stop_application(self):
        failed = any(error for _, error in getattr(self._outcome, "errors", []) or [])
        status = self.application.stop()
        output = self.folder / "app/output"
        if status != 0 or (failed and output.exists()):
            print(output.read_text()[-8000:], file=sys.stderr)
        self.assertEqual(status, 0, "the application ends cleanly")

    def assert_identical(self, ours, original):
        self.assertEqual(os.path.getsize(ours), os.path.getsize(original))
        self.assertEqual(sha256(ours), sha256(original))
