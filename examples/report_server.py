#!/usr/bin/env python3
"""A management server for tests and for trying the agent out, on 127.0.0.1 only.

It takes signed reports by POST, checks them as a real server would, and answers
200 with an empty body, 403 with the reason on stderr, or 405 to another method.
With --client-ca it takes reports from known clients only.
--fault names a file, read again at each request, whose text makes it misbehave:

  ok | status N [BYTES] | reset | close_mid_upload | slow SECONDS | hang
"""
import argparse
import hashlib
import hmac
import json
import os
import signal
import socket
import socketserver
import ssl
import struct
import sys
import threading
import time
import zlib
from contextlib import closing
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from urllib.parse import parse_qs, urlsplit

IDLE_SECONDS = 60  # a connection that is silent for longer is dropped
LARGEST_BODY = 64 * 1024 * 1024


class Refused(Exception):
    """The request is not a report; the text says why."""


def write_whole(path, content):
    """Readers see all of the file or none of it."""
    with open(path + ".tmp", "wb") as out:
        out.write(content)
    os.replace(path + ".tmp", path)


class ReportServer(ThreadingHTTPServer):
    daemon_threads = True
    request_queue_size = 128

    def __init__(self, options):
        self.options = options
        self.secret = (options.secret or "").encode()
        if options.secret_file:
            with open(options.secret_file, "rb") as file:
                self.secret = file.read().removesuffix(b"\n")
        self.tls = None
        if options.cert:
            self.tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            self.tls.load_cert_chain(options.cert)
            if options.client_ca:
                # Clients resume sessions, with the certificate that they showed before. OpenSSL
                # refuses that to a server without a session id context; Python always sets one.
                self.tls.load_verify_locations(options.client_ca)
                self.tls.verify_mode = ssl.CERT_REQUIRED
        self.accepted = 0
        self.lock = threading.Lock()
        super().__init__(("127.0.0.1", options.port), Handler)

    def server_bind(self):  # the base class would look our own name up
        socketserver.TCPServer.server_bind(self)
        self.server_name, self.server_port = self.server_address

    def finish_request(self, request, client_address):  # in the connection's own thread
        request.settimeout(IDLE_SECONDS)
        if self.tls:
            try:
                request = self.tls.wrap_socket(request, server_side=True)
            except ssl.SSLError as error:
                print("no TLS:", error, file=sys.stderr, flush=True)
                raise
        with closing(request):
            super().finish_request(request, client_address)

    def shutdown_request(self, request):  # a FIN now would spoil a reset
        self.close_request(request)

    def handle_error(self, request, client_address):
        if not isinstance(sys.exc_info()[1], OSError):  # those are the client's
            super().handle_error(request, client_address)

    def fault(self):
        try:
            with open(self.options.fault, encoding="utf-8") as file:
                return file.read().split() or ["ok"]
        except (OSError, TypeError):
            return ["ok"]

    def token_is_good(self, token, body):
        """Also that of a clock, or a way, that is off by a period."""
        period = int(time.time() * 1000) // self.options.period
        wanted = [hmac.new(self.secret, body + b"%d" % p, hashlib.sha256).hexdigest()
                  for p in (period - 1, period, period + 1)]
        return any([hmac.compare_digest(token.encode(), w.encode()) for w in wanted])

    def keep(self, body, meta):
        with self.lock:
            self.accepted += 1
            number = self.accepted
        if self.options.keep:
            base = os.path.join(self.options.keep, "%04d" % number)
            write_whole(base + ".meta.json", json.dumps(meta, indent=1).encode())
            write_whole(base + ".json", body)
        if self.options.print:
            print(time.strftime("%H:%M:%S"), 200, len(body), "bytes", figures(body), flush=True)


def handshake(connection):
    """How a request came, for its notes; None without TLS."""
    if not isinstance(connection, ssl.SSLSocket):
        return None
    return {"version": connection.version(), "resumed": connection.session_reused,
            "client": dict(rdn[0] for rdn in (connection.getpeercert() or {}).get("subject", ()))}


def figures(body):
    """CPU, RAM and number of processes of a report, as text."""
    try:
        report = json.loads(body)
        cpu, ram = (report["machine-info"][key] for key in ("cpu", "ram"))
        processes = [p for p in report["processes_stats"]
                     if p.get("process_name") not in ("other", "idle")]
        return "cpu %.1f %% ram %.1f %% processes %d" % (
            cpu["total"], 100 * ram["used"] / ram["total"], len(processes))
    except (ValueError, LookupError, TypeError, AttributeError, ArithmeticError):
        return "cpu - ram - processes -"


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    disable_nagle_algorithm = True  # the answer is a second small write after the TLS tickets

    def log_message(self, *_):
        pass

    def handle_expect_100(self):  # clients must not rely on a "100 Continue"
        return True

    def do_POST(self):
        kind, *value = self.server.fault()
        if kind == "reset":
            self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            self.close_connection = True
        elif kind == "close_mid_upload":
            self.rfile.read(1000)
            self.close_connection = True
        elif kind == "hang":
            time.sleep(IDLE_SECONDS)
            self.close_connection = True
        else:
            if kind == "slow":
                time.sleep(float(value[0]))
            self.answer(*map(int, value) if kind == "status" else ())

    def answer(self, forced_status=None, body_size=0):
        status = forced_status
        try:
            raw = self.read_body()
            if "Expect" in self.headers:  # some servers refuse it, with the body sent or not
                status = 417
            elif status is None:
                self.accept(raw)
                status = 200
        except Refused as why:
            print("refused:", why, file=sys.stderr, flush=True)
            status = 403
            self.close_connection = True
        self.send_response(status)
        if 300 <= status < 400:
            self.send_header("Location", self.path)
        self.send_header("Content-Length", str(body_size))
        self.end_headers()
        self.wfile.write(b"x" * body_size)

    def do_GET(self):
        text = b"reports are posted here\n"
        self.send_response(405)
        self.send_header("Allow", "POST")
        self.send_header("Content-Length", str(len(text)))
        self.close_connection = True  # with the body of a PUT unread
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(text)

    do_HEAD = do_PUT = do_DELETE = do_GET

    def read_body(self):
        length = self.headers.get("Content-Length", "0")
        if not length.isdecimal() or int(length) > LARGEST_BODY:
            raise Refused("Content-Length is " + length)
        body = self.rfile.read(int(length))
        if len(body) < int(length):
            raise ConnectionError("the client went away")
        return body

    def accept(self, raw):
        options, url = self.server.options, urlsplit(self.path)
        query = parse_qs(url.query, keep_blank_values=True)
        body = raw
        if self.headers.get("Content-Encoding") == "gzip":
            try:
                body = zlib.decompressobj(31).decompress(raw, LARGEST_BODY)
            except zlib.error as error:
                raise Refused("body: %s" % error) from error
        for what, is_good in (
                ("path " + url.path, url.path == options.path),
                ("Content-Type", self.headers.get("Content-Type") == "application/json"),
                ("key", query.get("key") == [options.key_id]),
                ("token", self.server.token_is_good(query.get("token", [""])[0], body))):
            if not is_good:
                raise Refused("wrong " + what)
        self.server.keep(body, {"path": url.path, "query": query, "headers": dict(self.headers),
                                "peer": self.client_address, "received": time.time(),
                                "tls": handshake(self.connection)})


def parse_options():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--port", type=int, default=0, help="0: any free one")
    parser.add_argument("--port-file", help="gets the number of the bound port")
    parser.add_argument("--cert", help="PEM file, certificate and key; without it, plain HTTP")
    parser.add_argument("--client-ca", help="PEM file of certificates; with --cert, a client must "
                        "show one of these or one that they have signed")
    secret = parser.add_mutually_exclusive_group(required=True)
    secret.add_argument("--secret")
    secret.add_argument("--secret-file", help="one line end at its end is no part of the secret")
    parser.add_argument("--key-id", required=True, help="expected \"key\" of the query")
    parser.add_argument("--period", type=int, required=True, help="of a token, in ms")
    parser.add_argument("--path", default="/report")
    parser.add_argument("--keep", help="directory that gets NNNN.json and NNNN.meta.json")
    parser.add_argument("--fault", help="file that tells how to misbehave")
    parser.add_argument("--print", action="store_true", help="one line per accepted report")
    return parser.parse_args()


def main():
    options = parse_options()
    for number in (signal.SIGTERM, signal.SIGINT):
        signal.signal(number, lambda *_: os._exit(0))
    with ReportServer(options) as server:
        if options.port_file:
            write_whole(options.port_file, b"%d\n" % server.server_port)
        server.serve_forever()


if __name__ == "__main__":
    main()
