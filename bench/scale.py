"""How a report's cost and the daemon's memory grow with interfaces and processes; draws a plot."""
import contextlib
import math
import os

from bench_node import OPTIONS, TOP, BenchNode, crowd, progress, run_bench
import interfaces

COUNTS = (10, 100, 1000, 5000)
PROCESSES, OTHERS = 500, 10000
PLOT = os.path.join(TOP, "docs/cost.svg")


def measure():
    """Microseconds of CPU per item by kind and count; the figures of the largest report."""
    per_item = {"interface": {}, "process": {}}
    settings = {"Monitoring.builtin_commands": True}
    with contextlib.closing(BenchNode(**settings).log_as_installed().serve()) as bench:
        for count in COUNTS:
            progress(f"{count} processes ...")
            runs = run_bench(bench, ["--benchmark_filter=report/readers"], count)
            per_item["process"][count] = runs["report/readers"]["self"] / count
        have = 0
        for count in COUNTS:
            progress(f"{count} interfaces ...")
            interfaces.add(have, count)
            have = count
            runs = run_bench(bench, ["--benchmark_filter=scale/interfaces"], 5)
            per_item["interface"][count] = runs["scale/interfaces"]["self"] / count
        with crowd("other", OTHERS):
            progress(f"{have} interfaces on a machine of {OTHERS} processes ...")
            runs = run_bench(bench, ["--benchmark_filter=report/create_report|scale/ticks",
                                     "--benchmark_min_time=1"], 20)
    draw(per_item)
    return {"per_item": per_item, "worst_ms": runs["report/create_report"]["worst"] / 1000,
            "ticks": runs["scale/ticks"]["ticks"], "memory": measure_memory(**settings)}


def measure_memory(**settings):
    """Of a daemon that reports 5,000 interfaces and 500 processes."""
    progress(f"memory, {COUNTS[-1]} interfaces and {PROCESSES} processes ...")
    bench = BenchNode(log="WARN", **settings, **{"Monitoring.report_freq": 1000})
    with contextlib.closing(bench):
        bench.serve().start(beside=PROCESSES - 2)  # and the shell, and the daemon
        bench.wait_for_accepted(5 if OPTIONS.quick else 30)
        return bench.memory_kib()


def show(measured):
    print("\nCost per item, CPU microseconds" + "".join(f"{count:>10}" for count in COUNTS))
    for kind, figures in measured["per_item"].items():
        print(f"  {kind:<29}" + "".join(f"{figures[count]:10.2f}" for count in COUNTS))
    print(f"\nA report of {COUNTS[-1]} interfaces"
          f"\n  create_report(), longest, with {OTHERS} processes{measured['worst_ms']:14.1f} ms"
          f"\n  steps of the send timer until it is posted{measured['ticks']:18.0f}"
          f"\n  resident memory, {PROCESSES} monitored processes"
          f"{measured['memory']['VmRSS'] / 1024:22.1f} MiB")


def check(limits, measured):
    limits.check("VmRSS, 5000 interfaces, 500 processes", measured["memory"]["VmRSS"] / 1024, "MiB", 32)
    limits.check("steps of the send timer, 5000 interfaces", measured["ticks"], "", 8, True)
    limits.check("create_report(), CPU, 5000 interfaces, 10000 processes", measured["worst_ms"],
                 "ms", 100)
    for kind, figures in measured["per_item"].items():
        limits.check(f"cost per {kind}, at 5000 / at 100", figures[COUNTS[-1]] / figures[100], "", 1.5)


# --- the plot: both axes logarithmic, drawn by hand

LEFT, TOP_EDGE, WIDTH, HEIGHT = 60, 30, 480, 240
LOWEST, HIGHEST = 1, 1000  # microseconds


def place(count, microseconds):
    x = LEFT + WIDTH * math.log10(count / COUNTS[0]) / math.log10(COUNTS[-1] / COUNTS[0])
    y = TOP_EDGE + HEIGHT * (1 - math.log10(microseconds / LOWEST) / math.log10(HIGHEST / LOWEST))
    return f"{x:.1f},{y:.1f}"


def draw(per_item):
    def text(at, words, anchor="middle"):
        x, y = at.split(",")
        return f'<text x="{x}" y="{y}" text-anchor="{anchor}">{words}</text>'

    shapes = [f'<rect x="{LEFT}" y="{TOP_EDGE}" width="{WIDTH}" height="{HEIGHT}" fill="none" '
              'stroke="#888"/>',
              text(f"{LEFT + WIDTH / 2},18", "CPU microseconds per item of one report")]
    for count in COUNTS:
        x = place(count, LOWEST).split(",")[0]
        shapes.append(text(f"{x},{TOP_EDGE + HEIGHT + 18}", count))
    for level in (1, 10, 100, 1000):
        y = float(place(COUNTS[0], level).split(",")[1])
        shapes.append(text(f"{LEFT - 8},{y + 4:.1f}", level, "end"))
        shapes.append(f'<line x1="{LEFT}" x2="{LEFT + WIDTH}" y1="{y}" y2="{y}" stroke="#ddd"/>')
    for (kind, figures), colour in zip(per_item.items(), ("#06c", "#c40")):
        points = " ".join(place(count, figures[count]) for count in COUNTS)
        shapes.append(f'<polyline points="{points}" fill="none" stroke="{colour}" stroke-width="2"/>')
        x, y = place(COUNTS[-1], figures[COUNTS[-1]]).split(",")
        shapes.append(text(f"{x},{float(y) - 8:.1f}", kind, "end"))
    with open(PLOT, "w") as file:
        file.write('<svg xmlns="http://www.w3.org/2000/svg" width="560" height="310" '
                   'font-family="sans-serif" font-size="12">\n<rect width="560" height="310" '
                   'fill="#fff"/>\n' + "\n".join(shapes) + "\n</svg>\n")
