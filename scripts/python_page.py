#!/usr/bin/env python3
"""Prints the docstrings of the Python module, which must be importable, as Doxygen pages: one for each name, so that the
manual's search finds it."""

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


def texts_of(path, member):
    """The signature and docstring of a function, or of a class and its methods."""
    yield f"{path}{signature_of(member)}\n\n{inspect.getdoc(member) or ''}"
    if inspect.isclass(member):
        for name, method in vars(member).items():
            if not name.startswith("_") and callable(method) and inspect.getdoc(method):
                yield f"{path}.{name}{signature_of(method)}\n\n{inspect.getdoc(method)}"


def print_page(identifier, title, texts, children=()):
    print(f"/** \\page {identifier} {title}")
    for text in texts:
        print(f"\\verbatim\n{text}\n\\endverbatim")
    for child in children:
        print(f"- \\subpage {child}")
    print("*/")


def print_members(owner, path, shown):
    """A page for each function and class, whose identifiers it returns."""
    identifiers = []
    for name, member in public_members(owner):
        if not callable(member) or id(member) in shown or not getattr(member, "__module__", "").startswith("mth"):
            continue
        shown.add(id(member))
        kind = "_class" if inspect.isclass(member) else ""  # names may differ by their capitals alone
        identifiers.append(f"python_{path}_{name}{kind}".replace(".", "_").lower())
        print_page(identifiers[-1], f"{name} ({path}, Python)", texts_of(f"{path}.{name}", member))
    return identifiers


def main():
    shown, children = set(), []
    for name, member in public_members(mth):
        if inspect.ismodule(member):
            inner = print_members(member, f"mth.{name}", shown)
            children.append(f"python_mth_{name}")
            print_page(children[-1], f"mth.{name} (Python)", [inspect.getdoc(member)], inner)
    children += print_members(mth, "mth", shown)
    print_page("python_mth", "The Python module", [inspect.getdoc(mth)], children)


if __name__ == "__main__":
    main()
