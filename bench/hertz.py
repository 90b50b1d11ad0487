"""CPU of programs that do their work once a second, all that they start counted."""
import contextlib
import time

from bench_node import BIN, OPTIONS, BenchNode, cpu_seconds, progress

MONITORED = 20  # the shell that stands for the supervisor, and the daemon, among them
OTHERS = 1000
SECONDS = 8 if OPTIONS.quick else 20
SETTINGS = {"Monitoring.builtin_commands": True, "Monitoring.report_freq": 1000,
            "General.polling_rate_ms": 100}


def settle():
    """From the moment that a report has arrived to one between two reports."""
    time.sleep(0.5)


def cpu_of(beside, command):
    """Milliseconds a report of a program that posts one each second, and of what it starts."""
    with contextlib.closing(BenchNode(**SETTINGS).log_as_installed().serve()) as bench:
        bench.start(beside, command=command).wait_for_accepted(3)
        settle()
        before, first = cpu_seconds(bench.daemon_pid), bench.accepted()
        bench.wait_for_accepted(first + SECONDS)
        settle()
        return 1000 * (cpu_seconds(bench.daemon_pid) - before) / (bench.accepted() - first)


def cpu_of_daemon(programs=BIN):
    progress(f"the daemon of {programs} at a report a second, {SECONDS} s ...")
    return cpu_of(MONITORED - 2, programs + "/vos_monitor")


def cpu_of_floor():
    progress(f"the floor at a report a second, {SECONDS} s ...")
    return cpu_of(MONITORED - 1, BIN + "/report_bench floor")
