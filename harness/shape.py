"""Figures of a source tree's shape: how long its functions and files are, what still goes round in
circles, who else knows the event library, and in how many ways a failure is told.

The figures come from the text, by brackets and patterns; no compiler is asked.
"""
import argparse
import re
import statistics
import textwrap
from pathlib import Path

from cpp_functions import functions, without_literals
from module_graph import TOP, Sources, cycles

WRAPPERS = re.compile(
    r"common/(nyx_libevent|nyx_bufferevent|buffer_event|libevent_messages)\.(h|cpp)$|event/")
EVENT_HEADER = re.compile(r"#\s*include\s*<event2/")
EVENT_NAMES = re.compile(
    r"""\bevutil_socket_t\b | \bB?EV_[A-Z_]+\b | \bEVLOOP_[A-Z_]+\b | \bstruct\ event\b
    | (?<![.>:]) (?<!::)
      \b(event|bufferevent|evbuffer|evconnlistener|evutil|evtimer|evsignal)_\w+\s*\(
    | \b(event_base|bufferevent|evbuffer|evconnlistener)\s*\*""",
    re.X,
)

EMPTY = r"return\s*(\{\}|\"\"|std::string\(\))\s*;|[?:]\s*\"\"\s*[;:]"
FAILURE = r"(failure|fault|error|obstacle|reason|why|missing|unusable\w*)"
NOT_EMPTY = r"return\s+(?!\{\})[^;]*(\"[^\"]+\"|\b" + FAILURE + r"\b)"


class Place:
    """One function, as the patterns look at it."""

    def __init__(self, path, function, text):
        self.path, self.name, self.lines = path, function.name, function.lines
        self.line, self.head, self.body = function.line, function.head, function.body
        rows = text.split("\n")[function.line - 1:][: function.lines]
        self.raw = "\n".join(rows)  # with its texts

    def gives(self, type_pattern):
        words = r"((\[\[\w+\]\]|static|inline|virtual|constexpr|friend)\s+)*"
        return re.match(r"(template\s*<[^{}]*>\s*)?" + words + type_pattern, self.head)

    def __str__(self):
        return f"{self.name} ({self.path}:{self.line})"


def text_empty_on_success(place):
    """std::string; its name says so, or one return is empty and another one a failure's text."""
    if not place.gives(r"std::string\s+\w"):
        return False
    if re.search(r"(obstacle|fault|unusable)(_of|_in_\w+|_kind)?$", place.name):
        return True
    last = re.findall(r"return\s*([^;]*);", place.raw)[-1:]
    return re.search(EMPTY, place.raw) and (
        re.search(r"return\s+" + FAILURE + r"\b|return[^;]*\.what\(\)", place.raw)
        or (last == ["{}"] and re.search(NOT_EMPTY, place.raw))
    )


def null_on_success(place):
    """const char*; the body has a null pointer and a text of its own."""
    return place.gives(r"const char\s*\*") and re.search(
        r"nullptr[^\"]*\"|\"[^\"]*nullptr", place.raw
    )


def failure_parameter(place):
    """std::string& failure, and what else it may be called; not const."""
    return re.search(
        r"(?<!const )std::string& (failure|fault|error|reason|why|message)\b", place.head
    )


def errno_result(place):
    """int; a return names errno, an error or an E... number, or a parameter is an int*."""
    return place.gives(r"int\s+\w") and (
        re.search(r"return\b[^;]*(?<![\w(])(errno|error|E[A-Z]{3,})\b", place.body)
        or re.search(r"\bint\* \w", place.head)
    )


def variant_result(place):
    """std::variant."""
    return place.gives(r"std::variant<")


def result_type(place):
    """Result<...>."""
    return place.gives(r"(\w+::)*Result<")


def bool_and_log(place):
    """bool; the body has a "return false" and writes a record."""
    return (
        place.gives(r"bool\s+\w")
        and re.search(r"return false", place.body)
        and re.search(r"\.(debug|notice|warning|error|fatal|log)\(|\blog_\w+\(", place.body)
    )


def exception(place):
    """A throw; one that only passes on does not count."""
    return re.search(r"\bthrow\s+[\w:]", place.body)


WAYS = {
    "text that is empty on success": text_empty_on_success,
    "const char* that is null on success": null_on_success,
    "std::string& failure": failure_parameter,
    "errno value as result": errno_result,
    "std::variant": variant_result,
    "Result<T>": result_type,
}
APART = {"bool, and a record in the log": bool_and_log, "exception": exception}
ERRNO_LEFT = re.compile(r"^\s*///[^\n]*\berrno set\b", re.M)


def texts_of(root):
    """{path below src/: text}."""
    source = Path(root) / "src"
    paths = sorted(path for path in source.rglob("*") if path.suffix in (".h", ".cpp"))
    return {path.relative_to(source).as_posix(): path.read_text() for path in paths}


def row(what, figure):
    print(f"{what:44}{figure}")


def listed(places):
    """The places of a row, beneath it."""
    text = ", ".join(map(str, places))
    indent = " " * 6
    if text:
        print(textwrap.fill(text, 110, initial_indent=indent, subsequent_indent=indent))


def print_lengths(what, lengths, percentile=None):
    """`lengths`: {name: lines}."""
    ordered = sorted(lengths.items(), key=lambda item: item[1])
    row(what, len(ordered))
    row("  lines: median", f"{statistics.median(lengths.values()):g}")
    if percentile:
        row(f"  {percentile}th percentile", ordered[-(-len(ordered) * percentile // 100) - 1][1])
    row("  longest", f"{ordered[-1][1]}  {ordered[-1][0]}")


def print_event_library(texts):
    including = [path for path, text in texts.items() if EVENT_HEADER.search(text)]
    row("files that include <event2/...>", len(including))
    listed(including)
    outside = []
    for path, text in texts.items():
        if not WRAPPERS.match(path) and EVENT_NAMES.search(without_literals(text)):
            outside.append(path)
    row("files outside the wrappers with its names", len(outside))
    listed(outside)


def print_failures(places, texts):
    found = {way: [place for place in places if is_one(place)] for way, is_one in WAYS.items()}
    left = [path for path, text in texts.items() for _ in ERRNO_LEFT.findall(text)]
    found["errno left set"] = left
    row("ways to tell of a failure", sum(bool(where) for where in found.values()))
    for way, where in found.items():
        row("  " + way, len(where))
        listed(where)
    print("apart from these")
    for way, is_one in APART.items():
        where = [place for place in places if is_one(place)]
        row("  " + way, f"{len(where)} in {len({place.path for place in where})} files")


def main():
    parser = argparse.ArgumentParser(prog="./dev shape", description=__doc__.split("\n\n")[0])
    parser.add_argument("root", nargs="?", default=TOP, help="top of a source tree (this one)")
    root = parser.parse_args().root
    texts = texts_of(root)
    places = [Place(path, found, text) for path, text in texts.items() for found in functions(text)]
    print_lengths("functions", {str(place): place.lines for place in places}, percentile=99)
    print_lengths("files of src/", {path: text.count("\n") for path, text in texts.items()})
    modules = Sources(root).modules
    circles = cycles(modules)
    row("modules", len(modules))
    row("  in a cycle", f"{sum(map(len, circles))}, in {len(circles)} cycles")
    listed(" + ".join(circle) for circle in circles)
    print_event_library(texts)
    print_failures(places, texts)


if __name__ == "__main__":
    main()
