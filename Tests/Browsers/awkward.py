# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""A site whose files are awkward to take over. What a browser asks for comes slowly, so that it goes on for a while;
what anybody else asks for comes at once."""

import http.cookies
import http.server
import random
import secrets
import threading
import time
import urllib.parse

SIZE = 6_000_000
BODY = random.Random(13).randbytes(SIZE)
SECRET = secrets.token_hex(16)
PAGE = """<!DOCTYPE html><title>Files</title>
<p id="text">These are hard to get:</p>
<a id="plain" href="/plain/file.bin">plain</a>
<a id="attribute" download href="/plain/file.bin">with the attribute</a>
<a id="cookie" href="/cookie/file.bin">behind a cookie</a>
<a id="redirect" href="/redirect/file.bin">a redirect to a one-time link</a>
<a id="single" href="/single/file.bin">works once</a>
<a id="signed" href="/signed/file.bin">a redirect to a link that lives for a second</a>
<a id="page" href="/page/file.bin">others get a page</a>
<a id="answers-late" href="/answers-late/file.bin">after a while</a>
<form method="post" action="/post/file.bin"><input name="a" value="b"><button id="post">a form</button></form>
<button id="blob" onclick="blob()">made by the page</button>
<script>
async function blob() {
  const link = document.createElement("a");
  link.href = URL.createObjectURL(await (await fetch("/fetched/file.bin")).blob());
  link.download = "file.bin";
  link.click();
}
</script>"""


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *_):
        pass

    def do_GET(self):
        self.handle_one()

    def do_POST(self):
        self.rfile.read(int(self.headers.get("Content-Length", 0)))
        self.handle_one()

    def do_HEAD(self):
        self.handle_one()

    def handle_one(self):
        path, _, query = self.path.partition("?")
        case = path.split("/")[1]
        self.is_browser = "Sec-Fetch-Mode" in self.headers
        self.server.site.asked.append((self.command, self.path, dict(self.headers)))
        try:
            getattr(self, "answer_" + case.replace("-", "_"), self.missing)(query)
        except OSError:
            self.close_connection = True

    def missing(self, _):
        self.text(404, "There is nothing.")

    def text(self, status, text, **headers):
        self.send_response(status)
        for name, value in {"Content-Type": "text/html", "Content-Length": str(len(text)), **headers}.items():
            self.send_header(name.replace("_", "-"), value)
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(text.encode())

    def file(self):
        first, last = 0, SIZE - 1
        asked = self.headers.get("Range", "")
        if asked.startswith("bytes="):
            begin, _, finish = asked[6:].partition("-")
            first, last = int(begin or 0), min(int(finish or last), last)
        self.send_response(206 if asked else 200)
        if asked:
            self.send_header("Content-Range", f"bytes {first}-{last}/{SIZE}")
        self.send_header("Accept-Ranges", "bytes")
        self.send_header("ETag", '"1"')
        self.send_header("Content-Type", "application/octet-stream")
        self.send_header("Content-Length", str(last - first + 1))
        self.end_headers()
        if self.command == "HEAD":
            return
        is_slow = self.is_browser and self.headers["Sec-Fetch-Mode"] == "navigate"
        for at in range(first, last + 1, 65536):
            self.wfile.write(BODY[at:min(at + 65536, last + 1)])
            if is_slow:
                self.server.site.hold(65536)

    def answer_files(self, _):
        self.text(200, PAGE, Set_Cookie=f"session={SECRET}; Path=/; HttpOnly")

    def answer_plain(self, _):
        self.file()

    answer_post = answer_fetched = answer_plain

    def answer_cookie(self, _):
        cookies = http.cookies.SimpleCookie(self.headers.get("Cookie", ""))
        if "session" in cookies and cookies["session"].value == SECRET:
            self.file()
        else:
            self.text(403, "Who are you?")

    def forward(self, place, **query):
        self.text(302, "", Location=f"{place}?{urllib.parse.urlencode(query)}")

    def answer_redirect(self, _):
        token = secrets.token_hex(8)
        self.server.site.tokens.add(token)
        self.forward("/once/file.bin", token=token)

    def answer_once(self, query):
        try:
            self.server.site.tokens.remove(urllib.parse.parse_qs(query)["token"][0])
        except KeyError:
            self.text(410, "It was used.")
        else:
            self.file()

    def answer_single(self, _):
        self.answer_once("token=single")

    def answer_signed(self, _):
        self.forward("/until/file.bin", time=time.time() + 1)

    def answer_until(self, query):
        is_valid = time.time() < float(urllib.parse.parse_qs(query)["time"][0])
        self.file() if is_valid else self.text(403, "It has expired.")

    def answer_page(self, _):
        self.file() if self.is_browser else self.text(200, "<!DOCTYPE html><p>Log in first.")

    def answer_answers_late(self, _):
        self.server.site.ended.wait(2)
        self.file()


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True

    def handle_error(self, *_):
        """Visitors that are killed hang up."""


class Site:
    """Listens on loopback; `speed` is what a browser's download gets, in bytes per second."""

    def __init__(self, port):
        self.asked, self.tokens = [], {"single"}
        self.speed, self.ended = 2_000_000, threading.Event()
        self.server = Server(("127.0.0.1", port), Handler)
        self.server.site = self
        self.thread = threading.Thread(target=self.server.serve_forever, daemon=True)
        self.port = port

    def hold(self, count):
        self.ended.wait(count / self.speed)

    def link(self, path="/files"):
        return f"http://127.0.0.1:{self.port}{path}"

    def __enter__(self):
        self.thread.start()
        return self

    def __exit__(self, *_):
        self.ended.set()
        self.server.shutdown()
        self.server.server_close()
