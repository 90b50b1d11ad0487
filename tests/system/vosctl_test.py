"""vosctl status, bundle and top beside a real node."""
import os
import pty
import shutil
import signal
import stat
import subprocess
import termios
import time
from nodetest import BIN, SECRET, NodeTest, run, until


class Vosctl(NodeTest):
    def setUp(self):
        self.n = self.node(**{"General.vos_password": "hunter22"}).serve()
        self.supervise(self.n)
        self.n.wait_for_reports(1)

    def fate(self):
        return self.status(self.n)["node"] or {}

    def test_status_and_top_follow_the_reports(self):
        good = until(lambda: (lambda n: n.get("last_accepted") and n)(self.fate()), "an accepted report")
        self.assertLess(abs(good["last_accepted"] - time.time()), 10)
        self.assertEqual([good[key] for key in ("failures_in_a_row", "resolver", "certificate_days_left")],
                         [0, "literal", 1])
        self.assertLess(good["longest_stall_ms"], 10000)
        with open("/opt/vos/client.pem", "r+") as pem:
            self.addCleanup(shutil.copy, self.n.path("whole.pem"), pem.name)
            self.n.write("whole.pem", pem.read())
            pem.truncate(0)
        self.n.server.kill()
        bad = until(lambda: (lambda n: n["failures_in_a_row"] > 1 and n)(self.fate()), "two failures")
        self.assertEqual((bad["certificate_failure"], bad["certificate_days_left"]),
                         ("it holds no certificate", None))
        people = self.vosctl(self.n, "status", status=None)
        for text in (" in a row: " + bad["last_failure"], "unreadable: it holds no certificate"):
            self.assertIn(text, people)
        blocks = self.vosctl(self.n, "top", "-n", "2").split("\n\nnode-7")
        self.assertEqual(len(blocks), 2)
        for text in ("vos_monitor ", "lo  ", "failed, ", "daemon   well"):
            self.assertIn(text, blocks[1])
        self.assertNotIn("\x1b", blocks[1])

    def test_top_gives_the_terminal_back(self):
        for end in (b"q", b"\x03", signal.SIGTERM):
            ours, theirs = pty.openpty()
            before = termios.tcgetattr(theirs)
            env = dict(os.environ, VOS_IPC_DIR=self.n.folder, TERM="xterm")
            top = subprocess.Popen([BIN + "/vosctl", "top"], cwd=self.n.folder, env=env,
                                   stdin=theirs, stdout=theirs, stderr=theirs)
            seen = b""
            while b"daemon" not in seen:
                seen += os.read(ours, 65536)
            self.assertTrue(seen.startswith(b"\x1b[?1049h"), seen)
            termios.tcsetwinsize(ours, (3, 40))
            top.send_signal(signal.SIGWINCH)
            os.write(ours, end) if isinstance(end, bytes) else top.send_signal(end)
            self.assertEqual(top.wait(20), 0)
            self.assertTrue(os.read(ours, 65536).endswith(b"\x1b[?25h\x1b[?1049l"))
            self.assertEqual(termios.tcgetattr(theirs), before)
            os.close(ours), os.close(theirs)

    def test_bundle_keeps_secrets(self):
        with open(self.n.key_file, "rb") as file:
            key = file.read()
        sealed = self.n.settings["General.hmac_secret"]
        with open(self.n.path("log"), "ab") as log:
            log.write(b"".join(b"line %d\n" % at for at in range(1500)))
            log.write(f"{SECRET} {sealed} hunter22 ".encode() + key + b" the end\n")
        bundle = self.n.path("case")
        self.vosctl(self.n, "--config", self.n.path("vos.conf"), "bundle", bundle, cwd="/")
        self.assertEqual(os.stat(bundle).st_mode & 0o777, 0o600)
        with open(bundle, "rb") as file:
            case = file.read()
        for secret in (SECRET.encode(), sealed.encode(), b"hunter22", key):
            self.assertNotIn(secret, case)
        for text in ("line 1499", "the end", '"processes_stats"', '"longest_stall_ms"', "vos_id = ",
                     "vosctl 3."):
            self.assertIn(text.encode(), case)
        self.assertNotIn(b"line 400\n", case)
        self.assertIn("File exists", self.vosctl(self.n, "bundle", "case", status=1))
        with open(bundle, "rb") as file:
            self.assertEqual(file.read(), case)

    def test_merge_writes_the_settings_of_both_files(self):
        folder = os.path.abspath(os.path.dirname(__file__) + "/../fixtures/merge/groups") + "/"
        template, current, merged = (folder + f"{name}.conf"
                                     for name in ("template", "current", "expected"))
        for status, *words in ((2, template, current, "--new"), (1, "none", current, "new"),
                               (0, template, current, "new"), (0, template, merged, "same")):
            self.vosctl(self.n, "merge", *words, status=status)
        self.assertEqual(self.n.read("new"), self.n.read("same"))

    def test_set_writes_the_real_file_behind_a_link_or_mounted_by_itself(self):
        real, conf = self.n.path("real.conf"), self.n.path("vos.conf")
        os.rename(conf, real)
        os.chmod(real, 0o600)
        os.symlink("real.conf", conf)
        for number, mounted in enumerate((False, True), 1):
            if mounted:
                subprocess.check_call(["mount", "--bind", real, real])
                self.addCleanup(subprocess.call, ["umount", real])
            self.vosctl(self.n, "set", "General.zel_http_client_timeout_sec", str(number))
            self.assertIn(f"timeout_sec = {number};", self.n.read("real.conf"))
            self.assertEqual(stat.S_IMODE(os.stat(real).st_mode), 0o600)
            self.assertTrue(os.path.islink(conf))
        self.assertEqual([name for name in os.listdir(self.n.folder) if name.startswith(".")], [])


if __name__ == "__main__":
    run()
