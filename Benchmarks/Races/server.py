# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""An HTTP server on loopback that misbehaves as it is told. Standard library only.

    with Server({"file": content}, [rate(1 * MB), on(3, stalls(2 * MiB))]) as server:
        fetch(server.link("file"))

A behaviour is a function of a request and the reply to it, which starts out as that of a good server; each changes
the reply in its turn, so the last one wins. Those with a memory (`sometimes`, `line`…) belong to one server."""

import asyncio
import contextlib
import email.utils
import itertools
import random
import re
import socket
import ssl
import struct
import threading
import time
import zlib

from harness import Ended, free_port

HOSTS = ("127.0.0.1", "127.0.0.2", "127.0.0.3")  # the server is at all of them, so that mirrors are other hosts
CLOSE, RESET, STALL = "close", "reset", "stall"
NEVER = 1 << 60
WORDS = {200: "OK", 206: "Partial Content", 302: "Found", 403: "Forbidden", 404: "Not Found",
         416: "Range Not Satisfiable", 429: "Too Many Requests", 503: "Service Unavailable"}
LAST_CHANGE = "Sat, 03 Jan 2026 10:00:00 GMT"


class Pace:
    """Lets bytes pass at a rate, a number or a function that gives one. Shared by connections, it is a line's."""

    def __init__(self, rate):
        self.rate = rate if callable(rate) else lambda: rate
        self.due = 0

    async def passes(self, count):
        now = time.monotonic()
        self.due = max(self.due, now - 0.1) + count / self.rate()  # what a late timer lost is caught up
        await asyncio.sleep(self.due - now)


class Meter:
    """Stands among the paces, of which it is none: notes what passes, and when."""

    def __init__(self):
        self.passed = []

    def rate(self):
        return NEVER

    async def passes(self, count):
        self.passed.append((time.monotonic(), count))

    def since(self, moment=0):
        """Bytes."""
        return sum(count for when, count in self.passed if when >= moment)


class Request:
    def __init__(self, server, connection, lines):
        self.server, self.connection = server, connection  # connections count from 1, in the order of first requests
        self.method, self.path, self.version = lines[0].split(" ")
        self.headers = {name.strip().lower(): value.strip() for name, _, value in (row.partition(":")
                                                                                   for row in lines[1:])}
        self.name = self.path.rsplit("/", 1)[-1]
        self.answering = server.answering + 1  # replies under way, with this one
        self.last = self.version == "HTTP/1.0" or self.headers.get("connection", "").lower() == "close"


class Reply:
    chunked = False
    silent = False  # never a byte
    delay = 0
    event = None  # (bytes of bodies on this connection, what happens then: a rate, CLOSE, RESET or STALL)

    def __init__(self, request):
        self.content, self.tag = request.server.content.get(request.name), request.server.tags.get(request.name)
        self.headers, self.paces = {}, {}
        if self.content is None:
            self.refuse(404)
        else:
            self.give(request)

    def give(self, request):
        """What was asked for: a part if the file is still the one that the client knows."""
        part = re.fullmatch(r"bytes=(\d+)-(\d*)", request.headers.get("range", ""))
        size = len(self.content)
        if not part or request.headers.get("if-range", self.tag) not in (self.tag, LAST_CHANGE):
            self.status, self.first, self.end = 200, 0, size
        elif int(part[1]) >= size:
            self.refuse(416, {"Content-Range": f"bytes */{size}"})
        else:
            self.status, self.first, self.end = 206, int(part[1]), min(int(part[2] or size) + 1, size)

    def refuse(self, status, headers=None):
        self.status, self.headers, self.first, self.end = status, dict(headers or {}), 0, 0

    def head(self, request):
        headers = {"Connection": "close" if request.last else "keep-alive", **self.headers}
        if self.status in (200, 206):
            headers = {"Accept-Ranges": "bytes", "ETag": self.tag, "Last-Modified": LAST_CHANGE,
                       "Content-Type": "application/octet-stream", **headers}
        if self.status == 206:
            headers["Content-Range"] = f"bytes {self.first}-{self.end - 1}/{len(self.content)}"
        if not self.chunked:
            headers["Content-Length"] = str(self.end - self.first)
        elif request.version == "HTTP/1.1":
            headers["Transfer-Encoding"] = "chunked"
        lines = [f"HTTP/1.1 {self.status} {WORDS[self.status]}", f"Date: {email.utils.formatdate(usegmt=True)}",
                 *(f"{name}: {value}" for name, value in headers.items() if value is not None)]
        return "\r\n".join([*lines, "", ""]).encode()


# -- Behaviours

def sets(**fields):
    return lambda _, reply: reply.__dict__.update(fields)


def rate(bytes_per_second):
    """Each connection's own."""
    return lambda _, reply: reply.paces.update(own=Pace(bytes_per_second))


def line(bytes_per_second):
    """Of all connections together."""
    shared = Pace(bytes_per_second)
    return lambda _, reply: reply.paces.update(line=shared)


def metered(meter):
    return lambda _, reply: reply.paces.update(meter=meter)


def limited(seconds, low, high):
    """A line whose limit is lifted so long after the first request."""
    requests = []
    narrow = line(lambda: low if time.monotonic() < requests[0] + seconds else high)

    def behave(request, reply):
        requests.append(time.monotonic())
        narrow(request, reply)
    return behave


def when(condition, *behaviours):
    def behave(request, reply):
        if condition(request):
            for each in behaviours:
                each(request, reply)
    return behave


def on(connection, *behaviours):
    """Only on the connection with this number."""
    return when(lambda request: request.connection == connection, *behaviours)


def under(prefix, *behaviours):
    return when(lambda request: request.path.startswith(prefix), *behaviours)


def beyond(count, *behaviours):
    """For requests that come while so many are being answered."""
    return when(lambda request: request.answering > count, *behaviours)


def sometimes(one_in, *behaviours, seed=1, after=0):
    """By chance, which is the same in every run; not for so many requests at first."""
    chance, numbers = random.Random(seed), itertools.count()
    return when(lambda _: next(numbers) >= after and chance.randrange(one_in) == 0, *behaviours)


def happens(after, action):
    """After so many bytes of bodies on a connection: another rate, CLOSE, RESET or STALL."""
    return sets(event=(after, action))


def happens_within(most, action, seed=1):
    chance = random.Random(seed)
    return lambda request, reply: happens(chance.randrange(most), action)(request, reply)


def never_answers(most=1 << 30):
    """So many at a time, as in a queue that nobody serves."""
    return when(lambda request: request.server.held < most, sets(silent=True))


def delays(seconds):
    return sets(delay=seconds)


def refuses(status, **headers):
    """`refuses(503, retry_after=5)`"""
    named = {name.replace("_", "-").title(): value for name, value in headers.items()}
    return lambda _, reply: reply.refuse(status, named)


def ignores_ranges():
    """And doesn't say so."""
    return lambda _, reply: reply.__dict__.update(status=200, first=0, end=len(reply.content))


def without_length():
    whole = ignores_ranges()

    def behave(request, reply):
        whole(request, reply)
        reply.chunked, reply.headers["Accept-Ranges"] = True, None
    return behave


def shortens(most):
    """Parts to so many bytes, as the standard allows."""
    def behave(_, reply):
        if reply.status == 206:
            reply.end = min(reply.end, reply.first + most)
    return behave


def tagged(tag):
    """Another ETag than the content's own."""
    def behave(request, reply):
        reply.tag = f'"{tag}"'
        reply.give(request)
    return behave


def by_turns(*mirrors):
    """The link leads to another host with each request, to paths that begin with /mirror-<number>/."""
    turns = itertools.cycle(mirrors)

    def behave(request, reply):
        if not request.path.startswith("/mirror-"):
            mirror = next(turns)
            reply.refuse(302, {"Location": request.server.at(f"/mirror-{mirror}/{request.name}", mirror)})
    return behave


def signs(seconds):
    """The link leads to one that is good for so long."""
    def behave(request, reply):
        signed = re.match(r"/signed-([\d.]+)/", request.path)
        if not signed:
            reply.refuse(302, {"Location": request.server.at(f"/signed-{time.monotonic()}/{request.name}", 1)})
        elif time.monotonic() - float(signed[1]) > seconds:
            reply.refuse(403)
    return behave


def gone(after, seconds):
    """So long after the first request nobody is there, for so many seconds: connections break, new ones are refused."""
    leaving = []
    return when(lambda request: not leaving, lambda request, _: leaving.append(
        asyncio.get_running_loop().create_task(request.server.leave(after, seconds))))


# -- The server

class Server(Ended):
    """In a thread of its own. `content` maps names to bytes; a name is found in whatever folder it is asked for."""

    def __init__(self, content, behaviours=(), tls=None, latency=0, host=HOSTS[0]):
        self.content, self.behaviours, self.host = content, list(behaviours), host
        self.tags = {name: f'"{zlib.crc32(each):08x}"' for name, each in content.items()}
        self.tls = None
        if tls:
            self.tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            self.tls.load_cert_chain(*tls)
        self.answering = self.held = self.connections = 0
        self.doors, self.writers = [], set()
        self.port = free_port()
        self.loop = asyncio.new_event_loop()
        self.thread = threading.Thread(target=self.loop.run_forever)
        self.thread.start()
        try:
            self._wait(self._open())
            self.front = self.port
            if latency:
                self.front = free_port()
                self._wait(self._open_proxy(latency))
        except BaseException:
            self.stop()
            raise

    def link(self, name):
        return f"{'https' if self.tls else 'http'}://{self.host}:{self.front}/{name}"

    def at(self, path, mirror):
        return f"{'https' if self.tls else 'http'}://{HOSTS[mirror]}:{self.port}{path}"

    def stop(self):
        self._wait(self._close())
        self.loop.call_soon_threadsafe(self.loop.stop)
        self.thread.join()
        self.loop.close()

    def _wait(self, work):
        return asyncio.run_coroutine_threadsafe(work, self.loop).result(20)

    async def _open(self):
        self.doors.append(await asyncio.start_server(self._serve, HOSTS, self.port, ssl=self.tls))

    async def _open_proxy(self, latency):
        self.doors.append(await asyncio.start_server(delaying_proxy(self.port, latency), HOSTS[0], self.front))

    async def _close(self):
        for door in self.doors:
            door.close()
        others = asyncio.all_tasks() - {asyncio.current_task()}
        for task in others:
            task.cancel()
        await asyncio.gather(*others, return_exceptions=True)

    async def leave(self, after, seconds):
        await asyncio.sleep(after)
        for door in self.doors:
            door.close()
        for writer in list(self.writers):
            reset(writer)
        await asyncio.sleep(seconds)
        await self._open()

    async def _serve(self, reader, writer):
        self.writers.add(writer)
        writer.transport.set_write_buffer_limits(65536)
        state = {"number": 0, "sent": 0}
        try:
            while await self._exchange(reader, writer, state):
                pass
            writer.close()
        except (OSError, asyncio.IncompleteReadError, asyncio.CancelledError, ssl.SSLError):
            writer.transport.abort()
        finally:
            self.writers.discard(writer)

    async def _exchange(self, reader, writer, state):
        """One request and its reply; whether another may follow."""
        lines = (await reader.readuntil(b"\r\n\r\n")).decode("latin-1").split("\r\n")
        if not state["number"]:
            self.connections += 1
            state["number"] = self.connections
        request = Request(self, state["number"], lines)
        reply = Reply(request)
        for behave in self.behaviours:
            behave(request, reply)
        if reply.silent:
            with self._counted("held"):
                return await silence(reader)
        with self._counted("answering") if reply.status in (200, 206) else contextlib.nullcontext():
            await asyncio.sleep(reply.delay)
            writer.write(reply.head(request))
            await writer.drain()
            whole = request.method == "HEAD" or await self._body(reader, writer, reply, request, state)
        return whole and not request.last

    @contextlib.contextmanager
    def _counted(self, name):
        setattr(self, name, getattr(self, name) + 1)
        try:
            yield
        finally:
            setattr(self, name, getattr(self, name) - 1)

    async def _body(self, reader, writer, reply, request, state):
        """False when the reply was broken off."""
        framed = reply.chunked and request.version == "HTTP/1.1"
        left = memoryview(reply.content or b"")[reply.first:reply.end]
        while left:
            after, action = reply.event or (NEVER, CLOSE)
            if state["sent"] >= after:
                if isinstance(action, str):
                    await self._break(action, reader, writer)
                    return False
                reply.paces["own"], reply.event = Pace(action), None
                continue
            count = min([65536, len(left), after - state["sent"],
                         *(max(512, int(pace.rate() / 50)) for pace in reply.paces.values())])
            for pace in reply.paces.values():
                await pace.passes(count)
            writer.write(b"%x\r\n%b\r\n" % (count, left[:count]) if framed else left[:count])
            await writer.drain()
            state["sent"] += count
            left = left[count:]
        writer.write(b"0\r\n\r\n" if framed else b"")
        await writer.drain()
        return True

    @staticmethod
    async def _break(action, reader, writer):
        if action == STALL:
            await silence(reader)
        elif action == RESET:
            reset(writer)


async def silence(reader):
    while await reader.read(65536):
        pass
    return False


def reset(writer):
    with contextlib.suppress(OSError):
        writer.get_extra_info("socket").setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    writer.transport.abort()


def delaying_proxy(port, latency):
    """What serves a port before this one, that everything passes with so many seconds for a round trip."""
    async def read(reader, queue, delay):
        data = b"some"
        while data:
            data = await reader.read(65536)
            queue.put_nowait((time.monotonic() + delay, data))

    async def write(writer, queue):
        while True:
            due, data = await queue.get()
            await asyncio.sleep(due - time.monotonic())
            if not data:
                return writer.write_eof()
            writer.write(data)
            await writer.drain()

    async def serve(reader, writer):
        inner_reader, inner_writer = await asyncio.open_connection(HOSTS[0], port)
        there, back = asyncio.Queue(), asyncio.Queue()
        # Connecting took no time here, but would have taken a round trip.
        tasks = [asyncio.ensure_future(work) for work in (
            read(reader, there, 1.5 * latency), write(inner_writer, there),
            read(inner_reader, back, 0.5 * latency), write(writer, back))]
        try:
            await asyncio.wait(tasks, return_when=asyncio.FIRST_EXCEPTION)
        except asyncio.CancelledError:
            pass
        for task in tasks:
            task.cancel()
        await asyncio.gather(*tasks, return_exceptions=True)
        inner_writer.transport.abort()
        writer.close()
    return serve


class DeadPort(Ended):
    """A port of ::1 where nothing is answered, not even the wish to connect: its queue is full."""

    def __init__(self, port):
        self.listener = socket.socket(socket.AF_INET6)
        self.listener.bind(("::1", port))
        self.listener.listen(0)
        self.waiting = []
        for _ in range(3):
            each = socket.socket(socket.AF_INET6)
            each.setblocking(False)
            each.connect_ex(("::1", port))
            self.waiting.append(each)

    def stop(self):
        for each in (*self.waiting, self.listener):
            each.close()
