"""A name server that answers, keeps silent or lies, on demand."""
import contextlib
import itertools
import os
import random
import socket
import threading

ADDRESSES = tuple(f"127.0.0.{n}" for n in range(1, 5))  # all of them the server's own
NOBODY = "127.0.0.99"
TTL = 1  # seconds


class NameServer(threading.Thread):
    def __init__(self, own, mode="good", addresses=(), ttl=TTL):
        """Answers with all of `addresses`; when there are none, with its own in turn."""
        super().__init__(daemon=True)
        self.mode, self.asked, self.addresses, self.ttl = mode, 0, addresses, ttl
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind((own, 53))
        self.turns = itertools.cycle(ADDRESSES)
        self.start()

    def run(self):
        while True:
            query, peer = self.socket.recvfrom(512)
            if self.mode == "closed":
                return
            self.asked += 1
            if self.mode == "good":
                addresses = self.addresses or (next(self.turns),)
                self.socket.sendto(answer(query, *addresses, ttl=self.ttl), peer)
            elif self.mode == "lying":
                self.socket.sendto(random.choice(LIES)(query), peer)

    def close(self):
        self.mode = "closed"
        with contextlib.suppress(OSError):
            self.socket.shutdown(socket.SHUT_RDWR)  # wakes the thread; it has no peer
        self.join()
        self.socket.close()


def answer(query, *addresses, flags=b"\x81\x80", ttl=TTL):
    records = [b"\xc0\x0c\0\1\0\1" + ttl.to_bytes(4, "big") + b"\0\4" + socket.inet_aton(address)
               for address in addresses]
    return (query[:2] + flags + b"\0\1" + len(records).to_bytes(2, "big") + b"\0\0\0\0" +
            query[12:] + b"".join(records))


LIES = (lambda query: answer(query, NOBODY),                               # another machine
        lambda query: answer(os.urandom(2) + query[2:], NOBODY),           # another query's
        lambda query: answer(query[:13] + b"q" + query[14:], NOBODY),      # another question
        lambda query: answer(query, NOBODY)[:-random.randrange(1, 30)],    # cut short
        lambda query: query[:2] + os.urandom(random.randrange(500)),       # noise
        lambda query: query[:2] + b"\x81\x83\0\1\0\0\0\0\0\0" + query[12:],  # no such name
        lambda query: answer(query, NOBODY, flags=b"\x83\x80"),            # truncated
        lambda query: answer(query, "0.0.0.0"),
        lambda query: query[:2] + b"\x81\x80\0\1\xff\xff\0\0\0\0" + query[12:] + b"\xc0\x0c" * 200)
