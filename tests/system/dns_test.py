"""Reports to a server that is known by name only, and what its name servers do to them."""
import itertools
import re
import shutil
import socket
import subprocess
import threading
import time
import unittest
from nodetest import NodeTest, Peer, run, set_name_servers, until

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

    def wait_for_more(self, node, count=2):
        node.wait_for_reports(len(node.reports()) + count)

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

    def test_servers_that_do_not_answer_go_to_the_end(self):
        silent = NameServer(self, "127.0.0.11")
        good = NameServer(self, "127.0.0.13", "127.0.0.1")
        node = self.named("127.0.0.11", "127.0.0.12", "127.0.0.13", freq=4000).start()
        node.wait_for_reports(1)
        node.wait_for_log("eventcb: Connection timeout to server: 127.0.0.11")
        node.wait_for_log("eventcb: Connection error to server: 127.0.0.12")
        node.wait_for_reports(3)
        self.assertEqual((silent.asked, good.asked >= 3), (1, True))

    def test_last_good_address_outlives_the_name_servers_and_a_restart(self):
        node = self.named("127.0.0.1").start()
        node.wait_for_log("No cached resolution. giving up", 2)
        self.assertEqual((node.reports(), node.read(HOSTS_FILE)), ([], ""))
        self.assertIn("Failed to open file " + node.path(HOSTS_FILE), node.read("log"))
        server = NameServer(self, "127.0.0.1", "127.0.0.1")
        self.wait_for_more(node)
        self.assertEqual(node.read(HOSTS_FILE), f"{NAME} 127.0.0.1\n")
        server.close()
        node.wait_for_log("Trying to used cached result", 4)
        self.wait_for_more(node)
        node.signal(15)
        self.assertEqual(node.end(), 0, node.read("out"))
        node.write(HOSTS_FILE, "nonsense\n" + node.read(HOSTS_FILE))
        node.start()
        self.wait_for_more(node)
        node.wait_for_log(HOSTS_FILE + ":1: no host and IPv4 address, line ignored")

    def test_heartbeat_while_all_are_silent_then_another_configuration(self):
        public = ["8.8.8.8", "1.1.1.1"]
        for address in public:
            subprocess.run(["ip", "address", "add", address, "dev", "lo"], check=True)
        silent = [NameServer(self, address) for address in ["127.0.0.21"] + public]
        NameServer(self, "127.0.0.22", "127.0.0.1")
        node = self.named("127.0.0.21", freq=10000)
        peer = Peer(node)
        node.start()
        peer.accept()
        self.addCleanup(peer.close)
        until(lambda: silent[0].asked, "the first query")
        beats, end = [], time.monotonic() + 40
        peer.heartbeat()
        while time.monotonic() < end:
            peer.heartbeat()
            beats.append(time.monotonic())
        gaps = [after - before for before, after in itertools.pairwise(beats)]
        self.assertTrue(0.9 < min(gaps) and max(gaps) < 1.1, gaps)
        self.assertTrue(all(server.asked for server in silent))
        set_name_servers("127.0.0.22")
        for address in public:
            subprocess.run(["ip", "address", "del", address + "/32", "dev", "lo"], check=True)
        node.wait_for_reports(1, 45)
        self.assertIn("update_ns: the name servers have changed", node.read("log"))

    @unittest.skipUnless(shutil.which("dnsmasq"), "dnsmasq is not installed")
    def test_alias_from_a_real_server(self):
        node = self.named("127.0.0.31")
        server = node.run_in_background("dnsmasq.log", [
            "dnsmasq", "--no-daemon", "--conf-file=/dev/null", "--no-resolv", "--no-hosts",
            "--user=root", "--pid-file=", "--bind-interfaces", "--listen-address=127.0.0.31",
            "--host-record=real.dns,127.0.0.1,60", f"--cname={NAME},real.dns,60"])
        self.addCleanup(lambda: (server.kill(), server.wait()))
        node.start()
        self.assertEqual(node.wait_for_reports(2)[0][1]["headers"]["Host"], NAME)
        self.assertIn(f"CNAME resolution acquired [ real.dns ] for hostname: {NAME}",
                      node.read("log"))


run()
