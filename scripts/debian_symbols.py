#!/usr/bin/env python3
"""Writes debian/*.symbols anew from shared libraries: debian_symbols.py BUILD

What hosts link against is required. What the compiler emits besides, inlined or not as it likes, is left out: the build of a
package adds it by itself and does not depend on it.
"""

import re
import subprocess
import sys
from pathlib import Path

PACKAGES = {"libmth1": (["mth", "mth_std"], "libmth-dev"), "libmth-qt1": (["mth_std_qt"], "libmth-qt-dev")}
# Of weak symbols those that are made on purpose: value types, and what tells the types of classes apart.
WANTED = re.compile(r"MTH_[23]D_(POINT|VECTOR)<|(typeinfo|typeinfo name|vtable) for (MTH|STD|TSTD)_")


def symbols_of(library):
    lines = subprocess.run(["nm", "-D", "-C", "--defined-only", library], check=True, capture_output=True, text=True).stdout
    return sorted({(name, kind) for _, kind, name in (line.split(maxsplit=2) for line in lines.splitlines())})


def line_of(name, version):
    tag = "c++|arch-bits=64" if "long" in name or "ul>" in name else "c++"  # elsewhere the type may have another name
    return f' ({tag})"{name}@Base" {version}'


def main(build):
    version = re.search(r"project\(mth VERSION ([0-9.]+)", Path("CMakeLists.txt").read_text()).group(1)
    major = version.split(".")[0]
    for package, (libraries, development) in PACKAGES.items():
        text = []
        for library in libraries:
            soname = f"lib{library}.so.{major}"
            text += [f"{soname} {package} #MINVER#", f"* Build-Depends-Package: {development}"]
            for name, kind in symbols_of(next(Path(build).rglob(soname))):
                if (kind == "T" or WANTED.match(name)):
                    text.append(line_of(name, version))
        Path(f"debian/{package}.symbols").write_text("\n".join(text) + "\n")


if __name__ == "__main__":
    main(*sys.argv[1:])
