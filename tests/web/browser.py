"""A headless Chromium driven over its DevTools pipe, with the Python standard library only.

Chromium reads commands from file descriptor 3 and writes replies and events to descriptor 4, each message
one JSON text ended by a NUL byte (--remote-debugging-pipe), so nothing listens on a port and nothing has
to be downloaded.
"""

import base64
import json
import os
import select
import shutil
import subprocess
import tempfile
import time

FLAGS = [
    "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
    "--disable-background-networking", "--disable-component-update", "--disable-sync",
    "--hide-scrollbars", "--remote-debugging-pipe",
]


class BrowserError(Exception):
    pass


class Browser:
    def __init__(self, executable="chromium", timeout=15.0):
        self.timeout = timeout
        self.profile = tempfile.mkdtemp(prefix="tavrin-web-")
        commands_read, self._commands = os.pipe()
        self._replies, replies_write = os.pipe()

        def wire_pipes():
            # Copied out of the way first, in case a pipe end already sits on 3 or 4.
            commands, replies = os.dup(commands_read), os.dup(replies_write)
            os.dup2(commands, 3)
            os.dup2(replies, 4)

        self.process = subprocess.Popen(
            [executable, *FLAGS, "--user-data-dir=" + self.profile, "about:blank"],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            preexec_fn=wire_pipes, pass_fds=(3, 4))
        os.close(commands_read)
        os.close(replies_write)
        self._buffer = b""
        self._next_id = 0
        self.events = []
        self.session = None

    def close(self):
        try:
            self.call("Browser.close", session=False)
        except (BrowserError, OSError):
            pass
        try:
            self.process.wait(timeout=5)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        os.close(self._commands)
        os.close(self._replies)
        shutil.rmtree(self.profile, ignore_errors=True)

    # The protocol

    def call(self, method, params=None, session=True):
        self._next_id += 1
        message = {"id": self._next_id, "method": method, "params": params or {}}
        if session and self.session:
            message["sessionId"] = self.session
        os.write(self._commands, json.dumps(message).encode() + b"\0")
        reply = self._read_until(lambda m: m.get("id") == self._next_id, method)
        if "error" in reply:
            raise BrowserError(f"{method}: {reply['error'].get('message')}")
        return reply.get("result", {})

    def wait_event(self, method, timeout=None):
        for index, event in enumerate(self.events):
            if event.get("method") == method:
                return self.events.pop(index)
        return self._read_until(lambda m: m.get("method") == method, method, timeout, keep=False)

    def _read_until(self, wanted, what, timeout=None, keep=True):
        deadline = time.monotonic() + (timeout or self.timeout)
        while True:
            while b"\0" in self._buffer:
                raw, self._buffer = self._buffer.split(b"\0", 1)
                message = json.loads(raw)
                if wanted(message):
                    return message
                if "method" in message:
                    self._on_event(message)
            left = deadline - time.monotonic()
            if left <= 0:
                raise BrowserError(f"no answer to {what} in time")
            ready, _, _ = select.select([self._replies], [], [], left)
            if ready:
                chunk = os.read(self._replies, 1 << 20)
                if not chunk:
                    raise BrowserError("the browser closed its pipe")
                self._buffer += chunk

    def _on_event(self, event):
        # A page's confirm() would wait for a person; the tests always accept.
        if event["method"] == "Page.javascriptDialogOpening":
            self._next_id += 1
            os.write(self._commands, json.dumps({
                "id": self._next_id, "sessionId": self.session,
                "method": "Page.handleJavaScriptDialog", "params": {"accept": True}}).encode() + b"\0")
            return
        self.events.append(event)

    # Pages

    def open_tab(self):
        target = self.call("Target.createTarget", {"url": "about:blank"}, session=False)["targetId"]
        self.session = self.call("Target.attachToTarget", {"targetId": target, "flatten": True},
                                 session=False)["sessionId"]
        for domain in ("Page", "Runtime", "Log"):
            self.call(domain + ".enable")

    def go(self, url):
        self.events = [e for e in self.events if e.get("method") != "Page.loadEventFired"]
        self.call("Page.navigate", {"url": url})
        self.wait_event("Page.loadEventFired")

    def evaluate(self, expression):
        result = self.call("Runtime.evaluate", {"expression": expression, "returnByValue": True,
                                                "awaitPromise": True})
        if "exceptionDetails" in result:
            raise BrowserError(f"script failed: {expression}: {result['exceptionDetails'].get('text')}")
        return result["result"].get("value")

    def submit(self, expression):
        """Clicks the element the expression finds and waits for the page that follows."""
        self.events = [e for e in self.events if e.get("method") != "Page.loadEventFired"]
        found = self.evaluate(f"(() => {{ const el = {expression}; if (!el) return false; el.click(); return true; }})()")
        if not found:
            raise BrowserError(f"nothing to click: {expression}")
        self.wait_event("Page.loadEventFired")

    KEYS = {"Tab": 9, "Enter": 13}

    def press(self, key, wait_for_page=False):
        """Presses a key as a person would; with wait_for_page, waits for the page that follows."""
        self.events = [e for e in self.events if e.get("method") != "Page.loadEventFired"]
        code = self.KEYS[key]
        text = "\r" if key == "Enter" else ""
        self.call("Input.dispatchKeyEvent", {"type": "keyDown", "key": key, "code": key, "text": text,
                                             "windowsVirtualKeyCode": code})
        self.call("Input.dispatchKeyEvent", {"type": "keyUp", "key": key, "code": key,
                                             "windowsVirtualKeyCode": code})
        if wait_for_page:
            self.wait_event("Page.loadEventFired")

    def type(self, text):
        self.call("Input.insertText", {"text": text})

    def focused(self):
        return self.evaluate("document.activeElement && (document.activeElement.id || document.activeElement.textContent.trim())")

    def fill(self, selector, value):
        self.evaluate(f"document.querySelector({json.dumps(selector)}).value = {json.dumps(value)}")

    def location(self):
        return self.evaluate("location.pathname + location.search + location.hash")

    def console_problems(self):
        """Console errors so far, such as a Content-Security-Policy violation."""
        problems = [e["params"]["entry"]["text"] for e in self.events
                    if e.get("method") == "Log.entryAdded" and e["params"]["entry"]["level"] == "error"]
        problems += [e["params"]["exceptionDetails"].get("text", "") for e in self.events
                     if e.get("method") == "Runtime.exceptionThrown"]
        return problems

    def screenshot(self, path, width, height, dark, mobile):
        self.call("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 2 if mobile else 1, "mobile": mobile})
        self.call("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": "dark" if dark else "light"}]})
        # Past the buttons' short colour transition.
        self.evaluate("new Promise(done => setTimeout(done, 300))")
        full = self.evaluate("Math.ceil(document.documentElement.scrollHeight)")
        self.call("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": max(height, full), "deviceScaleFactor": 2 if mobile else 1,
            "mobile": mobile})
        data = self.call("Page.captureScreenshot", {"format": "png"})["data"]
        with open(path, "wb") as out:
            out.write(base64.b64decode(data))
        self.call("Emulation.clearDeviceMetricsOverride")
