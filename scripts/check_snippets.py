#!/usr/bin/env python3
"""Names C++ code of the pages that no compiled source holds, options that no host knows, and files that are not there.

Every paragraph of a fenced block of C++ must stand in a source of the tree, line by line but for comments, layout and lone
braces; an ellipsis leaves something out. What pages quote by \\snippet needs no check but that the marks are there. Code in
Python and JavaScript is run by the tests of the module and of the page.
"""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
PAGES = [ROOT / "README.md", ROOT / "CONTRIBUTING.md", *sorted((ROOT / "docs").rglob("*.md")),
         *(ROOT / name for name in ("benchmarks/README.md", "python/README.md", "web/README.md", "web/module/README.md"))]
ROOMS = r"(?:mth|std|examples|scripts|tests|benchmarks|docs|python|web|workflows|packaging|debian|data)"
SOURCES = [path for folder in ("examples", "mth", "tests/host_project") for path in (ROOT / folder).rglob("*.[ch]*")]


def lines_of(code):
    lines = (re.sub(r"\s*//.*", "", line).strip() for line in code.splitlines())
    return "\n".join(line for line in lines if line not in ("", "}", "};", "{"))


def fragments(page):
    for block in re.findall(r"```cpp\n(.*?)```", page, re.DOTALL):
        for part in re.split(r"\n\s*\n|…", block):
            if lines_of(part):
                yield lines_of(part)


def unknown_options(page):
    """Command lines of the tree's own programs with options that their sources do not name."""
    for line in re.findall(r"^(?:[A-Z_]+=\S+ )*([\w-]+ .*)", page, re.MULTILINE):
        program, *words = line.split(" -- ")[0].split("#")[0].split()
        folder = ROOT / ("workflows/cohort" if program == "mth-cohort" else f"examples/{program}")
        if any(word.startswith("--") for word in words) and folder.is_dir():
            files = [*folder.glob("*.cpp"), *folder.glob("mth-cohort"), *(ROOT / "examples/support").glob("*.cpp")]
            text = "".join(file.read_text(encoding="utf-8") for file in files)
            yield from (f"{program} {word}" for word in words if word.startswith("--") and word.split("=")[0] not in text)


def missing_files(path, page):
    """Files in code that begin with the name of a folder of the tree, or of the page's own, and are not there.

    What web/build.sh makes, in folders named dist, need not be made yet.
    """
    for code in re.findall(r"`([^`\n]+)`", page):
        for name in code.split():
            is_there = (ROOT / name).exists() or (path.parent / name).exists() or "dist" in name.split("/")
            if re.fullmatch(ROOMS + r"/[\w./-]*", name) and not is_there:
                yield name


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
        wrong += [f"{path.relative_to(ROOT)}: no option {name}\n" for name in unknown_options(page)]
        wrong += [f"{path.relative_to(ROOT)}: no file {name}\n" for name in missing_files(path, page)]
        for name, mark in re.findall(r"^\\snippet (\S+) (\S+)", page, re.MULTILINE):
            count += 1
            if sources.get(f"examples/{name}", "").count(f"//! [{mark}]") != 2:
                wrong.append(f"{path.relative_to(ROOT)}: examples/{name} has no {mark}\n")
    print("\n".join(wrong), end="")
    print(f"{count} pieces of code, {len(wrong)} faults")
    return 1 if wrong or not count else 0


if __name__ == "__main__":
    sys.exit(main())
