# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""An HTTP server on loopback that misbehaves as it is told. Standard library only.

    with Server({"file": content}, [rate(1 * MB), on(3, stalls(2 * MiB))]) as server:
        fetch(server.link("file"))

A behaviour is a function of a request and the reply to it, which starts out as that of a good server; each changes
the reply in its turn, so the last one wins. Those with a memory (`sometimes`, `line`…) belong to one server. They are
in behaviours.py."""

import asyncio
import contextlib
import email.utils
import re
import socket
import ssl
import struct
import threading
import time
import zlib

from harness import Ended, free_port

HOSTS = ("127.0.0.1", "127.0.0.2", "127.0.0.3")  # the server is at all of them, so that mirrors are other hosts
CLOSE, CUT, RESET, STALL = "close", "cut", "reset", "stall"  # cut: without the goodbye that TLS says
STAY = "stay"
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


class Standstill:
    """A pace of nothing for so many seconds from the first byte on, for all who share it."""

    def __init__(self, seconds):
        self.seconds, self.until = seconds, None

    async def passes(self, _):
        self.until = self.until or time.monotonic() + self.seconds
        await asyncio.sleep(self.until - time.monotonic())

    @staticmethod
    def rate():
        return NEVER


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
    protocol = "HTTP/1.1"
    chunked = False
    silent = False  # never a byte
    delay = 0
    event = None  # (bytes of bodies on this connection, what happens then: a rate, CLOSE, CUT, RESET or STALL)
    crumb = NEVER  # bytes of the head at a time
    late = None  # (seconds, bytes that nobody asked for) after the body
    raw = None  # all that is sent, in the place of head and body
    then = CLOSE  # what comes after that, or STAY: the next request

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
        headers = {"Connection": "close" if request.last else "keep-alive"}
        if self.status in (200, 206):
            headers = {"Accept-Ranges": "bytes", "ETag": self.tag, "Last-Modified": LAST_CHANGE,
                       "Content-Type": "application/octet-stream", **headers}
        if self.status == 206:
            headers["Content-Range"] = f"bytes {self.first}-{self.end - 1}/{len(self.content)}"
        if not self.chunked:
            headers["Content-Length"] = str(self.end - self.first)
        elif request.version == "HTTP/1.1":
            headers["Transfer-Encoding"] = "chunked"
        headers.update(self.headers)  # which may say anything, a list of values in as many lines
        lines = [f"{self.protocol} {self.status} {WORDS.get(self.status, 'Other')}",
                 f"Date: {email.utils.formatdate(usegmt=True)}",
                 *(f"{name}: {value}" for name, values in headers.items()
                   for value in (values if isinstance(values, list) else [values]) if value is not None)]
        return "\r\n".join([*lines, "", ""]).encode()


# -- The server

class Server(Ended):
    """In a thread of its own. `content` maps names to bytes; a name is found in whatever folder it is asked for."""

    def __init__(self, content, behaviours=(), tls=None, latency=0, host=HOSTS[0], hosts=HOSTS):
        self.hosts = hosts
        self.content, self.behaviours, self.host = content, list(behaviours), host
        self.tags = {name: f'"{zlib.crc32(each):08x}"' for name, each in content.items()}
        self.tls = None
        if tls:
            self.tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            self.tls.load_cert_chain(*tls)
        self.answering = self.held = self.connections = 0
        self.sent = 0  # bytes of bodies
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
        return f"{'https' if self.tls else 'http'}://{self.hosts[mirror]}:{self.port}{path}"

    def stop(self):
        self._wait(self._close())
        self.loop.call_soon_threadsafe(self.loop.stop)
        self.thread.join()
        self.loop.close()

    def _wait(self, work):
        return asyncio.run_coroutine_threadsafe(work, self.loop).result(20)

    async def _open(self):
        self.doors.append(await asyncio.start_server(self._serve, self.hosts, self.port, ssl=self.tls))

    async def _open_proxy(self, latency):
        self.doors.append(await asyncio.start_server(delaying_proxy(self.port, latency), HOSTS[0], self.front))

    async def _close(self):
        for door in self.doors:
            door.close()
        others = asyncio.all_tasks() - {asyncio.current_task()}
        for task in others:
            task.cancel()
        await asyncio.gather(*others, return_exceptions=True)

    def hang_up(self):
        """Resets all connections."""
        self._wait(self._hang_up())

    async def _hang_up(self):
        for writer in list(self.writers):
            reset(writer)

    async def leave(self, after, seconds):
        await asyncio.sleep(after)
        for door in self.doors:
            door.close()
        await self._hang_up()
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
        if reply.raw:
            return await self._raw(reader, writer, reply)
        with self._counted("answering") if reply.status in (200, 206) else contextlib.nullcontext():
            await asyncio.sleep(reply.delay)
            await self._head(writer, reply.head(request), reply.crumb)
            whole = request.method == "HEAD" or await self._body(reader, writer, reply, request, state)
        return whole and not request.last

    @contextlib.contextmanager
    def _counted(self, name):
        setattr(self, name, getattr(self, name) + 1)
        try:
            yield
        finally:
            setattr(self, name, getattr(self, name) - 1)

    @staticmethod
    async def _head(writer, head, crumb):
        for at in range(0, len(head), crumb):
            writer.write(head[at:at + crumb])
            await writer.drain()
            await asyncio.sleep(0)

    async def _raw(self, reader, writer, reply):
        for part in reply.raw:
            writer.write(part)
            await writer.drain()
            await asyncio.sleep(0)  # what has no end must let others in
        await self._break(reply.then, reader, writer)
        return reply.then == STAY

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
            self.sent += count
            left = left[count:]
        writer.write(b"0\r\n\r\n" if framed else b"")
        await writer.drain()
        if reply.late:
            await asyncio.sleep(reply.late[0])
            writer.write(reply.late[1])
            await writer.drain()
        return True

    @staticmethod
    async def _break(action, reader, writer):
        if action == STALL:
            await silence(reader)
        elif action == RESET:
            reset(writer)
        elif action == CUT:
            await asyncio.sleep(0.05)  # the last bytes are on their way
            writer.transport.abort()


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
