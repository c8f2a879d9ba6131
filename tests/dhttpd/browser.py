#!/usr/bin/env python3
"""browser.py DHTTPD PAGE_HOLDER: the fault page in a browser, on a phone and on a desk; and that it gives way.
Ends with 77, which ctest takes for a skipped test, where there is no chromium."""

import http.server
import importlib.machinery
import importlib.util
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import threading

from world import ADDRESS, FAULT_LASTS, World, main

SKIPPED = 77
PICTURES = os.environ.get("TIME_CHECK_PICTURES")  # a folder to keep them in


def looker():
    """The preview's look at a page as a browser lays it out."""
    path = pathlib.Path(__file__).resolve().parents[1] / "preview/browser"
    loader = importlib.machinery.SourceFileLoader("preview_browser", str(path))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("preview_browser", loader))
    loader.exec_module(module)
    return module


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

    def test_how_it_looks(self):
        self.is_so(f"fault=3 verdict={FAULT_LASTS} since=700 wan1=2 interface=eth1 wan2=7")
        look = looker()
        for path, language in (("/", "en"), ("/", "de"), ("/status", "en")):
            page = self.own(path, Accept_Language=language).text
            for name, width in look.WIDTHS.items():
                with self.subTest(path=path, language=language, width=name), \
                        tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as folder:
                    seen = look.looked_at(page, width, True, folder)
                    self.assertEqual(seen["found"], [])
                    self.assertGreater(seen["texts"], 10)

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
