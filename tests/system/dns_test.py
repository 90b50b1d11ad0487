"""Reports to a server that is known by name only, and what its name servers do to them."""
import re
import shutil
import subprocess
import time
import unittest
from nodetest import NodeTest, run, set_name_servers, until
from name_server import NameServer

NAME = "zel.dns"
HOSTS_FILE = "vos_monitor_ZELHttpClient_persistent_hosts.txt"


class Names(NodeTest):
    def name_server(self, own, *addresses, **how):
        server = NameServer(own, addresses=addresses, **how)
        self.addCleanup(server.close)
        return server

    def named(self, *servers, freq=400):
        set_name_servers(*servers)
        self.addCleanup(set_name_servers)
        return self.node(**{"Monitoring.report_freq": freq}).serve(NAME)

    def test_answers_are_cached_for_their_ttl_and_addresses_take_turns(self):
        server = self.name_server("127.0.0.1", "127.0.0.1", "127.0.0.2", ttl=4)
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
        server = self.name_server("127.0.0.1", "127.0.0.1")
        node.wait_for_reports(2)
        self.assertEqual(node.read(HOSTS_FILE), f"{NAME} 127.0.0.1\n")
        server.close()
        node.wait_for_log("Trying to used cached result", 4)
        node.wait_for_reports(len(node.reports()) + 2)
        server = self.name_server("127.0.0.1", "127.0.0.2", mode="silent")
        node.wait_for_reports(len(node.reports()) + 20, 20)  # no query ends between two of them
        server.mode = "good"
        until(lambda: node.read(HOSTS_FILE) == f"{NAME} 127.0.0.2\n", "the next address", 12)

    def test_heartbeat_while_all_are_silent_then_another_configuration(self):
        public = ["8.8.8.8", "1.1.1.1"]
        for address in public:
            subprocess.run(["ip", "address", "add", address, "dev", "lo"], check=True)
        silent = [self.name_server(address, mode="silent") for address in ["127.0.0.21"] + public]
        self.name_server("127.0.0.22", "127.0.0.1")
        node = self.named("127.0.0.21", freq=10000)
        peer = self.linked(node)
        until(lambda: silent[0].asked, "the first query")
        end = time.monotonic() + 40
        gaps = peer.heartbeat_gaps(lambda: time.monotonic() < end)
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
        node.wait_for_reports(2)
        node.wait_for_log(f"CNAME resolution acquired [ real.dns ] for hostname: {NAME}")


run()
