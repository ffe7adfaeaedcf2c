# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

"""The browsers as they are installed, without a screen, each with a home of its own in which the extension is and
`fluvane-browser --install` has told it where Fluvane is. Driven by what they have for that: no further packages."""

import contextlib
import json
import os
import pathlib
import socket
import subprocess
import zipfile

import harness
from harness import Ended, end, free_port, start, wait_for

EXTENSION = pathlib.Path(__file__).resolve().parents[2] / "Browser"
CHROMIUM_ID = "knnpebancpjofcjmcbkfjlanglkbgcfl"
FIREFOX_ID = "fluvane@fluvane.org"
FIREFOX_UUID = "f1f2f3f4-0000-4000-8000-0f1a0c3e5d7b"


class Browser(Ended):
    """Opens pages in one tab and runs scripts there."""

    def __init__(self, folder, environment):
        self.home = pathlib.Path(folder)
        self.downloads = self.home / "Downloads"
        self.downloads.mkdir(parents=True)
        self.output = self.home / "output"
        # The application is where it is, everything else in the home.
        self.environment = {**environment, "HOME": str(self.home), "LC_ALL": "C.UTF-8"}
        self.environment.pop("DISPLAY", None)
        self.process = None

    def tell_host(self, how="--install"):
        subprocess.run([harness.programs / "fluvane-browser", how], check=True, capture_output=True,
                       env={**self.environment, "XDG_CONFIG_HOME": str(self.home / "config")})

    def start(self):
        with open(self.output, "ab") as output:
            self.spawn(output)
        return self

    def choose_everything(self):
        """In the options, as a person does whom they are shown the first time."""
        wait_for(self.turn_to_options, "the options are shown")
        self.run("document.getElementById('all').click(); const size = document.getElementById('size');"
                 "size.value = '0'; size.dispatchEvent(new Event('change', {bubbles: true}))")
        wait_for(lambda: self.run("return new Promise(done => (globalThis.browser ?? chrome).storage.local.get("
                                  "['takenKinds', 'smallestSize']).then(all => done(all.smallestSize === 0 &&"
                                  "all.takenKinds?.length === 7)))"), "the options are kept")

    def link_of(self, element):
        return self.run(f"return document.getElementById('{element}').href")

    def leave(self, *sites):
        """Has the options keep these sites' downloads here."""
        self.open(self.options)
        self.run(f"const left = document.getElementById('left'); left.value = {json.dumps(chr(10).join(sites))};"
                 "for (let tries = 0; tries < 50; tries += 1) {"  # the page may not listen yet
                 "  left.dispatchEvent(new Event('change', {bubbles: true}));"
                 "  await new Promise((done) => setTimeout(done, 100));"
                 "  const { sitesLeft = [] } = await (globalThis.browser ?? chrome).storage.local.get('sitesLeft');"
                 f"  if (sitesLeft.length === {len(sites)}) break;"
                 "}")

    def hosts(self):
        """The processes of the host that this browser has started."""
        found = []
        for entry in pathlib.Path("/proc").iterdir():
            with contextlib.suppress(OSError, ValueError):
                if entry.name.isdigit() and b"fluvane-browser" in (entry / "cmdline").read_bytes().split(b"\0")[0] \
                        and f"HOME={self.home}".encode() in (entry / "environ").read_bytes().split(b"\0"):
                    found.append(int(entry.name))
        return found

    def kill(self):
        self.process.kill()
        self.process.wait()

    def stop(self):
        if self.process:
            end(self.process)


class Chromium(Browser):
    name = "Chromium"
    options = f"chrome-extension://{CHROMIUM_ID}/options.html"

    def __init__(self, folder, environment):
        super().__init__(folder, environment)
        # Debugged, it must not use its usual folder; so the folder is another's usual one.
        self.tell_host()
        self.profile = self.home / "config/chromium"
        (self.profile / "Default").mkdir()
        (self.profile / "Default/Preferences").write_text(json.dumps({
            "download": {"default_directory": str(self.downloads), "prompt_for_download": False},
            "extensions": {"ui": {"developer_mode": True}}}))

    def spawn(self, output):
        reads, self.writer = os.pipe()
        self.reader, writes = os.pipe()
        script = f'exec 3<&{reads} 4>&{writes}; exec "$@"'
        self.process = start(
            ["bash", "-c", script, "bash", "/usr/bin/chromium", "--headless=new", "--no-sandbox", "--disable-gpu", "--no-first-run",
             f"--user-data-dir={self.profile}", "--remote-debugging-pipe", f"--load-extension={EXTENSION}",
             "--disable-features=DisableLoadExtensionCommandLineSwitch", "about:blank"],
            self.environment, pass_fds=(reads, writes), stdout=output, stderr=output, stdin=subprocess.DEVNULL)
        os.close(reads)
        os.close(writes)
        self.buffer, self.number = b"", 0
        pages = wait_for(lambda: [one for one in self.call("Target.getTargets")["targetInfos"] if one["type"] == "page"],
                         "Chromium shows a page")
        self.session = self.call("Target.attachToTarget", targetId=pages[0]["targetId"], flatten=True)["sessionId"]

    def turn_to_options(self):
        pages = [one for one in self.call("Target.getTargets")["targetInfos"] if one["url"] == self.options]
        if not pages:
            return False
        self.session = self.call("Target.attachToTarget", targetId=pages[0]["targetId"], flatten=True)["sessionId"]
        return self.run("return document.readyState === 'complete' && Boolean(document.querySelector('[name=kind]'))")

    def call(self, method, session=None, **parameters):
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters, **({"sessionId": session} if session else {})}
        os.write(self.writer, json.dumps(message).encode() + b"\0")
        while True:
            while b"\0" not in self.buffer:
                chunk = os.read(self.reader, 1 << 16)
                if not chunk:
                    raise AssertionError("Chromium has ended: " + self.output.read_text()[-3000:])
                self.buffer += chunk
            line, self.buffer = self.buffer.split(b"\0", 1)
            answer = json.loads(line)
            if answer.get("id") == self.number:
                if "error" in answer:
                    raise AssertionError(f"{method}: {answer['error']}")
                return answer["result"]

    def open(self, link):
        self.call("Page.navigate", self.session, url=link)
        wait_for(lambda: self.run("return document.readyState === 'complete' && location.href") == link, f"{link} opens")

    def choose_in_menu(self, element, link):
        """Of a link, or of what is selected; Chromium shows no menu without a screen, so its choice is told."""
        worker = next(one for one in self.call("Target.getTargets")["targetInfos"] if one["type"] == "service_worker")
        session = self.call("Target.attachToTarget", targetId=worker["targetId"], flatten=True)["sessionId"]
        info = {"menuItemId": "download", "pageUrl": link, 
                **({"linkUrl": self.link_of(element)} if element else {"selectionText": "…"})}
        self.run(f"const [tab] = await chrome.tabs.query({{url: 'http://127.0.0.1/*'}});"
                 f"chrome.contextMenus.onClicked.dispatch({json.dumps(info)}, tab)", session)

    def run(self, script, session=None):
        answer = self.call("Runtime.evaluate", session or self.session, expression=f"(async () => {{ {script} }})()",
                           userGesture=True, awaitPromise=True, returnByValue=True)
        if "exceptionDetails" in answer:
            raise AssertionError(answer["exceptionDetails"])
        return answer["result"].get("value")


class Firefox(Browser):
    name = "Firefox"
    options = f"moz-extension://{FIREFOX_UUID}/options.html"

    def __init__(self, folder, environment):
        super().__init__(folder, environment)
        self.tell_host()
        self.profile = self.home / "profile"
        (self.profile / "extensions").mkdir(parents=True)
        with zipfile.ZipFile(self.profile / f"extensions/{FIREFOX_ID}.xpi", "w") as archive:
            for file in EXTENSION.rglob("*"):
                archive.write(file, file.relative_to(EXTENSION))
        self.port = free_port()
        preferences = {
            "marionette.port": self.port, "xpinstall.signatures.required": False, "extensions.autoDisableScopes": 0,
            "extensions.webextensions.uuids": json.dumps({FIREFOX_ID: FIREFOX_UUID}),
            "browser.download.folderList": 2, "browser.download.dir": str(self.downloads),
            "browser.download.useDownloadDir": True, "browser.shell.checkDefaultBrowser": False,
            "browser.sessionstore.resume_from_crash": False,
            "datareporting.policy.dataSubmissionEnabled": False, "app.normandy.enabled": False,
            "network.captive-portal-service.enabled": False, "network.connectivity-service.enabled": False}
        (self.profile / "user.js").write_text("".join(f"user_pref({json.dumps(name)}, {json.dumps(value)});\n"
                                                      for name, value in preferences.items()))

    def spawn(self, output):
        self.process = start(["/usr/bin/firefox-esr", "--headless", "--marionette", "--remote-allow-system-access", "--no-remote", "--profile", self.profile],
                             self.environment, stdout=output, stderr=output, stdin=subprocess.DEVNULL)
        self.socket = wait_for(self._connected, "Firefox listens", 60)
        self.number = 0
        self._read()
        self.call("WebDriver:NewSession", capabilities={"alwaysMatch": {"timeouts": {"script": 120_000}}})

    def turn_to_options(self):
        for handle in self.call("WebDriver:GetWindowHandles"):
            self.call("WebDriver:SwitchToWindow", handle=handle, focus=True)
            if self.run("return location.href") == self.options:
                return self.run("return document.readyState === 'complete' && Boolean(document.querySelector('[name=kind]'))")
        return False

    def _connected(self):
        if self.process.poll() is not None:
            raise AssertionError("Firefox has ended: " + self.output.read_text()[-3000:])
        with contextlib.suppress(OSError):
            return socket.create_connection(("127.0.0.1", self.port), 60)
        return None

    def _read(self):
        length = b""
        while not length.endswith(b":"):
            byte = self.socket.recv(1)
            if not byte:
                raise AssertionError("Firefox has ended: " + self.output.read_text()[-3000:])
            length += byte
        data = b""
        while len(data) < int(length[:-1]):
            data += self.socket.recv(int(length[:-1]) - len(data))
        return json.loads(data)

    def call(self, command, **parameters):
        self.number += 1
        text = json.dumps([0, self.number, command, parameters])
        self.socket.sendall(f"{len(text)}:{text}".encode())
        _, _, error, result = self._read()
        if error:
            raise AssertionError(f"{command}: {error['error']} {error['message']}")
        return result

    def open(self, link):
        if link.startswith("http"):
            self.call("WebDriver:Navigate", url=link)
            return
        self.call("Marionette:SetContext", value="chrome")  # where more may be opened
        self.run(f"gBrowser.fixupAndLoadURIString({json.dumps(link)},"
                 "{triggeringPrincipal: Services.scriptSecurityManager.getSystemPrincipal()})")
        self.call("Marionette:SetContext", value="content")
        wait_for(lambda: self.run("return document.readyState === 'complete' && location.href") == link, f"{link} opens")

    def choose_in_menu(self, element, _):
        """Of a link, or of what is selected."""
        place = self.call("WebDriver:FindElement", using="css selector", value=f"#{element or 'text'}")["value"]
        self.call("WebDriver:PerformActions", actions=[{"type": "pointer", "id": "mouse", "actions": [
            {"type": "pointerMove", "x": 0, "y": 0, "origin": place},
            {"type": "pointerDown", "button": 2}, {"type": "pointerUp", "button": 2}]}])
        self.call("Marionette:SetContext", value="chrome")
        wait_for(lambda: self.run("""
            const menu = document.getElementById("contentAreaContextMenu");
            const item = [...menu.querySelectorAll("menuitem")].find((one) => one.id.startsWith("fluvane") && !one.hidden);
            if (menu.state === "open" && item) {
              menu.activateItem(item);
              return true;
            }"""), "the menu has our item")
        self.call("Marionette:SetContext", value="content")

    def run(self, script):
        return self.call("WebDriver:ExecuteScript", script=f"return (async () => {{ {script} }})()", args=[])["value"]
