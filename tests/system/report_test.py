"""vosctl report: what the daemon would say, from a command that leaves no trace."""
import copy
import json
import os
import re
import shutil
import subprocess
from nodetest import BIN, TOP, NodeTest, run, until
from report_schema import faults

NOBODY = ["setpriv", "--reuid", "65534", "--clear-groups"]
CHATTER = "while :; do echo x > /dev/udp/127.0.0.1/9; sleep 0.02; done"


def names(document):
    return [*document, *(entry["process_name"] for entry in document["processes_stats"])]


class Report(NodeTest):
    def test_beside_a_daemon_and_as_nobody(self):
        node = self.node(**{"Monitoring.report_freq": 600000,
                            "General.zel_report_url": "https://127.0.0.1:1"})
        shutil.copy(BIN + "/vosctl", node.path("vosctl"))
        os.chmod(node.folder, 0o755)
        self.supervise(node)
        daemons = json.loads(until(lambda: node.read("report.json"), "the daemon's report"))
        written = os.stat(node.path("report.json"))
        node.server = node.run_in_background("chatter", ["bash", "-c", CHATTER])
        for user, options, status in (([], ["--interval", "2"], 0), (NOBODY, [], 0),
                                      ([], ["--interval", "0"], 2), ([], ["--config", "no"], 1)):
            if user and subprocess.run(user + ["true"], capture_output=True).returncode != 0:
                continue  # not root, and so nobody already
            done = subprocess.run(user + [node.path("vosctl"), "report"] + options,
                                  cwd=node.folder, env=dict(os.environ, VOS_IPC_DIR=node.folder),
                                  capture_output=True, text=True)
            self.assertEqual(done.returncode, status, done.stderr)
            self.assertEqual(bool(done.stdout), status == 0)
            if not done.stdout:
                continue
            report = json.loads(done.stdout)
            self.assertEqual((names(report), faults(report)), (names(daemons), []))
            self.assertEqual("no supervisor" in done.stderr, bool(user), done.stderr)
            rest = sum(entry["cpu"] for entry in report["processes_stats"][-2:])
            self.assertAlmostEqual(rest + report["processes"]["cpu"], 100, 3)
            samples = report["machine-info"]["cpu"]["cpu-stats"]["num-of-samples"]
            self.assertEqual(samples, 1 if user else 2)
            self.assertTrue(5 < report["interfaces"][0]["rates"]["rx_pps"] <= 200, report)
        self.assertEqual(os.stat(node.path("report.json")), written)
        self.assertEqual(node.read("log").count("generate_procs_report"), 1)

    def test_schema_refuses_what_no_report_says(self):
        with open(TOP + "/docs/report.md") as page:
            example = json.loads(re.search(r"^    {$.*?^    }$", page.read(), re.M | re.S)[0])
        for path, value, good in (
                ("machine-info cpu", {}, True), ("processes_stats 1 ram", -0.1, True),
                ("processes_stats 0 ram", -0.1, False), ("version", 0.2, False),
                ("processes_stats 1 process_name", "idle", False), ("host", "node", False),
                ("machine-info ram", {"total": 1}, False), ("processes cpu", None, False),
                ("interfaces", {}, False), ("interfaces 0 rates rx_bps", -1, False),
                ("machine-info cpu total", 100.1, False), ("timestamp", "2026-11-21", False)):
            document = place = copy.deepcopy(example)
            *above, last = (int(key) if key.isdigit() else key for key in path.split())
            for key in above:
                place = place[key]
            place[last] = value
            self.assertEqual(not faults(document), good, (path, value, faults(document)))
        self.assertEqual(faults(example), [])


if __name__ == "__main__":
    run()
