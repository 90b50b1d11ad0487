"""A name server that answers, keeps silent or lies, on demand."""
import itertools
import os
import random
import socket
import threading

ADDRESSES = tuple(f"127.0.0.{n}" for n in range(1, 5))  # all of them the server's own
NOBODY = "127.0.0.99"
TTL = 1  # seconds


class NameServer(threading.Thread):
    def __init__(self, own):
        super().__init__(daemon=True)
        self.mode, self.asked = "good", 0
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind((own, 53))
        self.turns = itertools.cycle(ADDRESSES)
        self.start()

    def run(self):
        while True:
            query, peer = self.socket.recvfrom(512)
            self.asked += 1
            if self.mode == "good":
                self.socket.sendto(answer(query, next(self.turns)), peer)
            elif self.mode == "lying":
                self.socket.sendto(random.choice(LIES)(query), peer)


def answer(query, address, flags=b"\x81\x80"):
    return (query[:2] + flags + b"\0\1\0\1\0\0\0\0" + query[12:] + b"\xc0\x0c\0\1\0\1" +
            TTL.to_bytes(4, "big") + b"\0\4" + socket.inet_aton(address))


LIES = (lambda query: answer(query, NOBODY),                               # another machine
        lambda query: answer(os.urandom(2) + query[2:], NOBODY),           # another query's
        lambda query: answer(query[:13] + b"q" + query[14:], NOBODY),      # another question
        lambda query: answer(query, NOBODY)[:-random.randrange(1, 30)],    # cut short
        lambda query: query[:2] + os.urandom(random.randrange(500)),       # noise
        lambda query: query[:2] + b"\x81\x83\0\1\0\0\0\0\0\0" + query[12:],  # no such name
        lambda query: answer(query, NOBODY, b"\x83\x80"),                  # truncated
        lambda query: answer(query, "0.0.0.0"),
        lambda query: query[:2] + b"\x81\x80\0\1\xff\xff\0\0\0\0" + query[12:] + b"\xc0\x0c" * 200)
