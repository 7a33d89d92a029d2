"""The folder for the results of an example: never one that holds something, unless it was asked for."""

import pathlib


def add_options(parser, folder):
    """--output and --force."""
    parser.add_argument("--output", type=pathlib.Path, default=pathlib.Path(folder), help=f"folder of the results ({folder})")
    parser.add_argument("--force", action="store_true", help="write into a folder that holds something already")


def make(parser, options):
    """Makes the folder, or ends the program with the reason."""
    if options.output.is_dir() and any(options.output.iterdir()) and not options.force:
        parser.error(f"{options.output} holds something already: name another folder, or add --force")
    options.output.mkdir(parents=True, exist_ok=True)
