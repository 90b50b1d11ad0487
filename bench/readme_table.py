"""The figures of a run as README.md has them."""
import hertz
from stalls import HELD


def table(*rows):
    """Markdown; the first row is the head."""
    head, *others = [[str(cell) for cell in row] for row in rows]
    lines = [head, ["---"] * len(head)] + others
    print("\n" + "\n".join("| " + " | ".join(line) + " |" for line in lines))


def show_report(found, typical, readers_to_floor):
    """`typical`: the pieces of a report beside the others by setting, milliseconds."""
    def row(title, ms):
        return title, f"{ms:.2f} ms", f"{ms / found['floor']:.2f}"

    builtins = typical["builtins"]
    table(("20 monitored processes of 1,000 others", "CPU", "in units of the floor"),
          row("floor", found["floor"]),
          row("the whole report, with `builtin_commands`", found["report"]),
          row("of it, finding the processes", builtins["discovery"]),
          row("of it, the signed post", builtins["post"]),
          row("finding the processes by programs", typical["programs"]["discovery"]),
          ("readers alone, beside a floor of theirs", "", f"{readers_to_floor:.2f}"))


def show_once_a_second(found):
    table((f"Once a second, {hertz.MONITORED + hertz.OTHERS:,} processes", "CPU"),
          *((f"`{program}`" if " -" in program else program, f"{ms:.1f} ms")
            for program, ms in found.items()))


def show_stalls(found):
    builds = list(next(iter(found.values())))
    table(("Longest turn of the loop", *builds, "limit"),
          *((case.title, *(f"{times[HELD]:.1f} ms" for times in by_build.values()),
             f"{case.limit_ms} ms" if case.limit_ms else "") for case, by_build in found.items()))
