#!/usr/bin/env python3
"""The service's pages in a real browser: sign in, see the devices, sign one out, search the history and
delete an entry, with no console error (a Content-Security-Policy violation would be one).

Usage: browser_test.py TAVRIN_SERVICE [--screenshots DIR]
With --screenshots, the pages are also captured at desktop and phone widths, light and dark, into DIR.
Exits 77 (skipped) when chromium is not installed.
"""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import time
import urllib.error
import urllib.request

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from browser import Browser  # noqa: E402

EMAIL = "ana@example.com"
PASSWORD = "correct horse battery"


class Service:
    """tavrin-service on a free port, with history kept, stopped at the end."""

    def __init__(self, binary, folder):
        accounts = os.path.join(folder, "accounts.json")
        with open(accounts, "w") as out:
            json.dump({"accounts": [{"email": EMAIL, "password": PASSWORD, "plan": "pro"}]}, out)
        self.process = subprocess.Popen(
            [binary, "--port", "0", "--accounts", accounts, "--daily-limit", "100", "--word-delay", "0",
             "--history", os.path.join(folder, "history.db")],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        line = self.process.stdout.readline()
        if not line.startswith("listening on "):
            raise SystemExit(f"the service did not start: {line!r}")
        self.url = line.split()[-1]

    def stop(self):
        self.process.terminate()
        self.process.wait(timeout=10)

    def call(self, method, path, body=None, token=None):
        request = urllib.request.Request(self.url + path, method=method,
                                         data=json.dumps(body).encode() if body is not None else None)
        request.add_header("Content-Type", "application/json")
        if token:
            request.add_header("Authorization", "Bearer " + token)
        try:
            with urllib.request.urlopen(request, timeout=10) as response:
                return response.status, response.read()
        except urllib.error.HTTPError as error:
            return error.code, error.read()

    def agent(self, name):
        status, body = self.call("POST", "/auth/login", {"email": EMAIL, "password": PASSWORD, "client": "app",
                                                         "platform": "mac", "name": name})
        check(status == 200, f"the agent {name} could not sign in: {status}")
        return json.loads(body)["token"]

    def ask(self, token, text, app, selection):
        status, body = self.call("POST", "/v1/ask", {"text": text, "app": app, "selection": selection}, token)
        check(status == 200 and b"event: done" in body, f"the ask {text!r} failed: {status}")


def check(condition, message):
    if not condition:
        raise AssertionError(message)


def device_names(browser):
    return browser.evaluate("[...document.querySelectorAll('#devices .name')].map(e => e.textContent.trim())")


def ask_requests(browser):
    return browser.evaluate("[...document.querySelectorAll('.asks .request')].map(e => e.textContent)")


def unlabelled_controls(browser):
    """Controls a screen reader could not name."""
    return browser.evaluate("""[...document.querySelectorAll('input:not([type=hidden]), button')]
        .filter(c => !(c.labels && c.labels.length) && !c.getAttribute('aria-label') && !c.textContent.trim())
        .map(c => c.outerHTML)""")


def run(binary, shots):
    folder = tempfile.mkdtemp(prefix="tavrin-web-test-")
    service = Service(binary, folder)
    browser = Browser()
    try:
        laptop = service.agent("Work laptop")
        home = service.agent("Home desktop")
        service.ask(laptop, "make it shorter", "Mousepad", "The meeting moved to Thursday afternoon.")
        service.ask(laptop, "translate to French", "Firefox", "Good morning, everyone")

        browser.open_tab()
        browser.go(service.url + "/app#history")
        check(browser.location() == "/signin#history", f"signed out, /app led to {browser.location()}")
        check(not unlabelled_controls(browser), f"unlabelled: {unlabelled_controls(browser)}")
        if shots:
            capture(browser, shots, "signin")
        # By keyboard alone: the address field has the focus, Tab leads to the password, Return signs in.
        check(browser.focused() == "email", f"the sign-in page starts at {browser.focused()!r}")
        browser.type(EMAIL)
        browser.press("Tab")
        check(browser.focused() == "password", f"Tab led to {browser.focused()!r}")
        browser.type(PASSWORD)
        browser.press("Enter", wait_for_page=True)
        check(browser.location() == "/app#history", f"signed in, the browser is at {browser.location()}")
        check(not unlabelled_controls(browser), f"unlabelled: {unlabelled_controls(browser)}")
        # Opened at #history, the keyboard starts there: the first Tab reaches the search field.
        browser.press("Tab")
        check(browser.focused() == "q", f"the first Tab reached {browser.focused()!r}")

        names = device_names(browser)
        check("Work laptop" in names and "Home desktop" in names, f"devices shown: {names}")
        check(any("This browser" in name for name in names), f"this browser is not marked: {names}")

        browser.submit("""[...document.querySelectorAll('#devices li')]
            .find(li => li.querySelector('.name').textContent.trim() === 'Work laptop').querySelector('button')""")
        check("Work laptop" not in device_names(browser), "the signed-out device is still listed")
        status, _ = service.call("GET", "/v1/me", token=laptop)
        check(status == 401, f"the signed-out device's token still works: {status}")

        check(ask_requests(browser) == ["translate to French", "make it shorter"],
              f"history, newest first: {ask_requests(browser)}")
        browser.fill("#q", "french")
        browser.submit("document.querySelector('form.search button')")
        check(browser.location() == "/app?q=french#history", f"search led to {browser.location()}")
        check(ask_requests(browser) == ["translate to French"], f"found: {ask_requests(browser)}")

        browser.submit("document.querySelector('.asks li button')")
        check(browser.location() == "/app?q=french#history", f"deleting led to {browser.location()}")
        check(ask_requests(browser) == [], f"still found after deleting: {ask_requests(browser)}")
        browser.go(service.url + "/app#history")
        check(ask_requests(browser) == ["make it shorter"], f"left after deleting: {ask_requests(browser)}")

        if shots:
            service.ask(home, "reply politely that I can't make it",
                        "Thunderbird", "Can you join the review on Friday at 10?")
            browser.submit("document.querySelector('form[action=\"/app/pairing\"] button')")
            capture(browser, shots, "app")

        problems = browser.console_problems()
        check(not problems, f"the browser reported: {problems}")
    finally:
        browser.close()
        service.stop()
        shutil.rmtree(folder, ignore_errors=True)


def capture(browser, folder, name):
    for width, height, mobile, size in ((1200, 800, False, "desktop"), (390, 844, True, "phone")):
        for dark in (False, True):
            path = os.path.join(folder, f"web-{name}-{size}-{'dark' if dark else 'light'}.png")
            browser.screenshot(path, width, height, dark, mobile)


def main():
    if len(sys.argv) not in (2, 4) or (len(sys.argv) == 4 and sys.argv[2] != "--screenshots"):
        raise SystemExit(__doc__)
    if not shutil.which("chromium"):
        print("chromium is not installed; skipped")
        return 77
    started = time.monotonic()
    run(sys.argv[1], sys.argv[3] if len(sys.argv) == 4 else None)
    print(f"passed in {time.monotonic() - started:.1f} s")
    return 0


if __name__ == "__main__":
    sys.exit(main())
