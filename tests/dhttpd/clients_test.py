#!/usr/bin/env python3
"""clients_test.py DHTTPD PAGE_HOLDER: dhttpd among slow and hostile clients."""

import contextlib
import os
import random
import re
import resource
import socket
import statistics
import sys
import time

from world import ADDRESS, SECONDS, World, main

SLOW = 200
MOST_MEMORY = 4096  # kB, with what libc's code takes that the whole machine shares
IS_CHECKED = "TIME_CHECK_SANITIZED" in os.environ  # a sanitizer has memory of its own


class Clients(World):
    def slow_clients(self, number=SLOW):
        """Clients of many addresses that have sent the half of a request."""
        clients = []
        for i in range(number):
            source = f"127.0.1.{i % 20 + 1}"
            client = socket.create_connection((ADDRESS, self.port), timeout=SECONDS, source_address=(source, 0))
            client.sendall(b"GET /slow HTTP/1.1\r\nHost: example.org\r\nX-Slow: ")
            self.addCleanup(client.close)
            clients.append(client)
        return clients

    def check_memory(self, when):
        """Says what the server holds, in kB, and that it is not too much."""
        with open(f"/proc/{self.server.pid}/smaps_rollup", encoding="ascii") as rollup:
            kb = {name: int(number) for name, number in re.findall(r"^(\w+): +(\d+) kB", rollup.read(), re.MULTILINE)}
        print(f"{when}: resident {kb['Rss']} kB, proportionate {kb['Pss']} kB, "
              f"of its own {kb['Private_Clean'] + kb['Private_Dirty']} kB")
        if not IS_CHECKED:
            self.assertLess(kb["Rss"], MOST_MEMORY)

    def load(self):
        begin = time.monotonic()
        self.assertEqual(self.ask().status, 503)
        return time.monotonic() - begin

    def test_a_page_among_slow_clients(self):
        clients = self.slow_clients()
        for client in clients[::2]:
            client.sendall(b"x")
        times = [self.load() for _ in range(50)]
        median = statistics.median(times)
        print(f"{SLOW} slow clients: median {median * 1000:.1f} ms, longest {max(times) * 1000:.1f} ms")
        self.assertLess(median, 1)
        self.check_memory(f"{SLOW} slow clients")

    def test_memory_when_each_connection_takes_what_it_may(self):
        for client in self.slow_clients(SLOW * 3 // 2):
            with contextlib.suppress(ConnectionError):  # the oldest have been sent away
                client.sendall(b"x" * 6500)
        self.load()
        self.check_memory("as many as get in, with full heads")

    def test_who_drips_is_ended(self):
        client = self.slow_clients(1)[0]
        begin = time.monotonic()
        client.settimeout(1)
        while time.monotonic() < begin + 60:
            try:
                client.sendall(b"x")
                if client.recv(100) == b"":
                    break
            except TimeoutError:
                continue
            except OSError:
                break
        self.assertLess(time.monotonic() - begin, 50)

    def test_ten_thousand_connections(self):
        number = 10000
        _, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
        most = min(hard, 12000)
        resource.setrlimit(resource.RLIMIT_NOFILE, (most, hard))
        kept = []
        try:
            for i in range(number):
                client = socket.socket()
                client.bind((f"127.0.{2 + i // 250 % 40}.{i % 250 + 1}", 0))
                client.setblocking(False)
                client.connect_ex((ADDRESS, self.port))
                kept.append(client)
                if len(kept) > most - 200:
                    kept.pop(0).close()
                if i % 1000 == 999:
                    self.assertLess(self.load(), SECONDS)
            self.assertIsNone(self.server.poll())
            fds = len(os.listdir(f"/proc/{self.server.pid}/fd"))
            self.assertLess(fds, 250)
            self.check_memory(f"{number} connections, {fds} descriptors")
        finally:
            for client in kept:
                client.close()
        self.assertLess(self.load(), SECONDS)

    def test_garbage(self):
        chance = random.Random(1)
        words = [b"GET ", b"/", b" HTTP/1.1\r\n", b"Host: ", b"\r\n", b"\0", b"Content-Length: ", b"-1", b"99999999999999999999",
                 b"Transfer-Encoding: chunked\r\n", b"%00", b"%", b"http://", b"Accept-Language: ", b";q=", b"\xff\xfe", b"{}"]
        for i in range(2000):
            request = b"".join(chance.choice(words) if chance.random() < 0.8 else chance.randbytes(9)
                               for _ in range(chance.randrange(1, 30)))
            try:
                with socket.create_connection((ADDRESS, self.port), timeout=SECONDS) as client:
                    client.sendall(request)
                    client.shutdown(socket.SHUT_WR)
                    if i % 2:
                        client.settimeout(0.05) # what is no whole request gets no answer
                        client.recv(100)
            except OSError:
                pass  # an answer may come before all was sent
        self.assertIsNone(self.server.poll())
        self.assertLess(self.load(), SECONDS)

    def test_answers_that_nobody_reads(self):
        clients = [socket.create_connection((ADDRESS, self.port), timeout=SECONDS) for _ in range(100)]
        for client in clients:
            client.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1)
            client.sendall(b"GET / HTTP/1.1\r\nHost: example.org\r\n\r\n")
        self.assertLess(self.load(), SECONDS)
        for client in clients:
            client.close()


if __name__ == "__main__":
    main(sys.argv)
