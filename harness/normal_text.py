"""Makes what programs said in one run comparable with another run: what is that run's own becomes a
placeholder, and what comes by chance goes."""
import re

# Figures of a JSON text that a script determines.
FIXED = """version restarts failures_in_a_row heartbeat_timeout_ms certificate_days_left layout
writer_pid max_fd_ratio cpu_usage ram_usage icmp_drops syn_drops""".split()
JSON_FIGURE = rf'("(?!(?:{"|".join(FIXED)})")[\w-]+": )-?\d+'
PLACEHOLDERS = (
    (r"\b\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ", "<time>"),
    (JSON_FIGURE + r"(,?)$", r"\1<whole>\2"),
    (JSON_FIGURE + r"[.e][\d.e+-]+(,?)$", r"\1<fraction>\2"),
    (r"\b0x[0-9a-f]+", "<pointer>"),
    (r"\btoken=[0-9a-f]{64}\b", "token=<token>"),
    (r"\bv1:[A-Za-z0-9+/=]{40,}", "<sealed>"),
    (r"((?:127\.0\.0\.\d|\.example|\.dns):)\d+", r"\1<port>"),
    (r"^(pid +|.*\b(?:pid|process) )\d+\b(?!\.)", r"\1<pid>"),
    (r"\b\d+ ?ms\b", "<ms>"),
    (r"\b\d+(?:\.\d+)? s\b", "<seconds>"),
    (r"(body length: )\d+", r"\1<size>"),
)
# Categories whose records are about figures; so is the memory profile.
FIGURES = re.compile(r"\w+ (Proc\w*|CPU\w+|RAMInfo|InterfaceStats): |.*memory profile:")
NUMBER = re.compile(r"(?<![\w.-])-?\d+(\.\d+)?(e[-+]?\d+)?(?!\.?\d)")
BAR_OR_UNIT = re.compile(r" *[#.]{8,}|(?<=> )[kMGT]?B\b")
RECORD = re.compile(r"^(?=(?:FATAL|ERROR|WARN|NOTICE|INFO|DEBUG) \w+: )", re.M)
# When the machine is slow, or two clocks meet.
BY_CHANCE = re.compile(
    r"Clock skew detected|Negative total machine CPU|Timestamp difference|function took too long"
    r"|Unable to calculate cpu usage|CPUStatSampler: get_stats|sent a message of type 112"
)


class Normal:
    """`own` are names of this run: {text: placeholder}."""

    def __init__(self, own):
        self.own = own

    def names(self, text):
        """Without names, times and addresses. The other figures stay, but for those of a JSON text,
        of which it stays whether they are whole."""
        for name, placeholder in self.own.items():
            text = text.replace(name, placeholder)
        for pattern, placeholder in PLACEHOLDERS:
            text = re.sub(pattern, placeholder, text, flags=re.M)
        return "".join(line for line in text.splitlines(True) if not BY_CHANCE.search(line))

    def figures(self, text):
        """Without any figure, and without the bars and units that follow from them."""
        text = BAR_OR_UNIT.sub("", NUMBER.sub("<n>", self.names(text)))
        return re.sub(r" +<n>", " <n>", text)

    def log(self, text):
        records = RECORD.split(text)
        return "".join((self.figures if FIGURES.match(r) else self.names)(r) for r in records)


def key_paths(value, path=""):
    """What is in a document: its places, as "a.b[].c", each once and with its type."""
    if isinstance(value, dict):
        inner = [found for key in value for found in key_paths(value[key], f"{path}.{key}")]
    elif isinstance(value, list):
        inner = [found for member in value for found in key_paths(member, path + "[]")]
    else:
        inner = [f"{path} {type(value).__name__}"]
    return sorted(set(inner))


def request_text(document, request):
    """What the server got: the parts of the request, and the report's keys."""
    query = {name: values[0] for name, values in request["query"].items()}
    varying = {"token": "<token>", "Content-Length": "<size>"}
    parts = [*query.items(), *request["headers"].items()]
    lines = [f"{name}: {varying.get(name, value)}" for name, value in parts]
    return "\n".join(["POST " + request["path"], *lines, *key_paths(document)]) + "\n"
