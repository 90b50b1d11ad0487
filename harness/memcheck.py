"""Runs the daemon under valgrind through start, reports, a reload and its end: no error, no memory
lost and no descriptor left open but the standard ones."""
import os
import re
import signal
import sys
import threading
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from node import Node, Peer, isolate  # noqa: E402


def start_under_valgrind(node):
    node.daemon = node.run_in_background("out", [
        "valgrind", "--leak-check=full", "--errors-for-leak-kinds=definite,possible",
        "--show-leak-kinds=definite,possible", "--track-fds=yes", "--error-exitcode=99",
        "--log-file=" + node.path("valgrind.log"), node.path("vos_monitor")])


def check(node):
    """What valgrind has to say against the run; empty when nothing."""
    peer = Peer(node)
    threading.Thread(target=peer.accept, daemon=True).start()
    start_under_valgrind(node)
    node.wait_for_reports(2, 120)
    node.signal(signal.SIGUSR1)
    node.wait_for_log("Handling reconfigure event", seconds=60)
    node.wait_for_reports(4, 120)
    node.signal(signal.SIGTERM)
    status = node.end(120)
    text = re.sub(r"==\d+== ?", "", node.read("valgrind.log"))
    print(text[text.find("FILE DESCRIPTORS"):])
    faults = [] if status == 0 else [f"exit status {status}"]
    if "ERROR SUMMARY: 0 errors" not in text:
        faults.append("errors")
    left = [line for line in re.findall("^Open .*", text, re.M) if "valgrind.log" not in line]
    if left or "FILE DESCRIPTORS:" not in text:
        faults.append("descriptors left open: " + ", ".join(left))
    return faults


def main():
    obstacle = isolate()
    if obstacle:
        print("skipped:", obstacle)
        return 77
    node = Node(**{"Monitoring.report_freq": 3000, "General.zel_http_client_timeout_sec": 60}).serve()
    try:
        faults = check(node)
    finally:
        node.close()
    print("memcheck:", ", ".join(faults) or "clean")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
