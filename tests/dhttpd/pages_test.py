#!/usr/bin/env python3
"""pages_test.py DHTTPD PAGE_HOLDER: what dhttpd answers."""

import base64
import hashlib
import html.parser
import json
import re
import signal
import subprocess
import sys
import unittest

from world import FAULT_GONE, FAULT_LASTS, NO_FAULT, ONLINE, World, main

TITLES = {
    "en": ["The internet is not reached", "No cable in the internet socket", "The provider refuses the login",
           "The provider's login server does not answer", "The provider gives the router no address"],
    "de": ["Das Internet ist nicht erreichbar", "Kein Kabel in der Internet-Buchse", "Der Anbieter weist die Anmeldung ab",
           "Der Anbieter antwortet auf die Anmeldung nicht", "Der Anbieter gibt dem Router keine Adresse"],
}
VOID = {"meta", "circle", "path", "br"}


class Reader(html.parser.HTMLParser):
    """Elements in their order, and what a page must have for everybody."""

    def __init__(self, page):
        super().__init__()
        self.elements, self.open, self.faults, self.text, self.style = [], [], [], "", ""
        self.feed(page)
        self.close()
        if self.open:
            self.faults.append(f"not closed: {self.open}")
        self.look()

    def handle_starttag(self, tag, attributes):
        self.elements.append((tag, dict(attributes)))
        if tag not in VOID:
            self.open.append(tag)

    def handle_startendtag(self, tag, attributes):
        self.elements.append((tag, dict(attributes)))

    def handle_endtag(self, tag):
        if not self.open or self.open.pop() != tag:
            self.faults.append(f"closed without being opened: {tag}")

    def handle_data(self, data):
        if "style" in self.open:
            self.style += data
            return
        self.text += data
        if "body" in self.open and data.strip() and not {"header", "main", "footer"} & set(self.open):
            self.faults.append(f"text in no landmark: {data}")

    def number(self, tag):
        return sum(1 for each, _ in self.elements if each == tag)

    def look(self):
        for tag, wanted in {"html": 1, "title": 1, "header": 1, "main": 1, "footer": 1, "h1": 1, "script": 0, "img": 0,
                            "link": 0, "form": 0, "iframe": 0}.items():
            if self.number(tag) != wanted:
                self.faults.append(f"{self.number(tag)} of {tag}")
        level = 0
        for tag, attributes in self.elements:
            names = set(attributes)
            if any(name.startswith("on") or name in ("style", "tabindex", "src") for name in names):
                self.faults.append(f"{tag} with {names}")
            if tag == "html" and not attributes.get("lang"):
                self.faults.append("no language")
            if tag == "svg" and (attributes.get("role") != "img" or not attributes.get("aria-label")):
                self.faults.append("a drawing without words")
            if tag == "meta" and "maximum-scale" in attributes.get("content", "") + attributes.get("http-equiv", ""):
                self.faults.append("cannot be enlarged")
            if re.fullmatch("h[1-6]", tag):
                if int(tag[1]) > level + 1:
                    self.faults.append(f"{tag} after h{level}")
                level = int(tag[1])
            if tag == "th" and attributes.get("scope") not in ("row", "col"):
                self.faults.append("a head of a table that says not of what")


class Pages(World):
    def page(self, answer):
        read = Reader(answer.text)
        self.assertEqual(read.faults, [])
        digest = base64.b64encode(hashlib.sha256(read.style.encode()).digest()).decode()
        policy = answer.headers["Content-Security-Policy"]
        self.assertIn(f"style-src 'sha256-{digest}'", policy)
        self.assertIn("default-src 'none'", policy)
        return read

    def test_each_fault_in_each_language(self):
        for fault in range(5):
            self.is_so(f"fault={fault} verdict={FAULT_LASTS if fault else NO_FAULT} since=700 wan1=2 interface=eth1")
            for language, titles in TITLES.items():
                with self.subTest(fault=fault, language=language):
                    answer = self.ask(Accept_Language=language)
                    self.assertEqual((answer.status, answer.headers["Content-Language"]), (503, language))
                    page = self.page(answer)
                    self.assertIn(("html", {"lang": language}), page.elements)
                    self.assertEqual(answer.text.count(titles[fault]), 2, "title and head")
                    self.assertEqual(re.search(r"11 min (4[0-9]|5[0-9]) s", page.text) is not None, fault > 0)
                    self.assertIn("eth1", page.text)
                    self.assertGreaterEqual(page.number("li"), 2)

    def test_a_drawing_for_each_line(self):
        for verdict, parts in {0: "not known; not known; not known", 1: "broken; not known; not known",
                               2: "works; broken; not known", 3: "broken; not known; not known", 4: "works; works; broken",
                               5: "works; works; broken", 6: "works; works; works", 7: "works; works; works"}.items():
            self.is_so(f"fault=4 verdict={FAULT_LASTS} since=700 wan1={verdict} wan2=7")
            drawings = [each["aria-label"] for tag, each in self.page(self.ask()).elements if tag == "svg"]
            said = ["; ".join(part.split(": ")[1] for part in drawing.split("; ")) for drawing in drawings]
            self.assertEqual(said, [parts, "works; works; works"])

    def test_it_goes_by_what_is_so_now(self):
        answer = self.ask()
        self.assertEqual((answer.headers["Refresh"], answer.headers["Retry-After"]), ("10", "10"))
        for verdict in (ONLINE, FAULT_GONE):
            self.is_so(f"fault=0 verdict={verdict} wan1=7")
            answer = self.ask()
            self.assertIn("The line is back", self.page(answer).text)
            self.assertEqual((answer.status, answer.headers["Refresh"]), (503, "2"))

    def test_it_says_when_nobody_knows(self):
        untold = "Not known why the line is dead"
        self.is_so("fault=1 verdict=8 age=40")
        self.assertIn(untold, self.page(self.ask()).text)
        self.is_so("fault=1 verdict=8")
        self.assertNotIn(untold, self.page(self.ask()).text)
        self.end(self.holding)
        self.assertIn(untold, self.page(self.ask()).text)
        for wrong in (b"", b"x" * 40000):
            self.page_file.write_bytes(wrong)
            self.assertIn(untold, self.page(self.ask()).text)
        self.page_file.unlink()
        self.assertIn(untold, self.page(self.ask(Accept_Language="fr")).text)

    def test_what_was_wanted_is_shown(self):
        self.assertIn('<a href="http://example.org/a?b=c&amp;d=%22">http://example.org/a?b=c&amp;d=%22</a>',
                      self.ask("/a?b=c&d=%22").text)
        for path in ("/<script>alert(1)</script>", "/\"onload=x", "/" + "a" * 1500):
            answer = self.ask(path)
            self.assertEqual(answer.status, 503)
            self.assertEqual(self.page(answer).number("a"), 0)
        own = self.own()
        self.assertEqual((own.status, self.page(own).number("a")), (200, 0))
        self.assertEqual(self.page(self.ask("/status")).number("a"), 1, "a page of somebody else")

    def test_headers(self):
        for answer in (self.ask(), self.own(), self.own("/captive-portal"), self.own(method="PUT")):
            self.assertEqual(answer.headers["Cache-Control"], "no-store")
            self.assertEqual(answer.headers["X-Content-Type-Options"], "nosniff")
            self.assertEqual(answer.headers["Referrer-Policy"], "no-referrer")
            self.assertEqual(answer.headers["Connection"], "close")
            self.assertIsNone(answer.headers["Set-Cookie"])

    def test_methods(self):
        head, get = self.ask(method="HEAD"), self.ask()
        self.assertEqual((head.status, head.text), (503, ""))
        self.assertEqual(head.headers["Content-Length"], get.headers["Content-Length"])
        for method in ("POST", "PUT", "DELETE", "OPTIONS", "TRACE", "PATCH", "NONSENSE"):
            answer = self.ask(method=method)
            self.assertEqual((answer.status, answer.headers["Allow"]), (405, "GET, HEAD"), method)
        self.assertIn(b" 405 ", self.raw(b"POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 9999999999\r\n\r\nxx").split(b"\r\n")[0])

    def test_bad_requests(self):
        for request in (b"GET / HTTP/1.1\r\n\r\n", b"GET / HTTP/1.1\r\nHost: a b\r\n\r\n", b"GET nowhere HTTP/1.1\r\nHost: a\r\n\r\n",
                        b"GET https://a/ HTTP/1.1\r\nHost: a\r\n\r\n", b"GET /\xff HTTP/1.1\r\nHost: a\r\n\r\n"):
            self.assertIn(b" 400 ", self.raw(request).split(b"\r\n")[0], request)
        self.assertIn(b" 431 ", self.raw(b"GET / HTTP/1.1\r\nHost: a\r\nX: " + b"x" * 20000 + b"\r\n\r\n").split(b"\r\n")[0])
        self.assertIn(b" 414 ", self.raw(b"GET /" + b"x" * 20000 + b" HTTP/1.1\r\nHost: a\r\n\r\n").split(b"\r\n")[0])
        self.assertIn(b" 503 ", self.raw(b"GET / HTTP/1.0\r\n\r\n").split(b"\r\n")[0], "an old one names no host")

    def test_phones_are_told_that_they_are_captive(self):
        for line, is_captive in (("fault=1 verdict=8", True), ("fault=0 verdict=0", False)):
            self.is_so(line)
            answer = self.own("/captive-portal")
            self.assertEqual((answer.status, answer.headers["Content-Type"]), (200, "application/captive+json"))
            self.assertEqual(json.loads(answer.text), {
                "captive": is_captive, "user-portal-url": f"http://127.0.0.1:{self.port}/"})

    def test_what_is_not_enabled_is_not_there(self):
        for path in ("/status", "/preview"):
            answer = self.own(path)
            self.assertIn(TITLES["en"][1], self.page(answer).text)

    def test_it_ends_when_it_is_told(self):
        for which in (signal.SIGTERM, signal.SIGINT):
            self.server.send_signal(which)
            self.assertEqual(self.server.wait(10), 0)
            self.start()


class MorePages(Pages):
    """With what an owner may enable."""

    def setUp(self):
        self.options = ()
        super().setUp()
        self.preview = self.folder / "preview.html"
        self.end(self.server)
        self.options = ("--status", "--preview", str(self.preview))
        self.start()

    def test_what_is_not_enabled_is_not_there(self):
        self.assertEqual(self.own("/preview").status, 404)
        self.preview.write_text("<!DOCTYPE html><p>" + "the coming days " * 20000)
        answer = self.own("/preview")
        self.assertEqual((answer.status, answer.text), (200, self.preview.read_text()))
        self.assertIn("default-src 'none'", answer.headers["Content-Security-Policy"])
        self.preview.unlink()
        self.preview.symlink_to("/etc/passwd")
        self.assertEqual(self.own("/preview").status, 404, "a link leads elsewhere")
        self.assertEqual(self.own("/preview/../status").text.count("<h1>No cable"), 1, "a path is no file's")

    def test_status(self):
        answer = self.own("/status")
        page = self.page(answer)
        self.assertEqual(answer.status, 200)
        for text in ("reboot", "stoppage", "fault lasts", "wan1", "no link"):
            self.assertIn(text, page.text)
        self.assertEqual(self.ask("/status", host="evil.example").status, 503, "for who asks for the router alone")
        self.end(self.holding)
        self.assertIn("the daemon is dead", self.page(self.own("/status")).text)


class Calls(unittest.TestCase):
    def test_wrong_ones(self):
        for words, status in (((), 2), (("--listen", "127.0.0.1"), 2), (("--listen", "127.0.0.1:0"), 2),
                              (("--listen", "127.0.0.1:70000"), 2), (("--listen", "127.0.0.1:8x"), 2),
                              (("--listen", "127.0.0.1:80", "more"), 2), (("--nonsense",), 2),
                              (("--listen", "0.0.0.0:8053"), 1), (("--listen", "[::]:8053"), 1),
                              (("--listen", "router.example:8053"), 1), (("--listen", "192.0.2.1:8053"), 1),
                              (("--listen", "127.0.0.1:8053", "--interface", "none0"), 1),
                              (("--listen", "127.0.0.1:8053", "--listen", "[::]:8053"), 1)):
            done = subprocess.run([World.dhttpd, *words], capture_output=True, text=True, timeout=20, check=False)
            self.assertEqual((done.returncode, done.stdout), (status, ""), words)
            self.assertTrue(done.stderr.startswith("dhttpd: ") or "Try dhttpd --help" in done.stderr, done.stderr)

    def test_help_and_version(self):
        for word in ("--help", "--version"):
            done = subprocess.run([World.dhttpd, word], capture_output=True, text=True, timeout=20, check=True)
            self.assertIn("dhttpd", done.stdout)


if __name__ == "__main__":
    main(sys.argv)
