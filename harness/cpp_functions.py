"""Finds the functions of a C++ source text by its brackets.

It knows no types. It tells a body from a class, a namespace and an initializer by what stands
before the brace; a lambda belongs to the function that it is in.
"""
import dataclasses
import re

LITERAL = re.compile(
    r"""(?P<keep>\b\d[\w.]*(?:'[\w.]+)*)            # a number, its quotes parting thousands
    | //[^\n]* | /\*.*?\*/
    | \bR"(?P<mark>[^()\s\\]{0,16})\(.*?\)(?P=mark)"
    | "(?:\\.|[^"\\\n])*" | '(?:\\.|[^'\\\n])*'""",
    re.X | re.S,
)
DIRECTIVE = re.compile(r"^[ \t]*#(?:\\\n|[^\n])*", re.M)
# What a class's or a function's beginning is not: labels, and empty lines.
LABELS = re.compile(r"\s*(?:(?:public|private|protected)\s*:(?!:)\s*)*")
QUALIFIERS = re.compile(
    r"\(\)\s*(?:const|volatile|override|final|noexcept(?:\s*\(\))?|&&?|->\s*[\w:<>,\s*&]+|\s)*$"
)
MEMBER_INITIALIZERS = re.compile(r"\(\)\s*(?:noexcept(?:\s*\(\))?\s*)?:(?!:)")
NAME = re.compile(r"((?:[\w~]+::)*(?:operator\s*(?:\(\)|[^\s\w(]+|[\w:]+)|~?\w+))\s*\(\)")


@dataclasses.dataclass
class Function:
    name: str
    head: str  # from its result's type to the brace, with its parameters
    body: str  # with both braces; comments and literals are blank
    line: int
    lines: int  # from the head's first to the closing brace's


def without_literals(text):
    """The text with blanks for comments, strings, characters and directives, lines as before."""

    def blank(match):
        if match.groupdict().get("keep"):
            return match[0]
        return re.sub(r"[^\n]", " ", match[0])

    return DIRECTIVE.sub(blank, LITERAL.sub(blank, text))


def end_of_bracket(code, at):
    """Where what opens at `at` is closed: the position after it."""
    pair = {"(": "()", "{": "{}"}[code[at]]
    depth = 0
    for match in re.compile("[%s]" % re.escape(pair)).finditer(code, at):
        depth += 1 if match[0] == pair[0] else -1
        if depth == 0:
            return match.end()
    return len(code)


def without_template(head):
    """The head without "template <...>"."""
    while (found := re.match(r"\s*template\s*<", head)) is not None:
        depth, at = 1, found.end()
        while depth > 0 and at < len(head):
            depth += {"<": 1, ">": -1}.get(head[at], 0)
            at += 1
        head = head[at:]
    return head


def kind_of(head):
    """What the brace after a head begins; in the head a bracket and what is in it is "()"."""
    head = re.sub(r"\[\[.*?\]\]", "", without_template(LABELS.sub("", head, 1))).strip()
    if re.match(r"(inline\s+)?namespace\b|extern$", head):
        return "scope"
    if re.match(r"(typedef\s+)?enum\b", head):
        return "initializer"
    if MEMBER_INITIALIZERS.search(head):
        return "function" if head.endswith((")", "}", "...")) else "initializer"
    if "=" in re.sub(r"operator\s*[^\s\w(]+", "", head):
        return "initializer"
    if QUALIFIERS.search(head):
        return "function"
    return "scope" if re.search(r"\b(class|struct|union)\b", head) else "initializer"


def functions(text):
    """All functions that a source text defines, in its order."""
    code = without_literals(text)
    at = begin = 0
    head = ""
    while (found := re.compile(r"[(){};]").search(code, at)) is not None:
        head += code[at: found.start()]
        at = found.end()
        if found[0] == "(":
            at = end_of_bracket(code, found.start())
            head += "()"
        elif found[0] == "{" and (kind := kind_of(head)) != "scope":
            at = end_of_bracket(code, found.start())
            head += "{}"
            if kind == "initializer":
                continue
            first = LABELS.match(code, begin).end()
            name = NAME.search(without_template(head))
            yield Function(
                name=re.sub(r"\s+", "", name[1]) if name else "?",
                head=code[first: found.start()].strip(),
                body=code[found.start(): at],
                line=code.count("\n", 0, first) + 1,
                lines=code.count("\n", first, at) + 1,
            )
            head, begin = "", at
        else:
            head, begin = "", at
