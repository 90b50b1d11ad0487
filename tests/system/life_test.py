"""The daemon's life: start, signals, reload, faults of the peer and of its own files."""
import os
import signal
import time
from nodetest import NodeTest, SECRET, run, until


class Start(NodeTest):
    def refused(self, node):
        node.start(wait_for="")
        self.assertEqual(node.end(), 1)
        return node.read("out") + "|" + node.read("log")

    def test_configuration_that_can_not_be_used_is_named_and_ends_the_start(self):
        node = self.node()
        os.unlink(node.path("vos.conf"))
        failed = "VOS monitor failed to init configuration and logging : "
        self.assertIn(failed + "Could not open configuration file - vos.conf", self.refused(node))
        node.write("bad", "rootCategory=INFO, G\n")
        for text, said in (("", "Cannot find VOS monitor log file in configuration"),
                           ('Monitoring = { log_config_file = "bad"; };', "log settings bad: line 1: "
                            'rootCategory=INFO, G: the file defines no appender "G"'),
                           ("General = {\n  vos_id = ;\n", "vos.conf:2: syntax error"),
                           ('Monitoring = { log_config_file = "nowhere"; };',
                            "log settings nowhere: No such file or directory")):
            node.write("vos.conf", text)
            self.assertIn(failed + said, self.refused(node))

    def test_missing_keys(self):
        for key, *said in (("General.vos_id", "Couldn't find critical configuration parameter: "
                            "General.vos_id", "Failed to start VOS monitor. Exiting"),
                           ("Monitoring.report_path", "Cannot find health report path in "
                            "configuration", "Aborting."),
                           ("General.vos_public_ip", "Unhandled exception caught:", "Cannot find "
                            "my external IP in configuration"),
                           ("General.max_thread_runtime_ms", "ERROR couldn't find the critical "
                            "configuration parameter: max_thread_runtime")):
            with self.subTest(key):
                log = self.refused(self.node(**{key: None}))
                for text in said:
                    self.assertIn("FATAL VOSMonitor: " + text, log)
                self.assertEqual("has successfully started" in log, key != "General.vos_id")

    def test_without_standard_descriptors_memory_is_dumped_and_children_are_reaped(self):
        node = self.node().serve().start(shell="<&- >&- 2>&-")
        node.wait_for_reports(1)
        held = [os.readlink(f"/proc/{node.daemon.pid}/fd/{fd}") for fd in range(3)]
        self.assertEqual(held, ["/dev/null"] * 3)
        node.signal(signal.SIGUSR2)
        node.wait_for_log("memory profile: heap in use")
        node.signal(signal.SIGCHLD)
        node.wait_for_reports(len(node.reports()) + 1)


class Signals(NodeTest):
    def test_each_signal_does_what_it_should(self):
        for number in set(range(1, 31)) - {3, 4, 8, 9, 10, 11, 12, 14, 17, 19, 27, 28}:
            with self.subTest(number):
                node = self.node(**{"Monitoring.report_freq": 0}).start()
                node.wait_for_log("calculate_processes_performance")
                node.signal(number)
                while node.daemon.poll() is None:  # one that comes while it ends is too late
                    node.signal(signal.SIGUSR1)
                self.assertEqual(node.end(), 0)
                said = ("Graceful shutdown event received." if number == signal.SIGTERM else
                        f"Default signal handler called for signal {number}. Terminating process. ")
                log = node.read("log")
                self.assertEqual(log.count(said), 2 if number == signal.SIGIO else 1)
                self.assertTrue(log.endswith("VOS has monitor successfully stopped\n"))
        for text in ("init_ipc: IPC socket initialization failed.",
                     "Reports frequency is 0, not collecting reports."):
            self.assertIn(text, log)
        self.assertNotIn("Starting to collect", log)


class Reload(NodeTest):
    def reload(self, node, **settings):
        node.configure(**settings)
        node.signal(signal.SIGUSR1)

    def test_settings_change_without_a_restart(self):
        node = self.node(**{"Monitoring.report_freq": 300}).serve().start()
        node.wait_for_reports(2)
        second = node.path("second.json")
        self.reload(node, **{"Monitoring.report_freq": 60000, "General.vos_id": "node-8",
                             "Monitoring.local_json_report_path": second})
        until(lambda: '"node-8"' in node.read("second.json"), "the second local copy")
        self.assertIn("Updated local JSON report path to " + second, node.read("log"))
        count = len(node.reports())
        self.reload(node, **{"Monitoring.report_freq": 0})
        node.wait_for_log("Configuration does not allow sending reports")
        time.sleep(1)
        self.assertLessEqual(len(node.reports()), count + 1)
        self.reload(node, **{"Monitoring.report_freq": 200, "General.datacenter_id": "dc-2"})
        node.wait_for_log("Rescheduling health reports")
        until(lambda: '"dc-2"' in node.read("second.json"), "the other data centre")
        until(lambda: "refused: wrong key" in node.read("server.log"), "the other key")
        told = node.read("log").count("Need reconf: 1 SVC enabled: 0 Is running: 0")
        self.assertEqual(told, 2 * 3, "two components follow each of the three reloads")
        self.reload(node)
        node.signal(signal.SIGTERM)
        self.assertEqual(node.end(), 0)

    def test_own_files_that_fail_cost_their_cycle_only(self):
        node = self.node(**{"Monitoring.report_freq": 300}).serve().start()
        node.wait_for_reports(1)
        node.write("short", "12345")
        os.chmod(node.path("short"), 0o600)
        for key, bad, said in (
                ("Monitoring.local_json_report_path", "/nowhere/report.json",
                 "no report this time: Failed to write /nowhere/report.json: No such file"),
                ("General.zel_report_url", "https://unknown.example:1", "unknown.example"),
                ("General.hmac_key_file", node.path("short"), "holds 5 bytes"),
                ("General.hmac_secret", "v1:" + "A" * 80, "malformed or was not made"),
                ("General.hmac_timeout", 0, "compute_hmac: Not enough parameters for HMAC"),
                ("General.hmac_secret", None, "Couldn't get HMAC General.hmac_secret  param")):
            with self.subTest(key, bad=bad):
                good, before = node.settings[key], node.read("log").count(said)
                self.reload(node, **{key: bad})
                node.wait_for_log(said, before + 2)
                self.reload(node, **{key: good})
                node.wait_for_reports(len(node.reports()) + 2)
        self.assertNotIn(SECRET, node.read("log"))

    def test_log_that_can_not_be_written_and_an_answer_to_each_reload(self):
        node = self.node(log="INFO", **{"Monitoring.report_freq": 0})
        os.mkdir(node.path("log"))
        node.start(wait_for="")
        until(lambda: "VOS monitor has successfully started" in node.read("out"), "its log in out")
        self.assertIn(f"vos_monitor: log file {node.path('log')} can not be opened: Is a directory",
                      node.read("out"))
        os.rmdir(node.path("log"))
        time.sleep(1)
        for count in range(1, 11):
            node.signal(signal.SIGUSR1)
            node.wait_for_log("Configuration does not allow sending reports", count)
        node.write("log4cpp.properties", node.read("log4cpp.properties").replace("appender.F", "appender.G"))
        node.signal(signal.SIGUSR1)
        node.wait_for_log('the file defines no appender "F"; the old settings stay')
        node.signal(signal.SIGTERM)
        self.assertEqual(node.end(), 0)
        self.assertIn("VOS has monitor successfully stopped", node.read("log"))


class Posting(NodeTest):
    def test_request_and_faults_of_the_peer_which_cost_their_report_only(self):
        node = self.node(**{"Monitoring.report_freq": 300}).serve("zel.example").start()
        _, request = node.wait_for_reports(1)[0]
        port = node.read("port").strip()
        self.assertIn(f"Sending HTTP request to: https://127.0.0.1:{port}/report", node.read("log"))
        self.assertEqual([request["headers"][name] for name in ("Host", "Content-Type")],
                         ["zel.example", "application/json"])
        self.assertEqual(request["query"]["key"], ["dc-1"])
        for fault, said in (("status 500", "HTTP reponse error: 500"),
                            ("close_mid_upload", "HTTP request failed. Status code: ")):
            node.write("fault", fault)
            node.wait_for_log(said)
            node.write("fault", "ok")
            node.wait_for_reports(len(node.reports()) + 2)
        node.server.kill()
        node.wait_for_log("Server replied with reset.")
        self.assertIsNone(node.daemon.poll())


run()
