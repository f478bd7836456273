#!/usr/bin/env python3
"""web.py ZEL: `zel fetch` and `zel upload` against a web server that misbehaves.

The server is Python's own, on the loopback addresses 127.0.0.1 and 127.0.0.2, which count as two machines. Each case
has to end within its time, with its status and its reason, and leave no file where it fails; what is uploaded arrives
byte for byte.
"""
import gzip
import os
import struct
import subprocess
import sys
import tempfile
import threading
import time
import zlib
from email.parser import BytesParser
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from pathlib import Path

from roundtrip import SKIPPED, chunk, read_png

HOSTS = "127.0.0.1", "127.0.0.2"
SLACK = 5    # seconds for the program's start on a busy machine


def picture(red, side=8):
    """A PNG of one colour, without compression worth the name."""
    rows = (b"\0" + bytes((red, 90, 30)) * side) * side
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", side, side, 8, 2, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(rows, 0)) + chunk(b"IEND", b""))


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *_):
        pass

    def answer(self, status, body=b"", **headers):
        self.send_response(status)
        for name, value in {"Content-Length": len(body), "Connection": "close", **headers}.items():
            self.send_header(name.replace("_", "-"), str(value))
        self.end_headers()
        self.wfile.write(body)

    def do_GET(self):
        server, path = self.server, self.path.split("?")[0]
        server.seen.append(path)
        other = f"http://{HOSTS[1]}:{server.server_port}/picture.png"
        redirects = {"/moved": "/picture.png", "/loop": "/loop", "/file": f"file://{server.secret}",
                     "/ftp": f"ftp://{HOSTS[0]}/picture.png", "/other": other, "/lan": "http://10.255.255.1/picture.png",
                     "/metadata": "http://169.254.169.254/latest", "/own": f"http://localhost:{server.server_port}/picture.png"}
        if path == "/picture.png":
            self.answer(200, server.picture, Content_Type="text/plain")
        elif path in redirects:
            self.answer(302, Location=redirects[path])
        elif path.startswith("/hops/"):
            left = int(path[6:])
            self.answer(302, Location=f"/hops/{left - 1}" if left > 1 else "/picture.png")
        elif path == "/large":
            self.answer(200, bytes(300_000))
        elif path == "/endless":
            self.answer_endlessly(bytes(1000))
        elif path == "/cut":
            self.answer(200, server.picture[:60], Content_Length=len(server.picture))
        elif path == "/ends-early":    # a whole answer that is half a picture
            self.answer(200, server.picture[:100])
        elif path == "/stalls":
            self.answer(200, server.picture[:60], Content_Length=10_000, Connection="keep-alive")
            server.stopped.wait(30)
        elif path == "/silent":
            server.stopped.wait(30)
        elif path == "/packed":
            self.answer(200, gzip.compress(server.picture), Content_Encoding="gzip")
        elif path == "/broken":
            self.answer(500, b"<html>no</html>")
        elif path == "/page.png":
            self.answer(200, b"<html>no picture</html>", Content_Type="image/png")
        elif path == "/noise":
            self.wfile.write(b"\x01\x02\x03 this is no HTTP\r\n\r\n")
            self.close_connection = True
        else:
            self.answer(404, server.picture)

    def answer_endlessly(self, piece):
        self.send_response(200)
        self.send_header("Transfer-Encoding", "chunked")
        self.end_headers()
        try:
            while not self.server.stopped.is_set():
                self.wfile.write(b"%x\r\n%s\r\n" % (len(piece), piece))
        except OSError:
            self.close_connection = True

    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"]))
        form = BytesParser().parsebytes(b"Content-Type: " + self.headers["Content-Type"].encode() + b"\r\n\r\n" + body)
        self.server.posted += [(part.get_param("name", header="content-disposition"), part.get_filename(),
                                part.get_payload(decode=True)) for part in form.get_payload()]
        if self.path == "/slow":
            self.server.stopped.wait(30)
        self.answer(302 if self.path == "/moved" else 200, Location="/take")


class Server(ThreadingHTTPServer):
    daemon_threads = True

    def __init__(self, host, port, red, secret):
        super().__init__((host, port), Handler)
        self.picture, self.secret = picture(red), secret
        self.seen, self.posted, self.stopped = [], [], threading.Event()
        threading.Thread(target=self.serve_forever, daemon=True).start()

    def handle_error(self, *_):    # connections that the other side gave up
        pass

    def end(self):
        self.stopped.set()
        self.shutdown()
        self.server_close()


def servers(secret):
    """Two with one port, on two addresses."""
    for _ in range(20):
        first = Server(HOSTS[0], 0, 200, secret)
        try:
            return first, Server(HOSTS[1], first.server_port, 10, secret)
        except OSError:
            first.end()
    return None


# What is asked for, flags, status, the reason, seconds.
FETCHES = [
    ("/picture.png", [], 0, "", 0),
    ("/moved", [], 0, "", 0),
    ("/own", [], 0, "", 0),
    ("/hops/10", [], 0, "", 0),
    ("/other", ["--allow-private"], 0, "", 0),
    ("/missing.png", [], 3, "the server answered 404", 0),
    ("/broken", [], 1, "the server answered 500", 0),
    ("/loop", [], 1, "redirects", 0),
    ("/hops/11", [], 1, "redirects", 0),
    ("/file", [], 1, "", 0),
    ("/ftp", [], 1, "", 0),
    ("/other", [], 1, "a redirect leads into a private network (hint: --allow-private)", 0),
    ("/lan", [], 1, "a redirect leads into a private network", 0),
    ("/metadata", [], 1, "a redirect leads into a private network", 0),
    ("/picture.png", ["--public-only"], 1, "it leads into a private network", 0),
    ("/large", ["--max-download", "100k"], 4, "larger than the limit of 100000 bytes", 0),
    ("/endless", ["--max-download", "100k"], 4, "larger than the limit of 100000 bytes", 0),
    ("/cut", [], 1, "", 0),
    ("/stalls", ["--transfer-time", "1s"], 1, "within 1 s", 1),
    ("/silent", ["--transfer-time", "500ms"], 1, "within 0.5 s", 0.5),
    ("/packed", [], 3, "", 0),
    ("/page.png", [], 3, "", 0),
    ("/noise", [], 1, "", 0),
]


def main():
    zel = sys.argv[1]
    wrong, made = [], 0
    environment = {name: value for name, value in os.environ.items() if not name.lower().endswith("_proxy")}

    def run(*words):
        started = time.monotonic()
        ended = subprocess.run([zel, *map(str, words)], capture_output=True, text=True, timeout=60, env=environment)
        return ended.returncode, ended.stderr.strip(), time.monotonic() - started

    def check(holds, sentence):
        nonlocal made
        made += 1
        if not holds:
            wrong.append(sentence)

    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        secret = folder / "secret.png"
        secret.write_bytes(picture(77))
        pair = servers(secret)
        if pair is None:
            print("skipped: two loopback addresses cannot be had")
            return SKIPPED
        near, far = pair
        base = f"http://{HOSTS[0]}:{near.server_port}"

        for path, flags, status, reason, least in FETCHES:
            output = folder / "out.png"
            far.seen.clear()
            code, said, seconds = run("fetch", base + path, "-o", output, *flags)
            case = f"fetch {path} {' '.join(flags)}"
            check(code == status, f"{case}: status {code}, not {status}: {said}")
            check(reason in said, f"{case}: {said!r} lacks {reason!r}")
            check(status == 0 or said.count("\n") == 0 and said, f"{case}: no one line of a reason: {said!r}")
            check(least <= seconds < least + SLACK, f"{case}: took {seconds:.2f} s")
            check(output.exists() == (status == 0), f"{case}: the output is {'' if output.exists() else 'not '}there")
            check(bool(far.seen) == (path == "/other" and status == 0), f"{case}: the other machine was asked for {far.seen}")
            output.unlink(missing_ok=True)
            check(sorted(p.name for p in folder.iterdir()) == ["secret.png"], f"{case}: left {list(folder.iterdir())}")

        # Half a picture decodes as far as it goes, with a warning that --strict heeds.
        code, said, _ = run("fetch", base + "/ends-early", "-o", folder / "half.png", "--strict")
        check(code != 0 and said, f"half a picture: status {code}, {said!r}")

        # Two machines, one path.
        addresses = [f"http://{host}:{near.server_port}/picture.png" for host in HOSTS]
        code, said, _ = run("fetch", *addresses, "-o", folder / "two-{n}.png")
        check(code == 0, f"two hosts with one path: {said}")
        for number, server in enumerate(pair, 1):
            file = folder / f"two-{number}.png"
            (folder / "source.png").write_bytes(server.picture)
            check(file.exists() and read_png(file) == read_png(folder / "source.png"),
                  f"two hosts with one path: {number} is not what that host has")

        # Nobody listens.
        closed = Server(HOSTS[0], 0, 1, secret)
        closed.end()
        code, said, seconds = run("fetch", f"http://{HOSTS[0]}:{closed.server_port}/a.png", "-o", folder / "none.png")
        check(code == 1 and said and seconds < SLACK, f"nobody listens: status {code}, {said!r}, {seconds:.2f} s")

        source, jpeg = folder / "secret.png", folder / "sent.jpg"
        run("convert", source, "-o", jpeg, "--quality", 70)
        code, said, _ = run("upload", source, "--to", base + "/take", "--quality", 70, "--name", "a \"b\" é")
        check(code == 0, f"upload: {said}")
        check([(name, data) for name, _, data in near.posted] == [("file", jpeg.read_bytes())],
              f"upload: {[(name, file, len(data)) for name, file, data in near.posted]} arrived")
        check(near.posted and "\r" not in near.posted[0][1] and near.posted[0][1].endswith(".jpg"), "upload: its name")
        for path, flags, status, reason, least in [("/moved", [], 1, "the server answered 302", 0),
                                                   ("/slow", ["--transfer-time", "1s"], 1, "within 1 s", 1)]:
            code, said, seconds = run("upload", source, "--to", base + path, *flags)
            check(code == status and reason in said, f"upload {path}: status {code}, {said!r}")
            check(least <= seconds < least + SLACK, f"upload {path}: took {seconds:.2f} s")
        for server in pair:
            server.end()
    for sentence in wrong:
        print(sentence)
    print(f"{made} checks with a web server: {len(wrong)} complaints")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
