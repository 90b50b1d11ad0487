"""The commands of a scripted run that need no node that runs: usage, files, starts that fail."""
import ctypes
import os
import struct
import time

from node import TOP
from scripted_part import BROKEN, Part

VERBS = "status reload stop terminate top bundle record report merge seal check get list set"
WRONG_USAGE = (
    "|--nonsense|--config|nonsense|check a b|bundle|status x|reload x|stop x|terminate x|top -n"
    "|top -n 0|record --name|report --interval|report --interval 0|report --interval 3601|merge a"
    "|merge a b|get|get a b|list x|set a|set a..b 1|seal x"
)
FAULTY = (
    "",
    BROKEN,
    'General = { vos_id = 5; vos_idd = "x"; polling_rate_ms = 0; zel_report_url = "x"; };\n',
    'Monitoring = { log_config_file = "none"; report_path = ""; report_freq = -1; };\n',
)
EDITS = (
    ("General.vos_id", "node-8"),
    ("General.polling_rate_ms", "30"),
    ("General.polling_rate_ms", "0"),
    ("General.polling_rate_ms", "soon"),
    ("General.quiet_node", "false"),
    ("Other.group.key", "1.5"),
    ("General.vos_id.below", "1"),
)
TEMPLATE = 'General = { id = ""; period = 5; new = [ 1, 2 ]; };\nAdded = { on = true; };\n'
CURRENT = 'General = { id = "node"; period = 7L; gone = 1.5; };\nOwn = ( { a = 1; } );\n'
NEEDED = (
    "General.vos_id",
    "General.vos_public_ip",
    "General.max_thread_runtime_ms",
    "Monitoring.report_path",
    "Monitoring.log_config_file",
)


class Commands(Part):
    def run(self):
        self.usage()
        self.configurations()
        self.merge()
        self.status_record()
        self.secrets()
        self.failed_starts()

    def usage(self):
        for verb in VERBS.split():
            self.command(verb, "--help")
            self.command(verb, "--nonsense")
        for words in WRONG_USAGE.split("|"):
            self.command(*words.split())
        for option in ("--help", "--version", "--nonsense"):
            self.program("vos_watchdog", option)
            self.command(option)
        for verb in ("status", "reload", "stop", "terminate"):  # there is no supervisor
            self.command(verb)

    def configurations(self):
        self.command("check")
        self.command("check", os.path.join(TOP, "examples/vos.conf"))
        for number, text in enumerate(FAULTY):
            self.node.write(f"faulty{number}", text)
            self.command("check", f"faulty{number}")
        for path, value in EDITS:
            self.command("set", path, value)
        for words in (["get", "General.vos_id"], ["get", "Other"], ["get", "None.such"], ["list"]):
            self.command(*words)
        self.command("--config", "none", "list")
        self.say(self.normal.names(self.node.read("vos.conf")))

    def merge(self):
        self.node.write("template", TEMPLATE)
        self.node.write("current", CURRENT)
        self.command("merge", "template", "current", "merged")
        self.command("merge", "template", "none", "merged")
        self.say(self.node.read("merged"))

    def status_record(self):
        """One that is missing, one that is fresh, one that is old, and one of another layout."""
        self.command("record", "--name", "scripted")
        ctypes.CDLL(None).sem_open(b"/scripted", os.O_CREAT, 0o600, 1)
        for layout, age in ((1, 0), (1, 3600), (9, 0)):
            fields = (layout, 4242, int(time.time()) - age, 0.25, 12.5, 0.5, 7, 8)
            with open("/dev/shm/scripted", "wb") as file:
                file.write(struct.pack("=IiqdddII", *fields))
            os.chmod("/dev/shm/scripted", 0o600)
            self.command("record", "--name", "scripted")
            self.command("record", "--json", "--name", "scripted")

    def secrets(self):
        os.unlink(self.node.key_file)
        for secret in ("", "secret\n", "another\n"):  # the second makes the key
            self.command("seal", input=secret)

    def failed_starts(self):
        """The daemon ends at once; so does a supervisor that can not read its settings."""
        for key in NEEDED:
            value = self.node.settings[key]
            self.node.configure(**{key: None})
            self.start("without " + key)
            self.node.configure(**{key: value})
        for text in ("", BROKEN):
            self.node.write("vos.conf", text)
            self.start(f"with {text!r}")
            self.program("vos_watchdog")

    def start(self, title):
        self.program(self.node.path("vos_monitor"))  # the hosts file lies beside it
        self.say("== start " + title, self.normal.log(self.fresh_log()))
        self.seen += len(self.fresh_log())
