#!/usr/bin/env python3
"""What the source tree says about its release, for the other scripts here.

  scripts/release/project.py [ROOT]

Prints the version, the date of its release and that date as seconds since 1970,
which is the time of all that a release holds. The version stands in
CMakeLists.txt; what has it besides must agree, and CHANGELOG.md must have a
section for it. Exit status: 0, 1 if something disagrees, 2 for wrong usage.
"""

import datetime
import pathlib
import re
import sys
import typing

NUMBER = r"\d+\.\d+\.\d+"
# Those that generate, and all.
PLUGINS = ("protoc-gen-qarn-rpc", "protoc-gen-qarn-rpc-any")
LINTER = "protoc-gen-qarn-rpc-lint"
PROGRAMS = (*PLUGINS, LINTER)


class Platform(typing.NamedTuple):
    """A row of platforms.txt."""

    system: str
    debian: str
    triple: str
    cpu: str
    node: str
    has_deb: bool

    @property
    def programs(self):
        """The file names of the programs there."""
        suffix = ".exe" if self.system == "Windows" else ""
        return [program + suffix for program in PROGRAMS]


class Disagreement(Exception):
    """Two files of the tree say different things, or one says nothing."""


def found(path, pattern, what):
    """The first group of the pattern in the file, or a Disagreement."""
    match = re.search(pattern, path.read_text(encoding="utf-8"), re.MULTILINE)
    if not match:
        raise Disagreement(f"{path.name} has no {what}")
    return match.group(1)


def version_of(root):
    """The version of the tree at `root`."""
    return found(
        root / "CMakeLists.txt",
        rf"^project\(qarn-rpc-gen\n  VERSION ({NUMBER})$",
        "version in its call of project()",
    )


def check_versions(root):
    """Fails unless every file of the tree that has the version agrees."""
    version = version_of(root)
    named = {
        "CHANGELOG.md, in its newest section '## VERSION - DATE',": found(
            root / "CHANGELOG.md", rf"^## ({NUMBER}) - ", "section '## VERSION - DATE'"
        )
    }
    module = root / "MODULE.bazel"
    if module.exists():
        named["MODULE.bazel"] = found(
            module, rf'^module\([^)]*\bversion = "({NUMBER})"', "version in its call of module()"
        )
    for where, number in named.items():
        if number != version:
            raise Disagreement(f"{where} says {number}, but CMakeLists.txt says {version}")


def date_of(root):
    """The date of the release, as the changelog has it."""
    version = version_of(root)
    text = found(
        root / "CHANGELOG.md",
        rf"^## {re.escape(version)} - (\d\d\d\d-\d\d-\d\d)$",
        f"section '## {version} - YEAR-MONTH-DAY'",
    )
    try:
        return datetime.date.fromisoformat(text)
    except ValueError:
        raise Disagreement(f"CHANGELOG.md: {text} is no date") from None


def epoch_of(date):
    """The first second of the day, in UTC, as seconds since 1970."""
    midnight = datetime.datetime(date.year, date.month, date.day, tzinfo=datetime.timezone.utc)
    return int(midnight.timestamp())


def platforms():
    """The table platforms.txt: what the others call each name of ours."""
    table = pathlib.Path(__file__).with_name("platforms.txt").read_text(encoding="utf-8")
    rows = [line.split() for line in table.splitlines() if line and not line.startswith("#")]
    return {
        name: Platform(system, debian, triple, cpu, node, deb == "deb")
        for name, system, debian, triple, cpu, node, deb in rows
    }


def main(arguments):
    """Prints what the comment on top says."""
    if len(arguments) > 1:
        print(__doc__, file=sys.stderr)
        return 2
    root = pathlib.Path(arguments[0] if arguments else __file__).resolve()
    root = root if arguments else root.parents[2]
    try:
        check_versions(root)
        date = date_of(root)
    except (Disagreement, OSError) as error:
        print(f"project.py: {error}", file=sys.stderr)
        return 1
    print(version_of(root), date, epoch_of(date))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
