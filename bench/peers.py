"""What well-known tools use to look at the same processes once a second."""
import os
import shutil
import signal
import subprocess
import time

from bench_node import cpu_seconds, crowd, progress
import hertz

COMMANDS = ("top -b -d 1", "pidstat -p ALL 1", "sar -A 1")
BEGINNING = 2.5  # seconds, in which they start


def cpu_of_tool(command):
    """Milliseconds of CPU a sample."""
    progress(f"{command}, {hertz.SECONDS} s ...")
    tool = subprocess.Popen(command.split(), stdout=subprocess.DEVNULL, start_new_session=True,
                            env=dict(os.environ, LC_ALL="C"))
    try:
        time.sleep(BEGINNING)
        before = cpu_seconds(tool.pid)
        time.sleep(hertz.SECONDS)
        return 1000 * (cpu_seconds(tool.pid) - before) / hertz.SECONDS
    finally:
        os.killpg(tool.pid, signal.SIGTERM)  # sar has a collector of its own
        tool.wait()


def measure():
    """Milliseconds of CPU a second by program. Tools that are not installed are left out."""
    found = {}
    with crowd("other", hertz.OTHERS):
        found["vos_monitor, a whole report"] = hertz.cpu_of_daemon()
        found["floor, a whole report"] = hertz.cpu_of_floor()
        with crowd("vos", hertz.MONITORED):
            for command in filter(lambda command: shutil.which(command.split()[0]), COMMANDS):
                found[command] = cpu_of_tool(command)
    return found


def show(found):
    print(f"\nOnce a second, {hertz.MONITORED} monitored and {hertz.OTHERS} other processes, all "
          "that is started counted, CPU milliseconds")
    for program, ms in found.items():
        print(f"  {program:<40}{ms:9.2f}")


def check(limits, found):
    """None: the tools say how much is usual."""
