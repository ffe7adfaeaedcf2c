# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""What everything stands on that tries the programs from outside, the benchmarks too. Standard library only.

Server       nginx on loopback, as fast as is asked for
Application  the application in a data folder of its own: started, asked, killed, started again
Test         a test with a folder, after which nothing is left: no process, no file
Desk         (desk.py) a desktop of its own: a message bus, services played on it, a display

Each is a context manager, which `self.enterContext` ends with the test. What is started dies with the test even
if that is killed, and what an application starts counts as the test's own. All waiting for what tells nobody is
`wait_for`'s."""

import atexit
import contextlib
import ctypes
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
programs = pathlib.Path(__file__).resolve().parents[2] / "build/release"
if len(sys.argv) > 1 and os.path.isdir(sys.argv[1]):
    programs = pathlib.Path(sys.argv.pop(1)).resolve()


# -- Processes and folders

_system = ctypes.CDLL(None)
_DEATH_SIGNAL, _CHILD_SUBREAPER = 1, 36  # of prctl


def start(command, environment=None, **options):
    """A process of ours, which dies with us."""
    return subprocess.Popen([str(word) for word in command], env=environment,
                            preexec_fn=lambda: _system.prctl(_DEATH_SIGNAL, signal.SIGKILL), **options)


def end(process, how=signal.SIGTERM, seconds=20):
    """Ends a process that we started, also one that hangs; returns its exit status."""
    if process.poll() is None:
        process.send_signal(how)
        process.send_signal(signal.SIGCONT)
        try:
            process.wait(seconds)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
            raise AssertionError(f"process {process.pid} didn't end when asked to") from None
    return process.returncode


def wait_for(condition, what, seconds=30, interval=0.01):
    """Looks until the condition gives something true, and returns that."""
    deadline = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise AssertionError(f"waited {seconds} s in vain: {what}")
        time.sleep(interval)


def children():
    """Our processes and, since orphans come to us, those that ours left behind."""
    running = pathlib.Path(f"/proc/self/task/{os.getpid()}/children").read_text().split()
    with contextlib.suppress(ChildProcessError):
        return [pid for pid in map(int, running) if os.waitpid(pid, os.WNOHANG)[0] == 0]
    return []


def end_leftovers(seconds):
    """Ends what still runs after so many seconds; returns what that was."""
    left = {}
    deadline = time.monotonic() + seconds
    while pids := children():
        if time.monotonic() > deadline:
            for pid in pids:
                with contextlib.suppress(OSError):
                    left.setdefault(pid, pathlib.Path(f"/proc/{pid}/cmdline").read_text().replace("\0", " "))
                    os.kill(pid, signal.SIGKILL)
        time.sleep(0.01)
    return left


@contextlib.contextmanager
def scene():
    """A folder for a test, with a short path as that of a socket must be. Fails if a process is left at its end."""
    folder = pathlib.Path(tempfile.mkdtemp(prefix=f"fluvane-{os.getpid()}-", dir="/tmp"))
    try:
        yield folder
    finally:
        left = end_leftovers(10)
        shutil.rmtree(folder, ignore_errors=True)
        if left:
            raise AssertionError(f"left running: {left}")


_system.prctl(_CHILD_SUBREAPER, 1)
atexit.register(end_leftovers, 0)
signal.signal(signal.SIGTERM, signal.default_int_handler)  # so that being ended is an end, too


class Ended:
    """Something that is stopped at the end of a `with` or of a test."""

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()


def free_port():
    """Below the range the system hands out, so that it stays free until it is listened on."""
    first, last = map(int, os.environ.get("FLUVANE_TEST_PORTS", "20000-31999").split("-"))
    while True:
        port = random.randint(first, last)
        with socket.socket() as probe, contextlib.suppress(OSError):
            probe.bind(("127.0.0.1", port))
            return port


def sha256(path):
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()


# -- The server

class Server(Ended):
    """nginx on loopback. `locations` maps a path prefix to the bytes per second of each connection (0: no limit) or to
    directives of nginx's; every prefix serves the same files."""

    def __init__(self, folder, locations, tls=None, workers=1, address="127.0.0.1"):
        self.address = address
        self.folder = pathlib.Path(folder)
        self.files = self.folder / "www"
        self.files.mkdir(parents=True, exist_ok=True)
        self.log = self.folder / "access.log"
        self.port = free_port()
        self.scheme = "https" if tls else "http"
        self._write_configuration(locations, tls, workers)
        nginx = shutil.which("nginx", path=os.environ["PATH"] + ":/usr/sbin")
        self.process = start([nginx, "-e", self.folder / "error.log", "-c", self.folder / "nginx.conf"])
        wait_for(self._answers, "nginx answers")

    def _write_configuration(self, locations, tls, workers):
        user = "user root;" if os.geteuid() == 0 else ""  # else it couldn't look into the folder
        # One process where one will do: workers would outlive a master that is killed.
        processes = f"worker_processes {workers};" if workers > 1 else "master_process off;"
        temporary = "\n".join(f"{kind}_temp_path {self.folder}/{kind};"
                              for kind in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        places = "\n".join(f"location {prefix} {{ alias {self.files}/; "
                           f"{how if isinstance(how, str) else f'limit_rate {how};'} }}"
                           for prefix, how in locations.items())
        secure = f"ssl_certificate {tls[0]}; ssl_certificate_key {tls[1]};" if tls else ""
        (self.folder / "nginx.conf").write_text(f"""
            {user} daemon off; {processes} pid {self.folder}/nginx.pid;
            events {{ worker_connections 256; }}
            http {{
                {temporary}
                sendfile on; tcp_nopush on; keepalive_requests 100000;
                log_format plain '$status $body_bytes_sent $connection $request_uri "$http_range"';
                access_log {self.log} plain;
                log_format asked '$status $request "$http_cookie" "$http_authorization" "$http_x_key" "$http_user_agent"';
                access_log {self.folder}/asked.log asked;
                server {{ listen {self.address}:{self.port} {"ssl" if tls else ""}; {secure} {places} }}
            }}""")

    def _answers(self):
        if self.process.poll() is not None:
            raise AssertionError("nginx ended: " + (self.folder / "error.log").read_text())
        with contextlib.suppress(OSError):
            socket.create_connection((self.address, self.port), 1).close()
            return True
        return False

    def link(self, path):
        return f"{self.scheme}://{self.address}:{self.port}{path}"

    def make_file(self, name, size):
        """Bytes that no two places of the file have in common."""
        path = self.files / name
        generator = random.Random(name)
        with open(path, "wb") as file:
            while (left := size - file.tell()) > 0:
                file.write(generator.randbytes(min(left, 4 * MiB)))
        return path

    def sent(self):
        """Bytes of bodies sent in all requests that have ended."""
        return sum(int(line.split()[1]) for line in self.log.read_text().splitlines())

    def asked(self):
        """A line for each request that has ended: status, request, cookies, login, key and user agent."""
        log = self.folder / "asked.log"
        return log.read_text().splitlines() if log.exists() else []

    def stop(self):
        end(self.process)


# -- The application

class Application(Ended):
    """In a data folder of its own, which outlives a start. Without a display if `arguments` doesn't say otherwise,
    and on no bus but that of a desk's environment."""

    arguments = ("--headless",)
    within = ()  # a command that runs the program, as in another namespace

    def __init__(self, folder, environment=None):
        self.folder = pathlib.Path(folder)
        self.downloads = self.folder / "files"
        self.downloads.mkdir(parents=True, exist_ok=True)
        self.environment = {name: value for name, value in os.environ.items()
                            if name.lower() not in ("http_proxy", "https_proxy", "all_proxy")}
        for name in ("DATA", "CONFIG", "STATE", "CACHE"):
            self.environment[f"XDG_{name}_HOME"] = str(self.folder / name.lower())
        self.runtime = self.folder / "runtime"
        self.runtime.mkdir(mode=0o700, exist_ok=True)
        self.environment["XDG_RUNTIME_DIR"] = str(self.runtime)
        for name in ("SESSION", "SYSTEM"):  # nothing of the real desktop's
            self.environment[f"DBUS_{name}_BUS_ADDRESS"] = f"unix:path={self.folder}/no-bus"
        self.environment.update(environment or {})
        self.list_file = self.folder / "data/Fluvane/downloads.json"
        self.socket = str(self.folder / "data/Fluvane/control.sock")
        self.output = self.folder / "output"
        self.process = None

    def start(self):
        return self.up(self.spawn())

    def up(self, process):
        """Takes the process for the application's, once it answers."""
        self.process = process
        wait_for(self._answers, "the application answers")
        return self

    def spawn(self, *arguments):
        with open(self.output, "ab") as output:
            return start([*self.within, programs / "fluvane", *(arguments or self.arguments)], self.environment,
                         stdout=output, stderr=output, stdin=subprocess.DEVNULL)

    def _answers(self):
        if self.process.poll() is not None:
            raise AssertionError("the application ended: " + self.output.read_text())
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

    def downloaded(self, number, least):
        wait_for(lambda: self.download(number)["downloaded"] >= least, f"{least} bytes are in", 90)

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

    def kill(self):
        """As a power cut would end it, but for what the disk still has to write."""
        self.process.kill()
        self.process.wait()
        self.process = None

    def stop(self):
        status = end(self.process) if self.process else 0
        self.process = None
        return status


# -- Tests

class Test(unittest.TestCase):
    """Each has a folder, and an application if the class says so. Nothing outlives it, also when it fails."""

    def setUp(self):
        self.folder = self.enterContext(scene())

    def use(self, application):
        """The application of this test, which must end cleanly."""
        def stop():
            status = application.stop()
            if (status != 0 or not self._outcome.success) and application.output.exists():
                print(application.output.read_text()[-8000:], file=sys.stderr)
            self.assertEqual(status, 0, "the application ends cleanly")
        self.addCleanup(stop)
        return application

    def assert_identical(self, ours, original):
        self.assertEqual(os.path.getsize(ours), os.path.getsize(original))
        self.assertEqual(sha256(ours), sha256(original))


class EndToEnd(Test):
    """With a server and an application."""

    locations = {"/": 0}

    def setUp(self):
        super().setUp()
        self.server = self.enterContext(Server(self.folder / "server", self.locations))
        self.application = self.use(Application(self.folder / "app"))
