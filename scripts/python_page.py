#!/usr/bin/env python3
"""Prints one Markdown page of the docstrings of the Python module, which must be importable."""

import inspect

import mth


def public_members(owner):
    names = getattr(owner, "__all__", None) or [name for name in vars(owner) if not name.startswith("_")]
    for name in sorted(names):
        yield name, getattr(owner, name)


def signature_of(member):
    """The parameters and their defaults; types stand in the stubs."""
    try:
        signature = inspect.signature(member)
    except (TypeError, ValueError):
        return "(…)"
    plain = [parameter.replace(annotation=inspect.Parameter.empty) for parameter in signature.parameters.values()]
    return str(signature.replace(parameters=plain, return_annotation=inspect.Signature.empty))


def show(title, member, level):
    text = inspect.getdoc(member)
    if text:
        print(f"\n{'#' * level} {title}\n\n```text\n{text}\n```")


def show_callable(path, member):
    show(f"{path}{signature_of(member)}", member, 3)
    if inspect.isclass(member):
        for name, method in vars(member).items():
            if not name.startswith("_") and callable(method) and inspect.getdoc(method):
                show(f"{path}.{name}{signature_of(method)}", method, 4)


def main():
    print("# Python\n\nThe docstrings of `import mth`; `help(mth)` shows the same.\n")
    print(f"```text\n{inspect.getdoc(mth)}\n```")
    shown = set()
    for name, member in public_members(mth):
        if inspect.ismodule(member):
            show(f"mth.{name}", member, 2)
            for inner, function in public_members(member):
                if callable(function) and id(function) not in shown and getattr(function, "__module__", "").startswith("mth"):
                    shown.add(id(function))
                    show_callable(f"mth.{name}.{inner}", function)
    print("\n## mth")
    for name, member in public_members(mth):
        if callable(member) and id(member) not in shown:
            show_callable(f"mth.{name}", member)


if __name__ == "__main__":
    main()
