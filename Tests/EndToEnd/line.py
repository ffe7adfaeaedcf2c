# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""A line of its own between what runs in this process and what runs at its far end. Standard library only.

The process that lays one leaves the machine's network for good, so nothing of it is left when the process ends. Without
root it needs namespaces that users may make."""

import ctypes
import os
import subprocess
import time

from harness import Ended, end, start, wait_for

HERE = ("192.0.2.1", "192.0.2.2", "192.0.2.3")  # this end's addresses
NEW_MOUNTS, _NEW_USER, NEW_NETWORK = 0x20000, 0x10000000, 0x40000000  # of unshare


def leave(what):
    """From here on the process has a network, or what else it names, of its own; also who isn't root may do that."""
    system, user, group = ctypes.CDLL(None, use_errno=True), os.geteuid(), os.getegid()
    if system.unshare(what | (_NEW_USER if user else 0)):
        raise OSError(ctypes.get_errno(), "nothing of its own")
    for name, line in (("setgroups", "deny"), ("uid_map", f"0 {user} 1"), ("gid_map", f"0 {group} 1")) if user else ():
        with open(f"/proc/self/{name}", "w") as file:
            file.write(line)


def is_possible():
    try:
        return subprocess.run(["unshare", *(["--map-root-user"] if os.geteuid() else []), "--net", "ip", "link", "add",
                               "near", "type", "veth", "peer", "name", "far"], capture_output=True).returncode == 0
    except FileNotFoundError:
        return False


class Line(Ended):
    """`within` is the command that runs another one at the far end."""

    def __init__(self):
        leave(NEW_NETWORK)
        self.far = start(["unshare", "--net", "sleep", "infinity"])
        self.within = ("nsenter", "--target", str(self.far.pid), "--net")
        wait_for(lambda: os.readlink(f"/proc/{self.far.pid}/ns/net") != os.readlink("/proc/self/ns/net"), "an end")
        self.here("link set lo up", f"link add near type veth peer name far netns {self.far.pid}", "link set near up",
                  *(f"address add {host}/24 dev near" for host in HERE))
        self.there("link set lo up")
        self.change_address(9)

    def here(self, *commands, within=()):
        for command in commands:
            subprocess.run([*within, "ip", *command.split()], check=True, capture_output=True)

    def there(self, *commands):
        self.here(*commands, within=self.within)

    def change_address(self, number):
        """Of the far end, and its routes."""
        self.there("address flush dev far", f"address add 192.0.2.{number}/24 dev far", "link set far up",
                   f"route add default via {HERE[0]}")

    def interrupt(self, seconds, times=1):
        """The carrier is gone, for both ends."""
        for _ in range(times):
            self.here("link set near down")
            time.sleep(seconds)
            self.here("link set near up")
            time.sleep(seconds if times > 1 else 0)

    def unplug(self, seconds):
        """The far end loses its link, with its routes."""
        self.there("link set far down")
        time.sleep(seconds)
        self.there("link set far up", f"route add default via {HERE[0]}")

    def stop(self):
        end(self.far)
