"""The management server's side: the rules of the example."""
import hashlib
import hmac
import sys
import types
from nodetest import TOP, NodeTest, run

sys.path.insert(0, TOP + "/examples")
from report_server import ReportServer  # noqa: E402


class Example(NodeTest):
    def test_token_of_a_clock_that_is_off_by_a_period(self):
        server = types.SimpleNamespace(secret=b"s", options=types.SimpleNamespace(period=10**13))
        for number, good in ((-2, False), (-1, True), (0, True), (1, True), (2, False)):
            token = hmac.new(b"s", b"{}%d" % number, hashlib.sha256).hexdigest()
            self.assertEqual(ReportServer.token_is_good(server, token, b"{}"), good, number)


run()
