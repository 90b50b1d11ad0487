"""Holds the includes of src/ against the order of the libraries, and looks for cycles.

A module is a header and its source: a path without extension. A file may include what its
directory's library links in src/CMakeLists.txt, directly or by another library, a program's
main.cpp what its executable links. Pure directories get no header that can open, wait, log or read
a clock. One line for each finding; exit status 1 when there is one.
"""
import argparse
import re
import sys
import tempfile
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent
INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]', re.M)
CALL = re.compile(r"(\w+)\s*\(([^()]*)\)")

PURE = {"text": set(), "procfs": {"text"}}  # and the libraries that each of them may link
PURE_HEADERS = set(
    """algorithm array bit cctype cerrno charconv climits cmath compare concepts cstddef cstdint
    cstdlib cstring exception functional initializer_list iosfwd istream iterator limits list map
    memory numeric optional ostream ranges set span sstream stdexcept string string_view tuple
    type_traits unordered_map unordered_set utility variant vector arpa/inet.h netinet/in.h
    """.split()
)


def reachable(graph, start):
    """What a walk along the edges gets to; `start` itself only by a cycle."""
    found, left = set(), list(graph.get(start, ()))
    while left:
        node = left.pop()
        if node not in found:
            found.add(node)
            left.extend(graph.get(node, ()))
    return found


def cycles(graph):
    """Groups of nodes of which each can be reached from each, in order."""
    reach = {node: reachable(graph, node) for node in graph}
    groups = {
        frozenset(other for other in reach[node] if node in reach[other])
        for node in graph
        if node in reach[node]
    }
    return sorted(sorted(group) for group in groups)


def shortest_cycle(graph, start):
    """The nodes from `start`, which is in a cycle, back to `start`."""
    paths = [[start]]
    seen = set()
    for path in paths:
        for node in sorted(graph[path[-1]]):
            if node == start:
                return path + [node]
            if node not in seen:
                seen.add(node)
                paths.append(path + [node])


class Sources:
    """Which file of a tree's src/ includes what. Paths are relative to src/."""

    def __init__(self, root):
        self.includes = {}  # path -> [(mark, name)], mark being the quote or the bracket
        source = Path(root) / "src"
        for path in sorted(source.rglob("*")):
            if path.suffix in (".h", ".cpp"):
                found = INCLUDE.findall(path.read_text())
                self.includes[path.relative_to(source).as_posix()] = found
        self.modules = self.module_graph()

    def own_includes(self):
        """(file, file of the tree that it includes)."""
        for path, includes in self.includes.items():
            for mark, name in includes:
                if mark == '"':
                    yield path, name

    def module_graph(self):
        """module -> {module it includes: by "file -> header"}."""
        graph = {module_of(path): {} for path in self.includes}
        for path, name in self.own_includes():
            if module_of(path) != module_of(name) and module_of(name) in graph:
                graph[module_of(path)].setdefault(module_of(name), f"src/{path} -> {name}")
        return graph

    def cycle_findings(self):
        for group in cycles(self.modules):
            path = shortest_cycle(self.modules, group[0])
            steps = "; ".join(self.modules[a][b] for a, b in zip(path, path[1:]))
            rest = sorted(set(group) - set(path))
            more = "; with them: " + ", ".join(rest) if rest else ""
            yield f"cycle of {len(group)} modules: {steps}{more}"


def module_of(path):
    return path.rpartition(".")[0]


def directory_of(path):
    return path.rpartition("/")[0]


class Libraries:
    """What src/CMakeLists.txt says: a directory's library and its links, a program's links."""

    def __init__(self, root):
        text = re.sub(r"#.*", "", (Path(root) / "src/CMakeLists.txt").read_text())
        calls = [(name, words.split()) for name, words in CALL.findall(text)]
        self.direct = {}  # directory -> names that its library links
        mains = {}  # executable -> its main.cpp
        self.programs = {}  # main.cpp -> names that its executable links
        for call, words in calls:
            if call == "vos_library":
                links = words[words.index("LINK") + 1:] if "LINK" in words else []
                self.direct[words[0]] = links
            elif call == "add_executable":
                mains[words[0]] = words[1]
            elif call == "target_link_libraries" and words[0] in mains:
                self.programs.setdefault(mains[words[0]], []).extend(words[2:])
        self.graph = {own: set(self.directories(links)) for own, links in self.direct.items()}

    def directories(self, names):
        """The directories among these names of libraries; the others are not of this tree."""
        own = {directory.replace("/", "_") + "_lib": directory for directory in self.direct}
        return [own[name] for name in names if name in own]

    def visible(self, path):
        """The directories that a file may include from; None when it is in no library."""
        if path in self.programs:
            linked = self.directories(self.programs[path])
            return set(linked).union(*(reachable(self.graph, own) for own in linked))
        own = directory_of(path)
        return {own} | reachable(self.graph, own) if own in self.graph else None

    def findings(self):
        for group in cycles(self.graph):
            yield "src/CMakeLists.txt: cycle of libraries: " + ", ".join(group)
        for directory, links in self.direct.items():
            allowed = PURE.get(directory)
            if allowed is not None and not set(links) <= {f"{own}_lib" for own in allowed}:
                yield f"src/CMakeLists.txt: the pure {directory} links {' '.join(links)}"


def include_findings(sources, libraries):
    """Includes against the order, and files that no library has."""
    for path in sources.includes:
        if libraries.visible(path) is None:
            yield f"src/{path}: src/CMakeLists.txt has no library of {directory_of(path)}"
    for path, name in sources.own_includes():
        visible = libraries.visible(path)
        if name not in sources.includes:
            yield f"src/{path}: no such file in src/: {name}"
        elif visible is not None and directory_of(name) not in visible:
            yield f"src/{path}: includes {name}, which its library does not link"


def impure_findings(sources):
    for path, includes in sources.includes.items():
        for mark, name in includes:
            if mark == "<" and directory_of(path) in PURE and name not in PURE_HEADERS:
                yield f"src/{path}: includes <{name}> in a pure directory"


def findings(root):
    """All that is wrong with a tree, a line each."""
    sources, libraries = Sources(root), Libraries(root)
    return [
        *libraries.findings(),
        *sources.cycle_findings(),
        *include_findings(sources, libraries),
        *impure_findings(sources),
    ]


FAULTY_TREE = {
    "CMakeLists.txt": """# A directory, and what it links.
        vos_library(text)
        vos_library(platform/file LINK text_lib PkgConfig::OTHER)
        vos_library(common LINK
          platform_file_lib)
        add_executable(program program/main.cpp)
        target_link_libraries(program PRIVATE common_lib)
        """,
    "text/words.h": "#include <string>\n#include <ctime>\n",
    "platform/file/reader.h": '#include "text/words.h"\n#include <fcntl.h>\n',
    "platform/file/reader.cpp": '#include "platform/file/reader.h"\n#include "common/watch.h"\n',
    "common/settings.h": '#pragma once\n#include "common/watch.h"\n#include "text/words.h"\n',
    "common/watch.h": "struct Settings;\n",
    "common/watch.cpp": '#include "common/watch.h"\n\n  # include "common/settings.h"\n',
    "program/main.cpp": '#include "common/settings.h"\n#include "platform/file/reader.h"\n',
}
ITS_FINDINGS = [
    "cycle of 2 modules: src/common/settings.h -> common/watch.h; "
    "src/common/watch.cpp -> common/settings.h",
    "src/platform/file/reader.cpp: includes common/watch.h, which its library does not link",
    "src/text/words.h: includes <ctime> in a pure directory",
]


def self_test():
    """Whether the three faults of a small tree are found, and nothing else."""
    with tempfile.TemporaryDirectory() as root:
        for name, text in FAULTY_TREE.items():
            path = Path(root) / "src" / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text)
        found = findings(root)
    if found != ITS_FINDINGS:
        print("self-test: found", *found, sep="\n  ")
    return found == ITS_FINDINGS


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("root", nargs="?", default=TOP, help="top of a source tree (this one)")
    parser.add_argument("--self-test", action="store_true", help="look at a tree of known faults")
    options = parser.parse_args()
    if options.self_test:
        return 0 if self_test() else 1
    found = findings(options.root)
    print(*found, sep="\n", end="\n" if found else "")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
