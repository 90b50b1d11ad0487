"""What every system test begins and ends with."""
import json
import os
import subprocess
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../harness"))
from node import (BIN, PRESET, SANITIZED, SECRET, TOP, Node, Peer,  # noqa: E402,F401
                  isolate, make_certificate, set_name_servers, until)
from report_schema import faults_of  # noqa: E402

SKIPPED = 77


def run():
    """Runs the tests of the calling file in namespaces of their own, or skips them."""
    obstacle = isolate()
    if obstacle:
        print("skipped:", obstacle)
        sys.exit(SKIPPED)
    unittest.main()


class NodeTest(unittest.TestCase):
    def node(self, **settings):
        node = Node(**settings)
        self.addCleanup(node.close)
        self.addCleanup(lambda: self.assertEqual(faults_of(node), [], "what the schema refuses"))
        return node

    def linked(self, node, said=""):
        """Starts the daemon beside a supervisor of ours, until its log says `said`."""
        peer = Peer(node)
        node.start(wait_for="")
        peer.hello = peer.accept()
        self.addCleanup(peer.close)
        node.wait_for_log(said)
        return peer

    def supervise(self, node, program=BIN + "/vos_watchdog"):
        node.daemon = node.run_in_background("out", [program])
        return node

    def said_by(self, node, program, *words, status=0, cwd=None):
        """What it writes, its complaints included; any exit status is good when `status` is None."""
        done = subprocess.run([f"{BIN}/{program}", *words], stdout=subprocess.PIPE, text=True,
                              stderr=subprocess.STDOUT, cwd=cwd or node.folder,
                              env=dict(os.environ, VOS_IPC_DIR=node.folder))
        self.assertIn(status, (None, done.returncode), (words, done.stdout))
        return done.stdout

    def vosctl(self, node, *words, **how):
        return self.said_by(node, "vosctl", *words, **how)

    def status(self, node):
        """What the supervisor says, nothing without one."""
        said = self.vosctl(node, "status", "--json", status=None)
        return json.loads(said) if said.startswith("{") else {}
