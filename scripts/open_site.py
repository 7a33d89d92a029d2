#!/usr/bin/env python3
"""Opens a built site in headless Chromium: open_site.py FOLDER [--all]

Opens its first page and those with formulas or pictures, or all. Names what the browser misses or complains about, formulas
that are not drawn and pictures that are not shown. Ends with 0 when all is well, with 1 for a fault; without Chromium, or
with one that opens nothing, it says so and ends with 77.
"""

import contextlib
import http.server
import json
import os
import queue
import shutil
import subprocess
import sys
import tempfile
import threading
from functools import partial
from pathlib import Path

# What its search has to find: a name, a host, a page, and words inside of names and headings.
WORDS = ("solvericcati", "segment_mr", "cohorts", "hausdorff", "textbook", "threads")
MISSING = 77  # what is needed is not here
LONGEST_WAIT = 120  # seconds for one page; only a browser that hangs takes them

# Opens the pages one after the other and tells of each how many formulas it has and how many are drawn.
HARNESS = """<!DOCTYPE html><meta charset="utf-8"><body><script>
// Types a word into the search of a page, and tells whether anything is found; also where the search is of another kind.
async function finds(inside, word) {
  const results = inside.document.querySelector("iframe#MSearchResults");
  if (!results) return true;
  const loaded = new Promise(done => results.addEventListener("load", done, {once: true}));
  inside.document.getElementById("MSearchField").value = word;
  inside.searchBox.Search();
  await loaded;
  return [...results.contentDocument.querySelectorAll(".SRResult")].some(result => result.style.display === "block");
}
async function open(page) {
  const frame = document.createElement("iframe");
  const loaded = new Promise(done => { frame.onload = done; });
  frame.src = page;
  document.body.append(frame);
  await loaded;
  const inside = frame.contentWindow;
  const formulas = (await (await fetch(page)).text()).match(/\\\\\\(|\\\\\\[|\\$\\$/g) || [];
  let drawn = 0, failed = 0;
  if (inside.MathJax && inside.MathJax.Hub) {
    await new Promise(done => inside.MathJax.Hub.Queue(done));
    drawn = inside.document.querySelectorAll(".MathJax").length;
    failed = inside.document.querySelectorAll(".MathJax_Error, .merror").length;
  }
  const complaints = inside.mthComplaints || ["it was not watched"];
  const blind = [...inside.document.images].filter(image => image.complete && image.naturalWidth === 0).length;
  const lost = [];
  if (page === "index.html") for (const word of WORDS) if (!await finds(inside, word)) lost.push(word);
  const report = {page, formulas: formulas.length, drawn, failed, blind, lost, complaints};
  await fetch("/report", {method: "POST", body: JSON.stringify(report)});
  frame.remove();
}
(async () => {
  for (const page of PAGES) await open(page);
  await fetch("/report", {method: "POST", body: JSON.stringify({end: true})});
})();
</script>"""


# Stands first in every page: keeps what goes wrong there.
WATCH = b"""<script>
mthComplaints = [];
addEventListener("error", event => mthComplaints.push(event.message || `missing: ${event.target.src || event.target.href}`), true);
addEventListener("unhandledrejection", event => mthComplaints.push(String(event.reason)));
addEventListener("securitypolicyviolation", event => mthComplaints.push(`refused: ${event.blockedURI}`));
console.error = (...words) => mthComplaints.push(words.join(" "));
</script>"""


class Handler(http.server.SimpleHTTPRequestHandler):
    def __init__(self, *arguments, harness, reports, missing, **options):
        self._harness, self._reports, self._missing = harness, reports, missing
        super().__init__(*arguments, **options)

    def do_GET(self):
        page = Path(self.directory, self.path.lstrip("/"))
        if self.path == "/harness":
            self._send_page(self._harness.encode())
        elif page.suffix == ".html" and page.is_file():
            self._send_page(page.read_bytes().replace(b"<head>", b"<head>" + WATCH, 1))
        else:
            super().do_GET()

    def _send_page(self, text):
        self.send_response(200)
        self.send_header("Content-Type", "text/html; charset=utf-8")
        self.end_headers()
        self.wfile.write(text)

    def do_POST(self):
        self._reports.put(json.loads(self.rfile.read(int(self.headers["Content-Length"]))))
        self.send_response(204)
        self.end_headers()

    def send_error(self, code, *arguments):
        if self.path != "/favicon.ico":
            self._missing.append(f"{self.path}: {code}")
        super().send_error(code, *arguments)

    def log_message(self, *arguments):
        pass


class Server(http.server.ThreadingHTTPServer):
    def handle_error(self, request, client_address):
        pass  # the browser closes what it no longer needs


def faults_of(report):
    if report["formulas"] and (report["drawn"] == 0 or report["failed"]):
        yield f"{report['page']}: {report['drawn']} of {report['formulas']} formulas drawn, {report['failed']} failed"
    for complaint in report["complaints"]:
        yield f"{report['page']}: {complaint}"
    for word in report["lost"]:
        yield f"the search does not find {word}"
    if report["blind"]:
        yield f"{report['page']}: {report['blind']} pictures are not shown"


def browse(chromium, url, reports):
    """Waits for the pages' reports, and returns them with what the browser wrote to its console."""
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as profile, tempfile.TemporaryFile("w+") as log:
        browser = subprocess.Popen(
            [chromium, "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--enable-logging=stderr",
             f"--user-data-dir={profile}", url], stdout=subprocess.DEVNULL, stderr=log, env={**os.environ, "HOME": profile})
        found = []
        try:
            while "end" not in (report := reports.get(timeout=LONGEST_WAIT)):
                found.append(report)
        finally:
            browser.terminate()
            try:
                browser.wait(LONGEST_WAIT)
            except subprocess.TimeoutExpired:
                browser.kill()
                browser.wait()
        log.seek(0)
        return found, [line.strip() for line in log if "CONSOLE" in line and "Uncaught" in line]


def pages_of(root, is_all):
    """The first page, those that have what a browser must draw, and the one that computes."""
    pages = sorted(root.glob("*.html"))
    worth = {page.name for page in pages
             if is_all or any(mark in page.read_text(encoding="utf-8", errors="replace") for mark in ("\\(", "\\[", '.png" alt='))}
    return sorted(worth | {"index.html"}) + ["try/index.html"] * (root / "try/index.html").is_file()


def faults_at(root, chromium, pages):
    """Opens the pages; raises queue.Empty when the browser does not. The reports and what is wrong."""
    reports, missing = queue.Queue(), []
    harness = HARNESS.replace("PAGES", json.dumps(pages)).replace("WORDS", json.dumps(WORDS))
    handler = partial(Handler, directory=str(root), harness=harness, reports=reports, missing=missing)
    with Server(("127.0.0.1", 0), handler) as server:
        threading.Thread(target=server.serve_forever, daemon=True).start()
        try:
            found, faults = browse(chromium, f"http://127.0.0.1:{server.server_port}/harness", reports)
        finally:
            server.shutdown()
    faults += missing
    for report in found:
        faults += faults_of(report)
    return found, sorted(set(faults))


def main(folder, *options):
    chromium = shutil.which("chromium") or shutil.which("chromium-browser") or shutil.which("google-chrome")
    if chromium is None:
        print("Left out: the site in a browser (needs chromium)")
        return MISSING
    root = Path(folder).resolve()
    pages = pages_of(root, "--all" in options)
    try:
        found, faults = faults_at(root, chromium, pages)
    except queue.Empty:
        print("Left out: the site in a browser (Chromium opens nothing here)")
        return MISSING
    if faults:  # MathJax does not wait for ever for its parts, which a busy machine may keep back: true faults are there again
        with contextlib.suppress(queue.Empty):
            found, faults = faults_at(root, chromium, pages)
    print("\n".join(faults))
    print(f"{len(found)} pages opened, {sum(report['drawn'] for report in found)} formulas drawn, {len(faults)} faults")
    return 1 if faults or len(found) != len(pages) else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
