#!/usr/bin/env python3
"""Names C++ code of the pages that no compiled source holds.

Every paragraph of a fenced block of C++ must stand in a source of the tree, line by line but for comments, layout and lone
braces; an ellipsis leaves something out. What pages quote by \\snippet needs no check but that the marks are there.
"""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
PAGES = [ROOT / "README.md", ROOT / "CONTRIBUTING.md", *sorted((ROOT / "docs").rglob("*.md"))]
SOURCES = [path for folder in ("examples", "mth", "tests/host_project") for path in (ROOT / folder).rglob("*.[ch]*")]


def lines_of(code):
    lines = (re.sub(r"\s*//.*", "", line).strip() for line in code.splitlines())
    return "\n".join(line for line in lines if line not in ("", "}", "};", "{"))


def fragments(page):
    for block in re.findall(r"```cpp\n(.*?)```", page, re.DOTALL):
        for part in re.split(r"\n\s*\n|…", block):
            if lines_of(part):
                yield lines_of(part)


def main():
    sources = {str(path.relative_to(ROOT)): path.read_text(encoding="utf-8") for path in SOURCES}
    compiled = [f"\n{lines_of(text)}\n" for text in sources.values()]
    wrong, count = [], 0
    for path in PAGES:
        page = path.read_text(encoding="utf-8")
        for fragment in fragments(page):
            count += 1
            if not any(f"\n{fragment}\n" in text for text in compiled):
                wrong.append(f"{path.relative_to(ROOT)}: no source holds\n{fragment}\n")
        for name, mark in re.findall(r"^\\snippet (\S+) (\S+)", page, re.MULTILINE):
            count += 1
            if sources.get(f"examples/{name}", "").count(f"//! [{mark}]") != 2:
                wrong.append(f"{path.relative_to(ROOT)}: examples/{name} has no {mark}\n")
    print("\n".join(wrong), end="")
    print(f"{count} pieces of code, {len(wrong)} that nothing compiles")
    return 1 if wrong or not count else 0


if __name__ == "__main__":
    sys.exit(main())
