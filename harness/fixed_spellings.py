"""Fails when a spelling that log readers rely on is gone from src/.

The list is the table "Spellings that stay" of docs/contributing.md.
"""

import pathlib
import re
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent


def main():
    page = (TOP / "docs/contributing.md").read_text()
    table = page.split("### Spellings that stay")[1].split("## Recipes")[0]
    spellings = re.findall(r"^\| `([^`]+)`", table, re.MULTILINE)
    sources = "".join(
        path.read_text() for path in sorted((TOP / "src").rglob("*")) if path.suffix in (".h", ".cpp")
    )
    missing = [spelling for spelling in spellings if spelling not in sources]
    for spelling in missing:
        print(f"src/: the fixed spelling {spelling!r} is gone", file=sys.stderr)
    return 1 if missing or not spellings else 0


if __name__ == "__main__":
    sys.exit(main())
