#!/usr/bin/env python3
"""Builds reports of an installed node inside its unit's sandbox and outside, and compares every
figure; then takes each capability away to see that its figures miss it.

usage: test_sandbox.py FOLDER-OF-PACKAGES
"""
import json
import re
import sys

sys.dont_write_bytecode = True
from clean_root import until  # noqa: E402
from test_install import CONF, UNIT, clean_system, expect, install  # noqa: E402

REPORT, LOG = "/opt/vos/health_report.json", "/opt/vos/vos_monitor.log"
LIMIT = "1024:4096"  # of descriptors; a manager's own differs from a shell's
DROP_IN = f"/run/systemd/system/{UNIT}.d/test.conf"

# Monitored processes of another user and of the superuser; the first is busy.
PLUTO = """cp /bin/bash /usr/local/bin/pluto
cp /bin/sleep /usr/local/lib/pluto
for user in nobody root; do
    setpriv --reuid $user --clear-groups /usr/local/bin/pluto -c 'ulimit -Hn 64
        exec 3</dev/null 4</dev/null 5</dev/null 6</dev/null; exec /usr/local/lib/pluto infinity' &
done
setpriv --reuid nobody --clear-groups /usr/local/bin/pluto -c 'while :; do :; done' &
sleep 1
"""

# What may differ between two reports of one node, and by how much (None: at will); all else is
# equal to the last digit. Percent, except for "fd", a fraction that two descriptors change (the
# manager's), and the sampler's counts.
MAY_DIFFER = (
    (r"^timestamp$", None),
    (r"^machine-info\.cpu\.total$|\.cpu$|steal|skew", 100),
    (r"num-of-samples$", 2),
    (r"^machine-info\.ram\.used$", None),
    (r"^processes\.ram$", 0.5),
    (r"^processes_stats\.(other|idle)\..*(ram|fd)$", 5),
    (r"^processes_stats\.(watchdog|vos_monitor)\.\d+\.ram$", 0.2),
    (r"^processes_stats\.watchdog\.\d+\.fd$", 4 / 4096),
    (r"^interfaces\.lo\.(counters|rates)\.[rt]x_(bytes|packets|bps|pps)$", None),
)


def figures(value, path=""):
    """{path: figure}; lists of named things go by their names."""
    if isinstance(value, dict):
        parts = [(key, inner) for key, inner in value.items()]
    elif isinstance(value, list):
        value = sorted(value, key=lambda one: json.dumps([one.get("process_name"), one.get("ram")]))
        parts = [(f"{one.pop('process_name', None) or one.pop('interface_name')}.{i}", one)
                 for i, one in enumerate(map(dict, value))]
        parts = [(re.sub(r"^lo\.0", "lo", name), one) for name, one in parts]
    else:
        return {path: value}
    return {name: figure for key, inner in parts
            for name, figure in figures(inner, f"{path}.{key}".lstrip(".")).items()}


def differences(inside, outside):
    found = [f"{path}: only on one side" for path in inside.keys() ^ outside.keys()]
    for path in inside.keys() & outside.keys():
        one, other = inside[path], outside[path]
        bound = next((bound for pattern, bound in MAY_DIFFER if re.search(pattern, path)), 0)
        if type(one) is not type(other) or (
                bound is not None and one != other
                and not (isinstance(one, (int, float)) and abs(one - other) <= bound)):
            found.append(f"{path}: {one} inside, {other} outside")
    busy = [path for path, share in inside.items() if "pluto" in path and path.endswith("cpu")
            and share > 5]
    if len(busy) != sum(share > 5 for path, share in outside.items()
                        if "pluto" in path and path.endswith("cpu")):
        found.append(f"another number of busy processes: {busy} inside")
    return found


def complaints(log):
    """The shapes of warnings and errors; how late the sampler comes is up to the machine's load."""
    return {re.sub(r"\d+", "N", line.split(" ", 2)[2]) for line in log.splitlines()
            if re.search(r" (WARN|ERROR|FATAL|CRIT) ", line) and "Clock skew" not in line}


def third_report(root, start, end):
    """The third report and the complaints of a node between start() and end()."""
    root.run(f"rm -f {REPORT} {LOG}")
    start()
    log = until(lambda: (lambda log: log.count("Collecting VOS health report took") >= 3 and log)(
        root.read(LOG)), "three reports", 60)
    report = json.loads(root.read(REPORT))
    end()
    return figures(report), complaints(log)


def main():
    with clean_system() as (start, server):
        root = start("sandbox")
        install(root, server)
        root.run(f"systemctl stop {UNIT}; sed -i 's/report_freq = .*;/report_freq = 2000;/;"
                 f"s/polling_rate_ms = .*;/polling_rate_ms = 250;/' {CONF}")
        root.start("sh -c '" + PLUTO.replace("'", "'\\''") + " wait'")
        until(lambda: root.run("pgrep -c pluto", check=False).strip() == "3", "the processes")

        def by_unit():
            return third_report(root, lambda: root.run(f"systemctl daemon-reload; systemctl start {UNIT}"),
                                lambda: root.run(f"systemctl stop {UNIT}"))

        def by_hand():
            root.start(f"prlimit --nofile={LIMIT} sh -c 'cd /opt/vos && exec bin/vos_watchdog'")

        def drop_in(*lines):
            root.run(f"mkdir -p $(dirname {DROP_IN})")
            root.write(DROP_IN, "\n".join(["[Service]", f"LimitNOFILE={LIMIT}", *lines, ""]))

        drop_in()
        inside, said_inside = by_unit()
        outside, said_outside = third_report(
            root, by_hand, lambda: root.run("vosctl terminate; sleep 1", check=False))
        found = differences(inside, outside)
        expect(not found, f"{len(inside)} figures are the same inside and outside the sandbox",
               "\n".join(found))
        expect(said_inside == said_outside, "and so are warnings and errors",
               f"{said_inside}\n{said_outside}")
        for kept, lost in (("CAP_KILL", "CAP_DAC_READ_SEARCH"), ("CAP_DAC_READ_SEARCH", "CAP_KILL")):
            drop_in("CapabilityBoundingSet=", f"CapabilityBoundingSet={kept}")
            figure = differences(by_unit()[0], outside)
            expect(figure, f"without {lost} the report is another: {figure[0]}" if figure else lost)


main()
