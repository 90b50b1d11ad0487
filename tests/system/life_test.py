"""The daemon's life: start, signals, reload, faults of the peer and of its own files."""
import hashlib
import hmac
import os
import signal
import time
from nodetest import NodeTest, SECRET, run, until

GONE = "VOS has monitor successfully stopped"


class Start(NodeTest):
    def refused(self, node, status=1):
        node.start(wait_for="")
        self.assertEqual(node.end(), status)
        return node.read("out") + "|" + node.read("log")

    def test_configuration_that_can_not_be_used_is_named_and_ends_the_start(self):
        failed = "VOS monitor failed to init configuration and logging : "
        for text, said in ((None, "Could not open configuration file - vos.conf"),
                           ("", "Cannot find VOS monitor log file in configuration"),
                           ("General = {\n  vos_id = ;\n", "vos.conf:2: syntax error"),
                           ("Monitoring = { log_config_file = 5; };",
                            "Cannot find VOS monitor log file in configuration"),
                           ('Monitoring = { log_config_file = "nowhere"; };',
                            "log settings nowhere: No such file or directory"),
                           ('Monitoring = { log_config_file = "broken"; };',
                            "log settings broken: ")):
            with self.subTest(said):
                node = self.node()
                node.write("broken", "log4cpp.rootCategory=LOUD, F\n")
                if text is None:
                    os.unlink(node.path("vos.conf"))
                else:
                    node.write("vos.conf", text)
                self.assertIn(failed + said, self.refused(node))

    def test_missing_keys(self):
        fatal = "FATAL VOSMonitor: "
        for key, said in (("General.vos_id", ["Couldn't find critical configuration parameter: "
                                              "General.vos_id", "Failed to start VOS monitor. "
                                              "Exiting"]),
                          ("Monitoring.report_path", ["Cannot find health report path in "
                                                      "configuration", "Aborting."]),
                          ("General.vos_public_ip", ["Unhandled exception caught:", "Cannot find "
                                                     "my external IP in configuration"]),
                          ("General.max_thread_runtime_ms", ["ERROR couldn't find the critical "
                                                             "configuration parameter: "
                                                             "max_thread_runtime"])):
            for value in (None, True):  # missing, and of the wrong type
                with self.subTest(key, value=value):
                    log = self.refused(self.node(**{key: value}))
                    for text in said:
                        self.assertIn(fatal + text, log)
                    self.assertEqual("has successfully started" in log, key != "General.vos_id")

    def test_settings_that_switch_reporting_off(self):
        for key, value, said in (
                ("Monitoring.report_freq", None, "Couldn't read reports frequency from conf"),
                ("Monitoring.report_freq", 0, "Reports frequency is 0, not collecting reports."),
                ("Monitoring.report_freq", -5, "Reports frequency is -5, not collecting reports."),
                ("General.polling_rate_ms", "x", "Missing configuration for General.polling_rate_ms")):
            with self.subTest(said):
                node = self.node(**{key: value}).start(wait_for=said)
                self.assertIn("init_ipc: IPC socket initialization failed.", node.read("log"))
                node.signal(signal.SIGINT)
                self.assertEqual(node.end(), 0)
                self.assertNotIn("Starting to collect", node.read("log"))

    def test_start_without_standard_descriptors(self):
        node = self.node().serve().start(shell="<&- >&- 2>&-")
        node.wait_for_reports(1)
        held = [os.readlink(f"/proc/{node.daemon.pid}/fd/{fd}") for fd in range(3)]
        self.assertEqual(held, ["/dev/null"] * 3)


class Signals(NodeTest):
    def test_each_signal_does_what_it_should(self):
        stopping = [n for n in range(1, 31) if n not in (3, 4, 8, 9, 10, 11, 12, 14, 15, 17, 19, 27,
                                                         28)]
        for number in stopping + [signal.SIGTERM]:
            with self.subTest(number):
                node = self.node(**{"Monitoring.report_freq": 0}).start()
                node.wait_for_log("calculate_processes_performance")
                node.signal(number)
                self.assertEqual(node.end(), 0)
                said = ("Graceful shutdown event received." if number == signal.SIGTERM else
                        f"Default signal handler called for signal {number}. Terminating process. ")
                self.assertEqual(node.read("log").count(said), 2 if number == signal.SIGIO else 1)
                self.assertTrue(node.read("log").rstrip().endswith(GONE))

    def test_memory_dump_and_reaping_go_on_running(self):
        node = self.node().serve().start()
        node.signal(signal.SIGUSR2)
        node.wait_for_log("memory profile: heap in use")
        node.signal(signal.SIGCHLD)
        node.wait_for_reports(2)


class Reload(NodeTest):
    def test_settings_change_without_a_restart(self):
        node = self.node(**{"Monitoring.report_freq": 300}).serve().start()
        node.wait_for_reports(2)
        node.configure(**{"Monitoring.report_freq": 60000,
                          "Monitoring.local_json_report_path": node.path("second.json"),
                          "General.vos_id": "node-8"})
        node.signal(signal.SIGUSR1)
        until(lambda: '"node-8"' in node.read("second.json"), "the second local copy")
        self.assertIn("Updated local JSON report path to " + node.path("second.json"),
                      node.read("log"))
        count = len(node.reports())
        node.configure(**{"Monitoring.report_freq": 0})
        node.signal(signal.SIGUSR1)
        node.wait_for_log("Configuration does not allow sending reports")
        time.sleep(1)
        self.assertLessEqual(len(node.reports()), count + 1)
        node.configure(**{"Monitoring.report_freq": 200, "General.datacenter_id": "dc-2"})
        node.signal(signal.SIGUSR1)
        node.wait_for_log("Rescheduling health reports")
        until(lambda: '"dc-2"' in node.read("second.json"), "the other data centre")
        until(lambda: "refused: wrong key" in node.read("server.log"), "the other key")
        told = node.read("log").count("Need reconf: 1 SVC enabled: 0 Is running: 0")
        self.assertEqual(told, 2 * 3, "two components follow each of the three reloads")
        node.write("vos.conf", "General = {")
        node.signal(signal.SIGUSR1)
        node.wait_for_log("Exception caught reloading configuration file: vos.conf:1: ")
        node.write_conf()
        node.signal(signal.SIGUSR1)
        node.signal(signal.SIGTERM)
        self.assertEqual(node.end(), 0)


class Posting(NodeTest):
    def test_token_host_and_address(self):
        node = self.node().serve("zel.example").start()
        _, request = node.wait_for_reports(1)[0]
        port = node.read("port").strip()
        self.assertIn(f"Sending HTTP request to: https://127.0.0.1:{port}/report", node.read("log"))
        self.assertEqual(request["headers"]["Host"], "zel.example")
        self.assertEqual(request["headers"]["Content-Type"], "application/json")
        with open(node.path("accepted/0001.json"), "rb") as file:
            body = file.read()
        period = int(request["received"] * 1000) // 60000
        tokens = [hmac.new(SECRET.encode(), body + str(p).encode(), hashlib.sha256).hexdigest()
                  for p in (period, period - 1)]
        self.assertIn(request["query"]["token"][0], tokens)
        self.assertEqual(request["query"]["key"], ["dc-1"])

    def test_faults_of_the_peer_cost_their_report_only(self):
        node = self.node(**{"Monitoring.report_freq": 300}).serve().start()
        node.wait_for_reports(1)
        for fault, said in (("status 500", "HTTP reponse error: 500"),
                            ("status 302", "HTTP reponse error: 302"),
                            ("reset", "HTTP request failed. Status code: "),
                            ("close_mid_upload", "HTTP request failed. Status code: ")):
            with self.subTest(fault):
                before = node.read("log").count(said)
                node.write("fault", fault)
                node.wait_for_log(said, before + 1)
                node.write("fault", "ok")
                node.wait_for_reports(len(node.reports()) + 2)
        node.server.kill()
        node.wait_for_log("Server replied with reset.")
        self.assertIsNone(node.daemon.poll())

    def test_own_files_that_fail_cost_their_cycle_only(self):
        node = self.node(**{"Monitoring.report_freq": 300}).serve().start()
        node.wait_for_reports(1)
        url = node.settings["General.zel_report_url"]
        sealed = node.settings["General.hmac_secret"]
        local = node.settings["Monitoring.local_json_report_path"]
        os.mkdir(node.path("open"))
        for key, bad, good, said in (
                ("Monitoring.local_json_report_path", "/nowhere/report.json", local,
                 "no report this time: Failed to write /nowhere/report.json: No such file"),
                ("General.zel_report_url", "nonsense", url, "read_url: Failed parsing ZEL URL"),
                ("General.zel_report_url", "https://unknown.example:1", url, "unknown.example"),
                ("General.zel_report_url", None, url,
                 "send_report_async: missing configuration value: General.zel_report_url"),
                ("General.hmac_key_file", node.path("none"), node.key_file, "No such file"),
                ("General.hmac_key_file", node.path("short"), node.key_file, "holds 5 bytes"),
                ("General.hmac_key_file", node.path("open"), node.key_file, "not a regular file"),
                ("General.hmac_secret", "v1:" + "A" * 80, sealed, "malformed or was not made"),
                ("General.hmac_timeout", 0, 60000, "compute_hmac: Not enough parameters for HMAC"),
                ("General.hmac_secret", None, sealed, "Couldn't get HMAC General.hmac_secret  param")):
            with self.subTest(key, bad=bad):
                node.write("short", "12345")
                os.chmod(node.path("short"), 0o600)
                before = node.read("log").count(said)
                node.configure(**{key: bad})
                node.signal(signal.SIGUSR1)
                node.wait_for_log(said, before + 2)
                node.configure(**{key: good})
                node.signal(signal.SIGUSR1)
                node.wait_for_reports(len(node.reports()) + 2)
        os.rename("/opt/vos/client.pem", "/opt/vos/gone")
        self.addCleanup(os.rename, "/opt/vos/gone", "/opt/vos/client.pem")
        node.wait_for_log("HTTP request failed. Status code: 58", 3)
        self.assertEqual(node.read("log").count("client certificate /opt/vos/client.pem can not"), 1)
        self.assertNotIn(SECRET, node.read("log"))


run()
