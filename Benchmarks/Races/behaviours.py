# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""What the scripted server can be told to do. Each is, or makes, a function of a request and the reply to it."""

import asyncio
import itertools
import random
import re
import time

from server import CLOSE, STAY, Pace, Standstill


def sets(**fields):
    return lambda _, reply: reply.__dict__.update(fields)


def says(headers):
    """These besides or instead of the right ones; None leaves one out."""
    return lambda _, reply: reply.headers.update(headers)


def sends(make, then=CLOSE):
    """What `make(request, reply)` yields, instead of a reply."""
    return lambda request, reply: reply.__dict__.update(raw=make(request, reply), then=then)


def body(make, chunked=False, then=STAY):
    """The right head, and then what `make(body)` yields."""
    def make_all(request, reply):
        reply.chunked = chunked
        return itertools.chain([reply.head(request)], make(bytes(reply.content[reply.first:reply.end])))
    return sends(make_all, then)


def length(make):
    """Content-Length as `make(length of the body)` has it, a list for several."""
    return lambda _, reply: reply.headers.update({"Content-Length": make(reply.end - reply.first)})


def part(make):
    """Content-Range as `make(first, last, size)` has it, in answers with a part."""
    def behave(_, reply):
        if reply.status == 206:
            reply.headers["Content-Range"] = make(reply.first, reply.end - 1, len(reply.content))
    return behave


def moved(by):
    """A part from elsewhere, which says so."""
    def behave(_, reply):
        if reply.status == 206:
            reply.first = min(max(0, reply.first + by), reply.end - 1)
    return behave


def another(prefix, honest=True):
    """The file whose name begins with this besides: with its tag and length, or its bytes alone."""
    def behave(request, reply):
        reply.content = request.server.content[prefix + request.name]
        if honest:
            reply.tag = request.server.tags[prefix + request.name]
            reply.give(request)
    return behave


def drops_if_range():
    """And gives the part, whatever the client knows."""
    def behave(request, reply):
        request.headers.pop("if-range", None)
        reply.give(request)
    return behave


def page(status=200, content=b"<html>Sign in, please.</html>"):
    return sets(status=status, content=content, first=0, end=len(content), tag='"page"',
                headers={"Content-Type": "text/html; charset=utf-8"})


def portal(place="login.html"):
    """All is led to a page."""
    def behave(request, reply):
        if request.name == place:
            page()(request, reply)
        else:
            reply.refuse(302, {"Location": f"/{place}"})
    return behave


def repeats(delay):
    """The whole answer once more, after so many seconds."""
    return lambda request, reply: sets(late=(
        delay, reply.head(request) + bytes(reply.content[reply.first:reply.end])))(request, reply)


def closes():
    return lambda request, _: request.__dict__.update(last=True)


def alternates(*behaviours):
    """One with each request."""
    turns = itertools.cycle(behaviours)
    return lambda request, reply: next(turns)(request, reply)


def every(*behaviours):
    return when(lambda _: True, *behaviours)


def rate(bytes_per_second):
    """Each connection's own."""
    return lambda _, reply: reply.paces.update(own=Pace(bytes_per_second))


def line(bytes_per_second):
    """Of all connections together."""
    shared = Pace(bytes_per_second)
    return lambda _, reply: reply.paces.update(line=shared)


def stands_still(seconds):
    shared = Standstill(seconds)
    return lambda _, reply: reply.paces.update(still=shared)


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
    """After so many bytes of bodies on a connection: another rate, CLOSE, CUT, RESET or STALL."""
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
