"""What every system test begins and ends with."""
import os
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../harness"))
from node import (BIN, PRESET, SANITIZED, SECRET, TOP, Node, Peer,  # noqa: E402,F401
                  isolate, set_name_servers, until)
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
