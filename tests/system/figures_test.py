"""Two reports of a machine whose every figure is known."""
import json
import os
import signal
import subprocess
from nodetest import PRESET, NodeTest, run

CORES = len(os.sched_getaffinity(0))


class FakeProc:
    """A /proc with two processors, five processes and two interfaces."""

    def __init__(self, node, pids):
        self.node, self.pids = node, pids
        self.write("meminfo", "MemTotal: 1000000 kB\nMemFree: 200000 kB\nMemAvailable: 600000 kB\n"
                              "Buffers: 50000 kB\nCached: 100000 kB\nSwapCached: 7 kB\n")
        self.write("sys/fs/file-nr", "2000\t0\t10000\n")
        self.write("net/sockstat", "sockets: used 9\nTCP: inuse 3 orphan 0 tw 0 alloc 5 mem 7\n")

    def write(self, name, text):
        os.makedirs(os.path.dirname(self.node.path("proc/" + name)), exist_ok=True)
        self.node.write("proc/" + name, text)

    def process(self, name, utime, stime, rss, descriptors, limit):
        pid = self.pids[name]
        parent = 0 if pid == 1 else 1
        self.write(f"{pid}/stat", f"{pid} ({name}) S {parent} 1 1 0 -1 0 9 0 9 0 {utime} {stime} "
                                  + "0 0 20 0 1 0 10 0 0 " + "0 " * 28)
        self.write(f"{pid}/status", f"Name:\t{name}\nState:\tS (sleeping)\nTgid:\t{pid}\n"
                                    f"Pid:\t{pid}\nPPid:\t{parent}\nVmRSS:\t{rss} kB\n")
        self.write(f"{pid}/limits", "Limit  Soft Limit  Hard Limit  Units\n"
                                    f"Max open files            64       {limit}       files\n")
        for number in range(descriptors):
            self.write(f"{pid}/fd/{number}", "")

    def step(self, cpu, ticks, eth0):
        self.write("stat", f"cpu  {cpu}\ncpu0 1 1 1 1\ncpu1 1 1 1 1\nintr 5\n")
        for name, (utime, stime) in ticks.items():
            self.process(name, utime, stime, *{
                "watchdog": (10000, 3, 100), "vos_monitor": (5000, 8, 100),
                "owampd": (2500, 1, "unlimited"), "pluto": (20000, 2, 1000),
                "sshd": (99999, 9, 10)}[name])
        self.write("net/dev", "Inter-| Receive | Transmit\n face |bytes packets ...\n"
                              f"  eth0: {eth0}\n    lo: 7 1 0 0 0 0 0 0 7 1 0 0 0 0 0 0\n")


def stats(name, ram, cpu, fd):
    return {"process_name": name, "ram": ram, "cpu": cpu, "fd": fd}


class Figures(NodeTest):
    maxDiff = None

    def test_two_reports(self):
        node = self.node(**{"Monitoring.report_freq": 2000}).serve()
        children = [subprocess.Popen(["sleep", "600"]) for _ in range(3)]
        pids = {"watchdog": 1, **dict(zip(("owampd", "sshd", "pluto"), (c.pid for c in children)))}
        proc = FakeProc(node, pids)
        proc.step("1000 0 500 8000 100 0 0 0 0 0", {"watchdog": (100, 50), "owampd": (300, 100),
                                                    "sshd": (5, 5), "pluto": (900, 100)},
                  "1000000 1000 1 2 0 0 0 0 500000 600 3 4 0 0 0 0")
        # The daemon's own entry: its pid is only known once it runs, so the shell that becomes
        # the daemon waits for it.
        os.mkfifo(node.path("go"))
        node.start(mount=(node.path("proc"), "/proc"), shell=f"< {node.path('go')}", wait_for="")
        pids["vos_monitor"] = node.daemon.pid
        proc.process("vos_monitor", 40, 10, 5000, 8, 100)
        open(node.path("go"), "w").close()

        node.wait_for_reports(1)
        proc.step("1300 0 600 8500 100 0 0 0 100 0",
                  {"watchdog": (170, 60), "vos_monitor": (60, 15), "owampd": (300, 100),
                   "pluto": (1000, 100)},
                  "1060000 1600 1 2 0 0 0 0 3000500000 660 3 4 0 0 0 0")
        (one, _), (two, _) = node.wait_for_reports(2)[:2]
        local = json.loads(node.read("report.json"))
        node.signal(signal.SIGTERM)
        status = node.end()
        if "asan" not in PRESET:  # whose leak check at the end needs the real /proc
            self.assertEqual(status, 0)
        for child in children:
            child.kill()
            child.wait()

        self.check_inventory(one, two)
        self.check_processes(one, two)
        self.check_interfaces(one, two)
        self.assertEqual(local, two)
        self.assertIn("TCP memory consumption is : 28672 bytes", node.read("log"))
        self.assertIn("Negative total machine CPU usage: = ", node.read("log"))

    def check_inventory(self, *documents):
        for document in documents:
            self.assertEqual(document["datacenter_id"], "dc-1")
            machine = document["machine-info"]
            self.assertEqual((machine["id"], machine["ip_address"]), ("node-7", "192.0.2.7"))
            self.assertEqual(machine["ram"], {"total": 1000000.0, "used": 650000.0})
            self.assertEqual((machine["cpu"]["num-of-cores"], machine["cpu"]["cores"]), (CORES, []))
            # First nothing to compare with; then more idle time than there was time.
            self.assertEqual(machine["cpu"]["total"], 0.0)
            self.assertEqual(machine["cpu"]["cpu-stats"]["steal-average-pct"], 0)

    def check_processes(self, one, two):
        def expected(cpu, other, idle):
            # pluto is the watchdog's child and a service: it is measured twice in one cycle, so
            # its second figure is that of no time, and the sums hold it twice.
            return [stats("owampd", 0.25, 0.0, 0.0), stats("pluto", 2.0, 0.0, 0.004),
                    stats("vos_monitor", 0.5, cpu[0], 0.1), stats("watchdog", 1.0, cpu[1], 0.05),
                    stats("other", 34.25, other, 19.74), stats("idle", 60.0, idle, 80.0)]
        self.assertEqual(one["processes_stats"], expected((0.0, 0.0), 0.0, 0.0))
        self.assertEqual(two["processes_stats"], expected((5.0, 16.0), 19.5, 50.0))
        for document, cpu in ((one, 0.0), (two, 30.5)):
            self.assertEqual(document["processes"], {"fd_max_ratio": 0.1, "cpu": cpu, "ram": 5.75})

    def check_interfaces(self, one, two):
        (eth0, lo), (eth0_then, lo_then) = one["interfaces"], two["interfaces"]
        self.assertEqual([eth0["interface_name"], lo["interface_name"]], ["eth0", "lo"])
        self.assertEqual(eth0_then["counters"], {
            "rx_bytes": 1060000, "rx_packets": 1600, "rx_errors": 1, "rx_drops": 2,
            "tx_bytes": 3000500000, "tx_packets": 660, "tx_errors": 3, "tx_drops": 4})
        none = {"rx_bps": 0, "tx_bps": 0, "rx_pps": 0, "tx_pps": 0}
        self.assertEqual([entry["rates"] for entry in (eth0, lo, lo_then)], [none] * 3)
        # Whole seconds pass between two reports, and which is for the scheduler to say.
        self.assertIn(eth0_then["rates"],  # 3,000,000,000 bytes are past a signed 32-bit difference
                      [{"rx_bps": 60000 // s, "tx_bps": 0, "rx_pps": 600 // s, "tx_pps": 60 // s}
                       for s in (1, 2, 3)])


run()
