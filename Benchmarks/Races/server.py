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


class Request:
    def __init__(self, server, connection, method, path, version, headers):
        self.server, self.connection = server, connection  # connections count from 1, in the order of first requests
        self.method, self.path, self.version, self.headers = method, path, version, headers
        self.answering = server.answering + 1  # replies under way, with this one

    @property
    def name(self):
        return self.path.rsplit("/", 1)[-1]


class Reply:
    def __init__(self, request, content):
        self.status, self.headers = 200, {}
        self.content, self.first, self.end = content, 0, len(content)
        self.tag = request.server.tags.get(request.name, "")
        self.chunked = False
        self.silent = False  # never a byte
        self.delay = 0
        self.paces = {}
        self.event = None  # (bytes of bodies on this connection, what happens then: a rate, CLOSE, RESET or STALL)
        self.wanted = self._range(request)
        self.take_part(request)

    def _range(self, request):
        found = re.fullmatch(r"bytes=(\d+)-(\d*)", request.headers.get("range", ""))
        return (int(found[1]), int(found[2] or len(self.content) - 1) + 1) if found else None

    def take_part(self, request):
        """As was asked for, if the file is still the one that the client knows."""
        self.status, self.first, self.end = 200, 0, len(self.content)
        if not self.wanted or request.headers.get("if-range", self.tag) not in (self.tag, LAST_CHANGE):
            return
        if self.wanted[0] >= len(self.content):
            self.refuse(416, {"Content-Range": f"bytes */{len(self.content)}"})
            return
        self.status, self.first, self.end = 206, self.wanted[0], min(self.wanted[1], len(self.content))

    def refuse(self, status, headers=None):
        self.status, self.headers, self.first, self.end = status, dict(headers or {}), 0, 0

    def head(self, request):
        headers = {"Connection": "close" if self.last(request) else "keep-alive", **self.headers}
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

    @staticmethod
    def last(request):
        return request.version == "HTTP/1.0" or request.headers.get("connection", "").lower() == "close"


# -- Behaviours

def rate(bytes_per_second):
    """Each connection's own."""
    def behave(_, reply):
        reply.paces["own"] = Pace(bytes_per_second)
    return behave


def line(bytes_per_second):
    """Of all connections together."""
    shared = Pace(bytes_per_second)

    def behave(_, reply):
        reply.paces["line"] = shared
    return behave


def limited(seconds, low, high):
    """A line whose limit is lifted so long after the first request."""
    since = time_since_first()

    def behave(request, reply):
        since(request)
        reply.paces["line"] = shared
    shared = Pace(lambda: low if since() < seconds else high)
    return behave


def time_since_first():
    began = []

    def since(_=None):
        began.append(time.monotonic()) if not began else None
        return time.monotonic() - began[0]
    return since


def on(connections, *behaviours):
    """Only on the connection with this number, or with one of these."""
    numbers = {connections} if isinstance(connections, int) else set(connections)
    return when(lambda request: request.connection in numbers, *behaviours)


def when(condition, *behaviours):
    def behave(request, reply):
        if condition(request):
            for each in behaviours:
                each(request, reply)
    return behave


def under(prefix, *behaviours):
    return when(lambda request: request.path.startswith(prefix), *behaviours)


def beyond(count, *behaviours):
    """For requests that come while so many are being answered."""
    return when(lambda request: request.answering > count, *behaviours)


def sometimes(one_in, *behaviours, seed=1, after=0):
    """By chance, which is the same in every run; not before so many requests."""
    chance, seen = random.Random(seed), []

    def condition(request):
        seen.append(request)
        return len(seen) > after and chance.randrange(one_in) == 0
    return when(condition, *behaviours)


def happens(after, action):
    """After so many bytes of bodies on a connection: another rate, CLOSE, RESET or STALL."""
    def behave(_, reply):
        reply.event = (after, action)
    return behave


def happens_within(low, high, action, seed=1):
    chance = random.Random(seed)
    return lambda request, reply: happens(chance.randrange(low, high), action)(request, reply)


def never_answers(most=1 << 30):
    """So many at a time, as in a queue that nobody serves."""
    def behave(request, reply):
        reply.silent = request.server.held < most
    return behave


def refuses(status, **headers):
    """`refuses(503, retry_after=5)`"""
    named = {name.replace("_", "-").title(): value for name, value in headers.items()}
    return lambda _, reply: reply.refuse(status, named)


def ignores_ranges():
    """And says that it doesn't."""
    def behave(request, reply):
        reply.wanted = None
        reply.take_part(request)
    return behave


def shortens(most):
    """Parts to so many bytes, as the standard allows."""
    def behave(_, reply):
        if reply.status == 206:
            reply.end = min(reply.end, reply.first + most)
    return behave


def without_length():
    def behave(request, reply):
        ignores_ranges()(request, reply)
        reply.chunked, reply.headers["Accept-Ranges"] = True, None
    return behave


def delays(seconds):
    def behave(_, reply):
        reply.delay = seconds
    return behave


def tagged(tag):
    """Another ETag than the content's own."""
    def behave(request, reply):
        if reply.status in (200, 206):
            reply.tag = f'"{tag}"'
            reply.take_part(request)
    return behave


def by_turns(*mirrors):
    """The link leads to another host with each request: the n-th one's path begins with /mirror-n/."""
    turn = iter(range(1 << 30))

    def behave(request, reply):
        if not request.path.startswith("/mirror-"):
            mirror = mirrors[next(turn) % len(mirrors)]
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
    scheduled = []

    def behave(request, _):
        if not scheduled:
            scheduled.append(asyncio.get_running_loop().create_task(request.server.leave(after, seconds)))
    return behave


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
        self.answering = self.held = self.connections = self.requests = 0
        self.writers = set()
        self.port = free_port()
        self.loop = asyncio.new_event_loop()
        self.thread = threading.Thread(target=self.loop.run_forever)
        self.thread.start()
        try:
            self._wait(self._open())
            self.front = self._wait(delaying_proxy(self, latency)) if latency else self.port
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
        self.listener = await asyncio.start_server(self._serve, HOSTS, self.port, ssl=self.tls, limit=65536)

    async def _close(self):
        self.listener.close()
        others = asyncio.all_tasks() - {asyncio.current_task()}
        for task in others:
            task.cancel()
        await asyncio.gather(*others, return_exceptions=True)

    async def leave(self, after, seconds):
        await asyncio.sleep(after)
        self.listener.close()
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
        head = (await reader.readuntil(b"\r\n\r\n")).decode("latin-1").split("\r\n")
        if not state["number"]:
            self.connections += 1
            state["number"] = self.connections
        self.requests += 1
        headers = {name.strip().lower(): value.strip() for name, _, value in (row.partition(":") for row in head[1:])}
        request = Request(self, state["number"], *head[0].split(" "), headers)
        reply = Reply(request, self.content.get(request.name, b""))
        if request.name not in self.content:
            reply.refuse(404)
        for behave in self.behaviours:
            behave(request, reply)
        if reply.silent:
            self.held += 1
            try:
                return await silence(reader)
            finally:
                self.held -= 1
        counts = reply.status in (200, 206)
        self.answering += counts
        try:
            await asyncio.sleep(reply.delay)
            writer.write(reply.head(request))
            await writer.drain()
            if request.method == "GET" and not await self._body(reader, writer, reply, request, state):
                return False
        finally:
            self.answering -= counts
        return not reply.last(request)

    async def _body(self, reader, writer, reply, request, state):
        """False when the reply was broken off."""
        framed = reply.chunked and request.version == "HTTP/1.1"
        left = memoryview(reply.content)[reply.first:reply.end]
        while left:
            count = min([65536, len(left), *(max(512, int(pace.rate() / 50)) for pace in reply.paces.values())])
            if reply.event:
                room = reply.event[0] - state["sent"]
                if room <= 0:
                    action, reply.event = reply.event[1], None
                    if not isinstance(action, str):
                        reply.paces["own"] = Pace(action)
                        continue
                    if action == STALL:
                        return await silence(reader)
                    if action == RESET:
                        reset(writer)
                    return False
                count = min(count, room)
            for pace in reply.paces.values():
                await pace.passes(count)
            writer.write(b"%x\r\n%b\r\n" % (count, left[:count]) if framed else left[:count])
            await writer.drain()
            state["sent"] += count
            left = left[count:]
        if framed:
            writer.write(b"0\r\n\r\n")
        await writer.drain()
        return True


async def silence(reader):
    while await reader.read(65536):
        pass
    return False


def reset(writer):
    with contextlib.suppress(OSError):
        writer.get_extra_info("socket").setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    writer.transport.abort()


async def delaying_proxy(server, latency):
    """A port before the server's that everything passes with so many seconds for a round trip."""
    async def pump(reader, writer, first=0):
        queue = asyncio.Queue()

        async def read():
            while data := await reader.read(65536):
                queue.put_nowait((time.monotonic() + first + latency / 2, data))
            queue.put_nowait((time.monotonic() + first + latency / 2, b""))

        async def write():
            while True:
                due, data = await queue.get()
                await asyncio.sleep(due - time.monotonic())
                if not data:
                    break
                writer.write(data)
                await writer.drain()
            writer.write_eof()
        await asyncio.gather(read(), write())

    async def serve(reader, writer):
        try:
            inner_reader, inner_writer = await asyncio.open_connection(HOSTS[0], server.port)
            try:
                # Connecting took no time here, but would have taken a round trip.
                pumps = [asyncio.ensure_future(pump(reader, inner_writer, latency)),
                         asyncio.ensure_future(pump(inner_reader, writer))]
                done, left = await asyncio.wait(pumps, return_when=asyncio.FIRST_EXCEPTION)
                for task in left:
                    task.cancel()
                await asyncio.gather(*pumps, return_exceptions=True)
            finally:
                inner_writer.transport.abort()
        except (OSError, asyncio.CancelledError):
            pass
        writer.close()

    port = free_port()
    await asyncio.start_server(serve, HOSTS[0], port)
    return port


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
