"""What the parts of a scripted run have in common."""
import os
import struct
import subprocess
import time

import normal_text
from node import BIN, TOP, Node, until

HOUR = 3600000  # milliseconds; no report is to come by itself
FREQUENCY = "Monitoring.report_freq"
BROKEN = "General = {\n  vos_id = ;\n"


def record(kind, sender=b"script"):
    """A message of the control link."""
    return struct.pack("=H16s38s", kind, sender, b"vos_monitor")


class Part:
    """A node, and as text what its programs say."""

    def __init__(self, **settings):
        fixed = {"General.quiet_node": True, "General.message_check_timeout_ms": HOUR}
        self.node = Node(**{FREQUENCY: HOUR, **fixed, **settings})
        self.text, self.seen = "", 0
        self.normal = normal_text.Normal({self.node.folder: "<node>", BIN: "<bin>", TOP: "<top>"})

    def close(self):
        self.node.close()

    def say(self, *texts):
        self.text += "".join(text if text.endswith("\n") else text + "\n" for text in texts)

    def command(self, *words, **options):
        """Runs vosctl, and tells what it prints."""
        self.program("vosctl", *words, **options)

    def program(self, program, *words, figures=False, in_order=True, **options):
        """Runs a program until its end; tells what it prints, and its exit status."""
        folder = self.node.folder
        done = subprocess.run(
            [os.path.join(BIN, program), *words],
            **{"capture_output": True, "text": True, "cwd": folder, "timeout": 20, **options},
            env=dict(os.environ, VOS_IPC_DIR=folder),
        )
        normal = self.normal.figures if figures else self.normal.names
        self.say("$ " + self.normal.names(" ".join([program, *words])))
        for stream, said in (("out", done.stdout), ("err", done.stderr)):
            lines = normal(said).splitlines()
            self.say(*(f"{stream}| {line}" for line in (lines if in_order else sorted(lines))))
        self.say(f"exit {done.returncode}")

    def fresh_log(self):
        """What the daemon has logged since the last step."""
        return self.node.read("log")[self.seen:]

    def step(self, title, said):
        """Waits for a record of the daemon and until it is silent; tells what it logged."""
        until(lambda: said in self.fresh_log(), f"{said!r} at {title!r}")
        size = -1
        while size != len(self.fresh_log()):
            size = len(self.fresh_log())
            time.sleep(0.3)
        self.say("== " + title, self.normal.log(self.fresh_log()))
        self.seen += size
