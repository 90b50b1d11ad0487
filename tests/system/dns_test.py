"""Reports to a server that is known by name only, and what its name servers do to them."""
import re
import socket
import subprocess
import threading
import time
from nodetest import NodeTest, heartbeat_gaps, run, set_name_servers, until

NAME = "zel.dns"
HOSTS_FILE = "vos_monitor_ZELHttpClient_persistent_hosts.txt"


class NameServer(threading.Thread):
    """Answers every query with `addresses`, or stays silent without any."""

    def __init__(self, test, own, *addresses, ttl=0):
        super().__init__(daemon=True)
        self.addresses, self.ttl, self.asked, self.open = addresses, ttl, 0, True
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind((own, 53))
        self.socket.settimeout(0.05)
        test.addCleanup(self.close)
        self.start()

    def run(self):
        while self.open:
            try:
                query, peer = self.socket.recvfrom(512)
            except TimeoutError:
                continue
            self.asked += 1
            if self.addresses:
                records = b"".join(b"\xc0\x0c\0\1\0\1" + self.ttl.to_bytes(4, "big") + b"\0\4" +
                                   socket.inet_aton(address) for address in self.addresses)
                count = len(self.addresses).to_bytes(2, "big")
                self.socket.sendto(query[:2] + b"\x81\x80\0\1" + count + b"\0\0\0\0" + query[12:] +
                                   records, peer)

    def close(self):
        self.open = False
        self.join()
        self.socket.close()


class Names(NodeTest):
    def named(self, *servers, freq=400):
        set_name_servers(*servers)
        self.addCleanup(set_name_servers)
        return self.node(**{"Monitoring.report_freq": freq}).serve(NAME)

    def test_answers_are_cached_for_their_ttl_and_addresses_take_turns(self):
        server = NameServer(self, "127.0.0.1", "127.0.0.1", "127.0.0.2", ttl=4)
        node = self.named("127.0.0.1").start()
        _, request = node.wait_for_reports(3)[0]
        self.assertEqual(request["headers"]["Host"], NAME)
        self.assertEqual(server.asked, 1)
        until(lambda: server.asked >= 2, "a second query when the TTL is over", 8)
        log = node.read("log")
        used = re.findall(r"Sending HTTP request to: https://127\.0\.0\.(\d)", log)
        self.assertEqual(used[:6], ["1", "1", "2", "1", "2", "1"])
        self.assertIn(f"DNS results for [{NAME}] in cache", log)

    def test_last_good_address_outlives_the_name_servers(self):
        node = self.named("127.0.0.1").start()
        node.wait_for_log("No cached resolution. giving up", 2)
        self.assertEqual((node.reports(), node.read(HOSTS_FILE)), ([], ""))
        server = NameServer(self, "127.0.0.1", "127.0.0.1")
        node.wait_for_reports(2)
        self.assertEqual(node.read(HOSTS_FILE), f"{NAME} 127.0.0.1\n")
        server.close()
        node.wait_for_log("Trying to used cached result", 4)
        node.wait_for_reports(len(node.reports()) + 2)

    def test_heartbeat_while_all_are_silent_then_another_configuration(self):
        public = ["8.8.8.8", "1.1.1.1"]
        for address in public:
            subprocess.run(["ip", "address", "add", address, "dev", "lo"], check=True)
        silent = [NameServer(self, address) for address in ["127.0.0.21"] + public]
        NameServer(self, "127.0.0.22", "127.0.0.1")
        node = self.named("127.0.0.21", freq=10000)
        peer = self.linked(node)
        until(lambda: silent[0].asked, "the first query")
        end = time.monotonic() + 40
        gaps = heartbeat_gaps(peer, lambda: time.monotonic() < end)
        self.assertTrue(0.9 < min(gaps) and max(gaps) < 1.1, gaps)
        self.assertTrue(all(server.asked for server in silent))
        set_name_servers("127.0.0.22")
        for address in public:
            subprocess.run(["ip", "address", "del", address + "/32", "dev", "lo"], check=True)
        node.wait_for_reports(1, 45)
        self.assertIn("update_ns: the name servers have changed", node.read("log"))


run()
