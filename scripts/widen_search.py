#!/usr/bin/env python3
"""Lets the search of a site built by Doxygen find every word of a name and every heading of a page, where Doxygen's own finds
names by their beginning alone. widen_search.py FOLDER

`hausdorff` then leads to Mth_Hausdorff_Distance, `powell` to ComputeOptimumPowell, `threads` to the page that has them.
"""

import ast
import html
import re
import sys
from pathlib import Path

TOO_SHORT = 3  # letters of a word that nobody looks for
PREFIXES = {"mth", "std"}


def identifier(text):
    """As the search writes what is typed: small letters, other characters by their codes."""
    return "".join(c if c.isascii() and c.isalnum() else "".join(f"_{byte:02x}" for byte in c.encode()) for c in text.lower())


def rests(name):
    """What a name is from each of its later words on: CubicSpline and Spline of GetCubicSpline."""
    for word in re.finditer(r"(?<=[a-z0-9])[A-Z]|(?<=[_\W])\w", name):
        rest = name[word.start():]
        if len(rest) >= TOO_SHORT and re.split(r"[_\W]", rest.lower())[0] not in PREFIXES:
            yield rest


def headings(folder):
    """Every heading of the manual's pages, as the search lists names."""
    for page in sorted(folder.glob("md_*.html")):
        text = page.read_text(encoding="utf-8")
        title = re.search(r'<div class="title">(.*?)\s*</div>', text, re.DOTALL)
        for place, heading in re.findall(r'<h[1-3]><a class="anchor" id="([^"]+)"></a>\s*(.*?)</h[1-3]>', text, re.DOTALL):
            plain = html.unescape(re.sub(r"<[^>]+>|\\[()\[\]]", "", heading)).strip()
            home = re.sub(r"<[^>]+>", "", title.group(1)) if title else ""
            yield plain, [html.escape(plain), [f"../{page.name}#{place}", 1, home]]


def main(folder):
    search = Path(folder, "search")
    letters = re.search(r'0: "([^"]*)"', (search / "searchdata.js").read_text(encoding="utf-8"))
    if letters is None:
        print("Left out: words inside names (a search of another kind)")
        return
    files = {letter: search / f"all_{number:x}.js" for number, letter in enumerate(letters.group(1))}
    found = {letter: ast.literal_eval(file.read_text(encoding="utf-8").split("=", 1)[1].strip().rstrip(";"))
             for letter, file in files.items()}
    more = [(rest, entry) for entries in found.values() for _, entry in entries for rest in rests(html.unescape(entry[0]))]
    for heading, entry in headings(Path(folder)):
        more += [(rest, entry) for rest in (heading, *rests(heading))]
    for number, (name, entry) in enumerate(more):
        if name[0].lower() in found:
            found[name[0].lower()].append([f"{identifier(name)}_w{number}", entry])
    for letter, entries in found.items():
        lines = ",\n".join(f"  {entry!r}" for entry in sorted(entries, key=lambda entry: entry[0]))
        files[letter].write_text(f"var searchData=\n[\n{lines}\n];\n", encoding="utf-8")


if __name__ == "__main__":
    main(sys.argv[1])
