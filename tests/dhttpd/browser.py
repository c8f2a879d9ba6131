#!/usr/bin/env python3
"""browser.py DHTTPD PAGE_HOLDER: the fault page in a browser, on a phone and on a desk; and that it gives way.
Ends with 77, which ctest takes for a skipped test, where there is no chromium."""

import html
import http.server
import importlib.machinery
import importlib.util
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import threading

from world import ADDRESS, FAULT_GONE, FAULT_LASTS, World, main

SKIPPED = 77
PICTURES = os.environ.get("TIME_CHECK_PICTURES")  # a folder to keep them in
AXE = os.environ.get("TIME_CHECK_AXE")  # axe.min.js of npm's axe-core, to be asked as well
STATES = {
    "no fault": "fault=0 verdict=3 wan1=5",
    "no cable": f"fault=1 verdict={FAULT_LASTS} since=700 wan1=1 interface=eth1",
    "refused": f"fault=2 verdict={FAULT_LASTS} since=90000 wan1=2 interface=ppp0",
    "silent login": f"fault=3 verdict={FAULT_LASTS} since=700 wan1=3",
    "no address": f"fault=4 verdict={FAULT_LASTS} since=700 wan1=4 interface=a-long-name-if0",
    "two lines": f"fault=4 verdict={FAULT_LASTS} since=700 wan1=2 interface=eth1 wan2=7",
    "back": f"fault=0 verdict={FAULT_GONE} wan1=7",
    "untold": "fault=1 verdict=8 age=40",
}


def looker():
    """The preview's look at a page as a browser lays it out."""
    path = pathlib.Path(__file__).resolve().parents[1] / "preview/browser"
    loader = importlib.machinery.SourceFileLoader("preview_browser", str(path))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("preview_browser", loader))
    loader.exec_module(module)
    return module


LOOK = looker()


def looked_at(page, width):
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as folder:
        return LOOK.looked_at(page, width, True, folder)


def axe(page):
    """What axe-core finds wrong with the page."""
    run = ("axe.run().then(r => r.violations.map(v => v.id + ': ' + v.nodes[0].html), e => [String(e)])"
           ".then(found => document.documentElement.dataset.said = JSON.stringify(found))")
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as folder:
        path = pathlib.Path(folder) / "page.html"
        script = f"<script>{pathlib.Path(AXE).read_text(encoding='utf-8')}</script><script>{run}</script>"
        path.write_text(page.replace("</body>", script + "</body>"), encoding="utf-8")
        dom = subprocess.run(
            ["chromium", "--headless", "--no-sandbox", "--disable-gpu", f"--user-data-dir={folder}/profile",
             "--virtual-time-budget=10000", "--dump-dom", path.as_uri()],
            capture_output=True, text=True, timeout=100, check=False)
    return json.loads(html.unescape(re.search(r'data-said="([^"]*)"', dom.stdout)[1]))


class Browser(World):
    options = ("--status",)

    def chromium(self, *words, port=None):
        with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as profile:
            done = subprocess.run(
                ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars", "--no-first-run",
                 f"--user-data-dir={profile}", "--disable-background-networking",
                 f"--host-resolver-rules=MAP wanted.example:80 {ADDRESS}:{port or self.port}", *words],
                capture_output=True, text=True, timeout=100, check=False)
            self.assertEqual(done.returncode, 0, done.stderr[-2000:])
            return done.stdout

    def test_what_it_shows(self):
        for fault, language, word in ((1, "en", "No cable in"), (2, "de", "weist die Anmeldung ab"),
                                      (3, "en", "login server"), (4, "de", "keine Adresse")):
            self.is_so(f"fault={fault} verdict={FAULT_LASTS} since=700 wan1={1 if fault == 1 else 2}")
            dom = self.chromium(f"--accept-lang={language}", "--dump-dom", "http://wanted.example/news?a=b")
            self.assertRegex(dom, f"<h1>[^<]*{word}")
            self.assertIn("http://wanted.example/news?a=b</a>", dom)

    def every_page(self):
        """Each that there is, by its name."""
        wanted = "/news?a=" + "b" * 200
        for name, line in STATES.items():
            self.is_so(line)
            for language in ("en", "de"):
                yield f"{name}, {language}", self.ask(wanted, Accept_Language=language).text
        self.is_so(STATES["two lines"])
        yield "of the router's own address", self.own().text
        yield "status", self.own("/status").text
        self.end(self.holding)
        yield "status of a dead daemon", self.own("/status").text

    def test_how_it_looks(self):
        for name, page in self.every_page():
            widths = LOOK.WIDTHS if name in ("two lines, de", "status") else ("phone",)
            for width in widths:
                with self.subTest(page=name, width=width):
                    seen = looked_at(page, LOOK.WIDTHS[width])
                    self.assertEqual(seen["found"], [])
                    self.assertGreater(seen["texts"], 5)
            if AXE:
                with self.subTest(page=name):
                    self.assertEqual(axe(page), [])

    def test_what_is_wrong_is_seen(self):
        page = """<!DOCTYPE html><html><head><style>a:focus{outline:none}</style>
            <meta name="viewport" content="user-scalable=no"></head><body><main><h1>A</h1><h3>B</h3>
            <p style="color:#888">pale</p><a href="/"></a><a href="/" tabindex="3">b</a><i id="x"></i><i id="x"></i>
            <svg width="9" height="9"><path d="M0 0h9" stroke="#ddd"/></svg></main><p>outside</p></body></html>"""
        found = " / ".join(looked_at(page, 360)["found"])
        for what in ("not 1 of title", "not 0 of [tabindex]", "without a name or a language", "cannot be enlarged", "H3 after H1",
                     "in no landmark: outside", "a drawing without words", "too pale: pale", "too pale: <path",
                     "nobody knows what it is", "not seen to have the focus", "twice: x"):
            self.assertIn(what, found)

    def test_pictures(self):
        for name, size in (("phone", "500,1100"), ("desk", "1280,1000")):
            path = pathlib.Path(PICTURES or self.folder) / f"fault-{name}.png"
            self.chromium(f"--window-size={size}", f"--screenshot={path}", "http://wanted.example/")
            self.assertGreater(path.stat().st_size, 10000)

    def test_it_gives_way_to_what_was_wanted(self):
        """What leads to dhttpd does so once; what looks again comes to the site itself."""
        world, asked = self, []

        class Way(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                asked.append(self.path)
                if asked.count("/news?a=b") > 1:
                    self.send_response(200)
                    self.send_header("Content-Type", "text/html")
                    self.end_headers()
                    self.wfile.write(b"<!DOCTYPE html><title>News</title><h1>The news</h1>")
                    return
                answer = world.ask(self.path, self.headers["Host"])
                self.send_response(answer.status)
                for name, value in answer.headers.items():
                    self.send_header(name, value)
                self.end_headers()
                self.wfile.write(answer.text.encode())

            def log_message(self, *_):
                pass

        with http.server.ThreadingHTTPServer((ADDRESS, 0), Way) as way:
            threading.Thread(target=way.serve_forever, daemon=True).start()
            dom = self.chromium("--virtual-time-budget=30000", "--dump-dom", "http://wanted.example/news?a=b",
                                port=way.server_address[1])
            way.shutdown()
        self.assertIn("<h1>The news</h1>", dom)


if __name__ == "__main__":
    if shutil.which("chromium") is None:
        print("skipped: there is no chromium")
        sys.exit(SKIPPED)
    main(sys.argv)
