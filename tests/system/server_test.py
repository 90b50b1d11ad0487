"""The management server's side: the example's rules, and nginx as a server of another make."""
import hashlib
import hmac
import os
import shutil
import signal
import sys
import types
import unittest
from nodetest import TOP, NodeTest, make_certificate, run, until

sys.path.insert(0, TOP + "/examples")
from report_server import ReportServer  # noqa: E402

NGINX = shutil.which("nginx", path=f"/usr/sbin:{TOP}/build/nginx/usr/sbin")
NGINX_CONF = """daemon off; user root; worker_processes 1; pid {0}/pid; error_log stderr; events {{}}
http {{ log_format tls "$ssl_client_verify $ssl_session_reused $status $content_length";
    access_log {0}/access tls; client_body_temp_path {0}/b; proxy_temp_path {0}/p;
    fastcgi_temp_path {0}/f; uwsgi_temp_path {0}/u; scgi_temp_path {0}/s;
    server {{ listen 127.0.0.1:8443 ssl; client_max_body_size 64m; location / {{ proxy_pass {1}; }}
        ssl_certificate /opt/crt; ssl_certificate_key /opt/key; ssl_session_cache shared:s:1m;
        ssl_client_certificate /opt/crt; ssl_verify_client on; }} }}
"""


class Example(NodeTest):
    def test_token_of_a_clock_that_is_off_by_a_period(self):
        server = types.SimpleNamespace(secret=b"s", options=types.SimpleNamespace(period=10**13))
        for number, good in ((-2, False), (-1, True), (0, True), (1, True), (2, False)):
            token = hmac.new(b"s", b"{}%d" % number, hashlib.sha256).hexdigest()
            self.assertEqual(ReportServer.token_is_good(server, token, b"{}"), good, number)

    def test_client_certificate_is_asked_for_and_sessions_resumed(self):
        node = self.node(**{"Monitoring.report_freq": 300}).serve().start()
        seen = [note["tls"] for _, note in node.wait_for_reports(3)]
        self.assertEqual([tls["resumed"] for tls in seen[:3]], [False, True, True])
        self.assertEqual([tls["client"] for tls in seen], [{"commonName": "node"}] * len(seen))
        other = node.path("other")
        make_certificate(other + ".key", other + ".crt", other)
        stranger = self.node(**{"Monitoring.report_freq": 300}).serve()
        stranger.start(mount=(other, "/opt/vos/client.pem"))
        until(lambda: stranger.read("server.log").count("no TLS: ") > 1, "two refusals")
        self.assertEqual(stranger.reports(), [])


@unittest.skipUnless(NGINX, "there is no nginx: ./dev test fetches it")
class Nginx(NodeTest):
    def test_small_and_large_reports_on_full_and_resumed_connections(self):
        node = self.node(**{"Monitoring.report_freq": 500}).serve(tls=False)
        os.mkdir(node.path("nginx"))
        behind = node.settings["General.zel_report_url"]
        node.write("nginx/conf", NGINX_CONF.format(node.path("nginx"), behind))
        nginx = node.run_in_background("nginx/out", [NGINX, "-c", node.path("nginx/conf")])
        self.addCleanup(lambda: (nginx.terminate(), nginx.wait()))
        until(lambda: node.read("nginx/pid"), "nginx")
        node.configure(**{"General.zel_report_url": "https://127.0.0.1:8443"})
        node.start().wait_for_reports(3)
        node.configure(**{"General.vos_id": "x" * (9 << 18)})
        node.signal(signal.SIGUSR1)
        until(lambda: len(node.reports()[-1][0]["machine-info"]["id"]) == 9 << 18, "a large report")
        noted = until(lambda: (lambda text: text.count("\n") > 3 and text)(node.read("nginx/access")),
                      "four requests")
        self.assertRegex(noted, r"^SUCCESS \. 200 \d+\n(SUCCESS r 200 \d+\n)+$")


run()
