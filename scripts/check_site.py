#!/usr/bin/env python3
"""Names links of a built site that lead nowhere inside it, tables that became text and public functions that it leaves out.

    check_site.py FOLDER
"""

import re
import sys
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urlparse


class Page(HTMLParser):
    def __init__(self):
        super().__init__()
        self.links, self.names = [], set()

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        for key in ("id", "name"):
            if attributes.get(key):
                self.names.add(attributes[key])
        for key in ("href", "src"):
            if attributes.get(key):
                self.links.append(attributes[key])


def functions():
    """The free functions of the public headers."""
    for folder in ("mth", "std"):
        for path in (Path(__file__).resolve().parent.parent / folder).rglob("*.h"):
            if not path.name.endswith("_internal.h"):
                text = path.read_text(encoding="utf-8")
                names = re.findall(r"^(?:\[\[nodiscard\]\] )?MTH_EXPORT [^;(]*?(\w+)\(", text, re.MULTILINE)
                yield from ((path.name, name) for name in names)


def read(path):
    page = Page()
    text = path.read_text(encoding="utf-8", errors="replace")
    page.feed(text)
    names = (re.sub(r"<[^>]+>", "", name) for name in re.findall(r'class="memname">(.*?)</td>', text, re.DOTALL))
    page.described = {words[-1] for name in names if (words := re.findall(r"\w+", name))}
    page.has_lost_table = re.search(r"<p ?>\|", text) is not None  # a bar inside a formula ends a cell
    return page


def main(folder):
    root = Path(folder).resolve()
    pages = {path: read(path) for path in root.rglob("*.html") if "mathjax" not in path.parts}
    dead = []
    lost = [f"{path.relative_to(root)}: a table is no table" for path, page in pages.items() if page.has_lost_table]
    described = set().union(*(page.described for page in pages.values()))
    lost += sorted({f"{header}: {name} is on no page" for header, name in functions() if name not in described})
    for path, page in pages.items():
        for link in page.links:
            url = urlparse(link)
            if url.scheme or url.netloc or link.startswith("javascript:"):
                continue
            target = (path.parent / unquote(url.path)).resolve() if url.path else path
            if not target.exists():
                dead.append(f"{path.relative_to(root)}: {link}")
            elif url.fragment == "nested-classes":
                continue  # Doxygen names this list also where nothing in it is public
            elif url.fragment and target in pages and unquote(url.fragment) not in pages[target].names:
                dead.append(f"{path.relative_to(root)}: {link} (no such place)")
    print("\n".join(sorted(set(dead)) + lost))
    print(f"{len(pages)} pages, {len(set(dead))} dead links")
    return 1 if dead or lost or not pages else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
