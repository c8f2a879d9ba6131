"""A headless Chromium that stays open, as somebody who waits before a page has it."""

import base64
import contextlib
import json
import os
import select
import subprocess
import tempfile
import time

SECONDS = 60  # for an answer, on however busy a machine


class BrowserError(Exception):
    """It does not do what it was told."""


class Browser:
    """It is told things by the protocol of its own developer tools, over a pair of pipes. Its network is that of this
    process."""

    def __init__(self, language):
        self._profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        their_end, self._orders = os.pipe()
        self._answers, our_end = os.pipe()
        # bash puts the pipes where Chromium looks for them
        command = ["bash", "-c", f'exec "$@" 3<&{their_end} 4>&{our_end}', "bash", "chromium", "--headless", "--no-sandbox",
                   "--disable-gpu", "--hide-scrollbars", "--no-first-run", "--disable-background-networking",
                   "--disable-component-update", f"--user-data-dir={self._profile.name}", f"--accept-lang={language}",
                   "--window-size=1000,900", "--remote-debugging-pipe"]  # fmt: skip
        self._process = subprocess.Popen(command, pass_fds=[their_end, our_end], stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(their_end)
        os.close(our_end)
        self._received = b""
        self._number = 0
        self._session = None
        target = self._do("Target.createTarget", url="about:blank")["targetId"]
        self._session = self._do("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        self._do("Network.setCacheDisabled", cacheDisabled=True)  # as after a press on its button to load anew

    def open(self, address):
        """Begins to open the page, as one who enters its address."""
        self._do("Page.navigate", url=address)

    def text(self):
        """What there is to be read: the address and the page's text. Nothing while it changes from page to page."""
        what = "location.href + '\\n' + document.body.innerText"
        try:
            found = self._do("Runtime.evaluate", patience=5, expression=what, returnByValue=True)
        except BrowserError:  # asked of a page that goes, it never answers
            return ""
        return found["result"].get("value") or ""

    def take_picture(self, path):
        """What is to be seen, as a PNG."""
        path.write_bytes(base64.b64decode(self._do("Page.captureScreenshot", format="png")["data"]))

    def end(self):
        """Ends it. Safe to call twice."""
        if self._process.poll() is None:
            self._process.kill()
        self._process.wait()
        for pipe in (self._orders, self._answers):
            with contextlib.suppress(OSError):
                os.close(pipe)
        self._profile.cleanup()

    def _do(self, method, patience=SECONDS, **words):
        self._number += 1
        order = {"id": self._number, "method": method, "params": words}
        if self._session is not None:
            order["sessionId"] = self._session
        os.write(self._orders, json.dumps(order).encode() + b"\0")
        deadline = time.monotonic() + patience
        while True:
            said = self._said(deadline)
            if said.get("id") != self._number:
                continue  # something that has happened meanwhile
            if "error" in said:
                raise BrowserError(f"{method}: {said['error']['message']}")
            return said["result"]

    def _said(self, deadline):
        while b"\0" not in self._received:
            if not select.select([self._answers], [], [], max(0, deadline - time.monotonic()))[0]:
                raise BrowserError("the browser does not answer")
            part = os.read(self._answers, 65536)
            if not part:
                raise BrowserError("the browser has ended")
            self._received += part
        line, self._received = self._received.split(b"\0", 1)
        return json.loads(line)
