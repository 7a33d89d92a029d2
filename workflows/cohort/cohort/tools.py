"""Running the command-line hosts, and writing files that are whole or not there."""

import contextlib
import hashlib
import json
import os
import shutil
import signal
import subprocess
import threading
from pathlib import Path

PART = ".mth-part-"  # in the names of files that are not whole yet, before the number of their process


class ToolMissing(Exception):
    """A program of the library is neither in the folder given nor on the search path."""


class StepFailed(Exception):
    """A program refused its input; the text is its own last line."""


def find(name, folder):
    """The program of that name, in a folder or below it, or else on the search path."""
    for candidate in ([Path(folder) / name, Path(folder) / name / name] if folder else []):
        if candidate.is_file():
            return str(candidate)
    found = None if folder else shutil.which(name)
    if not found:
        raise ToolMissing(f"{name} was not found" + (f" in {folder}" if folder else "") + " (--tools FOLDER)")
    return found


def run(name, folder, *arguments):
    """Runs a program; raises StepFailed with its last line when it fails."""
    result = subprocess.run([find(name, folder), *map(str, arguments)], capture_output=True, text=True, check=False)
    if result.returncode:
        lines = [line for line in result.stderr.splitlines() if line.strip()]
        raise StepFailed(lines[-1] if lines else f"{name} ended with status {result.returncode}")
    return result.stdout


def end_with(pipe):
    """Kills the group of this process when the other end of a pipe closes: its jobs have nobody left to make tables of them."""
    def wait():
        os.read(pipe, 1)
        os.killpg(0, signal.SIGKILL)

    threading.Thread(target=wait, daemon=True).start()


def version(folder):
    """What the programs tell of themselves."""
    return run("segment_mr", folder, "--version").split()[-1]


class Manifest:
    """What earlier runs wrote of one scan, with checksums: only that is ever replaced or removed."""

    def __init__(self, output, key):
        self.output = Path(output)
        self.path = self.output / ".mth-cohort" / "manifests" / (key.replace("/", "__") + ".json")
        remove_parts(self.path.parent, self.path.name)
        self.sums = json.loads(self.path.read_text(encoding="utf-8")) if self.path.is_file() else {}

    def require_ours(self, paths):
        """Raises StepFailed when one of the files is somebody else's, or was changed since it was written."""
        for path in paths:
            if path.is_symlink() or (path.exists() and checksum(path) not in self.sums.get(self.name(path), [])):
                raise StepFailed(f"{path} is no unchanged result of an earlier run: move it away")

    def move_in(self, source, target):
        """Moves a result into its place. Until it is there both it and its predecessor count as ours: a run that is killed
        in between leaves one of them."""
        self.require_ours([target])
        self.replace(target, checksum(source), lambda: move_whole(source, target))

    def write(self, path, text):
        """Writes a file, and counts it as ours in the same way."""
        self.replace(path, hashlib.sha256(text.encode("utf-8")).hexdigest(), lambda: write_whole(path, text))

    def replace(self, target, new, put):
        self.sums[self.name(target)] = self.sums.get(self.name(target), []) + [new]
        self.save()
        put()
        self.sums[self.name(target)] = [new]
        self.save()

    def remove(self, paths):
        self.require_ours(paths)
        for path in paths:
            path.unlink()
            self.sums.pop(self.name(path), None)
        self.save()

    def name(self, path):
        return str(path.relative_to(self.output))

    def save(self):
        write_whole(self.path, json.dumps(self.sums, indent=2) + "\n")


def checksum(path):
    return hashlib.sha256(Path(path).read_bytes()).hexdigest() if Path(path).is_file() else None


@contextlib.contextmanager
def part_of(path):
    """A file beside the place of another one, which takes that place when all went well: nobody sees half of it."""
    path = Path(path)
    path.parent.mkdir(parents=True, exist_ok=True)
    part = path.with_name(f".{path.name}{PART}{os.getpid()}")
    try:
        yield part
        os.replace(part, path)
    finally:
        part.unlink(missing_ok=True)


def remove_parts(folder, pattern="*"):
    """Removes what killed runs have left of files on their way into their places in a folder."""
    for part in folder.glob(f".{pattern}{PART}*"):
        if part.is_file():
            part.unlink(missing_ok=True)


def write_whole(path, text):
    with part_of(path) as part:
        part.write_text(text, encoding="utf-8")


def move_whole(source, target):
    """Moves a file into its place, also across file systems."""
    with part_of(target) as part:
        shutil.move(str(source), str(part))
