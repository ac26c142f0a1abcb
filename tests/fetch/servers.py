"""Servers on the loopback for the tests of tqfetchd: packaged ones for HTTP (busybox) and FTP (pyftpdlib), and one that
misbehaves on request."""
import http.server
import logging
import os
import random
import re
import socket
import subprocess
import threading
import time
import urllib.parse

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler, ThrottledDTPHandler
from pyftpdlib.servers import FTPServer

ROOT = "/tmp/served"
SIZE = 3_000_000
DATA = random.Random(1).randbytes(SIZE)
OTHER = random.Random(2).randbytes(SIZE)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def serve(name, data=DATA):
    """A file for the packaged servers."""
    path = os.path.join(ROOT, name)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(data)


def start_http():
    port = free_port()
    os.makedirs(ROOT, exist_ok=True)
    with open("/tmp/httpd.conf", "w") as conf:
        conf.write("/private:anna:secret\n/table:berta:other\n")
    process = subprocess.Popen(["busybox", "httpd", "-f", "-p", f"127.0.0.1:{port}", "-h", ROOT, "-c", conf.name])
    return process, f"http://127.0.0.1:{port}/"


def set_pace(slow):
    """How the FTP server and /slow/ send from now on: slowly, or what is left at once."""
    ThrottledDTPHandler.write_limit = 300_000 if slow else 0
    Hostile.pace = 0.3 if slow else 0


def start_ftp():
    logging.basicConfig(level=logging.CRITICAL)

    class Handler(FTPHandler):
        authorizer = DummyAuthorizer()
        dtp_handler = ThrottledDTPHandler
    os.makedirs(ROOT, exist_ok=True)
    Handler.authorizer.add_anonymous(ROOT)
    Handler.authorizer.add_user("anna", "secret", ROOT)
    server = FTPServer(("127.0.0.1", 0), Handler)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return f"ftp://127.0.0.1:{server.address[1]}/"


class Hostile(http.server.BaseHTTPRequestHandler):
    """/BEHAVIOUR/NAME. The count is that of the requests for this path so far."""
    protocol_version = "HTTP/1.1"
    seen = []  # (path, headers)
    pace = 0  # seconds between 64 KiB

    def log_message(self, *_):
        pass

    def do_GET(self):
        self.close_connection = True
        count = sum(path == self.path for path, _ in self.seen)
        self.seen.append((self.path, dict(self.headers)))
        behaviour = self.path.split("/")[1]
        asked = re.match(r"bytes=(\d+)-", self.headers.get("Range", ""))
        at = int(asked[1]) if asked else 0
        try:
            getattr(self, behaviour)(count, at)
        except (BrokenPipeError, ConnectionResetError):
            pass

    def answer(self, body=DATA, at=0, start=None, total=None, length=None, etag='"1"', also=(), paced=False):
        """What follows `at` of a body, with headers that say something else on request."""
        rest = body[at:]
        self.send_response(206 if at else 200)
        if at:
            self.send_header("Content-Range", f"bytes {at if start is None else start}-{len(body) - 1}/{total or len(body)}")
        self.send_header("Content-Length", str(len(rest) if length is None else length))
        if etag:
            self.send_header("ETag", etag)
        for name, value in also:
            self.send_header(name, value)
        self.end_headers()
        for begin in range(0, len(rest), 65536):
            self.wfile.write(rest[begin:begin + 65536])
            time.sleep(self.pace if paced else 0)

    def send_part(self, etag='"1"'):
        """As if the connection broke half-way."""
        self.answer(DATA[:SIZE // 2], length=SIZE, etag=etag)

    def good(self, _, at):
        self.answer(at=at)

    def slow(self, _, at):
        self.answer(at=at, paced=True)

    def half(self, count, at):
        self.send_part() if count == 0 else self.answer(at=at)

    def less(self, *_):
        self.send_part(etag=None)

    def more(self, count, at):
        self.send_part() if count == 0 else self.answer(DATA + b"more", at, total=SIZE) if count == 1 else self.answer()

    def changed(self, count, _):
        self.send_part() if count == 0 else self.answer(OTHER, etag='"2"')

    def changed_unsaid(self, count, at):
        self.send_part() if count == 0 else self.answer(OTHER, at, etag='"2"')

    def wrong(self, count, at):
        self.send_part() if count == 0 else self.answer(at=at, start=at - 1)

    def unchecked(self, count, at):
        self.send_part(etag=None) if count == 0 else self.answer(at=at, etag=None)

    def flaky(self, count, at):
        self.send_error(503) if count < 2 else self.answer(at=at)

    def gone(self, *_):
        self.send_error(404)

    def endless(self, *_):
        self.redirect(self.path)

    def local(self, *_):
        self.redirect("file:///etc/passwd")

    def away(self, *_):
        self.redirect(f"http://localhost:{self.server.server_port}/good/{self.path.split('/')[-1]}")

    def redirect(self, where):
        self.send_response(302)
        self.send_header("Location", where)
        self.send_header("Content-Length", "0")
        self.end_headers()

    def silent(self, *_):
        time.sleep(8)

    def bloated(self, *_):
        self.answer(also=[("X-Long", "x" * 200_000)])

    def named(self, *_):
        self.answer(also=[("Content-Disposition", urllib.parse.unquote(self.path.split("/")[-1]))])

    def unsized(self, *_):
        self.send_response(200)
        self.send_header("Connection", "close")
        self.end_headers()
        self.wfile.write(DATA)


def start_hostile():
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Hostile)
    server.daemon_threads = True
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return f"http://127.0.0.1:{server.server_port}/"
