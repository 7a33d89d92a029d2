"""Running the command-line hosts, and writing files that are whole or not there."""

import os
import shutil
import subprocess
from pathlib import Path


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


def version(folder):
    """What the programs tell of themselves."""
    return run("segment_mr", folder, "--version").split()[-1]


def write_whole(path, text):
    """Writes a file beside its place and moves it there: nobody sees half of it."""
    path = Path(path)
    path.parent.mkdir(parents=True, exist_ok=True)
    part = path.with_name(f".{path.name}.{os.getpid()}")
    part.write_text(text, encoding="utf-8")
    os.replace(part, path)


def move_whole(source, target):
    """Moves a file into its place, also across file systems, whole or not at all."""
    target = Path(target)
    target.parent.mkdir(parents=True, exist_ok=True)
    part = target.with_name(f".{target.name}.{os.getpid()}")
    shutil.move(str(source), str(part))
    os.replace(part, target)
