# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""What is raced through. Loads are such that the best peer takes some 5 to 10 s."""

import dataclasses
import pathlib
import shlex
import typing

from behaviours import (beyond, by_turns, delays, gone, happens, happens_within, ignores_ranges, limited, line,
                        never_answers, on, rate, refuses, shortens, signs, sometimes, tagged, under, without_length)
from harness import MB, MiB
from server import CLOSE, RESET, STALL

JAMMED = 15_000  # bytes a second
NAMES = pathlib.Path(__file__).with_name("hosts")
# Who has no address beyond loopback's is given none by some resolvers.
TWO_ADDRESSES = (f"mount --bind {shlex.quote(str(NAMES))} /etc/hosts && ip address add 192.0.2.1/32 dev lo && "
                 "ip address add 2001:db8::1/128 dev lo nodad")
LOSSY = "ip link set lo mtu 1500 gso_max_segs 1 && tc qdisc add dev lo root netem loss 1% delay 10ms limit 10000"


@dataclasses.dataclass
class Case:
    name: str
    reason: str
    behaviours: typing.Callable = list  # made anew for each run, as some have a memory
    files: tuple = (64 * MiB,)
    tls: bool = False
    latency: float = 0
    host: str = "127.0.0.1"
    dead_ipv6: bool = False
    setup: str = ""  # what makes a namespace of its own fit for it
    patient: bool = False  # peers that give up are started again, to carry on


CASES = [
    Case("good", "nothing is wrong: what the others are compared with", lambda: [rate(1 * MB)]),
    Case("slow-start", "one path of eight is jammed from its first byte",
         lambda: [rate(1 * MB), on(3, rate(JAMMED))]),
    Case("slow-start-tls", "the same, where silence is counted elsewhere",
         lambda: [rate(1 * MB), on(3, rate(JAMMED))], tls=True),
    Case("slow-later", "one path of eight is jammed half way", lambda: [rate(1 * MB), on(3, happens(4 * MiB, JAMMED))]),
    Case("stall-later", "a router forgets one connection", lambda: [rate(1 * MB), on(3, happens(2 * MiB, STALL))]),
    Case("stall-start", "one connection is accepted by a worker that hangs",
         lambda: [rate(1 * MB), on(3, never_answers())]),
    Case("short-lived", "each connection may bring 4 MiB", lambda: [rate(1 * MB), happens(4 * MiB, CLOSE)]),
    Case("resets", "one connection in three is reset at random",
         lambda: [rate(1 * MB), sometimes(3, happens_within(6 * MiB, RESET))]),
    Case("at-most-4", "a limit of connections, told with 503", lambda: [rate(2 * MB), beyond(4, refuses(503))],
         files=(96 * MiB,)),
    Case("at-most-4-later", "a limit of connections, told with 429 and a time",
         lambda: [rate(2 * MB), beyond(4, refuses(429, retry_after=5))], files=(96 * MiB,)),
    Case("at-most-4-silent", "a limit of connections, of which the fifth hears nothing and the rest 503",
         lambda: [rate(2 * MB), beyond(4, refuses(503), never_answers(most=1))], files=(96 * MiB,)),
    Case("mirrors", "the link leads to two hosts by turns, each with a tag of its own",
         lambda: [rate(1 * MB), by_turns(1, 2), under("/mirror-2/", tagged("other"))]),
    Case("mirror-404", "the link leads to two hosts by turns, one without the file",
         lambda: [rate(1 * MB), by_turns(1, 2), under("/mirror-2/", refuses(404))]),
    Case("no-ranges", "ranges are announced and then ignored", lambda: [line(8 * MB), ignores_ranges()]),
    Case("short-parts", "parts of at most 256 KiB", lambda: [line(8 * MB), shortens(256 * 1024)]),
    Case("limit-lifted", "a narrow line gets wide after 10 s",
         lambda: [rate(1 * MB), limited(10, 500_000, 100 * MB)]),
    Case("outage", "the server is restarted half way, for 8 s", lambda: [rate(1 * MB), gone(4, 8)],
         patient=True),
    Case("signed", "the link's target is good for 5 s, the link for ever", lambda: [rate(1 * MB), signs(5)]),
    Case("latency-100", "100 ms away, 1.5 MB/s a connection", lambda: [rate(1.5 * MB)], files=(80 * MiB,), latency=0.1),
    Case("latency-300", "300 ms away", lambda: [rate(1 * MB)], latency=0.3),
    Case("small-files", "200 files of 256 KiB", lambda: [line(8 * MB), delays(0.02)], files=(256 * 1024,) * 200),
    Case("three-at-once", "three downloads share one line", lambda: [line(8 * MB)], files=(20 * MiB,) * 3),
    Case("chunked", "made while it is sent: no length, no parts", lambda: [line(8 * MB), without_length()]),
    Case("busy-now-and-then", "503 now and then, with no time to wait",
         lambda: [line(8 * MB), rate(2 * MB), sometimes(4, refuses(503, retry_after=0), after=1)]),
    Case("dead-ipv6", "a name with two addresses, of which the first is dead", lambda: [rate(1 * MB)],
         host="races.test", dead_ipv6=True, setup=TWO_ADDRESSES),
    Case("loss", "1 % of packets of a usual size lost, 20 ms away", lambda: [rate(1 * MB)],
         setup=LOSSY),
]
